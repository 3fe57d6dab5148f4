// Counting bit lengths with AVX-512. Included inside a target's region and namespace. No include guard, no includes.

// 64 values without their lowest bits, as unsigned bytes, larger ones as 255; in any order.
inline __m512i saturatedBytes(const short* values, int dropped) {
    const __m512i low = _mm512_srli_epi16(_mm512_loadu_si512(values), static_cast<unsigned>(dropped));
    const __m512i high = _mm512_srli_epi16(_mm512_loadu_si512(values + 32), static_cast<unsigned>(dropped));
    return _mm512_packus_epi16(low, high);
}

inline __m512i saturatedBytes(const int* values, int dropped) {
    __m512i part[4];
    for (int i = 0; i < 4; ++i) {
        part[i] = _mm512_srli_epi32(_mm512_loadu_si512(values + 16 * i), static_cast<unsigned>(dropped));
    }
    return _mm512_packus_epi16(_mm512_packs_epi32(part[0], part[1]), _mm512_packs_epi32(part[2], part[3]));
}

inline std::uint64_t sumOfBytes(__m512i bytes) {
    std::uint64_t sums[8];
    _mm512_storeu_si512(sums, _mm512_sad_epu8(bytes, _mm512_setzero_si512()));
    return std::accumulate(sums, sums + 8, std::uint64_t{0});
}

// Counts how many values reach each of so many lengths at a time: those of 2 .. 8 bits beyond the dropped ones.
class ReachedLengths {
public:
    static constexpr int lengths = 7;

    explicit ReachedLengths(int droppedBits) : dropped(droppedBits) {
        std::fill_n(counts, lengths, _mm512_setzero_si512());
    }

    // At most 255 times 64 values in all. Returns whether there are longer ones among these.
    template <typename V>
    bool add(const V* values, int groups) {
        __m512i largest = _mm512_setzero_si512();
        for (int g = 0; g < groups; ++g) {
            const __m512i bytes = saturatedBytes(values + 64 * g, dropped);
            largest = _mm512_max_epu8(largest, bytes);
            for (int i = 0; i < lengths; ++i) {
                const __mmask64 reached = _mm512_cmpge_epu8_mask(bytes, _mm512_set1_epi8(static_cast<char>(2 << i)));
                counts[i] = _mm512_mask_sub_epi8(counts[i], reached, counts[i], _mm512_set1_epi8(-1));
            }
        }
        return _mm512_cmpeq_epu8_mask(largest, _mm512_set1_epi8(-1)) != 0;
    }

    void addTo(std::uint64_t* reached) const {
        for (int i = 0; i < lengths; ++i) {
            reached[dropped + 2 + i] += sumOfBytes(counts[i]);
        }
    }

private:
    int dropped;
    __m512i counts[lengths];
};

// Adds to reached[length] how many of 64 * groups values have dropped + 2 bits at least, dropped + 3, ... Few parts of
// a photograph have values of more than eight bits; only those are gone through again.
template <typename V>
void countReached(const V* values, int groups, int dropped, int longest, std::uint64_t* reached) {
    constexpr int groupsOfAPart = 8;
    ReachedLengths shorter(dropped);
    for (int g = 0; g < groups; g += groupsOfAPart) {
        const int here = std::min(groupsOfAPart, groups - g);
        const bool areLonger = shorter.add(values + 64 * g, here);
        if (areLonger && dropped + ReachedLengths::lengths + 1 < longest) {
            countReached(values + 64 * g, here, dropped + ReachedLengths::lengths, longest, reached);
        }
    }
    shorter.addTo(reached);
}

// Adds the bit lengths of a piece of folded values, none of them longer than `longest`.
template <typename V>
void countLengths(const V* values, int n, int longest, std::uint64_t* counts) {
    constexpr int mostGroups = 255;
    std::uint64_t reached[ReachedLengths::lengths * 5 + 3] = {}; // [length]
    int done = 0;
    for (; n - done >= 64; done += 64 * std::min((n - done) / 64, mostGroups)) {
        countReached(values + done, std::min((n - done) / 64, mostGroups), 0, longest, reached);
    }
    if (done < n) {
        V tail[64] = {};
        std::copy(values + done, values + n, tail);
        countReached(tail, 1, 0, longest, reached);
    }
    for (int length = 2; length <= longest; ++length) {
        counts[length] += reached[length] - reached[length + 1];
    }
    counts[0] += static_cast<std::uint64_t>(n) - reached[2]; // a folded value is 0 or has two bits at least
}
