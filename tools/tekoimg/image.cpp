// SPDX-License-Identifier: Apache-2.0
#include "image.hpp"

#include "failure.hpp"

namespace tekoimg {

void requireSides(const teko::Image& image) {
    const std::string sides = std::to_string(image.width) + " x " + std::to_string(image.height);
    if (image.width == 0 || image.height == 0) {
        throw Failure("has the sides " + sides + "; there is no sample in it");
    }
    if (image.width > 65535 || image.height > 65535 || std::uint64_t{image.width} * image.height >= 1U << 31) {
        throw Failure("has the sides " + sides +
                      "; a .tk has at most 65535 each and less than 2^31 pixels: take it apart into tiles");
    }
}

std::string shown(const teko::Image& image) {
    return std::to_string(image.width) + " x " + std::to_string(image.height) +
           (image.kind == teko::Kind::rgb8 ? ", RGB, " : ", grey, ") + std::to_string(bitsOf(image)) + " bits";
}

} // namespace tekoimg
