// The decomposition in one pass over the plane, rows at a time: the fast form of Wavelet's transform
// and untransform for Filter4_2.
#pragma once

#include "target/target.hpp"

namespace teko {

// The samples of one plane that a level works on: those with x and y multiples of the step.
template <typename T>
struct Lattice {
    T* plane;
    int width;
    int height;
    int stride;
    int step;

    int columns() const { return (width - 1) / step + 1; }
    int rows() const { return (height - 1) / step + 1; }
    unsigned long rowSpacing() const { return static_cast<unsigned long>(stride) * static_cast<unsigned long>(step); }
    T* row(int y) const { return plane + static_cast<long>(y) * stride; }

    // Of so many levels later.
    Lattice coarser(int levels) const { return {plane, width, height, stride, step << levels}; }

    // For row kernels.
    bool isLongEnough() const { return columns() >= shortestSignal && rows() >= shortestSignal; }

    // Columns are filtered in place while their samples lie close or are few, else sixteen at a time through
    // contiguous copies: long columns of distant samples would fetch a cache line and a page for every sample.
    // The kernels on the copies round wide sums differently at the columns' ends, so this is part of the format.
    bool needsBlocks() const { return rowSpacing() > directSpacing && rows() > directLength; }

    static constexpr int shortestSignal = 6;
    static constexpr unsigned long directSpacing = 512;
    static constexpr int directLength = 512;
};

// Levels of the transform (row pass, then column pass) from the finest lattice on, with the row kernels of a target.
// Returns how many of them it did: fewer where a lattice has less than six rows or columns or samples may be too large
// for the kernels, and none, with the plane untouched, where that is so at once. Needs memory for 24 rows at most;
// throws std::bad_alloc before it changes anything.
template <typename T>
int transformLevels(const Lattice<T>& finest, int levels, Target target);

// The inverse of so many levels (column pass, then row pass), the coarsest first and the finest lattice last. Returns
// false, with the plane untouched, where not all of them can be done so.
template <typename T>
bool untransformLevels(const Lattice<T>& finest, int levels, Target target);

} // namespace teko
