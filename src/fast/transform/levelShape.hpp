// SPDX-License-Identifier: Apache-2.0
// Which coefficients the rows of a level have.
#pragma once

namespace teko {

struct LevelShape {
    int columns;
    int c;           // class of all coefficients but those of the next coarser level
    bool isCoarsest; // those are class c + 1

    int evens() const { return (columns + 1) / 2; }
    int odds() const { return columns / 2; }
};

} // namespace teko
