// SPDX-License-Identifier: Apache-2.0
// Counting bytes by their length with AVX2. Included inside a target's region and namespace. No include guard, no
// includes.

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
