// Splitting raw rows in standard C++. Included once per target, inside its region and namespace: the compiler finds the
// vectors. No include guard, no includes.

inline void splitBytes(const unsigned char* __restrict raw, int width, const SplitSamples<short>& samples) {
    short* __restrict even = samples.even;
    short* __restrict odd = samples.odd;
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

// From pixel `from` on, which is at an even place.
inline void splitRgbFrom(int from, const unsigned char* __restrict raw, int width,
                         const SplitSamples<short>* channels) {
    for (int c = 0; c < 3; ++c) {
        short* __restrict even = channels[c].even;
        short* __restrict odd = channels[c].odd;
        for (int x = from; x < width; x += 2) {
            even[x / 2] = raw[3 * x + c];
        }
        for (int x = from + 1; x < width; x += 2) {
            odd[x / 2] = raw[3 * x + c];
        }
    }
}

inline void splitRgb(const unsigned char* raw, int width, const SplitSamples<short>* channels) {
    splitRgbFrom(0, raw, width, channels);
}
