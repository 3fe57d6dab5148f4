// SPDX-License-Identifier: Apache-2.0
// The reversible transform between red, green, blue and one luminance and two colour-difference planes.
//
//   Y = floor((R + 2G + B) / 4)    G = Y - floor((U + V) / 4)
//   U = R - G                      R = U + G
//   V = B - G                      B = V + G
//
// Planes 0, 1, 2 hold R, G, B or Y, U, V. Source: the reversible component transform of ISO/IEC 15444-1,
// annex G, with the chrominance components in the other order.
#pragma once

#include "image/imageData.hpp"

#include <cstdint>

namespace teko {

// In place; images that have not three channels stay as they are. Results keep their low 16 bits.
void colourTransform(ImageData<std::int16_t>* image);
void colourUntransform(ImageData<std::int16_t>* image);

} // namespace teko
