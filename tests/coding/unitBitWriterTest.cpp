// SPDX-License-Identifier: Apache-2.0
#include "support/bitStreams.hpp"
#include "support/scratchFile.hpp"
#include "support/thrownInteger.hpp"

#include <gtest/gtest.h>

namespace teko {

TEST(MemoryBitWriter, startsEmpty) {
    for (const std::int64_t bytes : {0, 1, 3, 4, 10, 2038}) {
        MemoryWriter writer(static_cast<std::size_t>(bytes));
        const BitStreamer& stream = writer.stream;
        EXPECT_EQ(stream.file, nullptr);
        EXPECT_EQ(stream.ownedBuffer, nullptr);
        EXPECT_EQ(stream.cursor, stream.buffer);
        EXPECT_EQ(stream.size, bytes / 4);
        EXPECT_EQ(stream.tailBytes, bytes % 4);
        EXPECT_EQ(stateOf(stream), (WriterState{1, 0, 0, 0}));
        EXPECT_EQ(stream.mode, 'w');
        EXPECT_EQ(stream.bitCount(), 0);
    }
}

TEST(MemoryBitWriter, fillsBytesFromTheLeastSignificantBit) {
    MemoryWriter writer(8, {true, false, true, true});
    writer.stream.flush();
    EXPECT_EQ(writer.content()[0], 0x0D);
    EXPECT_EQ(writer.stream.bitCount(), 4);
}

TEST(MemoryBitWriter, putsTheLowBitsOfAValueFromTheFirstOn) {
    MemoryWriter writer(8);
    writer.stream.putBits(0xFFFFFFF5, 3); // 1, 0, 1
    writer.stream.putBits(0x12345678, 0);
    writer.stream.putBits(6, 5); // 0, 1, 1, 0, 0
    writer.stream.putBits(0x89ABCDEF, 32);
    writer.stream.flush();
    EXPECT_EQ(writer.content(5), (Bytes{0x35, 0xEF, 0xCD, 0xAB, 0x89}));
    EXPECT_EQ(writer.stream.bitCount(), 40);
}

TEST(MemoryBitWriter, putsValuesAsSoManySingleBits) {
    std::mt19937_64 random{1};
    for (int n = 0; n <= 32; ++n) {
        for (std::size_t pending = 0; pending < 32; ++pending) {
            const Bits before = randomBits(random, pending);
            MemoryWriter atOnce(12, before);
            MemoryWriter singly(12, before);
            const auto value = static_cast<std::uint32_t>(random());
            atOnce.stream.putBits(value, n);
            for (int i = 0; i < n; ++i) {
                singly.stream.putBit(value >> i & 1);
            }
            ASSERT_EQ(stateOf(atOnce.stream), stateOf(singly.stream)) << n << " bits behind " << pending;
            ASSERT_EQ(atOnce.content(), singly.content()) << n << " bits behind " << pending;
        }
    }
}

TEST(MemoryBitWriter, storesAWordWithItsLastBit) {
    MemoryWriter writer(12);
    writer.stream.putBits(0x44332211, 31);
    EXPECT_EQ(writer.stream.words(), 0);
    EXPECT_EQ(writer.content()[0], MemoryWriter::untouchedByte);
    writer.stream.putBit(0);
    EXPECT_EQ(stateOf(writer.stream), (WriterState{1, 1, 0, 0}));
    EXPECT_EQ(writer.content(4), (Bytes{0x11, 0x22, 0x33, 0x44}));
}

TEST(MemoryBitWriter, flushesNothingBehindAWholeWord) {
    MemoryWriter writer(12);
    writer.stream.flush();
    writer.stream.putBits(0xFFFFFFFF, 32);
    writer.stream.flush();
    EXPECT_EQ(stateOf(writer.stream), (WriterState{1, 1, 0, 0}));
    EXPECT_EQ(writer.content()[4], MemoryWriter::untouchedByte);
    EXPECT_EQ(writer.stream.bitCount(), 32);
}

TEST(MemoryBitWriter, goesOnAfterAFlushAsIfThereHadBeenNone) {
    std::mt19937_64 random{2};
    const Bits bits = randomBits(random, 300);
    MemoryWriter plain(40, bits);
    MemoryWriter flushed(40);
    for (const bool bit : bits) {
        flushed.stream.putBit(bit ? 1 : 0);
        const WriterState before = stateOf(flushed.stream);
        flushed.stream.flush();
        ASSERT_EQ(stateOf(flushed.stream), before);
    }
    plain.stream.flush();
    EXPECT_EQ(stateOf(flushed.stream), stateOf(plain.stream));
    EXPECT_EQ(flushed.content(), plain.content());
    EXPECT_EQ(flushed.content(38), packed(bits));
}

TEST(MemoryBitWriter, countsEveryBit) {
    std::mt19937_64 random{3};
    for (std::size_t count = 0; count <= 100; ++count) {
        MemoryWriter writer(16, randomBits(random, count));
        writer.stream.flush();
        EXPECT_EQ(writer.stream.bitCount(), static_cast<std::int64_t>(count));
    }
}

TEST(FullMemoryBitWriter, takesTheBitsOfOneMoreWordThanItHolds) {
    MemoryWriter writer(10);
    putAll(writer.stream, Bits(64, true));
    EXPECT_EQ(stateOf(writer.stream), (WriterState{1, 2, 0, 0}));
    writer.stream.putBits(0x44332211, 31);
    EXPECT_EQ(thrownBy([&] { writer.stream.putBit(0); }), 3);
    EXPECT_EQ(writer.content(), (Bytes{255, 255, 255, 255, 255, 255, 255, 255, 0x11, 0x22}));
    EXPECT_EQ(stateOf(writer.stream), (WriterState{1U << 16, 2, 0x44332211, 0}));
    EXPECT_EQ(writer.stream.bitCount(), 80);
    EXPECT_TRUE(writer.fenceIsIntact());
}

TEST(FullMemoryBitWriter, losesTheMaskWithoutTailBytes) {
    MemoryWriter writer(8, Bits(95, true));
    EXPECT_EQ(thrownBy([&] { writer.stream.putBit(1); }), 3);
    EXPECT_EQ(stateOf(writer.stream), (WriterState{0, 2, 0xFFFFFFFF, 0}));
    EXPECT_EQ(writer.stream.bitCount(), 64);
    EXPECT_TRUE(writer.fenceIsIntact());
}

TEST(FullMemoryBitWriter, holdsTheFirstBytesOfTheStreamForEveryCapacity) {
    std::mt19937_64 random{4};
    for (std::size_t capacity = 0; capacity <= 20; ++capacity) {
        const std::size_t last = 32 * (capacity / 4 + 1);
        const Bits bits = randomBits(random, last);
        MemoryWriter writer(capacity, Bits(bits.begin(), bits.end() - 1));
        EXPECT_EQ(thrownBy([&] { writer.stream.putBit(bits.back() ? 1 : 0); }), 3) << capacity;
        EXPECT_EQ(writer.content(), prefix(packed(bits), capacity)) << capacity;
        EXPECT_EQ(writer.stream.bitCount(), static_cast<std::int64_t>(8 * capacity)) << capacity;
        EXPECT_EQ(writer.stream.mask, capacity % 4 == 0 ? 0 : 1U << 8 * (capacity % 4)) << capacity;
        EXPECT_TRUE(writer.fenceIsIntact()) << capacity;
    }
}

TEST(FullMemoryBitWriter, fillsItsTailOnAFlushOfAPartialWord) {
    for (std::size_t tail = 1; tail <= 3; ++tail) {
        MemoryWriter writer(4 + tail, Bits(32 + 5, true));
        EXPECT_EQ(thrownBy([&] { writer.stream.flush(); }), 3) << tail;
        EXPECT_EQ(writer.content(), prefix({255, 255, 255, 255, 0x1F, 0, 0}, 4 + tail)) << tail;
        EXPECT_EQ(writer.stream.mask, 1U << 8 * tail) << tail;
        EXPECT_EQ(writer.stream.bitCount(), static_cast<std::int64_t>(32 + 8 * tail)) << tail;
        EXPECT_TRUE(writer.fenceIsIntact()) << tail;
    }
}

TEST(FullMemoryBitWriter, keepsMarkingPendingBitsOnAFlushWithoutTailBytes) {
    MemoryWriter writer(4, Bits(32 + 5, true));
    EXPECT_EQ(thrownBy([&] { writer.stream.flush(); }), 3);
    EXPECT_EQ(stateOf(writer.stream), (WriterState{1U << 5, 1, 0x1F, 0}));
    EXPECT_EQ(writer.stream.bitCount(), 32 + 5);
    EXPECT_TRUE(writer.fenceIsIntact());
}

TEST(FullMemoryBitWriter, flushesWithoutComplaintWhenNothingIsPending) {
    MemoryWriter writer(4, Bits(32, true));
    EXPECT_EQ(thrownBy([&] { writer.stream.flush(); }), 0);
    EXPECT_EQ(writer.stream.bitCount(), 32);
    MemoryWriter empty(0);
    EXPECT_EQ(thrownBy([&] { empty.stream.flush(); }), 0);
}

TEST(FullMemoryBitWriter, throwsAgainWithoutHarm) {
    for (std::size_t capacity = 0; capacity <= 8; ++capacity) {
        MemoryWriter writer(capacity);
        EXPECT_EQ(thrownBy([&] { putAll(writer.stream, Bits(200, true)); }), 3);
        EXPECT_EQ(thrownBy([&] { putAll(writer.stream, Bits(200, true)); }), 3);
        EXPECT_EQ(thrownBy([&] { writer.stream.flush(); }), 3);
        EXPECT_EQ(writer.content(), Bytes(capacity, 255));
        EXPECT_TRUE(writer.fenceIsIntact());
    }
}

TEST(BitWriter, cannotFetch) {
    MemoryWriter writer(8);
    EXPECT_EQ(thrownBy([&] { writer.stream.fetch(); }), 5);
    BitStreamer neutral;
    EXPECT_EQ(thrownBy([&] { neutral.fetch(); }), 5);
}

// Reading looks at no mode as long as bits or words are there: it takes the bits under assembly for those left of a
// word, without the highest of them, which stands where a reader has its sentinel.
TEST(BitWriter, isReadFromTheWordUnderAssemblyFirst) {
    MemoryWriter writer(8);
    writer.stream.putBits(0b1101, 4);
    EXPECT_EQ(writer.stream.getBit(), 1U);
    EXPECT_EQ(stateOf(writer.stream), (WriterState{1U << 4, 0, 0b110, 0}));
    EXPECT_EQ(writer.stream.getBit(), 0U);
    EXPECT_EQ(stateOf(writer.stream), (WriterState{1U << 4, 0, 0b11, 0}));
    EXPECT_EQ(writer.stream.getBit(), 1U);
    EXPECT_EQ(stateOf(writer.stream), (WriterState{1U << 4, 0, 1, 0}));
    EXPECT_EQ(writer.content(), Bytes(8, MemoryWriter::untouchedByte));
}

TEST(BitWriter, isReadFromTheWordsBehindItsCursorNext) {
    std::uint32_t memory[] = {littleEndian(0x89ABCDEF), littleEndian(0x01234567)};
    BitStreamer stream;
    stream.setUpMemoryWriter(memory, sizeof memory);
    stream.current = 1;
    EXPECT_EQ(stream.getBit(), 1U);
    EXPECT_EQ(stateOf(stream), (WriterState{1, 1, 0xC4D5E6F7, 0}));
    EXPECT_EQ(stream.getBits(31), 0x89ABCDEFU >> 1);
    EXPECT_EQ(stateOf(stream), (WriterState{1, 1, 1, 0}));
    EXPECT_EQ(stream.getBits(32), 0x01234567U);
    EXPECT_EQ(stateOf(stream), (WriterState{1, 2, 1, 0}));
    EXPECT_EQ(memory[0], littleEndian(0x89ABCDEF));
    EXPECT_EQ(memory[1], littleEndian(0x01234567));
}

TEST(BitWriter, isReadFromItsWordsAtOnceWhenNothingIsUnderAssembly) {
    std::uint32_t memory[] = {littleEndian(0x80000001), littleEndian(0x7FFFFFFE)};
    BitStreamer stream;
    stream.setUpMemoryWriter(memory, sizeof memory);
    EXPECT_EQ(stream.getBit(), 1U);
    EXPECT_EQ(stateOf(stream), (WriterState{1, 1, 0xC0000000, 0}));
    stream.current = 0;
    EXPECT_EQ(stream.getBit(), 0U);
    EXPECT_EQ(stateOf(stream), (WriterState{1, 2, 0xBFFFFFFF, 0}));
}

TEST(BitWriter, isReadBehindTheWordsThatWereWritten) {
    std::uint32_t memory[] = {0, littleEndian(0x12345678)};
    BitStreamer stream;
    stream.setUpMemoryWriter(memory, sizeof memory);
    stream.putBits(0xFFFFFFFF, 32);
    EXPECT_EQ(stream.getBits(32), 0x12345678U);
    EXPECT_EQ(stream.words(), 2);
}

TEST(BitWriter, throwsFiveWhenItIsReadBeyondItsWords) {
    for (const std::size_t bytes : {8U, 10U}) {
        MemoryWriter writer(bytes);
        EXPECT_EQ(writer.stream.getBits(32), 0xEEEEEEEEU);
        EXPECT_EQ(writer.stream.getBits(32), 0xEEEEEEEEU);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(thrownBy([&] { writer.stream.getBit(); }), 5);
            EXPECT_EQ(stateOf(writer.stream), (WriterState{1, 2, 0, 0}));
        }
        EXPECT_EQ(writer.content(), Bytes(bytes, MemoryWriter::untouchedByte));
    }
}

TEST(BitWriter, losesTheLastBitUnderAssemblyWhenThereIsNoWordBehindIt) {
    MemoryWriter writer(4);
    writer.stream.putBits(0x44332211, 32);
    writer.stream.putBits(0b101, 3);
    EXPECT_EQ(writer.stream.getBits(2), 1U);
    EXPECT_EQ(stateOf(writer.stream), (WriterState{1U << 3, 1, 1, 0}));
    EXPECT_EQ(thrownBy([&] { writer.stream.getBit(); }), 5);
    EXPECT_EQ(stateOf(writer.stream), (WriterState{1U << 3, 1, 0, 0}));
    EXPECT_EQ(writer.content(), (Bytes{0x11, 0x22, 0x33, 0x44}));
}

TEST(BitWriter, isReadLikewiseWhenItWritesToAFile) {
    const ScratchFile file({1, 2, 3, 4});
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    stream.buffer[0] = littleEndian(0x89ABCDEF);
    EXPECT_EQ(stream.getBits(32), 0x89ABCDEFU);
    stream.cursor = stream.buffer + stream.size;
    EXPECT_EQ(thrownBy([&] { stream.getBit(); }), 5);
    EXPECT_EQ(file.position(), 0);
    EXPECT_EQ(file.contents(), (Bytes{1, 2, 3, 4}));
}

TEST(BitWriter, cannotBeReadWhenItsBufferHoldsNoWord) {
    MemoryWriter writer(0);
    EXPECT_EQ(thrownBy([&] { writer.stream.getBit(); }), 5);
    BitStreamer neutral;
    EXPECT_EQ(thrownBy([&] { neutral.getBit(); }), 5);
    EXPECT_EQ(thrownBy([&] { neutral.getBits(8); }), 5);
}

TEST(NeutralBitStream, isNeitherWriterNorReader) {
    const BitStreamer stream;
    EXPECT_EQ(stream.file, nullptr);
    EXPECT_EQ(stream.ownedBuffer, nullptr);
    EXPECT_EQ(stream.buffer, nullptr);
    EXPECT_EQ(stream.size, 0);
    EXPECT_EQ(stream.tailBytes, 0);
    EXPECT_EQ(stream.cursor, nullptr);
    EXPECT_EQ(stateOf(stream), (WriterState{1, 0, 0, 0}));
    EXPECT_EQ(stream.mode, '-');
}

} // namespace teko
