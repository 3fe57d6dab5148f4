// SPDX-License-Identifier: Apache-2.0
// Vectors of the target that is compiled for, where it has any (TEKO_HAS_LANES).
//
//   Lanes       16-bit samples, a vector full
//   WideLanes   32-bit samples, half as many
//   ByteLanes   bytes, twice as many
//
// A target says in a header of its own how each operation is done. Loads and stores are of any address. Results of 16
// and of 32 bits wrap, where the name does not say more.
//
//   L::load, L::all, store                    memory, one value in all lanes
//   L::loadPart(from, n)                      n lanes, n below L::count; the others are 0
//   L::loadBytes, storeBytes                  samples as pairs or fours of bytes, the least significant first
//   ByteLanes::storePart(to, n)               n lanes and no byte more
//   + - & | ^, shiftLeft, shiftRight          by a number of the template, right with the sign
//   shiftRightUnsigned                        the same without it, or by a number that is not a constant
//   addSaturated, absolute, smaller, larger   lane by lane
//   mulhrs(a, b)                              (a b + 2^14) >> 15
//   mulhiUnsigned(a, b)                       a b >> 16, of samples without a sign
//   isNegative                                -1 where negative, else 0
//   withSignOf(a, sign)                       -a where sign is negative; 0 or a where it is 0: a is 0 there, too
//   folded                                    the magnitude above the sign
//   haveBits(a, bits)                         whether any lane has one of these bits
//   allOf                                     the OR of all lanes
//   before, behind, twoBehind                 a row, moved by one sample or two: from two neighbouring vectors
//   broadcastFirst, broadcastSecond           one lane in all
//   unzip, zip                                two vectors of neighbouring samples; those at even places and at odd ones
//   packBytes, packWords                      the same lanes, narrower, of samples that fit
//   asBytes                                   16-bit lanes as their bytes
//   loadRgb, storeRgb                         pixels of three bytes: 16-bit lanes of each colour at even and odd places
#pragma once

#include "fast/simd/forTarget.hpp"

#if defined(TEKO_FOR_AVX512)
#include "fast/simd/lanesAvx512.hpp"
#elif defined(TEKO_FOR_AVX2)
#include "fast/simd/lanesAvx2.hpp"
#elif defined(TEKO_FOR_NEON)
#include "fast/simd/lanesNeon.hpp"
#endif
