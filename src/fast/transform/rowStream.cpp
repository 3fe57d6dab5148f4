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
LevelGrid<T> finestLattice(int width, int height) {
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
    using Levels = ForwardLevels<T>;

    Chain(int width, int height, Target target, CoefficientSink<T>& sink) : rows(height) {
        assert(suitsRowStreams(width, height));
        const int levels = numberOfLevels(width, height);
        typename Levels::Coarser* next = nullptr;
        for (int level = levels - 1; level > 0; --level) {
            const LevelGrid<T> lattice = finestLattice<T>(width, height).coarser(level);
            const LevelShape shape{lattice.columns(), level, level == levels - 1};
            if (lattice.isLongEnough()) {
                coarser.push_back(Levels::make(lattice, shape, target, sink, next));
            } else {
                const typename Levels::Pass pass(shape, sink);
                coarser.push_back(std::make_unique<typename Levels::PlaneLevel>(lattice, pass));
            }
            next = coarser.back().get();
        }
        finest = Levels::make(finestLattice<T>(width, height), {width, 0, levels == 1}, target, sink, next);
    }

    PolyphaseRow<RowSample<T>>& next() {
        assert(y < rows);
        return finest->place(y);
    }
    PolyphaseRow<std::int16_t>* next16() { return Levels::place16(*finest, y); }

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
    Vector<std::unique_ptr<typename Levels::Coarser>> coarser; // the coarsest first
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
    using Levels = InverseLevels<T>;

    Chain(int width, int height, Target target, CoefficientSource<T>& source, int halvings)
        : rows(finestLattice<T>(width, height).coarser(halvings).rows()) {
        assert(suitsRowStreams(width, height));
        const int numberOf = numberOfLevels(width, height);
        assert(halvings >= 0 && halvings <= numberOf);
        typename Levels::Coarser* coarser = nullptr;
        if (halvings == numberOf) {
            const int columns = finestLattice<T>(width, height).coarser(numberOf).columns();
            levels.push_back(Levels::makeNone({columns, numberOf, true}, target, source));
        }
        for (int level = numberOf - 1; level >= halvings; --level) {
            const LevelGrid<T> lattice = finestLattice<T>(width, height).coarser(level);
            const LevelShape shape{lattice.columns(), level, level == numberOf - 1};
            levels.push_back(Levels::make(lattice, shape, target, source, coarser));
            coarser = levels.back().get();
        }
    }

    NextRow next() {
        assert(y < rows);
        return levels.back()->restore(y++);
    }

private:
    Vector<std::unique_ptr<typename Levels::Coarser>> levels; // the coarsest first
    [[maybe_unused]] int rows;                                // for assertions
    int y = 0;
};

template <typename T>
InverseStream<T>::InverseStream(int width, int height, Target target, CoefficientSource<T>& source, int halvings)
    : chain(std::make_unique<Chain>(width, height, target, source, halvings)) {}

template <typename T>
InverseStream<T>::~InverseStream() = default;

template <typename T>
InverseStream<T>::InverseStream(InverseStream&&) noexcept = default;

template <typename T>
typename InverseStream<T>::NextRow InverseStream<T>::next() {
    return chain->next();
}

template class ForwardStream<std::int16_t>;
template class ForwardStream<std::int64_t>;
template class InverseStream<std::int16_t>;
template class InverseStream<std::int64_t>;

} // namespace teko
