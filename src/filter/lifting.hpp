// SPDX-License-Identifier: Apache-2.0
// The arithmetic of the (4,2) lifting filter: every rounding rule and every width, once.
//
// Samples are short or long. Sums are formed in a type that never loses a bit for short samples; for long
// samples they wrap modulo 2^64, which only damaged streams reach.
#pragma once

#include <cstdint>
#include <type_traits>

namespace teko {

template <typename T>
using Wide = std::conditional_t<sizeof(T) == sizeof(std::int16_t), int, std::int64_t>;

template <typename W>
constexpr W wrappingAdd(W a, W b) {
    using U = std::make_unsigned_t<W>;
    return static_cast<W>(static_cast<U>(a) + static_cast<U>(b));
}

template <typename W>
constexpr W wrappingSubtract(W a, W b) {
    using U = std::make_unsigned_t<W>;
    return static_cast<W>(static_cast<U>(a) - static_cast<U>(b));
}

template <typename W>
constexpr W wrappingMultiply(W a, W b) {
    using U = std::make_unsigned_t<W>;
    return static_cast<W>(static_cast<U>(a) * static_cast<U>(b));
}

// (a + offset) / divisor with the offset's sign turned to that of `sign`; the division truncates.
template <typename W>
constexpr W divideSymmetric(W sign, W a, W offset, W divisor) {
    return (sign >= 0 ? wrappingAdd(a, offset) : wrappingSubtract(a, offset)) / divisor;
}

// a / m, halves away from zero.
template <int m, typename W>
constexpr W rdiv(W a) {
    return divideSymmetric<W>(a, a, m / 2, m);
}

// a / 2, halves away from zero: the update term where one neighbour stands for both.
template <typename W>
constexpr W half(W a) {
    return rdiv<2>(a);
}

// The low-pass gain of 152/128.
template <typename W>
constexpr W scale(W v) {
    return divideSymmetric<W>(v, wrappingMultiply<W>(152, v), 64, 128);
}

// Undoes scale. The offset is 64 and not half of 152: only so is unscale(scale(v)) == v for every v.
template <typename W>
constexpr W unscale(W y) {
    return divideSymmetric<W>(y, wrappingMultiply<W>(128, y), 64, 152);
}

// Sixteen times the prediction of an odd sample from its near and far even neighbours.
template <typename W>
constexpr W predictSum(W farLeft, W left, W right, W farRight) {
    return wrappingSubtract(wrappingMultiply<W>(9, wrappingAdd(left, right)), wrappingAdd(farLeft, farRight));
}
// Half of that where the neighbours on the right are the same as those on the left.
template <typename W>
constexpr W halfPredictSum(W farLeft, W left) {
    return wrappingSubtract(wrappingMultiply<W>(9, left), farLeft);
}

// How a predict sum becomes a prediction: kept to the sample's width first, as it is, or, where both neighbours on the
// right are mirror images of those on the left, from half the sum. Half a sum of long samples can have another sign
// than the sum, which then wrapped; rounding goes by the half.
struct WrappedToSample {
    template <typename T>
    static constexpr Wide<T> prediction(Wide<T> sum) {
        return rdiv<16, Wide<T>>(static_cast<T>(sum));
    }
};
struct Exact {
    template <typename T>
    static constexpr Wide<T> prediction(Wide<T> sum) {
        return rdiv<16>(sum);
    }
};
struct Doubled {
    template <typename T>
    static constexpr Wide<T> prediction(Wide<T> halfSum) {
        return divideSymmetric<Wide<T>>(halfSum, wrappingAdd(halfSum, halfSum), 8, 16);
    }
};

// The four lifting steps on one sample; results keep the sample's low bits.
template <typename T, typename Rounding>
constexpr T predicted(T odd, Wide<T> sum) {
    return static_cast<T>(wrappingSubtract<Wide<T>>(odd, Rounding::template prediction<T>(sum)));
}
template <typename T, typename Rounding>
constexpr T unpredicted(T odd, Wide<T> sum) {
    return static_cast<T>(wrappingAdd<Wide<T>>(odd, Rounding::template prediction<T>(sum)));
}
template <typename T>
constexpr T updated(T even, Wide<T> term) {
    return static_cast<T>(scale(wrappingAdd<Wide<T>>(even, term)));
}
template <typename T>
constexpr T unupdated(T even, Wide<T> term) {
    return static_cast<T>(wrappingSubtract(unscale<Wide<T>>(even), term));
}

} // namespace teko
