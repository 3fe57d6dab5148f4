// SPDX-License-Identifier: Apache-2.0
#include "coding/bitStreamer.hpp"

#include <algorithm>
#include <cassert>

namespace teko {

template <typename Word>
void BasicBitStreamer<Word>::setUpFileWriter(std::FILE* output) {
    assert(mode == '-' && output != nullptr);
    ownedBuffer = new Word[fileBufferWords];
    file = output;
    buffer = cursor = ownedBuffer;
    size = fileBufferWords;
    mode = 'w';
}

template <typename Word>
void BasicBitStreamer<Word>::setUpMemoryWriter(void* memory, std::int64_t bytes) {
    assert(mode == '-' && bytes >= 0);
    buffer = cursor = static_cast<Word*>(memory);
    size = bytes / 4;
    tailBytes = static_cast<int>(bytes % 4);
    mode = 'w';
}

template <typename Word>
void BasicBitStreamer<Word>::setUpFileReader(std::FILE* input) {
    assert(mode == '-' && input != nullptr);
    ownedBuffer = new Word[fileBufferWords];
    file = input;
    buffer = ownedBuffer;
    size = fileBufferWords;
    mask = 0;
    cursor = buffer + fileBufferWords; // exhausted: the first read refills
    current = 1;
    mode = 'r';
}

template <typename Word>
void BasicBitStreamer<Word>::setUpMemoryReader(const void* memory, std::int64_t bytes) {
    assert(mode == '-' && bytes >= 0);
    buffer = cursor = static_cast<Word*>(const_cast<void*>(memory));
    size = bytes / 4;
    tailBytes = static_cast<int>(bytes % 4);
    mask = 0;
    current = 1;
    mode = 'r';
}

// Zen 3 copies at a sixth of its speed where the destination's place in its page is 1 to 31 bytes behind the source's.
// The C library puts large memory at place 16, and what is read there comes from place 10, behind the header (decoding
// commands: 1.06 times as fast).
template <typename Word>
void BasicBitStreamer<Word>::limitReads() {
    assert(mode == 'r' && file != nullptr && wordsDone == 0);
    constexpr std::size_t page = 4096;
    constexpr std::size_t place = 64;
    const std::size_t placeOfBuffer = reinterpret_cast<std::uintptr_t>(ownedBuffer) % page;
    buffer = ownedBuffer + (page + place - placeOfBuffer) % page / sizeof *ownedBuffer;
    size = wordsAtOnce;
    cursor = buffer + size;
}

template <typename Word>
void BasicBitStreamer<Word>::flushBuffer() {
    if (file != nullptr) {
        flushToFile();
        return;
    }
    assert(tailBytes <= 3);
    auto* tail = reinterpret_cast<unsigned char*>(cursor);
    for (int k = 1; k <= tailBytes; ++k) {
        mask = 1U << (8 * k);
        tail[k - 1] = static_cast<unsigned char>(current >> (8 * (k - 1)) & 0xFFU);
    }
    throw 3;
}

template <typename Word>
void BasicBitStreamer<Word>::flushToFile() {
    const auto n = static_cast<std::size_t>(words());
    if (std::fwrite(buffer, sizeof *buffer, n, file) < n) {
        throw 3;
    }
    wordsDone += words();
    cursor = buffer;
}

template <typename Word>
void BasicBitStreamer<Word>::fetch() {
    if (mode != 'r') {
        throw 5;
    }
    if (file == nullptr) {
        throw 3;
    }
    const std::size_t n = std::fread(buffer, sizeof *buffer, static_cast<std::size_t>(size), file);
    if (n == 0) {
        throw 3;
    }
    size = static_cast<std::int64_t>(n);
    wordsDone += words();
    cursor = buffer;
}

template <typename Word>
void BasicBitStreamer<Word>::flush() {
    if (mode == 'r') {
        throw 5;
    }
    if (file != nullptr) {
        if (mask != 1) {
            storeCompletedWord();
            mask = 1;
            current = 0;
        }
        flushToFile();
    } else if (mask != 1) {
        if (words() >= size) {
            flushBuffer();
        }
        storeWord(cursor, current);
    }
}

template <typename Word>
void BasicBitStreamer<Word>::append(BasicBitStreamer<std::uint32_t>& source) {
    source.flush();
    assert(source.file == nullptr);
    append(source.buffer, source.bitCount());
}

// As many words as fit in the buffer go in one plain loop (2 times faster than a look at the buffer's end for
// every word); the word that finds it full goes the careful way.
template <typename Word>
void BasicBitStreamer<Word>::append(const std::uint32_t* from, std::int64_t bits) {
    std::int64_t remaining = bits;
    const int pending = std::countr_zero(mask);
    while (remaining >= 32) {
        const std::int64_t fitting = std::min(remaining / 32, size - words());
        appendWords(from, fitting, pending);
        from += fitting;
        remaining -= 32 * fitting;
        if (remaining >= 32) {
            putBits(littleEndian(*from++), 32);
            remaining -= 32;
        }
    }
    if (remaining > 0) {
        appendRest(littleEndian(*from), static_cast<int>(remaining));
    }
}

// At once instead of bit by bit, but where the word that they complete finds the buffer full.
template <typename Word>
void BasicBitStreamer<Word>::appendRest(std::uint32_t value, int n) {
    assert(n > 0 && n < 32 && value >> n == 0);
    const int pending = std::countr_zero(mask);
    if (pending + n < 32) {
        current |= value << pending;
        mask <<= n;
    } else if (words() < size) {
        storeWord(cursor++, current | value << pending);
        current = value >> (32 - pending);
        mask = 1U << (pending + n - 32);
    } else {
        putBits(value, n);
    }
}

// Each word is made from two of the source, so that none waits for the one before it: the compiler finds vectors.
template <typename Word>
void BasicBitStreamer<Word>::appendWords(const std::uint32_t* __restrict from, std::int64_t count, int pending) {
    if (count == 0) {
        return;
    }
    const auto above = [pending](std::uint32_t word) { return word >> 1 >> (31 - pending); };
    Word* __restrict to = cursor;
    storeWord(to, current | littleEndian(from[0]) << pending);
    for (std::int64_t i = 1; i < count; ++i) {
        storeWord(to + i, above(littleEndian(from[i - 1])) | littleEndian(from[i]) << pending);
    }
    current = above(littleEndian(from[count - 1]));
    cursor += count;
}

template <typename Word>
std::int64_t BasicBitStreamer<Word>::bitCount() const {
    assert((mask & (mask - 1)) == 0);
    const int partial = mask == 0 ? 0 : std::countr_zero(mask);
    return 32 * (wordsDone + words()) + partial;
}

template struct BasicBitStreamer<std::uint32_t>;
template struct BasicBitStreamer<UnalignedWord>;

} // namespace teko
