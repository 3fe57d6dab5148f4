// SPDX-License-Identifier: Apache-2.0
// Bit operations with AVX-512.
#pragma once

#if !defined(TEKO_FOR_AVX512)
#define TEKO_FOR_AVX512
#endif
#include "fast/simd/forTarget.hpp"

#include <cstdint>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

// Transposes the eight bits of each of eight rows, the last row first, all at once: the columns of a matrix are its
// products with the unit vectors.
inline __m512i transpose8x8(__m512i matrices) {
    const __m512i unitVectors = _mm512_set1_epi64(static_cast<long long>(0x8040201008040201ULL));
    return _mm512_gf2p8affine_epi64_epi8(unitVectors, matrices, 0);
}

struct ByteOrders {
    alignas(64) unsigned char lastRowFirst[64]; // in each word
    alignas(64) unsigned char byRow[64];        // byte b of each word to word b

    constexpr ByteOrders() : lastRowFirst(), byRow() {
        for (unsigned i = 0; i < 64; ++i) {
            lastRowFirst[i] = static_cast<unsigned char>(i / 8 * 8 + 7 - i % 8);
            byRow[i] = static_cast<unsigned char>(i % 8 * 8 + i / 8);
        }
    }
};

inline constexpr ByteOrders byteOrders;

// words[b] gets bit b of 64 bytes, for b = 0 .. 7.
inline void sliceBytes(const unsigned char* bytes, std::uint64_t* words) {
    const __m512i matrices =
        _mm512_permutexvar_epi8(_mm512_load_si512(byteOrders.lastRowFirst), _mm512_loadu_si512(bytes));
    _mm512_storeu_si512(words, _mm512_permutexvar_epi8(_mm512_load_si512(byteOrders.byRow), transpose8x8(matrices)));
}

// Which of 64 bytes have bit `lowest` or a higher one.
inline std::uint64_t bytesReaching(const unsigned char* bytes, int lowest) {
    const __m512i bits = _mm512_set1_epi8(static_cast<char>(0xFF << lowest));
    return _mm512_test_epi8_mask(_mm512_loadu_si512(bytes), bits);
}

constexpr int wordsAtOnce = 8;

// Quarters of a vector, 128 bytes apart.
inline void storeLanes(__m512i vector, unsigned char* to) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm512_castsi512_si128(vector));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 128), _mm512_extracti64x2_epi64(vector, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 256), _mm512_extracti64x2_epi64(vector, 2));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 384), _mm512_extracti64x2_epi64(vector, 3));
}

// 64 bytes for each of wordsAtOnce words from w on: bit b is from rows[b]. Bytes of the rows are brought together by
// interleaving, the last row first as the matrix product wants it.
template <typename RowWord>
void unsliceRows(const RowWord* const* rows, int w, unsigned char* bytes) {
    __m512i pairs[8];
    for (int i = 0; i < 4; ++i) {
        const __m512i upper = _mm512_loadu_si512(rows[7 - 2 * i] + w);
        const __m512i lower = _mm512_loadu_si512(rows[6 - 2 * i] + w);
        pairs[i] = _mm512_unpacklo_epi8(upper, lower);
        pairs[4 + i] = _mm512_unpackhi_epi8(upper, lower);
    }
    for (int half = 0; half < 2; ++half) {
        const __m512i* of = pairs + 4 * half;
        const __m512i fours[4] = {_mm512_unpacklo_epi16(of[0], of[1]), _mm512_unpacklo_epi16(of[2], of[3]),
                                  _mm512_unpackhi_epi16(of[0], of[1]), _mm512_unpackhi_epi16(of[2], of[3])};
        for (int quarter = 0; quarter < 2; ++quarter) {
            const __m512i* both = fours + 2 * quarter;
            unsigned char* to = bytes + 64 * half + 32 * quarter;
            storeLanes(transpose8x8(_mm512_unpacklo_epi32(both[0], both[1])), to);
            storeLanes(transpose8x8(_mm512_unpackhi_epi32(both[0], both[1])), to + 16);
        }
    }
}

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
