// SPDX-License-Identifier: Apache-2.0
// From the reference's images to those of the codec and back.
#pragma once

#include "image/imageData.hpp"
#include "reference/image.hpp"

#include <memory>

namespace teko::reference {

template <typename T>
constexpr Samples samplesOf = sizeof(T) == 2 ? Samples::sixteenBit : Samples::sixtyFourBit;

template <typename T>
std::unique_ptr<ImageData<T>> toImageData(const Image& image) {
    auto data = std::make_unique<ImageData<T>>(image.width, image.height, static_cast<int>(image.planes.size()));
    for (std::size_t channel = 0; channel < image.planes.size(); ++channel) {
        for (std::size_t i = 0; i < image.planes[channel].size(); ++i) {
            data->planes[channel][i] = static_cast<T>(image.planes[channel][i]);
        }
    }
    return data;
}

template <typename T>
Image fromImageData(const ImageData<T>& data) {
    Image image(data.width, data.height, data.channels);
    for (std::size_t channel = 0; channel < image.planes.size(); ++channel) {
        for (std::size_t i = 0; i < image.planes[channel].size(); ++i) {
            image.planes[channel][i] = data.planes[channel][i];
        }
    }
    return image;
}

} // namespace teko::reference
