// SPDX-License-Identifier: Apache-2.0
// The two-dimensional transform and the colour transform of the reference.
#pragma once

#include "reference/image.hpp"

namespace teko::reference {

// Forward: level after level, in each the rows, then the columns; images without levels stay as they are.
Image transformed(const Image& image, Samples samples);

// Inverse: from the deepest level, in each the columns, then the rows; images without levels go through one.
Image untransformed(const Image& image, Samples samples);

// Between red, green, blue and luminance and two differences, in 16-bit samples. Three planes only.
Image colourTransformed(const Image& image);
Image colourUntransformed(const Image& image);

} // namespace teko::reference
