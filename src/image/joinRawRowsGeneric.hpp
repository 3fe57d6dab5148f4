// Joining raw rows in standard C++. Included once per target, inside its region and namespace: the compiler finds the
// vectors. No include guard, no includes.

inline void joinBytes(const SplitSamples<short>& samples, int width, unsigned char* __restrict raw) {
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

// Pixels first, first + 2, ...: those at even places or those at odd ones. The transform is that of
// colourTransform.hpp.
inline void joinColourPixels(int first, const short* luminance, const short* red, const short* blue, int width,
                             unsigned char* __restrict raw) {
    for (int x = first; x < width; x += 2) {
        const int u = red[x / 2];
        const int v = blue[x / 2];
        const int g = luminance[x / 2] - ((u + v) >> 2);
        raw[3 * x] = static_cast<unsigned char>((u + g) & 0xFF);
        raw[3 * x + 1] = static_cast<unsigned char>(g & 0xFF);
        raw[3 * x + 2] = static_cast<unsigned char>((v + g) & 0xFF);
    }
}

// From pixel `from` on, which is at an even place.
inline void joinColoursFrom(int from, const SplitSamples<short>* channels, int width, unsigned char* raw) {
    joinColourPixels(from, channels[0].even, channels[1].even, channels[2].even, width, raw);
    joinColourPixels(from + 1, channels[0].odd, channels[1].odd, channels[2].odd, width, raw);
}

inline void joinColours(const SplitSamples<short>* channels, int width, unsigned char* raw) {
    joinColoursFrom(0, channels, width, raw);
}
