// SPDX-License-Identifier: Apache-2.0
// What decides the segments of a stream and the sizes of the classes.
#pragma once

#include "wavelet/levels.hpp"

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

// Throws std::bad_array_new_length where a plane would have more than 2^31 - 1 samples.
inline ImageShape shapeOf(int width, int height, int channels) {
    if (static_cast<long>(width) * height > std::numeric_limits<std::int32_t>::max()) {
        throw std::bad_array_new_length();
    }
    return {width, height, channels, numberOfLevels(width, height)};
}

// The samples with x and y multiples of 2^c.
constexpr long latticeSamples(const ImageShape& shape, int c) {
    const long step = 1L << c;
    return ((shape.width + step - 1) / step) * ((shape.height + step - 1) / step);
}

// Those of class c, in one channel.
constexpr long classSamples(const ImageShape& shape, int c) {
    return latticeSamples(shape, c) - (c < shape.levels ? latticeSamples(shape, c + 1) : 0);
}

} // namespace teko
