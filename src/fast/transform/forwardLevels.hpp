// SPDX-License-Identifier: Apache-2.0
// The levels of the forward transform, row after row, and how they pass coefficients on.
#pragma once

#include "fast/kernels/kernels.hpp"
#include "fast/rows/rowKernels.hpp"
#include "fast/transform/level.hpp"
#include "fast/transform/rowStream.hpp"
#include "fast/transform/rowWindow.hpp"
#include "fast/transform/wholeLevel.hpp"

#include <cstdint>
#include <memory>
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
class ForwardLevel final : public LevelSink<T> {
public:
    ForwardLevel(const LevelGrid<T>& lattice, const RowKernels<T>& kernels, const Pass& passOn,
                 LevelSink<T>* coarserLevel)
        : window(lattice, kernels), k(kernels), pass(passOn), n(lattice.rows()),
          wrapsEverywhere(lattice.hasColumnsInKernel()), coarser(coarserLevel) {}

    // Goes on where a level of other samples has come to.
    template <typename Other, typename OtherPass>
    ForwardLevel(const LevelGrid<T>& lattice, const RowKernels<T>& kernels, const Pass& passOn,
                 LevelSink<T>* coarserLevel, const ForwardLevel<Other, OtherPass>& other)
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
    PolyphaseRow<RowSample<T>>& place(int y) { return window[y]; }
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
            along = k.transformRowSmall;
            update = k.updateSmall;
        } else if (largest <= largestForKernels) {
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
    LevelSink<T>* coarser;     // not owned
    int advanced = 0;          // rows
    bool sumsFit = true;       // all predict sums in 16 bits, where that matters
    std::int64_t largest = -1; // of all rows so far: looking at those around each row anew costs more than it gains
    typename RowWindow<T>::BothSteps along = nullptr;
    typename RowWindow<T>::EvenStep update = nullptr;
};

// Takes its rows as either.
class AdaptiveLevelSink : public LevelSink<Int64In16>, public LevelSink<std::int64_t> {};

// A level that starts small where its target gains from that, and goes on as a wide one from the first row on that has
// larger samples or comes as such a row. Rows of short take half the time (16-bit images with samples of 12 bits: 1.3
// times on transforming them).
template <typename SmallPass, typename Pass>
class AdaptiveForwardLevel final : public AdaptiveLevelSink {
public:
    // The next coarser level is not owned.
    AdaptiveForwardLevel(const LevelGrid<std::int64_t>& itsLattice, Target itsTarget, const SmallPass& smallPass,
                         const Pass& passOn, AdaptiveLevelSink* coarserLevel)
        : lattice(itsLattice), target(itsTarget), pass(passOn), coarser(coarserLevel) {
        if (kernelsOf(target).prefers16BitRows) {
            small = std::make_unique<Small>(lattice.of<Int64In16>(), kernelsOf(target).rows<Int64In16>(), smallPass,
                                            coarser);
        } else {
            wide = std::make_unique<Wide>(lattice, kernelsOf(target).rows<std::int64_t>(), pass, coarser);
        }
    }

    void take(int y, const std::int16_t* samples) override {
        const RowConversions& conversions = kernelsOf(target).conversions;
        if (small) {
            const PolyphaseRow<std::int16_t>& row = small->place(y);
            conversions.splitExtending(samples, lattice.columns(), row.even, row.odd, range);
            taken(y, range.isSmall());
        } else {
            const PolyphaseRow<int>& row = wide->place(y);
            conversions.splitWidening(samples, lattice.columns(), row.even, row.odd);
            wide->taken(y);
        }
    }

    void take(int y, const int* samples) override {
        widen();
        wide->take(y, samples);
    }

    // Where row y is to be put, whatever its samples.
    PolyphaseRow<int>& place(int y) {
        widen();
        return wide->place(y);
    }
    // Where row y is to be put in 16 bits, its samples not negative; null once there have been larger ones.
    PolyphaseRow<std::int16_t>* place16(int y) { return small ? &small->place(y) : nullptr; }

    // Once it is there.
    void taken(int y) { taken(y, small && (staysSmallByBound(y) || staysSmall(y))); }

    void finish() override {
        if (small) {
            small->finish();
        } else {
            wide->finish();
        }
    }

private:
    using Small = ForwardLevel<Int64In16, SmallPass>;
    using Wide = ForwardLevel<std::int64_t, Pass>;

    void taken(int y, bool isSmall) {
        if (isSmall) {
            small->taken(y);
        } else {
            widen();
            wide->taken(y);
        }
    }

    // Without a look at the samples, from 0 to the bound.
    bool staysSmallByBound(int y) {
        SampleRange extended = range;
        extended.add(0);
        extended.add(static_cast<int>(small->place(y).largest));
        if (!extended.isSmall()) {
            return false;
        }
        range = extended;
        return true;
    }

    bool staysSmall(int y) {
        const RowConversions& conversions = kernelsOf(target).conversions;
        const PolyphaseRow<std::int16_t>& row = small->place(y);
        conversions.extendRange(row.even, (lattice.columns() + 1) / 2, range);
        conversions.extendRange(row.odd, lattice.columns() / 2, range);
        return range.isSmall();
    }

    void widen() {
        if (small) {
            wide = std::make_unique<Wide>(lattice, kernelsOf(target).rows<std::int64_t>(), pass, coarser, *small);
            small.reset();
        }
    }

    LevelGrid<std::int64_t> lattice;
    Target target;
    Pass pass;
    AdaptiveLevelSink* coarser;
    SampleRange range; // of all rows so far
    std::unique_ptr<Small> small;
    std::unique_ptr<Wide> wide;
};

template <typename Pass>
class ForwardWholeLevelOfAny final : public AdaptiveLevelSink {
public:
    ForwardWholeLevelOfAny(const LevelGrid<std::int64_t>& lattice, const Pass& pass) : level(lattice, pass) {}

    void take(int y, const std::int16_t* samples) override { level.take(y, samples); }
    void take(int y, const int* samples) override { level.take(y, samples); }
    void finish() override { level.finish(); }

private:
    ForwardWholeLevel<std::int64_t, Pass> level;
};

// Passes the coefficients of finished rows on: all but those that the next coarser level splits.
template <typename T, typename Sink>
class SubbandWriter {
public:
    using Row = RowSample<T>;

    SubbandWriter(const LevelShape& levelShape, Sink& itsSink) : shape(levelShape), sink(itsSink) {}

    void operator()(int y, const PolyphaseRow<Row>& row) const {
        if (y % 2 != 0) {
            takePairs(row.even, row.odd);
            return;
        }
        take(shape.c, row.odd, shape.odds());
        if (shape.isCoarsest) {
            take(shape.c + 1, row.even, shape.evens());
        }
    }

private:
    static constexpr bool isSmall = std::is_same_v<T, Int64In16>;

    void take(int to, const Row* samples, int n) const {
        if constexpr (isSmall) {
            sink.take16(to, samples, n);
        } else {
            sink.take(to, samples, n);
        }
    }
    void takePairs(const Row* even, const Row* odd) const {
        if constexpr (isSmall) {
            sink.take16Pairs(shape.c, even, odd, shape.columns);
        } else {
            sink.takePairs(shape.c, even, odd, shape.columns);
        }
    }

    LevelShape shape;
    Sink& sink;
};

// The levels that a stream is made of.
template <typename T>
struct ForwardLevels;

template <>
struct ForwardLevels<std::int16_t> {
    using Sink = CoefficientSink<std::int16_t>;
    using Pass = SubbandWriter<std::int16_t, Sink>;
    using Coarser = LevelSink<std::int16_t>;
    using PlaneLevel = ForwardWholeLevel<std::int16_t, Pass>;
    using Level = ForwardLevel<std::int16_t, Pass>;

    static std::unique_ptr<Level> make(const LevelGrid<std::int16_t>& lattice, const LevelShape& shape, Target target,
                                       Sink& sink, Coarser* coarser) {
        return std::make_unique<Level>(lattice, kernelsOf(target).rows<std::int16_t>(), Pass(shape, sink), coarser);
    }
    static PolyphaseRow<std::int16_t>* place16(Level&, int) { return nullptr; }
};

template <>
struct ForwardLevels<std::int64_t> {
    using Sink = CoefficientSink<std::int64_t>;
    using SmallPass = SubbandWriter<Int64In16, Sink>;
    using Pass = SubbandWriter<std::int64_t, Sink>;
    using Coarser = AdaptiveLevelSink;
    using PlaneLevel = ForwardWholeLevelOfAny<Pass>;
    using Level = AdaptiveForwardLevel<SmallPass, Pass>;

    static std::unique_ptr<Level> make(const LevelGrid<std::int64_t>& lattice, const LevelShape& shape, Target target,
                                       Sink& sink, Coarser* coarser) {
        return std::make_unique<Level>(lattice, target, SmallPass(shape, sink), Pass(shape, sink), coarser);
    }
    static PolyphaseRow<std::int16_t>* place16(Level& level, int y) { return level.place16(y); }
};

} // namespace teko
