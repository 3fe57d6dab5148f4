// SPDX-License-Identifier: Apache-2.0
#include "fast/rows/rowKernelSets.hpp"
#include "filter/lifting.hpp"
#include "target/region.hpp"

#include <algorithm>
#include <cstdint>
#include <utility>

#if defined(__x86_64__)
#include <immintrin.h>

TEKO_REGION_BEGIN(TEKO_AVX2_FEATURES)

namespace teko::avx2 {

namespace {

#include "fast/rows/rowKernelsGeneric.hpp"

struct Lanes {
    using Row = std::int16_t;
    static constexpr int count = 16;
    __m256i v;

    static Lanes load(const std::int16_t* x) { return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(x))}; }
    static Lanes all(int value) { return {_mm256_set1_epi16(static_cast<std::int16_t>(value))}; }
    void store(std::int16_t* x) const { _mm256_storeu_si256(reinterpret_cast<__m256i*>(x), v); }
};

inline Lanes operator+(Lanes a, Lanes b) {
    return {_mm256_add_epi16(a.v, b.v)};
}
inline Lanes operator-(Lanes a, Lanes b) {
    return {_mm256_sub_epi16(a.v, b.v)};
}
inline Lanes operator|(Lanes a, Lanes b) {
    return {_mm256_or_si256(a.v, b.v)};
}
inline Lanes operator^(Lanes a, Lanes b) {
    return {_mm256_xor_si256(a.v, b.v)};
}
inline Lanes addSaturated(Lanes a, Lanes b) {
    return {_mm256_adds_epi16(a.v, b.v)};
}
inline Lanes mulhrs(Lanes a, Lanes b) {
    return {_mm256_mulhrs_epi16(a.v, b.v)};
}
inline Lanes mulhiUnsigned(Lanes a, Lanes b) {
    return {_mm256_mulhi_epu16(a.v, b.v)};
}
inline Lanes absolute(Lanes a) {
    return {_mm256_abs_epi16(a.v)};
}
inline Lanes smaller(Lanes a, Lanes b) {
    return {_mm256_min_epi16(a.v, b.v)};
}
inline Lanes larger(Lanes a, Lanes b) {
    return {_mm256_max_epi16(a.v, b.v)};
}
inline Lanes isNegative(Lanes a) {
    return {_mm256_srai_epi16(a.v, 15)};
} // -1 where negative, else 0
inline Lanes withSignOf(Lanes a, Lanes sign) {
    return {_mm256_sign_epi16(a.v, sign.v)};
}
template <int n>
Lanes shiftLeft(Lanes a) {
    return {_mm256_slli_epi16(a.v, n)};
}
template <int n>
Lanes shiftRight(Lanes a) {
    return {_mm256_srai_epi16(a.v, n)};
}
template <int n>
Lanes shiftRightUnsigned(Lanes a) {
    return {_mm256_srli_epi16(a.v, n)};
}

// Vectors of a row, moved by one or two samples.
inline Lanes twoBehind(Lanes here, Lanes right) {
    return {_mm256_alignr_epi8(_mm256_permute2x128_si256(here.v, right.v, 0x21), here.v, 4)};
}
inline Lanes behind(Lanes here, Lanes right) {
    return {_mm256_alignr_epi8(_mm256_permute2x128_si256(here.v, right.v, 0x21), here.v, 2)};
}
inline Lanes before(Lanes left, Lanes here) {
    return {_mm256_alignr_epi8(here.v, _mm256_permute2x128_si256(left.v, here.v, 0x21), 14)};
}
inline Lanes broadcastFirst(Lanes a) {
    return {_mm256_broadcastw_epi16(_mm256_castsi256_si128(a.v))};
}
inline Lanes broadcastSecond(Lanes a) {
    return {_mm256_broadcastw_epi16(_mm_srli_si128(_mm256_castsi256_si128(a.v), 2))};
}

inline std::pair<Lanes, Lanes> unzip(Lanes low, Lanes high) {
    const __m256i lowWords = _mm256_set1_epi32(0xFFFF);
    const __m256i even = _mm256_packus_epi32(_mm256_and_si256(low.v, lowWords), _mm256_and_si256(high.v, lowWords));
    const __m256i odd = _mm256_packus_epi32(_mm256_srli_epi32(low.v, 16), _mm256_srli_epi32(high.v, 16));
    return {{_mm256_permute4x64_epi64(even, 0xD8)}, {_mm256_permute4x64_epi64(odd, 0xD8)}};
}

inline std::pair<Lanes, Lanes> zip(Lanes even, Lanes odd) {
    const __m256i low = _mm256_unpacklo_epi16(even.v, odd.v);
    const __m256i high = _mm256_unpackhi_epi16(even.v, odd.v);
    return {{_mm256_permute2x128_si256(low, high, 0x20)}, {_mm256_permute2x128_si256(low, high, 0x31)}};
}

#include "fast/rows/rowKernelsAlong.hpp"

#include "fast/rows/rowKernelsNarrow.hpp"

#include "fast/rows/rowKernelsSmallLong.hpp"

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
    static constexpr RowKernels<std::int64_t> kernels = genericRowKernels<std::int64_t>();
    return kernels;
}

} // namespace teko::avx2

TEKO_REGION_END

#endif
