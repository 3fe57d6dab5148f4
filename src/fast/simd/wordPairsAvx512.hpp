// SPDX-License-Identifier: Apache-2.0
// Words at even places and words at odd ones, taken apart and put together with AVX-512. Included inside a target's
// region and namespace. No include guard, no includes.

struct WordVectors {
    __m512i first;
    __m512i second;
};

// The bytes of a vector: those of words at even places, then those of words at odd ones.
struct UnzippedWords {
    alignas(64) unsigned char places[64];

    constexpr UnzippedWords() : places() {
        for (unsigned i = 0; i < 64; ++i) {
            places[i] = static_cast<unsigned char>(i % 32 / 2 * 4 + i / 32 * 2 + i % 2);
        }
    }
};

constexpr UnzippedWords unzippedWords;

// The words of two vectors: those at even places, those at odd ones. Four shuffles, where masks, shifts and packing
// take eight operations.
inline WordVectors unzipWords(__m512i low, __m512i high) {
    const __m512i places = _mm512_load_si512(unzippedWords.places);
    const __m512i lowApart = _mm512_permutexvar_epi8(places, low);
    const __m512i highApart = _mm512_permutexvar_epi8(places, high);
    const __m512i firstHalves = _mm512_setr_epi64(0, 1, 2, 3, 8, 9, 10, 11);
    const __m512i secondHalves = _mm512_setr_epi64(4, 5, 6, 7, 12, 13, 14, 15);
    return {_mm512_permutex2var_epi64(lowApart, firstHalves, highApart),
            _mm512_permutex2var_epi64(lowApart, secondHalves, highApart)};
}

// The other way round.
inline WordVectors zipWords(__m512i even, __m512i odd) {
    const __m512i low = _mm512_unpacklo_epi16(even, odd);
    const __m512i high = _mm512_unpackhi_epi16(even, odd);
    const __m512i first = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
    const __m512i second = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
    return {_mm512_permutex2var_epi64(low, first, high), _mm512_permutex2var_epi64(low, second, high)};
}
