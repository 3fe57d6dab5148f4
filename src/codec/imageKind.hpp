// SPDX-License-Identifier: Apache-2.0
// The kinds of images, by their bytes per pixel.
#pragma once

#include <array>

namespace teko {

struct ImageKind {
    int bytesPerPixel;
    int channels;
    int bytesPerSample; // 1: samples and coefficients of 16 bits in the codec; 2: of 64

    bool isColour() const { return channels == 3; }
};

constexpr std::array<ImageKind, 3> imageKinds{{{1, 1, 1}, {2, 1, 2}, {3, 3, 1}}};

// Null where there is none.
constexpr const ImageKind* imageKindOf(int bytesPerPixel) {
    for (const ImageKind& kind : imageKinds) {
        if (kind.bytesPerPixel == bytesPerPixel) {
            return &kind;
        }
    }
    return nullptr;
}

} // namespace teko
