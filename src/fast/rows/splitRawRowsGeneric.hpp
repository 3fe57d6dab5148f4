// SPDX-License-Identifier: Apache-2.0
// Splitting raw rows in standard C++. Included once per target, inside its region and namespace: the compiler finds the
// vectors. No include guard, no includes.

inline void splitBytes(const unsigned char* __restrict raw, int width, const SplitSamples<std::int16_t>& samples) {
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

inline void splitWords(const unsigned char* __restrict raw, int width, const SplitSamples<int>& samples) {
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

inline unsigned splitSmallWords(const unsigned char* __restrict raw, int width,
                                const SplitSamples<std::int16_t>& samples) {
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

// Pixels first, first + 2, ...: those at even places or those at odd ones. The transform is that of
// colourTransform.hpp.
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
                             const SplitSamples<std::int16_t>* channels) {
    splitColourPixels(from, raw, width, channels[0].even, channels[1].even, channels[2].even);
    splitColourPixels(from + 1, raw, width, channels[0].odd, channels[1].odd, channels[2].odd);
}

inline void splitColours(const unsigned char* raw, int width, const SplitSamples<std::int16_t>* channels) {
    splitColoursFrom(0, raw, width, channels);
}
