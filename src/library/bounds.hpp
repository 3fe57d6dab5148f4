// SPDX-License-Identifier: Apache-2.0
// The least that a file can take, and the most that a file and a call can, from an image's shape alone. docs/bounds.md
// has the proofs.
#pragma once

#include "codec/fileHeader.hpp"
#include "library/imageLayout.hpp"
#include "target/target.hpp"

#include <cstddef>
#include <cstdint>

namespace teko::library {

// Bytes of the shortest file that there is: a header, and one word of the stream.
constexpr std::size_t smallestFile = FileHeader::bytes + 4;

// Bytes of a complete file, whatever the samples are.
std::uint64_t fileBound(const ImageLayout& layout);

// Bytes that an encoder has allocated at any time, a complete file included; with its trial decoding where it needs
// one.
std::uint64_t encodeMemoryBound(const ImageLayout& layout, Target target);

// The same of a decoder, whatever the stream is.
std::uint64_t decodeMemoryBound(const ImageLayout& layout, Target target);

} // namespace teko::library
