// The encoder's first pass: folding and counting. Included once per target, inside its region and namespace, after
// its bit lengths and classRows.hpp. No include guard, no includes.

template <typename V>
constexpr V foldedWith(V sample, Unsigned<V>& magnitudes) {
    const V sign = static_cast<V>(sample >> (8 * static_cast<int>(sizeof(V)) - 1));
    const auto magnitude =
        static_cast<Unsigned<V>>(static_cast<Unsigned<V>>(sample ^ sign) - static_cast<Unsigned<V>>(sign));
    magnitudes = static_cast<Unsigned<V>>(magnitudes | magnitude);
    return static_cast<V>(static_cast<Unsigned<V>>(magnitude << 1) - static_cast<Unsigned<V>>(sign));
}

// Folds a row in place; returns the OR of the magnitudes.
template <typename T>
Unsigned<T> foldRow(T* __restrict row, int n) {
    Unsigned<T> magnitudes = 0;
    for (int i = 0; i < n; ++i) {
        row[i] = foldedWith(row[i], magnitudes);
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

template <typename V>
Unsigned<V> foldInOrder(const V* __restrict samples, int n, V* __restrict folded) {
    Unsigned<V> magnitudes = 0;
    for (int i = 0; i < n; ++i) {
        folded[i] = foldedWith(samples[i], magnitudes);
    }
    return magnitudes;
}

template <typename V>
Unsigned<V> foldPairs(const V* __restrict even, const V* __restrict odd, int n, V* __restrict folded) {
    Unsigned<V> magnitudes = 0;
    for (int i = 0; i < n / 2; ++i) {
        folded[2 * i] = foldedWith(even[i], magnitudes);
        folded[2 * i + 1] = foldedWith(odd[i], magnitudes);
    }
    if (n % 2 != 0) {
        folded[n - 1] = foldedWith(even[n / 2], magnitudes);
    }
    return magnitudes;
}
