// SPDX-License-Identifier: Apache-2.0
// The most that a file and a call can take, from an image's shape alone. docs/bounds.md has the proofs.
#pragma once

#include "library/imageLayout.hpp"
#include "target/target.hpp"

#include <cstdint>

namespace teko::library {

// Bytes of a complete file, whatever the samples are.
std::uint64_t fileBound(const ImageLayout& layout);

// Bytes that an encoder has allocated at any time, a complete file included; with its trial decoding where it needs
// one.
std::uint64_t encodeMemoryBound(const ImageLayout& layout, Target target);

// The same of a decoder, whatever the stream is.
std::uint64_t decodeMemoryBound(const ImageLayout& layout, Target target);

} // namespace teko::library
