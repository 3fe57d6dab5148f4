// SPDX-License-Identifier: Apache-2.0
#include "reference/coefficientImages.hpp"

#include <algorithm>

namespace teko::reference {
namespace {

std::int64_t withRandomSign(std::uint64_t magnitude, Random& random) {
    const auto value = static_cast<std::int64_t>(magnitude);
    return below(random, 2) == 0 ? value : -value;
}

// Every magnitude of up to `bits` bits is as likely as any other.
std::int64_t anyOf(int bits, Random& random) {
    return withRandomSign(below(random, std::uint64_t{1} << bits), random);
}

std::int64_t geometric(int highestPlane, Random& random) {
    int bits = 0;
    while (bits <= highestPlane && below(random, 5) < 2) {
        ++bits;
    }
    return anyOf(bits, random);
}

std::int64_t coefficient(Content content, int highestPlane, Random& random) {
    switch (content) {
    case Content::sparse:
        return below(random, 50) == 0 ? anyOf(highestPlane + 1, random) : 0;
    case Content::dense:
        return anyOf(highestPlane + 1, random);
    case Content::geometric:
        return geometric(highestPlane, random);
    case Content::powerOfTwo:
        return withRandomSign(below(random, 3) == 0 ? std::uint64_t{1} << highestPlane : 0, random);
    case Content::onesAndZeros:
        return withRandomSign(below(random, 2), random);
    case Content::greatest:
        return withRandomSign((std::uint64_t{1} << (highestPlane + 1)) - 1, random);
    default:
        return 0;
    }
}

} // namespace

std::uint64_t below(Random& random, std::uint64_t count) {
    return random() % count;
}

Image coefficientImage(Content content, int width, int height, int channels, int highestPlane, Random& random) {
    Image image(width, height, channels);
    for (Plane& plane : image.planes) {
        for (std::int64_t& value : plane) {
            value = coefficient(content, highestPlane, random);
        }
        if (content == Content::constant) {
            std::fill(plane.begin(), plane.end(), anyOf(highestPlane + 1, random));
        }
        if (content == Content::impulse && !plane.empty()) {
            plane[below(random, plane.size())] = anyOf(highestPlane + 1, random);
        }
    }
    return image;
}

Image noiseImage(int width, int height, int channels, int bits, Random& random) {
    Image image(width, height, channels);
    for (Plane& plane : image.planes) {
        for (std::int64_t& value : plane) {
            value = static_cast<std::int64_t>(below(random, std::uint64_t{1} << bits));
        }
    }
    return image;
}

Image sceneImage(int width, int height, int channels, int bits, Random& random) {
    Image image(width, height, channels);
    const std::int64_t greatest = (std::int64_t{1} << bits) - 1;
    for (std::size_t channel = 0; channel < image.planes.size(); ++channel) {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const std::int64_t ramp = greatest * (x + 2 * y) / (width + 2 * height);
                const std::int64_t edge = 3 * x + static_cast<int>(channel) * y > width ? greatest / 4 : 0;
                const auto noise = static_cast<std::int64_t>(below(random, 5)) - 2;
                image.planes[channel][image.index(x, y)] = std::clamp(ramp + edge + noise, std::int64_t{0}, greatest);
            }
        }
    }
    return image;
}

} // namespace teko::reference
