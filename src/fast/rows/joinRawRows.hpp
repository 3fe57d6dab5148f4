// SPDX-License-Identifier: Apache-2.0
// Rows of raw files from those of the row transform, which have the samples at even and at odd places apart.
#pragma once

#include "fast/rows/splitRawRows.hpp"
#include "target/target.hpp"

#include <cstdint>

namespace teko {

// Each makes `width` pixels and keeps the low bits of what does not fit. Every target gives the same.
struct JoinRawRows {
    // One byte a pixel.
    void (*bytes)(const SplitSamples<std::int16_t>& samples, int width, unsigned char* raw);
    // Two bytes a pixel, the least significant first.
    void (*words)(const SplitSamples<int>& samples, int width, unsigned char* raw);
    void (*smallWords)(const SplitSamples<std::int16_t>& samples, int width, unsigned char* raw);
    // Three bytes a pixel, red, green and blue, from the three channels of the colour transform.
    void (*colours)(const SplitSamples<std::int16_t>* channels, int width, unsigned char* raw);
    // The same of samples that clampedTo(limit, sample) has kept below a limit.
    void (*coloursBelow)(const SplitSamples<std::int16_t>* channels, int width, int limit, unsigned char* raw);

    // n samples, each as clampedTo(limit, sample). The limit is not 0.
    void (*clamp)(std::int16_t* samples, int n, int limit);
    void (*clampWide)(int* samples, int n, int limit);
};

const JoinRawRows& joinRawRows(Target target);

} // namespace teko
