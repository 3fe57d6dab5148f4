// SPDX-License-Identifier: Apache-2.0
#include "filter/filter.hpp"
#include "memory/memory.hpp"
#include "support/failingAllocation.hpp"
#include "support/samples.hpp"
#include "wavelet/wavelet.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

// A filter of its own kind, which the transform can only reach through the interface.
template <typename T>
class OtherFilter : public Filter4_2<T> {};

template <typename T>
class ColumnScratch : public testing::Test {
protected:
    ColumnScratch() {
        std::mt19937_64 random{4};
        fillWithNoise(image, random, 0, 255);
    }

    AllocationOutcome transformAfter(long successes, Filter<T>& filter) {
        Wavelet<T> wavelet;
        wavelet.filter = &filter;
        return withFailingAllocation(successes, [&] { wavelet.transform(&image); });
    }
    AllocationOutcome untransformAfter(long successes, Filter<T>& filter) {
        Wavelet<T> wavelet;
        wavelet.filter = &filter;
        return withFailingAllocation(successes, [&] { wavelet.untransform(&image); });
    }

    // The bytes that both directions ask for, the same; of a plane of zeros.
    std::size_t bytesFor(int width, int height) {
        ImageData<T> plane(width, height, 1);
        std::fill_n(plane.planes[0], static_cast<long>(width) * height, T{0});
        Wavelet<T> wavelet;
        wavelet.filter = &other;
        const std::size_t before = AllocationLedger::requested;
        wavelet.transform(&plane);
        const std::size_t forward = AllocationLedger::requested - before;
        wavelet.untransform(&plane);
        EXPECT_EQ(AllocationLedger::requested - before, 2 * forward);
        return forward;
    }
    static std::size_t scratchFor(int rows) {
        return 16 * (static_cast<std::size_t>(rows) + 6) * sizeof(T) + bytesBesideTaken;
    }

    // 600 x 600 samples: only the first level has columns that are long and far apart.
    ImageData<T> image{600, 600, 3};
    OtherFilter<T> other;
    Filter4_2<T> own;
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(ColumnScratch, SampleTypes);

} // namespace

TYPED_TEST(ColumnScratch, isAskedForOnceForEveryChannelAndGivenBack) {
    for (int successes = 0; successes < 3; ++successes) {
        EXPECT_EQ(this->transformAfter(successes, this->other), AllocationOutcome::refused);
        EXPECT_EQ(this->untransformAfter(successes, this->other), AllocationOutcome::refused);
    }
    EXPECT_EQ(this->transformAfter(3, this->other), AllocationOutcome::succeeded);
    EXPECT_EQ(this->untransformAfter(3, this->other), AllocationOutcome::succeeded);
}

TYPED_TEST(ColumnScratch, holdsSixteenColumnsWithThreeSamplesMoreAtEitherEnd) {
    EXPECT_EQ(this->bytesFor(600, 600), this->scratchFor(600));
    EXPECT_EQ(this->bytesFor(513, 513), this->scratchFor(513));
    EXPECT_EQ(this->bytesFor(513, 1024), this->scratchFor(1024));
}

TYPED_TEST(ColumnScratch, isAskedForAnewByEveryLevelWithTheRowsOfThatLevel) {
    EXPECT_EQ(this->bytesFor(1100, 1101), this->scratchFor(1101) + this->scratchFor(551));
}

// The fifth level of 64 columns has four of them, 16 samples apart.
TYPED_TEST(ColumnScratch, holdsSixteenColumnsWhereThereAreFewer) {
    EXPECT_EQ(this->bytesFor(64, 8300), this->scratchFor(519));
}

TYPED_TEST(ColumnScratch, isNotNeededWhereColumnsAreFilteredInPlace) {
    this->image.height = 512;
    EXPECT_EQ(this->transformAfter(0, this->other), AllocationOutcome::succeeded);
    EXPECT_EQ(this->untransformAfter(0, this->other), AllocationOutcome::succeeded);
    this->image.height = 600;
}

TYPED_TEST(ColumnScratch, isGivenBackWhereverAnAllocationOfTheCodecsOwnFilterFails) {
    for (const bool forward : {true, false}) {
        AllocationOutcome outcome = AllocationOutcome::refused;
        for (long successes = 0; outcome == AllocationOutcome::refused; ++successes) {
            outcome =
                forward ? this->transformAfter(successes, this->own) : this->untransformAfter(successes, this->own);
        }
        EXPECT_EQ(outcome, AllocationOutcome::succeeded);
    }
}

} // namespace teko
