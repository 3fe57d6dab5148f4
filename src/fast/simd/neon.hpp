// SPDX-License-Identifier: Apache-2.0
// Lanes with NEON, of AArch64. Its bits are those of standard C++.
#pragma once

#if !defined(TEKO_FOR_NEON)
#define TEKO_FOR_NEON
#endif
#include "fast/simd/forTarget.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

struct Lanes {
    using Row = std::int16_t;
    static constexpr int count = 8;
    int16x8_t v;

    static Lanes load(const Row* x) { return {vld1q_s16(x)}; }
    static Lanes loadBytes(const unsigned char* bytes) { return {vreinterpretq_s16_u8(vld1q_u8(bytes))}; }
    static Lanes all(int value) { return {vdupq_n_s16(static_cast<Row>(value))}; }
    void store(Row* x) const { vst1q_s16(x, v); }
    void storeBytes(unsigned char* bytes) const { vst1q_u8(bytes, vreinterpretq_u8_s16(v)); }
};

struct LanePair {
    Lanes first;
    Lanes second;
};

struct WideLanes {
    using Row = int;
    static constexpr int count = 4;
    int32x4_t v;

    static WideLanes load(const Row* x) { return {vld1q_s32(x)}; }
    static WideLanes loadBytes(const unsigned char* bytes) { return {vreinterpretq_s32_u8(vld1q_u8(bytes))}; }
    static WideLanes all(int value) { return {vdupq_n_s32(value)}; }
    void store(Row* x) const { vst1q_s32(x, v); }
    void storeBytes(unsigned char* bytes) const { vst1q_u8(bytes, vreinterpretq_u8_s32(v)); }
};

struct ByteLanes {
    static constexpr int count = 16;
    uint8x16_t v;

    void store(unsigned char* bytes) const { vst1q_u8(bytes, v); }
};

inline Lanes operator+(Lanes a, Lanes b) {
    return {vaddq_s16(a.v, b.v)};
}
inline Lanes operator-(Lanes a, Lanes b) {
    return {vsubq_s16(a.v, b.v)};
}
inline Lanes operator&(Lanes a, Lanes b) {
    return {vandq_s16(a.v, b.v)};
}
inline Lanes operator|(Lanes a, Lanes b) {
    return {vorrq_s16(a.v, b.v)};
}
inline Lanes operator^(Lanes a, Lanes b) {
    return {veorq_s16(a.v, b.v)};
}
inline Lanes addSaturated(Lanes a, Lanes b) {
    return {vqaddq_s16(a.v, b.v)};
}
// It doubles the product and saturates, which matters only for the product of the two least samples.
inline Lanes mulhrs(Lanes a, Lanes b) {
    return {vqrdmulhq_s16(a.v, b.v)};
}
inline Lanes mulhiUnsigned(Lanes a, Lanes b) {
    const uint16x8_t x = vreinterpretq_u16_s16(a.v);
    const uint16x8_t y = vreinterpretq_u16_s16(b.v);
    const uint32x4_t low = vmull_u16(vget_low_u16(x), vget_low_u16(y));
    const uint32x4_t high = vmull_high_u16(x, y);
    return {vreinterpretq_s16_u16(vuzp2q_u16(vreinterpretq_u16_u32(low), vreinterpretq_u16_u32(high)))};
}
inline Lanes absolute(Lanes a) {
    return {vabsq_s16(a.v)};
}
inline Lanes smaller(Lanes a, Lanes b) {
    return {vminq_s16(a.v, b.v)};
}
inline Lanes larger(Lanes a, Lanes b) {
    return {vmaxq_s16(a.v, b.v)};
}
inline Lanes isNegative(Lanes a) {
    return {vshrq_n_s16(a.v, 15)};
}
inline Lanes withSignOf(Lanes a, Lanes sign) {
    const int16x8_t negative = vshrq_n_s16(sign.v, 15);
    return {vsubq_s16(veorq_s16(a.v, negative), negative)};
}
template <int n>
Lanes shiftLeft(Lanes a) {
    return {vshlq_n_s16(a.v, n)};
}
template <int n>
Lanes shiftRight(Lanes a) {
    return {vshrq_n_s16(a.v, n)};
}
template <int n>
Lanes shiftRightUnsigned(Lanes a) {
    return {vreinterpretq_s16_u16(vshrq_n_u16(vreinterpretq_u16_s16(a.v), n))};
}
inline Lanes shiftRightUnsigned(Lanes a, int n) {
    const int16x8_t left = vdupq_n_s16(static_cast<std::int16_t>(-n));
    return {vreinterpretq_s16_u16(vshlq_u16(vreinterpretq_u16_s16(a.v), left))};
}
// A shift with insertion brings the magnitude in above the sign.
inline Lanes folded(Lanes a) {
    const uint16x8_t sign = vshrq_n_u16(vreinterpretq_u16_s16(a.v), 15);
    return {vreinterpretq_s16_u16(vsliq_n_u16(sign, vreinterpretq_u16_s16(vabsq_s16(a.v)), 1))};
}
inline bool haveBits(Lanes a, Lanes bits) {
    return vmaxvq_u16(vreinterpretq_u16_s16(vandq_s16(a.v, bits.v))) != 0;
}
inline std::uint16_t allOf(Lanes a) {
    const uint16x8_t words = vreinterpretq_u16_s16(a.v);
    const uint64_t four = vget_lane_u64(vreinterpret_u64_u16(vorr_u16(vget_low_u16(words), vget_high_u16(words))), 0);
    const uint64_t two = four | four >> 32;
    return static_cast<std::uint16_t>(two | two >> 16);
}

inline Lanes twoBehind(Lanes here, Lanes right) {
    return {vextq_s16(here.v, right.v, 2)};
}
inline Lanes behind(Lanes here, Lanes right) {
    return {vextq_s16(here.v, right.v, 1)};
}
inline Lanes before(Lanes left, Lanes here) {
    return {vextq_s16(left.v, here.v, 7)};
}
inline Lanes broadcastFirst(Lanes a) {
    return {vdupq_laneq_s16(a.v, 0)};
}
inline Lanes broadcastSecond(Lanes a) {
    return {vdupq_laneq_s16(a.v, 1)};
}

inline LanePair unzip(Lanes low, Lanes high) {
    return {{vuzp1q_s16(low.v, high.v)}, {vuzp2q_s16(low.v, high.v)}};
}
inline LanePair zip(Lanes even, Lanes odd) {
    return {{vzip1q_s16(even.v, odd.v)}, {vzip2q_s16(even.v, odd.v)}};
}

inline WideLanes operator+(WideLanes a, WideLanes b) {
    return {vaddq_s32(a.v, b.v)};
}
inline WideLanes operator-(WideLanes a, WideLanes b) {
    return {vsubq_s32(a.v, b.v)};
}
inline WideLanes operator&(WideLanes a, WideLanes b) {
    return {vandq_s32(a.v, b.v)};
}
inline WideLanes operator|(WideLanes a, WideLanes b) {
    return {vorrq_s32(a.v, b.v)};
}
inline WideLanes absolute(WideLanes a) {
    return {vabsq_s32(a.v)};
}
template <int n>
WideLanes shiftLeft(WideLanes a) {
    return {vshlq_n_s32(a.v, n)};
}
template <int n>
WideLanes shiftRight(WideLanes a) {
    return {vshrq_n_s32(a.v, n)};
}
inline WideLanes shiftRightUnsigned(WideLanes a, int n) {
    return {vreinterpretq_s32_u32(vshlq_u32(vreinterpretq_u32_s32(a.v), vdupq_n_s32(-n)))};
}
inline WideLanes folded(WideLanes a) {
    const uint32x4_t sign = vshrq_n_u32(vreinterpretq_u32_s32(a.v), 31);
    return {vreinterpretq_s32_u32(vsliq_n_u32(sign, vreinterpretq_u32_s32(vabsq_s32(a.v)), 1))};
}
inline bool haveBits(WideLanes a, WideLanes bits) {
    return vmaxvq_u32(vreinterpretq_u32_s32(vandq_s32(a.v, bits.v))) != 0;
}
inline std::uint32_t allOf(WideLanes a) {
    const uint32x4_t words = vreinterpretq_u32_s32(a.v);
    const uint32x2_t two = vorr_u32(vget_low_u32(words), vget_high_u32(words));
    return vget_lane_u32(two, 0) | vget_lane_u32(two, 1);
}

inline WideLanes twoBehind(WideLanes here, WideLanes right) {
    return {vextq_s32(here.v, right.v, 2)};
}
inline WideLanes behind(WideLanes here, WideLanes right) {
    return {vextq_s32(here.v, right.v, 1)};
}
inline WideLanes before(WideLanes left, WideLanes here) {
    return {vextq_s32(left.v, here.v, 3)};
}
inline WideLanes broadcastFirst(WideLanes a) {
    return {vdupq_laneq_s32(a.v, 0)};
}
inline WideLanes broadcastSecond(WideLanes a) {
    return {vdupq_laneq_s32(a.v, 1)};
}

inline ByteLanes asBytes(Lanes a) {
    return {vreinterpretq_u8_s16(a.v)};
}
inline ByteLanes packBytes(Lanes first, Lanes second) {
    return {vuzp1q_u8(vreinterpretq_u8_s16(first.v), vreinterpretq_u8_s16(second.v))};
}
inline Lanes packWords(WideLanes first, WideLanes second) {
    return {vuzp1q_s16(vreinterpretq_s16_s32(first.v), vreinterpretq_s16_s32(second.v))};
}
inline ByteLanes packBytes(WideLanes a, WideLanes b, WideLanes c, WideLanes d) {
    return packBytes(packWords(a, b), packWords(c, d));
}

// Sixteen pixels.
inline void loadRgb(const unsigned char* raw, Lanes* even, Lanes* odd) {
    const uint8x16x3_t pixels = vld3q_u8(raw);
    for (int c = 0; c < 3; ++c) {
        const uint16x8_t pairs = vreinterpretq_u16_u8(pixels.val[c]);
        even[c] = {vreinterpretq_s16_u16(vandq_u16(pairs, vdupq_n_u16(0xFF)))};
        odd[c] = {vreinterpretq_s16_u16(vshrq_n_u16(pairs, 8))};
    }
}

// Of the lanes, the low bytes.
inline void storeRgb(unsigned char* raw, const Lanes* even, const Lanes* odd) {
    uint8x16x3_t pixels;
    for (int c = 0; c < 3; ++c) {
        pixels.val[c] = vtrn1q_u8(vreinterpretq_u8_s16(even[c].v), vreinterpretq_u8_s16(odd[c].v));
    }
    vst3q_u8(raw, pixels);
}

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
