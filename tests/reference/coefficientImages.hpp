// SPDX-License-Identifier: Apache-2.0
// Images of coefficients to be coded, of many characters; the same on every machine.
#pragma once

#include "reference/image.hpp"

#include <array>
#include <random>

namespace teko::reference {

enum class Content {
    zero,
    constant,     // one value everywhere
    impulse,      // one value in a field of zeros
    sparse,       // one value in fifty, of any magnitude
    dense,        // every magnitude is as likely as any other
    geometric,    // small magnitudes much likelier than large ones, as in decompositions of photographs
    powerOfTwo,   // zeros and one power of two
    onesAndZeros, // magnitudes 0 and 1
    greatest      // every magnitude has all its bits
};

inline constexpr std::array allContents{Content::zero,       Content::constant,     Content::impulse,
                                        Content::sparse,     Content::dense,        Content::geometric,
                                        Content::powerOfTwo, Content::onesAndZeros, Content::greatest};

using Random = std::mt19937_64;

// A number of 0 .. count - 1.
std::uint64_t below(Random& random, std::uint64_t count);

// No magnitude reaches beyond highestPlane, which is at most 61.
Image coefficientImage(Content content, int width, int height, int channels, int highestPlane, Random& random);

// Samples of 0 .. 2^bits - 1, without any order.
Image noiseImage(int width, int height, int channels, int bits, Random& random);

// What a camera might deliver: ramps, an edge and a little noise, in 0 .. 2^bits - 1.
Image sceneImage(int width, int height, int channels, int bits, Random& random);

} // namespace teko::reference
