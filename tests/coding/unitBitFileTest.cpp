// SPDX-License-Identifier: Apache-2.0
#include "support/bitStreams.hpp"
#include "support/scratchFile.hpp"
#include "support/thrownInteger.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

constexpr std::int64_t turn = BitStreamer::fileBufferWords;

// A file writer whose buffer holds so many words 0, 1, 2, ... already.
void fillWords(BitStreamer& stream, std::int64_t count) {
    for (std::int64_t word = 0; word < count; ++word) {
        stream.putBits(static_cast<std::uint32_t>(word), 32);
    }
}

Bytes wordBytes(std::uint32_t word) {
    return {static_cast<std::uint8_t>(word & 0xFF), static_cast<std::uint8_t>(word >> 8 & 0xFF),
            static_cast<std::uint8_t>(word >> 16 & 0xFF), static_cast<std::uint8_t>(word >> 24)};
}

Bytes countingWords(std::int64_t count) {
    Bytes bytes;
    for (std::int64_t word = 0; word < count; ++word) {
        const Bytes next = wordBytes(static_cast<std::uint32_t>(word));
        bytes.insert(bytes.end(), next.begin(), next.end());
    }
    return bytes;
}

} // namespace

TEST(FileBitWriter, startsWithAnEmptyBufferOfItsOwn) {
    const ScratchFile file;
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    EXPECT_EQ(stream.file, file.get());
    EXPECT_NE(stream.ownedBuffer, nullptr);
    EXPECT_EQ(stream.buffer, stream.ownedBuffer);
    EXPECT_EQ(stream.cursor, stream.buffer);
    EXPECT_EQ(stream.size, 102400);
    EXPECT_EQ(stream.tailBytes, 0);
    EXPECT_EQ(stateOf(stream), (WriterState{1, 0, 0, 0}));
    EXPECT_EQ(stream.mode, 'w');
}

TEST(FileBitWriter, padsItsLastWordWithZeros) {
    const ScratchFile file;
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    stream.putBits(0x44332211, 32);
    stream.putBits(0x1F, 5);
    stream.flush();
    EXPECT_EQ(file.contents(), (Bytes{0x11, 0x22, 0x33, 0x44, 0x1F, 0, 0, 0}));
    EXPECT_EQ(stateOf(stream), (WriterState{1, 0, 0, 2}));
    EXPECT_EQ(stream.bitCount(), 64);
}

TEST(FileBitWriter, writesNothingBeforeAFlush) {
    const ScratchFile file;
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    fillWords(stream, turn);
    EXPECT_EQ(file.contents(), Bytes{});
    EXPECT_EQ(stateOf(stream), (WriterState{1, turn, 0, 0}));
}

TEST(FileBitWriter, flushesNothingWithoutHarm) {
    const ScratchFile file;
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    EXPECT_EQ(thrownBy([&] { stream.flush(); }), 0);
    stream.putBits(1, 32);
    stream.flush();
    EXPECT_EQ(thrownBy([&] { stream.flush(); }), 0);
    EXPECT_EQ(file.contents(), (Bytes{1, 0, 0, 0}));
    EXPECT_EQ(stream.wordsDone, 1);
}

TEST(FileBitWriter, goesOnBehindItsPaddingAfterAFlush) {
    const ScratchFile file;
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    stream.putBit(1);
    stream.flush();
    stream.putBits(3, 2);
    stream.flush();
    EXPECT_EQ(file.contents(), (Bytes{1, 0, 0, 0, 3, 0, 0, 0}));
}

TEST(FileBitWriter, turnsItsBufferWithTheWordThatFindsNoRoom) {
    const ScratchFile file;
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    fillWords(stream, turn);
    stream.putBits(0, 31);
    EXPECT_EQ(stream.wordsDone, 0);
    stream.putBit(1);
    EXPECT_EQ(stateOf(stream), (WriterState{1, 1, 0, turn}));
    EXPECT_EQ(file.contents(), countingWords(turn));
    stream.flush();
    EXPECT_EQ(file.contents(), countingWords(turn) + wordBytes(0x80000000));
    EXPECT_EQ(stream.bitCount(), 32 * (turn + 1));
}

TEST(FileBitWriter, turnsItsBufferAgainAndAgain) {
    const ScratchFile file;
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    fillWords(stream, 3 * turn + 7);
    EXPECT_EQ(stateOf(stream), (WriterState{1, 7, 0, 3 * turn}));
    stream.flush();
    EXPECT_EQ(file.contents(), countingWords(3 * turn + 7));
}

TEST(FileBitWriter, flushesAPartialWordBehindAFullBuffer) {
    const ScratchFile file;
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    fillWords(stream, turn);
    stream.putBits(5, 3);
    stream.flush();
    EXPECT_EQ(file.contents(), countingWords(turn) + wordBytes(5));
    EXPECT_EQ(stateOf(stream), (WriterState{1, 0, 0, turn + 1}));
}

TEST(FileBitWriter, writesBehindTheFilesPosition) {
    const ScratchFile file({9, 9, 9, 9, 9, 9});
    std::fseek(file.get(), 2, SEEK_SET);
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    stream.putBits(0x04030201, 32);
    stream.flush();
    EXPECT_EQ(file.contents(), (Bytes{9, 9, 1, 2, 3, 4}));
}

TEST(FileBitWriter, throwsThreeWhenATurnDoesNotFit) {
    const FullDevice full;
    BitStreamer stream;
    stream.setUpFileWriter(full.get());
    fillWords(stream, turn);
    EXPECT_EQ(thrownBy([&] { stream.putBits(0, 32); }), 3);
    EXPECT_EQ(stream.wordsDone, 0);
}

TEST(FileBitWriter, throwsThreeWhenAFlushDoesNotFit) {
    const FullDevice full;
    std::setvbuf(full.get(), nullptr, _IONBF, 0);
    BitStreamer stream;
    stream.setUpFileWriter(full.get());
    EXPECT_EQ(thrownBy([&] { stream.flush(); }), 0);
    stream.putBit(1);
    EXPECT_EQ(thrownBy([&] { stream.flush(); }), 3);
    EXPECT_EQ(stream.wordsDone, 0);
}

TEST(FileBitWriter, throwsThreeWhenOnlyAPartFits) {
    Bytes memory(10);
    std::FILE* file = fmemopen(memory.data(), memory.size(), "r+b");
    ASSERT_NE(file, nullptr);
    std::setvbuf(file, nullptr, _IONBF, 0);
    BitStreamer stream;
    stream.setUpFileWriter(file);
    stream.putBits(0x44332211, 32);
    stream.putBits(0x88776655, 32);
    stream.putBits(0xCCBBAA99, 32);
    EXPECT_EQ(thrownBy([&] { stream.flushToFile(); }), 3);
    EXPECT_EQ(stream.wordsDone, 0);
    std::fclose(file);
    EXPECT_EQ(memory, (Bytes{0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA}));
}

TEST(FileBitWriter, cannotFetch) {
    const ScratchFile file;
    BitStreamer stream;
    stream.setUpFileWriter(file.get());
    EXPECT_EQ(thrownBy([&] { stream.fetch(); }), 5);
}

TEST(FileBits, areReadAsTheyWereWritten) {
    std::mt19937_64 random{8};
    const Bits bits = randomBits(random, 100003);
    const ScratchFile file;
    BitStreamer writer;
    writer.setUpFileWriter(file.get());
    putAll(writer, bits);
    writer.flush();
    EXPECT_EQ(file.contents(), packed(paddedToWords(bits)));
    std::rewind(file.get());
    BitStreamer reader;
    reader.setUpFileReader(file.get());
    EXPECT_EQ(getAll(reader, bits.size()), bits);
}

} // namespace teko
