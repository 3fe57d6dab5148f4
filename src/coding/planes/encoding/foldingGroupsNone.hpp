// For targets that leave vectors to the compiler. Included inside a target's namespace, before folding.hpp. No include
// guard, no includes.

template <typename V>
constexpr int foldGroups(const V*, int, FoldedSequence<V>&, Unsigned<V>&) {
    return 0;
}

template <typename V>
constexpr int foldGroupsOfPairs(const V*, const V*, int, FoldedSequence<V>&, Unsigned<V>&) {
    return 0;
}
