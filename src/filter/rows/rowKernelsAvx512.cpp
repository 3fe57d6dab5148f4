#include "filter/lifting.hpp"
#include "filter/rows/rowKernelSets.hpp"
#include "target/region.hpp"

#include <algorithm>
#include <limits>
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

// The lower halves of sixteen samples: those at even places, then those at odd ones.
inline __m512i narrowed(__m512i low, __m512i high) {
    const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 16, 20, 24, 28, 2, 6, 10, 14, 18, 22, 26, 30);
    return _mm512_permutex2var_epi32(low, order, high);
}

inline long splitWide(const long* x, long step, int n, int* even, int* odd) {
    if (step != 1) {
        return splitRow<long>(x, step, n, even, odd);
    }
    __m512i bits = _mm512_setzero_si512();
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m512i low = _mm512_loadu_si512(x + i);
        const __m512i high = _mm512_loadu_si512(x + i + 8);
        bits = _mm512_or_si512(bits, _mm512_xor_si512(low, _mm512_srai_epi64(low, 63)));
        bits = _mm512_or_si512(bits, _mm512_xor_si512(high, _mm512_srai_epi64(high, 63)));
        const __m512i both = narrowed(low, high);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(even + i / 2), _mm512_castsi512_si256(both));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(odd + i / 2), _mm512_extracti64x4_epi64(both, 1));
    }
    const long rest = i < n ? split<long>(x + i, 1, n - i, even + i / 2, odd + i / 2) : 1;
    return std::max(boundFrom(static_cast<long>(_mm512_reduce_or_epi64(bits))), rest);
}

inline void mergeWide(long* x, long step, int n, const int* even, const int* odd) {
    if (step != 1) {
        mergeRow<long>(x, step, n, even, odd);
        return;
    }
    const __m512i order = _mm512_setr_epi32(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15);
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m256i evens = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(even + i / 2));
        const __m256i odds = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(odd + i / 2));
        const __m512i both =
            _mm512_permutexvar_epi32(order, _mm512_inserti64x4(_mm512_castsi256_si512(evens), odds, 1));
        _mm512_storeu_si512(x + i, _mm512_cvtepi32_epi64(_mm512_castsi512_si256(both)));
        _mm512_storeu_si512(x + i + 8, _mm512_cvtepi32_epi64(_mm512_extracti64x4_epi64(both, 1)));
    }
    if (i < n) {
        merge<long>(x + i, 1, n - i, even + i / 2, odd + i / 2);
    }
}

constexpr RowKernels<long> wideRowKernels() {
    RowKernels<long> kernels = genericRowKernels<long>();
    kernels.split = splitWide;
    kernels.merge = mergeWide;
    return kernels;
}

} // namespace

template <>
const RowKernels<short>& rowKernelSet() {
    static constexpr RowKernels<short> kernels = narrowRowKernels();
    return kernels;
}

template <>
const RowKernels<long>& rowKernelSet() {
    static constexpr RowKernels<long> kernels = wideRowKernels();
    return kernels;
}

} // namespace teko::avx512

TEKO_REGION_END

#endif
