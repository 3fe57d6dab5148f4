// SPDX-License-Identifier: Apache-2.0
// Counting bit lengths with AVX-512. Included inside a target's region and namespace, after its bit operations. No
// include guard, no includes.

// counts[7 - b] is how many of 64 bytes have bit b for their highest one: the lowest one, x & -x, of a reversed byte.
inline __m512i countHighestBits(__m512i bytes) {
    const __m512i reversal = _mm512_set1_epi64(static_cast<long long>(0x8040201008040201ULL));
    const __m512i reversed = _mm512_gf2p8affine_epi64_epi8(bytes, reversal, 0);
    const __m512i lowest = _mm512_and_si512(reversed, _mm512_sub_epi8(_mm512_setzero_si512(), reversed));
    const __m512i byBit = _mm512_permutexvar_epi8(_mm512_load_si512(byteOrders.byRow), transposedBits(lowest));
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
int countLengths(const FoldedSequence<V>& folded, std::int64_t block, int /*atMost*/, std::uint64_t* counts) {
    const int words = folded.wordsIn(block);
    const int rows = folded.rowsInUse[block];
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
