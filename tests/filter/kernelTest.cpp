// SPDX-License-Identifier: Apache-2.0
#include "filterRoutines.hpp"
#include "support/plainLifting.hpp"
#include "support/signals.hpp"

namespace teko {

namespace {

template <typename T>
class FilterKernel : public testing::Test {
protected:
    std::mt19937_64 random{2024};
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(FilterKernel, SampleTypes);

// What a kernel leaves in the six slots around a signal of n samples, in the order of their addresses.
template <typename T, typename Kernel>
std::vector<T> edgeSlotsAfter(const std::vector<T>& signal, Kernel kernel) {
    std::vector<T> memory(signal.size() + 6, untouched<T>);
    std::copy(signal.begin(), signal.end(), memory.begin() + 3);
    kernel(memory.data() + 3, static_cast<int>(signal.size()));
    std::vector<T> slots(memory.begin(), memory.begin() + 3);
    slots.insert(slots.end(), memory.end() - 3, memory.end());
    return slots;
}

template <typename T>
std::vector<T> mirroredEdges(const std::vector<T>& signal) {
    const long n = static_cast<long>(signal.size());
    std::vector<T> slots;
    for (const long position : {-3L, -2L, -1L, n, n + 1, n + 2}) {
        slots.push_back(static_cast<T>(plain::sampleAt(signal, position)));
    }
    return slots;
}

} // namespace

TYPED_TEST(FilterKernel, filtersTwoSamples) {
    using Signal = std::vector<TypeParam>;
    EXPECT_EQ(kernelForward(Signal{10, 20}), (Signal{18, 10}));
    EXPECT_EQ(kernelInverse(Signal{18, 10}), (Signal{10, 20}));
}

TYPED_TEST(FilterKernel, filtersThreeSamples) {
    using Signal = std::vector<TypeParam>;
    EXPECT_EQ(kernelForward(Signal{10, 20, 30}), (Signal{12, 0, 36}));
    EXPECT_EQ(kernelInverse(Signal{12, 0, 36}), (Signal{10, 20, 30}));
}

TYPED_TEST(FilterKernel, spreadsAnImpulse) {
    using Signal = std::vector<TypeParam>;
    const Signal impulse{0, 0, 0, 0, 100, 0, 0, 0};
    const Signal coefficients{4, 6, -15, -56, 86, -56, -13, 13};
    EXPECT_EQ(kernelForward(impulse), coefficients);
    EXPECT_EQ(kernelInverse(coefficients), impulse);
}

TYPED_TEST(FilterKernel, takesDifferenceAndScaledMeanOfTwoSamples) {
    using Signal = std::vector<TypeParam>;
    for (int a = -40; a <= 40; ++a) {
        for (int b = -40; b <= 40; ++b) {
            const long mean = a + plain::roundedQuotient(b - a, 2);
            const Signal expected{static_cast<TypeParam>(plain::scaled(mean)), static_cast<TypeParam>(b - a)};
            ASSERT_EQ(kernelForward(Signal{static_cast<TypeParam>(a), static_cast<TypeParam>(b)}), expected);
        }
    }
}

TYPED_TEST(FilterKernel, predictsTheMiddleOfThreeSamplesFromTheMeanOfItsNeighbours) {
    using Signal = std::vector<TypeParam>;
    for (int repetition = 0; repetition < 1000; ++repetition) {
        const Signal x = randomSignal<TypeParam>(this->random, 3, tameBound);
        const long detail = x[1] - plain::roundedQuotient(x[0] + x[2], 2);
        const long term = plain::roundedQuotient(detail, 2);
        const Signal expected{static_cast<TypeParam>(plain::scaled(x[0] + term)), static_cast<TypeParam>(detail),
                              static_cast<TypeParam>(plain::scaled(x[2] + term))};
        ASSERT_EQ(kernelForward(x), expected);
    }
}

TYPED_TEST(FilterKernel, updatesTheLastSampleOfOddCountsFromTheOneBeforeAlone) {
    using Signal = std::vector<TypeParam>;
    EXPECT_EQ(kernelForward(Signal{0, 0, 0, 100, 0}), (Signal{0, 0, 30, 100, 59}));
    EXPECT_EQ(kernelForward(Signal{0, 0, 0, -101, 0}), (Signal{0, 0, -30, -101, -61}));
}

TYPED_TEST(FilterKernel, mirrorsTheEvensBehindTheLastSampleOfEvenCounts) {
    using Signal = std::vector<TypeParam>;
    // Predict sums at position 5: 18 * 16 from the even before, -2 * 16 from the one three before.
    EXPECT_EQ(kernelForward(Signal{0, 0, 0, 0, 16, 0})[5], -18);
    EXPECT_EQ(kernelForward(Signal{0, 0, 16, 0, 0, 0})[5], 2);
    EXPECT_EQ(kernelForward(Signal{16, 0, 0, 0, 0, 0})[5], 0);
}

TYPED_TEST(FilterKernel, givesAConstantNoDetail) {
    using Signal = std::vector<TypeParam>;
    for (const int c : {0, 1, -1, 100, -100, 1600, -1600}) {
        for (std::size_t n = 2; n <= 40; ++n) {
            const Signal result = kernelForward(Signal(n, static_cast<TypeParam>(c)));
            for (std::size_t i = 0; i < n; ++i) {
                ASSERT_EQ(result[i], i % 2 == 1 ? 0 : plain::scaled(c)) << c << ", count " << n << ", position " << i;
            }
        }
    }
    EXPECT_EQ(kernelForward(Signal(5, 100)), (Signal{119, 0, 119, 0, 119}));
    EXPECT_EQ(kernelForward(Signal(4, -100)), (Signal{-119, 0, -119, 0}));
}

TYPED_TEST(FilterKernel, roundsBothSignsAlike) {
    for (int n = 2; n <= 70; ++n) {
        const auto signal = randomSignal<TypeParam>(this->random, n, tameBound);
        ASSERT_EQ(kernelForward(negated(signal)), negated(kernelForward(signal))) << n;
        ASSERT_EQ(kernelInverse(negated(signal)), negated(kernelInverse(signal))) << n;
    }
}

TYPED_TEST(FilterKernel, followsTheFormulas) {
    for (int n = 2; n <= 70; ++n) {
        const auto signal = randomSignal<TypeParam>(this->random, n, tameBound);
        ASSERT_EQ(kernelForward(signal), plain::forward(signal, plain::forwardKernel)) << n;
        ASSERT_EQ(kernelInverse(signal), plain::inverse(signal, plain::inverseKernel)) << n;
    }
}

TYPED_TEST(FilterKernel, restoresWhatItFiltered) {
    for (int n = 2; n <= 70; ++n) {
        for (const long bound : {1L, 20L, tameBound}) {
            const auto signal = randomSignal<TypeParam>(this->random, n, bound);
            ASSERT_EQ(kernelInverse(kernelForward(signal)), signal) << n;
        }
    }
}

TEST(FilterKernelOfLong, restoresLargeSamples) {
    std::mt19937_64 random{7};
    for (int n = 2; n <= 70; ++n) {
        const auto signal = randomSignal<long>(random, n, 1L << 48);
        ASSERT_EQ(kernelInverse(kernelForward(signal)), signal) << n;
    }
}

TEST(FilterKernelOfLong, followsTheFormulasBeyond32Bits) {
    std::mt19937_64 random{8};
    for (int n = 2; n <= 70; ++n) {
        const auto signal = randomSignal<long>(random, n, 1L << 36);
        ASSERT_EQ(kernelForward(signal), plain::forward(signal, plain::forwardKernel)) << n;
        ASSERT_EQ(kernelInverse(signal), plain::inverse(signal, plain::inverseKernel)) << n;
    }
}

TYPED_TEST(FilterKernel, mirrorsTheSignalIntoAllSixEdgeSlots) {
    Filter4_2<TypeParam> filter;
    for (int n = 2; n <= 12; ++n) {
        const auto signal = randomSignal<TypeParam>(this->random, n, tameBound);
        EXPECT_EQ(edgeSlotsAfter(signal, [&](TypeParam* x, int count) { filter.transformInner(x, count); }),
                  mirroredEdges(signal))
            << n;
        EXPECT_EQ(edgeSlotsAfter(signal, [&](TypeParam* x, int count) { filter.untransformInner(x, count); }),
                  mirroredEdges(plain::withEvensRestored(signal)))
            << n;
    }
}

TYPED_TEST(FilterKernel, mirrorsTwoSamplesThroughTheirOwnSlots) {
    using Signal = std::vector<TypeParam>;
    Filter4_2<TypeParam> filter;
    const auto forward = [&](TypeParam* x, int n) { filter.transformInner(x, n); };
    EXPECT_EQ(edgeSlotsAfter(Signal{10, 20}, forward), (Signal{20, 10, 20, 10, 20, 10}));
    EXPECT_EQ(edgeSlotsAfter(Signal{10, 20, 30}, forward), (Signal{20, 30, 20, 20, 10, 20}));
    EXPECT_EQ(edgeSlotsAfter(Signal{10, 20, 30, 40}, forward), (Signal{40, 30, 20, 30, 20, 10}));
}

TYPED_TEST(FilterKernel, dependsOnNothingInTheEdgeSlots) {
    for (int n = 2; n <= 12; ++n) {
        const auto signal = randomSignal<TypeParam>(this->random, n, tameBound);
        std::vector<TypeParam> results[2][2];
        for (int i = 0; i < 2; ++i) {
            std::vector<TypeParam> memory(signal.size() + 6, static_cast<TypeParam>(i == 0 ? 0 : -30000));
            std::copy(signal.begin(), signal.end(), memory.begin() + 3);
            auto other = memory;
            Filter4_2<TypeParam> filter;
            filter.transformInner(memory.data() + 3, n);
            filter.untransformInner(other.data() + 3, n);
            results[0][i].assign(memory.begin() + 3, memory.end() - 3);
            results[1][i].assign(other.begin() + 3, other.end() - 3);
        }
        EXPECT_EQ(results[0][0], results[0][1]) << n;
        EXPECT_EQ(results[1][0], results[1][1]) << n;
    }
}

} // namespace teko
