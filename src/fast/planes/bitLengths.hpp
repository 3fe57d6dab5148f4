// SPDX-License-Identifier: Apache-2.0
// Counting bit lengths from how many bytes reach each. Included once per target that has nothing better, inside its
// region and namespace, after its countReached. No include guard, no includes.

// Byte `row` of the values of a block, 255 where a value has higher bytes; in place where none has.
template <typename V>
const unsigned char* saturatedBytes(const FoldedSequence<V>& folded, std::int64_t block, int row,
                                    unsigned char* saturated) {
    const unsigned char* bytes = folded.bytes(row, block);
    for (int higher = row + 1; higher < folded.rowsInUse[block]; ++higher) {
        const unsigned char* const above = folded.bytes(higher, block);
        for (int i = 0; i < folded.wordsIn(block) * 64; ++i) {
            saturated[i] = static_cast<unsigned char>(bytes[i] | (above[i] != 0 ? 255 : 0));
        }
        bytes = saturated;
    }
    return bytes;
}

// Adds the bit lengths of the values in a block, which are at most `atMost` and leave a value's sign bit free. Returns
// the longest. No folded value is 1, so as many reach one bit as two.
template <typename V>
int countLengths(const FoldedSequence<V>& folded, std::int64_t block, int atMost, std::uint64_t* counts) {
    std::uint64_t reached[8 * sizeof(V) + 2] = {}; // [length]
    reached[0] = static_cast<std::uint64_t>(folded.valuesIn(block));
    for (int row = 0; row < folded.rowsInUse[block]; ++row) {
        const int shortest = std::max(8 * row + 1, 2);
        unsigned char saturated[blockSamples];
        countReached(saturatedBytes(folded, block, row, saturated), folded.wordsIn(block), (shortest - 1) % 8,
                     std::min(atMost, 8 * row + 8) - shortest + 1, reached + shortest);
    }
    reached[1] = reached[2];
    int longest = std::min(atMost, 8 * static_cast<int>(sizeof(V)) - 1);
    for (int length = 0; length <= longest; ++length) {
        counts[length] += reached[length] - reached[length + 1];
    }
    while (longest > 0 && reached[longest] == 0) {
        --longest;
    }
    return longest;
}
