// SPDX-License-Identifier: Apache-2.0
// The levels of a forward stream, and how they pass coefficients on.
#pragma once

#include "fast/kernels/kernels.hpp"
#include "fast/transform/levelShape.hpp"
#include "fast/transform/rowStream.hpp"
#include "fast/transform/wideningForwardLevel.hpp"

#include <cstdint>
#include <memory>
#include <type_traits>

namespace teko {

// Passes the coefficients of finished rows on: all but those that the next coarser level splits.
template <typename T, typename Sink>
class PassToSink {
public:
    using Row = RowSample<T>;

    PassToSink(const LevelShape& levelShape, Sink& itsSink) : shape(levelShape), sink(itsSink) {}

    void operator()(int y, const SplitRow<Row>& row) const {
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
            sink.takeSmallPairs(shape.c, even, odd, shape.columns);
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
    using Pass = PassToSink<std::int16_t, Sink>;
    using Coarser = CoarserForward<std::int16_t>;
    using PlaneLevel = ForwardPlaneLevel<std::int16_t, Pass>;
    using Level = ForwardLevel<std::int16_t, Pass>;

    static std::unique_ptr<Level> make(const Lattice<std::int16_t>& lattice, const LevelShape& shape, Target target,
                                       Sink& sink, Coarser* coarser) {
        return std::make_unique<Level>(lattice, kernelsOf(target).rows<std::int16_t>(), Pass(shape, sink), coarser);
    }
    static SplitRow<std::int16_t>* placeSmall(Level&, int) { return nullptr; }
};

template <>
struct ForwardLevels<std::int64_t> {
    using Sink = CoefficientSink<std::int64_t>;
    using SmallPass = PassToSink<SmallLong, Sink>;
    using Pass = PassToSink<std::int64_t, Sink>;
    using Coarser = CoarserForwardOfAny;
    using PlaneLevel = ForwardPlaneLevelOfAny<Pass>;
    using Level = WideningForwardLevel<SmallPass, Pass>;

    static std::unique_ptr<Level> make(const Lattice<std::int64_t>& lattice, const LevelShape& shape, Target target,
                                       Sink& sink, Coarser* coarser) {
        return std::make_unique<Level>(lattice, target, SmallPass(shape, sink), Pass(shape, sink), coarser);
    }
    static SplitRow<std::int16_t>* placeSmall(Level& level, int y) { return level.placeSmall(y); }
};

} // namespace teko
