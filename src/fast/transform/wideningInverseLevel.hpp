// SPDX-License-Identifier: Apache-2.0
// Levels of the inverse transform of long samples whose rows are short ones as long as their samples allow it.
#pragma once

#include "fast/kernels/kernels.hpp"
#include "fast/transform/inverseLevel.hpp"
#include "fast/transform/planeLevel.hpp"

#include <cstdint>
#include <memory>

namespace teko {

// Gives its rows as either.
class CoarserInverseOfAny : public InTakenMemory {
public:
    virtual ~CoarserInverseOfAny() = default;

    // Row y, to be used before the next is asked for.
    virtual AnySplitRow restore(int y) = 0;
};

// A level that starts small, where it is told that it can, and goes on as a wide one from the first row on that does
// not suit. fill(y, row) is as for InverseLevel; wideFill also has refill(y, row), for a row that did not suit.
template <typename SmallFill, typename WideFill>
class WideningInverseLevel final : public CoarserInverseOfAny {
public:
    WideningInverseLevel(const Lattice<std::int64_t>& itsLattice, Target itsTarget, bool startsSmall,
                         const SmallFill& smallFill, const WideFill& itsWideFill)
        : lattice(itsLattice), target(itsTarget), wideFill(itsWideFill) {
        if (startsSmall) {
            small = std::make_unique<Small>(lattice.of<SmallLong>(), kernelsOf(target).rows<SmallLong>(), smallFill);
        } else {
            wide = std::make_unique<Wide>(lattice, kernelsOf(target).rows<std::int64_t>(), wideFill);
        }
    }

    AnySplitRow restore(int y) override {
        if (small && !small->reach(y)) {
            wide = std::make_unique<Wide>(lattice, kernelsOf(target).rows<std::int64_t>(), wideFill, *small);
            small.reset();
        }
        return small ? AnySplitRow{&small->restore(y), nullptr} : AnySplitRow{nullptr, &wide->restore(y)};
    }

private:
    using Small = InverseLevel<SmallLong, SmallFill>;
    using Wide = InverseLevel<std::int64_t, WideFill>;

    Lattice<std::int64_t> lattice;
    Target target;
    WideFill wideFill;
    std::unique_ptr<Small> small;
    std::unique_ptr<Wide> wide;
};

template <typename Fill>
class InversePlaneLevelOfAny final : public CoarserInverseOfAny {
public:
    InversePlaneLevelOfAny(const Lattice<std::int64_t>& lattice, const Fill& fill) : level(lattice, fill) {}

    AnySplitRow restore(int y) override { return {nullptr, &level.restore(y)}; }

private:
    InversePlaneLevel<std::int64_t, Fill> level;
};

} // namespace teko
