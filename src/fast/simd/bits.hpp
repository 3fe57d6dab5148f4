// SPDX-License-Identifier: Apache-2.0
// Operations on bits, as the target that is compiled for does them best.
//
//   countBits(value)              the ones
//   extractBits(value, mask)      the bits of value at the set places of mask, moved together at the bottom
//   depositBits(value, mask)      the lowest bits of value, moved to the set places of mask; fast where isDepositFast
//   sliceBytes(bytes, words)      words[b] gets bit b of 64 bytes, for b = 0 .. 7
//   bytesReaching(bytes, lowest)  which of 64 bytes have bit `lowest` or a higher one
//   unsliceRows(rows, w, bytes)   64 bytes for each of wordsAtOnce words from w on: bit b is from rows[b]
#pragma once

#include "fast/simd/forTarget.hpp"

#if defined(TEKO_FOR_AVX2) || defined(TEKO_FOR_AVX512)

#include <bit>
#include <cstdint>

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
#include "fast/simd/bitsAvx512.hpp"
#elif defined(TEKO_FOR_AVX2)
#include "fast/simd/bitsAvx2.hpp"
#else
#include "fast/simd/bitsPortable.hpp"
#endif
