// SPDX-License-Identifier: Apache-2.0
// What decides the segments of a stream and the sizes of the classes.
#pragma once

#include "wavelet/levels.hpp"

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace teko {

struct ImageShape {
    int width;
    int height;
    int channels;
    int levels;
};

// Throws std::bad_array_new_length where a plane would have more than 2^31 - 1 samples, and std::bad_alloc where this
// machine cannot address what an image of that shape may take, which no machine of 64 bits refuses.
inline ImageShape shapeOf(int width, int height, int channels) {
    const std::int64_t samples = static_cast<std::int64_t>(width) * height;
    if (samples > std::numeric_limits<std::int32_t>::max()) {
        throw std::bad_array_new_length();
    }
    constexpr std::int64_t mostBytesPerSample = 8;
    if (samples * channels > std::numeric_limits<std::ptrdiff_t>::max() / mostBytesPerSample) {
        throw std::bad_alloc();
    }
    return {width, height, channels, numberOfLevels(width, height)};
}

// The samples with x and y multiples of 2^c.
constexpr std::int64_t latticeSamples(const ImageShape& shape, int c) {
    assert(c >= 0 && shape.width >= 0 && shape.height >= 0);
    const std::int64_t step = std::int64_t{1} << c;
    return ((shape.width + step - 1) / step) * ((shape.height + step - 1) / step);
}

// Those of class c, in one channel.
constexpr std::int64_t classSamples(const ImageShape& shape, int c) {
    return latticeSamples(shape, c) - (c < shape.levels ? latticeSamples(shape, c + 1) : 0);
}

} // namespace teko
