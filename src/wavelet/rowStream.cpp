#include "wavelet/rowStream.hpp"

#include "wavelet/inverseLevel.hpp"
#include "wavelet/lattice.hpp"
#include "wavelet/levels.hpp"
#include "wavelet/planeLevel.hpp"
#include "wavelet/wideningLevel.hpp"

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
    using Level = WideningLevel<SmallPass, Pass>;

    static std::unique_ptr<Level> make(const Lattice<long>& lattice, Target target, int level, int levels, Sink& sink,
                                       Coarser* coarser) {
        return std::make_unique<Level>(lattice, target, SmallPass(lattice.columns(), level, levels, sink),
                                       Pass(lattice.columns(), level, levels, sink), coarser);
    }
    static SplitRow<short>* placeSmall(Level& level, int y) { return level.placeSmall(y); }
};

// Gives a level the coefficients of its rows: all but those that the next coarser level restores.
template <typename T>
class TakeFromSource {
public:
    using Row = RowSample<T>;

    TakeFromSource(const Lattice<T>& lattice, int level, int levels, const RowKernels<T>& itsKernels,
                   CoefficientSource<T>& itsSource)
        : columns(lattice.columns()), c(level), isCoarsest(level == levels - 1), kernels(itsKernels),
          source(itsSource) {}

    void operator()(int y, SplitRow<Row>& row) const {
        if (y % 2 != 0) {
            row.largest = kernels.split(source.take(c, columns), columns, row.even, row.odd);
            return;
        }
        std::copy_n(source.take(c, columns / 2), columns / 2, row.odd);
        row.largest = kernels.largest(row.odd, columns / 2);
        if (isCoarsest) {
            const int evens = (columns + 1) / 2;
            std::copy_n(source.take(c + 1, evens), evens, row.even);
            row.largest = std::max(row.largest, kernels.largest(row.even, evens));
        }
    }

private:
    int columns;
    int c;
    bool isCoarsest;
    const RowKernels<T>& kernels;
    CoefficientSource<T>& source;
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
    using Level = InverseLevel<T, TakeFromSource<T>>;

    Chain(int width, int height, Target target, CoefficientSource<T>& source) {
        const RowKernels<T>& kernels = rowKernels<T>(target);
        const int levels = numberOfLevels(width, height);
        for (int level = levels - 1; level >= 0; --level) {
            const Lattice<T> lattice = finestLattice<T>(width, height).coarser(level);
            const TakeFromSource<T> fill(lattice, level, levels, kernels, source);
            if (lattice.isLongEnough()) {
                finest = std::make_unique<Level>(lattice, kernels, fill, std::move(finest));
            } else {
                finest = std::make_unique<InversePlaneLevel<T, TakeFromSource<T>>>(lattice, fill);
            }
        }
    }

    const SplitRow<RowSample<T>>& next() { return finest->restore(y++); }

private:
    std::unique_ptr<CoarserInverse<T>> finest;
    int y = 0;
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

template class ForwardStream<short>;
template class ForwardStream<long>;
template class InverseStream<short>;
template class InverseStream<long>;

} // namespace teko
