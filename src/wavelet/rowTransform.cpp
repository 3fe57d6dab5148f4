#include "wavelet/rowTransform.hpp"

#include "filter/rows/rowKernels.hpp"
#include "wavelet/forwardLevel.hpp"
#include "wavelet/inverseLevel.hpp"

#include <algorithm>
#include <memory>

namespace teko {

namespace {

// What a level of int rows may start from: its kernels then meet nothing beyond 2^26. A level on the way there makes
// an approximation at most 2.53 * 2.53 times as large. On the way back, from an approximation of at most m and details
// of at most d, the columns give at most 1.06 m + 1.63 d and 2.7 d, the rows 1.11 m + 6.1 d.
constexpr long largestLongForward = 25'000'000;
constexpr long largestLongInverse = 24'000'000;

constexpr long largestApproximation(long largest) {
    return largest * 641 / 100 + 4;
}
constexpr long largestRestored(long approximation, long details) {
    return (approximation * 111 + details * 610) / 100 + 16;
}

// Puts finished rows back in their places. What a coarser level writes comes later and over what is written here.
template <typename T>
class PlaceInPlane {
public:
    PlaceInPlane(const Lattice<T>& itsLattice, const RowKernels<T>& itsKernels)
        : lattice(itsLattice), kernels(itsKernels) {}

    void operator()(int y, const SplitRow<RowSample<T>>& row) const {
        kernels.merge(lattice.row(y * lattice.step), lattice.step, lattice.columns(), row.even, row.odd);
    }

private:
    Lattice<T> lattice;
    const RowKernels<T>& kernels;
};

// Gives a level the rows of a plane, with what a coarser level will replace.
template <typename T>
class TakeFromPlane {
public:
    TakeFromPlane(const Lattice<T>& itsLattice, const RowKernels<T>& itsKernels)
        : lattice(itsLattice), kernels(itsKernels) {}

    void operator()(int y, SplitRow<RowSample<T>>& row) const {
        row.largest =
            kernels.split(lattice.row(y * lattice.step), lattice.step, lattice.columns(), row.even, row.odd);
    }

private:
    Lattice<T> lattice;
    const RowKernels<T>& kernels;
};

// A bound of the magnitudes; only int rows need one.
template <typename T>
long largestSample(const Lattice<T>& lattice, const RowKernels<T>& kernels) {
    long largest = 0;
    if constexpr (sizeof(T) > sizeof(short)) {
        for (int y = 0; y < lattice.height; y += lattice.step) {
            largest = std::max(largest, kernels.largest(lattice.row(y), lattice.step, lattice.columns()));
        }
    }
    return largest;
}

template <typename T>
int forwardLevelsInOnePass(const Lattice<T>& finest, int levels, const RowKernels<T>& kernels) {
    if (!finest.isLongEnough()) {
        return 0;
    }
    long largest = largestSample(finest, kernels);
    int fit = 0;
    while (fit < levels && largest <= largestLongForward && finest.coarser(fit).isLongEnough()) {
        largest = largestApproximation(largest);
        ++fit;
    }
    return fit;
}

template <typename T>
bool inverseFitsInOnePass(const Lattice<T>& finest, int levels, const RowKernels<T>& kernels) {
    if (!finest.coarser(levels - 1).isLongEnough()) {
        return false;
    }
    const long details = largestSample(finest, kernels);
    long approximation = details;
    for (int level = levels - 1; level > 0 && approximation <= largestLongInverse; --level) {
        approximation = largestRestored(approximation, details);
    }
    return approximation <= largestLongInverse;
}

// The chain of levels, the finest first.
template <typename T>
std::unique_ptr<ForwardLevel<T, PlaceInPlane<T>>> forwardChain(const Lattice<T>& finest, int levels,
                                                               const RowKernels<T>& kernels) {
    std::unique_ptr<ForwardLevel<T, PlaceInPlane<T>>> chain;
    for (int level = levels - 1; level >= 0; --level) {
        const Lattice<T> lattice = finest.coarser(level);
        chain = std::make_unique<ForwardLevel<T, PlaceInPlane<T>>>(
            lattice, kernels, PlaceInPlane<T>(lattice, kernels), std::move(chain));
    }
    return chain;
}

template <typename T>
std::unique_ptr<InverseLevel<T, TakeFromPlane<T>>> inverseChain(const Lattice<T>& finest, int levels,
                                                                const RowKernels<T>& kernels) {
    std::unique_ptr<InverseLevel<T, TakeFromPlane<T>>> chain;
    for (int level = levels - 1; level >= 0; --level) {
        const Lattice<T> lattice = finest.coarser(level);
        chain = std::make_unique<InverseLevel<T, TakeFromPlane<T>>>(
            lattice, kernels, TakeFromPlane<T>(lattice, kernels), std::move(chain));
    }
    return chain;
}

} // namespace

template <typename T>
int transformLevels(const Lattice<T>& finest, int levels, Target target) {
    const RowKernels<T>& kernels = rowKernels<T>(target);
    const int fit = forwardLevelsInOnePass(finest, levels, kernels);
    if (fit > 0) {
        forwardChain<T>(finest, fit, kernels)->run();
    }
    return fit;
}

template <typename T>
bool untransformLevels(const Lattice<T>& finest, int levels, Target target) {
    const RowKernels<T>& kernels = rowKernels<T>(target);
    if (!inverseFitsInOnePass(finest, levels, kernels)) {
        return false;
    }
    const auto chain = inverseChain<T>(finest, levels, kernels);
    const PlaceInPlane<T> place(finest, kernels);
    for (int y = 0; y < finest.rows(); ++y) {
        place(y, chain->restore(y));
    }
    return true;
}

template int transformLevels(const Lattice<short>&, int, Target);
template int transformLevels(const Lattice<long>&, int, Target);
template bool untransformLevels(const Lattice<short>&, int, Target);
template bool untransformLevels(const Lattice<long>&, int, Target);

} // namespace teko
