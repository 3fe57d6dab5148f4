// SPDX-License-Identifier: Apache-2.0
// How many coefficients of each channel and class have which bit length.
#pragma once

#include "coding/bitPlanes.hpp"
#include "coding/subband.hpp"
#include "memory/memory.hpp"

#include <cassert>
#include <cstdint>

namespace teko {

// The candidates of bit plane b of one class: the coefficients that no higher plane made significant.
struct PlaneCount {
    std::uint64_t passes; // stay insignificant: their magnitudes have at most b bits
    std::uint64_t events; // become significant: their magnitudes have b + 1 bits

    std::uint64_t candidates() const { return passes + events; }
};

template <typename T>
struct BitLengthHistogram : InTakenMemory {
    static constexpr int maximumChannels = 4;
    static constexpr int classSlots = maximumClasses + 1;
    static constexpr int buckets = sampleBits<T>;

    // [channel][class][bit length of the folded value]; bucket 0 counts zeros.
    std::uint64_t bitLengthCount[maximumChannels][classSlots][buckets] = {};
    // [channel][class][n]: the coefficients whose folded value is shorter than n bits. Set by sum.
    std::uint64_t bitLengthBelow[maximumChannels][classSlots][buckets + 1];

    void sum() {
        for (int channel = 0; channel < maximumChannels; ++channel) {
            for (int c = 0; c < classSlots; ++c) {
                bitLengthBelow[channel][c][0] = 0;
                for (int n = 0; n < buckets; ++n) {
                    bitLengthBelow[channel][c][n + 1] = bitLengthBelow[channel][c][n] + bitLengthCount[channel][c][n];
                }
            }
        }
    }

    // After sum.
    std::uint64_t coefficients(int channel, int c) const {
        assert(channel >= 0 && channel < maximumChannels && c >= 0 && c < classSlots);
        return bitLengthBelow[channel][c][buckets];
    }

    // After sum. The folded value of a magnitude of n bits, n > 0, has n + 1.
    PlaneCount plane(int channel, int c, int b) const {
        assert(b >= 0 && b + 2 < buckets);
        return {bitLengthBelow[channel][c][b + 2], bitLengthCount[channel][c][b + 2]};
    }
};

} // namespace teko
