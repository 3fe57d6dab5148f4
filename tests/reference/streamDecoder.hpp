// SPDX-License-Identifier: Apache-2.0
// What any prefix of a coded stream says about an image, from the stream's definition.
#pragma once

#include "reference/codingTerms.hpp"

#include <optional>

namespace teko::reference {

struct Decoded {
    Image folded;       // what the planes hold before the folded values are turned into coefficients
    Image coefficients; // the middle of the interval that the bits leave open, for each coefficient
    bool complete;      // every segment was there to its end
};

// Reads the whole 32-bit words of a payload. Nothing when they do not even hold the top plane.
//
// A sample cannot hold the value that a plane of more than its width - 3 announces: such an event does not make
// its coefficient significant, and leaves only the low bits of the folded value.
std::optional<Decoded> decodeStream(const std::vector<std::uint8_t>& payload, int width, int height, int channels,
                                    Samples samples);

} // namespace teko::reference
