// SPDX-License-Identifier: Apache-2.0
// What the levels of row streams have in common, forward and back: their shape, the next coarser one as a level sees
// it, and the window of rows that a level is at work on.
#pragma once

#include "fast/rows/rowKernels.hpp"
#include "filter/filter.hpp"
#include "filter/lifting.hpp"
#include "memory/memory.hpp"
#include "wavelet/levels.hpp"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace teko {

// A level among those of a plane. One more than there are stands for none: its samples are the last class.
struct LevelShape {
    int columns;
    int c;      // class of all coefficients but those that the next coarser level splits
    int levels; // of the plane

    int evens() const { return (columns + 1) / 2; }
    int odds() const { return columns / 2; }
    LevelShape coarser() const { return {evens(), c + 1, levels}; }

    bool hasCoarser() const { return c + 1 < levels; }
    bool isCoarsest() const { return c + 1 == levels; } // which splits none: those are class c + 1
    bool isLastClass() const { return c == levels; }
};

// The next coarser level as a level of the forward transform sees it: takes the rows of its approximation, from the
// top.
template <typename T>
class LevelSink : public InTakenMemory {
public:
    virtual ~LevelSink() = default;

    virtual void take(int y, HandedRow<T> samples) = 0;
    // After the last row.
    virtual void finish() = 0;
    // Then: whether it is proved that the inverse gives the rows back. Only short samples can fail to.
    virtual bool isReversible() const { return true; }
};

// The next coarser level as a level of the inverse sees it: restores the rows of its approximation.
template <typename T>
class LevelSource : public InTakenMemory {
public:
    virtual ~LevelSource() = default;

    // Row y, to be used before the next is asked for.
    virtual HandedPolyphaseRow<T> restore(int y) = 0;
};

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

    RowWindow(const LevelGrid<T>& source, const RowKernels<T>& rowKernels)
        : kernels(rowKernels), lastRow(source.rows() - 1), evens((source.columns() + 1) / 2),
          odds(source.columns() / 2), half((evens + 2 * margin + vector - 1) / vector * vector),
          memory(takeArray<Row>(memorySamples())) {
        std::fill_n(memory.get(), memorySamples(), Row{0});
        Row* const start = memory.get() + alignedStart();
        for (std::size_t i = 0; i < used(); ++i) {
            rows[i].even = start + 2 * half * static_cast<std::int64_t>(i) + margin;
            rows[i].odd = rows[i].even + half;
        }
    }

    // The same rows, of other samples.
    template <typename Other>
    RowWindow(const LevelGrid<T>& source, const RowKernels<T>& rowKernels, const RowWindow<Other>& other)
        : RowWindow(source, rowKernels) {
        for (std::size_t i = 0; i < used(); ++i) {
            std::copy_n(other.rows[i].even - margin, 2 * half, rows[i].even - margin);
            rows[i].bound = other.rows[i].bound;
        }
    }

    // Row y of the level; beyond the first and the last, rows are mirrored.
    PolyphaseRow<Row>& operator[](int y) {
        assert(y >= -3 && y <= lastRow + 3);
        const int mirrored = y < 0 ? -y : y > lastRow ? 2 * lastRow - y : y;
        return rows[static_cast<std::size_t>(mirrored) % held];
    }

    // Row y from the approximation that the next finer level makes.
    void take(int y, const Row* samples) {
        PolyphaseRow<Row>& row = (*this)[y];
        row.bound = kernels.split(samples, evens + odds, row.even, row.odd);
    }

    using Step = void (*)(Row*, const Row*, const Row*, const Row*, const Row*, int);
    using EvenStep = void (*)(Row*, const Row*, const Row*, int);

    // A step down the columns, on row y and its neighbours.
    void liftOdd(int y, Step step) {
        const PolyphaseRow<Row>&a = (*this)[y - 3], &b = (*this)[y - 1], &c = (*this)[y + 1], &d = (*this)[y + 3];
        step((*this)[y].even, a.even, b.even, c.even, d.even, evens);
        step((*this)[y].odd, a.odd, b.odd, c.odd, d.odd, odds);
    }
    void liftEven(int y, EvenStep step) {
        const PolyphaseRow<Row>&a = (*this)[y - 1], &b = (*this)[y + 1];
        step((*this)[y].even, a.even, b.even, evens);
        step((*this)[y].odd, a.odd, b.odd, odds);
    }

    using BothSteps = void (*)(Row*, Row*, int);

    // Both steps along row y.
    void liftAlong(int y, BothSteps steps) {
        const PolyphaseRow<Row>& row = (*this)[y];
        steps(row.even, row.odd, evens + odds);
    }

    // Makes the bound of row y that of its samples as they are now.
    void boundRow(int y) {
        PolyphaseRow<Row>& row = (*this)[y];
        row.bound = std::max(kernels.bound(row.even, evens), kernels.bound(row.odd, odds));
    }
    // That of the four rows that row y is predicted from.
    std::int64_t boundAround(int y) {
        return std::max({(*this)[y - 3].bound, (*this)[y - 1].bound, (*this)[y + 1].bound, (*this)[y + 3].bound});
    }
    // Whether all their predict sums are samples.
    bool predictSumsFit(int y) {
        const PolyphaseRow<Row>&a = (*this)[y - 3], &b = (*this)[y - 1], &c = (*this)[y + 1], &d = (*this)[y + 3];
        return predictSumsFit(a.even, b.even, c.even, d.even, evens) &&
               predictSumsFit(a.odd, b.odd, c.odd, d.odd, odds);
    }

private:
    template <typename Other>
    friend class RowWindow;

    static bool predictSumsFit(const Row* farLeft, const Row* left, const Row* right, const Row* farRight, int n) {
        bool fit = true;
        for (int i = 0; i < n; ++i) {
            const auto sum = predictSum<Wide<Row>>(farLeft[i], left[i], right[i], farRight[i]);
            fit &= sum == static_cast<Row>(sum);
        }
        return fit;
    }

    std::size_t memorySamples() const { return static_cast<std::size_t>(2 * half) * used() + 2 * vector; }
    std::size_t used() const { return std::min(held, static_cast<std::size_t>(lastRow + 1)); }

    // Rows start on cache lines.
    std::int64_t alignedStart() const {
        constexpr std::uintptr_t line = 64;
        return static_cast<std::int64_t>((line - reinterpret_cast<std::uintptr_t>(memory.get()) % line) % line /
                                         sizeof(Row));
    }

    static constexpr std::int64_t margin = 32;
    static constexpr std::int64_t vector = 32;
    static constexpr std::size_t held = 12 + spareRows;

    const RowKernels<T>& kernels;
    const int lastRow; // kept here: asking the grid costs a division (1.05 times on encodes cut to 5 %)
    const int evens;
    const int odds;
    const std::int64_t half;
    TakenArray<Row> memory;
    std::array<PolyphaseRow<Row>, held> rows{};
};

// The samples of a level that has too few columns for row kernels, four or five, held as a whole. The plain filter
// works on them.
template <typename T>
class WholeLevel {
public:
    using Row = RowSample<T>;

    explicit WholeLevel(const LevelGrid<T>& grid)
        : columns(grid.columns()), rows(grid.rows()), needsBlocks(grid.needsBlocks()),
          samples(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows)),
          evens(static_cast<std::size_t>(columns + 1) / 2), odds(evens.size()) {}

    template <typename AnySample>
    void setRow(int y, const AnySample* from) {
        std::copy_n(from, columns, row(y));
    }
    void setRow(int y, const PolyphaseRow<Row>& from) {
        for (int x = 0; x < columns; ++x) {
            row(y)[x] = (x % 2 == 0 ? from.even : from.odd)[x / 2];
        }
    }

    // Room for a row.
    PolyphaseRow<Row> splitRow() { return {evens.data(), odds.data(), 0}; }
    // Row y there.
    PolyphaseRow<Row> splitRow(int y) {
        PolyphaseRow<Row> split = splitRow();
        for (int x = 0; x < columns; ++x) {
            const T sample = row(y)[x];
            (x % 2 == 0 ? split.even : split.odd)[x / 2] = static_cast<Row>(sample);
            split.bound = std::max(split.bound, std::abs(std::int64_t{sample}));
        }
        return split;
    }

    void transform() {
        Filter4_2<T> filter;
        for (int y = 0; y < rows; ++y) {
            filter.transform(row(y), columns, 1);
        }
        filterColumns(filter, &Filter<T>::transform, &Filter<T>::transformInner);
    }
    void untransform() {
        Filter4_2<T> filter;
        filterColumns(filter, &Filter<T>::untransform, &Filter<T>::untransformInner);
        for (int y = 0; y < rows; ++y) {
            filter.untransform(row(y), columns, 1);
        }
    }

    // Whether the inverse, which is tried on a copy, gives that.
    bool isUndoneTo(const WholeLevel& original) const {
        WholeLevel restored = *this;
        restored.untransform();
        return restored.samples == original.samples;
    }

    const int columns;
    const int rows;

private:
    T* row(int y) { return samples.data() + static_cast<std::int64_t>(y) * columns; }

    // Through a copy with room for edges, in the way that the level's place in the image demands.
    void filterColumns(Filter<T>& filter, void (Filter<T>::*inPlace)(T*, int, unsigned long),
                       void (Filter<T>::*onCopy)(T*, int)) {
        constexpr int edgeRoom = Filter<T>::edgeRoom;
        Vector<T> copy(static_cast<std::size_t>(rows + 2 * edgeRoom));
        T* const column = copy.data() + edgeRoom;
        for (int x = 0; x < columns; ++x) {
            for (int y = 0; y < rows; ++y) {
                column[y] = row(y)[x];
            }
            if (needsBlocks) {
                (filter.*onCopy)(column, rows);
            } else {
                (filter.*inPlace)(column, rows, 1);
            }
            for (int y = 0; y < rows; ++y) {
                row(y)[x] = column[y];
            }
        }
    }

    bool needsBlocks;
    Vector<T> samples;
    Vector<Row> evens;
    Vector<Row> odds;
};

} // namespace teko
