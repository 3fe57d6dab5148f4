// SPDX-License-Identifier: Apache-2.0
// Samples kept below a limit.
#pragma once

#include <cassert>

namespace teko {

// What samples of an image are clamped below, whose stream ended early: 2^bits. 0, which is none, for a complete
// stream: its samples are written as decoded.
inline int sampleLimit(int bitsPerPixel, bool endedEarly) {
    assert(bitsPerPixel >= 0 && bitsPerPixel <= 255);
    return endedEarly ? static_cast<int>(1U << (bitsPerPixel % 32)) : 0;
}

// The limit of 31 bits per sample is negative, and one less wraps.
template <typename T>
T clampedTo(int limit, T sample) {
    const auto highest = static_cast<int>(static_cast<unsigned>(limit) - 1U);
    return sample < 0 ? T{0} : sample >= limit ? static_cast<T>(highest) : sample;
}

} // namespace teko
