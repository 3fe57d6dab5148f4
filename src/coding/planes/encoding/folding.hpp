// Folding while coefficients are moved. Included once per target, inside its region and namespace: the compiler finds
// the vectors. No include guard, no includes.

// The folded value; its magnitude is added to `magnitudes`.
template <typename V>
constexpr V foldedWith(V sample, Unsigned<V>& magnitudes) {
    const V sign = static_cast<V>(sample >> (8 * static_cast<int>(sizeof(V)) - 1));
    const auto magnitude =
        static_cast<Unsigned<V>>(static_cast<Unsigned<V>>(sample ^ sign) - static_cast<Unsigned<V>>(sign));
    magnitudes = static_cast<Unsigned<V>>(magnitudes | magnitude);
    return static_cast<V>(static_cast<Unsigned<V>>(magnitude << 1) - static_cast<Unsigned<V>>(sign));
}

template <typename V>
Unsigned<V> fold(const V* __restrict samples, int n, V* __restrict folded) {
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
