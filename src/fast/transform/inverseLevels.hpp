// SPDX-License-Identifier: Apache-2.0
// The levels of the inverse transform, row after row, and where they have their rows from.
#pragma once

#include "fast/kernels/kernels.hpp"
#include "fast/rows/rowKernels.hpp"
#include "fast/transform/level.hpp"
#include "fast/transform/rowStream.hpp"
#include "fast/transform/rowWindow.hpp"
#include "fast/transform/wholeLevel.hpp"
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
class InverseLevel final : public LevelSource<T> {
public:
    InverseLevel(const LevelGrid<T>& lattice, const RowKernels<T>& kernels, const Fill& fillRow)
        : window(lattice, kernels), k(kernels), fill(fillRow), n(lattice.rows()),
          exactEverywhere(lattice.hasColumnsInKernel()) {}

    // Goes on where a level of other samples could not: at a row that is there, but for what refill gives.
    template <typename Other, typename OtherFill>
    InverseLevel(const LevelGrid<T>& lattice, const RowKernels<T>& kernels, const Fill& fillRow,
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
    const PolyphaseRow<RowSample<T>>& restore(int y) override {
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
            along = isSmall ? k.untransformRow : k.untransformRowExact;
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

// Gives its rows as either.
class AdaptiveLevelSource : public InTakenMemory {
public:
    virtual ~AdaptiveLevelSource() = default;

    // Row y, to be used before the next is asked for.
    virtual AnyPolyphaseRow restore(int y) = 0;
};

// A level that starts small, where it is told that it can, and goes on as a wide one from the first row on that does
// not suit. fill(y, row) is as for InverseLevel; wideFill also has refill(y, row), for a row that did not suit.
template <typename SmallFill, typename WideFill>
class AdaptiveInverseLevel final : public AdaptiveLevelSource {
public:
    AdaptiveInverseLevel(const LevelGrid<std::int64_t>& itsLattice, Target itsTarget, bool startsSmall,
                         const SmallFill& smallFill, const WideFill& itsWideFill)
        : lattice(itsLattice), target(itsTarget), wideFill(itsWideFill) {
        if (startsSmall) {
            small = std::make_unique<Small>(lattice.of<Int64In16>(), kernelsOf(target).rows<Int64In16>(), smallFill);
        } else {
            wide = std::make_unique<Wide>(lattice, kernelsOf(target).rows<std::int64_t>(), wideFill);
        }
    }

    AnyPolyphaseRow restore(int y) override {
        if (small && !small->reach(y)) {
            wide = std::make_unique<Wide>(lattice, kernelsOf(target).rows<std::int64_t>(), wideFill, *small);
            small.reset();
        }
        return small ? AnyPolyphaseRow{&small->restore(y), nullptr} : AnyPolyphaseRow{nullptr, &wide->restore(y)};
    }

private:
    using Small = InverseLevel<Int64In16, SmallFill>;
    using Wide = InverseLevel<std::int64_t, WideFill>;

    LevelGrid<std::int64_t> lattice;
    Target target;
    WideFill wideFill;
    std::unique_ptr<Small> small;
    std::unique_ptr<Wide> wide;
};

template <typename Fill>
class InverseWholeLevelOfAny final : public AdaptiveLevelSource {
public:
    InverseWholeLevelOfAny(const LevelGrid<std::int64_t>& lattice, const Fill& fill) : level(lattice, fill) {}

    AnyPolyphaseRow restore(int y) override { return {nullptr, &level.restore(y)}; }

private:
    InverseWholeLevel<std::int64_t, Fill> level;
};

// Gives a level its rows: coefficients from a source, the others from the next coarser level, which all but the
// coarsest have.
template <typename T>
class FillRows {
public:
    using Row = RowSample<T>;

    FillRows(const LevelShape& levelShape, const RowKernels<T>& itsKernels, CoefficientSource<T>& itsSource,
             LevelSource<T>* coarserLevel)
        : shape(levelShape), kernels(itsKernels), source(itsSource), coarser(coarserLevel) {}

    bool operator()(int y, PolyphaseRow<Row>& row) const {
        if (y % 2 != 0) {
            row.largest = kernels.split(source.take(shape.c, shape.columns), shape.columns, row.even, row.odd);
            return true;
        }
        std::copy_n(source.take(shape.c, shape.odds()), shape.odds(), row.odd);
        if (shape.isCoarsest) {
            std::copy_n(source.take(shape.c + 1, shape.evens()), shape.evens(), row.even);
            row.largest = kernels.largest(row.even, shape.evens());
        } else {
            const PolyphaseRow<Row>& restored = coarser->restore(y / 2);
            row.largest = kernels.merge(row.even, shape.evens(), restored.even, restored.odd);
        }
        row.largest = std::max(row.largest, kernels.largest(row.odd, shape.odds()));
        return true;
    }

private:
    LevelShape shape;
    const RowKernels<T>& kernels;
    CoefficientSource<T>& source;
    LevelSource<T>* coarser; // not owned
};

// Whether a class of an image of 16 bits is taken in rows of 16 bits.
inline bool isTaken16(const CoefficientSource<std::int64_t>& source, int c, Target target) {
    return kernelsOf(target).prefers16BitRows && source.magnitudeBits(c) < 16;
}

// Fills rows of int, from classes and coarser rows of 16 bits or of int. It keeps no bound: kernels for int rows need
// none.
class FillWideRows {
public:
    FillWideRows(const LevelShape& levelShape, Target target, CoefficientSource<std::int64_t>& itsSource,
                 AdaptiveLevelSource* coarserLevel)
        : shape(levelShape), isSmall{isTaken16(itsSource, shape.c, target), isTaken16(itsSource, shape.c + 1, target)},
          kernels(kernelsOf(target).rows<std::int64_t>()), between(kernelsOf(target).conversions), source(itsSource),
          coarser(coarserLevel) {}

    bool operator()(int y, PolyphaseRow<int>& row) const {
        if (y % 2 != 0) {
            split(row);
            return true;
        }
        copy(0, shape.odds(), row.odd);
        if (shape.isCoarsest) {
            copy(1, shape.evens(), row.even);
        }
        refill(y, row);
        return true;
    }

    // What the next coarser level has of row y. Only even rows can fail to suit.
    void refill(int y, PolyphaseRow<int>& row) const {
        if (shape.isCoarsest) {
            return;
        }
        const AnyPolyphaseRow restored = coarser->restore(y / 2);
        if (restored.small != nullptr) {
            between.mergeWidening(row.even, shape.evens(), restored.small->even, restored.small->odd);
        } else {
            kernels.merge(row.even, shape.evens(), restored.wide->even, restored.wide->odd);
        }
    }

private:
    void split(PolyphaseRow<int>& row) const {
        if (isSmall[0]) {
            between.splitWidening(source.take16(shape.c, shape.columns), shape.columns, row.even, row.odd);
        } else {
            kernels.split(source.take(shape.c, shape.columns), shape.columns, row.even, row.odd);
        }
    }

    void copy(int which, int n, int* to) const {
        const int c = shape.c + which;
        if (isSmall[which]) {
            std::copy_n(source.take16(c, n), n, to);
        } else {
            std::copy_n(source.take(c, n), n, to);
        }
    }

    LevelShape shape;
    bool isSmall[2]; // the class, and the next one
    const RowKernels<std::int64_t>& kernels;
    const RowConversions& between;
    CoefficientSource<std::int64_t>& source;
    AdaptiveLevelSource* coarser;
};

// Fills rows of 16 bits. A row does not suit where the approximations up to there have too large a range.
class FillSmallRows {
public:
    FillSmallRows(const LevelShape& levelShape, Target target, CoefficientSource<std::int64_t>& itsSource,
                  AdaptiveLevelSource* coarserLevel)
        : shape(levelShape), largest((1 << itsSource.magnitudeBits(shape.c)) - 1),
          kernels(kernelsOf(target).rows<Int64In16>()), between(kernelsOf(target).conversions), source(itsSource),
          coarser(coarserLevel) {}

    // Whether a level can start so.
    static bool suit(const LevelShape& shape, Target target, const CoefficientSource<std::int64_t>& source) {
        return isTaken16(source, shape.c, target) && (!shape.isCoarsest || isTaken16(source, shape.c + 1, target));
    }

    bool operator()(int y, PolyphaseRow<std::int16_t>& row) {
        if (y % 2 != 0) {
            kernels.split(source.take16(shape.c, shape.columns), shape.columns, row.even, row.odd);
            return true;
        }
        std::copy_n(source.take16(shape.c, shape.odds()), shape.odds(), row.odd);
        if (shape.isCoarsest) {
            std::copy_n(source.take16(shape.c + 1, shape.evens()), shape.evens(), row.even);
            between.extendRange(row.even, shape.evens(), range);
        } else {
            merge(coarser->restore(y / 2), row);
        }
        return range.isSmallWith(largest);
    }

private:
    void merge(const AnyPolyphaseRow& restored, PolyphaseRow<std::int16_t>& row) {
        if (restored.small != nullptr) {
            between.mergeExtending(row.even, shape.evens(), restored.small->even, restored.small->odd, range);
        } else {
            between.mergeNarrowing(row.even, shape.evens(), restored.wide->even, restored.wide->odd);
            between.extendRangeOfWide(restored.wide->even, (shape.evens() + 1) / 2, range);
            between.extendRangeOfWide(restored.wide->odd, shape.evens() / 2, range);
        }
    }

    LevelShape shape;
    int largest; // of the coefficients that are no approximations
    const RowKernels<Int64In16>& kernels;
    const RowConversions& between;
    CoefficientSource<std::int64_t>& source;
    AdaptiveLevelSource* coarser;
    SampleRange range; // of the approximations so far
};

// Stands for the coarsest level where no level is to be undone: its rows are those of the last class.
class RowsOfLastClass final : public LevelSource<std::int16_t> {
public:
    RowsOfLastClass(const LevelShape& levelShape, Target target, CoefficientSource<std::int16_t>& itsSource)
        : shape(levelShape), kernels(kernelsOf(target).rows<std::int16_t>()), source(itsSource),
          memory(2 * static_cast<std::size_t>(shape.evens() + vector)), row{memory.data(),
                                                                            memory.data() + shape.evens() + vector, 0} {
    }

    const PolyphaseRow<std::int16_t>& restore(int) override {
        row.largest = kernels.split(source.take(shape.c, shape.columns), shape.columns, row.even, row.odd);
        return row;
    }

private:
    static constexpr int vector = 32;

    LevelShape shape;
    const RowKernels<std::int16_t>& kernels;
    CoefficientSource<std::int16_t>& source;
    Vector<std::int16_t> memory;
    PolyphaseRow<std::int16_t> row;
};

class RowsOfLastClassOfAny final : public AdaptiveLevelSource {
public:
    RowsOfLastClassOfAny(const LevelShape& levelShape, Target target, CoefficientSource<std::int64_t>& itsSource)
        : shape(levelShape), isSmall(isTaken16(itsSource, shape.c, target)),
          kernels(kernelsOf(target).rows<std::int64_t>()), between(kernelsOf(target).conversions), source(itsSource),
          memory(2 * static_cast<std::size_t>(shape.evens() + vector)), row{memory.data(),
                                                                            memory.data() + shape.evens() + vector, 0} {
    }

    AnyPolyphaseRow restore(int) override {
        if (isSmall) {
            between.splitWidening(source.take16(shape.c, shape.columns), shape.columns, row.even, row.odd);
        } else {
            kernels.split(source.take(shape.c, shape.columns), shape.columns, row.even, row.odd);
        }
        return {nullptr, &row};
    }

private:
    static constexpr int vector = 32;

    LevelShape shape;
    bool isSmall;
    const RowKernels<std::int64_t>& kernels;
    const RowConversions& between;
    CoefficientSource<std::int64_t>& source;
    Vector<int> memory;
    PolyphaseRow<int> row;
};

// The levels that a stream is made of.
template <typename T>
struct InverseLevels;

template <>
struct InverseLevels<std::int16_t> {
    using Coarser = LevelSource<std::int16_t>;

    static std::unique_ptr<Coarser> make(const LevelGrid<std::int16_t>& lattice, const LevelShape& shape, Target target,
                                         CoefficientSource<std::int16_t>& source, Coarser* coarser) {
        using Fill = FillRows<std::int16_t>;
        const Fill fill(shape, kernelsOf(target).rows<std::int16_t>(), source, coarser);
        if (lattice.isLongEnough()) {
            return std::make_unique<InverseLevel<std::int16_t, Fill>>(lattice, kernelsOf(target).rows<std::int16_t>(),
                                                                      fill);
        }
        return std::make_unique<InverseWholeLevel<std::int16_t, Fill>>(lattice, fill);
    }
    static std::unique_ptr<Coarser> makeNone(const LevelShape& shape, Target target,
                                             CoefficientSource<std::int16_t>& source) {
        return std::make_unique<RowsOfLastClass>(shape, target, source);
    }
};

template <>
struct InverseLevels<std::int64_t> {
    using Coarser = AdaptiveLevelSource;

    static std::unique_ptr<Coarser> make(const LevelGrid<std::int64_t>& lattice, const LevelShape& shape, Target target,
                                         CoefficientSource<std::int64_t>& source, Coarser* coarser) {
        const FillWideRows wideFill(shape, target, source, coarser);
        if (lattice.isLongEnough()) {
            return std::make_unique<AdaptiveInverseLevel<FillSmallRows, FillWideRows>>(
                lattice, target, FillSmallRows::suit(shape, target, source),
                FillSmallRows(shape, target, source, coarser), wideFill);
        }
        return std::make_unique<InverseWholeLevelOfAny<FillWideRows>>(lattice, wideFill);
    }
    static std::unique_ptr<Coarser> makeNone(const LevelShape& shape, Target target,
                                             CoefficientSource<std::int64_t>& source) {
        return std::make_unique<RowsOfLastClassOfAny>(shape, target, source);
    }
};

} // namespace teko
