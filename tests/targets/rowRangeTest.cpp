// SPDX-License-Identifier: Apache-2.0
// The kernels for short samples on every number that can come up, one sample after the other: their divisions are
// multiplications.
#include "fast/kernels/kernels.hpp"
#include "filter/lifting.hpp"
#include "support/targets.hpp"
#include "targets/rowBuffers.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

namespace teko {

namespace {

class RowRange : public testing::TestWithParam<Target> {
protected:
    // A row of all numbers from least to most, rounded up to whole vectors.
    static std::vector<short> numbers(int least, int most) {
        std::vector<short> row(paddedLength(static_cast<std::size_t>(most - least + 1)));
        for (int i = 0; i <= most - least; ++i) {
            row[static_cast<std::size_t>(i)] = static_cast<short>(least + i);
        }
        return row;
    }
    static std::vector<short> constant(const std::vector<short>& like, int value) {
        return std::vector<short>(like.size(), static_cast<short>(value));
    }
    static int lengthOf(const std::vector<short>& row) { return static_cast<int>(row.size()); }

    const RowKernels<short>& kernels = kernelsOf(GetParam()).rows<short>();
    const RowKernels<Int64In16>& narrowKernels = kernelsOf(GetParam()).rows<Int64In16>();
};

INSTANTIATE_TEST_SUITE_P(Targets, RowRange, testing::ValuesIn(fastTargets()),
                         [](const auto& instance) { return std::string(nameOf(instance.param)); });

int withoutScale(int sample, int times) {
    for (int i = 0; i < times; ++i) {
        sample = unscale(sample);
    }
    return sample;
}

SampleRange rangeOf(int least, int largest) {
    SampleRange range;
    range.add(least);
    range.add(largest);
    return range;
}

} // namespace

TEST_P(RowRange, ScalesEveryNumber) {
    const std::vector<short> all = numbers(-largestSumOfUpdate, largestSumOfUpdate);
    for (const int odd : {0, largestAdded, -largestAdded}) {
        std::vector<short> row = all;
        const std::vector<short> odds = constant(row, odd);
        kernels.update(row.data(), odds.data(), odds.data(), lengthOf(row));
        for (std::size_t i = 0; i < row.size(); ++i) {
            ASSERT_EQ(row[i], updated<short>(all[i], rdiv<4>(2 * odd))) << all[i] << " and " << odd;
        }
    }
}

TEST_P(RowRange, ScalesEverySmallNumber) {
    for (const int odd : {0, 1, -1, largestAddedToSmall, -largestAddedToSmall}) {
        const int term = rdiv<4>(2 * odd);
        const std::vector<short> all = numbers(-largestSumOfSmallUpdate - term, largestSumOfSmallUpdate - term);
        std::vector<short> row = all;
        const std::vector<short> odds = constant(row, odd);
        kernels.updateSmall(row.data(), odds.data(), odds.data(), lengthOf(row));
        for (int i = 0; i <= 2 * largestSumOfSmallUpdate; ++i) {
            const auto place = static_cast<std::size_t>(i);
            ASSERT_EQ(row[place], updated<short>(all[place], term)) << all[place] << " and " << odd;
        }
    }
}

TEST_P(RowRange, RoundsEverySmallUpdateTerm) {
    const std::vector<short> before = numbers(-largestAddedToSmall, largestAddedToSmall);
    for (const int after : {-largestAddedToSmall, -2, -1, 0, 1, 2, largestAddedToSmall}) {
        const std::vector<short> afters = constant(before, after);
        for (const int sum : {-largestSumOfSmallUpdate, -1, 0, 1, largestSumOfSmallUpdate}) {
            std::vector<short> evens = before;
            for (std::size_t i = 0; i < before.size(); ++i) {
                evens[i] = static_cast<short>(sum - rdiv<4>(before[i] + after));
            }
            std::vector<short> row = evens;
            kernels.updateSmall(row.data(), before.data(), afters.data(), lengthOf(row));
            for (std::size_t i = 0; i < before.size(); ++i) {
                ASSERT_EQ(row[i], updated<short>(evens[i], rdiv<4>(before[i] + after))) << before[i] << " + " << after;
            }
        }
    }
}

TEST_P(RowRange, UnscalesEveryNumber) {
    const std::vector<short> all = numbers(-largestUnscaled, largestUnscaled);
    for (const int odd : {0, largestAdded, -largestAdded}) {
        std::vector<short> row = all;
        const std::vector<short> odds = constant(row, odd);
        kernels.unupdate(row.data(), odds.data(), odds.data(), lengthOf(row));
        for (std::size_t i = 0; i < row.size(); ++i) {
            ASSERT_EQ(row[i], unupdated<short>(all[i], rdiv<4>(2 * odd))) << all[i] << " and " << odd;
        }
    }
}

// Beyond what unupdate takes, too, and next to larger ones or not.
TEST_P(RowRange, UnscalesEveryNumberAsOftenAsAsked) {
    for (const int most : {largestUnscaled, 32767}) {
        for (int times = 0; times <= 10; ++times) {
            const std::vector<short> all = numbers(-most - most % 2, most);
            std::vector<short> row = all;
            std::vector<short> narrowRow = all;
            kernels.unscale(row.data(), lengthOf(row), times);
            narrowKernels.unscale(narrowRow.data(), lengthOf(row), times);
            for (std::size_t i = 0; i < row.size(); ++i) {
                ASSERT_EQ(row[i], withoutScale(all[i], times)) << all[i] << ", " << times << " times";
                ASSERT_EQ(narrowRow[i], row[i]) << all[i] << ", " << times << " times";
            }
        }
    }
}

TEST_P(RowRange, RoundsEveryUpdateTerm) {
    const std::vector<short> before = numbers(-largestAdded, largestAdded);
    for (const int after : {-largestAdded, -1, 0, 1, largestAdded}) {
        const std::vector<short> afters = constant(before, after);
        std::vector<short> forward = constant(before, 100);
        std::vector<short> inverse = forward;
        kernels.update(forward.data(), before.data(), afters.data(), lengthOf(forward));
        kernels.unupdate(inverse.data(), before.data(), afters.data(), lengthOf(inverse));
        for (std::size_t i = 0; i < before.size(); ++i) {
            ASSERT_EQ(forward[i], updated<short>(100, rdiv<4>(before[i] + after))) << before[i] << " + " << after;
            ASSERT_EQ(inverse[i], unupdated<short>(100, rdiv<4>(before[i] + after))) << before[i] << " + " << after;
        }
    }
}

TEST_P(RowRange, RoundsEveryPredictSum) {
    const std::vector<short> farLeft = numbers(-32768, 32767);
    const std::vector<short> zeros = constant(farLeft, 0);
    std::vector<short> forward = zeros;
    std::vector<short> inverse = zeros;
    kernels.predict(forward.data(), farLeft.data(), zeros.data(), zeros.data(), zeros.data(), lengthOf(forward));
    kernels.unpredict(inverse.data(), farLeft.data(), zeros.data(), zeros.data(), zeros.data(), lengthOf(inverse));
    for (std::size_t i = 0; i < farLeft.size(); ++i) {
        ASSERT_EQ(forward[i], (predicted<short, WrappedToSample>(0, -farLeft[i]))) << farLeft[i];
        ASSERT_EQ(inverse[i], (unpredicted<short, WrappedToSample>(0, -farLeft[i]))) << farLeft[i];
    }
}

// Twice a prediction stays below 31000, as in a small range. Sums of far samples may wrap.
TEST_P(RowRange, RoundsEveryPredictSumOfNarrowRows) {
    const auto half = [](int sum) { return static_cast<short>(sum >> 1); };
    const auto rest = [](int sum) { return static_cast<short>(sum - (sum >> 1)); };
    const std::vector<short> all = numbers(-30000, 30000);
    for (int rises :
         {-28767, -28000, 28000, 28767, -17, -16, -15, -14, -13, -12, -11, -10, -9, -8, -7, -6, -5, -4, -3, -2,
          -1,     0,      1,     2,     3,   4,   5,   6,   7,   8,   9,   10,  11, 12, 13, 14, 15, 16, 17}) {
        std::vector<short> left = all, right = all, farLeft = all, farRight = all;
        for (std::size_t i = 0; i < all.size(); ++i) {
            const int near = std::abs(all[i] + rises / 8) < 31000 ? all[i] : 0;
            left[i] = half(near);
            right[i] = rest(near);
            farLeft[i] = half(near - rises);
            farRight[i] = rest(near - rises);
        }
        std::vector<short> row = constant(all, 100);
        std::vector<short> inverse = row;
        narrowKernels.predict(row.data(), farLeft.data(), left.data(), right.data(), farRight.data(), lengthOf(row));
        narrowKernels.unpredict(inverse.data(), farLeft.data(), left.data(), right.data(), farRight.data(),
                                lengthOf(row));
        for (std::size_t i = 0; i < all.size(); ++i) {
            const long sum = predictSum<long>(farLeft[i], left[i], right[i], farRight[i]);
            ASSERT_EQ(row[i], (predicted<long, Exact>(100, sum))) << left[i] + right[i] << " that rise by " << rises;
            ASSERT_EQ(inverse[i], (unpredicted<long, Exact>(100, sum))) << left[i] + right[i] << ", " << rises;
        }
    }
}

TEST_P(RowRange, RoundsEveryExactPredictSum) {
    const std::vector<short> near = numbers(-32768, 32767);
    for (const int far : {-32768, -5, 0, 4, 32767}) {
        const std::vector<short> fars = constant(near, far);
        std::vector<short> forward = constant(near, 0);
        std::vector<short> inverse = forward;
        kernels.predictExact(forward.data(), fars.data(), near.data(), near.data(), fars.data(), lengthOf(near));
        kernels.unpredictExact(inverse.data(), fars.data(), near.data(), near.data(), fars.data(), lengthOf(near));
        for (std::size_t i = 0; i < near.size(); ++i) {
            const int sum = predictSum<int>(far, near[i], near[i], far);
            ASSERT_EQ(forward[i], (predicted<short, Exact>(0, sum))) << near[i] << " and " << far;
            ASSERT_EQ(inverse[i], (unpredicted<short, Exact>(0, sum))) << near[i] << " and " << far;
        }
    }
}

// Rows of short are left one number beyond what their sums are proven for, at either end.
TEST(RowRangeOfSamples, FitsNarrowRowsUpToItsLimits) {
    EXPECT_TRUE(rangeOf(3600, 10000).fitNarrowRows());
    EXPECT_TRUE(rangeOf(-10000, -3600).fitNarrowRows());
    EXPECT_TRUE(rangeOf(0, 6400).fitNarrowRows());
    EXPECT_FALSE(rangeOf(3601, 10001).fitNarrowRows());
    EXPECT_FALSE(rangeOf(-10001, -3601).fitNarrowRows());
    EXPECT_FALSE(rangeOf(0, 6401).fitNarrowRows());
}

TEST(RowRangeOfSamples, FitsNarrowRowsBesideCoefficientsUpToItsLimits) {
    EXPECT_TRUE(rangeOf(-7500, 7500).fitNarrowRows(74));
    EXPECT_TRUE(rangeOf(100, 100).fitNarrowRows(4972));
    EXPECT_FALSE(rangeOf(-7500, 7500).fitNarrowRows(75));
    EXPECT_FALSE(rangeOf(100, 100).fitNarrowRows(4973));
    EXPECT_FALSE(rangeOf(-7501, 0).fitNarrowRows(0));
    EXPECT_FALSE(rangeOf(0, 7501).fitNarrowRows(0));
}

} // namespace teko
