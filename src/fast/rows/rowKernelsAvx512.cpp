// SPDX-License-Identifier: Apache-2.0
#include "fast/rows/rowKernelSets.hpp"
#include "filter/lifting.hpp"
#include "target/region.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

#if defined(__x86_64__)

// GCC 12 takes the undefined sources of its own masked intrinsics for a mistake.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
#include <immintrin.h>

TEKO_REGION_BEGIN(TEKO_AVX512_FEATURES)

namespace teko::avx512 {

namespace {

#include "fast/simd/wordPairsAvx512.hpp"

#include "fast/rows/rowKernelsGeneric.hpp"

struct Lanes {
    using Row = std::int16_t;
    static constexpr int count = 32;
    __m512i v;

    static Lanes load(const std::int16_t* x) { return {_mm512_loadu_si512(x)}; }
    static Lanes all(int value) { return {_mm512_set1_epi16(static_cast<std::int16_t>(value))}; }
    void store(std::int16_t* x) const { _mm512_storeu_si512(x, v); }
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
inline Lanes smaller(Lanes a, Lanes b) {
    return {_mm512_min_epi16(a.v, b.v)};
}
inline Lanes larger(Lanes a, Lanes b) {
    return {_mm512_max_epi16(a.v, b.v)};
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
Lanes shiftRight(Lanes a) {
    return {_mm512_srai_epi16(a.v, n)};
}
template <int n>
Lanes shiftRightUnsigned(Lanes a) {
    return {_mm512_srli_epi16(a.v, n)};
}

// Vectors of a row, moved by one or two samples: whole words of two samples first.
inline Lanes twoBehind(Lanes here, Lanes right) {
    return {_mm512_alignr_epi32(right.v, here.v, 1)};
}
inline Lanes behind(Lanes here, Lanes right) {
    return {_mm512_shrdi_epi32(here.v, twoBehind(here, right).v, 16)};
}
inline Lanes before(Lanes left, Lanes here) {
    return {_mm512_shldi_epi32(here.v, _mm512_alignr_epi32(here.v, left.v, 15), 16)};
}
inline Lanes broadcastFirst(Lanes a) {
    return {_mm512_broadcastw_epi16(_mm512_castsi512_si128(a.v))};
}
inline Lanes broadcastSecond(Lanes a) {
    return {_mm512_broadcastw_epi16(_mm_srli_si128(_mm512_castsi512_si128(a.v), 2))};
}

inline std::pair<Lanes, Lanes> unzip(Lanes low, Lanes high) {
    const auto [even, odd] = unzipWords(low.v, high.v);
    return {{even}, {odd}};
}

inline std::pair<Lanes, Lanes> zip(Lanes even, Lanes odd) {
    const auto [low, high] = zipWords(even.v, odd.v);
    return {{low}, {high}};
}

struct WideLanes {
    using Row = int;
    static constexpr int count = 16;
    __m512i v;

    static WideLanes load(const int* x) { return {_mm512_loadu_si512(x)}; }
    static WideLanes all(int value) { return {_mm512_set1_epi32(value)}; }
    void store(int* x) const { _mm512_storeu_si512(x, v); }
};

inline WideLanes operator+(WideLanes a, WideLanes b) {
    return {_mm512_add_epi32(a.v, b.v)};
}
inline WideLanes operator-(WideLanes a, WideLanes b) {
    return {_mm512_sub_epi32(a.v, b.v)};
}
template <int n>
WideLanes shiftLeft(WideLanes a) {
    return {_mm512_slli_epi32(a.v, n)};
}
template <int n>
WideLanes shiftRight(WideLanes a) {
    return {_mm512_srai_epi32(a.v, n)};
}

inline WideLanes twoBehind(WideLanes here, WideLanes right) {
    return {_mm512_alignr_epi32(right.v, here.v, 2)};
}
inline WideLanes behind(WideLanes here, WideLanes right) {
    return {_mm512_alignr_epi32(right.v, here.v, 1)};
}
inline WideLanes before(WideLanes left, WideLanes here) {
    return {_mm512_alignr_epi32(here.v, left.v, 15)};
}
inline WideLanes broadcastFirst(WideLanes a) {
    return {_mm512_broadcastd_epi32(_mm512_castsi512_si128(a.v))};
}
inline WideLanes broadcastSecond(WideLanes a) {
    return {_mm512_broadcastd_epi32(_mm_srli_si128(_mm512_castsi512_si128(a.v), 4))};
}

#include "fast/rows/rowKernelsAlong.hpp"

#include "fast/rows/rowKernelsNarrow.hpp"

#include "fast/rows/rowKernelsSmallLong.hpp"

#include "fast/rows/rowKernelsWide.hpp"

} // namespace

template <>
const RowKernels<std::int16_t>& rowKernelSet() {
    static constexpr RowKernels<std::int16_t> kernels = narrowRowKernels();
    return kernels;
}

template <>
const RowKernels<SmallLong>& rowKernelSet() {
    static constexpr RowKernels<SmallLong> kernels = smallLongRowKernels();
    return kernels;
}

template <>
const RowKernels<std::int64_t>& rowKernelSet() {
    static constexpr RowKernels<std::int64_t> kernels = wideRowKernels();
    return kernels;
}

} // namespace teko::avx512

TEKO_REGION_END

#endif
