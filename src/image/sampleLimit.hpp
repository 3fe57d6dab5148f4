// SPDX-License-Identifier: Apache-2.0
// Clamping: decoded samples kept from 0 to below a limit. What is left of a stream that was cut puts a coefficient in
// the middle of its interval, so that samples may lie beyond what the image can have had; their low bytes alone would
// be wrong by the whole range. The samples of a complete stream are exact, or what the image's own samples wrapped to.
#pragma once

#include <cassert>

namespace teko {

// The limit for an image: where its stream ended early 2^bits, with bits modulo 32, for a header may say any number up
// to 255; for a complete stream 0, which is none.
inline int sampleLimit(int bitsPerPixel, bool endedEarly) {
    assert(bitsPerPixel >= 0 && bitsPerPixel <= 255);
    return endedEarly ? static_cast<int>(1U << (bitsPerPixel % 32)) : 0;
}

// The sample, 0 where it is negative, limit - 1 where it is not below the limit. A limit of 31 bits is -2^31: then no
// sample is below it, and what is not negative becomes 2^31 - 1, or its low bits.
template <typename T>
T clampedTo(int limit, T sample) {
    const auto highest = static_cast<int>(static_cast<unsigned>(limit) - 1U);
    return sample < 0 ? T{0} : sample >= limit ? static_cast<T>(highest) : sample;
}

} // namespace teko
