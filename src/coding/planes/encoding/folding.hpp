// Folding while coefficients are moved. Included once per target that has nothing better, inside its region and
// namespace, after its foldGroups: for what is left the compiler finds the vectors. No include guard, no includes.

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
void takeBytes(const V* __restrict folded, int n, int row, unsigned char* __restrict bytes) {
    for (int i = 0; i < n; ++i) {
        bytes[i] = static_cast<unsigned char>(static_cast<Unsigned<V>>(folded[i]) >> (8 * row));
    }
}

// Appends at most 64 folded values, with the OR of their magnitudes.
template <typename V>
void append(const V* folded, int n, Unsigned<V> magnitudes, FoldedSequence<V>& to) {
    takeBytes(folded, n, 0, to.lowestBytes());
    const int rows = to.rowsNeeded(magnitudes);
    for (int row = 1; row < rows; ++row) {
        takeBytes(folded, n, row, to.higherBytes(row, n));
    }
    to.count += n;
}

constexpr int foldedAtOnce = 64;

template <typename V>
Unsigned<V> fold(const V* samples, int n, FoldedSequence<V>& to) {
    Unsigned<V> magnitudes = 0;
    for (int done = foldGroups(samples, n, to, magnitudes); done < n; done += foldedAtOnce) {
        const int here = std::min(n - done, foldedAtOnce);
        V folded[foldedAtOnce];
        Unsigned<V> magnitudesHere = 0;
        for (int i = 0; i < here; ++i) {
            folded[i] = foldedWith(samples[done + i], magnitudesHere);
        }
        append(folded, here, magnitudesHere, to);
        magnitudes = static_cast<Unsigned<V>>(magnitudes | magnitudesHere);
    }
    return magnitudes;
}

template <typename V>
Unsigned<V> foldPairs(const V* even, const V* odd, int n, FoldedSequence<V>& to) {
    Unsigned<V> magnitudes = 0;
    for (int done = foldGroupsOfPairs(even, odd, n, to, magnitudes); done < n; done += foldedAtOnce) {
        const int here = std::min(n - done, foldedAtOnce);
        V folded[foldedAtOnce];
        Unsigned<V> magnitudesHere = 0;
        for (int i = 0; i < here / 2; ++i) {
            folded[2 * i] = foldedWith(even[done / 2 + i], magnitudesHere);
            folded[2 * i + 1] = foldedWith(odd[done / 2 + i], magnitudesHere);
        }
        if (here % 2 != 0) {
            folded[here - 1] = foldedWith(even[(done + here) / 2], magnitudesHere);
        }
        append(folded, here, magnitudesHere, to);
        magnitudes = static_cast<Unsigned<V>>(magnitudes | magnitudesHere);
    }
    return magnitudes;
}
