// SPDX-License-Identifier: Apache-2.0
// Which subband class a coefficient belongs to, and where the coefficients of a class lie.
#pragma once

#include "wavelet/levels.hpp"

#include <cassert>

namespace teko {

constexpr int maximumClasses = maximumLevels + 1;

// Class c below `levels` holds the details of decomposition level c + 1, class 0 being the finest; class
// `levels` holds the approximation. Without levels every position is of class 0.
constexpr int subbandClass(int x, int y, int levels) {
    int c = 0;
    while (c < levels && (((x | y) >> c) & 1) == 0) {
        ++c;
    }
    return c;
}

// A class in scan order (rows from the top, columns from the left) is a set of rows, each with a first column
// and a distance: rows y = 0, 2^c, 2 * 2^c, ...; columns as given here.
struct ClassColumns {
    int first;
    int step;
};

constexpr int classRowStep(int c) {
    return 1 << c;
}

constexpr ClassColumns classColumns(int c, int levels, int y) {
    assert(c >= 0 && c < maximumClasses && y % classRowStep(c) == 0);
    const int step = 1 << c;
    const bool holdsCoarserClasses = c < levels && y % (2 * step) == 0;
    return holdsCoarserClasses ? ClassColumns{step, 2 * step} : ClassColumns{0, step};
}

} // namespace teko
