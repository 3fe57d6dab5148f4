// SPDX-License-Identifier: Apache-2.0
#include "support/bitStreams.hpp"
#include "support/scratchFile.hpp"
#include "support/thrownInteger.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

constexpr std::int64_t turn = BitStreamer::fileBufferWords;

// Appends source bits to one memory writer and puts them singly into its twin.
void expectTwins(std::size_t capacity, const Bits& before, const Bits& bits) {
    MemoryWriter appended(capacity, before);
    MemoryWriter twin(capacity, before);
    MemoryWriter source(bits.size() / 8 + 4, bits);
    const int expected = thrownBy([&] { putAll(twin.stream, bits); });
    const int thrown = thrownBy([&] { appended.stream.append(source.stream); });
    ASSERT_EQ(thrown, expected) << before.size() << " + " << bits.size() << " bits in " << capacity << " bytes";
    ASSERT_EQ(stateOf(appended.stream), stateOf(twin.stream))
        << before.size() << " + " << bits.size() << " bits in " << capacity << " bytes";
    ASSERT_EQ(appended.stream.bitCount(), twin.stream.bitCount());
    ASSERT_EQ(appended.content(), twin.content());
    ASSERT_TRUE(appended.fenceIsIntact());
}

} // namespace

TEST(BitAppend, equalsSinglePutsAtEveryOffsetForEveryLength) {
    std::mt19937_64 random{1};
    for (std::size_t pending = 0; pending < 32; ++pending) {
        for (std::size_t length = 0; length <= 100; ++length) {
            expectTwins(64, randomBits(random, pending), randomBits(random, length));
            expectTwins(64, randomBits(random, 64 + pending), randomBits(random, length));
        }
    }
}

TEST(BitAppend, overflowsAsSinglePutsDo) {
    std::mt19937_64 random{2};
    for (std::size_t capacity = 0; capacity <= 11; ++capacity) {
        for (std::size_t pending = 0; pending < 32; ++pending) {
            for (std::size_t length = 0; length <= 140; ++length) {
                expectTwins(capacity, randomBits(random, pending), randomBits(random, length));
            }
        }
    }
}

TEST(BitAppend, overflowsBehindStoredWordsAsSinglePutsDo) {
    std::mt19937_64 random{3};
    for (std::size_t capacity = 8; capacity <= 12; ++capacity) {
        for (std::size_t before = 32; before < 96; ++before) {
            for (const std::size_t length : {1U, 31U, 32U, 33U, 64U, 65U, 200U}) {
                expectTwins(capacity, randomBits(random, before), randomBits(random, length));
            }
        }
    }
}

TEST(BitAppend, writesTheSameFileAsSinglePutsAtEveryOffset) {
    std::mt19937_64 random{4};
    for (std::size_t pending = 0; pending < 32; ++pending) {
        const ScratchFile file;
        BitStreamer stream;
        stream.setUpFileWriter(file.get());
        Bits bits = randomBits(random, pending);
        putAll(stream, bits);
        for (std::size_t length = 0; length <= 100; length += 1 + pending) {
            const Bits more = randomBits(random, length);
            MemoryWriter source(16, more);
            stream.append(source.stream);
            bits.insert(bits.end(), more.begin(), more.end());
        }
        stream.flush();
        ASSERT_EQ(file.contents(), packed(paddedToWords(bits))) << pending;
    }
}

TEST(BitAppend, turnsTheBufferOfAFileWriter) {
    std::mt19937_64 random{5};
    for (const std::size_t pending : {0U, 1U, 17U, 31U}) {
        const ScratchFile file;
        BitStreamer stream;
        stream.setUpFileWriter(file.get());
        Bits bits = randomBits(random, static_cast<std::size_t>(turn - 2) * 32 + pending);
        putAll(stream, bits);
        const Bits more = randomBits(random, 150);
        MemoryWriter source(20, more);
        stream.append(source.stream);
        EXPECT_EQ(stream.wordsDone, turn) << pending;
        stream.flush();
        bits.insert(bits.end(), more.begin(), more.end());
        EXPECT_EQ(file.contents(), packed(paddedToWords(bits))) << pending;
    }
}

TEST(BitAppend, takesASourceLongerThanAFileBuffer) {
    std::mt19937_64 random{6};
    const Bits bits = randomBits(random, static_cast<std::size_t>(turn) * 64 + 77);
    MemoryWriter source(bits.size() / 8 + 4, bits);
    const ScratchFile file;
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    stream.putBit(1);
    stream.append(source.stream);
    EXPECT_EQ(stream.wordsDone, 2 * turn);
    stream.flush();
    EXPECT_EQ(file.contents(), packed(paddedToWords(Bits{true} + bits)));
}

TEST(BitAppend, throwsThreeWhenTheFileTakesNoMore) {
    const FullDevice full;
    BitStreamer stream;
    stream.setUpFileWriter(full.get());
    putAll(stream, Bits(static_cast<std::size_t>(turn) * 32, true));
    MemoryWriter source(16, Bits(64, true));
    EXPECT_EQ(thrownBy([&] { stream.append(source.stream); }), 3);
    EXPECT_EQ(stream.wordsDone, 0);
}

TEST(BitAppend, leavesTheSourceReadyToGoOn) {
    MemoryWriter source(16, Bits(37, true));
    const WriterState before = stateOf(source.stream);
    MemoryWriter target(32);
    target.stream.append(source.stream);
    target.stream.append(source.stream);
    EXPECT_EQ(stateOf(source.stream), before);
    target.stream.flush();
    EXPECT_EQ(target.stream.bitCount(), 74);
    EXPECT_EQ(target.content(10), packed(Bits(74, true)));
}

TEST(BitAppend, takesAllOfAFullSourceWithoutPendingBits) {
    MemoryWriter source(8, Bits(64, true));
    MemoryWriter target(16);
    target.stream.append(source.stream);
    EXPECT_EQ(target.stream.bitCount(), 64);
}

TEST(BitAppend, passesOnWhatAFullSourceThrows) {
    for (std::size_t capacity = 4; capacity <= 7; ++capacity) {
        MemoryWriter source(capacity, Bits(40, true));
        MemoryWriter target(32, Bits(3, true));
        const WriterState before = stateOf(target.stream);
        EXPECT_EQ(thrownBy([&] { target.stream.append(source.stream); }), 3) << capacity;
        EXPECT_EQ(stateOf(target.stream), before) << capacity;
    }
}

TEST(BitAppend, putsManySubStreamsIntoOneStream) {
    std::mt19937_64 random{7};
    MemoryWriter target(20000);
    Bits bits;
    for (int i = 0; i < 500; ++i) {
        const Bits more = randomBits(random, random() % 300);
        MemoryWriter source(64, more);
        target.stream.append(source.stream);
        bits.insert(bits.end(), more.begin(), more.end());
    }
    target.stream.flush();
    EXPECT_EQ(target.stream.bitCount(), static_cast<std::int64_t>(bits.size()));
    EXPECT_EQ(target.content((bits.size() + 7) / 8), packed(bits));
}

} // namespace teko
