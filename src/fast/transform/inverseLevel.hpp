// SPDX-License-Identifier: Apache-2.0
// One level of the inverse transform, row after row.
#pragma once

#include "fast/rows/rowKernels.hpp"
#include "fast/transform/coarserLevel.hpp"
#include "fast/transform/rowWindow.hpp"

#include <algorithm>
#include <cstdint>

namespace teko {

// Up to which magnitudes in the rows that a level starts from the kernels for small values give the exact result
// everywhere: steps of the inverse make samples at most 1.35 and 2.7 times as large, and exact sums need
// 20 * 1.35 * 1212 < 32768.
constexpr std::int64_t largestForUnupdate = 6000;
constexpr std::int64_t largestForExactSum = 1212;

// A level of the inverse. fill(y, row) gives it the coefficients and the approximation of a row, in the order of the
// rows, and returns whether the rows can hold all that the level makes of them.
template <typename T, typename Fill>
class InverseLevel final : public CoarserInverse<T> {
public:
    InverseLevel(const Lattice<T>& lattice, const RowKernels<T>& kernels, const Fill& fillRow)
        : window(lattice, kernels), k(kernels), fill(fillRow), n(lattice.rows()),
          exactEverywhere(lattice.hasColumnsInKernel()) {}

    // Goes on where a level of other samples could not: at a row that is there, but for what refill gives.
    template <typename Other, typename OtherFill>
    InverseLevel(const Lattice<T>& lattice, const RowKernels<T>& kernels, const Fill& fillRow,
                 const InverseLevel<Other, OtherFill>& other)
        : window(lattice, kernels, other.window), k(kernels), fill(fillRow), n(other.n),
          exactEverywhere(other.exactEverywhere), read(other.read), next(other.next), restored(other.restored) {
        fill.refill(read, window[read]);
        taken(read++);
    }

    // Makes row y; returns false where a row on the way does not suit.
    bool reach(int y) {
        if (restored < y) {
            for (const int ahead = std::min(y + RowWindow<T>::spareRows - 1, n - 1); restored < ahead;) {
                if (!advance()) {
                    return false;
                }
            }
        }
        return true;
    }

    // For rows that all suit.
    const SplitRow<RowSample<T>>& restore(int y) override {
        reach(y);
        return window[y];
    }

private:
    template <typename Other, typename OtherFill>
    friend class InverseLevel;

    // Even row j is restored from its odd neighbours; then odd row j - 3 has its four even neighbours, and no
    // later row needs even row j - 6.
    bool advance() {
        const int lastEven = n - 2 + n % 2;
        if (next > lastEven) {
            finish(lastEven);
            return true;
        }
        for (; read <= std::min(next + 1, n - 1); ++read) {
            if (!fill(read, window[read])) {
                return false;
            }
            taken(read);
        }
        window.liftEven(next, unupdate);
        if (next >= 4) {
            finishOdd(next - 3);
        }
        restored = next - 5;
        next += 2;
        return true;
    }

    void finish(int lastEven) {
        for (int i = lastEven - 1; i < n; i += 2) {
            finishOdd(i);
        }
        for (int j = n - 2 - n % 2; j < n; j += 2) {
            window.liftAlong(j, along);
        }
        restored = n - 1;
    }

    void taken(int y) {
        if (window[y].largest > largest) {
            largest = window[y].largest;
            const bool isSmall = largest <= largestForUnupdate;
            along = isSmall ? k.untransformAlong : k.untransformAlongExact;
            unupdate = isSmall ? k.unupdate : k.unupdateExact;
        }
    }

    void finishOdd(int i) {
        const bool isEnd = i == 1 || i + 3 >= n;
        const bool mayWrap = !exactEverywhere && !isEnd;
        window.liftOdd(i, mayWrap || largest <= largestForExactSum ? k.unpredict : k.unpredictExact);
        if (i >= 3) {
            window.liftAlong(i - 3, along);
        }
        window.liftAlong(i, along);
    }

    RowWindow<T> window;
    const RowKernels<T>& k;
    Fill fill;
    int n;
    bool exactEverywhere;
    int read = 0;              // rows
    int next = 0;              // even row
    int restored = -1;         // all rows up to this one
    std::int64_t largest = -1; // of all rows so far
    typename RowWindow<T>::BothSteps along = nullptr;
    typename RowWindow<T>::EvenStep unupdate = nullptr;
};

} // namespace teko
