// SPDX-License-Identifier: Apache-2.0
// What the target that is compiled for does at once: lanes, where it has vectors (TEKO_HAS_LANES), and bits. A target
// says in a header of its own how each operation is done.
//
// Lanes. Loads and stores are of any address. Results of 16 and of 32 bits wrap, where the name does not say more.
//
//   Lanes       16-bit samples, a vector full: L::count of them, known to the compiler, 32 at most
//   WideLanes   32-bit samples, half as many
//   ByteLanes   bytes, twice as many
//   LanePair    two vectors of 16-bit samples, first and second
//
// of Lanes and WideLanes
//   L::load, L::all, store                    memory, one value in all lanes
//   L::loadBytes, storeBytes                  samples as pairs or fours of bytes, the least significant first
//   + - & |, shiftLeft, shiftRight            by a number of the template, right with the sign
//   shiftRightUnsigned                        right by a number, without the sign
//   absolute                                  the magnitude
//   folded                                    the magnitude above the sign
//   haveBits(a, bits)                         whether any lane has one of these bits
//   allOf                                     the OR of all lanes
//   before, behind, twoBehind                 a row, moved by one sample or two: from two neighbouring vectors
//   broadcastFirst, broadcastSecond           one lane in all
//   L::loadPart(from, n)                      AVX-512 alone: n lanes, n below L::count; the others are 0
// With AVX2, WideLanes have none of the last six: its rows of int are left to the compiler.
// of Lanes alone
//   ^, addSaturated, smaller, larger          lane by lane
//   shiftRightUnsigned by a template's number
//   mulhrs(a, b)                              (a b + 2^14) >> 15
//   mulhiUnsigned(a, b)                       a b >> 16, of samples without a sign
//   isNegative                                -1 where negative, else 0
//   withSignOf(a, sign)                       -a where sign is negative; 0 or a where it is 0: a is 0 there, too
//   unzip, zip                                two vectors of neighbouring samples; those at even places and at odd ones
//   asBytes                                   the bytes of the samples
//   loadRgb, storeRgb                         pixels of three bytes: lanes of each colour at even and at odd places
// narrower
//   packBytes of two Lanes or four WideLanes, packWords of two WideLanes; all samples fit
// of ByteLanes
//   store
//   storePart(to, n)                          AVX-512 alone: n lanes and no byte more
//
// Bits.
//
//   countBits(value)              the ones
//   extractBits(value, mask)      the bits of value at the set places of mask, moved together at the bottom
//   depositBits(value, mask)      the lowest bits of value, moved to the set places of mask; fast if isDepositFast says
//   so sliceBytes(bytes, words)      words[b] gets bit b of 64 bytes, for b = 0 .. 7 bytesReaching(bytes, lowest) which
//   of 64 bytes have bit `lowest` or a higher one unsliceRows(rows, w, bytes)   64 bytes for each of unslicedAtOnce
//   words from w on: bit b is from rows[b]
#pragma once

#include "fast/simd/forTarget.hpp"

#include <bit>
#include <cstdint>
#include <cstring>

namespace teko {

// Words of 64 bits in memory, the least significant byte first and at any address.

// Reads eight bytes.
inline std::uint64_t loadLittleEndian(const unsigned char* from) {
    std::uint64_t value = 0;
    if constexpr (std::endian::native == std::endian::big) {
        for (int i = 0; i < 8; ++i) {
            value |= static_cast<std::uint64_t>(from[i]) << (8 * i);
        }
    } else {
        std::memcpy(&value, from, sizeof value);
    }
    return value;
}

// Writes eight bytes.
inline void storeLittleEndian(unsigned char* to, std::uint64_t value) {
    if constexpr (std::endian::native == std::endian::big) {
        for (int i = 0; i < 8; ++i) {
            to[i] = static_cast<unsigned char>(value >> (8 * i) & 0xFFU);
        }
    } else {
        std::memcpy(to, &value, sizeof value);
    }
}

} // namespace teko

// Processors that have AVX-512 or AVX2 and are chosen for it have BMI2 and POPCNT.
#if defined(TEKO_FOR_AVX2) || defined(TEKO_FOR_AVX512)

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

constexpr bool isDepositFast = true;

inline int countBits(std::uint64_t value) {
    return std::popcount(value);
}

inline std::uint64_t extractBits(std::uint64_t value, std::uint64_t mask) {
    return _pext_u64(value, mask);
}

inline std::uint64_t depositBits(std::uint64_t value, std::uint64_t mask) {
    return _pdep_u64(value, mask);
}

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END

#endif

#if defined(TEKO_FOR_AVX512)
#include "fast/simd/avx512.hpp"
#elif defined(TEKO_FOR_AVX2)
#include "fast/simd/avx2.hpp"
#elif defined(TEKO_FOR_NEON)
#include "fast/simd/neon.hpp"
#include "fast/simd/portable.hpp"
#else
#include "fast/simd/portable.hpp"
#endif
