// SPDX-License-Identifier: Apache-2.0
// A block of a class as bit planes, on its way through the encoder.
#pragma once

#include "fast/planes/subbandBytes.hpp"
#include "fast/simd/bits.hpp"

#include <algorithm>
#include <cassert>
#include <cstdint>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

constexpr int wordsInBlock = blockSamples / 64;

// A word of a bit plane in the coefficients that are not significant above it.
struct Candidates {
    std::uint64_t all;
    std::uint64_t events;

    unsigned count() const { return static_cast<unsigned>(countBits(all)); }
    // A one for every event, with no gaps for what is not a candidate.
    std::uint64_t gathered() const { return extractBits(events, all); }
};

// A block of a class, sliced.
struct BitPlaneBlock {
    int words;
    std::uint64_t lastValid; // the places in the last word that hold coefficients
    std::uint64_t significant[wordsInBlock];
    alignas(64) std::uint64_t bits[wordsInBlock][32]; // of the folded values: the sign, then the planes

    std::uint64_t signs(int w) const { return bits[w][0]; }
    std::uint64_t plane(int b, int w) const { return bits[w][b + 1]; }

    // The candidates of word w on a plane; its events become significant.
    Candidates takeCandidates(int plane, int w) {
        const std::uint64_t valid = w == words - 1 ? lastValid : ~std::uint64_t{0};
        const std::uint64_t candidates = ~significant[w] & valid;
        const std::uint64_t events = this->plane(plane, w) & candidates;
        significant[w] |= events;
        return {candidates, events};
    }
};

// Takes the length of a block over.
template <typename V>
void setLength(const SubbandBytes<V>& folded, std::int64_t block, BitPlaneBlock& chunk) {
    chunk.words = folded.wordsIn(block);
    assert(chunk.words > 0 && chunk.words <= wordsInBlock);
    chunk.lastValid = ~std::uint64_t{0} >> (64 * chunk.words - folded.valuesIn(block));
}

// Slices signs and planes lowest .. topPlane of a block. Bytes that hold only planes below `lowest` are left out: their
// words are stale.
template <typename V>
void slice(const SubbandBytes<V>& folded, std::int64_t block, int lowest, int topPlane, BitPlaneBlock& chunk) {
    for (int row = 0; row <= (topPlane + 1) / 8; ++row) {
        if (row > 0 && row < (lowest + 1) / 8) {
            continue;
        }
        const unsigned char* const bytes = folded.bytes(row, block);
        for (int w = 0; w < chunk.words; ++w) {
            sliceBytes(bytes + 64 * w, chunk.bits[w] + 8 * row);
        }
    }
}

// Marks as significant what a plane or a higher one of a block makes so, its last word filled with zeros. Returns how
// many that are.
template <typename V>
int findSignificant(const SubbandBytes<V>& folded, std::int64_t block, int plane, BitPlaneBlock& chunk) {
    const int bit = plane + 1;
    std::fill_n(chunk.significant, chunk.words, std::uint64_t{0});
    for (int row = bit / 8; row < folded.bytePlanesUsed[block]; ++row) {
        const int lowestBit = row == bit / 8 ? bit % 8 : 0;
        for (int w = 0; w < chunk.words; ++w) {
            chunk.significant[w] |= bytesReaching(folded.bytes(row, block) + 64 * w, lowestBit);
        }
    }
    int found = 0;
    for (int w = 0; w < chunk.words; ++w) {
        found += countBits(chunk.significant[w]);
    }
    return found;
}

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
