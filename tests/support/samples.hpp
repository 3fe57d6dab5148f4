// SPDX-License-Identifier: Apache-2.0
// Images to transform, and what their planes hold.
#pragma once

#include "image/imageData.hpp"

#include <algorithm>
#include <random>
#include <vector>

namespace teko {

// Fills whole planes, columns beyond the width included: least <= sample <= most.
template <typename T>
void fillWithNoise(ImageData<T>& image, std::mt19937_64& random, long least, long most) {
    const auto span = static_cast<unsigned long>(most - least + 1);
    for (int c = 0; c < image.channels; ++c) {
        std::generate_n(image.planes[c], static_cast<long>(image.stride) * image.height,
                        [&] { return static_cast<T>(least + static_cast<long>(random() % span)); });
    }
}

// The planes one after the other, whole.
template <typename T>
std::vector<T> samplesOf(const ImageData<T>& image) {
    std::vector<T> samples;
    for (int c = 0; c < image.channels; ++c) {
        const long count = static_cast<long>(image.stride) * image.height;
        samples.insert(samples.end(), image.planes[c], image.planes[c] + count);
    }
    return samples;
}

} // namespace teko
