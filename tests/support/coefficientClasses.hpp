// SPDX-License-Identifier: Apache-2.0
// The coefficients of an image class by class, each class in scan order.
#pragma once

#include "coding/subband.hpp"
#include "image/imageData.hpp"

#include <cstddef>
#include <vector>

namespace teko {

// Calls visit(sample) for every sample of a class of a channel.
template <typename T, typename Visit>
void forEachOfClass(const ImageData<T>& image, int channel, int c, int levels, Visit visit) {
    for (int y = 0; y < image.height; ++y) {
        T* row = image.planes[channel] + static_cast<long>(y) * image.stride;
        for (int x = 0; x < image.width; ++x) {
            if (subbandClass(x, y, levels) == c) {
                visit(row[x]);
            }
        }
    }
}

template <typename T>
std::vector<T> classOf(const ImageData<T>& image, int channel, int c, int levels) {
    std::vector<T> values;
    forEachOfClass(image, channel, c, levels, [&](T sample) { values.push_back(sample); });
    return values;
}

// Of all classes up to that of the approximation.
template <typename T>
std::vector<std::vector<T>> classesOf(const ImageData<T>& image, int channel, int levels) {
    std::vector<std::vector<T>> classes(static_cast<std::size_t>(levels) + 1);
    for (int y = 0; y < image.height; ++y) {
        const T* row = image.planes[channel] + static_cast<long>(y) * image.stride;
        for (int x = 0; x < image.width; ++x) {
            classes[static_cast<std::size_t>(subbandClass(x, y, levels))].push_back(row[x]);
        }
    }
    return classes;
}

// Takes as many values as the class has.
template <typename T, typename Value>
void setClass(ImageData<T>& image, int channel, int c, int levels, const std::vector<Value>& values) {
    auto next = values.begin();
    forEachOfClass(image, channel, c, levels, [&](T& sample) { sample = *next++; });
}

} // namespace teko
