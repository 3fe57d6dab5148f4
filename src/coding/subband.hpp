// SPDX-License-Identifier: Apache-2.0
// The classes of coefficients: which one a coefficient belongs to, where those of a class lie and how many they are,
// and the order of their segments in a coded stream.
#pragma once

#include "wavelet/levels.hpp"

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>

namespace teko {

constexpr int maximumClasses = maximumLevels + 1;

// Class c below `levels` holds the details of decomposition level c + 1, class 0 being the finest; class
// `levels` holds the approximation. Without levels every position is of class 0.
constexpr int subbandClass(int x, int y, int levels) {
    int c = 0;
    while (c < levels && (((x | y) >> c) & 1) == 0) {
        ++c;
    }
    return c;
}

// A class in scan order (rows from the top, columns from the left) is a set of rows, each with a first column
// and a distance: rows y = 0, 2^c, 2 * 2^c, ...; columns as given here.
struct ClassColumns {
    int first;
    int step;
};

constexpr int classRowStep(int c) {
    return 1 << c;
}

constexpr ClassColumns classColumns(int c, int levels, int y) {
    assert(c >= 0 && c < maximumClasses && y % classRowStep(c) == 0);
    const int step = 1 << c;
    const bool holdsCoarserClasses = c < levels && y % (2 * step) == 0;
    return holdsCoarserClasses ? ClassColumns{step, 2 * step} : ClassColumns{0, step};
}

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
constexpr std::int64_t gridSamples(const ImageShape& shape, int c) {
    assert(c >= 0 && shape.width >= 0 && shape.height >= 0);
    const std::int64_t step = std::int64_t{1} << c;
    return ((shape.width + step - 1) / step) * ((shape.height + step - 1) / step);
}

// Those of class c, in one channel.
constexpr std::int64_t classSamples(const ImageShape& shape, int c) {
    return gridSamples(shape, c) - (c < shape.levels ? gridSamples(shape, c + 1) : 0);
}

// Calls visit(channel, class, plane) for every pair of segments, by falling priority: a plane counts for one priority
// less in each coarser class. Ends when visit returns false.
template <typename Visit>
void forEachSegmentPair(int channels, int levels, int topPlane, Visit visit) {
    for (int priority = topPlane + levels; priority >= 0; --priority) {
        for (int channel = 0; channel < channels; ++channel) {
            for (int c = 0; c <= levels; ++c) {
                const int b = priority - c;
                if (b >= 0 && b <= topPlane && !visit(channel, c, b)) {
                    return;
                }
            }
        }
    }
}

} // namespace teko
