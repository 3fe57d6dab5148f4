// SPDX-License-Identifier: Apache-2.0
// How many bytes: the least that a file can take, the most that a file and a call can, from an image's shape alone, and
// what a rate allows. For checks before a call allocates, and for callers who ask. docs/bounds.md has the proofs.
#pragma once

#include "codec/fileHeader.hpp"
#include "library/imageLayout.hpp"
#include "target/target.hpp"

#include <cstddef>
#include <cstdint>

namespace teko::library {

// Bytes of the shortest file that there is: a header, and one word of the stream.
constexpr std::size_t smallestFile = FileHeader::bytes + 4;

// The most bytes of a complete file of such an image, whatever the samples are.
std::uint64_t fileBound(const ImageLayout& layout);

// The most bytes of a file at a rate of the raw size, header included, by the rule of byteBudget; 0 where the rate
// gives no number of bytes, or none that is addressable.
std::size_t budgetAtRate(const ImageLayout& layout, double rate);

// The most bytes that an encoder has allocated at any time: with the complete file, and with a trial decoding for those
// images that may need one.
std::uint64_t encodeMemoryBound(const ImageLayout& layout, Target target);

// The most bytes that a decoder has allocated at any time for an image that has this layout in its file, unreduced,
// whatever the stream is.
std::uint64_t decodeMemoryBound(const ImageLayout& layout, Target target);

} // namespace teko::library
