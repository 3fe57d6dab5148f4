// SPDX-License-Identifier: Apache-2.0
// For targets that leave vectors to the compiler. Included inside a target's namespace, before folding.hpp. No include
// guard, no includes.

template <typename Row, typename V>
constexpr int foldGroups(const Row*, int, FoldedSequence<V>&, Unsigned<Row>&) {
    return 0;
}

template <typename Row, typename V>
constexpr int foldGroupsOfPairs(const Row*, const Row*, int, FoldedSequence<V>&, Unsigned<Row>&) {
    return 0;
}
