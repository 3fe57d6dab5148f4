// SPDX-License-Identifier: Apache-2.0
// A block of a subband as bit planes, on its way through the encoder, and the events of a plane of it.
#pragma once

#include "fast/planes/subbandBytes.hpp"
#include "fast/simd/operations.hpp"

#include <algorithm>
#include <bit>
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
void setLength(const SubbandBytes<V>& folded, std::int64_t block, BitPlaneBlock& sliced) {
    sliced.words = folded.wordsIn(block);
    assert(sliced.words > 0 && sliced.words <= wordsInBlock);
    sliced.lastValid = ~std::uint64_t{0} >> (64 * sliced.words - folded.valuesIn(block));
}

// Slices signs and planes lowest .. topPlane of a block. Bytes that hold only planes below `lowest` are left out: their
// words are stale.
template <typename V>
void slice(const SubbandBytes<V>& folded, std::int64_t block, int lowest, int topPlane, BitPlaneBlock& sliced) {
    for (int row = 0; row <= (topPlane + 1) / 8; ++row) {
        if (row > 0 && row < (lowest + 1) / 8) {
            continue;
        }
        const unsigned char* const bytes = folded.bytes(row, block);
        for (int w = 0; w < sliced.words; ++w) {
            sliceBytes(bytes + 64 * w, sliced.bits[w] + 8 * row);
        }
    }
}

// Marks as significant what a plane or a higher one of a block makes so, its last word filled with zeros. Returns how
// many that are.
template <typename V>
int findSignificant(const SubbandBytes<V>& folded, std::int64_t block, int plane, BitPlaneBlock& sliced) {
    const int bit = plane + 1;
    std::fill_n(sliced.significant, sliced.words, std::uint64_t{0});
    for (int row = bit / 8; row < folded.bytePlanesUsed[block]; ++row) {
        const int lowestBit = row == bit / 8 ? bit % 8 : 0;
        for (int w = 0; w < sliced.words; ++w) {
            sliced.significant[w] |= bytesReaching(folded.bytes(row, block) + 64 * w, lowestBit);
        }
    }
    int found = 0;
    for (int w = 0; w < sliced.words; ++w) {
        found += countBits(sliced.significant[w]);
    }
    return found;
}

#if !defined(TEKO_FOR_AVX512)

// Stores the places of the bits of a mask, behind `start`. Four at a time, for how many there are is not predictable:
// up to three more are written.
inline void storePositionsOf(std::uint64_t mask, std::uint32_t start, std::uint32_t* to) {
    constexpr int atOnce = 4;
    const int found = countBits(mask);
    for (int done = 0; done < found; done += atOnce) {
        for (int i = done; i < done + atOnce; ++i) {
            to[i] = start + (static_cast<std::uint32_t>(std::countr_zero(mask)) & 63);
            mask &= mask - 1;
        }
    }
}

struct SignificanceEvents {
    unsigned count;
    std::uint32_t places[1 + blockSamples + 64]; // among the candidates; [0] stands for the last event before
    std::uint64_t signs[wordsInBlock + 1];       // a bit for each

    // Starts a block, so many passes after the last event of those before.
    void start(std::uint64_t passes) {
        count = 0;
        places[0] = 0 - static_cast<std::uint32_t>(passes) - 1;
        signs[0] = 0;
    }

    // Where the places of the next events go, and up to 63 more.
    std::uint32_t* nextPlaces() { return places + 1 + count; }

    // Events whose places are there, at most 64.
    void append(std::uint64_t itsSigns, unsigned n) {
        assert(n <= 64 && count + n <= static_cast<unsigned>(blockSamples));
        const unsigned shift = count % 64;
        signs[count / 64] |= itsSigns << shift;
        signs[count / 64 + 1] = itsSigns >> 1 >> (63 - shift);
        count += n;
    }

    // The passes since the last event, in a block of so many candidates.
    std::uint64_t passesAfter(std::uint32_t candidates) const { return candidates - places[count] - 1; }

    std::uint64_t run(unsigned i) const { return places[i + 1] - places[i] - 1; }
    std::uint64_t signOf(unsigned i) const { return signs[i / 64] >> (i % 64) & 1; }
};

#endif

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
