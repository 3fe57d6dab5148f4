// SPDX-License-Identifier: Apache-2.0
// Folded values and their bit planes.
//
// A folded value is a coefficient as an unsigned number with its sign in bit 0 and its magnitude above:
//
//   coefficient   0  1  -1  2  -2  3  -3
//   folded        0  2   3  4   5  6   7
//
// Folded values live in the planes in the coefficients' place and have the planes' type; results keep its low bits. The
// bit planes are those of the magnitudes: which are coded, and what a plane contributes to a value while decoding.
#pragma once

#include <bit>
#include <cassert>
#include <type_traits>

namespace teko {

template <typename T>
using Unsigned = std::make_unsigned_t<T>;

template <typename T>
constexpr T fold(T coefficient) {
    const auto doubled = static_cast<Unsigned<T>>(static_cast<Unsigned<T>>(coefficient) << 1);
    return static_cast<T>(static_cast<Unsigned<T>>(coefficient < 0 ? 1U - doubled : doubled));
}

template <typename T>
constexpr T unfold(T folded) {
    const auto magnitude = static_cast<Unsigned<T>>(folded >> 1);
    return static_cast<T>(static_cast<Unsigned<T>>((folded & 1) != 0 ? 0U - magnitude : magnitude));
}

template <typename T>
constexpr T magnitudeOf(T folded) {
    return static_cast<T>(folded >> 1);
}

template <typename T>
constexpr unsigned signBitOf(T folded) {
    return static_cast<unsigned>(folded & 1);
}

// The number of significant bits: 0 for 0, 1 for 1, 3 for 5.
template <typename T>
constexpr int bitLength(T value) {
    return static_cast<int>(std::bit_width(static_cast<Unsigned<T>>(value)));
}

// Bits of a sample: the number of bit lengths that a folded value can have below the sign bit, and with that
// the room for planes in every table.
template <typename T>
constexpr int sampleBits = 8 * static_cast<int>(sizeof(T));

// The highest plane that can be coded: folded values stay positive (13 for short, 61 for long).
template <typename T>
constexpr int highestPlane = sampleBits<T> - 3;

// The highest plane that the stream of an image codes, from the OR of all its magnitudes: that of the highest
// bit set, and 0 when there is none.
template <typename T>
constexpr int topPlaneOf(Unsigned<T> magnitudes) {
    return magnitudes == 0 ? 0 : bitLength(magnitudes) - 1;
}

// Of the number of the top plane, with which a coded stream starts.
constexpr int topPlaneBits = 8;

// Plane b in a folded value that is being decoded. A value that became significant at plane b starts in the
// middle of its interval, at magnitude 2^b + 2^(b-1), and every refinement moves it to the middle of a half.
// Planes beyond the sample's width, which only damaged streams name, lose their bits and find nothing
// significant.
template <typename T>
struct PlaneWeights {
    T planeBit;            // carries bit b of the magnitude
    T midpointBit;         // half of it, and none in plane 0
    T significanceLimit;   // folded values from here on became significant in a higher plane
    bool limitIsReachable; // whether the type holds the limit at all

    static constexpr PlaneWeights of(int b) {
        return {power(b + 1), b == 0 ? T{0} : power(b), power(b + 2), b + 2 < sampleBits<T> - 1};
    }

    constexpr bool isSignificant(T folded) const { return limitIsReachable && folded >= significanceLimit; }

    constexpr T atSignificance(unsigned sign) const {
        return static_cast<T>(planeBit | midpointBit | static_cast<T>(sign));
    }

    constexpr T refined(T folded, unsigned bit) const {
        const T kept = static_cast<T>(folded & static_cast<T>(~(significanceLimit - 2)));
        return static_cast<T>(kept | (bit != 0 ? planeBit : T{0}) | midpointBit);
    }

private:
    static constexpr T power(int exponent) {
        assert(exponent >= 0);
        return exponent < sampleBits<T> ? static_cast<T>(Unsigned<T>{1} << exponent) : T{0};
    }
};

} // namespace teko
