// SPDX-License-Identifier: Apache-2.0
// Joining raw rows in standard C++. Included once per target, inside its region and namespace: the compiler finds the
// vectors. No include guard, no includes.

inline void joinBytes(const SplitSamples<std::int16_t>& samples, int width, unsigned char* __restrict raw) {
    for (int i = 0; i < width / 2; ++i) {
        raw[2 * i] = static_cast<unsigned char>(samples.even[i] & 0xFF);
        raw[2 * i + 1] = static_cast<unsigned char>(samples.odd[i] & 0xFF);
    }
    if (width % 2 != 0) {
        raw[width - 1] = static_cast<unsigned char>(samples.even[width / 2] & 0xFF);
    }
}

template <typename Row>
void joinWords(const SplitSamples<Row>& samples, int width, unsigned char* __restrict raw) {
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

// The same below a limit that is not negative: two operations and no test.
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

// Pixels first, first + 2, ...: those at even places or those at odd ones. The transform is that of
// colourTransform.hpp.
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
void joinColoursFrom(int from, const SplitSamples<std::int16_t>* channels, int width, Clamp clamp, unsigned char* raw) {
    joinColourPixels(from, channels[0].even, channels[1].even, channels[2].even, width, clamp, raw);
    joinColourPixels(from + 1, channels[0].odd, channels[1].odd, channels[2].odd, width, clamp, raw);
}

inline void joinColours(const SplitSamples<std::int16_t>* channels, int width, unsigned char* raw) {
    joinColoursFrom(0, channels, width, Unclamped{}, raw);
}

inline void joinColoursBelowFrom(int from, const SplitSamples<std::int16_t>* channels, int width, int limit,
                                 unsigned char* raw) {
    if (limit < 0) {
        joinColoursFrom(from, channels, width, ClampedBelow{limit}, raw);
    } else {
        joinColoursFrom(from, channels, width, ClampedInto<std::int16_t>(limit), raw);
    }
}

inline void joinColoursBelow(const SplitSamples<std::int16_t>* channels, int width, int limit, unsigned char* raw) {
    joinColoursBelowFrom(0, channels, width, limit, raw);
}
