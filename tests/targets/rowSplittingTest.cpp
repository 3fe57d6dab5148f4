// SPDX-License-Identifier: Apache-2.0
// Taking rows apart, putting them together, and the bound of their magnitudes.
#include "fast/kernels/kernels.hpp"
#include "support/targets.hpp"
#include "targets/rowBuffers.hpp"

#include <gtest/gtest.h>

#include <bit>

namespace teko {

namespace {

template <typename T>
unsigned long magnitude(T sample) {
    const auto number = static_cast<unsigned long>(static_cast<long>(sample));
    return sample < 0 ? 0 - number : number;
}

template <typename T>
class RowSplitting : public testing::Test {
protected:
    using Row = RowSample<T>;

    // Calls check(kernels, n) for every target and length.
    template <typename Check>
    void forAllRows(Check check) {
        for (const Target target : fastTargets()) {
            for (const int n : rowLengths()) {
                SCOPED_TRACE(testing::Message() << target << ", length " << n);
                check(kernelsOf(target).rows<T>(), n);
                if (this->HasFatalFailure()) {
                    return;
                }
            }
        }
    }

    static std::size_t size(int n) { return static_cast<std::size_t>(n); }
    RowBuffer<Row> buffer(int n) { return RowBuffer<Row>(random, size(n), range); }

    static void expectBound(long bound, unsigned long largest) {
        ASSERT_GE(static_cast<unsigned long>(bound), largest);
        ASSERT_LE(static_cast<unsigned long>(bound), std::bit_ceil(largest + 1));
    }

    static unsigned long largestOf(const RowBuffer<Row>& row, int n) {
        unsigned long largest = 0;
        for (int i = 0; i < n; ++i) {
            largest = std::max(largest, magnitude(row[size(i)]));
        }
        return largest;
    }

    Random random{2};
    Magnitudes range{1L << (8 * sizeof(Row) - 1)}; // everything that a row can hold
};
using SampleTypes = testing::Types<short, Int64In16, long>;
TYPED_TEST_SUITE(RowSplitting, SampleTypes);

} // namespace

TYPED_TEST(RowSplitting, SeparatesEvenAndOddPlaces) {
    this->forAllRows([this](const auto& kernels, int n) {
        const auto row = this->buffer(n);
        auto even = this->buffer((n + 1) / 2);
        auto odd = this->buffer(n / 2);
        auto wantedEven = even;
        auto wantedOdd = odd;
        for (int i = 0; i < n; ++i) {
            (i % 2 == 0 ? wantedEven : wantedOdd)[this->size(i / 2)] = row[this->size(i)];
        }
        this->expectBound(kernels.split(row.row(), n, even.row(), odd.row()), this->largestOf(row, n));
        ASSERT_TRUE(even.agreesWith(wantedEven, even.paddingSize()));
        ASSERT_TRUE(odd.agreesWith(wantedOdd, odd.paddingSize()));
    });
}

TYPED_TEST(RowSplitting, MergesIntoItsPlacesAlone) {
    this->forAllRows([this](const auto& kernels, int n) {
        auto row = this->buffer(n);
        const auto even = this->buffer((n + 1) / 2);
        const auto odd = this->buffer(n / 2);
        auto wanted = row;
        for (int i = 0; i < n; ++i) {
            wanted[this->size(i)] = (i % 2 == 0 ? even : odd)[this->size(i / 2)];
        }
        this->expectBound(kernels.merge(row.row(), n, even.row(), odd.row()), this->largestOf(wanted, n));
        ASSERT_TRUE(row.agreesWith(wanted, 0));
    });
}

TYPED_TEST(RowSplitting, BoundsMagnitudesOfEverySize) {
    this->forAllRows([this](const auto& kernels, int n) {
        for (int round = 0; round < 5; ++round) {
            this->range = Magnitudes{1L << this->random() % (8 * sizeof(RowSample<TypeParam>))};
            const auto row = this->buffer(n);
            auto even = this->buffer((n + 1) / 2);
            auto odd = this->buffer(n / 2);
            const unsigned long largest = this->largestOf(row, n);
            this->expectBound(kernels.bound(row.row(), n), largest);
            this->expectBound(kernels.split(row.row(), n, even.row(), odd.row()), largest);
            auto merged = this->buffer(n);
            this->expectBound(kernels.merge(merged.row(), n, even.row(), odd.row()), largest);
        }
    });
}

TYPED_TEST(RowSplitting, BoundsSingleSamplesAtEveryPlace) {
    using Sample = RowSample<TypeParam>;
    const int n = 70;
    for (const Target target : fastTargets()) {
        const auto& kernels = kernelsOf(target).rows<TypeParam>();
        for (int bits = 0; bits < 8 * static_cast<int>(sizeof(Sample)); ++bits) {
            for (int place = 0; place < n; ++place) {
                std::vector<Sample> row(n), merged(n);
                std::vector<Sample> even(96), odd(96);
                row[this->size(place)] = static_cast<Sample>(static_cast<long>(~0UL << bits));
                const unsigned long largest = magnitude(row[this->size(place)]);
                this->expectBound(kernels.bound(row.data(), n), largest);
                this->expectBound(kernels.split(row.data(), n, even.data(), odd.data()), largest);
                this->expectBound(kernels.merge(merged.data(), n, even.data(), odd.data()), largest);
            }
        }
    }
}

TEST(RowSplittingOfShorts, ConvertsOnTheWay) {
    Random random{4};
    const Magnitudes any{1L << 15};
    for (const Target target : fastTargets()) {
        const NarrowRowKernels& kernels = kernelsOf(target).narrowRows;
        for (const int n : rowLengths()) {
            const auto all = static_cast<std::size_t>(n);
            const RowBuffer<short> row(random, all, any);
            RowBuffer<short> even(random, (all + 1) / 2, any), odd(random, all / 2, any);
            RowBuffer<int> wideEven(random, (all + 1) / 2, any), wideOdd(random, all / 2, any);
            auto wantedEven = wideEven, wantedOdd = wideOdd;
            for (std::size_t i = 0; i < all; ++i) {
                (i % 2 == 0 ? even : odd)[i / 2] = row[i];
                (i % 2 == 0 ? wantedEven : wantedOdd)[i / 2] = row[i];
            }
            SCOPED_TRACE(testing::Message() << target << ", length " << n);
            kernels.splitWidening(row.row(), n, wideEven.row(), wideOdd.row());
            ASSERT_TRUE(wideEven.agreesWith(wantedEven, wideEven.paddingSize()));
            ASSERT_TRUE(wideOdd.agreesWith(wantedOdd, wideOdd.paddingSize()));
            RowBuffer<short> merged(random, all, any);
            RowBuffer<int> wideMerged(random, all, any);
            auto wanted = merged;
            auto wantedWide = wideMerged;
            std::copy_n(row.row(), n, wanted.row());
            std::copy_n(row.row(), n, wantedWide.row());
            SampleRange range;
            kernels.mergeNarrowing(merged.row(), n, wideEven.row(), wideOdd.row(), range);
            const auto [least, largest] = std::minmax_element(row.row(), row.row() + n);
            EXPECT_EQ(range.least, *least);
            EXPECT_EQ(range.largest, *largest);
            ASSERT_TRUE(merged.agreesWith(wanted, 0));
            kernels.mergeWidening(wideMerged.row(), n, even.row(), odd.row());
            ASSERT_TRUE(wideMerged.agreesWith(wantedWide, 0));
        }
    }
}

// Samples of any size: one that does not fit is told by the range.
TEST(RowSplittingOfShorts, ExtendsRangesBySamplesOfInt) {
    Random random{3};
    for (const Target target : fastTargets()) {
        for (const int n : rowLengths()) {
            const auto all = static_cast<std::size_t>(n);
            const Magnitudes magnitudes{1L << random() % 31};
            const RowBuffer<int> even(random, (all + 1) / 2, magnitudes), odd(random, all / 2, magnitudes);
            std::vector<int> samples(even.row(), even.row() + (n + 1) / 2);
            samples.insert(samples.end(), odd.row(), odd.row() + n / 2);
            const auto [least, largest] = std::minmax_element(samples.begin(), samples.end());
            RowBuffer<short> merged(random, all, {1L << 15});
            SampleRange range;
            kernelsOf(target).narrowRows.mergeNarrowing(merged.row(), n, even.row(), odd.row(), range);
            EXPECT_EQ(range.least, *least) << target << ", length " << n;
            EXPECT_EQ(range.largest, *largest) << target << ", length " << n;
            SampleRange wider{*least - 1, *largest - 1};
            kernelsOf(target).narrowRows.mergeNarrowing(merged.row(), n, even.row(), odd.row(), wider);
            EXPECT_EQ(wider.least, *least - 1);
            EXPECT_EQ(wider.largest, *largest);
        }
    }
}

TEST(RowSplittingOfShorts, SplitsAndMergesWhileItExtendsRanges) {
    Random random{5};
    for (const Target target : fastTargets()) {
        const NarrowRowKernels& kernels = kernelsOf(target).narrowRows;
        for (const int n : rowLengths()) {
            SCOPED_TRACE(testing::Message() << target << ", length " << n);
            const auto all = static_cast<std::size_t>(n);
            const Magnitudes magnitudes{1L << random() % 16};
            const RowBuffer<short> row(random, all, magnitudes);
            RowBuffer<short> even(random, (all + 1) / 2, magnitudes), odd(random, all / 2, magnitudes);
            auto wantedEven = even, wantedOdd = odd;
            for (std::size_t i = 0; i < all; ++i) {
                (i % 2 == 0 ? wantedEven : wantedOdd)[i / 2] = row[i];
            }
            const auto [least, largest] = std::minmax_element(row.row(), row.row() + n);
            SampleRange range;
            kernels.split(row.row(), n, even.row(), odd.row(), range);
            ASSERT_TRUE(even.agreesWith(wantedEven, even.paddingSize()));
            ASSERT_TRUE(odd.agreesWith(wantedOdd, odd.paddingSize()));
            EXPECT_EQ(range.least, *least);
            EXPECT_EQ(range.largest, *largest);

            RowBuffer<short> merged(random, all, magnitudes);
            auto wanted = merged;
            std::copy_n(row.row(), n, wanted.row());
            SampleRange wider{*least + 1, 40000};
            kernels.merge(merged.row(), n, even.row(), odd.row(), wider);
            ASSERT_TRUE(merged.agreesWith(wanted, 0));
            EXPECT_EQ(wider.least, *least);
            EXPECT_EQ(wider.largest, 40000);
        }
    }
}

// A bound that is as tight as it can be: one off a power of two must not double it.
TYPED_TEST(RowSplitting, BoundsAreExactForNumbersOfOneKind) {
    for (const Target target : fastTargets()) {
        for (const long largest : {1L, 2L, 1023L, 1024L, 1212L, 2048L, 2798L, 6000L, 32767L}) {
            std::vector<RowSample<TypeParam>> row(70, static_cast<RowSample<TypeParam>>(-largest));
            row[17] = static_cast<RowSample<TypeParam>>(largest - 1);
            EXPECT_EQ(kernelsOf(target).rows<TypeParam>().bound(row.data(), 70), largest) << target;
        }
    }
}

} // namespace teko
