// SPDX-License-Identifier: Apache-2.0
// The two-dimensional decomposition as its definition says it, signal by signal, on the plain lifting formulas.
#pragma once

#include "image/imageData.hpp"
#include "support/plainLifting.hpp"

#include <cstddef>
#include <vector>

namespace teko::plain {

// One row or column of the samples that a level works on.
template <typename T>
struct Line {
    T* first;
    int count;
    long spacing;
    bool goesThroughCopies; // as short signals do anyway: then the kernels' widths hold

    std::vector<T> get() const {
        std::vector<T> signal;
        for (int k = 0; k < count; ++k) {
            signal.push_back(first[k * spacing]);
        }
        return signal;
    }
    void set(const std::vector<T>& signal) const {
        for (int k = 0; k < count; ++k) {
            first[k * spacing] = signal[static_cast<std::size_t>(k)];
        }
    }
    bool meetsKernels() const { return goesThroughCopies || count < 6; }
};

template <typename T>
std::vector<Line<T>> rowsOf(const ImageData<T>& image, int c, int step) {
    std::vector<Line<T>> lines;
    for (long y = 0; y < image.height; y += step) {
        lines.push_back({image.planes[c] + y * image.stride, (image.width - 1) / step + 1, step, false});
    }
    return lines;
}

template <typename T>
std::vector<Line<T>> columnsOf(const ImageData<T>& image, int c, int step) {
    std::vector<Line<T>> lines;
    const int count = (image.height - 1) / step + 1;
    const long spacing = static_cast<long>(image.stride) * step;
    for (int x = 0; x < image.width; x += step) {
        lines.push_back({image.planes[c] + x, count, spacing, spacing > 512 && count > 512});
    }
    return lines;
}

template <typename T>
void transform(ImageData<T>& image, int levels) {
    for (int c = 0; c < image.channels; ++c) {
        for (int k = 0; k < levels; ++k) {
            for (const auto& lines : {rowsOf(image, c, 1 << k), columnsOf(image, c, 1 << k)}) {
                for (const auto& line : lines) {
                    line.set(forward(line.get(), line.meetsKernels() ? forwardKernel : strided));
                }
            }
        }
    }
}

template <typename T>
void untransform(ImageData<T>& image, int levels) {
    for (int c = 0; c < image.channels; ++c) {
        for (int k = levels - 1; k >= 0; --k) {
            for (const auto& lines : {columnsOf(image, c, 1 << k), rowsOf(image, c, 1 << k)}) {
                for (const auto& line : lines) {
                    line.set(inverse(line.get(), line.meetsKernels() ? inverseKernel : strided));
                }
            }
        }
    }
}

} // namespace teko::plain
