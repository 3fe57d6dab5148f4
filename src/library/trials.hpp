// SPDX-License-Identifier: Apache-2.0
// Whether complete files hold what went in, found out by decoding them.
#pragma once

#include "library/imageLayout.hpp"
#include "target/target.hpp"

#include <cstddef>

namespace teko::library {

// Whether a file decodes to the very samples of an image. Throws std::bad_alloc.
bool decodesTo(const ImageLayout& layout, const void* samples, Target target, const unsigned char* file,
               std::size_t size);

// Whether encoding what a file decodes to gives that file. Then that was what went in, too: each step of the forward
// transform can be undone, so that two images have different coefficients, unless a scaled sample has left 16 bits.
// Throws std::bad_alloc.
bool isMadeFromWhatItDecodesTo(const FileHeader& header, Target target, const unsigned char* file, std::size_t size);

} // namespace teko::library
