#include "driver/colourTransform.hpp"

namespace teko {

namespace {

// Calls change(first, second, third) for the rows of a three-channel image.
template <typename Change>
void forEachRow(ImageData<short>& image, Change change) {
    if (image.channels != 3) {
        return;
    }
    for (int y = 0; y < image.height; ++y) {
        const long start = static_cast<long>(y) * image.stride;
        change(image.planes[0] + start, image.planes[1] + start, image.planes[2] + start, image.width);
    }
}

void untransformRow(short* __restrict first, short* __restrict second, short* __restrict third, int width) {
    for (int i = 0; i < width; ++i) {
        const int u = second[i];
        const int v = third[i];
        const int g = first[i] - ((u + v) >> 2);
        first[i] = static_cast<short>(u + g);
        second[i] = static_cast<short>(g);
        third[i] = static_cast<short>(v + g);
    }
}

} // namespace

void colourTransformRow(short* __restrict first, short* __restrict second, short* __restrict third, int width) {
    for (int i = 0; i < width; ++i) {
        const int r = first[i];
        const int g = second[i];
        const int b = third[i];
        first[i] = static_cast<short>((r + 2 * g + b) >> 2);
        second[i] = static_cast<short>(r - g);
        third[i] = static_cast<short>(b - g);
    }
}

void colourTransform(ImageData<short>* image) {
    forEachRow(*image, colourTransformRow);
}

void colourUntransform(ImageData<short>* image) {
    forEachRow(*image, untransformRow);
}

} // namespace teko
