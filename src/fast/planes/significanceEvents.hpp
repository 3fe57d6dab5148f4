// SPDX-License-Identifier: Apache-2.0
// The events of a plane of a chunk, gathered before they are coded.
#pragma once

#include "fast/planes/bitPlaneBlock.hpp"

#include <bit>
#include <cassert>
#include <cstdint>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

// The places of the bits of a mask, behind `start`. Some at a time, for how many there are is not predictable: up to
// atOnce - 1 more are written.
template <int atOnce>
void storePositionsOf(std::uint64_t mask, std::uint32_t start, std::uint32_t* to) {
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

    // Starts a chunk, so many passes after the last event of those before.
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

    // The passes since the last event, in a chunk of so many candidates.
    std::uint64_t passesAfter(std::uint32_t candidates) const { return candidates - places[count] - 1; }

    std::uint64_t run(unsigned i) const { return places[i + 1] - places[i] - 1; }
    std::uint64_t signOf(unsigned i) const { return signs[i / 64] >> (i % 64) & 1; }
};

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
