// Counting bit lengths with AVX2. Included inside a target's region and namespace. No include guard, no includes.

// 32 values without their lowest bits, as bytes, larger ones as 127; in any order.
inline __m256i saturatedBytes(const short* values, int dropped) {
    const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(values));
    const __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(values + 16));
    return _mm256_packs_epi16(_mm256_srli_epi16(low, dropped), _mm256_srli_epi16(high, dropped));
}

inline __m256i saturatedBytes(const int* values, int dropped) {
    __m256i part[4];
    for (int i = 0; i < 4; ++i) {
        const __m256i loaded = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(values + 8 * i));
        part[i] = _mm256_srli_epi32(loaded, dropped);
    }
    return _mm256_packs_epi16(_mm256_packs_epi32(part[0], part[1]), _mm256_packs_epi32(part[2], part[3]));
}

inline std::uint64_t sumOfBytes(__m256i bytes) {
    const __m256i sums = _mm256_sad_epu8(bytes, _mm256_setzero_si256());
    const __m128i halves = _mm_add_epi64(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(halves) + _mm_extract_epi64(halves, 1));
}

// Counts six lengths at a time: those of 2 .. 7 bits beyond the dropped ones.
constexpr int lengthsInBytes = 6;

// Adds to reached[i] how many of 32 * groups values have dropped + i + 2 bits at least. Returns whether there may be
// longer ones than that. At most 255 groups.
template <typename V>
bool countReached(const V* values, int groups, int dropped, std::uint64_t* reached) {
    __m256i counts[lengthsInBytes];
    std::fill_n(counts, lengthsInBytes, _mm256_setzero_si256());
    __m256i largest = _mm256_setzero_si256();
    for (int g = 0; g < groups; ++g) {
        const __m256i bytes = saturatedBytes(values + 32 * g, dropped);
        largest = _mm256_max_epu8(largest, bytes);
        for (int i = 0; i < lengthsInBytes; ++i) {
            const auto shorter = static_cast<char>((2 << i) - 1);
            counts[i] = _mm256_sub_epi8(counts[i], _mm256_cmpgt_epi8(bytes, _mm256_set1_epi8(shorter)));
        }
    }
    for (int i = 0; i < lengthsInBytes; ++i) {
        reached[i] += sumOfBytes(counts[i]);
    }
    return _mm256_movemask_epi8(_mm256_cmpeq_epi8(largest, _mm256_set1_epi8(127))) != 0;
}

// Adds the bit lengths of up to 255 * 32 folded values.
template <typename V>
void countLengthsOfBlock(const V* values, int groups, int longest, std::uint64_t* counts) {
    std::uint64_t reached[lengthsInBytes * 5 + 3] = {}; // [length]
    bool areLonger = true;
    for (int dropped = 0; areLonger && dropped + 1 < longest; dropped += lengthsInBytes) {
        areLonger = countReached(values, groups, dropped, reached + dropped + 2);
    }
    for (int length = 2; length <= longest; ++length) {
        counts[length] += reached[length] - reached[length + 1];
    }
    counts[0] += static_cast<std::uint64_t>(32 * groups) - reached[2]; // a folded value is 0 or has two bits at least
}

// Adds the bit lengths of a piece of folded values, none of them longer than `longest`.
template <typename V>
void countLengths(const V* values, int n, int longest, std::uint64_t* counts) {
    constexpr int mostGroups = 255;
    int done = 0;
    while (n - done >= 32) {
        const int groups = std::min((n - done) / 32, mostGroups);
        countLengthsOfBlock(values + done, groups, longest, counts);
        done += 32 * groups;
    }
    if (done < n) {
        V tail[32] = {};
        std::copy(values + done, values + n, tail);
        countLengthsOfBlock(tail, 1, longest, counts);
        counts[0] -= static_cast<std::uint64_t>(32 - (n - done));
    }
}
