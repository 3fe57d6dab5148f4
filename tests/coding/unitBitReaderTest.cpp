// SPDX-License-Identifier: Apache-2.0
#include "support/bitStreams.hpp"
#include "support/scratchFile.hpp"
#include "support/thrownInteger.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

constexpr std::int64_t turn = BitStreamer::fileBufferWords;

// Words 0, 1, 2, ... as a file holds them.
Bytes countingWords(std::size_t count) {
    Bytes bytes;
    for (std::size_t word = 0; word < count; ++word) {
        for (int i = 0; i < 4; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(word >> 8 * i & 0xFF));
        }
    }
    return bytes;
}

} // namespace

TEST(MemoryBitReader, startsBeforeItsFirstWord) {
    MemoryReader reader({1, 2, 3, 4, 5, 6});
    const BitStreamer& stream = reader.stream;
    EXPECT_EQ(stream.file, nullptr);
    EXPECT_EQ(stream.ownedBuffer, nullptr);
    EXPECT_EQ(stream.cursor, stream.buffer);
    EXPECT_EQ(stream.size, 1);
    EXPECT_EQ(stream.tailBytes, 2);
    EXPECT_EQ(stream.mask, 0U);
    EXPECT_EQ(stream.current, 1U);
    EXPECT_EQ(stream.wordsDone, 0);
    EXPECT_EQ(stream.mode, 'r');
}

TEST(MemoryBitReader, yieldsBytesFromTheLeastSignificantBit) {
    const Bytes bytes{0x0D, 0x80, 0x01, 0xFE, 0x55, 0xAA, 0x00, 0xFF};
    MemoryReader reader(bytes);
    EXPECT_EQ(getAll(reader.stream, 64), unpacked(bytes));
}

TEST(MemoryBitReader, keepsWhatIsLeftOfAWordBelowASentinel) {
    MemoryReader reader({0x0D, 0, 0, 0x80});
    EXPECT_EQ(reader.stream.getBit(), 1U);
    EXPECT_EQ(reader.stream.current, 0xC0000006U);
    EXPECT_EQ(reader.stream.words(), 1);
    EXPECT_EQ(reader.stream.getBits(30), 6U);
    EXPECT_EQ(reader.stream.current, 3U);
    EXPECT_EQ(reader.stream.getBit(), 1U);
    EXPECT_EQ(reader.stream.current, 1U);
}

TEST(MemoryBitReader, returnsEveryByteThatWasPut) {
    MemoryWriter writer(256);
    for (std::uint32_t value = 0; value < 256; ++value) {
        writer.stream.putBits(value, 8);
    }
    MemoryReader reader(writer.content());
    for (std::uint32_t value = 0; value < 256; ++value) {
        EXPECT_EQ(reader.stream.getBits(8), value);
    }
}

TEST(MemoryBitReader, takesTheFirstBitReadForBitZero) {
    std::mt19937_64 random{1};
    for (int n = 0; n <= 32; ++n) {
        for (std::size_t pending = 0; pending < 32; ++pending) {
            const Bits bits = randomBits(random, 96);
            MemoryReader reader(packed(bits));
            getAll(reader.stream, pending);
            const std::uint32_t value = reader.stream.getBits(n);
            for (int i = 0; i < n; ++i) {
                ASSERT_EQ((value >> i & 1) != 0, bits[pending + static_cast<std::size_t>(i)]) << n << ", " << pending;
            }
            ASSERT_TRUE(n == 32 || value >> n == 0);
        }
    }
}

TEST(MemoryBitReader, neverReadsBytesBehindTheLastWholeWord) {
    for (std::size_t tail = 0; tail <= 3; ++tail) {
        MemoryReader reader(Bytes(4 + tail, 0xFF));
        EXPECT_EQ(getAll(reader.stream, 32), Bits(32, true));
        EXPECT_EQ(thrownBy([&] { reader.stream.getBit(); }), 3) << tail;
        EXPECT_EQ(thrownBy([&] { reader.stream.getBit(); }), 3) << tail;
        EXPECT_EQ(thrownBy([&] { reader.stream.getBits(8); }), 3) << tail;
    }
}

TEST(MemoryBitReader, hasNothingInFewerThanFourBytes) {
    for (std::size_t bytes = 0; bytes <= 3; ++bytes) {
        MemoryReader reader(Bytes(bytes, 0xFF));
        EXPECT_EQ(thrownBy([&] { reader.stream.getBit(); }), 3) << bytes;
    }
}

TEST(MemoryBitReader, endsInTheMiddleOfAValue) {
    MemoryReader reader({1, 2, 3, 4});
    reader.stream.getBits(28);
    EXPECT_EQ(thrownBy([&] { reader.stream.getBits(8); }), 3);
}

TEST(MemoryBitReader, neverRefills) {
    MemoryReader reader({1, 2, 3, 4});
    EXPECT_EQ(thrownBy([&] { reader.stream.fetch(); }), 3);
}

TEST(BitReader, cannotBeFlushedOrAppended) {
    MemoryReader memoryReader({1, 2, 3, 4});
    EXPECT_EQ(thrownBy([&] { memoryReader.stream.flush(); }), 5);
    MemoryWriter writer(16);
    EXPECT_EQ(thrownBy([&] { writer.stream.append(memoryReader.stream); }), 5);
    EXPECT_EQ(stateOf(writer.stream), (WriterState{1, 0, 0, 0}));
    const ScratchFile file({1, 2, 3, 4});
    BitStreamer fileReader;
    fileReader.setUpFileReader(file.get());
    EXPECT_EQ(thrownBy([&] { fileReader.flush(); }), 5);
}

TEST(FileBitReader, startsExhausted) {
    const ScratchFile file(countingWords(2));
    BitStreamer stream;
    stream.setUpFileReader(file.get());
    EXPECT_EQ(stream.file, file.get());
    EXPECT_NE(stream.ownedBuffer, nullptr);
    EXPECT_EQ(stream.buffer, stream.ownedBuffer);
    EXPECT_EQ(stream.size, 102400);
    EXPECT_EQ(stream.tailBytes, 0);
    EXPECT_EQ(stream.mask, 0U);
    EXPECT_EQ(stream.words(), 102400);
    EXPECT_EQ(stream.current, 1U);
    EXPECT_EQ(stream.wordsDone, 0);
    EXPECT_EQ(stream.mode, 'r');
    EXPECT_EQ(file.position(), 0);
}

TEST(FileBitReader, countsItsUnusedFirstBufferWithTheFirstBit) {
    const ScratchFile file(countingWords(2));
    BitStreamer stream;
    stream.setUpFileReader(file.get());
    stream.getBit();
    EXPECT_EQ(stream.wordsDone, 102400);
    EXPECT_EQ(stream.size, 2);
    EXPECT_EQ(stream.words(), 1);
}

TEST(FileBitReader, startsAtTheFilesPosition) {
    const ScratchFile file(Bytes(10, 0xFF) + Bytes{0x78, 0x56, 0x34, 0x12});
    std::fseek(file.get(), 10, SEEK_SET);
    BitStreamer stream;
    stream.setUpFileReader(file.get());
    EXPECT_EQ(stream.getBits(32), 0x12345678U);
}

TEST(FileBitReader, readsLessAtOnceWhenToldTo) {
    constexpr std::uint32_t words = 2 * BitStreamer::wordsAtOnce + 3;
    const ScratchFile file(Bytes(10, 0xFF) + countingWords(words) + Bytes{0xFF, 0xFF});
    std::fseek(file.get(), 10, SEEK_SET);
    BitStreamer stream;
    stream.setUpFileReader(file.get());
    stream.limitReads();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(stream.buffer) % 4096, 64U);
    EXPECT_GE(stream.buffer, stream.ownedBuffer);
    EXPECT_LE(stream.buffer + BitStreamer::wordsAtOnce, stream.ownedBuffer + turn);
    for (std::uint32_t word = 0; word < words; ++word) {
        ASSERT_EQ(stream.getBits(32), word);
        ASSERT_EQ(stream.size, word < 2 * BitStreamer::wordsAtOnce ? BitStreamer::wordsAtOnce : 3);
    }
    EXPECT_EQ(thrownBy([&] { stream.getBit(); }), 3);
}

TEST(FileBitReader, readsWholeBuffersAndAsksForFewerAfterAShortOne) {
    const ScratchFile file(countingWords(2 * turn + 3) + Bytes{0xFF, 0xFF});
    BitStreamer stream;
    stream.setUpFileReader(file.get());
    for (std::uint32_t word = 0; word < 2 * turn + 3; ++word) {
        ASSERT_EQ(stream.getBits(32), word);
        ASSERT_EQ(stream.wordsDone, (word / turn + 1) * turn);
    }
    EXPECT_EQ(stream.size, 3);
    EXPECT_EQ(stream.words(), 3);
    EXPECT_EQ(thrownBy([&] { stream.getBit(); }), 3);
    EXPECT_EQ(stream.size, 3);
}

TEST(FileBitReader, throwsThreeAtTheEndOfAWholeBuffer) {
    const ScratchFile file(countingWords(turn));
    BitStreamer stream;
    stream.setUpFileReader(file.get());
    for (std::uint32_t word = 0; word < turn; ++word) {
        ASSERT_EQ(stream.getBits(32), word);
    }
    EXPECT_EQ(thrownBy([&] { stream.getBits(1); }), 3);
    EXPECT_EQ(thrownBy([&] { stream.getBits(1); }), 3);
}

TEST(FileBitReader, neverReadsAnIncompleteWord) {
    for (std::size_t bytes = 0; bytes <= 7; ++bytes) {
        const ScratchFile file(Bytes(bytes, 0xFF));
        BitStreamer stream;
        stream.setUpFileReader(file.get());
        EXPECT_EQ(thrownBy([&] { getAll(stream, bytes < 4 ? 0 : 32); }), 0) << bytes;
        EXPECT_EQ(thrownBy([&] { stream.getBit(); }), 3) << bytes;
    }
}

TEST(FileBitReader, throwsThreeForAFileThatCannotBeRead) {
    const FullDevice writeOnly;
    BitStreamer stream;
    stream.setUpFileReader(writeOnly.get());
    EXPECT_EQ(thrownBy([&] { stream.getBit(); }), 3);
}

} // namespace teko
