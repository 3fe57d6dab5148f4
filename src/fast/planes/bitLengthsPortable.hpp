// SPDX-License-Identifier: Apache-2.0
// Counting bytes by their length in standard C++: the compiler finds the vectors. Included inside a target's namespace.
// No include guard, no includes.

// reached[i] is how many of the bytes have bit lowest + i or a higher one, for i < n. Of at most 255 times 64 bytes,
// each of 64 lanes counts in a byte.
inline void countReached(const unsigned char* bytes, int words, int lowest, int n, std::uint64_t* reached) {
    for (int i = 0; i < n; ++i) {
        const auto limit = static_cast<unsigned char>(1 << (lowest + i));
        unsigned char counts[64] = {};
        for (const unsigned char* word = bytes; word != bytes + 64 * words; word += 64) {
            for (int lane = 0; lane < 64; ++lane) {
                counts[lane] = static_cast<unsigned char>(counts[lane] + (word[lane] >= limit ? 1 : 0));
            }
        }
        reached[i] = std::accumulate(counts, counts + 64, std::uint64_t{0});
    }
}
