// SPDX-License-Identifier: Apache-2.0
// Rows of raw files as the row transform takes them: samples at even places and those at odd places apart.
#pragma once

#include "target/target.hpp"

#include <cstdint>

namespace teko {

// Of one channel.
template <typename Row>
struct SplitSamples {
    Row* even;
    Row* odd;

    // From sample x on, which is at an even place.
    SplitSamples from(int x) const { return {even + x / 2, odd + x / 2}; }
};

// Each takes `width` pixels. Up to 32 samples beyond them may be written. Every target gives the same.
struct SplitRawRows {
    // One byte a pixel.
    void (*bytes)(const unsigned char* raw, int width, const SplitSamples<std::int16_t>& samples);
    // Two bytes a pixel, the least significant first.
    void (*words)(const unsigned char* raw, int width, const SplitSamples<int>& samples);
    // The same into short, which has no room for the largest. Returns the OR of all samples.
    unsigned (*smallWords)(const unsigned char* raw, int width, const SplitSamples<std::int16_t>& samples);
    // Three bytes a pixel, red, green and blue, into the three channels of the colour transform.
    void (*colours)(const unsigned char* raw, int width, const SplitSamples<std::int16_t>* channels);
};

const SplitRawRows& splitRawRows(Target target);

} // namespace teko
