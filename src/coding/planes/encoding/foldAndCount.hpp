// The encoder's first pass: folding and counting. Included once per target, inside its region and namespace, after
// its bit lengths and classRows.hpp. No include guard, no includes.

// Folds a row in place; returns the OR of the magnitudes.
template <typename T>
Unsigned<T> foldRow(T* __restrict row, int n) {
    Unsigned<T> magnitudes = 0;
    for (int i = 0; i < n; ++i) {
        const T sign = static_cast<T>(row[i] >> (sampleBits<T> - 1));
        const auto magnitude =
            static_cast<Unsigned<T>>(static_cast<Unsigned<T>>(row[i] ^ sign) - static_cast<Unsigned<T>>(sign));
        magnitudes = static_cast<Unsigned<T>>(magnitudes | magnitude);
        row[i] = static_cast<T>(static_cast<Unsigned<T>>(magnitude << 1) - static_cast<Unsigned<T>>(sign));
    }
    return magnitudes;
}

template <typename T>
Unsigned<T> foldAndCount(ImageData<T>& image, int levels, BitLengthHistogram<T>& histogram) {
    Unsigned<T> all = 0;
    const RowSplitter<T> splitter(image.width, levels);
    for (int channel = 0; channel < image.channels; ++channel) {
        for (int y = 0; y < image.height; ++y) {
            T* row = image.planes[channel] + static_cast<long>(y) * image.stride;
            const Unsigned<T> magnitudes = foldRow(row, image.width);
            all = static_cast<Unsigned<T>>(all | magnitudes);
            const int longest = std::min(bitLength(magnitudes) + 1, 8 * static_cast<int>(sizeof(Value<T>)) - 1);
            splitter.forPieces(row, y, image.width, [&](int c, const Value<T>* values, int n) {
                countLengths(values, n, longest, histogram.bitLengthCount[channel][c]);
            });
        }
    }
    return all;
}
