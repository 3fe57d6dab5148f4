// SPDX-License-Identifier: Apache-2.0
// What the decoder works on: sliced coefficients, and the bits of a stream.
//
// While decoding, the coefficients lie class by class and sliced: a block of 4,096 samples is some rows of 64 words.
// Row 0 holds the signs, row 1 what is significant, row b + 2 bit plane b, up to the top plane of the image (1.02 to
// 1.12 times on decodes, most on 16 bits, against room for all planes that there can be). Planes hold whatever they
// have until they come. Large classes have rows of 256 words: a pass over one bit plane then reads memory in longer
// stretches (100 megapixels: 1.2 times faster; small images: 1.1 times slower).
#pragma once

#include "coding/bitStreamer.hpp"
#include "fast/planes/planeKernels.hpp"
#include "fast/simd/operations.hpp"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdint>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

constexpr int mostRowWords = 256;

constexpr int rowWordsFor(std::int64_t samples) {
    return samples < std::int64_t{1} << 22 ? 64 : mostRowWords;
}

constexpr int rowsUpTo(int topPlane) {
    return topPlane + 3;
}

using Word = std::uint64_t;

// A word of a plane. Its memory is used as bytes as well.
using PlaneWord [[gnu::may_alias]] = std::uint64_t;

struct Block {
    PlaneWord* words;
    int rowWords;

    PlaneWord* row(int r) const { return words + r * rowWords; }
    PlaneWord* signs() const { return row(0); }
    PlaneWord* significant() const { return row(1); }
    PlaneWord* plane(int b) const { return row(b + 2); }
};

// The bits in a reader's buffer, as long as enough are there; the rest is read carefully, bit by bit, with what
// the reader does at its end.
class StreamView {
public:
    explicit StreamView(ByteStreamer& stream) : in(&stream) { attach(); }

    // Whether n bits may be taken from peek's result and as many skipped.
    bool has(std::uint64_t n) const { return place + n + reach <= held; }
    // The next 64 bits, behind some. Needs has(ahead).
    Word peek(std::uint64_t ahead = 0) const {
        assert(has(ahead));
        const unsigned char* bytes = data + (place + ahead) / 8;
        const unsigned shift = (place + ahead) % 8;
        return loadLittleEndian(bytes) >> shift | static_cast<Word>(bytes[8]) << 1 << (63 - shift);
    }
    void skip(std::uint64_t n) { place += n; }
    void unskip(std::uint64_t n) {
        assert(n <= place);
        place -= n;
    }

    // Up to 32 bits, wherever they come from. Throws what the reader throws; the stream stands there then.
    std::uint32_t read(int n) {
        if (has(32)) {
            const Word bits = peek();
            skip(static_cast<std::uint64_t>(n));
            return static_cast<std::uint32_t>(bits & ((Word{1} << n) - 1));
        }
        detach();
        const std::uint32_t bits = in->getBits(n);
        attach();
        return bits;
    }

    // Puts the stream where the view stands.
    void detach() {
        in->cursor = in->buffer + place / 32;
        in->current = 1;
        if (const unsigned used = place % 32) {
            in->current = loadWord(in->cursor++) >> used | 1U << (32 - used);
        }
    }

private:
    void attach() {
        const int left = 31 - std::countl_zero(in->current);
        data = in->buffer->bytes;
        place = 32 * static_cast<std::uint64_t>(in->words()) - static_cast<std::uint64_t>(left);
        held = 32 * static_cast<std::uint64_t>(in->size);
    }

    ByteStreamer* in;
    const unsigned char* data = nullptr;
    std::uint64_t place = 0; // in bits
    std::uint64_t held = 0;  // bits in the buffer

    static constexpr std::uint64_t reach = 72; // what peek touches
};

// One class of one channel.
template <typename T>
class SubbandState {
public:
    // counts: one for each block.
    void place(PlaneWord* itsMemory, int itsRows, std::int64_t samples, std::uint32_t* counts) {
        memory = itsMemory;
        rows = itsRows;
        count = samples;
        candidates = counts;
        rowWords = rowWordsFor(samples);
        significantCount = 0;
        lowestPlane = highestSlicedPlane<T> + 1;
        highestPlane = -1;
        stoppedIn = -1;
        contradictsItself = false;
        for (std::int64_t i = 0; i < blocks(); ++i) {
            candidates[i] = static_cast<std::uint32_t>(this->samples(i));
            std::fill_n(block(i).signs(), rowWords, Word{0});
            std::fill_n(block(i).significant(), rowWords, Word{0});
        }
    }

    void clearPlane(int b) {
        assert(b >= 0 && b + 2 < rows);
        for (std::int64_t i = 0; i < blocks(); ++i) {
            std::fill_n(block(i).plane(b), rowWords, Word{0});
        }
    }

    std::int64_t samplesInBlock() const { return std::int64_t{64} * rowWords; }
    std::int64_t blocks() const { return (count + samplesInBlock() - 1) / samplesInBlock(); }
    Block block(std::int64_t i) const { return {memory + i * rows * rowWords, rowWords}; }
    // In block i.
    std::int64_t samples(std::int64_t i) const { return std::min(count - i * samplesInBlock(), samplesInBlock()); }
    int words(std::int64_t i) const { return static_cast<int>((samples(i) + 63) / 64); }

    PlaneWord* memory;  // of its blocks
    int rows;           // of each
    std::int64_t count; // of samples
    int rowWords;
    std::uint32_t* candidates; // in each block
    std::int64_t significantCount;
    int lowestPlane;        // decoded, be it in part
    int highestPlane;       // with an event; -1 as long as there is none
    std::int64_t stoppedIn; // the word where the refinement of the lowest plane ended early, -1 if it did not
    Word refinedInWord;     // the coefficients of that word that it reached
    bool contradictsItself; // a run segment had another parameter than encoders choose
};

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
