#include "filter/lifting.hpp"
#include "filter/rows/rowKernelSets.hpp"
#include "target/region.hpp"

#include <algorithm>
#include <utility>

#if defined(__x86_64__)

// GCC 12 takes the undefined sources of its own masked intrinsics for a mistake.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

TEKO_REGION_BEGIN(TEKO_AVX512_FEATURES)

namespace teko::avx512 {

namespace {

#include "filter/rows/rowKernelsGeneric.hpp"

struct Lanes {
    static constexpr int count = 32;
    __m512i v;

    static Lanes load(const short* x) { return {_mm512_loadu_si512(x)}; }
    static Lanes all(int value) { return {_mm512_set1_epi16(static_cast<short>(value))}; }
    void store(short* x) const { _mm512_storeu_si512(x, v); }
};

inline Lanes operator+(Lanes a, Lanes b) {
    return {_mm512_add_epi16(a.v, b.v)};
}
inline Lanes operator-(Lanes a, Lanes b) {
    return {_mm512_sub_epi16(a.v, b.v)};
}
inline Lanes operator|(Lanes a, Lanes b) {
    return {_mm512_or_si512(a.v, b.v)};
}
inline Lanes operator^(Lanes a, Lanes b) {
    return {_mm512_xor_si512(a.v, b.v)};
}
inline Lanes addSaturated(Lanes a, Lanes b) {
    return {_mm512_adds_epi16(a.v, b.v)};
}
inline Lanes mulhrs(Lanes a, Lanes b) {
    return {_mm512_mulhrs_epi16(a.v, b.v)};
}
inline Lanes mulhiUnsigned(Lanes a, Lanes b) {
    return {_mm512_mulhi_epu16(a.v, b.v)};
}
inline Lanes absolute(Lanes a) {
    return {_mm512_abs_epi16(a.v)};
}
inline Lanes isNegative(Lanes a) {
    return {_mm512_srai_epi16(a.v, 15)};
} // -1 where negative, else 0
inline Lanes withSignOf(Lanes a, Lanes sign) {
    return {_mm512_mask_sub_epi16(a.v, _mm512_movepi16_mask(sign.v), _mm512_setzero_si512(), a.v)};
}
template <int n>
Lanes shiftLeft(Lanes a) {
    return {_mm512_slli_epi16(a.v, n)};
}
template <int n>
Lanes shiftRightUnsigned(Lanes a) {
    return {_mm512_srli_epi16(a.v, n)};
}

inline std::pair<Lanes, Lanes> unzip(Lanes low, Lanes high) {
    const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
    const __m512i lowWords = _mm512_set1_epi32(0xFFFF);
    const __m512i even = _mm512_packus_epi32(_mm512_and_si512(low.v, lowWords), _mm512_and_si512(high.v, lowWords));
    const __m512i odd = _mm512_packus_epi32(_mm512_srli_epi32(low.v, 16), _mm512_srli_epi32(high.v, 16));
    return {{_mm512_permutexvar_epi64(order, even)}, {_mm512_permutexvar_epi64(order, odd)}};
}

inline std::pair<Lanes, Lanes> zip(Lanes even, Lanes odd) {
    const __m512i low = _mm512_unpacklo_epi16(even.v, odd.v);
    const __m512i high = _mm512_unpackhi_epi16(even.v, odd.v);
    const __m512i first = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
    const __m512i second = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
    return {{_mm512_permutex2var_epi64(low, first, high)}, {_mm512_permutex2var_epi64(low, second, high)}};
}

#include "filter/rows/rowKernelsNarrow.hpp"

} // namespace

template <>
const RowKernels<short>& rowKernelSet() {
    static constexpr RowKernels<short> kernels = narrowRowKernels();
    return kernels;
}

template <>
const RowKernels<long>& rowKernelSet() {
    static constexpr RowKernels<long> kernels = genericRowKernels<long>();
    return kernels;
}

} // namespace teko::avx512

TEKO_REGION_END

#endif
