// SPDX-License-Identifier: Apache-2.0
// The levels of the inverse transform, row after row, and where they have their rows from.
#pragma once

#include "fast/kernels/kernels.hpp"
#include "fast/rows/rowKernels.hpp"
#include "fast/transform/level.hpp"
#include "fast/transform/rowStream.hpp"
#include "memory/memory.hpp"

#include <algorithm>
#include <cstdint>
#include <memory>

namespace teko {

// Up to which magnitudes in the rows that a level starts from the kernels for small values give the exact result
// everywhere: steps of the inverse make samples at most 1.35 and 2.7 times as large, and exact sums need
// 20 * 1.35 * 1212 < 32768.
constexpr std::int64_t largestForUnupdate = 6000;
constexpr std::int64_t largestForExactSum = 1212;

// A level of the inverse. fill(y, row) gives it the coefficients and the approximation of a row, in the order of the
// rows, and returns whether the rows can hold all that the level makes of them.
template <typename T, typename Fill>
class InverseLevel final : public LevelSource<ImageSample<T>> {
public:
    InverseLevel(const LevelGrid<T>& grid, const RowKernels<T>& kernels, const Fill& fillRow)
        : window(grid, kernels), k(kernels), fill(fillRow), n(grid.rows()), exactEverywhere(grid.hasColumnsInKernel()) {
    }

    // Goes on with rows of int where a level of narrow rows could not: at a row that is there, but for what refill
    // gives.
    template <typename NarrowFill>
    InverseLevel(const LevelGrid<T>& grid, const RowKernels<T>& kernels, const Fill& fillRow,
                 const InverseLevel<Int64In16, NarrowFill>& narrow)
        : window(grid, kernels, narrow.window), k(kernels), fill(fillRow), n(narrow.n),
          exactEverywhere(narrow.exactEverywhere), read(narrow.read), next(narrow.next), restored(narrow.restored) {
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

    // After reach, until a later row is reached.
    const PolyphaseRow<RowSample<T>>& row(int y) { return window[y]; }

    // For rows that all suit.
    HandedPolyphaseRow<ImageSample<T>> restore(int y) override {
        reach(y);
        return row(y);
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
        if (window[y].bound > bound) {
            bound = window[y].bound;
            const bool isSmall = bound <= largestForUnupdate;
            along = isSmall ? k.untransformRow : k.untransformRowExact;
            unupdate = isSmall ? k.unupdate : k.unupdateExact;
        }
    }

    void finishOdd(int i) {
        const bool isEnd = i == 1 || i + 3 >= n;
        const bool mayWrap = !exactEverywhere && !isEnd;
        window.liftOdd(i, mayWrap || bound <= largestForExactSum ? k.unpredict : k.unpredictExact);
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
    int read = 0;            // rows
    int next = 0;            // even row
    int restored = -1;       // all rows up to this one
    std::int64_t bound = -1; // of all rows so far
    typename RowWindow<T>::BothSteps along = nullptr;
    typename RowWindow<T>::EvenStep unupdate = nullptr;
};

// A level of four or five columns, the coarsest. Takes its coefficients from fill(y, row), as InverseLevel.
template <typename T, typename Fill>
class InverseWholeLevel final : public LevelSource<T> {
public:
    InverseWholeLevel(const LevelGrid<T>& grid, const Fill& fillRow) : plane(grid), fill(fillRow) {}

    HandedPolyphaseRow<T> restore(int y) override {
        if (!isRestored) {
            restoreAll();
        }
        current = plane.splitRow(y);
        return current;
    }

private:
    void restoreAll() {
        for (int y = 0; y < plane.rows; ++y) {
            PolyphaseRow<RowSample<T>> row = plane.splitRow();
            fill(y, row);
            plane.setRow(y, row);
        }
        plane.untransform();
        isRestored = true;
    }

    WholeLevel<T> plane;
    Fill fill;
    PolyphaseRow<RowSample<T>> current{};
    bool isRestored = false;
};

// Whether rows of a class are taken as rows of 16 bits.
template <typename T>
bool isTakenIn16(const CoefficientSource<T>& source, int c, const Kernels& kernels) {
    return std::is_same_v<T, std::int64_t> && kernels.prefers16BitRows && source.magnitudeBits(c) < 16;
}

// The coefficients of a level's class and, of the coarsest level, of the last class behind it.
template <typename T>
class ClassRows {
public:
    using Row = RowSample<T>;

    ClassRows(const LevelShape& shape, const Kernels& itsKernels, CoefficientSource<T>& itsSource)
        : c(shape.c), isIn16{isTakenIn16(itsSource, c, itsKernels),
                             shape.isCoarsest() && isTakenIn16(itsSource, c + 1, itsKernels)},
          kernels(itsKernels), source(itsSource) {}

    // The next n of the first class, those at even and at odd places apart.
    void split(int n, PolyphaseRow<Row>& row) {
        if (!isIn16[0]) {
            row.bound = kernels.rows<T>().split(source.take(c, n), n, row.even, row.odd);
        } else if constexpr (std::is_same_v<T, std::int64_t>) {
            kernels.narrowRows.splitWidening(source.take16(c, n), n, row.even, row.odd);
        }
    }

    // The next n of class c + which.
    void copy(int which, int n, Row* to) {
        if (isIn16[which]) {
            std::copy_n(source.take16(c + which, n), n, to);
        } else {
            std::copy_n(source.take(c + which, n), n, to);
        }
    }

private:
    int c;
    bool isIn16[2];
    const Kernels& kernels;
    CoefficientSource<T>& source;
};

// Gives a level its rows: coefficients from a source, the others from the next coarser level, which all but the
// coarsest have. That level is not owned.
template <typename T>
class FillRows {
public:
    using Row = RowSample<T>;

    FillRows(const LevelShape& levelShape, const Kernels& allKernels, CoefficientSource<T>& source,
             LevelSource<T>* coarserLevel)
        : shape(levelShape), kernels(allKernels.rows<T>()), narrowRows(allKernels.narrowRows),
          classes(shape, allKernels, source), coarser(coarserLevel) {}

    bool operator()(int y, PolyphaseRow<Row>& row) {
        if (y % 2 != 0) {
            classes.split(shape.columns, row);
            return true;
        }
        classes.copy(0, shape.odds(), row.odd);
        if (shape.isCoarsest()) {
            classes.copy(1, shape.evens(), row.even);
        }
        refill(y, row);
        return true;
    }

    // Gives row y, an even one, anew what the next coarser level has of it, and its bound.
    void refill(int y, PolyphaseRow<Row>& row) {
        if (shape.isCoarsest()) {
            row.bound = kernels.bound(row.even, shape.evens());
        } else {
            merge(coarser->restore(y / 2), row);
        }
        if constexpr (std::is_same_v<T, std::int16_t>) { // kernels for int rows need no bound
            row.bound = std::max(row.bound, kernels.bound(row.odd, shape.odds()));
        }
    }

private:
    void merge(HandedPolyphaseRow<T> restored, PolyphaseRow<Row>& row) {
        if constexpr (std::is_same_v<T, std::int16_t>) {
            row.bound = kernels.merge(row.even, shape.evens(), restored.even, restored.odd);
        } else if (restored.narrow != nullptr) {
            narrowRows.mergeWidening(row.even, shape.evens(), restored.narrow->even, restored.narrow->odd);
        } else {
            kernels.merge(row.even, shape.evens(), restored.wide->even, restored.wide->odd);
        }
    }

    LevelShape shape;
    const RowKernels<T>& kernels;
    const NarrowRowKernels& narrowRows;
    ClassRows<T> classes;
    LevelSource<T>* coarser;
};

// Gives a level narrow rows. A row does not suit where the approximations up to there have too large a range.
class FillNarrowRows {
public:
    FillNarrowRows(const LevelShape& levelShape, const Kernels& kernels, CoefficientSource<std::int64_t>& itsSource,
                   LevelSource<std::int64_t>* coarserLevel)
        : shape(levelShape), largest((1 << itsSource.magnitudeBits(shape.c)) - 1), rows(kernels.rows<Int64In16>()),
          narrowRows(kernels.narrowRows), source(itsSource), coarser(coarserLevel) {}

    // Whether a level can start so: it has a coarser one, and its own coefficients fit.
    static bool suits(const LevelShape& shape, const Kernels& kernels, const CoefficientSource<std::int64_t>& source) {
        return shape.hasCoarser() && isTakenIn16(source, shape.c, kernels);
    }

    bool operator()(int y, PolyphaseRow<std::int16_t>& row) {
        if (y % 2 != 0) {
            rows.split(source.take16(shape.c, shape.columns), shape.columns, row.even, row.odd);
            return true;
        }
        std::copy_n(source.take16(shape.c, shape.odds()), shape.odds(), row.odd);
        const AnyPolyphaseRow restored = coarser->restore(y / 2);
        if (restored.narrow != nullptr) {
            narrowRows.merge(row.even, shape.evens(), restored.narrow->even, restored.narrow->odd, approximations);
        } else {
            narrowRows.mergeNarrowing(row.even, shape.evens(), restored.wide->even, restored.wide->odd, approximations);
        }
        return approximations.fitNarrowRows(largest);
    }

private:
    LevelShape shape;
    int largest; // of the coefficients that are no approximations
    const RowKernels<Int64In16>& rows;
    const NarrowRowKernels& narrowRows;
    CoefficientSource<std::int64_t>& source;
    LevelSource<std::int64_t>* coarser;
    SampleRange approximations; // so far
};

// Stands for the coarsest level where no level is to be undone: its rows are those of the last class.
template <typename T>
class RowsOfLastClass final : public LevelSource<T> {
public:
    using Row = RowSample<T>;

    RowsOfLastClass(const LevelShape& levelShape, const Kernels& kernels, CoefficientSource<T>& source)
        : shape(levelShape), classes(shape, kernels, source),
          memory(2 * static_cast<std::size_t>(shape.evens() + vector)), row{memory.data(),
                                                                            memory.data() + shape.evens() + vector, 0} {
    }

    HandedPolyphaseRow<T> restore(int) override {
        classes.split(shape.columns, row);
        return row;
    }

private:
    static constexpr int vector = 32;

    LevelShape shape;
    ClassRows<T> classes;
    Vector<Row> memory;
    PolyphaseRow<Row> row;
};

// A level of an image of 16 bits. Its rows are narrow, where its target gains from that, up to the first one that has
// no room in them; from that one on they are rows of int.
class AdaptiveInverseLevel final : public LevelSource<std::int64_t> {
public:
    AdaptiveInverseLevel(const LevelGrid<std::int64_t>& itsGrid, const LevelShape& shape, const Kernels& itsKernels,
                         CoefficientSource<std::int64_t>& source, LevelSource<std::int64_t>* coarser)
        : grid(itsGrid), kernels(itsKernels), wideFill(shape, kernels, source, coarser) {
        if (FillNarrowRows::suits(shape, kernels, source)) {
            narrow = std::make_unique<Narrow>(grid.of<Int64In16>(), kernels.rows<Int64In16>(),
                                              FillNarrowRows(shape, kernels, source, coarser));
        } else {
            wide = std::make_unique<Wide>(grid, kernels.rows<std::int64_t>(), wideFill);
        }
    }

    AnyPolyphaseRow restore(int y) override {
        if (narrow && !narrow->reach(y)) {
            wide = std::make_unique<Wide>(grid, kernels.rows<std::int64_t>(), wideFill, *narrow);
            narrow.reset();
        }
        return narrow ? narrow->restore(y) : wide->restore(y);
    }

private:
    using Narrow = InverseLevel<Int64In16, FillNarrowRows>;
    using Wide = InverseLevel<std::int64_t, FillRows<std::int64_t>>;

    LevelGrid<std::int64_t> grid;
    const Kernels& kernels;
    FillRows<std::int64_t> wideFill;
    std::unique_ptr<Narrow> narrow;
    std::unique_ptr<Wide> wide;
};

// A level of the inverse, or what stands for it behind the last one; the next coarser one, null where there is none, is
// not owned.
template <typename T>
std::unique_ptr<LevelSource<T>> makeInverseLevel(const LevelGrid<T>& grid, const LevelShape& shape,
                                                 const Kernels& kernels, CoefficientSource<T>& source,
                                                 LevelSource<T>* coarser) {
    if (shape.isLastClass()) {
        return std::make_unique<RowsOfLastClass<T>>(shape, kernels, source);
    }
    const FillRows<T> fill(shape, kernels, source, coarser);
    if (!grid.isLongEnough()) {
        return std::make_unique<InverseWholeLevel<T, FillRows<T>>>(grid, fill);
    }
    if constexpr (std::is_same_v<T, std::int64_t>) {
        return std::make_unique<AdaptiveInverseLevel>(grid, shape, kernels, source, coarser);
    } else {
        return std::make_unique<InverseLevel<T, FillRows<T>>>(grid, kernels.template rows<T>(), fill);
    }
}

} // namespace teko
