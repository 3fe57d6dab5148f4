// SPDX-License-Identifier: Apache-2.0
// Both lifting steps along a row at once. Included inside a target's region and namespace, after the types of lanes
// that it is used with. No include guard, no includes.
//
// Neighbours come from registers: loads that cross cache lines take twice the time, and each sample is read and written
// once (encodes of photographs cut to 5 %: 1.06 times).

// For magnitudes that suit predict(farLeft, left, right, farRight) and update(even, before, after) on vectors.
template <typename L, L (*predict)(L, L, L, L), L (*update)(L, L, L)>
void transformInLanes(typename L::Row* even, typename L::Row* odd, int n) {
    using Row = typename L::Row;
    const int evens = (n + 1) / 2;
    extendEvens(even, n);
    const Row lastEven = even[evens - 1];
    L here = L::load(even);
    L left = broadcastSecond(here);
    L oddLeft = here;
    for (int i = 0; i < evens; i += L::count) {
        const L right = L::load(even + i + L::count);
        const L predicted =
            L::load(odd + i) - predict(before(left, here), here, behind(here, right), twoBehind(here, right));
        const L oddBefore = before(i == 0 ? broadcastFirst(predicted) : oddLeft, predicted);
        predicted.store(odd + i);
        update(here, oddBefore, predicted).store(even + i);
        oddLeft = predicted;
        left = here;
        here = right;
    }
    if (n % 2 != 0) {
        even[evens - 1] = lastEven;
        updateRow<Row>(even + evens - 1, odd + n / 2 - 1, odd + n / 2 - 1, 1);
    }
}

template <typename L, L (*predict)(L, L, L, L)>
void untransformInLanes(typename L::Row* even, typename L::Row* odd, int n) {
    using Row = typename L::Row;
    const ExactEnds ends(n);
    const Row oddEnds[] = {odd[ends.at[0]], odd[ends.at[1]], odd[ends.at[2]]};
    odd[n / 2] = odd[n / 2 - 1];
    L oddHere = L::load(odd);
    L here = unupdated(L::load(even), before(broadcastFirst(oddHere), oddHere), oddHere);
    L left = here;
    for (int i = 0; i < (n + 1) / 2; i += L::count) {
        const L oddRight = L::load(odd + i + L::count);
        const L right = unupdated(L::load(even + i + L::count), before(oddHere, oddRight), oddRight);
        here.store(even + i);
        (oddHere + predict(before(left, here), here, behind(here, right), twoBehind(here, right))).store(odd + i);
        left = here;
        here = right;
        oddHere = oddRight;
    }
    extendEvens(even, n);
    for (int i = 0; i < 3; ++i) {
        const Row* const leftEven = even + ends.at[i];
        odd[ends.at[i]] = oddEnds[i];
        unpredictRow<Row, Exact>(odd + ends.at[i], leftEven - 1, leftEven, leftEven + 1, leftEven + 2, 1);
    }
}
