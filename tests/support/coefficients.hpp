// SPDX-License-Identifier: Apache-2.0
// Coefficients to be coded, in images that lie anywhere.
#pragma once

#include "coding/bitPlanes.hpp"
#include "reference/coefficientImages.hpp"
#include "support/laidOutImage.hpp"

namespace teko {

using reference::Content;

struct Shape2d {
    int width;
    int height;
    int channels = 1;
};

inline std::ostream& operator<<(std::ostream& stream, const Shape2d& shape) {
    return stream << shape.width << " x " << shape.height << " x " << shape.channels;
}

// Magnitudes up to 2^(highest + 1) - 1.
template <typename T>
LaidOutImage<T> coefficients(Content content, const Shape2d& shape, int highest, std::mt19937_64& random,
                             Layout layout = {}) {
    const reference::Image source =
        reference::coefficientImage(content, shape.width, shape.height, shape.channels, highest, random);
    LaidOutImage<T> image(shape.width, shape.height, shape.channels, layout);
    image.fill([&](int c, int y, int x) { return source.planes[static_cast<std::size_t>(c)][source.index(x, y)]; });
    return image;
}

// Zeros, and one in so many of any magnitude up to 2^(highest + 1) - 1, small ones as often as large ones.
template <typename T>
LaidOutImage<T> scattered(const Shape2d& shape, int highest, unsigned oneIn, std::mt19937_64& random,
                          Layout layout = {}) {
    LaidOutImage<T> image(shape.width, shape.height, shape.channels, layout);
    image.fill([&](int, int, int) {
        if (random() % oneIn != 0) {
            return 0L;
        }
        const int bits = 1 + static_cast<int>(random() % static_cast<unsigned>(highest + 1));
        const auto magnitude = static_cast<long>(random() & ((1UL << bits) - 1));
        return random() % 2 == 0 ? magnitude : -magnitude;
    });
    return image;
}

} // namespace teko
