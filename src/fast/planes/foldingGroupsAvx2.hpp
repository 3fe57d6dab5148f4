// SPDX-License-Identifier: Apache-2.0
// Folding with AVX2, as many whole groups as a row has. Included inside a target's region and namespace, before
// folding.hpp, which does the rest. No include guard, no includes.
//
// Bytes of pairs go to their places by shifts: no shuffle interleaves them.

inline __m256i loadLanes(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

// 32 folded coefficients.
template <typename Row>
struct FoldedGroup;

template <>
struct FoldedGroup<std::int16_t> {
    __m256i magnitudes; // OR
    __m256i first;
    __m256i second;

    FoldedGroup(const std::int16_t* firstSamples, const std::int16_t* secondSamples)
        : magnitudes(_mm256_setzero_si256()) {
        first = folded(loadLanes(firstSamples));
        second = folded(loadLanes(secondSamples));
    }

    bool reaches(int bit) const {
        return _mm256_testz_si256(magnitudes, _mm256_set1_epi16(static_cast<std::int16_t>(0xFFFFU << bit))) == 0;
    }
    __m256i bytesInOrder(int row) const {
        return _mm256_permute4x64_epi64(_mm256_packus_epi16(byteOf(first, row), byteOf(second, row)), 0xD8);
    }
    __m256i bytesOfPairs(int row) const {
        return _mm256_or_si256(byteOf(first, row), _mm256_slli_epi16(byteOf(second, row), 8));
    }

private:
    __m256i folded(__m256i samples) {
        const __m256i absolute = _mm256_abs_epi16(samples);
        magnitudes = _mm256_or_si256(magnitudes, absolute);
        return _mm256_or_si256(_mm256_add_epi16(absolute, absolute), _mm256_srli_epi16(samples, 15));
    }
    static __m256i byteOf(__m256i values, int row) {
        return _mm256_and_si256(_mm256_srli_epi16(values, 8 * row), _mm256_set1_epi16(0xFF));
    }
};

template <>
struct FoldedGroup<int> {
    __m256i magnitudes; // OR
    __m256i first[2];
    __m256i second[2];

    FoldedGroup(const int* firstSamples, const int* secondSamples) : magnitudes(_mm256_setzero_si256()) {
        for (int i = 0; i < 2; ++i) {
            first[i] = folded(loadLanes(firstSamples + 8 * i));
            second[i] = folded(loadLanes(secondSamples + 8 * i));
        }
    }

    bool reaches(int bit) const {
        return _mm256_testz_si256(magnitudes, _mm256_set1_epi32(static_cast<int>(0xFFFFFFFFU << bit))) == 0;
    }
    __m256i bytesInOrder(int row) const {
        const __m256i low = _mm256_packus_epi32(byteOf(first[0], row), byteOf(first[1], row));
        const __m256i high = _mm256_packus_epi32(byteOf(second[0], row), byteOf(second[1], row));
        return _mm256_permutevar8x32_epi32(_mm256_packus_epi16(low, high), _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    }
    __m256i bytesOfPairs(int row) const {
        return _mm256_permute4x64_epi64(_mm256_packus_epi32(pair(0, row), pair(1, row)), 0xD8);
    }

private:
    __m256i folded(__m256i samples) {
        const __m256i absolute = _mm256_abs_epi32(samples);
        magnitudes = _mm256_or_si256(magnitudes, absolute);
        return _mm256_or_si256(_mm256_add_epi32(absolute, absolute), _mm256_srli_epi32(samples, 31));
    }
    static __m256i byteOf(__m256i values, int row) {
        return _mm256_and_si256(_mm256_srli_epi32(values, 8 * row), _mm256_set1_epi32(0xFF));
    }
    __m256i pair(int i, int row) const {
        return _mm256_or_si256(byteOf(first[i], row), _mm256_slli_epi32(byteOf(second[i], row), 8));
    }
};

constexpr int groupSamples = 32;

// The two ways in which samples come.
template <typename Row>
struct GroupsInOrder {
    const Row* samples;

    FoldedGroup<Row> group(int i) const { return {samples + i, samples + i + groupSamples / 2}; }
    static __m256i bytes(const FoldedGroup<Row>& group, int row) { return group.bytesInOrder(row); }
};

template <typename Row>
struct GroupsOfPairs {
    const Row* even;
    const Row* odd;

    FoldedGroup<Row> group(int i) const { return {even + i / 2, odd + i / 2}; }
    static __m256i bytes(const FoldedGroup<Row>& group, int row) { return group.bytesOfPairs(row); }
};

// Appends the whole groups among n samples and adds their magnitudes to an OR. Returns how many samples that were.
template <typename Row, typename V, typename Groups>
int appendGroups(const Groups& groups, int n, FoldedSequence<V>& to, Unsigned<Row>& magnitudes) {
    __m256i all = _mm256_setzero_si256();
    unsigned char* const lowest = to.lowestBytes();
    const std::int64_t before = to.count;
    int done = 0;
    for (; done + groupSamples <= n; done += groupSamples) {
        const FoldedGroup<Row> group = groups.group(done);
        all = _mm256_or_si256(all, group.magnitudes);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(lowest + done), Groups::bytes(group, 0));
        for (int row = 1; row < static_cast<int>(sizeof(Row)) && group.reaches(8 * row - 1); ++row) {
            to.count = before + done;
            unsigned char* const higher = to.higherBytes(row, groupSamples);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(higher), Groups::bytes(group, row));
        }
    }
    to.count = before + done;
    Unsigned<Row> lanes[32 / sizeof(Row)];
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(lanes), all);
    for (const Unsigned<Row> lane : lanes) {
        magnitudes = static_cast<Unsigned<Row>>(magnitudes | lane);
    }
    return done;
}

template <typename Row, typename V>
int foldGroups(const Row* samples, int n, FoldedSequence<V>& to, Unsigned<Row>& magnitudes) {
    return appendGroups<Row>(GroupsInOrder<Row>{samples}, n, to, magnitudes);
}

template <typename Row, typename V>
int foldGroupsOfPairs(const Row* even, const Row* odd, int n, FoldedSequence<V>& to, Unsigned<Row>& magnitudes) {
    return appendGroups<Row>(GroupsOfPairs<Row>{even, odd}, n, to, magnitudes);
}
