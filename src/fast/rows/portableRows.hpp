// SPDX-License-Identifier: Apache-2.0
// Rows in standard C++: raw rows and colours from and to rows whose samples at even and at odd places lie apart, and
// the lifting steps, straight from the arithmetic of the filter. The compiler finds the vectors. Every target has these
// kernels, for what it does no better by itself and for the ends of rows.
#pragma once

#include "fast/rows/rowKernels.hpp"
#include "fast/simd/forTarget.hpp"
#include "filter/lifting.hpp"
#include "image/sampleLimit.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

inline void splitBytes(const unsigned char* __restrict raw, int width, const PolyphaseRow<std::int16_t>& samples) {
    std::int16_t* __restrict even = samples.even;
    std::int16_t* __restrict odd = samples.odd;
    for (int i = 0; i < width / 2; ++i) {
        even[i] = raw[2 * i];
        odd[i] = raw[2 * i + 1];
    }
    if (width % 2 != 0) {
        even[width / 2] = raw[width - 1];
    }
}

inline void splitWords(const unsigned char* __restrict raw, int width, const PolyphaseRow<int>& samples) {
    int* __restrict even = samples.even;
    int* __restrict odd = samples.odd;
    for (int i = 0; i < width / 2; ++i) {
        even[i] = raw[4 * i] | raw[4 * i + 1] << 8;
        odd[i] = raw[4 * i + 2] | raw[4 * i + 3] << 8;
    }
    if (width % 2 != 0) {
        even[width / 2] = raw[2 * width - 2] | raw[2 * width - 1] << 8;
    }
}

inline unsigned splitWordsTo16(const unsigned char* __restrict raw, int width,
                               const PolyphaseRow<std::int16_t>& samples) {
    std::int16_t* __restrict even = samples.even;
    std::int16_t* __restrict odd = samples.odd;
    int all = 0;
    for (int i = 0; i < width / 2; ++i) {
        const int first = raw[4 * i] | raw[4 * i + 1] << 8;
        const int second = raw[4 * i + 2] | raw[4 * i + 3] << 8;
        even[i] = static_cast<std::int16_t>(first);
        odd[i] = static_cast<std::int16_t>(second);
        all |= first | second;
    }
    if (width % 2 != 0) {
        const int last = raw[2 * width - 2] | raw[2 * width - 1] << 8;
        even[width / 2] = static_cast<std::int16_t>(last);
        all |= last;
    }
    return static_cast<unsigned>(all);
}

// Of pixels first, first + 2, ..., which are those at even places or those at odd ones, the three channels. The
// transform is that of colourTransform.hpp.
inline void splitColourPixels(int first, const unsigned char* __restrict raw, int width,
                              std::int16_t* __restrict luminance, std::int16_t* __restrict red,
                              std::int16_t* __restrict blue) {
    for (int x = first; x < width; x += 2) {
        const int r = raw[3 * x];
        const int g = raw[3 * x + 1];
        const int b = raw[3 * x + 2];
        luminance[x / 2] = static_cast<std::int16_t>((r + 2 * g + b) >> 2);
        red[x / 2] = static_cast<std::int16_t>(r - g);
        blue[x / 2] = static_cast<std::int16_t>(b - g);
    }
}

// From pixel `from` on, which is at an even place.
inline void splitColoursFrom(int from, const unsigned char* raw, int width,
                             const PolyphaseRow<std::int16_t>* channels) {
    splitColourPixels(from, raw, width, channels[0].even, channels[1].even, channels[2].even);
    splitColourPixels(from + 1, raw, width, channels[0].odd, channels[1].odd, channels[2].odd);
}

inline void splitColours(const unsigned char* raw, int width, const PolyphaseRow<std::int16_t>* channels) {
    splitColoursFrom(0, raw, width, channels);
}

inline void joinBytes(const PolyphaseRow<std::int16_t>& samples, int width, unsigned char* __restrict raw) {
    for (int i = 0; i < width / 2; ++i) {
        raw[2 * i] = static_cast<unsigned char>(samples.even[i] & 0xFF);
        raw[2 * i + 1] = static_cast<unsigned char>(samples.odd[i] & 0xFF);
    }
    if (width % 2 != 0) {
        raw[width - 1] = static_cast<unsigned char>(samples.even[width / 2] & 0xFF);
    }
}

template <typename Row>
void joinWords(const PolyphaseRow<Row>& samples, int width, unsigned char* __restrict raw) {
    for (int x = 0; x < width; ++x) {
        const int sample = x % 2 == 0 ? samples.even[x / 2] : samples.odd[x / 2];
        raw[2 * x] = static_cast<unsigned char>(sample & 0xFF);
        raw[2 * x + 1] = static_cast<unsigned char>(sample >> 8 & 0xFF);
    }
}

// What becomes of samples before their low bytes are taken.
struct Unclamped {
    std::int16_t operator()(std::int16_t sample) const { return sample; }
};

struct ClampedBelow {
    int limit;

    template <typename Row>
    Row operator()(Row sample) const {
        return clampedTo(limit, sample);
    }
};

// Samples kept below a limit that is not negative: two operations and no test.
template <typename Row>
struct ClampedInto {
    Row highest;

    explicit ClampedInto(int limit)
        : highest(static_cast<Row>(std::min<int>(limit - 1, std::numeric_limits<Row>::max()))) {}

    Row operator()(Row sample) const { return std::min(std::max(sample, Row{0}), highest); }
};

template <typename Row>
void clampSamples(Row* samples, int n, int limit) {
    if (limit < 0) {
        std::transform(samples, samples + n, samples, ClampedBelow{limit});
    } else {
        std::transform(samples, samples + n, samples, ClampedInto<Row>(limit));
    }
}

// Of pixels first, first + 2, ..., which are those at even places or those at odd ones, the colours. The transform is
// that of colourTransform.hpp.
template <typename Clamp>
void joinColourPixels(int first, const std::int16_t* luminance, const std::int16_t* red, const std::int16_t* blue,
                      int width, Clamp clamp, unsigned char* __restrict raw) {
    for (int x = first; x < width; x += 2) {
        const int u = red[x / 2];
        const int v = blue[x / 2];
        const int g = luminance[x / 2] - ((u + v) >> 2);
        raw[3 * x] = static_cast<unsigned char>(clamp(static_cast<std::int16_t>(u + g)) & 0xFF);
        raw[3 * x + 1] = static_cast<unsigned char>(clamp(static_cast<std::int16_t>(g)) & 0xFF);
        raw[3 * x + 2] = static_cast<unsigned char>(clamp(static_cast<std::int16_t>(v + g)) & 0xFF);
    }
}

// From pixel `from` on, which is at an even place.
template <typename Clamp>
void joinColoursFrom(int from, const PolyphaseRow<std::int16_t>* channels, int width, Clamp clamp, unsigned char* raw) {
    joinColourPixels(from, channels[0].even, channels[1].even, channels[2].even, width, clamp, raw);
    joinColourPixels(from + 1, channels[0].odd, channels[1].odd, channels[2].odd, width, clamp, raw);
}

inline void joinColours(const PolyphaseRow<std::int16_t>* channels, int width, unsigned char* raw) {
    joinColoursFrom(0, channels, width, Unclamped{}, raw);
}

inline void joinColoursBelowFrom(int from, const PolyphaseRow<std::int16_t>* channels, int width, int limit,
                                 unsigned char* raw) {
    if (limit < 0) {
        joinColoursFrom(from, channels, width, ClampedBelow{limit}, raw);
    } else {
        joinColoursFrom(from, channels, width, ClampedInto<std::int16_t>(limit), raw);
    }
}

inline void joinColoursBelow(const PolyphaseRow<std::int16_t>* channels, int width, int limit, unsigned char* raw) {
    joinColoursBelowFrom(0, channels, width, limit, raw);
}

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
std::int64_t boundOfRow(const Row* x, int n) {
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
    return boundOfRow(x, n);
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
