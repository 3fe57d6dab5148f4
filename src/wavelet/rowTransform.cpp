#include "wavelet/rowTransform.hpp"

#include "filter/rows/rowKernels.hpp"

#include <algorithm>
#include <array>
#include <memory>

namespace teko {

namespace {

constexpr int shortestSignal = 6;

// A row on its way through a level, its samples at even places and those at odd places apart.
template <typename Row>
struct SplitRow {
    Row* even;
    Row* odd;
    long largest; // magnitude, when it was read
};

// The last rows read, by their number. Every row has room for neighbours beyond its ends and for a whole vector
// more, so that the kernels need no special ends.
template <typename T>
class RowWindow {
public:
    using Row = RowSample<T>;

    RowWindow(const Lattice<T>& source, const RowKernels<T>& rowKernels)
        : lattice(source), kernels(rowKernels), evens((lattice.columns() + 1) / 2), odds(lattice.columns() / 2),
          half((evens + 2 * margin + vector - 1) / vector * vector),
          memory(new Row[static_cast<std::size_t>(2 * half) * held]()) {
        for (std::size_t i = 0; i < held; ++i) {
            rows[i].even = memory.get() + 2 * half * static_cast<long>(i) + margin;
            rows[i].odd = rows[i].even + half;
        }
    }

    // Row y of the lattice; beyond the first and the last, rows are mirrored.
    SplitRow<Row>& operator[](int y) {
        const int last = lattice.rows() - 1;
        const int mirrored = y < 0 ? -y : y > last ? 2 * last - y : y;
        return rows[static_cast<std::size_t>(mirrored) % held];
    }

    void read(int y) {
        SplitRow<Row>& row = (*this)[y];
        row.largest = kernels.split(lattice.row(y * lattice.step), lattice.step, lattice.columns(), row.even, row.odd);
    }
    void write(int y) {
        const SplitRow<Row>& row = (*this)[y];
        kernels.merge(lattice.row(y * lattice.step), lattice.step, lattice.columns(), row.even, row.odd);
    }

    using Step = void (*)(Row*, const Row*, const Row*, const Row*, const Row*, int);
    using EvenStep = void (*)(Row*, const Row*, const Row*, int);

    // A step down the columns, on row y and its neighbours.
    void liftOdd(int y, Step step) {
        const SplitRow<Row>&a = (*this)[y - 3], &b = (*this)[y - 1], &c = (*this)[y + 1], &d = (*this)[y + 3];
        step((*this)[y].even, a.even, b.even, c.even, d.even, evens);
        step((*this)[y].odd, a.odd, b.odd, c.odd, d.odd, odds);
    }
    void liftEven(int y, EvenStep step) {
        const SplitRow<Row>&a = (*this)[y - 1], &b = (*this)[y + 1];
        step((*this)[y].even, a.even, b.even, evens);
        step((*this)[y].odd, a.odd, b.odd, odds);
    }

    // A step along row y. The first and last odd samples come from exact sums, all others from wrapped ones.
    void liftOddAlong(int y, Step wrapped, Step exact) {
        const SplitRow<Row>& row = (*this)[y];
        extendEvens(row);
        const std::array<int, 3> ends{0, odds == evens ? odds - 2 : odds - 1, odds - 1};
        std::array<Row, 3> before{row.odd[ends[0]], row.odd[ends[1]], row.odd[ends[2]]};
        wrapped(row.odd, row.even - 1, row.even, row.even + 1, row.even + 2, odds);
        for (std::size_t i = 0; i < ends.size(); ++i) {
            const Row* left = row.even + ends[i];
            row.odd[ends[i]] = before[i];
            exact(row.odd + ends[i], left - 1, left, left + 1, left + 2, 1);
        }
    }
    void liftEvenAlong(int y, EvenStep step) {
        const SplitRow<Row>& row = (*this)[y];
        row.odd[-1] = row.odd[0];
        row.odd[odds] = row.odd[odds - 1];
        step(row.even, row.odd - 1, row.odd, evens);
    }

    bool isAtMost(long bound, int firstRow, int lastRow) {
        bool all = true;
        for (int y = firstRow; y <= lastRow; ++y) {
            all = all && (*this)[y].largest <= bound;
        }
        return all;
    }

private:
    // One even sample to the left and two to the right, as if the row were mirrored about its ends.
    void extendEvens(const SplitRow<Row>& row) const {
        row.even[-1] = row.even[1];
        const int lastButOne = odds == evens ? evens - 1 : evens - 2;
        row.even[evens] = row.even[lastButOne];
        row.even[evens + 1] = row.even[lastButOne - 1];
    }

    static constexpr long margin = 32;
    static constexpr long vector = 32;
    static constexpr std::size_t held = 12;

    const Lattice<T>& lattice;
    const RowKernels<T>& kernels;
    const int evens;
    const int odds;
    const long half;
    std::unique_ptr<Row[]> memory;
    std::array<SplitRow<Row>, held> rows{};
};

// Up to which magnitude in the rows that a level starts from the kernels for small values give the exact result
// everywhere. A predicted sample is at most 2.25 times the largest, an updated one 2.53 times; a kernel meets
// samples that have been through a row pass, so 2.25 * 2.53 * 2798 < 16383 is what an update may add. On the way
// back the factors are 1.35 and 2.7, and exact sums need 20 * 1.35 * 1212 < 32768.
constexpr long largestForUpdate = 2798;
constexpr long largestForUnupdate = 6000;
constexpr long largestForExactSum = 1212;

// int rows: sums of 20 samples and products with 19 stay below 2^31 from these on.
constexpr long largestLongForward = 1L << 21;
constexpr long largestLongInverse = 1L << 23;

template <typename T>
class ForwardLevel {
public:
    ForwardLevel(const Lattice<T>& lattice, const RowKernels<T>& kernels)
        : window(lattice, kernels), k(kernels), n(lattice.rows()), wrapsEverywhere(lattice.needsBlocks()) {}

    // Odd row i is predicted from the even rows up to i + 3; then no other prediction needs even row i - 3: it
    // is updated from its odd neighbours, and with it the row above is done.
    void run() {
        int read = 0;
        const int lastOdd = n - 1 - n % 2;
        for (int i = 1; i <= lastOdd; i += 2) {
            for (; read <= std::min(i + 3, n - 1); ++read) {
                transformRow(read);
            }
            predictRow(i);
            if (i >= 3) {
                finishEven(i - 3);
            }
        }
        for (int j = lastOdd - 1; j < n; j += 2) {
            finishEven(j);
        }
        if (lastOdd == n - 1) {
            window.write(lastOdd);
        }
    }

private:
    void transformRow(int y) {
        window.read(y);
        window.liftOddAlong(y, k.predict, k.predictExact);
        window.liftEvenAlong(y, window.isAtMost(largestForUpdate, y, y) ? k.update : k.updateExact);
    }

    void predictRow(int i) {
        const bool isEnd = i == 1 || i + 3 >= n;
        window.liftOdd(i, isEnd && !wrapsEverywhere ? k.predictExact : k.predict);
    }

    void finishEven(int j) {
        window.liftEven(j, window.isAtMost(largestForUpdate, j - 4, j + 4) ? k.update : k.updateExact);
        if (j > 0) {
            window.write(j - 1);
        }
        window.write(j);
    }

    RowWindow<T> window;
    const RowKernels<T>& k;
    int n;
    bool wrapsEverywhere;
};

template <typename T>
class InverseLevel {
public:
    InverseLevel(const Lattice<T>& lattice, const RowKernels<T>& kernels)
        : window(lattice, kernels), k(kernels), n(lattice.rows()), exactEverywhere(lattice.needsBlocks()) {}

    // Even row j is restored from its odd neighbours; then odd row j - 3 has its four even neighbours, and no
    // later row needs even row j - 6.
    void run() {
        int read = 0;
        const int lastEven = n - 2 + n % 2;
        for (int j = 0; j <= lastEven; j += 2) {
            for (; read <= std::min(j + 1, n - 1); ++read) {
                window.read(read);
            }
            window.liftEven(j, window.isAtMost(largestForUnupdate, j - 1, j + 1) ? k.unupdate : k.unupdateExact);
            if (j >= 4) {
                finishOdd(j - 3);
            }
        }
        for (int i = lastEven - 1; i < n; i += 2) {
            finishOdd(i);
        }
        for (int j = n - 2 - n % 2; j < n; j += 2) {
            untransformRow(j);
        }
    }

private:
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
        window.write(y);
    }

    RowWindow<T> window;
    const RowKernels<T>& k;
    int n;
    bool exactEverywhere;
};

template <typename T>
bool applies(const Lattice<T>& lattice, const RowKernels<T>& kernels, long largestLong) {
    if (lattice.columns() < shortestSignal || lattice.rows() < shortestSignal) {
        return false;
    }
    if constexpr (sizeof(T) > sizeof(short)) {
        for (int y = 0; y < lattice.height; y += lattice.step) {
            if (kernels.largest(lattice.row(y), lattice.step, lattice.columns()) > largestLong) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

template <typename T>
bool transformLevel(const Lattice<T>& lattice, Target target) {
    const RowKernels<T>& kernels = rowKernels<T>(target);
    if (!applies(lattice, kernels, largestLongForward)) {
        return false;
    }
    ForwardLevel<T>(lattice, kernels).run();
    return true;
}

template <typename T>
bool untransformLevel(const Lattice<T>& lattice, Target target) {
    const RowKernels<T>& kernels = rowKernels<T>(target);
    if (!applies(lattice, kernels, largestLongInverse)) {
        return false;
    }
    InverseLevel<T>(lattice, kernels).run();
    return true;
}

template bool transformLevel(const Lattice<short>&, Target);
template bool transformLevel(const Lattice<long>&, Target);
template bool untransformLevel(const Lattice<short>&, Target);
template bool untransformLevel(const Lattice<long>&, Target);

} // namespace teko
