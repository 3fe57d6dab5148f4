// SPDX-License-Identifier: Apache-2.0
// Lanes and bits with AVX-512, GFNI.
#pragma once

#if !defined(TEKO_FOR_AVX512)
#define TEKO_FOR_AVX512
#endif
#include "fast/simd/forTarget.hpp"

#include <cstdint>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

// A one for each of the first n lanes, of 64 at most.
inline std::uint64_t firstLanes(int n) {
    return n <= 0 ? 0 : ~std::uint64_t{0} >> (64 - n);
}

struct Lanes {
    using Row = std::int16_t;
    static constexpr int count = 32;
    __m512i v;

    static Lanes load(const Row* x) { return {_mm512_loadu_si512(x)}; }
    static Lanes loadPart(const Row* x, int n) {
        return {_mm512_maskz_loadu_epi16(static_cast<__mmask32>(firstLanes(n)), x)};
    }
    static Lanes loadBytes(const unsigned char* bytes) { return {_mm512_loadu_si512(bytes)}; }
    static Lanes all(int value) { return {_mm512_set1_epi16(static_cast<Row>(value))}; }
    void store(Row* x) const { _mm512_storeu_si512(x, v); }
    void storeBytes(unsigned char* bytes) const { _mm512_storeu_si512(bytes, v); }
};

struct LanePair {
    Lanes first;
    Lanes second;
};

struct WideLanes {
    using Row = int;
    static constexpr int count = 16;
    __m512i v;

    static WideLanes load(const Row* x) { return {_mm512_loadu_si512(x)}; }
    static WideLanes loadPart(const Row* x, int n) {
        return {_mm512_maskz_loadu_epi32(static_cast<__mmask16>(firstLanes(n)), x)};
    }
    static WideLanes loadBytes(const unsigned char* bytes) { return {_mm512_loadu_si512(bytes)}; }
    static WideLanes all(int value) { return {_mm512_set1_epi32(value)}; }
    void store(Row* x) const { _mm512_storeu_si512(x, v); }
    void storeBytes(unsigned char* bytes) const { _mm512_storeu_si512(bytes, v); }
};

struct ByteLanes {
    static constexpr int count = 64;
    __m512i v;

    void store(unsigned char* bytes) const { _mm512_storeu_si512(bytes, v); }
    void storePart(unsigned char* bytes, int n) const { _mm512_mask_storeu_epi8(bytes, firstLanes(n), v); }
};

inline Lanes operator+(Lanes a, Lanes b) {
    return {_mm512_add_epi16(a.v, b.v)};
}
inline Lanes operator-(Lanes a, Lanes b) {
    return {_mm512_sub_epi16(a.v, b.v)};
}
inline Lanes operator&(Lanes a, Lanes b) {
    return {_mm512_and_si512(a.v, b.v)};
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
}
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
inline Lanes shiftRightUnsigned(Lanes a, int n) {
    return {_mm512_srl_epi16(a.v, _mm_cvtsi32_si128(n))};
}
// One shift brings the sign in behind the magnitude.
inline Lanes folded(Lanes a) {
    return {_mm512_shldi_epi16(_mm512_abs_epi16(a.v), a.v, 1)};
}
inline bool haveBits(Lanes a, Lanes bits) {
    return _mm512_test_epi16_mask(a.v, bits.v) != 0;
}
inline std::uint16_t allOf(Lanes a) {
    const auto pairs = static_cast<std::uint32_t>(_mm512_reduce_or_epi32(a.v));
    return static_cast<std::uint16_t>(pairs | pairs >> 16);
}

// By pairs of samples first.
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

// The bytes of a vector: those of samples at even places, then those of samples at odd ones.
struct UnzippedSamples {
    alignas(64) unsigned char places[64];

    constexpr UnzippedSamples() : places() {
        for (unsigned i = 0; i < 64; ++i) {
            places[i] = static_cast<unsigned char>(i % 32 / 2 * 4 + i / 32 * 2 + i % 2);
        }
    }
};

inline constexpr UnzippedSamples unzippedSamples;

// Four shuffles, where masks, shifts and packing take eight operations.
inline LanePair unzip(Lanes low, Lanes high) {
    const __m512i places = _mm512_load_si512(unzippedSamples.places);
    const __m512i lowApart = _mm512_permutexvar_epi8(places, low.v);
    const __m512i highApart = _mm512_permutexvar_epi8(places, high.v);
    const __m512i firstHalves = _mm512_setr_epi64(0, 1, 2, 3, 8, 9, 10, 11);
    const __m512i secondHalves = _mm512_setr_epi64(4, 5, 6, 7, 12, 13, 14, 15);
    return {{_mm512_permutex2var_epi64(lowApart, firstHalves, highApart)},
            {_mm512_permutex2var_epi64(lowApart, secondHalves, highApart)}};
}
inline LanePair zip(Lanes even, Lanes odd) {
    const __m512i low = _mm512_unpacklo_epi16(even.v, odd.v);
    const __m512i high = _mm512_unpackhi_epi16(even.v, odd.v);
    const __m512i first = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
    const __m512i second = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
    return {{_mm512_permutex2var_epi64(low, first, high)}, {_mm512_permutex2var_epi64(low, second, high)}};
}

inline WideLanes operator+(WideLanes a, WideLanes b) {
    return {_mm512_add_epi32(a.v, b.v)};
}
inline WideLanes operator-(WideLanes a, WideLanes b) {
    return {_mm512_sub_epi32(a.v, b.v)};
}
inline WideLanes operator&(WideLanes a, WideLanes b) {
    return {_mm512_and_si512(a.v, b.v)};
}
inline WideLanes operator|(WideLanes a, WideLanes b) {
    return {_mm512_or_si512(a.v, b.v)};
}
inline WideLanes absolute(WideLanes a) {
    return {_mm512_abs_epi32(a.v)};
}
template <int n>
WideLanes shiftLeft(WideLanes a) {
    return {_mm512_slli_epi32(a.v, n)};
}
template <int n>
WideLanes shiftRight(WideLanes a) {
    return {_mm512_srai_epi32(a.v, n)};
}
inline WideLanes shiftRightUnsigned(WideLanes a, int n) {
    return {_mm512_srl_epi32(a.v, _mm_cvtsi32_si128(n))};
}
inline WideLanes folded(WideLanes a) {
    return {_mm512_shldi_epi32(_mm512_abs_epi32(a.v), a.v, 1)};
}
inline bool haveBits(WideLanes a, WideLanes bits) {
    return _mm512_test_epi32_mask(a.v, bits.v) != 0;
}
inline std::uint32_t allOf(WideLanes a) {
    return static_cast<std::uint32_t>(_mm512_reduce_or_epi32(a.v));
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

inline ByteLanes asBytes(Lanes a) {
    return {a.v};
}
inline ByteLanes packBytes(Lanes first, Lanes second) {
    const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
    return {_mm512_permutexvar_epi64(order, _mm512_packus_epi16(first.v, second.v))};
}
inline ByteLanes packBytes(WideLanes a, WideLanes b, WideLanes c, WideLanes d) {
    const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    const __m512i all = _mm512_packus_epi16(_mm512_packus_epi32(a.v, b.v), _mm512_packus_epi32(c.v, d.v));
    return {_mm512_permutexvar_epi32(order, all)};
}
inline Lanes packWords(WideLanes first, WideLanes second) {
    const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
    return {_mm512_permutexvar_epi64(order, _mm512_packus_epi32(first.v, second.v))};
}

// Where the bytes of 64 pixels are, in three vectors and in those of the channels: a byte of one of them, as a mask
// tells.
struct RgbPlaces {
    alignas(64) unsigned char gathering[3][64]; // [channel]: in some vector, of even places first
    alignas(64) unsigned char spreading[3][64]; // [vector]: in some channel
    std::uint64_t gatheringMasks[3][3];         // [channel][vector]
    std::uint64_t spreadingMasks[3][3];         // [vector][channel]

    constexpr RgbPlaces() : gathering(), spreading(), gatheringMasks(), spreadingMasks() {
        for (unsigned i = 0; i < 192; ++i) {
            const unsigned byte = 3 * (i % 64 < 32 ? 2 * (i % 64) : 2 * (i % 64 - 32) + 1) + i / 64;
            gathering[i / 64][i % 64] = static_cast<unsigned char>(byte % 64);
            gatheringMasks[i / 64][byte / 64] |= std::uint64_t{1} << i % 64;
            spreading[i / 64][i % 64] = static_cast<unsigned char>(i / 3);
            spreadingMasks[i / 64][i % 3] |= std::uint64_t{1} << i % 64;
        }
    }
};

inline constexpr RgbPlaces rgbPlaces;

// 64 pixels (1.03 times on encodes of photographs cut to 5 %, against 256-bit vectors).
inline void loadRgb(const unsigned char* raw, Lanes* even, Lanes* odd) {
    for (int c = 0; c < 3; ++c) {
        const __m512i places = _mm512_load_si512(rgbPlaces.gathering[c]);
        __m512i bytes = _mm512_setzero_si512();
        for (int i = 0; i < 3; ++i) {
            const __m512i pixels = _mm512_loadu_si512(raw + 64 * i);
            bytes = _mm512_mask_permutexvar_epi8(bytes, rgbPlaces.gatheringMasks[c][i], places, pixels);
        }
        even[c] = {_mm512_cvtepu8_epi16(_mm512_castsi512_si256(bytes))};
        odd[c] = {_mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(bytes, 1))};
    }
}

// Of the lanes, the low bytes (1.08 to 1.15 times on the way from bitmaps to a file in colour, against 256-bit
// vectors).
inline void storeRgb(unsigned char* raw, const Lanes* even, const Lanes* odd) {
    __m512i channels[3];
    for (int c = 0; c < 3; ++c) {
        channels[c] = _mm512_mask_blend_epi8(0xAAAAAAAAAAAAAAAAU, even[c].v, _mm512_slli_epi16(odd[c].v, 8));
    }
    for (int i = 0; i < 3; ++i) {
        const __m512i places = _mm512_load_si512(rgbPlaces.spreading[i]);
        __m512i bytes = _mm512_setzero_si512();
        for (int c = 0; c < 3; ++c) {
            bytes = _mm512_mask_permutexvar_epi8(bytes, rgbPlaces.spreadingMasks[i][c], places, channels[c]);
        }
        _mm512_storeu_si512(raw + 64 * i, bytes);
    }
}

// Transposes the eight bits of each of eight rows, the last row first, all at once: the columns of a matrix are its
// products with the unit vectors.
inline __m512i transpose8x8(__m512i matrices) {
    const __m512i unitVectors = _mm512_set1_epi64(static_cast<long long>(0x8040201008040201ULL));
    return _mm512_gf2p8affine_epi64_epi8(unitVectors, matrices, 0);
}

struct ByteOrders {
    alignas(64) unsigned char lastRowFirst[64]; // in each word
    alignas(64) unsigned char byRow[64];        // byte b of each word to word b

    constexpr ByteOrders() : lastRowFirst(), byRow() {
        for (unsigned i = 0; i < 64; ++i) {
            lastRowFirst[i] = static_cast<unsigned char>(i / 8 * 8 + 7 - i % 8);
            byRow[i] = static_cast<unsigned char>(i % 8 * 8 + i / 8);
        }
    }
};

inline constexpr ByteOrders byteOrders;

// words[b] gets bit b of 64 bytes, for b = 0 .. 7.
inline void sliceBytes(const unsigned char* bytes, std::uint64_t* words) {
    const __m512i matrices =
        _mm512_permutexvar_epi8(_mm512_load_si512(byteOrders.lastRowFirst), _mm512_loadu_si512(bytes));
    _mm512_storeu_si512(words, _mm512_permutexvar_epi8(_mm512_load_si512(byteOrders.byRow), transpose8x8(matrices)));
}

// Which of 64 bytes have bit `lowest` or a higher one.
inline std::uint64_t bytesReaching(const unsigned char* bytes, int lowest) {
    const __m512i bits = _mm512_set1_epi8(static_cast<char>(0xFF << lowest));
    return _mm512_test_epi8_mask(_mm512_loadu_si512(bytes), bits);
}

constexpr int unslicedAtOnce = 8;

// Quarters of a vector, 128 bytes apart.
inline void storeLanes(__m512i vector, unsigned char* to) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm512_castsi512_si128(vector));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 128), _mm512_extracti64x2_epi64(vector, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 256), _mm512_extracti64x2_epi64(vector, 2));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to + 384), _mm512_extracti64x2_epi64(vector, 3));
}

// 64 bytes for each of unslicedAtOnce words from w on: bit b is from rows[b]. Bytes of the rows are brought together by
// interleaving, the last row first as the matrix product wants it.
template <typename RowWord>
void unsliceRows(const RowWord* const* rows, int w, unsigned char* bytes) {
    __m512i pairs[8];
    for (int i = 0; i < 4; ++i) {
        const __m512i upper = _mm512_loadu_si512(rows[7 - 2 * i] + w);
        const __m512i lower = _mm512_loadu_si512(rows[6 - 2 * i] + w);
        pairs[i] = _mm512_unpacklo_epi8(upper, lower);
        pairs[4 + i] = _mm512_unpackhi_epi8(upper, lower);
    }
    for (int half = 0; half < 2; ++half) {
        const __m512i* of = pairs + 4 * half;
        const __m512i fours[4] = {_mm512_unpacklo_epi16(of[0], of[1]), _mm512_unpacklo_epi16(of[2], of[3]),
                                  _mm512_unpackhi_epi16(of[0], of[1]), _mm512_unpackhi_epi16(of[2], of[3])};
        for (int quarter = 0; quarter < 2; ++quarter) {
            const __m512i* both = fours + 2 * quarter;
            unsigned char* to = bytes + 64 * half + 32 * quarter;
            storeLanes(transpose8x8(_mm512_unpacklo_epi32(both[0], both[1])), to);
            storeLanes(transpose8x8(_mm512_unpackhi_epi32(both[0], both[1])), to + 16);
        }
    }
}

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
