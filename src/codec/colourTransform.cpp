// SPDX-License-Identifier: Apache-2.0
#include "codec/colourTransform.hpp"

namespace teko {

namespace {

// Calls change(first, second, third) for the three samples of every pixel of a three-channel image.
template <typename Change>
void forEachPixel(ImageData<short>& image, Change change) {
    if (image.channels != 3) {
        return;
    }
    for (int y = 0; y < image.height; ++y) {
        const long start = static_cast<long>(y) * image.stride;
        for (long i = start; i < start + image.width; ++i) {
            change(image.planes[0][i], image.planes[1][i], image.planes[2][i]);
        }
    }
}

} // namespace

void colourTransform(ImageData<short>* image) {
    forEachPixel(*image, [](short& first, short& second, short& third) {
        const int r = first;
        const int g = second;
        const int b = third;
        first = static_cast<short>((r + 2 * g + b) >> 2);
        second = static_cast<short>(r - g);
        third = static_cast<short>(b - g);
    });
}

void colourUntransform(ImageData<short>* image) {
    forEachPixel(*image, [](short& first, short& second, short& third) {
        const int u = second;
        const int v = third;
        const int g = first - ((u + v) >> 2);
        first = static_cast<short>(u + g);
        second = static_cast<short>(g);
        third = static_cast<short>(v + g);
    });
}

} // namespace teko
