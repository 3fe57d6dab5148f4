// SPDX-License-Identifier: Apache-2.0
// Planes in which few coefficients are significant, from a list of those in some blocks.
//
// The list is sliced like a chunk of its own: its bit words are few, and each is full of what its planes hold. One list
// for many blocks has fewer loops than one for each, and fewer ends of loops that nobody foresees (1.01 to 1.03 times
// on whole encodes of 8-bit photographs).
#pragma once

#include "fast/simd/forTarget.hpp"

#if defined(TEKO_FOR_AVX512)
#include "fast/planes/sparseCoefficientsAvx512.hpp"
#else

#include "fast/planes/runCodes.hpp"
#include "fast/planes/significanceEvents.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

template <typename V>
class SparseCoefficients {
public:
    void start() {
        samples = 0;
        count = 0;
        rows = 1;
    }

    bool hasRoomFor(int found) const { return count + found <= blockSamples; }

    // Appends those of a block, its last word filled with zeros, that the chunk tells to be significant. There is room
    // for them.
    void append(const SubbandBytes<V>& values, std::int64_t block, const BitPlaneBlock& chunk) {
        const int before = count;
        for (int w = 0; w < chunk.words; ++w) {
            appendPlaces(w, chunk.significant[w]);
        }
        takeBytes(values, block, before);
    }

    // After a block, whether it was appended or held nothing to append.
    void pass(int values) { samples += static_cast<std::uint32_t>(values); }

    std::uint64_t samplesPassed() const { return samples; }

    // After the last block, before planes are coded.
    void finish() {
        list.words = (count + 63) / 64;
        list.lastValid = ~std::uint64_t{0} >> (64 * list.words - count);
        std::fill_n(list.significant, list.words, std::uint64_t{0});
        std::fill(places + count, places + std::int64_t{64} * list.words, std::uint32_t{0});
        for (int row = 0; row < rows; ++row) {
            std::fill(bytes[row] + count, bytes[row] + std::int64_t{64} * list.words, 0);
            for (int w = 0; w < list.words; ++w) {
                sliceBytes(bytes[row] + 64 * w, list.bits[w] + 8 * row);
            }
        }
    }

    // Bit `plane` of every coefficient that is significant above it.
    void refine(BitAppender& appender, int plane) const { putRefinements(appender, list, plane); }

    // The events of a plane, which become significant. passes: since the last event, before and after.
    void gatherEvents(int plane, std::uint64_t& passes, SignificanceEvents& events) {
        events.start(passes);
        std::uint32_t significantBefore = 0;
        for (int w = 0; w < list.words; ++w) {
            const auto significant = static_cast<std::uint32_t>(countBits(list.significant[w]));
            gatherEvents(plane, w, significantBefore, events);
            significantBefore += significant;
        }
        passes = events.passesAfter(samples - significantBefore);
    }

private:
    // Of those of word w that a mask tells.
    void appendPlaces(int w, std::uint64_t mask) {
        storePositionsOf<4>(mask, samples + 64 * static_cast<std::uint32_t>(w), places + count);
        count += countBits(mask);
    }

    // The bytes of a block's coefficients, the first of which is listed as number `first`. What a block has no bytes
    // for is 0.
    void takeBytes(const SubbandBytes<V>& values, std::int64_t block, int first) {
        const int rowsHere = values.bytePlanesUsed[block];
        for (; rows < rowsHere; ++rows) {
            std::fill_n(bytes[rows], first, 0);
        }
        for (int row = 0; row < rows; ++row) {
            if (row >= rowsHere) {
                std::fill(bytes[row] + first, bytes[row] + count, 0);
                continue;
            }
            const unsigned char* const from = values.bytes(row, block);
            for (int i = first; i < count; ++i) {
                bytes[row][i] = from[places[i] - samples];
            }
        }
    }

    // Those of a word of the list, with so many significant coefficients before it. Where an event is among the
    // candidates is its place without the significant ones below: those in the list, by its place among the others.
    void gatherEvents(int plane, int w, std::uint32_t significantBefore, SignificanceEvents& events) {
        constexpr int atOnce = 2;
        const Candidates candidates = list.takeCandidates(plane, w);
        std::uint64_t left = candidates.events;
        std::uint64_t gathered = candidates.gathered();
        std::uint32_t* const to = events.nextPlaces();
        const int found = countBits(left);
        for (int done = 0; done < found; done += atOnce) {
            for (int i = done; i < done + atOnce; ++i) {
                const auto inWord = static_cast<std::uint32_t>(std::countr_zero(left) & 63);
                const auto inGathered = static_cast<std::uint32_t>(std::countr_zero(gathered));
                to[i] = places[64 * w + static_cast<int>(inWord)] + inGathered - inWord - significantBefore;
                left &= left - 1;
                gathered &= gathered - 1;
            }
        }
        events.append(extractBits(list.signs(w), candidates.events), static_cast<unsigned>(found));
    }

    std::uint32_t samples; // passed
    int count;
    int rows; // of bytes that some block has in use
    BitPlaneBlock list;
    std::uint32_t places[blockSamples + 64]; // among the samples
    unsigned char bytes[SubbandBytes<V>::bytePlanesOfValue][blockSamples + 64];
};

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END

#endif
