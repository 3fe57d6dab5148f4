// SPDX-License-Identifier: Apache-2.0
// Counting the bit lengths of folded values, block by block.
#pragma once

#include "fast/planes/subbandBytes.hpp"
#include "fast/simd/operations.hpp"

#include <algorithm>
#include <cstdint>
#include <numeric>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

#if defined(TEKO_FOR_AVX512)

// counts[7 - b] is how many of 64 bytes have bit b for their highest one: the lowest one, x & -x, of a reversed byte.
inline __m512i countHighestBits(__m512i bytes) {
    const __m512i reversal = _mm512_set1_epi64(static_cast<long long>(0x8040201008040201ULL));
    const __m512i reversed = _mm512_gf2p8affine_epi64_epi8(bytes, reversal, 0);
    const __m512i lowest = _mm512_and_si512(reversed, _mm512_sub_epi8(_mm512_setzero_si512(), reversed));
    const __m512i byBit = _mm512_permutexvar_epi8(_mm512_load_si512(byteOrders.byRow), transpose8x8(lowest));
    return _mm512_popcnt_epi64(byBit);
}

// Counts the highest bits in a row of a block whose higher bytes are 0 where `left` says so; leaves those whose byte is
// 0, too.
inline __m512i countHighestBits(const unsigned char* bytes, int words, __mmask64* left) {
    __m512i sums = _mm512_setzero_si512();
    for (int w = 0; w < words; ++w) {
        const __m512i here = _mm512_maskz_loadu_epi8(left[w], bytes + 64 * w);
        sums = _mm512_add_epi64(sums, countHighestBits(here));
        left[w] = _mm512_mask_testn_epi8_mask(left[w], here, here);
    }
    return sums;
}

// The same in blocks that have one row.
inline __m512i countHighestBits(const unsigned char* bytes, int words) {
    __m512i sums = _mm512_setzero_si512();
    for (int w = 0; w < words; ++w) {
        sums = _mm512_add_epi64(sums, countHighestBits(_mm512_loadu_si512(bytes + 64 * w)));
    }
    return sums;
}

// Adds the bit lengths of the values in a block, which leave a value's sign bit free. A value is as long as its highest
// byte that is not 0 says. Returns the longest.
template <typename V>
int countLengths(const SubbandBytes<V>& folded, std::int64_t block, int /*atMost*/, std::uint64_t* counts) {
    const int words = folded.wordsIn(block);
    const int rows = folded.bytePlanesUsed[block];
    __mmask64 left[blockSamples / 64];
    std::fill_n(left, rows > 1 ? words : 0, ~std::uint64_t{0});
    int longest = 0;
    auto zeros = static_cast<std::uint64_t>(folded.valuesIn(block));
    for (int row = rows - 1; row >= 0; --row) {
        const unsigned char* const bytes = folded.bytes(row, block);
        std::uint64_t reversed[8];
        _mm512_storeu_si512(reversed, rows > 1 ? countHighestBits(bytes, words, left) : countHighestBits(bytes, words));
        const int lengths = std::min(8, 8 * static_cast<int>(sizeof(V)) - 1 - 8 * row);
        for (int b = 0; b < lengths; ++b) {
            counts[8 * row + 1 + b] += reversed[7 - b];
            zeros -= reversed[7 - b];
            longest = reversed[7 - b] != 0 ? std::max(longest, 8 * row + 1 + b) : longest;
        }
    }
    counts[0] += zeros;
    return longest;
}

#else

#if defined(TEKO_FOR_AVX2)

inline std::uint64_t sumOfBytes(__m256i bytes) {
    const __m256i sums = _mm256_sad_epu8(bytes, _mm256_setzero_si256());
    const __m128i halves = _mm_add_epi64(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(halves) + _mm_extract_epi64(halves, 1));
}

// reached[i] is how many of the bytes have bit lowest + i or a higher one, for i < n. Of at most 127 times 64 bytes,
// each lane counts in a byte. Comparisons are of signed bytes, so all are taken less 128.
template <int n>
void countReached(const unsigned char* bytes, int words, int lowest, std::uint64_t* reached) {
    __m256i counts[n];
    __m256i belowLimits[n];
    for (int i = 0; i < n; ++i) {
        counts[i] = _mm256_setzero_si256();
        belowLimits[i] = _mm256_set1_epi8(static_cast<char>((1 << (lowest + i)) - 1 - 128));
    }
    for (const unsigned char* end = bytes + 64 * words; bytes != end; bytes += 32) {
        const __m256i here = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
        const __m256i less = _mm256_xor_si256(here, _mm256_set1_epi8(-128));
        for (int i = 0; i < n; ++i) {
            counts[i] = _mm256_sub_epi8(counts[i], _mm256_cmpgt_epi8(less, belowLimits[i]));
        }
    }
    for (int i = 0; i < n; ++i) {
        reached[i] = sumOfBytes(counts[i]);
    }
}

inline void countReached(const unsigned char* bytes, int words, int lowest, int n, std::uint64_t* reached) {
    static constexpr void (*forNumber[])(const unsigned char*, int, int, std::uint64_t*) = {
        countReached<1>, countReached<2>, countReached<3>, countReached<4>,
        countReached<5>, countReached<6>, countReached<7>, countReached<8>};
    if (n > 0) {
        forNumber[n - 1](bytes, words, lowest, reached);
    }
}

#else

// reached[i] is how many of the bytes have bit lowest + i or a higher one, for i < n. Of at most 255 times 64 bytes,
// each of 64 lanes counts in a byte.
inline void countReached(const unsigned char* bytes, int words, int lowest, int n, std::uint64_t* reached) {
    for (int i = 0; i < n; ++i) {
        const auto limit = static_cast<unsigned char>(1 << (lowest + i));
        unsigned char counts[64] = {};
        for (const unsigned char* word = bytes; word != bytes + 64 * words; word += 64) {
            for (int lane = 0; lane < 64; ++lane) {
                counts[lane] = static_cast<unsigned char>(counts[lane] + (word[lane] >= limit ? 1 : 0));
            }
        }
        reached[i] = std::accumulate(counts, counts + 64, std::uint64_t{0});
    }
}

#endif

// Byte `row` of the values of a block, 255 where a value has higher bytes; in place where none has.
template <typename V>
const unsigned char* saturatedBytes(const SubbandBytes<V>& folded, std::int64_t block, int row,
                                    unsigned char* saturated) {
    const unsigned char* bytes = folded.bytes(row, block);
    for (int higher = row + 1; higher < folded.bytePlanesUsed[block]; ++higher) {
        const unsigned char* const above = folded.bytes(higher, block);
        for (int i = 0; i < folded.wordsIn(block) * 64; ++i) {
            saturated[i] = static_cast<unsigned char>(bytes[i] | (above[i] != 0 ? 255 : 0));
        }
        bytes = saturated;
    }
    return bytes;
}

// Adds the bit lengths of the values in a block, which are at most `atMost` and leave a value's sign bit free. Returns
// the longest. No folded value is 1, so as many reach one bit as two.
template <typename V>
int countLengths(const SubbandBytes<V>& folded, std::int64_t block, int atMost, std::uint64_t* counts) {
    std::uint64_t reached[8 * sizeof(V) + 2] = {}; // [length]
    reached[0] = static_cast<std::uint64_t>(folded.valuesIn(block));
    for (int row = 0; row < folded.bytePlanesUsed[block]; ++row) {
        const int shortest = std::max(8 * row + 1, 2);
        unsigned char saturated[blockSamples];
        countReached(saturatedBytes(folded, block, row, saturated), folded.wordsIn(block), (shortest - 1) % 8,
                     std::min(atMost, 8 * row + 8) - shortest + 1, reached + shortest);
    }
    reached[1] = reached[2];
    int longest = std::min(atMost, 8 * static_cast<int>(sizeof(V)) - 1);
    for (int length = 0; length <= longest; ++length) {
        counts[length] += reached[length] - reached[length + 1];
    }
    while (longest > 0 && reached[longest] == 0) {
        --longest;
    }
    return longest;
}

#endif

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
