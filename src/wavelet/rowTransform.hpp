// The decomposition in one pass over the plane per level, rows at a time: the fast form of Wavelet's transform
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

    // Columns are filtered in place while their samples lie close or are few, else sixteen at a time through
    // contiguous copies: long columns of distant samples would fetch a cache line and a page for every sample.
    // The kernels on the copies round wide sums differently at the columns' ends, so this is part of the format.
    bool needsBlocks() const { return rowSpacing() > directSpacing && rows() > directLength; }

    static constexpr unsigned long directSpacing = 512;
    static constexpr int directLength = 512;
};

// One level of the transform (row pass, then column pass) or of its inverse (column pass, then row pass), with
// the row kernels of a target. Returns false, with the lattice untouched, where it does not apply: fewer than
// six rows or columns, or samples too large for the kernels. Needs memory for twelve rows; throws
// std::bad_alloc.
template <typename T>
bool transformLevel(const Lattice<T>& lattice, Target target);
template <typename T>
bool untransformLevel(const Lattice<T>& lattice, Target target);

} // namespace teko
