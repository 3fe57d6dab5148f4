// SPDX-License-Identifier: Apache-2.0
#include "image/colourTransform.hpp"

namespace teko {

namespace {

// Calls change(first, second, third) for the three samples of every pixel of a three-channel image.
template <typename Change>
void forEachPixel(ImageData<std::int16_t>& image, Change change) {
    if (image.channels != 3) {
        return;
    }
    for (int y = 0; y < image.height; ++y) {
        const std::int64_t start = static_cast<std::int64_t>(y) * image.stride;
        for (std::int64_t i = start; i < start + image.width; ++i) {
            change(image.planes[0][i], image.planes[1][i], image.planes[2][i]);
        }
    }
}

} // namespace

void colourTransform(ImageData<std::int16_t>* image) {
    forEachPixel(*image, [](std::int16_t& first, std::int16_t& second, std::int16_t& third) {
        const int r = first;
        const int g = second;
        const int b = third;
        first = static_cast<std::int16_t>((r + 2 * g + b) >> 2);
        second = static_cast<std::int16_t>(r - g);
        third = static_cast<std::int16_t>(b - g);
    });
}

void colourUntransform(ImageData<std::int16_t>* image) {
    forEachPixel(*image, [](std::int16_t& first, std::int16_t& second, std::int16_t& third) {
        const int u = second;
        const int v = third;
        const int g = first - ((u + v) >> 2);
        first = static_cast<std::int16_t>(u + g);
        second = static_cast<std::int16_t>(g);
        third = static_cast<std::int16_t>(v + g);
    });
}

} // namespace teko
