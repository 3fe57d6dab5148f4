// SPDX-License-Identifier: Apache-2.0
// Each allocation in turn is refused: every call says so, keeps nothing, and works the next time.
#include "countingMemory.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace teko {

namespace {

using Call = std::function<teko_status(const teko_options&)>;

constexpr long mostAllocations = 3000;

// Which refusals do not matter: that of the last allocation of a file, which only makes it take less memory.
enum class Spared { none, last };

// How many allocations it takes. The call has to end with `last` when it has them all.
long expectRefusals(const Call& call, const teko_options& given, teko_status last, Spared spared = Spared::none) {
    bool wasSpared = false;
    for (long successes = 0; successes < mostAllocations; ++successes) {
        CountingMemory memory;
        memory.untilRefusal = successes;
        const teko_status status = call(memory.with(given));
        EXPECT_TRUE(memory.isConsistent) << successes;
        EXPECT_EQ(memory.blocks(), 0U) << successes;
        if (memory.calls <= successes) {
            EXPECT_EQ(status, last) << successes;
            return successes;
        }
        EXPECT_EQ(memory.calls, successes + 1) << "after a refusal nothing is asked for";
        EXPECT_FALSE(wasSpared) << "only the last one may be";
        wasSpared = spared == Spared::last && status == last;
        EXPECT_TRUE(wasSpared || status == TEKO_ERROR_OUT_OF_MEMORY) << successes << ": " << status;
    }
    ADD_FAILURE() << "it never ends";
    return mostAllocations;
}

teko_status push(const Picture& picture, const teko_options& given) {
    const teko_image image = picture.description();
    teko_encoder* encoder = nullptr;
    teko_status status = teko_encoder_create(&image, &given, &encoder);
    EXPECT_EQ(encoder == nullptr, status < 0);
    for (std::uint32_t y = 0; y < picture.height && status == TEKO_OK; ++y) {
        status = teko_encoder_push(encoder, picture.samples.data() + y * picture.rawBytes() / picture.height, 1);
        if (status < 0) {
            EXPECT_EQ(teko_encoder_push(encoder, picture.samples.data(), 1), TEKO_ERROR_ORDER);
        }
    }
    if (status == TEKO_OK) {
        teko_buffer buffer = noBuffer();
        status = teko_encoder_finish(encoder, &buffer);
        EXPECT_EQ(buffer.size == 0, status < 0);
        teko_release(&buffer, &given);
    }
    teko_encoder_destroy(encoder);
    return status;
}

teko_status pull(const Picture& picture, const Bytes& file, const teko_options& given) {
    const teko_image image = picture.description();
    Bytes samples(picture.rawBytes());
    teko_decoder* decoder = nullptr;
    const teko_status created = teko_decoder_create(file.data(), file.size(), &image, &given, &decoder, nullptr);
    EXPECT_EQ(decoder == nullptr, created < 0);
    teko_status status = TEKO_OK;
    for (std::uint32_t y = 0; y < picture.height && created >= 0 && status == TEKO_OK; ++y) {
        status = teko_decoder_pull(decoder, samples.data() + y * picture.rawBytes() / picture.height, 1);
        if (status < 0) {
            EXPECT_EQ(teko_decoder_pull(decoder, samples.data(), 1), TEKO_ERROR_ORDER);
        }
    }
    teko_decoder_destroy(decoder);
    return status < 0 ? status : created;
}

// Shapes that are coded by rows, by planes, in blocks of columns; and one without levels.
std::vector<Picture> pictures() {
    std::vector<Picture> all;
    for (const std::uint32_t kind : {TEKO_GREY8, TEKO_GREY16, TEKO_RGB8}) {
        for (const auto& [width, height] :
             {std::pair{64U, 64U}, {70U, 33U}, {5U, 4U}, {3U, 2U}, {130U, 90U}, {520U, 514U}}) {
            all.push_back(picture(width > 200 ? Look::flat : Look::photograph, kind, width, height));
        }
    }
    return all;
}

} // namespace

TEST(LibraryRefusedMemory, EndsEncoding) {
    for (const Picture& picture : pictures()) {
        SCOPED_TRACE(testing::PrintToString(picture));
        for (const teko_options& goal : {options(), toRate(0.4), toBytes(40)}) {
            const teko_status last = encode(picture, goal).status;
            const long allocations = expectRefusals(
                [&](const teko_options& given) { return encode(picture, given).status; }, goal, last, Spared::last);
            EXPECT_TRUE(allocations > 0 || last == TEKO_ERROR_BUDGET);
        }
    }
}

TEST(LibraryRefusedMemory, EndsEncodingIntoACallersBuffer) {
    for (const Picture& picture : pictures()) {
        Bytes room(10 * picture.rawBytes() + 5000);
        const Call call = [&](const teko_options& given) {
            teko_buffer buffer = {sizeof buffer, room.data(), room.size(), 99};
            const teko_image image = picture.description();
            const teko_status status = teko_encode(&image, picture.samples.data(), &buffer, &given);
            EXPECT_EQ(buffer.size == 0, status < 0);
            EXPECT_EQ(buffer.data, room.data());
            return status;
        };
        expectRefusals(call, options(), encode(picture).status);
    }
}

TEST(LibraryRefusedMemory, EndsDecoding) {
    for (const Picture& picture : pictures()) {
        SCOPED_TRACE(testing::PrintToString(picture));
        const Bytes file = encode(picture).file;
        const teko_image image = picture.description();
        for (const Bytes& part : {file, prefix(file, std::max<std::size_t>(14, file.size() / 2))}) {
            for (std::uint32_t reduce = 0; reduce <= teko_levels(&image); reduce += 2) {
                expectRefusals([&](const teko_options& given) { return decode(part, given).status; }, reducedBy(reduce),
                               decode(part, reducedBy(reduce)).status);
            }
        }
    }
}

TEST(LibraryRefusedMemory, EndsPushingAndPulling) {
    for (const Picture& picture : pictures()) {
        SCOPED_TRACE(testing::PrintToString(picture));
        const Encoded encoded = encode(picture);
        expectRefusals([&](const teko_options& given) { return push(picture, given); }, options(), encoded.status,
                       Spared::last);
        for (const Bytes& part :
             {encoded.file, prefix(encoded.file, std::max<std::size_t>(14, encoded.file.size() / 2))}) {
            expectRefusals([&](const teko_options& given) { return pull(picture, part, given); }, options(),
                           decode(part).status);
        }
    }
}

// Images that the bounds do not prove are decoded and compared, which takes memory too.
TEST(LibraryRefusedMemory, EndsComparing) {
    const Picture doubtful = picture(Look::extremes, TEKO_RGB8, 64, 64);
    expectRefusals([&](const teko_options& given) { return encode(doubtful, given).status; }, options(),
                   encode(doubtful).status, Spared::last);
}

} // namespace teko
