// SPDX-License-Identifier: Apache-2.0
// Folding while coefficients are moved. Included once per target that has nothing better, inside its region and
// namespace, after its foldGroups: for what is left the compiler finds the vectors. No include guard, no includes.

// The folded value; its magnitude is added to `magnitudes`.
template <typename Row>
constexpr Row foldedWith(Row sample, Unsigned<Row>& magnitudes) {
    const Row sign = static_cast<Row>(sample >> (8 * static_cast<int>(sizeof(Row)) - 1));
    const auto magnitude =
        static_cast<Unsigned<Row>>(static_cast<Unsigned<Row>>(sample ^ sign) - static_cast<Unsigned<Row>>(sign));
    magnitudes = static_cast<Unsigned<Row>>(magnitudes | magnitude);
    return static_cast<Row>(static_cast<Unsigned<Row>>(magnitude << 1) - static_cast<Unsigned<Row>>(sign));
}

template <typename Row>
void takeBytes(const Row* __restrict folded, int n, int row, unsigned char* __restrict bytes) {
    for (int i = 0; i < n; ++i) {
        bytes[i] = static_cast<unsigned char>(static_cast<Unsigned<Row>>(folded[i]) >> (8 * row));
    }
}

// Appends at most 64 folded values, with the OR of their magnitudes.
template <typename Row, typename V>
void append(const Row* folded, int n, Unsigned<Row> magnitudes, FoldedSequence<V>& to) {
    takeBytes(folded, n, 0, to.lowestBytes());
    const int rows = to.rowsNeeded(magnitudes);
    for (int row = 1; row < rows; ++row) {
        takeBytes(folded, n, row, to.higherBytes(row, n));
    }
    to.count += n;
}

constexpr int foldedAtOnce = 64;

template <typename Row, typename V>
Unsigned<Row> fold(const Row* samples, int n, FoldedSequence<V>& to) {
    Unsigned<Row> magnitudes = 0;
    for (int done = foldGroups(samples, n, to, magnitudes); done < n; done += foldedAtOnce) {
        const int here = std::min(n - done, foldedAtOnce);
        Row folded[foldedAtOnce];
        Unsigned<Row> magnitudesHere = 0;
        for (int i = 0; i < here; ++i) {
            folded[i] = foldedWith(samples[done + i], magnitudesHere);
        }
        append(folded, here, magnitudesHere, to);
        magnitudes = static_cast<Unsigned<Row>>(magnitudes | magnitudesHere);
    }
    return magnitudes;
}

template <typename Row, typename V>
Unsigned<Row> foldPairs(const Row* even, const Row* odd, int n, FoldedSequence<V>& to) {
    Unsigned<Row> magnitudes = 0;
    for (int done = foldGroupsOfPairs(even, odd, n, to, magnitudes); done < n; done += foldedAtOnce) {
        const int here = std::min(n - done, foldedAtOnce);
        Row folded[foldedAtOnce];
        Unsigned<Row> magnitudesHere = 0;
        for (int i = 0; i < here / 2; ++i) {
            folded[2 * i] = foldedWith(even[done / 2 + i], magnitudesHere);
            folded[2 * i + 1] = foldedWith(odd[done / 2 + i], magnitudesHere);
        }
        if (here % 2 != 0) {
            folded[here - 1] = foldedWith(even[(done + here) / 2], magnitudesHere);
        }
        append(folded, here, magnitudesHere, to);
        magnitudes = static_cast<Unsigned<Row>>(magnitudes | magnitudesHere);
    }
    return magnitudes;
}
