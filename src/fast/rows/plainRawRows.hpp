// SPDX-License-Identifier: Apache-2.0
// Raw rows from and to rows whose samples at even and at odd places lie apart, in standard C++: the compiler finds the
// vectors.
#pragma once

#include "fast/rows/rowKernels.hpp"
#include "fast/simd/forTarget.hpp"
#include "image/sampleLimit.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>

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
void clampRow(Row* samples, int n, int limit) {
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

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
