// SPDX-License-Identifier: Apache-2.0
// What the levels of row streams have in common: their shape, and the next coarser one as a level sees it.
#pragma once

#include "fast/rows/rowKernels.hpp"
#include "memory/memory.hpp"

namespace teko {

struct LevelShape {
    int columns;
    int c;           // class of all coefficients but those of the next coarser level
    bool isCoarsest; // those are class c + 1

    int evens() const { return (columns + 1) / 2; }
    int odds() const { return columns / 2; }
};

// Takes the rows of the approximation, from the top.
template <typename T>
class LevelSink : public InTakenMemory {
public:
    virtual ~LevelSink() = default;

    virtual void take(int y, const RowSample<T>* samples) = 0;
    // After the last row.
    virtual void finish() = 0;
    // Then: whether it is proved that the inverse gives the rows back. Only short samples can fail to.
    virtual bool isReversible() const { return true; }
};

// Restores them.
template <typename T>
class LevelSource : public InTakenMemory {
public:
    virtual ~LevelSource() = default;

    // Row y, to be used before the next is asked for.
    virtual const PolyphaseRow<RowSample<T>>& restore(int y) = 0;
};

} // namespace teko
