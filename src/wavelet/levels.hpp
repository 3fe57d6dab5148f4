// SPDX-License-Identifier: Apache-2.0
// The decomposition levels of an image: how many, the samples that each works on, and what is left of an image whose
// inverse stops some levels early.
#pragma once

#include "filter/lifting.hpp"

#include <cstdint>

namespace teko {

constexpr int maximumLevels = 5;

// The largest L of at most maximumLevels with 2^(L + 1) <= width and height; -1 when either is below 2.
// The file does not store it: transform, inverse, encoder and decoder all ask here.
constexpr int numberOfLevels(int width, int height) {
    int levels = maximumLevels;
    while (levels >= 0 && ((1 << levels) > width / 2 || (1 << levels) > height / 2)) {
        --levels;
    }
    return levels;
}

// The samples of one plane that a level works on: those with x and y multiples of the step.
template <typename T>
struct LevelGrid {
    T* plane;
    int width;
    int height;
    int stride;
    int step;

    int columns() const { return (width - 1) / step + 1; }
    int rows() const { return (height - 1) / step + 1; }
    unsigned long rowSpacing() const { return static_cast<unsigned long>(stride) * static_cast<unsigned long>(step); }
    T* row(int y) const { return plane + static_cast<std::int64_t>(y) * stride; }

    // This grid for other samples, without a plane.
    template <typename Other>
    LevelGrid<Other> of() const {
        return {nullptr, width, height, stride, step};
    }

    // The grid that is coarser by so many levels.
    LevelGrid coarser(int levels) const { return {plane, width, height, stride, step << levels}; }

    // For row kernels along rows and down columns. Columns of four or five samples have them, too: they run through the
    // kernel of the plain filter, and its rounding is the same at all places (images of 65535 x 9, against the
    // plain filter on such levels: 1.7 to 2.7 times on encodes, 2.2 to 2.8 on decodes).
    bool isLongEnough() const { return columns() >= shortestSignal && rows() >= 4; }

    // Columns are filtered in place while their samples lie close or are few, else sixteen at a time through
    // contiguous copies: long columns of distant samples would fetch a cache line and a page for every sample.
    // The kernels on the copies round wide sums differently at the columns' ends, so this is part of the format.
    bool needsBlocks() const { return rowSpacing() > directSpacing && rows() > directLength; }

    // Whether columns run through the kernel, be they in blocks or short.
    bool hasColumnsInKernel() const { return needsBlocks() || rows() < shortestSignal; }

    static constexpr int shortestSignal = 6; // that runs in place
    static constexpr unsigned long directSpacing = 512;
    static constexpr int directLength = 512;
};

// An image whose sides are halved on decoding: the inverse transform is stopped that many levels early, and the gain of
// these levels taken out of its approximation by the rounding that a level itself would use.
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
