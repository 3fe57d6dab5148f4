// SPDX-License-Identifier: Apache-2.0
// The coded stream of an image, from its definition.
//
//   stream    = top plane in 8 bits, then for every priority p from topPlane + levels down to 0, every channel,
//               every class c with a plane b = p - c that is coded: refinement segment, run segment
//   refinement segment of plane b = bit b of every magnitude that is longer than b + 1 bits
//   run segment of plane b        = k in 5 bits, then the events among its candidates (magnitudes of up to
//               b + 1 bits; events have exactly b + 1), each as the number of passes before it and its sign
//   run of r passes before an event = floor(r / 2^k) zeros, a one, r mod 2^k in k bits
//   passes after the last event     = as many zeros as cover them
// Values of several bits come least significant bit first.
#pragma once

#include "reference/codingTerms.hpp"

namespace teko::reference {

// The n low bits of a value.
void put(Bits& bits, std::uint64_t value, int n);

Bits refinementSegment(const Sequence& sequence, int plane);
Bits runSegment(const Sequence& sequence, int plane);
Bits codedStream(const Image& coefficients);

// The same with a top plane above that of the image: the planes between hold no events.
Bits codedStream(const Image& coefficients, int topPlane);

// Bit 0 is the lowest of the first byte; a last partial byte is filled up with zeros. So is the last word in
// wholeWordBytes.
std::vector<std::uint8_t> toBytes(const Bits& bits);
std::vector<std::uint8_t> toWholeWordBytes(const Bits& bits);

} // namespace teko::reference
