// SPDX-License-Identifier: Apache-2.0
// The AVX-512 intrinsics that the avx512 target takes, for processors without these instructions: those of SIMDe, and
// what follows where that library has none, in standard C++. Included in front of everything else.
#pragma once

#include <immintrin.h>

#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/x86/avx512.h>
#include <simde/x86/gfni.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#define __m512i simde__m512i

namespace teko::simulated {

template <typename Lane>
using Lanes = std::array<Lane, 64 / sizeof(Lane)>;

template <typename Lane>
Lanes<Lane> lanesOf(__m512i vector) {
    return std::bit_cast<Lanes<Lane>>(vector);
}

template <typename Lane>
__m512i vectorOf(const Lanes<Lane>& lanes) {
    return std::bit_cast<__m512i>(lanes);
}

// f(a, b) of the lanes that a mask tells; the others are those of `rest`.
template <typename Lane, typename F>
__m512i masked(__m512i rest, std::uint64_t mask, __m512i a, __m512i b, F f) {
    const auto left = lanesOf<Lane>(a);
    const auto right = lanesOf<Lane>(b);
    auto result = lanesOf<Lane>(rest);
    for (std::size_t i = 0; i < result.size(); ++i) {
        if ((mask >> i & 1) != 0) {
            result[i] = static_cast<Lane>(f(left[i], right[i]));
        }
    }
    return vectorOf<Lane>(result);
}

template <typename Lane, typename F>
__m512i each(__m512i a, __m512i b, F f) {
    return masked<Lane>(a, ~std::uint64_t{0}, a, b, f);
}

// The lanes, among those that a mask tells, for which f(a, b) holds.
template <typename Lane, typename F>
std::uint64_t lanesWhere(std::uint64_t mask, __m512i a, __m512i b, F f) {
    const auto left = lanesOf<Lane>(a);
    const auto right = lanesOf<Lane>(b);
    std::uint64_t result = 0;
    for (std::size_t i = 0; i < left.size(); ++i) {
        result |= std::uint64_t{f(left[i], right[i]) ? 1U : 0U} << i;
    }
    return result & mask;
}

// The lanes of b, then those of a, from lane n of b on.
template <typename Lane>
__m512i alignr(__m512i a, __m512i b, int n) {
    const auto high = lanesOf<Lane>(a);
    const auto low = lanesOf<Lane>(b);
    Lanes<Lane> result;
    for (std::size_t i = 0; i < result.size(); ++i) {
        const std::size_t from = i + static_cast<std::size_t>(n);
        result[i] = from < low.size() ? low[from] : high[from - low.size()];
    }
    return vectorOf<Lane>(result);
}

template <typename To, typename From, typename Vector>
__m512i converted(const Vector& vector) {
    const auto from = std::bit_cast<std::array<From, sizeof(Vector) / sizeof(From)>>(vector);
    Lanes<To> result;
    std::copy(from.begin(), from.end(), result.begin());
    return vectorOf<To>(result);
}

inline __m128i quarter(__m512i vector, int n) {
    using Quarter = std::array<std::uint64_t, 2>;
    return std::bit_cast<__m128i>(std::bit_cast<std::array<Quarter, 4>>(vector)[static_cast<std::size_t>(n)]);
}

// Touches no memory of other lanes.
template <typename Lane>
__m512i loaded(std::uint64_t mask, const void* from) {
    Lanes<Lane> result{};
    for (std::size_t i = 0; i < result.size(); ++i) {
        if ((mask >> i & 1) != 0) {
            std::memcpy(&result[i], static_cast<const unsigned char*>(from) + i * sizeof(Lane), sizeof(Lane));
        }
    }
    return vectorOf<Lane>(result);
}

inline void storeBytes(void* to, std::uint64_t mask, __m512i vector) {
    const auto bytes = lanesOf<std::uint8_t>(vector);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if ((mask >> i & 1) != 0) {
            static_cast<std::uint8_t*>(to)[i] = bytes[i];
        }
    }
}

template <typename Lane>
__m512i compressed(std::uint64_t mask, __m512i vector) {
    const auto lanes = lanesOf<Lane>(vector);
    Lanes<Lane> result{};
    std::size_t n = 0;
    for (std::size_t i = 0; i < lanes.size(); ++i) {
        if ((mask >> i & 1) != 0) {
            result[n++] = lanes[i];
        }
    }
    return vectorOf<Lane>(result);
}

inline int orOfWords(__m512i vector) {
    std::uint32_t result = 0;
    for (const std::uint32_t lane : lanesOf<std::uint32_t>(vector)) {
        result |= lane;
    }
    return static_cast<int>(result);
}

// a above b, shifted left by n: the high half of that.
template <typename Lane>
__m512i shiftedLeft(__m512i a, __m512i b, int n) {
    constexpr int width = 8 * static_cast<int>(sizeof(Lane));
    return each<Lane>(
        a, b, [n](Lane high, Lane low) { return (std::uint64_t{high} << width | std::uint64_t{low}) << n >> width; });
}

} // namespace teko::simulated

#undef _mm512_alignr_epi32
#define _mm512_alignr_epi32 teko::simulated::alignr<std::uint32_t>
#undef _mm512_alignr_epi64
#define _mm512_alignr_epi64 teko::simulated::alignr<std::uint64_t>
#undef _mm512_cmpgt_epu32_mask
#define _mm512_cmpgt_epu32_mask(a, b)                                                                                  \
    static_cast<std::uint16_t>(teko::simulated::lanesWhere<std::uint32_t>(                                             \
        0xFFFF, a, b, [](std::uint32_t x, std::uint32_t y) { return x > y; }))
#undef _mm512_mask_cmpge_epu32_mask
#define _mm512_mask_cmpge_epu32_mask(mask, a, b)                                                                       \
    static_cast<std::uint16_t>(teko::simulated::lanesWhere<std::uint32_t>(                                             \
        mask, a, b, [](std::uint32_t x, std::uint32_t y) { return x >= y; }))
#undef _mm512_mask_testn_epi8_mask
#define _mm512_mask_testn_epi8_mask(mask, a, b)                                                                        \
    teko::simulated::lanesWhere<std::uint8_t>(mask, a, b, [](unsigned x, unsigned y) { return (x & y) == 0; })
#undef _mm512_cvtepi8_epi32
#define _mm512_cvtepi8_epi32 teko::simulated::converted<std::int32_t, std::int8_t>
#undef _mm512_cvtepu8_epi32
#define _mm512_cvtepu8_epi32 teko::simulated::converted<std::uint32_t, std::uint8_t>
#undef _mm512_cvtepu8_epi16
#define _mm512_cvtepu8_epi16 teko::simulated::converted<std::uint16_t, std::uint8_t>
#undef _mm512_extracti64x2_epi64
#define _mm512_extracti64x2_epi64 teko::simulated::quarter
#undef _mm512_mask_storeu_epi8
#define _mm512_mask_storeu_epi8 teko::simulated::storeBytes
#undef _mm512_maskz_loadu_epi8
#define _mm512_maskz_loadu_epi8 teko::simulated::loaded<std::uint8_t>
#undef _mm512_maskz_loadu_epi16
#define _mm512_maskz_loadu_epi16 teko::simulated::loaded<std::uint16_t>
#undef _mm512_maskz_loadu_epi32
#define _mm512_maskz_loadu_epi32 teko::simulated::loaded<std::uint32_t>
#undef _mm512_maskz_compress_epi8
#define _mm512_maskz_compress_epi8 teko::simulated::compressed<std::uint8_t>
#undef _mm512_mask_sub_epi16
#define _mm512_mask_sub_epi16(rest, mask, a, b)                                                                        \
    teko::simulated::masked<std::uint16_t>(rest, mask, a, b, [](int x, int y) { return x - y; })
#undef _mm512_maskz_sllv_epi32
#define _mm512_maskz_sllv_epi32(mask, a, b)                                                                            \
    teko::simulated::masked<std::uint32_t>(_mm512_setzero_si512(), mask, a, b,                                         \
                                           [](std::uint32_t x, std::uint32_t y) { return y < 32 ? x << y : 0; })
#undef _mm512_mulhi_epu16
#define _mm512_mulhi_epu16(a, b)                                                                                       \
    teko::simulated::each<std::uint16_t>(a, b, [](std::uint32_t x, std::uint32_t y) { return x * y >> 16; })
#undef _mm512_srai_epi32
#define _mm512_srai_epi32(a, n) teko::simulated::each<std::int32_t>(a, a, [](int x, int) { return x >> (n); })
#undef _mm512_reduce_or_epi32
#define _mm512_reduce_or_epi32 teko::simulated::orOfWords
#undef _mm512_shldi_epi16
#define _mm512_shldi_epi16 teko::simulated::shiftedLeft<std::uint16_t>
#undef _mm512_shldi_epi32
#define _mm512_shldi_epi32 teko::simulated::shiftedLeft<std::uint32_t>
#undef _mm512_shrdi_epi32
#define _mm512_shrdi_epi32(a, b, n) teko::simulated::shiftedLeft<std::uint32_t>(b, a, 32 - (n))
