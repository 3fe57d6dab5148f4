// Counting bit lengths in standard C++. Included inside a target's namespace. No include guard, no includes.

// How many of the values reach each of four limits, from `limit` down by halves. Counts in the values' width, so
// that the compiler needs no wider lanes.
template <typename V>
void countFromFour(const V* values, int n, V limit, std::uint64_t* totals) {
    constexpr int stretch = 16384;
    for (int start = 0; start < n; start += stretch) {
        const V* end = values + std::min(n, start + stretch);
        V reached[4] = {};
        for (const V* value = values + start; value != end; ++value) {
            reached[0] = static_cast<V>(reached[0] + (*value >= limit ? 1 : 0));
            reached[1] = static_cast<V>(reached[1] + (*value >= limit / 2 ? 1 : 0));
            reached[2] = static_cast<V>(reached[2] + (*value >= limit / 4 ? 1 : 0));
            reached[3] = static_cast<V>(reached[3] + (*value >= limit / 8 ? 1 : 0));
        }
        for (int i = 0; i < 4; ++i) {
            totals[i] += static_cast<std::uint64_t>(reached[i]);
        }
    }
}

// Adds the bit lengths of a piece of folded values, none of them longer than `longest`.
template <typename V>
void countLengths(const V* values, int n, int longest, std::uint64_t* counts) {
    std::uint64_t notShorter = 0;
    for (int length = longest; length >= 2; length -= 4) {
        std::uint64_t reached[4] = {};
        countFromFour(values, n, static_cast<V>(V{1} << (length - 1)), reached);
        for (int i = 0; i < std::min(4, length - 1); ++i) {
            counts[length - i] += reached[i] - notShorter;
            notShorter = reached[i];
        }
    }
    counts[0] += static_cast<std::uint64_t>(n) - notShorter; // a folded value is 0 or has two bits at least
}
