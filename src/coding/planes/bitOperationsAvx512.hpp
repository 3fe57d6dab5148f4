// Bit operations with AVX-512. Included inside a target's region and namespace. No include guard.

#include "coding/planes/bitOperationsBmi2.hpp"

// words[b] gets bit b of 64 bytes, for b = 0 .. 7: the sign bits of all bytes, then all bytes doubled.
inline void sliceBytes(const unsigned char* bytes, std::uint64_t* words) {
    __m512i shifted = _mm512_loadu_si512(bytes);
    for (int b = 7; b >= 0; --b) {
        words[b] = _mm512_movepi8_mask(shifted);
        shifted = _mm512_add_epi8(shifted, shifted);
    }
}

// Bit 0 of 64 bytes.
inline std::uint64_t sliceLowestBits(const unsigned char* bytes) {
    return _mm512_test_epi8_mask(_mm512_loadu_si512(bytes), _mm512_set1_epi8(1));
}

inline void unsliceBytes(const std::uint64_t* words, unsigned char* bytes) {
    __m512i result = _mm512_setzero_si512();
    for (int b = 7; b >= 0; --b) {
        result = _mm512_sub_epi8(_mm512_add_epi8(result, result), _mm512_movm_epi8(words[b]));
    }
    _mm512_storeu_si512(bytes, result);
}
