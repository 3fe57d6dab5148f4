#include "wavelet/rowStream.hpp"

#include "wavelet/lattice.hpp"
#include "wavelet/levels.hpp"
#include "wavelet/wideningForwardLevel.hpp"
#include "wavelet/wideningInverseLevel.hpp"

#include <algorithm>
#include <type_traits>
#include <utility>
#include <vector>

namespace teko {

namespace {

template <typename T>
Lattice<T> finestLattice(int width, int height) {
    return {nullptr, width, height, width, 1};
}

// Passes the coefficients of finished rows on: all but those that the next coarser level splits.
template <typename T, typename Sink>
class PassToSink {
public:
    using Row = RowSample<T>;

    PassToSink(int itsColumns, int level, int levels, Sink& itsSink)
        : columns(itsColumns), c(level), isCoarsest(level == levels - 1), sink(itsSink) {}

    void operator()(int y, const SplitRow<Row>& row) const {
        if (y % 2 != 0) {
            takePairs(row.even, row.odd);
            return;
        }
        take(c, row.odd, columns / 2);
        if (isCoarsest) {
            take(c + 1, row.even, (columns + 1) / 2);
        }
    }

private:
    static constexpr bool isSmall = std::is_same_v<T, SmallLong>;

    void take(int to, const Row* samples, int n) const {
        if constexpr (isSmall) {
            sink.takeSmall(to, samples, n);
        } else {
            sink.take(to, samples, n);
        }
    }
    void takePairs(const Row* even, const Row* odd) const {
        if constexpr (isSmall) {
            sink.takeSmallPairs(c, even, odd, columns);
        } else {
            sink.takePairs(c, even, odd, columns);
        }
    }

    int columns;
    int c;
    bool isCoarsest;
    Sink& sink;
};

// The levels that a stream is made of.
template <typename T>
struct ForwardLevels;

template <>
struct ForwardLevels<short> {
    using Sink = CoefficientSink<short>;
    using Pass = PassToSink<short, Sink>;
    using Coarser = CoarserForward<short>;
    using PlaneLevel = ForwardPlaneLevel<short, Pass>;
    using Level = ForwardLevel<short, Pass>;

    static std::unique_ptr<Level> make(const Lattice<short>& lattice, Target target, int level, int levels, Sink& sink,
                                       Coarser* coarser) {
        return std::make_unique<Level>(lattice, rowKernels<short>(target), Pass(lattice.columns(), level, levels, sink),
                                       coarser);
    }
    static SplitRow<short>* placeSmall(Level&, int) { return nullptr; }
};

template <>
struct ForwardLevels<long> {
    using Sink = CoefficientSink<long>;
    using SmallPass = PassToSink<SmallLong, Sink>;
    using Pass = PassToSink<long, Sink>;
    using Coarser = CoarserForwardOfAny;
    using PlaneLevel = ForwardPlaneLevelOfAny<Pass>;
    using Level = WideningForwardLevel<SmallPass, Pass>;

    static std::unique_ptr<Level> make(const Lattice<long>& lattice, Target target, int level, int levels, Sink& sink,
                                       Coarser* coarser) {
        return std::make_unique<Level>(lattice, target, SmallPass(lattice.columns(), level, levels, sink),
                                       Pass(lattice.columns(), level, levels, sink), coarser);
    }
    static SplitRow<short>* placeSmall(Level& level, int y) { return level.placeSmall(y); }
};

// Which coefficients the rows of a level have.
struct LevelShape {
    int columns;
    int c; // class of all but those that the next coarser level restores
    bool isCoarsest;

    int evens() const { return (columns + 1) / 2; }
    int odds() const { return columns / 2; }
};

// Gives a level its rows: coefficients from a source, the others from the next coarser level, if there is one.
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
        } else if (coarser != nullptr) {
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
bool isTakenSmall(const CoefficientSource<long>& source, int c, Target target) {
    return gainsFromShortRows(target) && source.magnitudeBits(c) < 16;
}

// The same in int, from classes and levels of either kind. Kernels for int rows do without bounds.
class FillWideRows {
public:
    FillWideRows(const LevelShape& levelShape, Target target, CoefficientSource<long>& itsSource,
                 CoarserInverseOfAny* coarserLevel)
        : shape(levelShape), isSmall{isTakenSmall(itsSource, shape.c, target),
                                     isTakenSmall(itsSource, shape.c + 1, target)},
          kernels(rowKernels<long>(target)), between(rowKernels<SmallLong>(target)), source(itsSource),
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

    // What the next coarser level has of row y.
    void refill(int y, SplitRow<int>& row) const {
        if (coarser == nullptr || y % 2 != 0) {
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
    const RowKernels<long>& kernels;
    const RowKernels<SmallLong>& between;
    CoefficientSource<long>& source;
    CoarserInverseOfAny* coarser;
};

// The same in short. A row does not suit where the approximations up to there have too large a range.
class FillSmallRows {
public:
    FillSmallRows(const LevelShape& levelShape, Target target, CoefficientSource<long>& itsSource,
                  CoarserInverseOfAny* coarserLevel)
        : shape(levelShape), largest((1 << itsSource.magnitudeBits(shape.c)) - 1),
          kernels(rowKernels<SmallLong>(target)), source(itsSource), coarser(coarserLevel) {}

    // Whether a level can start so.
    static bool suit(const LevelShape& shape, Target target, const CoefficientSource<long>& source) {
        return isTakenSmall(source, shape.c, target) &&
               (!shape.isCoarsest || isTakenSmall(source, shape.c + 1, target));
    }

    bool operator()(int y, SplitRow<short>& row) {
        if (y % 2 != 0) {
            kernels.split(source.takeSmall(shape.c, shape.columns), shape.columns, row.even, row.odd);
            return true;
        }
        std::copy_n(source.takeSmall(shape.c, shape.odds()), shape.odds(), row.odd);
        if (shape.isCoarsest) {
            std::copy_n(source.takeSmall(shape.c + 1, shape.evens()), shape.evens(), row.even);
            kernels.extendRange(row.even, shape.evens(), range);
        } else if (coarser != nullptr) {
            merge(coarser->restore(y / 2), row);
        }
        return range.isSmallWith(largest);
    }

private:
    void merge(const AnySplitRow& restored, SplitRow<short>& row) {
        if (restored.small != nullptr) {
            kernels.merge(row.even, shape.evens(), restored.small->even, restored.small->odd);
            kernels.extendRange(row.even, shape.evens(), range);
        } else {
            kernels.mergeNarrowing(row.even, shape.evens(), restored.wide->even, restored.wide->odd);
            kernels.extendRangeOfWide(restored.wide->even, (shape.evens() + 1) / 2, range);
            kernels.extendRangeOfWide(restored.wide->odd, shape.evens() / 2, range);
        }
    }

    LevelShape shape;
    int largest; // of the coefficients that are no approximations
    const RowKernels<SmallLong>& kernels;
    CoefficientSource<long>& source;
    CoarserInverseOfAny* coarser;
    SampleRange range; // of the approximations so far
};

// The levels that a stream is made of.
template <typename T>
struct InverseLevels;

template <>
struct InverseLevels<short> {
    using Coarser = CoarserInverse<short>;

    static std::unique_ptr<Coarser> make(const Lattice<short>& lattice, const LevelShape& shape, Target target,
                                         CoefficientSource<short>& source, Coarser* coarser) {
        using Fill = FillRows<short>;
        const Fill fill(shape, rowKernels<short>(target), source, coarser);
        if (lattice.isLongEnough()) {
            return std::make_unique<InverseLevel<short, Fill>>(lattice, rowKernels<short>(target), fill);
        }
        return std::make_unique<InversePlaneLevel<short, Fill>>(lattice, fill);
    }
};

template <>
struct InverseLevels<long> {
    using Coarser = CoarserInverseOfAny;

    static std::unique_ptr<Coarser> make(const Lattice<long>& lattice, const LevelShape& shape, Target target,
                                         CoefficientSource<long>& source, Coarser* coarser) {
        const FillWideRows wideFill(shape, target, source, coarser);
        if (lattice.isLongEnough()) {
            return std::make_unique<WideningInverseLevel<FillSmallRows, FillWideRows>>(
                lattice, target, FillSmallRows::suit(shape, target, source),
                FillSmallRows(shape, target, source, coarser), wideFill);
        }
        return std::make_unique<InversePlaneLevelOfAny<FillWideRows>>(lattice, wideFill);
    }
};

} // namespace

bool suitsRowStreams(int width, int height) {
    const int levels = numberOfLevels(width, height);
    const Lattice<short> finest = finestLattice<short>(width, height);
    if (levels <= 0 || !finest.isLongEnough()) {
        return false;
    }
    // Only the coarsest level can be too short for row kernels: the others have eight rows and columns.
    const Lattice<short> coarsest = finest.coarser(levels - 1);
    return coarsest.isLongEnough() || coarsest.columns() * coarsest.rows() <= mostSamplesInPlane;
}

// The levels, the finest first. Int rows never get too large for their kernels: an approximation is at most
// 1.79 * 1.79 times as large as the samples that it is made from, the sum of the magnitudes of the filter's weights in
// both directions, so five levels of 16-bit samples start from less than what a level may start from.
template <typename T>
class ForwardStream<T>::Chain {
public:
    using Levels = ForwardLevels<T>;

    Chain(int width, int height, Target target, CoefficientSink<T>& sink) : rows(height) {
        const int levels = numberOfLevels(width, height);
        typename Levels::Coarser* next = nullptr;
        for (int level = levels - 1; level > 0; --level) {
            const Lattice<T> lattice = finestLattice<T>(width, height).coarser(level);
            if (lattice.isLongEnough()) {
                coarser.push_back(Levels::make(lattice, target, level, levels, sink, next));
            } else {
                const typename Levels::Pass pass(lattice.columns(), level, levels, sink);
                coarser.push_back(std::make_unique<typename Levels::PlaneLevel>(lattice, pass));
            }
            next = coarser.back().get();
        }
        finest = Levels::make(finestLattice<T>(width, height), target, 0, levels, sink, next);
    }

    SplitRow<RowSample<T>>& next() { return finest->place(y); }
    SplitRow<short>* nextSmall() { return Levels::placeSmall(*finest, y); }

    void advance() {
        finest->taken(y++);
        if (y == rows) {
            finest->finish();
        }
    }

private:
    std::vector<std::unique_ptr<typename Levels::Coarser>> coarser; // the coarsest first
    std::unique_ptr<typename Levels::Level> finest;
    int rows;
    int y = 0;
};

template <typename T>
ForwardStream<T>::ForwardStream(int width, int height, Target target, CoefficientSink<T>& sink)
    : chain(std::make_unique<Chain>(width, height, target, sink)) {}

template <typename T>
ForwardStream<T>::~ForwardStream() = default;

template <typename T>
ForwardStream<T>::ForwardStream(ForwardStream&&) noexcept = default;

template <typename T>
SplitRow<RowSample<T>>& ForwardStream<T>::next() {
    return chain->next();
}

template <typename T>
SplitRow<short>* ForwardStream<T>::nextSmall() {
    return chain->nextSmall();
}

template <typename T>
void ForwardStream<T>::advance() {
    chain->advance();
}

template <typename T>
class InverseStream<T>::Chain {
public:
    using Row = RowSample<T>;
    using Levels = InverseLevels<T>;

    Chain(int width, int height, Target itsTarget, CoefficientSource<T>& source) : target(itsTarget), columns(width) {
        const int numberOf = numberOfLevels(width, height);
        typename Levels::Coarser* coarser = nullptr;
        for (int level = numberOf - 1; level >= 0; --level) {
            const Lattice<T> lattice = finestLattice<T>(width, height).coarser(level);
            const LevelShape shape{lattice.columns(), level, level == numberOf - 1};
            levels.push_back(Levels::make(lattice, shape, target, source, coarser));
            coarser = levels.back().get();
        }
    }

    const SplitRow<Row>& next() {
        if constexpr (std::is_same_v<T, long>) {
            const AnySplitRow row = levels.back()->restore(y++);
            return row.small != nullptr ? widened(*row.small) : *row.wide;
        } else {
            return levels.back()->restore(y++);
        }
    }

    const SplitRow<short>* nextSmall() {
        if constexpr (std::is_same_v<T, long>) {
            const SplitRow<short>* const row = levels.back()->restore(y).small;
            y += row != nullptr ? 1 : 0;
            return row;
        } else {
            return nullptr;
        }
    }

private:
    const SplitRow<Row>& widened(const SplitRow<short>& row) {
        for (std::vector<Row>& part : parts) {
            part.resize(static_cast<std::size_t>(columns) + 32);
        }
        std::copy_n(row.even, (columns + 1) / 2, parts[0].data());
        std::copy_n(row.odd, columns / 2, parts[1].data());
        wide = {parts[0].data(), parts[1].data(), 0};
        return wide;
    }

    Target target;
    int columns;
    std::vector<std::unique_ptr<typename Levels::Coarser>> levels; // the coarsest first
    int y = 0;
    std::vector<Row> parts[2]; // of a short row that was asked for as any other
    SplitRow<Row> wide{};
};

template <typename T>
InverseStream<T>::InverseStream(int width, int height, Target target, CoefficientSource<T>& source)
    : chain(std::make_unique<Chain>(width, height, target, source)) {}

template <typename T>
InverseStream<T>::~InverseStream() = default;

template <typename T>
InverseStream<T>::InverseStream(InverseStream&&) noexcept = default;

template <typename T>
const SplitRow<RowSample<T>>& InverseStream<T>::next() {
    return chain->next();
}

template <typename T>
const SplitRow<short>* InverseStream<T>::nextSmall() {
    return chain->nextSmall();
}

template class ForwardStream<short>;
template class ForwardStream<long>;
template class InverseStream<short>;
template class InverseStream<long>;

} // namespace teko
