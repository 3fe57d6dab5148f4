// SPDX-License-Identifier: Apache-2.0
// Folded values: a coefficient as an unsigned number with its sign in bit 0 and its magnitude above.
//
//   coefficient   0  1  -1  2  -2  3  -3
//   folded        0  2   3  4   5  6   7
//
// They live in the planes in the coefficients' place and have the planes' type; results keep its low bits.
#pragma once

#include <bit>
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

} // namespace teko
