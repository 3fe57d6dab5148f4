// SPDX-License-Identifier: Apache-2.0
#include "fast/transform/rowStream.hpp"

#include "fast/transform/forwardLevels.hpp"
#include "fast/transform/inverseLevels.hpp"
#include "memory/memory.hpp"
#include "wavelet/levels.hpp"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace teko {

namespace {

template <typename T>
LevelGrid<T> finestGrid(int width, int height) {
    return {nullptr, width, height, width, 1};
}

} // namespace

bool suitsRowStreams(int width, int height) {
    return std::min(width, height) >= LevelGrid<std::int16_t>::shortestSignal;
}

// The levels of a plane, each handing its approximation to the next. Int rows never get too large for their kernels:
// five levels of 16-bit samples start from less than largestForIntRows (docs/bounds.md).
template <typename T>
class ForwardStream<T>::Chain : public InTakenMemory {
public:
    Chain(int width, int height, const Kernels& kernels, CoefficientSink<T>& sink) : rows(height) {
        assert(suitsRowStreams(width, height));
        const int levels = numberOfLevels(width, height);
        LevelSink<T>* next = nullptr;
        for (int level = levels - 1; level > 0; --level) {
            const LevelGrid<T> grid = finestGrid<T>(width, height).coarser(level);
            coarser.push_back(makeForwardLevel(grid, {grid.columns(), level, levels}, kernels, sink, next));
            next = coarser.back().get();
        }
        finest = makeLongForwardLevel(finestGrid<T>(width, height), {width, 0, levels}, kernels, sink, next);
    }

    PolyphaseRow<RowSample<T>>& next() {
        assert(y < rows);
        return finest->place(y);
    }
    PolyphaseRow<std::int16_t>* next16() {
        if constexpr (std::is_same_v<T, std::int64_t>) {
            return finest->placeNarrow(y);
        }
        return nullptr;
    }

    void advance() {
        assert(y < rows);
        finest->taken(y++);
        if (y == rows) {
            finest->finish();
        }
    }

    bool isReversible() const {
        if constexpr (std::is_same_v<T, std::int16_t>) {
            return finest->isReversible() &&
                   std::all_of(coarser.begin(), coarser.end(), [](const auto& level) { return level->isReversible(); });
        }
        return true;
    }

private:
    using Finest =
        std::conditional_t<std::is_same_v<T, std::int64_t>, AdaptiveForwardLevel, ForwardLevel<T, SubbandWriter<T>>>;

    Vector<std::unique_ptr<LevelSink<T>>> coarser; // the coarsest first
    std::unique_ptr<LongForwardLevel<T>> finest;
    int rows;
    int y = 0;
};

template <typename T>
ForwardStream<T>::ForwardStream(int width, int height, const Kernels& kernels, CoefficientSink<T>& sink)
    : chain(std::make_unique<Chain>(width, height, kernels, sink)) {}

template <typename T>
ForwardStream<T>::~ForwardStream() = default;

template <typename T>
ForwardStream<T>::ForwardStream(ForwardStream&&) noexcept = default;

template <typename T>
PolyphaseRow<RowSample<T>>& ForwardStream<T>::next() {
    return chain->next();
}

template <typename T>
PolyphaseRow<std::int16_t>* ForwardStream<T>::next16() {
    return chain->next16();
}

template <typename T>
void ForwardStream<T>::advance() {
    chain->advance();
}

template <typename T>
bool ForwardStream<T>::isReversible() const {
    return chain->isReversible();
}

template <typename T>
class InverseStream<T>::Chain : public InTakenMemory {
public:
    Chain(int width, int height, const Kernels& kernels, CoefficientSource<T>& source, int halvings)
        : rows(finestGrid<T>(width, height).coarser(halvings).rows()) {
        assert(suitsRowStreams(width, height));
        const int levels = numberOfLevels(width, height);
        assert(halvings >= 0 && halvings <= levels);
        LevelSource<T>* next = nullptr;
        for (int level = std::max(levels - 1, halvings); level >= halvings; --level) {
            const LevelGrid<T> grid = finestGrid<T>(width, height).coarser(level);
            chain.push_back(makeInverseLevel(grid, {grid.columns(), level, levels}, kernels, source, next));
            next = chain.back().get();
        }
    }

    HandedPolyphaseRow<T> next() {
        assert(y < rows);
        return chain.back()->restore(y++);
    }

private:
    Vector<std::unique_ptr<LevelSource<T>>> chain; // the coarsest first
    [[maybe_unused]] int rows;                     // for assertions
    int y = 0;
};

template <typename T>
InverseStream<T>::InverseStream(int width, int height, const Kernels& kernels, CoefficientSource<T>& source,
                                int halvings)
    : chain(std::make_unique<Chain>(width, height, kernels, source, halvings)) {}

template <typename T>
InverseStream<T>::~InverseStream() = default;

template <typename T>
InverseStream<T>::InverseStream(InverseStream&&) noexcept = default;

template <typename T>
HandedPolyphaseRow<T> InverseStream<T>::next() {
    return chain->next();
}

template class ForwardStream<std::int16_t>;
template class ForwardStream<std::int64_t>;
template class InverseStream<std::int16_t>;
template class InverseStream<std::int64_t>;

} // namespace teko
