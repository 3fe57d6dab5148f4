// SPDX-License-Identifier: Apache-2.0
// Images built against the filter: black and white by the signs of the weights of one sum deep inside it, and a few
// samples that are not. Where short signals go through the kernel such sums may leave 16 bits, and the image is lost.
#pragma once

#include "pictures.hpp"

namespace teko {

// Sides are from 4 to 70. Some are plain noise of extremes.
class Adversary {
public:
    explicit Adversary(std::uint32_t seed) : random(seed) {}

    Picture next();

private:
    std::uint32_t below(std::uint32_t count) { return static_cast<std::uint32_t>(random()) % count; }
    std::uint32_t side();
    std::vector<double> weights(std::uint32_t side, std::uint32_t level, bool isPassOfLevel);
    void disturb(Picture& picture);

    std::mt19937 random;
};

// A large one, whose columns go through the kernel in blocks, at levels of long signals.
Picture blockedAdversary();

// Whether the file decodes to the image that it was made of, as decoding and comparing says.
bool comesBack(const Picture& picture, const Bytes& file);

} // namespace teko
