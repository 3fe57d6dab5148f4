// The rows that a level of the decomposition is at work on.
#pragma once

#include "filter/rows/rowKernels.hpp"
#include "wavelet/lattice.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

namespace teko {

// The last rows read, by their number. Every row has room for neighbours beyond its ends and for a whole vector
// more, so that the kernels need no special ends.
template <typename T>
class RowWindow {
public:
    using Row = RowSample<T>;

    // A level needs twelve rows at once. The others are for rows that it is ahead of the next finer one on the way
    // back, or behind it: then kernels are called with the same length several times in turn, and the ends of their
    // loops are predicted (1.2 times on the transform of 768 x 512 pixels against going row by row).
    static constexpr int spareRows = 4;

    RowWindow(const Lattice<T>& source, const RowKernels<T>& rowKernels)
        : lattice(source), kernels(rowKernels), evens((lattice.columns() + 1) / 2), odds(lattice.columns() / 2),
          half((evens + 2 * margin + vector - 1) / vector * vector),
          memory(new Row[static_cast<std::size_t>(2 * half) * held + vector]()) {
        Row* const start = memory.get() + alignedStart();
        for (std::size_t i = 0; i < held; ++i) {
            rows[i].even = start + 2 * half * static_cast<long>(i) + margin;
            rows[i].odd = rows[i].even + half;
        }
    }

    // Row y of the lattice; beyond the first and the last, rows are mirrored.
    SplitRow<Row>& operator[](int y) {
        const int last = lattice.rows() - 1;
        const int mirrored = y < 0 ? -y : y > last ? 2 * last - y : y;
        return rows[static_cast<std::size_t>(mirrored) % held];
    }

    // Row y from the approximation that the next finer level makes.
    void take(int y, const Row* samples) {
        SplitRow<Row>& row = (*this)[y];
        row.largest = kernels.split(samples, lattice.columns(), row.even, row.odd);
    }
    // The even samples of row y from a row that the next coarser level has restored.
    void merge(int y, const SplitRow<Row>& restored) {
        SplitRow<Row>& row = (*this)[y];
        row.largest = std::max(row.largest, kernels.merge(row.even, evens, restored.even, restored.odd));
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

private:
    // Rows start on cache lines.
    long alignedStart() const {
        constexpr std::uintptr_t line = 64;
        return static_cast<long>((line - reinterpret_cast<std::uintptr_t>(memory.get()) % line) % line / sizeof(Row));
    }

    // One even sample to the left and two to the right, as if the row were mirrored about its ends.
    void extendEvens(const SplitRow<Row>& row) const {
        row.even[-1] = row.even[1];
        const int lastButOne = odds == evens ? evens - 1 : evens - 2;
        row.even[evens] = row.even[lastButOne];
        row.even[evens + 1] = row.even[lastButOne - 1];
    }

    static constexpr long margin = 32;
    static constexpr long vector = 32;
    static constexpr std::size_t held = 12 + spareRows;

    const Lattice<T>& lattice;
    const RowKernels<T>& kernels;
    const int evens;
    const int odds;
    const long half;
    std::unique_ptr<Row[]> memory;
    std::array<SplitRow<Row>, held> rows{};
};

} // namespace teko
