// SPDX-License-Identifier: Apache-2.0
// Levels of the forward transform of long samples whose rows are short ones as long as their samples allow it.
#pragma once

#include "fast/kernels/kernels.hpp"
#include "fast/transform/forwardLevel.hpp"
#include "fast/transform/planeLevel.hpp"

#include <cstdint>
#include <memory>

namespace teko {

// Takes its rows as either.
class CoarserForwardOfAny : public CoarserForward<SmallLong>, public CoarserForward<std::int64_t> {};

// A level that starts small where its target gains from that, and goes on as a wide one from the first row on that has
// larger samples or comes as such a row. Rows of short take half the time (16-bit images with samples of 12 bits: 1.3
// times on transforming them).
template <typename SmallPass, typename Pass>
class WideningForwardLevel final : public CoarserForwardOfAny {
public:
    // The next coarser level is not owned.
    WideningForwardLevel(const Lattice<std::int64_t>& itsLattice, Target itsTarget, const SmallPass& smallPass,
                         const Pass& passOn, CoarserForwardOfAny* coarserLevel)
        : lattice(itsLattice), target(itsTarget), pass(passOn), coarser(coarserLevel) {
        if (kernelsOf(target).prefersSmallRows) {
            small = std::make_unique<Small>(lattice.of<SmallLong>(), kernelsOf(target).rows<SmallLong>(), smallPass,
                                            coarser);
        } else {
            wide = std::make_unique<Wide>(lattice, kernelsOf(target).rows<std::int64_t>(), pass, coarser);
        }
    }

    void take(int y, const std::int16_t* samples) override {
        const RowConversions& conversions = kernelsOf(target).conversions;
        if (small) {
            const SplitRow<std::int16_t>& row = small->place(y);
            conversions.splitExtending(samples, lattice.columns(), row.even, row.odd, range);
            taken(y, range.isSmall());
        } else {
            const SplitRow<int>& row = wide->place(y);
            conversions.splitWidening(samples, lattice.columns(), row.even, row.odd);
            wide->taken(y);
        }
    }

    void take(int y, const int* samples) override {
        widen();
        wide->take(y, samples);
    }

    // Where row y is to be put, whatever its samples.
    SplitRow<int>& place(int y) {
        widen();
        return wide->place(y);
    }
    // The same in short, for samples that are not negative; null once there have been larger ones.
    SplitRow<std::int16_t>* placeSmall(int y) { return small ? &small->place(y) : nullptr; }

    // Once it is there.
    void taken(int y) { taken(y, small && (staysSmallByBound(y) || staysSmall(y))); }

    void finish() override {
        if (small) {
            small->finish();
        } else {
            wide->finish();
        }
    }

private:
    using Small = ForwardLevel<SmallLong, SmallPass>;
    using Wide = ForwardLevel<std::int64_t, Pass>;

    void taken(int y, bool isSmall) {
        if (isSmall) {
            small->taken(y);
        } else {
            widen();
            wide->taken(y);
        }
    }

    // Without a look at the samples, from 0 to the bound.
    bool staysSmallByBound(int y) {
        SampleRange extended = range;
        extended.add(0);
        extended.add(static_cast<int>(small->place(y).largest));
        if (!extended.isSmall()) {
            return false;
        }
        range = extended;
        return true;
    }

    bool staysSmall(int y) {
        const RowConversions& conversions = kernelsOf(target).conversions;
        const SplitRow<std::int16_t>& row = small->place(y);
        conversions.extendRange(row.even, (lattice.columns() + 1) / 2, range);
        conversions.extendRange(row.odd, lattice.columns() / 2, range);
        return range.isSmall();
    }

    void widen() {
        if (small) {
            wide = std::make_unique<Wide>(lattice, kernelsOf(target).rows<std::int64_t>(), pass, coarser, *small);
            small.reset();
        }
    }

    Lattice<std::int64_t> lattice;
    Target target;
    Pass pass;
    CoarserForwardOfAny* coarser;
    SampleRange range; // of all rows so far
    std::unique_ptr<Small> small;
    std::unique_ptr<Wide> wide;
};

template <typename Pass>
class ForwardPlaneLevelOfAny final : public CoarserForwardOfAny {
public:
    ForwardPlaneLevelOfAny(const Lattice<std::int64_t>& lattice, const Pass& pass) : level(lattice, pass) {}

    void take(int y, const std::int16_t* samples) override { level.take(y, samples); }
    void take(int y, const int* samples) override { level.take(y, samples); }
    void finish() override { level.finish(); }

private:
    ForwardPlaneLevel<std::int64_t, Pass> level;
};

} // namespace teko
