// SPDX-License-Identifier: Apache-2.0
// The levels of the forward transform, row after row, and how they pass coefficients on.
#pragma once

#include "fast/kernels/kernels.hpp"
#include "fast/rows/rowKernels.hpp"
#include "fast/transform/level.hpp"
#include "fast/transform/rowStream.hpp"

#include <cstdint>
#include <memory>
#include <type_traits>

namespace teko {

// A level may use the kernels for smaller values up to what they take along a row. A predicted sample is at most 2.25
// times the largest, and before it is scaled an updated one 1.5 times: the sums of the magnitudes of the filter's
// weights. The kernels down the columns meet samples that have been through a row pass.
static_assert(2.25 * 1.5 * largestAlongSmall < largestSumOfSmallUpdate);
static_assert(2.25 * 2.25 * largestAlong < largestAdded && 2.25 * 1.5 * largestAlong < largestSumOfUpdate);

// Up to which magnitudes in its rows a level of short samples is sure to be undone by the inverse (docs/bounds.md): no
// stored sample leaves 16 bits. Where the transform wraps predict sums at 16 bits and the inverse does not, no predict
// sum may leave them either: that is sure by the rows that the level starts from, or by the rows behind the steps along
// rows.
constexpr std::int64_t largestReversible = 4096;
constexpr std::int64_t largestForPredictSums = 512;
constexpr std::int64_t largestForColumnSums = 1024;

// A level of the transform. It is given its rows one after another and gives the rows of its approximation to the next
// level, if there is one, as soon as they are done, so that none waits for a whole plane. What is done goes to pass(y,
// row), rows in their order. The next coarser level is not owned.
template <typename T, typename Pass>
class ForwardLevel final : public LevelSink<T> {
public:
    using Row = RowSample<T>;
    using Coarser = LevelSink<ImageSample<T>>;

    ForwardLevel(const LevelGrid<T>& grid, const RowKernels<T>& kernels, const Pass& passOn, Coarser* coarserLevel)
        : window(grid, kernels), k(kernels), pass(passOn), n(grid.rows()), wrapsEverywhere(grid.hasColumnsInKernel()),
          coarser(coarserLevel) {}

    // Goes on with rows of int where a level of narrow rows has come to.
    template <typename NarrowPass>
    ForwardLevel(const LevelGrid<T>& grid, const RowKernels<T>& kernels, const Pass& passOn, Coarser* coarserLevel,
                 const ForwardLevel<Int64In16, NarrowPass>& narrow)
        : window(grid, kernels, narrow.window), k(kernels), pass(passOn), n(narrow.n),
          wrapsEverywhere(narrow.wrapsEverywhere), coarser(coarserLevel), advanced(narrow.advanced),
          bound(narrow.bound) {
        chooseKernels();
    }

    void take(int y, HandedRow<T> samples) override {
        if constexpr (std::is_same_v<T, std::int64_t>) {
            window.take(y, samples.wide);
        } else {
            window.take(y, samples);
        }
        taken(y);
    }

    // Where row y is to be put; then it has been.
    PolyphaseRow<RowSample<T>>& place(int y) { return window[y]; }
    void taken(int y) {
        if (window[y].bound > bound) {
            bound = window[y].bound;
            chooseKernels();
        }
        if (y + 1 - advanced == RowWindow<T>::spareRows) {
            advanceTo(y);
        }
    }

    bool isReversible() const override { return sumsFit && bound <= largestReversible; }

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
        if (bound <= largestAlongSmall) {
            along = k.transformRowSmall;
            update = k.updateSmall;
        } else if (bound <= largestAlong) {
            along = k.transformRow;
            update = k.update;
        } else {
            along = k.transformRowExact;
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
        return std::is_same_v<T, std::int16_t> && wrapsEverywhere && bound > largestForPredictSums;
    }

    void liftPair(int i) {
        if (mayLoseSums() && sumsFit && window.boundAround(i) > largestForColumnSums) {
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
    Coarser* coarser;
    int advanced = 0;        // rows
    bool sumsFit = true;     // all predict sums in 16 bits, where that matters
    std::int64_t bound = -1; // of all rows so far: looking at those around each row anew costs more than it gains
    typename RowWindow<T>::BothSteps along = nullptr;
    typename RowWindow<T>::EvenStep update = nullptr;
};

// A level of four or five columns, the coarsest. Hands its coefficients to pass(y, row), as ForwardLevel.
template <typename T, typename Pass>
class ForwardWholeLevel final : public LevelSink<T> {
public:
    ForwardWholeLevel(const LevelGrid<T>& grid, const Pass& passOn) : plane(grid), pass(passOn) {}

    void take(int y, HandedRow<T> samples) override {
        if constexpr (std::is_same_v<T, std::int64_t>) {
            samples.narrow != nullptr ? plane.setRow(y, samples.narrow) : plane.setRow(y, samples.wide);
        } else {
            plane.setRow(y, samples);
        }
    }
    bool isReversible() const override { return comesBack; }

    void finish() override {
        if constexpr (std::is_same_v<T, std::int16_t>) {
            const WholeLevel<T> original = plane;
            plane.transform();
            comesBack = plane.isUndoneTo(original);
        } else {
            plane.transform();
        }
        for (int y = 0; y < plane.rows; ++y) {
            pass(y, plane.splitRow(y));
        }
    }

private:
    WholeLevel<T> plane;
    Pass pass;
    bool comesBack = true;
};

// Passes the coefficients of finished rows on: all but those that the next coarser level splits.
template <typename T>
class SubbandWriter {
public:
    using Row = RowSample<T>;
    using Sink = CoefficientSink<ImageSample<T>>;

    SubbandWriter(const LevelShape& levelShape, Sink& itsSink) : shape(levelShape), sink(itsSink) {}

    void operator()(int y, const PolyphaseRow<Row>& row) const {
        if (y % 2 != 0) {
            takePairs(row.even, row.odd);
            return;
        }
        take(shape.c, row.odd, shape.odds());
        if (shape.isCoarsest()) {
            take(shape.c + 1, row.even, shape.evens());
        }
    }

private:
    static constexpr bool isNarrow = std::is_same_v<T, Int64In16>;

    void take(int to, const Row* samples, int n) const {
        if constexpr (isNarrow) {
            sink.take16(to, samples, n);
        } else {
            sink.take(to, samples, n);
        }
    }
    void takePairs(const Row* even, const Row* odd) const {
        if constexpr (isNarrow) {
            sink.take16Pairs(shape.c, even, odd, shape.columns);
        } else {
            sink.takePairs(shape.c, even, odd, shape.columns);
        }
    }

    LevelShape shape;
    Sink& sink;
};

// A level of an image of 16 bits. Its rows are narrow, where its target gains from that, up to the first one that they
// have no room for; from that row on they are rows of int. Narrow rows take half the time (samples of 12 bits: 1.13 to
// 1.22 times on encodes and decodes; on the finest level alone, 1.03 to 1.20 times less than on all).
class AdaptiveForwardLevel final : public LevelSink<std::int64_t> {
public:
    AdaptiveForwardLevel(const LevelGrid<std::int64_t>& itsGrid, const LevelShape& shape, const Kernels& itsKernels,
                         CoefficientSink<std::int64_t>& sink, LevelSink<std::int64_t>* coarserLevel)
        : grid(itsGrid), kernels(itsKernels), pass(shape, sink), coarser(coarserLevel) {
        if (kernels.prefers16BitRows) {
            narrow = std::make_unique<Narrow>(grid.of<Int64In16>(), kernels.rows<Int64In16>(),
                                              SubbandWriter<Int64In16>(shape, sink), coarser);
        } else {
            wide = std::make_unique<Wide>(grid, kernels.rows<std::int64_t>(), pass, coarser);
        }
    }

    void take(int y, AnyRow samples) override {
        if (samples.narrow == nullptr) {
            place(y);
            wide->take(y, samples);
        } else if (narrow) {
            const PolyphaseRow<std::int16_t>& row = narrow->place(y);
            kernels.narrowRows.split(samples.narrow, grid.columns(), row.even, row.odd, range);
            goOn(y);
        } else {
            const PolyphaseRow<int>& row = wide->place(y);
            kernels.narrowRows.splitWidening(samples.narrow, grid.columns(), row.even, row.odd);
            wide->taken(y);
        }
    }

    // Where row y is to be put, whatever its samples.
    PolyphaseRow<int>& place(int y) {
        if (narrow) {
            wide = std::make_unique<Wide>(grid, kernels.rows<std::int64_t>(), pass, coarser, *narrow);
            narrow.reset();
        }
        return wide->place(y);
    }
    // Where row y is to be put as a narrow one, its samples from 0 to its bound; null once there have been larger ones.
    PolyphaseRow<std::int16_t>* placeNarrow(int y) { return narrow ? &narrow->place(y) : nullptr; }
    // Once it is there.
    void taken(int y) {
        if (narrow) {
            range.add(0);
            range.add(static_cast<int>(narrow->place(y).bound));
        }
        goOn(y);
    }

    void finish() override {
        if (narrow) {
            narrow->finish();
        } else {
            wide->finish();
        }
    }

private:
    using Narrow = ForwardLevel<Int64In16, SubbandWriter<Int64In16>>;
    using Wide = ForwardLevel<std::int64_t, SubbandWriter<std::int64_t>>;

    void goOn(int y) {
        if (narrow && range.fitNarrowRows()) {
            narrow->taken(y);
        } else {
            place(y);
            wide->taken(y);
        }
    }

    LevelGrid<std::int64_t> grid;
    const Kernels& kernels;
    SubbandWriter<std::int64_t> pass;
    LevelSink<std::int64_t>* coarser;
    SampleRange range; // of all narrow rows so far
    std::unique_ptr<Narrow> narrow;
    std::unique_ptr<Wide> wide;
};

// A level that is long enough for row kernels.
template <typename T>
using LongForwardLevel = std::conditional_t<std::is_same_v<T, std::int64_t>, AdaptiveForwardLevel,
                                            ForwardLevel<std::int16_t, SubbandWriter<std::int16_t>>>;

template <typename T>
std::unique_ptr<LongForwardLevel<T>> makeLongForwardLevel(const LevelGrid<T>& grid, const LevelShape& shape,
                                                          const Kernels& kernels, CoefficientSink<T>& sink,
                                                          LevelSink<T>* coarser) {
    if constexpr (std::is_same_v<T, std::int64_t>) {
        return std::make_unique<AdaptiveForwardLevel>(grid, shape, kernels, sink, coarser);
    } else {
        return std::make_unique<LongForwardLevel<T>>(grid, kernels.template rows<T>(), SubbandWriter<T>(shape, sink),
                                                     coarser);
    }
}

// Any level.
template <typename T>
std::unique_ptr<LevelSink<T>> makeForwardLevel(const LevelGrid<T>& grid, const LevelShape& shape,
                                               const Kernels& kernels, CoefficientSink<T>& sink,
                                               LevelSink<T>* coarser) {
    if (grid.isLongEnough()) {
        return makeLongForwardLevel(grid, shape, kernels, sink, coarser);
    }
    return std::make_unique<ForwardWholeLevel<T, SubbandWriter<T>>>(grid, SubbandWriter<T>(shape, sink));
}

} // namespace teko
