// SPDX-License-Identifier: Apache-2.0
// Images whose sides are halved on decoding: the inverse transform is stopped that many levels early, and the gain of
// these levels taken out of its approximation by the rounding that a level itself would use.
#pragma once

#include "filter/lifting.hpp"

#include <cstdint>

namespace teko {

constexpr int reducedSide(int side, int halvings) {
    return (side + (1 << halvings) - 1) >> halvings;
}

// An approximation has been scaled twice in each level, along rows and down columns.
constexpr int timesScaled(int halvings) {
    return 2 * halvings;
}

template <typename T>
constexpr T withoutGain(T sample, int halvings) {
    Wide<T> value = sample;
    for (int i = 0; i < timesScaled(halvings); ++i) {
        value = unscale(value);
    }
    return static_cast<T>(value);
}

// What reduced samples are kept below, as those of a cut stream are below theirs: approximations of an image reach
// beyond its samples.
constexpr int reducedSampleLimit(int bytesPerSample) {
    return 1 << (8 * bytesPerSample);
}

} // namespace teko
