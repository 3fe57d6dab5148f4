#include "wavelet/rowTransform.hpp"

#include "filter/rows/rowKernels.hpp"
#include "wavelet/rowWindow.hpp"

#include <algorithm>
#include <array>
#include <memory>

namespace teko {

namespace {

constexpr int shortestSignal = 6;

// Up to which magnitude in the rows that a level starts from the kernels for small values give the exact result
// everywhere. A predicted sample is at most 2.25 times the largest, an updated one 2.53 times; a kernel meets
// samples that have been through a row pass, so 2.25 * 2.53 * 2798 < 16383 is what an update may add. On the way
// back the factors are 1.35 and 2.7, and exact sums need 20 * 1.35 * 1212 < 32768.
constexpr long largestForUpdate = 2798;
constexpr long largestForUnupdate = 6000;
constexpr long largestForExactSum = 1212;

// What a level of int rows may start from: its kernels then meet nothing beyond 2^26. A level on the way there makes
// an approximation at most 2.53 * 2.53 times as large. On the way back, from an approximation of at most m and details
// of at most d, the columns give at most 1.06 m + 1.63 d and 2.7 d, the rows 1.11 m + 6.1 d.
constexpr long largestLongForward = 25'000'000;
constexpr long largestLongInverse = 24'000'000;

constexpr long largestApproximation(long largest) {
    return largest * 641 / 100 + 4;
}
constexpr long largestRestored(long approximation, long details) {
    return (approximation * 111 + details * 610) / 100 + 16;
}

// A level of the transform. It is given its rows one after another and gives the rows of its approximation to the next
// level as soon as they are done, so that the plane is walked once for all levels.
template <typename T>
class ForwardLevel {
public:
    ForwardLevel(const Lattice<T>& itsLattice, const RowKernels<T>& kernels, std::unique_ptr<ForwardLevel> coarserLevel)
        : lattice(itsLattice), window(lattice, kernels), k(kernels), n(lattice.rows()),
          wrapsEverywhere(lattice.needsBlocks()), coarser(std::move(coarserLevel)) {}

    void run() {
        for (int y = 0; y < n; ++y) {
            window.read(y);
            advanceTo(y);
        }
        finish();
    }

private:
    // Odd row i is predicted from the even rows up to i + 3; then no other prediction needs even row i - 3: it
    // is updated from its odd neighbours, and with it the row above is done.
    void advance(int y) {
        transformRow(y);
        if (y >= 4 && y % 2 == 0) {
            liftPair(y - 3);
        }
    }

    // After the last row.
    void finish() {
        advanceTo(n - 1);
        const int lastOdd = n - 1 - n % 2;
        for (int i = lastOdd - 2 + 2 * (n % 2); i <= lastOdd; i += 2) {
            liftPair(i);
        }
        for (int j = lastOdd - 1; j < n; j += 2) {
            finishEven(j);
        }
        if (lastOdd == n - 1) {
            window.write(lastOdd);
        }
        if (coarser) {
            coarser->finish();
        }
    }

    void take(int y, const RowSample<T>* samples) {
        window.take(y, samples);
        if (y + 1 - advanced == RowWindow<T>::spareRows) {
            advanceTo(y);
        }
    }

    void advanceTo(int y) {
        while (advanced <= y) {
            advance(advanced++);
        }
    }

    void transformRow(int y) {
        window.liftOddAlong(y, k.predict, k.predictExact);
        window.liftEvenAlong(y, window.isAtMost(largestForUpdate, y, y) ? k.update : k.updateExact);
    }

    void liftPair(int i) {
        const bool isEnd = i == 1 || i + 3 >= n;
        window.liftOdd(i, isEnd && !wrapsEverywhere ? k.predictExact : k.predict);
        if (i >= 3) {
            finishEven(i - 3);
        }
    }

    // What the coarser level writes comes later and over what is written here.
    void finishEven(int j) {
        window.liftEven(j, window.isAtMost(largestForUpdate, j - 4, j + 4) ? k.update : k.updateExact);
        if (j > 0) {
            window.write(j - 1);
        }
        window.write(j);
        if (coarser) {
            coarser->take(j / 2, window[j].even);
        }
    }

    Lattice<T> lattice;
    RowWindow<T> window;
    const RowKernels<T>& k;
    int n;
    bool wrapsEverywhere;
    std::unique_ptr<ForwardLevel> coarser;
    int advanced = 0; // rows
};

// A level of the inverse. It asks the next coarser one for each row of its approximation when it comes to it; only the
// finest level writes.
template <typename T>
class InverseLevel {
public:
    InverseLevel(const Lattice<T>& itsLattice, const RowKernels<T>& kernels, std::unique_ptr<InverseLevel> coarserLevel)
        : lattice(itsLattice), window(lattice, kernels), k(kernels), n(lattice.rows()),
          exactEverywhere(lattice.needsBlocks()), coarser(std::move(coarserLevel)) {}

    void run() {
        isFinest = true;
        restore(n - 1);
    }

private:
    // Row y, to be used before the next is asked for.
    const SplitRow<RowSample<T>>& restore(int y) {
        if (restored < y) {
            for (const int ahead = std::min(y + RowWindow<T>::spareRows - 1, n - 1); restored < ahead;) {
                advance();
            }
        }
        return window[y];
    }

    // Even row j is restored from its odd neighbours; then odd row j - 3 has its four even neighbours, and no
    // later row needs even row j - 6.
    void advance() {
        const int lastEven = n - 2 + n % 2;
        if (next > lastEven) {
            finish(lastEven);
            return;
        }
        for (; read <= std::min(next + 1, n - 1); ++read) {
            readRow(read);
        }
        window.liftEven(next, window.isAtMost(largestForUnupdate, next - 1, next + 1) ? k.unupdate : k.unupdateExact);
        if (next >= 4) {
            finishOdd(next - 3);
        }
        restored = next - 5;
        next += 2;
    }

    void finish(int lastEven) {
        for (int i = lastEven - 1; i < n; i += 2) {
            finishOdd(i);
        }
        for (int j = n - 2 - n % 2; j < n; j += 2) {
            untransformRow(j);
        }
        restored = n - 1;
    }

    void readRow(int y) {
        if (coarser && y % 2 == 0) {
            window.read(y, coarser->restore(y / 2));
        } else {
            window.read(y);
        }
    }

    void finishOdd(int i) {
        const bool isEnd = i == 1 || i + 3 >= n;
        const bool mayWrap = !exactEverywhere && !isEnd;
        const bool fits = window.isAtMost(largestForExactSum, i - 4, i + 4);
        window.liftOdd(i, mayWrap || fits ? k.unpredict : k.unpredictExact);
        if (i >= 3) {
            untransformRow(i - 3);
        }
        untransformRow(i);
    }

    void untransformRow(int y) {
        window.liftEvenAlong(y, window.isAtMost(largestForUnupdate, y - 4, y + 4) ? k.unupdate : k.unupdateExact);
        window.liftOddAlong(y, k.unpredict, k.unpredictExact);
        if (isFinest) {
            window.write(y);
        }
    }

    Lattice<T> lattice;
    RowWindow<T> window;
    const RowKernels<T>& k;
    int n;
    bool exactEverywhere;
    std::unique_ptr<InverseLevel> coarser;
    bool isFinest = false;
    int read = 0;      // rows
    int next = 0;      // even row
    int restored = -1; // all rows up to this one
};

template <typename T>
Lattice<T> coarserLattice(Lattice<T> lattice, int levels) {
    lattice.step <<= levels;
    return lattice;
}

template <typename T>
bool isLongEnough(const Lattice<T>& lattice) {
    return lattice.columns() >= shortestSignal && lattice.rows() >= shortestSignal;
}

// A bound of the magnitudes; only int rows need one.
template <typename T>
long largestSample(const Lattice<T>& lattice, const RowKernels<T>& kernels) {
    long largest = 0;
    if constexpr (sizeof(T) > sizeof(short)) {
        for (int y = 0; y < lattice.height; y += lattice.step) {
            largest = std::max(largest, kernels.largest(lattice.row(y), lattice.step, lattice.columns()));
        }
    }
    return largest;
}

template <typename T>
int forwardLevelsInOnePass(const Lattice<T>& finest, int levels, const RowKernels<T>& kernels) {
    if (!isLongEnough(finest)) {
        return 0;
    }
    long largest = largestSample(finest, kernels);
    int fit = 0;
    while (fit < levels && largest <= largestLongForward && isLongEnough(coarserLattice(finest, fit))) {
        largest = largestApproximation(largest);
        ++fit;
    }
    return fit;
}

template <typename T>
bool inverseFitsInOnePass(const Lattice<T>& finest, int levels, const RowKernels<T>& kernels) {
    if (!isLongEnough(coarserLattice(finest, levels - 1))) {
        return false;
    }
    const long details = largestSample(finest, kernels);
    long approximation = details;
    for (int level = levels - 1; level > 0 && approximation <= largestLongInverse; --level) {
        approximation = largestRestored(approximation, details);
    }
    return approximation <= largestLongInverse;
}

// The chain of levels, the finest first.
template <typename Level, typename T>
std::unique_ptr<Level> chainOf(const Lattice<T>& finest, int levels, const RowKernels<T>& kernels) {
    std::unique_ptr<Level> chain;
    for (int level = levels - 1; level >= 0; --level) {
        chain = std::make_unique<Level>(coarserLattice(finest, level), kernels, std::move(chain));
    }
    return chain;
}

} // namespace

template <typename T>
int transformLevels(const Lattice<T>& finest, int levels, Target target) {
    const RowKernels<T>& kernels = rowKernels<T>(target);
    const int fit = forwardLevelsInOnePass(finest, levels, kernels);
    if (fit > 0) {
        chainOf<ForwardLevel<T>>(finest, fit, kernels)->run();
    }
    return fit;
}

template <typename T>
bool untransformLevels(const Lattice<T>& finest, int levels, Target target) {
    const RowKernels<T>& kernels = rowKernels<T>(target);
    if (!inverseFitsInOnePass(finest, levels, kernels)) {
        return false;
    }
    chainOf<InverseLevel<T>>(finest, levels, kernels)->run();
    return true;
}

template int transformLevels(const Lattice<short>&, int, Target);
template int transformLevels(const Lattice<long>&, int, Target);
template bool untransformLevels(const Lattice<short>&, int, Target);
template bool untransformLevels(const Lattice<long>&, int, Target);

} // namespace teko
