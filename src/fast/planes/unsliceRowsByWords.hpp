// SPDX-License-Identifier: Apache-2.0
// Unslicing word by word. Included inside a target's region and namespace, after its unsliceBytes. No include guard, no
// includes.

constexpr int wordsAtOnce = 1;

// 64 bytes for each of wordsAtOnce words from w on: bit b is from rows[b].
template <typename RowWord>
void unsliceRows(const RowWord* const* rows, int w, unsigned char* bytes) {
    std::uint64_t bits[8];
    for (int b = 0; b < 8; ++b) {
        bits[b] = rows[b][w];
    }
    unsliceBytes(bits, bytes);
}
