// SPDX-License-Identifier: Apache-2.0
// Bits in 32-bit words: writers to a file or to memory, readers from a file or from memory.
//
//   stream   bit 0 | bit 1 | ... | bit 31 | bit 32 | ...
//   word     bit 0 is the least significant of word 0, bit 31 its most significant, bit 32 starts word 1
//   file     each word in four bytes, the least significant byte first; so bits fill bytes from the bottom, too
//
// Values of several bits travel least significant bit first. Readers take whole words only: the last one to
// three bytes of a stream that is no whole number of words are never read.
#pragma once

#include "memory/memory.hpp"

#include <bit>
#include <cassert>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace teko {

// A word as it lies in a buffer: least significant byte first on every machine. Its own inverse.
constexpr std::uint32_t littleEndian(std::uint32_t word) {
    if constexpr (std::endian::native == std::endian::big) {
        return word << 24 | (word & 0xFF00U) << 8 | (word >> 8 & 0xFF00U) | word >> 24;
    }
    return word;
}

// A word at any address, as memory that somebody else allocated has it.
struct UnalignedWord {
    unsigned char bytes[4];
};

inline std::uint32_t loadWord(const std::uint32_t* from) {
    return littleEndian(*from);
}
inline std::uint32_t loadWord(const UnalignedWord* from) {
    std::uint32_t word = 0;
    std::memcpy(&word, from->bytes, sizeof word);
    return littleEndian(word);
}
inline void storeWord(std::uint32_t* to, std::uint32_t word) {
    *to = littleEndian(word);
}
inline void storeWord(UnalignedWord* to, std::uint32_t word) {
    const std::uint32_t stored = littleEndian(word);
    std::memcpy(to->bytes, &stored, sizeof stored);
}

// The fields are the interface: who builds a stream calls one of the four set-ups, who measures one reads them.
template <typename Word>
struct BasicBitStreamer {
    static constexpr std::int64_t fileBufferWords = 102400;
    // As many as are best read or written at a time: pages of the buffer that are never touched need not be given to a
    // command. With whole buffers, at the same place in memory, commands take 1.02 to 1.07 times as long for images of
    // 0.3 to 0.4 megapixels, encoding and decoding; for 24 megapixels 1.00 and 0.95.
    static constexpr std::int64_t wordsAtOnce = 16384;

    std::FILE* file = nullptr;   // where whole words go to or come from; null for memory streams
    Word* ownedBuffer = nullptr; // the buffer if this object allocated it; freed by the destructor
    Word* buffer = nullptr;      // start of the word buffer
    std::int64_t size = 0;       // writer: capacity in whole words; reader: valid words
    int tailBytes = 0;           // bytes of a memory buffer behind its last whole word, 0 to 3
    std::uint32_t mask = 1;      // writer: the place of the next bit in current; reader: unused
    Word* cursor = nullptr;      // writer: next word to store; reader: next word to load
    std::uint32_t current = 0;   // writer: the word under assembly; reader: the bits left of the last word, at the
                                 // bottom, with a sentinel 1 above them (bare 1: nothing left)
    std::int64_t wordsDone = 0;  // words of earlier turns of the buffer
    char mode = '-';             // 'w', 'r', or '-' before any set-up

    BasicBitStreamer() = default;
    BasicBitStreamer(const BasicBitStreamer&) = delete;
    BasicBitStreamer& operator=(const BasicBitStreamer&) = delete;
    ~BasicBitStreamer() { delete[] ownedBuffer; }

    // The four kinds; one of them, once. Memory stays the caller's and holds `bytes` bytes; a reader never writes to
    // it.
    void setUpFileWriter(std::FILE* output);
    void setUpMemoryWriter(void* memory, std::int64_t bytes);
    void setUpFileReader(std::FILE* input);
    void setUpMemoryReader(const void* memory, std::int64_t bytes);

    // Of a file reader that has read nothing: wordsAtOnce are asked for instead of a whole buffer, at the place in it
    // where they are copied fastest behind a header that is shorter than 32 bytes.
    void limitReads();

    // Append one bit (0 or 1), or the n low bits of a value, 0 <= n <= 32. Throw 3 when a completed word finds
    // a full memory buffer, which then holds the first `bytes` bytes of the stream, or a file that takes less.
    void putBit(std::uint32_t bit);
    void putBits(std::uint32_t value, int n);

    // The next bit, or the next n bits with the first read as bit 0, 0 <= n <= 32. Throw 3 when the words have
    // run out and 5 when this is no reader and finds nothing in its buffer.
    std::uint32_t getBit();
    std::uint32_t getBits(int n);

    // Makes room for a word in a full writer: empties the buffer to the file. A memory writer has none: it fills its
    // tail bytes from `current` and throws 3, which is how a budget ends; with tail bytes, `mask` is then behind the
    // last bit stored.
    void flushBuffer();
    // Writes the words up to the cursor and starts the buffer over. Throws 3 when the file takes fewer.
    void flushToFile();
    // Refills an exhausted file reader. Throws 5 when this is no reader, 3 when there are no more words.
    void fetch();
    // Makes everything written visible. A file writer pads its last word with zeros; a memory writer stores its
    // partial word and can go on. Throws 5 for a reader, 3 as putBit does.
    void flush();
    // Flushes another memory writer and appends its bits, as that many calls of putBit would.
    void append(BasicBitStreamer<std::uint32_t>& source);
    // The same with so many bits from the first of these words on. Bits behind them in the last word are 0.
    void append(const std::uint32_t* from, std::int64_t bits);

    // Bits written, once flushed: every bit of a memory writer, whole words of a file writer.
    std::int64_t bitCount() const;

    // Words between the start of the buffer and the cursor.
    std::int64_t words() const { return cursor - buffer; }

private:
    void storeCompletedWord();
    std::uint32_t loadNextWord();
    void appendWords(const std::uint32_t* from, std::int64_t count, int pending);
    void appendRest(std::uint32_t value, int n);
};

// Its memory is aligned to a word.
struct BitStreamer : BasicBitStreamer<std::uint32_t>, InTakenMemory {};

// The same stream, in memory at any address.
struct ByteStreamer : BasicBitStreamer<UnalignedWord> {};

// Makes `to` a reader that stands where `from` stands, in the same memory and of the same file. The buffer stays that
// of its owner. To be moved back before the owner is used again.
template <typename From, typename To>
void moveReader(const BasicBitStreamer<From>& from, BasicBitStreamer<To>& to) {
    assert(from.mode == 'r');
    to.file = from.file;
    to.buffer = reinterpret_cast<To*>(from.buffer);
    to.size = from.size;
    to.tailBytes = from.tailBytes;
    to.mask = from.mask;
    to.cursor = to.buffer + from.words();
    to.current = from.current;
    to.wordsDone = from.wordsDone;
    to.mode = from.mode;
}

template <typename Word>
void BasicBitStreamer<Word>::putBit(std::uint32_t bit) {
    if (bit != 0) {
        current |= mask;
    }
    mask <<= 1;
    if (mask == 0) {
        storeCompletedWord();
        mask = 1;
        current = 0;
    }
}

template <typename Word>
void BasicBitStreamer<Word>::putBits(std::uint32_t value, int n) {
    assert(n >= 0 && n <= 32);
    for (int i = 0; i < n; ++i) {
        putBit(value >> i & 1U);
    }
}

template <typename Word>
std::uint32_t BasicBitStreamer<Word>::getBit() {
    const std::uint32_t left = current;
    current = left >> 1;
    if (current != 0) {
        return left & 1U;
    }
    const std::uint32_t word = loadNextWord();
    current = word >> 1 | 0x80000000U;
    return word & 1U;
}

template <typename Word>
std::uint32_t BasicBitStreamer<Word>::getBits(int n) {
    assert(n >= 0 && n <= 32);
    std::uint32_t value = 0;
    for (int i = 0; i < n; ++i) {
        value |= getBit() << i;
    }
    return value;
}

template <typename Word>
void BasicBitStreamer<Word>::storeCompletedWord() {
    if (words() >= size) {
        flushBuffer();
    }
    storeWord(cursor++, current);
}

template <typename Word>
std::uint32_t BasicBitStreamer<Word>::loadNextWord() {
    if (words() >= size) {
        fetch();
    }
    return loadWord(cursor++);
}

extern template struct BasicBitStreamer<std::uint32_t>;
extern template struct BasicBitStreamer<UnalignedWord>;

} // namespace teko
