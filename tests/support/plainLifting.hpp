// SPDX-License-Identifier: Apache-2.0
// The lifting filter as its formulas say it, one sample after the other and without edge slots, fixed strides
// or fast paths: what the filter's routines are compared with. For samples below 2^40.
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

namespace teko::plain {

// What a predict sum of 16-bit samples keeps: all its bits, or its low 16.
enum class PredictWidth { exact, wrapped };

struct PredictWidths {
    PredictWidth interior;
    PredictWidth boundary;
};

constexpr PredictWidths forwardKernel{PredictWidth::wrapped, PredictWidth::wrapped};
constexpr PredictWidths inverseKernel{PredictWidth::exact, PredictWidth::exact};
constexpr PredictWidths strided{PredictWidth::wrapped, PredictWidth::exact};

// The position within 0 .. n - 1 that a position is mirrored to, about the first and the last sample.
inline long mirrored(long position, long n) {
    while (position < 0 || position >= n) {
        position = position < 0 ? -position : 2 * (n - 1) - position;
    }
    return position;
}

// a / m, halves away from zero; exact for powers of two and |a| < 2^53.
inline long roundedQuotient(long a, long m) {
    return std::lround(static_cast<double>(a) / static_cast<double>(m));
}

inline long scaled(long v) {
    return roundedQuotient(152 * v, 128);
}

inline long unscaled(long y) {
    return (128 * y + (y < 0 ? -64 : 64)) / 152;
}

inline bool isBoundary(long i, long n) {
    return i == 1 || i >= n - 3;
}

template <typename T>
long sampleAt(const std::vector<T>& x, long position) {
    return x[static_cast<std::size_t>(mirrored(position, static_cast<long>(x.size())))];
}

template <typename T>
long predictSum(const std::vector<T>& x, long i) {
    return 9 * (sampleAt(x, i - 1) + sampleAt(x, i + 1)) - (sampleAt(x, i - 3) + sampleAt(x, i + 3));
}

template <typename T>
bool fitsSample(long value) {
    return static_cast<T>(value) == value;
}

template <typename T>
long prediction(const std::vector<T>& x, long i, PredictWidths widths) {
    const PredictWidth width = isBoundary(i, static_cast<long>(x.size())) ? widths.boundary : widths.interior;
    const long sum = predictSum(x, i);
    return roundedQuotient(width == PredictWidth::wrapped ? static_cast<T>(sum) : sum, 16);
}

template <typename T>
long updateTerm(const std::vector<T>& x, long i) {
    return roundedQuotient(sampleAt(x, i - 1) + sampleAt(x, i + 1), 4);
}

template <typename T>
std::vector<T> forward(std::vector<T> x, PredictWidths widths) {
    const long n = static_cast<long>(x.size());
    if (n < 2) {
        return x;
    }
    for (long i = 1; i < n; i += 2) {
        T& odd = x[static_cast<std::size_t>(i)];
        odd = static_cast<T>(odd - prediction(x, i, widths));
    }
    for (long i = 0; i < n; i += 2) {
        T& even = x[static_cast<std::size_t>(i)];
        even = static_cast<T>(scaled(even + updateTerm(x, i)));
    }
    return x;
}

// The first half of the inverse: even positions hold samples again, odd positions coefficients still.
template <typename T>
std::vector<T> withEvensRestored(std::vector<T> x) {
    for (long i = 0; i < static_cast<long>(x.size()); i += 2) {
        T& even = x[static_cast<std::size_t>(i)];
        even = static_cast<T>(unscaled(even) - updateTerm(x, i));
    }
    return x;
}

template <typename T>
std::vector<T> inverse(std::vector<T> x, PredictWidths widths) {
    const long n = static_cast<long>(x.size());
    if (n < 2) {
        return x;
    }
    x = withEvensRestored(x);
    for (long i = 1; i < n; i += 2) {
        T& odd = x[static_cast<std::size_t>(i)];
        odd = static_cast<T>(odd + prediction(x, i, widths));
    }
    return x;
}

} // namespace teko::plain
