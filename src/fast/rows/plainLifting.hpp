// SPDX-License-Identifier: Apache-2.0
// Row kernels in standard C++, straight from the arithmetic of the filter: the compiler finds the vectors.
#pragma once

#include "fast/rows/rowKernels.hpp"
#include "fast/simd/forTarget.hpp"
#include "filter/lifting.hpp"

#include <algorithm>
#include <cstdint>
#include <type_traits>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

// A number with the same highest bit as the magnitude, or one less: OR-ed together, such numbers bound all of them.
template <typename T>
constexpr T magnitudeBits(T sample) {
    return static_cast<T>(sample ^ sample >> (8 * static_cast<int>(sizeof(T)) - 1));
}

template <typename T>
constexpr std::int64_t boundFrom(T bits) {
    return std::int64_t{bits} + 1;
}

template <typename Row>
std::int64_t splitRow(const Row* x, int n, Row* __restrict even, Row* __restrict odd) {
    Row bits = 0; // of all magnitudes
    const int pairs = n / 2;
    for (int i = 0; i < pairs; ++i) {
        even[i] = x[2 * i];
        odd[i] = x[2 * i + 1];
        bits = static_cast<Row>(bits | magnitudeBits(even[i]) | magnitudeBits(odd[i]));
    }
    if (n % 2 != 0) {
        even[pairs] = x[n - 1];
        bits = static_cast<Row>(bits | magnitudeBits(even[pairs]));
    }
    return boundFrom(bits);
}

template <typename Row>
std::int64_t largestInRow(const Row* x, int n) {
    Row bits = 0;
    for (int i = 0; i < n; ++i) {
        bits = static_cast<Row>(bits | magnitudeBits(x[i]));
    }
    return boundFrom(bits);
}

template <typename Row>
void extendRange(const Row* x, int n, SampleRange& range) {
    SampleRange extended = range;
    for (int i = 0; i < n; ++i) {
        extended.add(x[i]);
    }
    range = extended;
}

template <typename Row, typename From = Row>
void mergePairs(Row* __restrict x, int n, const From* __restrict even, const From* __restrict odd) {
    const int pairs = n / 2;
    for (int i = 0; i < pairs; ++i) {
        x[2 * i] = static_cast<Row>(even[i]);
        x[2 * i + 1] = static_cast<Row>(odd[i]);
    }
    if (n % 2 != 0) {
        x[n - 1] = static_cast<Row>(even[pairs]);
    }
}

template <typename Row, typename From = Row>
void splitPairs(const From* x, int n, Row* __restrict even, Row* __restrict odd) {
    const int pairs = n / 2;
    for (int i = 0; i < pairs; ++i) {
        even[i] = x[2 * i];
        odd[i] = x[2 * i + 1];
    }
    if (n % 2 != 0) {
        even[pairs] = x[n - 1];
    }
}

inline void splitExtending(const std::int16_t* x, int n, std::int16_t* even, std::int16_t* odd, SampleRange& range) {
    splitPairs(x, n, even, odd);
    extendRange(x, n, range);
}

template <typename From>
void mergeExtending(std::int16_t* x, int n, const From* even, const From* odd, SampleRange& range) {
    mergePairs(x, n, even, odd);
    extendRange(even, (n + 1) / 2, range);
    extendRange(odd, n / 2, range);
}

template <typename Row>
std::int64_t mergeRow(Row* x, int n, const Row* even, const Row* odd) {
    mergePairs(x, n, even, odd);
    return largestInRow(x, n);
}

// rdiv(a, 2^shift): an arithmetic shift rounds halves up, and one less below zero makes that away from zero. In int,
// with no test (1.4 times on the transform of 16-bit images against rdiv in its own width).
template <int shift>
constexpr int roundedShift(int a) {
    return (a + (1 << (shift - 1)) + (a >> 31)) >> shift;
}

template <typename Row, typename Width>
constexpr int prediction(Row farLeft, Row left, Row right, Row farRight) {
    const int sum = 9 * (left + right) - (farLeft + farRight);
    return roundedShift<4>(std::is_same_v<Width, WrappedToSample> ? static_cast<Row>(sum) : sum);
}

// Rows of one image never overlap; without __restrict the loops would test that each time.
template <typename Row, typename Width>
void predictRow(Row* __restrict odd, const Row* farLeft, const Row* left, const Row* right, const Row* farRight,
                int n) {
    for (int i = 0; i < n; ++i) {
        odd[i] = static_cast<Row>(odd[i] - prediction<Row, Width>(farLeft[i], left[i], right[i], farRight[i]));
    }
}

template <typename Row, typename Width>
void unpredictRow(Row* __restrict odd, const Row* farLeft, const Row* left, const Row* right, const Row* farRight,
                  int n) {
    for (int i = 0; i < n; ++i) {
        odd[i] = static_cast<Row>(odd[i] + prediction<Row, Width>(farLeft[i], left[i], right[i], farRight[i]));
    }
}

// scale(v) is rdiv(152 v, 128) = rdiv(19 v, 16), and unscale(y) is (16 |y| + 8) / 19 with the sign of y: the
// smaller factors leave room in 32 bits.
template <typename Row>
void updateRow(Row* __restrict even, const Row* before, const Row* after, int n) {
    for (int i = 0; i < n; ++i) {
        even[i] = static_cast<Row>(roundedShift<4>(19 * (even[i] + roundedShift<2>(before[i] + after[i]))));
    }
}

template <typename Row>
constexpr int unscaledSample(Row y) {
    return divideSymmetric<int>(y, 16 * y, 8, 19);
}

template <typename Row>
void unupdateRow(Row* __restrict even, const Row* before, const Row* after, int n) {
    for (int i = 0; i < n; ++i) {
        even[i] = static_cast<Row>(unscaledSample(even[i]) - roundedShift<2>(before[i] + after[i]));
    }
}

template <typename Row>
void unscaleRow(Row* x, int n, int times) {
    for (int time = 0; time < times; ++time) {
        for (int i = 0; i < n; ++i) {
            x[i] = static_cast<Row>(unscaledSample(x[i]));
        }
    }
}

// One even sample to the left and two to the right, as if the row were mirrored about its ends.
template <typename Row>
void extendEvens(Row* even, int n) {
    const int evens = (n + 1) / 2;
    const int lastButOne = n % 2 == 0 ? evens - 1 : evens - 2;
    even[-1] = even[1];
    even[evens] = even[lastButOne];
    even[evens + 1] = even[lastButOne - 1];
}

// The numbers of the odd samples that come from exact sums, ascending.
struct ExactEnds {
    int at[3];

    explicit ExactEnds(int n) : at{0, n / 2 - 2 + n % 2, n / 2 - 1} {}
};

// Takes a step on odd samples, but keeps those at the ends for the exact one.
template <typename Row, typename Step>
void liftOddAlong(Row* even, Row* odd, int n, Step wrapped, Step exact) {
    const ExactEnds ends(n);
    const Row before[] = {odd[ends.at[0]], odd[ends.at[1]], odd[ends.at[2]]};
    extendEvens(even, n);
    wrapped(odd, even - 1, even, even + 1, even + 2, n / 2);
    for (int i = 0; i < 3; ++i) {
        const Row* const left = even + ends.at[i];
        odd[ends.at[i]] = before[i];
        exact(odd + ends.at[i], left - 1, left, left + 1, left + 2, 1);
    }
}

template <typename Row, typename Step>
void liftEvenAlong(Row* even, Row* odd, int n, Step step) {
    odd[-1] = odd[0];
    odd[n / 2] = odd[n / 2 - 1];
    step(even, odd - 1, odd, (n + 1) / 2);
}

template <typename Row, typename Width>
void transformRowAlong(Row* even, Row* odd, int n) {
    liftOddAlong(even, odd, n, predictRow<Row, Width>, predictRow<Row, Exact>);
    liftEvenAlong(even, odd, n, updateRow<Row>);
}

template <typename Row, typename Width>
void untransformRowAlong(Row* even, Row* odd, int n) {
    liftEvenAlong(even, odd, n, unupdateRow<Row>);
    liftOddAlong(even, odd, n, unpredictRow<Row, Width>, unpredictRow<Row, Exact>);
}

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
