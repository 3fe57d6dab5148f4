// SPDX-License-Identifier: Apache-2.0
#include "filterRoutines.hpp"
#include "support/plainLifting.hpp"
#include "support/signals.hpp"

namespace teko {

namespace {

template <typename T>
class StridedFilter : public testing::Test {
protected:
    std::mt19937_64 random{77};

    // Compares a routine with the kernel of its direction on samples that no routine wraps.
    void expectKernelResults(const Routine<T>& routine, int n) {
        const auto signal = randomSignal<T>(random, n, tameBound);
        const bool forward = routine.direction == Direction::forward;
        ASSERT_EQ(through(routine, signal), forward ? kernelForward(signal) : kernelInverse(signal))
            << routine << ", count " << n;
    }
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(StridedFilter, SampleTypes);

} // namespace

TYPED_TEST(StridedFilter, entryPointsEqualTheKernelsForEveryCountAndStride) {
    for (const auto& routine : entryPoints<TypeParam>()) {
        for (int n = 2; n <= 70; ++n) {
            this->expectKernelResults(routine, n);
        }
    }
}

TYPED_TEST(StridedFilter, copiesEqualTheKernelsForEveryCountAndStride) {
    for (const auto& routine : copyRoutines<TypeParam>()) {
        for (int n = 2; n <= Filter4_2<TypeParam>::maximumCopied; ++n) {
            this->expectKernelResults(routine, n);
        }
    }
}

TYPED_TEST(StridedFilter, inPlaceRoutinesEqualTheKernelsFromSixSamplesOn) {
    for (const auto& routine : stridedRoutines<TypeParam>()) {
        for (int n = 6; n <= 70; ++n) {
            this->expectKernelResults(routine, n);
        }
    }
}

TYPED_TEST(StridedFilter, filtersShortSignalsAtEveryStride) {
    using Signal = std::vector<TypeParam>;
    for (const auto& routine : entryPoints<TypeParam>()) {
        const bool forward = routine.direction == Direction::forward;
        EXPECT_EQ(through(routine, forward ? Signal{10, 20} : Signal{18, 10}),
                  (forward ? Signal{18, 10} : Signal{10, 20}))
            << routine;
        EXPECT_EQ(through(routine, forward ? Signal{10, 20, 30} : Signal{12, 0, 36}),
                  (forward ? Signal{12, 0, 36} : Signal{10, 20, 30}))
            << routine;
    }
}

TYPED_TEST(StridedFilter, filtersSixSamplesAllOfWhoseOddPositionsAreBoundaries) {
    using Signal = std::vector<TypeParam>;
    const Routine<TypeParam> general{
        "transform", Direction::forward, 3,
        [](Filter4_2<TypeParam>& f, TypeParam* x, int n, unsigned long s) { f.transform(x, n, s); }};
    EXPECT_EQ(through(general, Signal{0, 0, 100, 0, 0, 0}), (Signal{-30, -50, 87, -56, -13, 13}));
}

TYPED_TEST(StridedFilter, restoresWhatItFilteredForEveryCountAndStride) {
    Filter4_2<TypeParam> filter;
    for (const unsigned long stride : testedStrides) {
        for (int n = 2; n <= 70; ++n) {
            const auto memory = randomSignal<TypeParam>(this->random, n * static_cast<int>(stride), tameBound);
            auto filtered = memory;
            filter.transform(filtered.data(), n, stride);
            ASSERT_NE(filtered, memory);
            filter.untransform(filtered.data(), n, stride);
            ASSERT_EQ(filtered, memory) << n << ", stride " << stride;
        }
    }
}

TYPED_TEST(StridedFilter, leavesSignalsOfFewerThanTwoSamplesAlone) {
    Filter4_2<TypeParam> filter;
    std::vector<TypeParam> memory{11, 22, 33, 44};
    const auto before = memory;
    for (const int n : {1, 0, -1, -1000}) {
        for (const unsigned long stride : testedStrides) {
            filter.transform(memory.data() + 1, n, stride);
            filter.transformFast(memory.data() + 1, n, stride);
            filter.transformCopy(memory.data() + 1, n, stride);
            filter.untransform(memory.data() + 1, n, stride);
            filter.untransformFast(memory.data() + 1, n, stride);
            filter.untransformCopy(memory.data() + 1, n, stride);
            EXPECT_EQ(memory, before) << n;
        }
    }
}

TYPED_TEST(StridedFilter, readsNothingOfSignalsOfFewerThanTwoSamples) {
    Filter4_2<TypeParam> filter;
    TypeParam* const nowhere = nullptr;
    for (const int n : {1, 0, -1}) {
        EXPECT_NO_FATAL_FAILURE(filter.transform(nowhere, n, 1)) << n;
        EXPECT_NO_FATAL_FAILURE(filter.untransform(nowhere, n, 1)) << n;
    }
}

TYPED_TEST(StridedFilter, touchesNothingBeforeOrBehindTheSignal) {
    Filter4_2<TypeParam> filter;
    for (const unsigned long stride : testedStrides) {
        for (int n = 2; n <= 24; ++n) {
            const std::size_t used = static_cast<std::size_t>(n - 1) * stride + 1;
            std::vector<TypeParam> memory(used + 40, untouched<TypeParam>);
            filter.transform(memory.data() + 20, n, stride);
            filter.untransform(memory.data() + 20, n, stride);
            EXPECT_EQ(std::count(memory.begin(), memory.begin() + 20, untouched<TypeParam>), 20);
            EXPECT_EQ(std::count(memory.end() - 20, memory.end(), untouched<TypeParam>), 20);
        }
    }
}

TEST(StridedFilterOfLong, followsTheFormulasBeyond32Bits) {
    std::mt19937_64 random{9};
    for (const auto& routine : entryPoints<long>()) {
        for (int n = 2; n <= 40; ++n) {
            const auto signal = randomSignal<long>(random, n, 1L << 36);
            ASSERT_EQ(through(routine, signal), routine.direction == Direction::forward
                                                    ? plain::forward(signal, plain::strided)
                                                    : plain::inverse(signal, plain::strided))
                << routine << ", count " << n;
        }
    }
}

} // namespace teko
