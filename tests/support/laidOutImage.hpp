// SPDX-License-Identifier: Apache-2.0
// Images that lie in memory in every way that one can: with gaps between the rows, with planes that start where no
// word does. Comparing two of them compares their memory, gaps included.
#pragma once

#include "image/imageData.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <vector>

namespace teko {

struct Layout {
    int gap = 0;   // samples between the rows
    int shift = 0; // samples by which the planes start late
};

inline std::ostream& operator<<(std::ostream& stream, const Layout& layout) {
    return stream << "gap " << layout.gap << ", shift " << layout.shift;
}

template <typename T>
class LaidOutImage {
public:
    // Every sample has the same value, outside the image as well.
    LaidOutImage(int width, int height, int channels, Layout where = {})
        : layout(where), image(width + where.gap, height + (where.shift == 0 ? 0 : 1), channels),
          samplesInPlane(static_cast<long>(image.stride) * image.height) {
        for (int c = 0; c < channels; ++c) {
            std::fill_n(image.planes[c], samplesInPlane, untouched);
            image.planes[c] += layout.shift;
        }
        image.width = width;
        image.height = height;
    }
    LaidOutImage(const LaidOutImage& other)
        : LaidOutImage(other.image.width, other.image.height, other.image.channels, other.layout) {
        for (int c = 0; c < image.channels; ++c) {
            std::copy_n(other.memory(c), samplesInPlane, image.planes[c] - layout.shift);
        }
    }
    LaidOutImage& operator=(const LaidOutImage&) = delete;
    ~LaidOutImage() {
        for (int c = 0; c < image.channels; ++c) {
            image.planes[c] -= layout.shift;
        }
    }

    ImageData<T>& operator*() { return image; }
    const ImageData<T>& operator*() const { return image; }
    ImageData<T>* operator->() { return &image; }
    const ImageData<T>* operator->() const { return &image; }

    T& at(int c, int y, int x) { return image.planes[c][static_cast<long>(y) * image.stride + x]; }
    T at(int c, int y, int x) const { return image.planes[c][static_cast<long>(y) * image.stride + x]; }

    // Sets every sample to sampleAt(c, y, x).
    template <typename Function>
    void fill(Function sampleAt) {
        for (int c = 0; c < image.channels; ++c) {
            for (int y = 0; y < image.height; ++y) {
                T* const row = &at(c, y, 0);
                for (int x = 0; x < image.width; ++x) {
                    row[x] = static_cast<T>(sampleAt(c, y, x));
                }
            }
        }
    }

    // All memory of a plane.
    const T* memory(int c) const { return image.planes[c] - layout.shift; }
    long memorySize() const { return samplesInPlane; }

private:
    static constexpr T untouched = 0x5A5A;

    Layout layout;
    ImageData<T> image;
    long samplesInPlane;
};

// Whether two images of one shape and layout have the same memory.
template <typename T>
testing::AssertionResult sameMemory(const LaidOutImage<T>& actual, const LaidOutImage<T>& expected) {
    for (int c = 0; c < expected->channels; ++c) {
        const T* end = expected.memory(c) + expected.memorySize();
        const auto [there, here] = std::mismatch(expected.memory(c), end, actual.memory(c));
        if (there != end) {
            const long place = there - expected->planes[c];
            return testing::AssertionFailure() << expected->width << " x " << expected->height << ", channel " << c
                                               << ", row " << place / expected->stride << ", column "
                                               << place % expected->stride << ": " << *here << " instead of " << *there;
        }
    }
    return testing::AssertionSuccess();
}

} // namespace teko
