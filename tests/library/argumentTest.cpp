// SPDX-License-Identifier: Apache-2.0
// What no call takes: null pointers, structures of no known size, overlapping memory, bits, orders, pitches.
#include "calls.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>

namespace teko {

namespace {

// A small image and its file, in every form that calls ask for.
class LibraryArguments : public testing::Test {
protected:
    const Picture shape = picture(Look::photograph, TEKO_GREY16, 12, 9);
    teko_image image = shape.description();
    teko_options given = options();
    Bytes file = teko::encode(shape).file;
    Bytes samples = shape.samples;
    Bytes room = Bytes(4000, 0);
    teko_buffer buffer = {sizeof buffer, room.data(), room.size(), 0};
    teko_outcome outcome = {sizeof outcome, 0};

    teko_status encode() { return teko_encode(&image, samples.data(), &buffer, &given); }
    teko_status decode() { return teko_decode(file.data(), file.size(), &image, samples.data(), &given, &outcome); }
    teko_status createEncoder() {
        teko_encoder* encoder = nullptr;
        const teko_status status = teko_encoder_create(&image, &given, &encoder);
        EXPECT_EQ(encoder == nullptr, status < 0);
        teko_encoder_destroy(encoder);
        return status;
    }
    teko_status createDecoder() {
        teko_decoder* decoder = nullptr;
        const teko_status status = teko_decoder_create(file.data(), file.size(), &image, &given, &decoder, &outcome);
        EXPECT_EQ(decoder == nullptr, status < 0);
        teko_decoder_destroy(decoder);
        return status;
    }
    teko_status bound() const {
        std::size_t bytes = 0;
        return teko_bound(&image, &bytes);
    }

    void expectEncoding(teko_status status) {
        EXPECT_EQ(encode(), status);
        EXPECT_EQ(buffer.size == 0, status < 0);
        EXPECT_EQ(createEncoder(), status);
    }
    void expectDecoding(teko_status status) {
        EXPECT_EQ(decode(), status);
        EXPECT_EQ(createDecoder(), status);
    }
    void expectAll(teko_status status) {
        expectEncoding(status);
        expectDecoding(status);
    }
};

} // namespace

TEST_F(LibraryArguments, AreTakenAsTheyAre) {
    expectAll(TEKO_OK);
    EXPECT_EQ(teko_encode(&image, samples.data(), &buffer, nullptr), TEKO_OK);
    EXPECT_EQ(teko_decode(file.data(), file.size(), &image, samples.data(), nullptr, nullptr), TEKO_OK);
    EXPECT_EQ(outcome.used, file.size());
}

TEST_F(LibraryArguments, AreNotNull) {
    EXPECT_EQ(teko_encode(nullptr, samples.data(), &buffer, &given), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_encode(&image, nullptr, &buffer, &given), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_encode(&image, samples.data(), nullptr, &given), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_decode(nullptr, file.size(), &image, samples.data(), &given, &outcome), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_decode(file.data(), file.size(), nullptr, samples.data(), &given, &outcome), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_decode(file.data(), file.size(), &image, nullptr, &given, &outcome), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_describe(nullptr, 10, &image), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_describe(file.data(), file.size(), nullptr), TEKO_ERROR_ARGUMENT);
    std::size_t bytes = 0;
    std::uint64_t memory = 0;
    EXPECT_EQ(teko_bound(nullptr, &bytes), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_bound(&image, nullptr), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_budget(nullptr, 0.5, &bytes), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_budget(&image, 0.5, nullptr), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_cut(nullptr, 20, 20, &bytes), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_cut(file.data(), file.size(), 20, nullptr), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_encode_memory(nullptr, &given, &memory), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_encode_memory(&image, &given, nullptr), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_decode_memory(nullptr, 20, &given, &memory), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_decode_memory(file.data(), file.size(), &given, nullptr), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_levels(nullptr), 0U);
}

TEST_F(LibraryArguments, OfComparisonsAreNotNull) {
    teko_difference difference = {sizeof difference, 0, 0, 0};
    const void* all[] = {&image, samples.data(), &image, samples.data(), &difference};
    for (std::size_t null = 0; null <= 5; ++null) {
        std::array<const void*, 5> some{};
        for (std::size_t i = 0; i < 5; ++i) {
            some[i] = i == null ? nullptr : all[i];
        }
        EXPECT_EQ(teko_compare(static_cast<const teko_image*>(some[0]), some[1],
                               static_cast<const teko_image*>(some[2]), some[3],
                               some[4] == nullptr ? nullptr : &difference),
                  null == 5 ? TEKO_OK : TEKO_ERROR_ARGUMENT)
            << null;
    }
}

TEST_F(LibraryArguments, OfHandlesAreNotNull) {
    teko_encoder* encoder = nullptr;
    teko_decoder* decoder = nullptr;
    EXPECT_EQ(teko_encoder_create(nullptr, &given, &encoder), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_encoder_create(&image, &given, nullptr), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_encoder_push(nullptr, samples.data(), 1), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_encoder_finish(nullptr, &buffer), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_decoder_create(nullptr, 50, &image, &given, &decoder, nullptr), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_decoder_create(file.data(), file.size(), nullptr, &given, &decoder, nullptr), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_decoder_create(file.data(), file.size(), &image, &given, nullptr, nullptr), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_decoder_pull(nullptr, samples.data(), 1), TEKO_ERROR_ARGUMENT);
    teko_encoder_destroy(nullptr);
    teko_decoder_destroy(nullptr);
    teko_release(nullptr, nullptr);
    ASSERT_EQ(teko_encoder_create(&image, nullptr, &encoder), TEKO_OK);
    EXPECT_EQ(teko_encoder_push(encoder, nullptr, 1), TEKO_ERROR_ARGUMENT);
    teko_encoder_destroy(encoder);
    ASSERT_EQ(teko_decoder_create(file.data(), file.size(), &image, nullptr, &decoder, nullptr), TEKO_OK);
    EXPECT_EQ(teko_decoder_pull(decoder, nullptr, 1), TEKO_ERROR_ARGUMENT);
    teko_decoder_destroy(decoder);
}

// Far enough to leave 64 bits in sums of such steps, while the samples themselves would still be told apart.
TEST_F(LibraryArguments, HavePitchesThatStayInMemory) {
    if constexpr (sizeof(std::ptrdiff_t) == sizeof(std::int64_t)) {
        for (const std::int64_t pitch : {(std::int64_t{1} << 44) + 1, -(std::int64_t{1} << 44) - 1,
                                         std::numeric_limits<std::int64_t>::max() / 2}) {
            image.row_pitch = static_cast<std::ptrdiff_t>(pitch);
            expectAll(TEKO_ERROR_ARGUMENT);
        }
    }
}

TEST_F(LibraryArguments, MayBeNullWhereThereIsNothing) {
    for (const auto& [width, height] : {std::pair{0U, 7U}, {7U, 0U}, {0U, 0U}, {0U, 1U}}) {
        image.width = width;
        image.height = height;
        samples.clear();
        EXPECT_EQ(teko_encode(&image, nullptr, &buffer, &given), TEKO_OK);
        EXPECT_EQ(buffer.size, 14U);
        EXPECT_EQ(teko_decode(buffer.data, buffer.size, &image, nullptr, &given, &outcome), TEKO_OK);
        EXPECT_EQ(outcome.used, 14U);
        teko_difference difference = {sizeof difference, 9, 9, 9};
        EXPECT_EQ(teko_compare(&image, nullptr, &image, nullptr, &difference), TEKO_OK);
        EXPECT_EQ(difference.mse, 0);
        EXPECT_EQ(difference.psnr, std::numeric_limits<double>::infinity());
    }
}

// A program of an earlier library hands over shorter structures: what they lack counts as 0.
TEST_F(LibraryArguments, ThatAreShorterHaveZerosBehind) {
    image.byte_order = 77;
    image.row_pitch = 1;
    image.pixel_pitch = -1;
    image.struct_size = offsetof(teko_image, byte_order);
    expectAll(TEKO_OK);
    given.reduce = 50;
    given.goal = 50;
    given.max_samples = 1;
    given.struct_size = sizeof given.struct_size;
    expectAll(TEKO_OK);
    given = options();
    given.max_memory = 1;
    given.target = "none";
    given.struct_size = offsetof(teko_options, max_memory);
    expectAll(TEKO_OK);
    outcome = {sizeof outcome.struct_size, 1234};
    EXPECT_EQ(decode(), TEKO_OK);
    EXPECT_EQ(outcome.used, 1234U) << "nothing is written behind a structure";
}

// A program of a later library hands over longer ones: they may ask for nothing that is not known.
TEST_F(LibraryArguments, ThatAreLongerHaveZerosBehind) {
    struct {
        teko_image image;
        unsigned char behind[24];
    } larger = {};
    larger.image = image;
    larger.image.struct_size = sizeof larger;
    EXPECT_EQ(teko_encode(&larger.image, samples.data(), &buffer, nullptr), TEKO_OK);
    EXPECT_EQ(teko_decode(file.data(), file.size(), &larger.image, samples.data(), nullptr, nullptr), TEKO_OK);
    for (const std::size_t at : {0U, 11U, 23U}) {
        std::memset(larger.behind, 0, sizeof larger.behind);
        larger.behind[at] = 1;
        EXPECT_EQ(teko_encode(&larger.image, samples.data(), &buffer, nullptr), TEKO_ERROR_ARGUMENT);
        EXPECT_EQ(teko_decode(file.data(), file.size(), &larger.image, samples.data(), nullptr, nullptr),
                  TEKO_ERROR_ARGUMENT);
    }
    struct {
        teko_options options;
        unsigned char behind[8];
    } more = {};
    more.options = given;
    more.options.struct_size = sizeof more;
    EXPECT_EQ(teko_encode(&image, samples.data(), &buffer, &more.options), TEKO_OK);
    more.behind[7] = 128;
    EXPECT_EQ(teko_encode(&image, samples.data(), &buffer, &more.options), TEKO_ERROR_ARGUMENT);
}

TEST_F(LibraryArguments, HaveASize) {
    image.struct_size = 0;
    expectAll(TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(bound(), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_describe(file.data(), file.size(), &image), TEKO_ERROR_ARGUMENT);
    image.struct_size = sizeof image;
    given.struct_size = 0;
    expectAll(TEKO_ERROR_ARGUMENT);
    given.struct_size = sizeof given;
    buffer.struct_size = 0;
    EXPECT_EQ(encode(), TEKO_ERROR_ARGUMENT);
    outcome.struct_size = 0;
    expectDecoding(TEKO_ERROR_ARGUMENT);
    teko_difference difference = {};
    EXPECT_EQ(teko_compare(&image, samples.data(), &image, samples.data(), &difference), TEKO_ERROR_ARGUMENT);
}

TEST_F(LibraryArguments, DescribeWhatThereIs) {
    struct Fault {
        std::uint32_t teko_image::*field;
        std::uint32_t value;
        teko_status status;
    };
    for (const Fault& fault : {Fault{&teko_image::kind, 0, TEKO_ERROR_KIND},
                               {&teko_image::kind, 4, TEKO_ERROR_KIND},
                               {&teko_image::kind, ~0U, TEKO_ERROR_KIND},
                               {&teko_image::bits, 17, TEKO_ERROR_ARGUMENT},
                               {&teko_image::bits, ~0U, TEKO_ERROR_ARGUMENT},
                               {&teko_image::width, 65536, TEKO_ERROR_SHAPE},
                               {&teko_image::height, 65536, TEKO_ERROR_SHAPE},
                               {&teko_image::width, 1, TEKO_ERROR_SHAPE},
                               {&teko_image::height, 1, TEKO_ERROR_SHAPE},
                               {&teko_image::is_signed, 2, TEKO_ERROR_ARGUMENT},
                               {&teko_image::byte_order, 3, TEKO_ERROR_ARGUMENT}}) {
        image = shape.description();
        image.*fault.field = fault.value;
        expectEncoding(fault.status);
        EXPECT_TRUE(bound() == fault.status || image.*fault.field == 1) << fault.value;
    }
}

TEST_F(LibraryArguments, OfSignedSamplesHaveSixteenBits) {
    image.is_signed = 1;
    for (const std::uint32_t bits : {0U, 16U, 15U, 8U, 1U}) {
        image.bits = bits;
        expectEncoding(bits == 0 || bits == 16 ? TEKO_OK : TEKO_ERROR_ARGUMENT);
    }
    image.bits = 0;
    for (const std::uint32_t kind : {TEKO_GREY8, TEKO_RGB8}) {
        image.kind = kind;
        expectEncoding(TEKO_ERROR_ARGUMENT);
    }
    image.is_signed = 0;
    image.bits = 9;
    expectEncoding(TEKO_ERROR_ARGUMENT);
}

TEST_F(LibraryArguments, WithTooManySamplesHaveNoShape) {
    image.width = 65535;
    image.height = 32769;
    EXPECT_EQ(bound(), TEKO_ERROR_SHAPE);
    EXPECT_EQ(createEncoder(), TEKO_ERROR_SHAPE);
    EXPECT_EQ(encode(), TEKO_ERROR_SHAPE);
    image.height = 32768;
    EXPECT_EQ(bound(), TEKO_OK);
}

// To decode into, only the file's bits count.
TEST_F(LibraryArguments, OfDecodingHaveAnyBits) {
    for (const std::uint32_t bits : {1U, 12U, 16U, 17U, 99U, ~0U}) {
        image.bits = bits;
        EXPECT_EQ(decode(), TEKO_OK) << bits;
        EXPECT_TRUE(samples == shape.samples);
    }
    image.is_signed = 1;
    image.bits = 12;
    EXPECT_EQ(decode(), TEKO_OK);
}

TEST_F(LibraryArguments, OfOptionsAreKnown) {
    given.goal = 3;
    expectEncoding(TEKO_ERROR_ARGUMENT);
    given = options();
    given.allocate = [](void*, std::size_t, std::size_t) -> void* { return nullptr; };
    expectAll(TEKO_ERROR_ARGUMENT);
    given = options();
    given.release = [](void*, void*, std::size_t, std::size_t) {};
    expectAll(TEKO_ERROR_ARGUMENT);
    for (const char* target : {"", "none", "avx", "PLAIN", "plain ", "portable2"}) {
        given = options();
        given.target = target;
        expectAll(TEKO_ERROR_TARGET);
    }
    given.target = teko_target();
    expectAll(TEKO_OK);
}

TEST_F(LibraryArguments, OfRatesGiveANumberOfBytes) {
    for (const double rate : {std::numeric_limits<double>::quiet_NaN(), -0.5, -1e30,
                              std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
        given = toRate(rate);
        expectEncoding(TEKO_ERROR_ARGUMENT);
        std::size_t bytes = 0;
        EXPECT_EQ(teko_budget(&image, rate, &bytes), TEKO_ERROR_ARGUMENT) << rate;
    }
}

TEST_F(LibraryArguments, DoNotOverlap) {
    Bytes both(5000);
    std::copy(file.begin(), file.end(), both.begin());
    EXPECT_EQ(teko_decode(both.data(), file.size(), &image, both.data() + file.size() - 1, nullptr, nullptr),
              TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(teko_decode(both.data(), file.size(), &image, both.data() + file.size(), nullptr, nullptr), TEKO_OK);
    EXPECT_TRUE(Bytes(both.begin() + static_cast<std::ptrdiff_t>(file.size()),
                      both.begin() + static_cast<std::ptrdiff_t>(file.size() + shape.rawBytes())) == shape.samples);
    std::copy(samples.begin(), samples.end(), both.begin());
    buffer.data = both.data() + shape.rawBytes() - 1;
    buffer.capacity = 2000;
    EXPECT_EQ(teko_encode(&image, both.data(), &buffer, nullptr), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(buffer.size, 0U);
    buffer.data = both.data() + shape.rawBytes();
    EXPECT_EQ(teko_encode(&image, both.data(), &buffer, nullptr), TEKO_OK);
}

TEST(LibraryTexts, AreThereForEveryStatus) {
    std::vector<std::string> texts;
    for (int status = -15; status <= 3; ++status) {
        const char* const text = teko_status_text(static_cast<teko_status>(status));
        ASSERT_NE(text, nullptr);
        EXPECT_GT(std::strlen(text), 3U);
        EXPECT_NE(text[std::strlen(text) - 1], '.');
        texts.emplace_back(text);
    }
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ(std::unique(texts.begin(), texts.end()), texts.end()) << "no two are alike";
    EXPECT_NE(teko_status_text(static_cast<teko_status>(-16)), nullptr);
    EXPECT_NE(teko_status_text(static_cast<teko_status>(15)), nullptr);
    EXPECT_EQ(teko_version(), static_cast<std::uint32_t>(TEKO_VERSION));
}

} // namespace teko
