// SPDX-License-Identifier: Apache-2.0
#include "fast/transform/columnTransform.hpp"
#include "fast/kernels/kernels.hpp"

#include "fast/transform/level.hpp"
#include "memory/memory.hpp"
#include "wavelet/levels.hpp"

#include <algorithm>
#include <cassert>
#include <type_traits>

namespace teko {

namespace {

// Wider images have more to gain from rows that stay in the cache. With 64 columns there would be blocks.
constexpr int mostColumns = 63;

// So many samples of each column at a time stay in the cache while a step along the rows goes from column to column.
constexpr int bandSamples = 512;
// Coefficients that are passed on at a time.
constexpr int scanSamples = 8192;

// Up to which magnitudes a level starts from kernels give the exact result, as for ForwardLevel and InverseLevel. Here
// a level goes along its rows first and meets larger samples down its columns, and the other way round on the way back:
// 2.25 * 728 < 1639, and 20 * 1.35 * 2.7 * 449 < 32768.
constexpr std::int64_t largestForStepsDown = 728;
constexpr std::int64_t largestForStepsUp = 6000;
constexpr std::int64_t largestForExactSumsBack = 449;

// One level of a plane: the steps along its rows and down its columns.
template <typename T>
class ColumnLevel {
public:
    using Row = RowSample<T>;

    ColumnLevel(ColumnPlane<Row>& itsPlane, const RowKernels<T>& rowKernels, std::int64_t boundOfSamples)
        : plane(itsPlane), k(rowKernels), bound(boundOfSamples) {}

    void transform() {
        const auto inner = k.predict;
        const auto ends = bound <= largestAlong || runsRowsInKernel() ? k.predict : k.predictExact;
        const auto update = bound <= largestAlongSmall ? k.updateSmall
                            : bound <= largestAlong    ? k.update
                                                       : k.updateExact;
        forBands([&](const Band& band) {
            liftOddColumns(band, inner, ends);
            liftEvenColumns(band, update);
        });
        liftDown(bound <= largestAlongSmall     ? k.transformRowSmall
                 : bound <= largestForStepsDown ? k.transformRow
                                                : k.transformRowExact);
    }

    // Whether that is sure to be undone (docs/bounds.md): all that is stored stays in 16 bits, and the predict sums of
    // rows that run through the kernel do, too.
    bool isReversible() const {
        return !std::is_same_v<T, std::int16_t> || bound <= (runsRowsInKernel() ? 1024 : 4096);
    }

    void untransform() {
        const bool isSmall = bound <= largestForStepsUp;
        liftDown(isSmall ? k.untransformRow : k.untransformRowExact);
        const bool isExact = bound <= largestForExactSumsBack;
        const auto ends = isExact ? k.unpredict : k.unpredictExact;
        const auto inner = runsRowsInKernel() ? ends : k.unpredict;
        forBands([&](const Band& band) {
            liftEvenColumns(band, isSmall ? k.unupdate : k.unupdateExact);
            liftOddColumns(band, inner, ends);
        });
    }

private:
    using OddStep = void (*)(Row*, const Row*, const Row*, const Row*, const Row*, int);
    using EvenStep = void (*)(Row*, const Row*, const Row*, int);

    // Some samples of each column, all of them in even rows or all in odd ones.
    struct Band {
        ColumnPlane<Row>& plane;
        bool isOfOddRows;
        int first;
        int n;

        Row* operator[](int x) const {
            const PolyphaseRow<Row> column = plane.column(x);
            return (isOfOddRows ? column.odd : column.even) + first;
        }
    };

    // Rows of four or five samples round alike at all places.
    bool runsRowsInKernel() const { return plane.columns < LevelGrid<T>::shortestSignal; }

    // Calls lift(band) for all bands.
    template <typename Lift>
    void forBands(Lift lift) {
        for (int first = 0; first < plane.evens(); first += bandSamples) {
            lift(Band{plane, false, first, std::min(bandSamples, plane.evens() - first)});
            lift(Band{plane, true, first, std::min(bandSamples, plane.odds() - first)});
        }
    }

    void liftOddColumns(const Band& band, OddStep inner, OddStep ends) {
        for (int x = 1; x < plane.columns; x += 2) {
            const bool isEnd = x == 1 || x + 3 >= plane.columns;
            (isEnd ? ends : inner)(band[x], band[x - 3], band[x - 1], band[x + 1], band[x + 3], band.n);
        }
    }

    void liftEvenColumns(const Band& band, EvenStep step) {
        for (int x = 0; x < plane.columns; x += 2) {
            step(band[x], band[x - 1], band[x + 1], band.n);
        }
    }

    void liftDown(void (*steps)(Row*, Row*, int)) {
        for (int x = 0; x < plane.columns; ++x) {
            steps(plane.column(x).even, plane.column(x).odd, plane.rows);
        }
    }

    ColumnPlane<Row>& plane;
    const RowKernels<T>& k;
    std::int64_t bound; // magnitude that the level starts from
};

// Some pairs of rows of a level, in scan order.
struct ScanBand {
    int first; // pair
    int evens; // rows
    int odds;
};

// Calls visit(band) for all pairs of rows.
template <typename Row, typename Visit>
void forScanBands(const ColumnPlane<Row>& plane, Visit visit) {
    const int pairs = scanSamples / (2 * plane.columns);
    for (int first = 0; first < plane.evens(); first += pairs) {
        visit(ScanBand{first, std::min(pairs, plane.evens() - first), std::min(pairs, plane.odds() - first)});
    }
}

// Calls visit(x, samples, n, place, spacing) for what a band has of the level's class: each column's samples, the place
// of the first of them in scan order, and the distance from one to the next.
template <typename Row, typename Visit>
void forDetails(ColumnPlane<Row>& plane, const LevelShape& shape, const ScanBand& band, Visit visit) {
    const int spacing = shape.odds() + shape.columns; // two rows
    for (int x = 0; x < shape.columns; ++x) {
        const PolyphaseRow<Row> column = plane.column(x);
        if (x % 2 != 0) {
            visit(column.even + band.first, band.evens, x / 2, spacing);
        }
        visit(column.odd + band.first, band.odds, shape.odds() + x, spacing);
    }
}
int detailsIn(const LevelShape& shape, const ScanBand& band) {
    return band.evens * shape.odds() + band.odds * shape.columns;
}

// The same for the approximations.
template <typename Row, typename Visit>
void forApproximations(ColumnPlane<Row>& plane, const LevelShape& shape, const ScanBand& band, Visit visit) {
    for (int x = 0; x < shape.columns; x += 2) {
        visit(plane.column(x).even + band.first, band.evens, x / 2, shape.evens());
    }
}

template <typename T>
void passOn(ColumnPlane<RowSample<T>>& plane, const LevelShape& shape, CoefficientSink<T>& sink) {
    using Row = RowSample<T>;
    Vector<Row> scan(scanSamples);
    const auto place = [&](const Row* samples, int n, int at, int spacing) {
        scatterSamples(samples, n, scan.data() + at, spacing);
    };
    forScanBands(plane, [&](const ScanBand& band) {
        forDetails(plane, shape, band, place);
        sink.take(shape.c, scan.data(), detailsIn(shape, band));
        if (shape.isCoarsest()) {
            forApproximations(plane, shape, band, place);
            sink.take(shape.c + 1, scan.data(), band.evens * shape.evens());
        }
    });
}

// Returns a bound of the magnitudes.
template <typename T>
std::int64_t takeFrom(CoefficientSource<T>& source, const RowKernels<T>& kernels, const LevelShape& shape,
                      ColumnPlane<RowSample<T>>& plane) {
    using Row = RowSample<T>;
    std::int64_t bound = 0;
    const Row* scan = nullptr;
    const auto take = [&](int c, int n) {
        scan = source.take(c, n);
        bound = std::max(bound, kernels.bound(scan, n));
    };
    const auto place = [&](Row* samples, int n, int at, int spacing) { gatherSamples(scan + at, spacing, n, samples); };
    forScanBands(plane, [&](const ScanBand& band) {
        take(shape.c, detailsIn(shape, band));
        forDetails(plane, shape, band, place);
        if (shape.isCoarsest()) {
            take(shape.c + 1, band.evens * shape.evens());
            forApproximations(plane, shape, band, place);
        }
    });
    return bound;
}

template <typename Row>
LevelShape finestShape(const ColumnPlane<Row>& plane) {
    return {plane.columns, 0, numberOfLevels(plane.columns, plane.rows)};
}

// Returns whether it is proved that the inverse gives the plane back.
template <typename T>
bool transformFrom(const LevelShape& shape, ColumnPlane<RowSample<T>>& plane, std::int64_t bound,
                   const RowKernels<T>& kernels, CoefficientSink<T>& sink) {
    ColumnLevel<T> level(plane, kernels, bound);
    level.transform();
    passOn(plane, shape, sink);
    if (shape.isCoarsest()) {
        return level.isReversible();
    }
    ColumnPlane<RowSample<T>> coarser(shape.evens(), plane.evens());
    std::int64_t boundOfCoarser = 0;
    for (int x = 0; x < coarser.columns; ++x) {
        const auto column = coarser.column(x);
        boundOfCoarser =
            std::max(boundOfCoarser, kernels.split(plane.column(2 * x).even, coarser.rows, column.even, column.odd));
    }
    return transformFrom<T>(shape.coarser(), coarser, boundOfCoarser, kernels, sink) && level.isReversible();
}

template <typename T>
void untransformFrom(const LevelShape& shape, CoefficientSource<T>& source, const RowKernels<T>& kernels,
                     ColumnPlane<RowSample<T>>& plane) {
    std::int64_t bound = takeFrom(source, kernels, shape, plane);
    if (shape.hasCoarser()) {
        ColumnPlane<RowSample<T>> coarser(shape.evens(), plane.evens());
        untransformFrom<T>(shape.coarser(), source, kernels, coarser);
        for (int x = 0; x < coarser.columns; ++x) {
            const auto column = coarser.column(x);
            bound = std::max(bound, kernels.merge(plane.column(2 * x).even, coarser.rows, column.even, column.odd));
        }
    }
    ColumnLevel<T>(plane, kernels, bound).untransform();
}

} // namespace

bool suitsColumns(int width, int height) {
    return width >= LevelGrid<std::int16_t>::shortestSignal && width <= mostColumns && height >= 4 * width;
}

template <typename T>
bool transformColumns(ColumnPlane<RowSample<T>>& plane, std::int64_t bound, const RowKernels<T>& kernels,
                      CoefficientSink<T>& sink) {
    assert(suitsColumns(plane.columns, plane.rows));
    return transformFrom<T>(finestShape(plane), plane, bound, kernels, sink);
}

template <typename T>
void untransformColumns(CoefficientSource<T>& source, const RowKernels<T>& kernels, ColumnPlane<RowSample<T>>& plane) {
    assert(suitsColumns(plane.columns, plane.rows));
    untransformFrom<T>(finestShape(plane), source, kernels, plane);
}

template bool transformColumns(ColumnPlane<std::int16_t>&, std::int64_t, const RowKernels<std::int16_t>&,
                               CoefficientSink<std::int16_t>&);
template bool transformColumns(ColumnPlane<int>&, std::int64_t, const RowKernels<std::int64_t>&,
                               CoefficientSink<std::int64_t>&);
template void untransformColumns(CoefficientSource<std::int16_t>&, const RowKernels<std::int16_t>&,
                                 ColumnPlane<std::int16_t>&);
template void untransformColumns(CoefficientSource<std::int64_t>&, const RowKernels<std::int64_t>&, ColumnPlane<int>&);

} // namespace teko
