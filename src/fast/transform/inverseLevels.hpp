// SPDX-License-Identifier: Apache-2.0
// The levels of an inverse stream, and where they have their rows from.
#pragma once

#include "fast/kernels/kernels.hpp"
#include "fast/transform/levelShape.hpp"
#include "fast/transform/rowStream.hpp"
#include "fast/transform/wideningInverseLevel.hpp"
#include "memory/memory.hpp"

#include <algorithm>
#include <cstdint>
#include <memory>

namespace teko {

// Gives a level its rows: coefficients from a source, the others from the next coarser level, which all but the
// coarsest have.
template <typename T>
class FillRows {
public:
    using Row = RowSample<T>;

    FillRows(const LevelShape& levelShape, const RowKernels<T>& itsKernels, CoefficientSource<T>& itsSource,
             CoarserInverse<T>* coarserLevel)
        : shape(levelShape), kernels(itsKernels), source(itsSource), coarser(coarserLevel) {}

    bool operator()(int y, SplitRow<Row>& row) const {
        if (y % 2 != 0) {
            row.largest = kernels.split(source.take(shape.c, shape.columns), shape.columns, row.even, row.odd);
            return true;
        }
        std::copy_n(source.take(shape.c, shape.odds()), shape.odds(), row.odd);
        if (shape.isCoarsest) {
            std::copy_n(source.take(shape.c + 1, shape.evens()), shape.evens(), row.even);
            row.largest = kernels.largest(row.even, shape.evens());
        } else {
            const SplitRow<Row>& restored = coarser->restore(y / 2);
            row.largest = kernels.merge(row.even, shape.evens(), restored.even, restored.odd);
        }
        row.largest = std::max(row.largest, kernels.largest(row.odd, shape.odds()));
        return true;
    }

private:
    LevelShape shape;
    const RowKernels<T>& kernels;
    CoefficientSource<T>& source;
    CoarserInverse<T>* coarser; // not owned
};

// Whether a class of long samples is taken in short.
inline bool isTakenSmall(const CoefficientSource<std::int64_t>& source, int c, Target target) {
    return kernelsOf(target).prefersSmallRows && source.magnitudeBits(c) < 16;
}

// The same in int, from classes and levels of either kind. Kernels for int rows do without bounds.
class FillWideRows {
public:
    FillWideRows(const LevelShape& levelShape, Target target, CoefficientSource<std::int64_t>& itsSource,
                 CoarserInverseOfAny* coarserLevel)
        : shape(levelShape), isSmall{isTakenSmall(itsSource, shape.c, target),
                                     isTakenSmall(itsSource, shape.c + 1, target)},
          kernels(kernelsOf(target).rows<std::int64_t>()), between(kernelsOf(target).conversions), source(itsSource),
          coarser(coarserLevel) {}

    bool operator()(int y, SplitRow<int>& row) const {
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
    void refill(int y, SplitRow<int>& row) const {
        if (shape.isCoarsest) {
            return;
        }
        const AnySplitRow restored = coarser->restore(y / 2);
        if (restored.small != nullptr) {
            between.mergeWidening(row.even, shape.evens(), restored.small->even, restored.small->odd);
        } else {
            kernels.merge(row.even, shape.evens(), restored.wide->even, restored.wide->odd);
        }
    }

private:
    void split(SplitRow<int>& row) const {
        if (isSmall[0]) {
            between.splitWidening(source.takeSmall(shape.c, shape.columns), shape.columns, row.even, row.odd);
        } else {
            kernels.split(source.take(shape.c, shape.columns), shape.columns, row.even, row.odd);
        }
    }

    void copy(int which, int n, int* to) const {
        const int c = shape.c + which;
        if (isSmall[which]) {
            std::copy_n(source.takeSmall(c, n), n, to);
        } else {
            std::copy_n(source.take(c, n), n, to);
        }
    }

    LevelShape shape;
    bool isSmall[2]; // the class, and the next one
    const RowKernels<std::int64_t>& kernels;
    const RowConversions& between;
    CoefficientSource<std::int64_t>& source;
    CoarserInverseOfAny* coarser;
};

// The same in short. A row does not suit where the approximations up to there have too large a range.
class FillSmallRows {
public:
    FillSmallRows(const LevelShape& levelShape, Target target, CoefficientSource<std::int64_t>& itsSource,
                  CoarserInverseOfAny* coarserLevel)
        : shape(levelShape), largest((1 << itsSource.magnitudeBits(shape.c)) - 1),
          kernels(kernelsOf(target).rows<SmallLong>()), between(kernelsOf(target).conversions), source(itsSource),
          coarser(coarserLevel) {}

    // Whether a level can start so.
    static bool suit(const LevelShape& shape, Target target, const CoefficientSource<std::int64_t>& source) {
        return isTakenSmall(source, shape.c, target) &&
               (!shape.isCoarsest || isTakenSmall(source, shape.c + 1, target));
    }

    bool operator()(int y, SplitRow<std::int16_t>& row) {
        if (y % 2 != 0) {
            kernels.split(source.takeSmall(shape.c, shape.columns), shape.columns, row.even, row.odd);
            return true;
        }
        std::copy_n(source.takeSmall(shape.c, shape.odds()), shape.odds(), row.odd);
        if (shape.isCoarsest) {
            std::copy_n(source.takeSmall(shape.c + 1, shape.evens()), shape.evens(), row.even);
            between.extendRange(row.even, shape.evens(), range);
        } else {
            merge(coarser->restore(y / 2), row);
        }
        return range.isSmallWith(largest);
    }

private:
    void merge(const AnySplitRow& restored, SplitRow<std::int16_t>& row) {
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
    const RowKernels<SmallLong>& kernels;
    const RowConversions& between;
    CoefficientSource<std::int64_t>& source;
    CoarserInverseOfAny* coarser;
    SampleRange range; // of the approximations so far
};

// Stands for the coarsest level where no level is to be undone: its rows are those of the last class.
class RowsOfLastClass final : public CoarserInverse<std::int16_t> {
public:
    RowsOfLastClass(const LevelShape& levelShape, Target target, CoefficientSource<std::int16_t>& itsSource)
        : shape(levelShape), kernels(kernelsOf(target).rows<std::int16_t>()), source(itsSource),
          memory(2 * static_cast<std::size_t>(shape.evens() + vector)), row{memory.data(),
                                                                            memory.data() + shape.evens() + vector, 0} {
    }

    const SplitRow<std::int16_t>& restore(int) override {
        row.largest = kernels.split(source.take(shape.c, shape.columns), shape.columns, row.even, row.odd);
        return row;
    }

private:
    static constexpr int vector = 32;

    LevelShape shape;
    const RowKernels<std::int16_t>& kernels;
    CoefficientSource<std::int16_t>& source;
    Vector<std::int16_t> memory;
    SplitRow<std::int16_t> row;
};

class RowsOfLastClassOfAny final : public CoarserInverseOfAny {
public:
    RowsOfLastClassOfAny(const LevelShape& levelShape, Target target, CoefficientSource<std::int64_t>& itsSource)
        : shape(levelShape), isSmall(isTakenSmall(itsSource, shape.c, target)),
          kernels(kernelsOf(target).rows<std::int64_t>()), between(kernelsOf(target).conversions), source(itsSource),
          memory(2 * static_cast<std::size_t>(shape.evens() + vector)), row{memory.data(),
                                                                            memory.data() + shape.evens() + vector, 0} {
    }

    AnySplitRow restore(int) override {
        if (isSmall) {
            between.splitWidening(source.takeSmall(shape.c, shape.columns), shape.columns, row.even, row.odd);
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
    SplitRow<int> row;
};

// The levels that a stream is made of.
template <typename T>
struct InverseLevels;

template <>
struct InverseLevels<std::int16_t> {
    using Coarser = CoarserInverse<std::int16_t>;

    static std::unique_ptr<Coarser> make(const Lattice<std::int16_t>& lattice, const LevelShape& shape, Target target,
                                         CoefficientSource<std::int16_t>& source, Coarser* coarser) {
        using Fill = FillRows<std::int16_t>;
        const Fill fill(shape, kernelsOf(target).rows<std::int16_t>(), source, coarser);
        if (lattice.isLongEnough()) {
            return std::make_unique<InverseLevel<std::int16_t, Fill>>(lattice, kernelsOf(target).rows<std::int16_t>(),
                                                                      fill);
        }
        return std::make_unique<InversePlaneLevel<std::int16_t, Fill>>(lattice, fill);
    }
    static std::unique_ptr<Coarser> makeNone(const LevelShape& shape, Target target,
                                             CoefficientSource<std::int16_t>& source) {
        return std::make_unique<RowsOfLastClass>(shape, target, source);
    }
};

template <>
struct InverseLevels<std::int64_t> {
    using Coarser = CoarserInverseOfAny;

    static std::unique_ptr<Coarser> make(const Lattice<std::int64_t>& lattice, const LevelShape& shape, Target target,
                                         CoefficientSource<std::int64_t>& source, Coarser* coarser) {
        const FillWideRows wideFill(shape, target, source, coarser);
        if (lattice.isLongEnough()) {
            return std::make_unique<WideningInverseLevel<FillSmallRows, FillWideRows>>(
                lattice, target, FillSmallRows::suit(shape, target, source),
                FillSmallRows(shape, target, source, coarser), wideFill);
        }
        return std::make_unique<InversePlaneLevelOfAny<FillWideRows>>(lattice, wideFill);
    }
    static std::unique_ptr<Coarser> makeNone(const LevelShape& shape, Target target,
                                             CoefficientSource<std::int64_t>& source) {
        return std::make_unique<RowsOfLastClassOfAny>(shape, target, source);
    }
};

} // namespace teko
