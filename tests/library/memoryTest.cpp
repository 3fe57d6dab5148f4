// SPDX-License-Identifier: Apache-2.0
// No call takes more memory than it said, nor from elsewhere than it was told; no file is longer than its bound.
#include "adversary.hpp"
#include "countingMemory.hpp"
#include "support/failingAllocation.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

std::vector<teko_options> goals() {
    std::vector<teko_options> all{options()};
    for (const double rate : {0.02, 0.3, 0.999, 1.0}) {
        all.push_back(toRate(rate));
    }
    for (const std::size_t bytes : {14U, 15U, 100U, 5000U, 100000000U}) {
        all.push_back(toBytes(bytes));
    }
    return all;
}

// Whether the library's own allocations came from the caller.
class FromNowhereElse {
public:
    explicit FromNowhereElse(const CountingMemory& counted) : memory(counted) {}
    ~FromNowhereElse() {
        EXPECT_TRUE(memory.isConsistent);
        EXPECT_EQ(memory.live, 0U);
        EXPECT_EQ(memory.blocks(), 0U);
    }
    FromNowhereElse(const FromNowhereElse&) = delete;
    FromNowhereElse& operator=(const FromNowhereElse&) = delete;

private:
    const CountingMemory& memory;
};

void expectEncodeMemory(const Picture& picture, teko_options given) {
    CountingMemory memory;
    const FromNowhereElse check(memory);
    given = memory.with(given);
    const teko_image image = picture.description();
    std::uint64_t promised = 0;
    ASSERT_EQ(teko_encode_memory(&image, &given, &promised), TEKO_OK);
    std::size_t bound = 0;
    ASSERT_EQ(teko_bound(&image, &bound), TEKO_OK);
    const Encoded encoded = encode(image, picture.samples.data(), given);
    EXPECT_LE(memory.peak, promised);
    EXPECT_LE(encoded.file.size(), bound);
    if (encoded.status == TEKO_ERROR_BUDGET) {
        EXPECT_EQ(memory.calls, 0);
        return;
    }
    EXPECT_GE(encoded.status, 0);
    given.max_memory = promised;
    EXPECT_EQ(encode(image, picture.samples.data(), given), encoded) << "what it promises is enough";
    if (promised > 0) {
        memory.startAgain();
        given.max_memory = promised - 1;
        EXPECT_EQ(encode(image, picture.samples.data(), given).status, TEKO_ERROR_MAX_MEMORY);
        EXPECT_EQ(memory.calls, 0);
    }
}

void expectDecodeMemory(const Bytes& file, teko_options given) {
    CountingMemory memory;
    const FromNowhereElse check(memory);
    given = memory.with(given);
    std::uint64_t promised = 0;
    ASSERT_EQ(teko_decode_memory(file.data(), file.size(), &given, &promised), TEKO_OK);
    const DecodedPicture decoded = decode(file, given);
    ASSERT_GE(decoded.status, 0) << file.size();
    EXPECT_LE(memory.peak, promised) << file.size() << " bytes, reduced by " << given.reduce;
    given.max_memory = std::max<std::uint64_t>(promised, 1);
    EXPECT_EQ(decode(file, given), decoded) << "what it promises is enough";
    if (promised > 1) {
        memory.startAgain();
        given.max_memory = promised - 1;
        EXPECT_EQ(decode(file, given).status, TEKO_ERROR_MAX_MEMORY);
        EXPECT_EQ(memory.calls, 0);
    }
}

void expectMemory(const Picture& picture) {
    SCOPED_TRACE(testing::PrintToString(picture));
    for (const teko_options& goal : goals()) {
        SCOPED_TRACE("goal " + std::to_string(goal.goal) + ", " + std::to_string(goal.bytes) + " bytes, rate " +
                     std::to_string(goal.rate));
        expectEncodeMemory(picture, goal);
    }
    const teko_image image = picture.description();
    const Bytes file = encode(picture).file;
    for (std::uint32_t reduce = 0; reduce <= teko_levels(&image); ++reduce) {
        for (const std::size_t part : {1U, 2U, 7U}) {
            if (file.size() / part >= 14) {
                expectDecodeMemory(prefix(file, file.size() / part), reducedBy(reduce));
            }
        }
    }
}

} // namespace

TEST(LibraryMemory, OfManyShapesIsWhatWasPromised) {
    for (const Picture& shape : telltaleShapes()) {
        for (const Look look : {Look::flat, Look::noise, Look::checks}) {
            expectMemory(picture(look, shape.kind, shape.width, shape.height));
        }
    }
    for (const std::uint32_t kind : {TEKO_GREY8, TEKO_GREY16, TEKO_RGB8}) {
        for (const auto& [width, height] : {std::pair{300U, 517U}, {520U, 516U}, {1030U, 40U}, {37U, 2000U}}) {
            for (const Look look : allLooks) {
                expectMemory(picture(look, kind, width, height));
            }
        }
    }
}

TEST(LibraryMemory, OfMegapixelsIsWhatWasPromised) {
    for (const std::uint32_t kind : {TEKO_GREY8, TEKO_GREY16, TEKO_RGB8}) {
        for (const Look look : {Look::photograph, Look::noise}) {
            const Picture large = picture(look, kind, 1500, 1100);
            expectEncodeMemory(large, options());
            expectEncodeMemory(large, toRate(0.5));
            expectEncodeMemory(large, toBytes(50000));
            const Bytes file = encode(large).file;
            for (const std::uint32_t reduce : {0U, 2U, 5U}) {
                expectDecodeMemory(file, reducedBy(reduce));
                expectDecodeMemory(prefix(file, file.size() / 9), reducedBy(reduce));
            }
        }
    }
}

// Such images are decoded and compared.
TEST(LibraryMemory, OfMegapixelsThatAreInDoubtIsWhatWasPromised) {
    expectEncodeMemory(blockedAdversary(), options());
}

TEST(LibraryMemory, IsTheSameWhateverTheTarget) {
    for (const char* target : {"plain", "portable", "avx2", "avx512", "neon"}) {
        teko_options given = options();
        given.target = target;
        const Picture shape = picture(Look::noise, TEKO_RGB8, 75, 130);
        if (encode(shape, given).status == TEKO_ERROR_TARGET) {
            continue;
        }
        SCOPED_TRACE(target);
        expectEncodeMemory(shape, given);
        given.reduce = 1;
        expectDecodeMemory(encode(shape).file, given);
    }
}

TEST(LibraryMemory, ComesFromTheCallerAlone) {
    for (const std::uint32_t kind : {TEKO_GREY8, TEKO_GREY16, TEKO_RGB8}) {
        const Picture shape = picture(Look::photograph, kind, 130, 90);
        const teko_image image = shape.description();
        CountingMemory memory;
        const teko_options given = memory.with(options());
        teko_buffer buffer = noBuffer();
        Bytes samples(shape.rawBytes());
        const long before = AllocationLedger::live;
        // every allocation of the language is refused, but for the map of the counter
        const std::size_t requested = AllocationLedger::requested;
        EXPECT_EQ(teko_encode(&image, shape.samples.data(), &buffer, &given), TEKO_OK);
        EXPECT_EQ(teko_decode(buffer.data, buffer.size, &image, samples.data(), &given, nullptr), TEKO_OK);
        const std::size_t counted = static_cast<std::size_t>(memory.calls) * 100;
        EXPECT_LE(AllocationLedger::requested - requested, counted) << "no more than the nodes of the counter's map";
        EXPECT_GT(memory.calls, 0);
        teko_release(&buffer, &given);
        EXPECT_EQ(buffer.data, nullptr);
        teko_release(&buffer, &given);
        EXPECT_EQ(AllocationLedger::live, before);
        EXPECT_EQ(memory.blocks(), 0U);
        EXPECT_TRUE(memory.isConsistent);
    }
}

// The language's memory is given back as well.
TEST(LibraryMemory, OfTheLanguageIsGivenBack) {
    const long before = AllocationLedger::live;
    {
        const Picture shape = picture(Look::photograph, TEKO_RGB8, 70, 61);
        const Bytes file = encode(shape).file;
        EXPECT_EQ(decode(file).status, TEKO_OK);
    }
    EXPECT_EQ(AllocationLedger::live, before);
}

} // namespace teko
