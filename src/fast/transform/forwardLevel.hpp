// SPDX-License-Identifier: Apache-2.0
// One level of the forward transform, row after row.
#pragma once

#include "fast/rows/rowKernels.hpp"
#include "fast/transform/coarserLevel.hpp"
#include "fast/transform/rowWindow.hpp"

#include <cstdint>
#include <type_traits>

namespace teko {

// Up to which magnitudes in its rows a level may use the kernels for smaller values. A predicted sample is at most 2.25
// times the largest, and before it is scaled an updated one 1.5 times: the sums of the magnitudes of the filter's
// weights. The kernels down the columns meet samples that have been through a row pass, so they meet 2.25 * 1.5 * 600 <
// 2047 at most, or 2.25 * 2.25 * 1638 < 16383 and 2.25 * 1.5 * 1638 < 24575.
constexpr std::int64_t largestForSmallKernels = 600;
constexpr std::int64_t largestForKernels = 1638;

// Up to which magnitudes in its rows a level of short samples is sure to be undone by the inverse (docs/bounds.md): no
// stored sample leaves 16 bits; and where the two directions keep predict sums in different ways, no such sum does, by
// the rows that the level starts from, or by those that have been through a row pass.
constexpr std::int64_t largestReversible = 4096;
constexpr std::int64_t largestForPredictSums = 512;
constexpr std::int64_t largestForColumnSums = 1024;

// A level of the transform. It is given its rows one after another and gives the rows of its approximation to the next
// level, if there is one, as soon as they are done, so that none waits for a whole plane. What is done goes to pass(y,
// row), rows in their order.
template <typename T, typename Pass>
class ForwardLevel final : public CoarserForward<T> {
public:
    ForwardLevel(const Lattice<T>& lattice, const RowKernels<T>& kernels, const Pass& passOn,
                 CoarserForward<T>* coarserLevel)
        : window(lattice, kernels), k(kernels), pass(passOn), n(lattice.rows()),
          wrapsEverywhere(lattice.hasColumnsInKernel()), coarser(coarserLevel) {}

    // Goes on where a level of other samples has come to.
    template <typename Other, typename OtherPass>
    ForwardLevel(const Lattice<T>& lattice, const RowKernels<T>& kernels, const Pass& passOn,
                 CoarserForward<T>* coarserLevel, const ForwardLevel<Other, OtherPass>& other)
        : window(lattice, kernels, other.window), k(kernels), pass(passOn), n(other.n),
          wrapsEverywhere(other.wrapsEverywhere), coarser(coarserLevel), advanced(other.advanced),
          largest(other.largest) {
        chooseKernels();
    }

    void take(int y, const RowSample<T>* samples) override {
        window.take(y, samples);
        taken(y);
    }

    // Where row y is to be put; then it has been.
    SplitRow<RowSample<T>>& place(int y) { return window[y]; }
    void taken(int y) {
        if (window[y].largest > largest) {
            largest = window[y].largest;
            chooseKernels();
        }
        if (y + 1 - advanced == RowWindow<T>::spareRows) {
            advanceTo(y);
        }
    }

    bool isReversible() const override { return sumsFit && largest <= largestReversible; }

    void finish() override {
        advanceTo(n - 1);
        const int lastOdd = n - 1 - n % 2;
        for (int i = lastOdd - 2 + 2 * (n % 2); i <= lastOdd; i += 2) {
            liftPair(i);
        }
        for (int j = lastOdd - 1; j < n; j += 2) {
            finishEven(j);
        }
        if (lastOdd == n - 1) {
            pass(lastOdd, window[lastOdd]);
        }
        if (coarser != nullptr) {
            coarser->finish();
        }
    }

private:
    template <typename Other, typename OtherPass>
    friend class ForwardLevel;

    void chooseKernels() {
        if (largest <= largestForSmallKernels) {
            along = k.transformAlongSmall;
            update = k.updateSmall;
        } else if (largest <= largestForKernels) {
            along = k.transformAlong;
            update = k.update;
        } else {
            along = k.transformAlongExact;
            update = k.updateExact;
        }
    }

    // Odd row i is predicted from the even rows up to i + 3; then no other prediction needs even row i - 3: it
    // is updated from its odd neighbours, and with it the row above is done.
    void advance(int y) {
        window.liftAlong(y, along);
        if (mayLoseSums()) {
            window.boundRow(y);
        }
        if (y >= 4 && y % 2 == 0) {
            liftPair(y - 3);
        }
    }

    void advanceTo(int y) {
        while (advanced <= y) {
            advance(advanced++);
        }
    }

    // Whether predict sums down the columns may leave 16 bits, and the inverse would keep them in another way.
    bool mayLoseSums() const {
        return std::is_same_v<T, std::int16_t> && wrapsEverywhere && largest > largestForPredictSums;
    }

    void liftPair(int i) {
        if (mayLoseSums() && sumsFit && window.largestAround(i) > largestForColumnSums) {
            sumsFit = window.predictSumsFit(i);
        }
        const bool isEnd = i == 1 || i + 3 >= n;
        window.liftOdd(i, isEnd && !wrapsEverywhere ? k.predictExact : k.predict);
        if (i >= 3) {
            finishEven(i - 3);
        }
    }

    void finishEven(int j) {
        window.liftEven(j, update);
        if (j > 0) {
            pass(j - 1, window[j - 1]);
        }
        pass(j, window[j]);
        if (coarser != nullptr) {
            coarser->take(j / 2, window[j].even);
        }
    }

    RowWindow<T> window;
    const RowKernels<T>& k;
    Pass pass;
    int n;
    bool wrapsEverywhere;
    CoarserForward<T>* coarser; // not owned
    int advanced = 0;           // rows
    bool sumsFit = true;        // all predict sums in 16 bits, where that matters
    std::int64_t largest = -1;  // of all rows so far: looking at those around each row anew costs more than it gains
    typename RowWindow<T>::BothSteps along = nullptr;
    typename RowWindow<T>::EvenStep update = nullptr;
};

} // namespace teko
