// SPDX-License-Identifier: Apache-2.0
// Folding with AVX-512 while coefficients are moved. Included inside a target's region and namespace. No include guard,
// no includes.
//
// Bytes of pairs go to their places by shifts: no shuffle interleaves them.

// 64 coefficients. Those beyond n count as 0.
template <typename Row>
struct SampleGroup;

template <>
struct SampleGroup<std::int16_t> {
    __m512i first;
    __m512i second;

    static SampleGroup inOrder(const std::int16_t* samples, int n) {
        return {load(samples, n), load(samples + 32, n - 32)};
    }
    static SampleGroup pairs(const std::int16_t* even, const std::int16_t* odd, int n) {
        return {load(even, (n + 1) / 2), load(odd, n / 2)};
    }

    __m512i magnitudes() const { return _mm512_or_si512(_mm512_abs_epi16(first), _mm512_abs_epi16(second)); }

    // Byte `row` of the folded values.
    __m512i bytesInOrder(int row) const {
        const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
        return _mm512_permutexvar_epi64(order, _mm512_packus_epi16(byteOf(first, row), byteOf(second, row)));
    }
    __m512i bytesOfPairs(int row) const {
        return _mm512_or_si512(byteOf(first, row), _mm512_slli_epi16(byteOf(second, row), 8));
    }

private:
    static __m512i load(const std::int16_t* samples, int n) {
        return n >= 32 ? _mm512_loadu_si512(samples) : _mm512_maskz_loadu_epi16((1U << std::max(n, 0)) - 1, samples);
    }
    // One shift folds: it brings the sign in behind the magnitude.
    static __m512i byteOf(__m512i samples, int row) {
        const __m512i folded = _mm512_shldi_epi16(_mm512_abs_epi16(samples), samples, 1);
        const __m512i shifted = _mm512_srl_epi16(folded, _mm_cvtsi32_si128(8 * row));
        return _mm512_and_si512(shifted, _mm512_set1_epi16(0xFF));
    }
};

template <>
struct SampleGroup<int> {
    __m512i quarters[4]; // of pairs: two of even places, two of odd ones

    static SampleGroup inOrder(const int* samples, int n) {
        return {load(samples, n), load(samples + 16, n - 16), load(samples + 32, n - 32), load(samples + 48, n - 48)};
    }
    static SampleGroup pairs(const int* even, const int* odd, int n) {
        const int evens = (n + 1) / 2;
        const int odds = n / 2;
        return {load(even, evens), load(even + 16, evens - 16), load(odd, odds), load(odd + 16, odds - 16)};
    }

    __m512i magnitudes() const {
        return _mm512_or_si512(_mm512_or_si512(_mm512_abs_epi32(quarters[0]), _mm512_abs_epi32(quarters[1])),
                               _mm512_or_si512(_mm512_abs_epi32(quarters[2]), _mm512_abs_epi32(quarters[3])));
    }

    __m512i bytesInOrder(int row) const {
        const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
        const __m512i low = _mm512_packus_epi32(byteOf(quarters[0], row), byteOf(quarters[1], row));
        const __m512i high = _mm512_packus_epi32(byteOf(quarters[2], row), byteOf(quarters[3], row));
        return _mm512_permutexvar_epi32(order, _mm512_packus_epi16(low, high));
    }
    __m512i bytesOfPairs(int row) const {
        const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
        const __m512i low = _mm512_or_si512(byteOf(quarters[0], row), _mm512_slli_epi32(byteOf(quarters[2], row), 8));
        const __m512i high = _mm512_or_si512(byteOf(quarters[1], row), _mm512_slli_epi32(byteOf(quarters[3], row), 8));
        return _mm512_permutexvar_epi64(order, _mm512_packus_epi32(low, high));
    }

private:
    static __m512i load(const int* samples, int n) {
        return n >= 16 ? _mm512_loadu_si512(samples)
                       : _mm512_maskz_loadu_epi32(static_cast<__mmask16>((1U << std::max(n, 0)) - 1), samples);
    }
    static __m512i byteOf(__m512i samples, int row) {
        const __m512i folded = _mm512_shldi_epi32(_mm512_abs_epi32(samples), samples, 1);
        const __m512i shifted = _mm512_srl_epi32(folded, _mm_cvtsi32_si128(8 * row));
        return _mm512_and_si512(shifted, _mm512_set1_epi32(0xFF));
    }
};

inline bool haveHigherBytes(__m512i magnitudes, std::int16_t) {
    return _mm512_test_epi16_mask(magnitudes, _mm512_set1_epi16(static_cast<std::int16_t>(0xFF80))) != 0;
}
inline bool haveHigherBytes(__m512i magnitudes, int) {
    return _mm512_test_epi32_mask(magnitudes, _mm512_set1_epi32(static_cast<int>(0xFFFFFF80))) != 0;
}

inline std::uint16_t allOf(__m512i lanes, std::int16_t) {
    const auto pairs = static_cast<std::uint32_t>(_mm512_reduce_or_epi32(lanes));
    return static_cast<std::uint16_t>(pairs | pairs >> 16);
}
inline std::uint32_t allOf(__m512i lanes, int) {
    return static_cast<std::uint32_t>(_mm512_reduce_or_epi32(lanes));
}

// The two ways in which samples come.
template <typename Row>
struct SamplesInOrder {
    const Row* samples;

    SampleGroup<Row> group(int i, int n) const { return SampleGroup<Row>::inOrder(samples + i, n); }
    static __m512i bytes(const SampleGroup<Row>& group, int row) { return group.bytesInOrder(row); }
};

template <typename Row>
struct SamplesApart {
    const Row* even;
    const Row* odd;

    SampleGroup<Row> group(int i, int n) const { return SampleGroup<Row>::pairs(even + i / 2, odd + i / 2, n); }
    static __m512i bytes(const SampleGroup<Row>& group, int row) { return group.bytesOfPairs(row); }
};

template <typename Samples, typename Row, typename V>
void appendHigherBytes(const SampleGroup<Row>& group, int n, FoldedSequence<V>& to) {
    const int rows = to.rowsNeeded(allOf(group.magnitudes(), Row{}));
    for (int row = 1; row < rows; ++row) {
        _mm512_mask_storeu_epi8(to.higherBytes(row, n), ~std::uint64_t{0} >> (64 - n), Samples::bytes(group, row));
    }
}

template <typename Row, typename V, typename Samples>
Unsigned<Row> appendFolded(const Samples& samples, int n, FoldedSequence<V>& to) {
    const std::int64_t before = to.count;
    unsigned char* const lowest = to.lowestBytes();
    __m512i magnitudes = _mm512_setzero_si512();
    for (int i = 0; i < n; i += 64) {
        const SampleGroup<Row> group = samples.group(i, n - i);
        _mm512_storeu_si512(lowest + i, Samples::bytes(group, 0));
        const __m512i magnitudesHere = group.magnitudes();
        magnitudes = _mm512_or_si512(magnitudes, magnitudesHere);
        if (haveHigherBytes(magnitudesHere, Row{})) {
            to.count = before + i;
            appendHigherBytes<Samples>(group, std::min(n - i, 64), to);
        }
    }
    to.count = before + n;
    return allOf(magnitudes, Row{});
}

template <typename Row, typename V>
Unsigned<Row> fold(const Row* samples, int n, FoldedSequence<V>& to) {
    return appendFolded<Row>(SamplesInOrder<Row>{samples}, n, to);
}

template <typename Row, typename V>
Unsigned<Row> foldPairs(const Row* even, const Row* odd, int n, FoldedSequence<V>& to) {
    return appendFolded<Row>(SamplesApart<Row>{even, odd}, n, to);
}
