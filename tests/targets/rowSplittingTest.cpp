// Taking rows apart, putting them together, and the bound of their magnitudes.
#include "support/targets.hpp"
#include "targets/rowBuffers.hpp"

#include <gtest/gtest.h>

#include <bit>

namespace teko {

namespace {

constexpr long steps[] = {1, 2, 3, 4, 8, 16};

template <typename T>
unsigned long magnitude(T sample) {
    const auto number = static_cast<unsigned long>(static_cast<long>(sample));
    return sample < 0 ? 0 - number : number;
}

template <typename T>
class RowSplitting : public testing::Test {
protected:
    using Row = RowSample<T>;

    // Calls check(kernels, step, n) for every way to take samples from a row.
    template <typename Check>
    void forAllRows(Check check) {
        for (const Target target : fastTargets()) {
            for (const long step : steps) {
                for (const int n : rowLengths()) {
                    SCOPED_TRACE(testing::Message() << target << ", step " << step << ", length " << n);
                    check(rowKernels<T>(target), step, n);
                    if (this->HasFatalFailure()) {
                        return;
                    }
                }
            }
        }
    }

    static std::size_t size(long n) { return static_cast<std::size_t>(n); }
    static std::size_t extent(long step, int n) { return size((n - 1) * step + 1); }
    RowBuffer<Row> buffer(std::size_t n) { return RowBuffer<Row>(random, n, range); }

    // Samples in a plane: everything that a row can hold.
    RowBuffer<T> samples(long step, int n) { return RowBuffer<T>(random, extent(step, n), range); }

    static void expectBound(long bound, unsigned long largest) {
        constexpr unsigned long greatest = std::numeric_limits<long>::max();
        ASSERT_GE(static_cast<unsigned long>(bound), std::min(largest, greatest));
        ASSERT_LE(static_cast<unsigned long>(bound), largest < greatest ? std::bit_ceil(largest + 1) : greatest);
    }

    template <typename Sample>
    static unsigned long largestOf(const RowBuffer<Sample>& plane, long step, int n) {
        unsigned long largest = 0;
        for (int i = 0; i < n; ++i) {
            largest = std::max(largest, magnitude(plane[size(i * step)]));
        }
        return largest;
    }

    Random random{2};
    Magnitudes range = sizeof(T) == sizeof(short) ? Magnitudes{32768} : Magnitudes{1L << 31};
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(RowSplitting, SampleTypes);

} // namespace

TYPED_TEST(RowSplitting, SeparatesEvenAndOddPlaces) {
    this->forAllRows([this](const auto& kernels, long step, int n) {
        if (sizeof(TypeParam) != sizeof(short)) {
            this->range = Magnitudes{std::numeric_limits<int>::max()};
        }
        const auto plane = this->samples(step, n);
        auto even = this->buffer(this->size((n + 1) / 2));
        auto odd = this->buffer(this->size(n / 2));
        auto wantedEven = even;
        auto wantedOdd = odd;
        for (int i = 0; i < n; ++i) {
            auto& half = i % 2 == 0 ? wantedEven : wantedOdd;
            half[this->size(i / 2)] = static_cast<RowSample<TypeParam>>(plane[this->size(i * step)]);
        }
        const long bound = kernels.split(plane.row(), step, n, even.row(), odd.row());
        ASSERT_TRUE(even.agreesWith(wantedEven, even.paddingSize()));
        ASSERT_TRUE(odd.agreesWith(wantedOdd, odd.paddingSize()));
        this->expectBound(bound, this->largestOf(plane, step, n));
    });
}

TYPED_TEST(RowSplitting, MergesIntoItsPlacesAlone) {
    this->forAllRows([this](const auto& kernels, long step, int n) {
        auto plane = this->samples(step, n);
        const auto even = this->buffer(this->size((n + 1) / 2));
        const auto odd = this->buffer(this->size(n / 2));
        auto wanted = plane;
        for (int i = 0; i < n; ++i) {
            wanted[this->size(i * step)] = (i % 2 == 0 ? even : odd)[this->size(i / 2)];
        }
        kernels.merge(plane.row(), step, n, even.row(), odd.row());
        ASSERT_TRUE(plane.agreesWith(wanted, 0));
    });
}

TYPED_TEST(RowSplitting, SeparatesAndMergesCompactRows) {
    for (const Target target : fastTargets()) {
        const auto& kernels = rowKernels<TypeParam>(target);
        for (const int n : rowLengths()) {
            SCOPED_TRACE(testing::Message() << target << ", length " << n);
            const auto row = this->buffer(this->size(n));
            auto even = this->buffer(this->size((n + 1) / 2));
            auto odd = this->buffer(this->size(n / 2));
            auto wantedEven = even;
            auto wantedOdd = odd;
            for (int i = 0; i < n; ++i) {
                (i % 2 == 0 ? wantedEven : wantedOdd)[this->size(i / 2)] = row[this->size(i)];
            }
            const unsigned long largest = this->largestOf(row, 1, n);
            this->expectBound(kernels.splitCompact(row.row(), n, even.row(), odd.row()), largest);
            ASSERT_TRUE(even.agreesWith(wantedEven, even.paddingSize()));
            ASSERT_TRUE(odd.agreesWith(wantedOdd, odd.paddingSize()));
            auto merged = this->buffer(this->size(n));
            auto wanted = merged;
            std::copy_n(row.row(), n, wanted.row());
            this->expectBound(kernels.mergeCompact(merged.row(), n, even.row(), odd.row()), largest);
            ASSERT_TRUE(merged.agreesWith(wanted, 0));
        }
    }
}

TYPED_TEST(RowSplitting, BoundsMagnitudesOfEverySize) {
    this->forAllRows([this](const auto& kernels, long step, int n) {
        const int bits = static_cast<int>(this->random() % (8 * sizeof(TypeParam)));
        auto plane = this->samples(step, n);
        std::generate_n(plane.row(), this->extent(step, n),
                        [&] { return static_cast<TypeParam>(static_cast<long>(this->random()) >> (63 - bits)); });
        this->expectBound(kernels.largest(plane.row(), step, n), this->largestOf(plane, step, n));
    });
}

TYPED_TEST(RowSplitting, BoundsSingleSamplesAtEveryPlace) {
    const int n = 70;
    for (const Target target : fastTargets()) {
        for (int bits = 0; bits < 8 * static_cast<int>(sizeof(TypeParam)); ++bits) {
            for (int place = 0; place < n; ++place) {
                std::vector<TypeParam> plane(n);
                std::vector<RowSample<TypeParam>> even(96), odd(96);
                plane[this->size(place)] = static_cast<TypeParam>(static_cast<long>(~0UL << bits));
                const unsigned long largest = magnitude(plane[this->size(place)]);
                this->expectBound(rowKernels<TypeParam>(target).largest(plane.data(), 1, n), largest);
                this->expectBound(rowKernels<TypeParam>(target).split(plane.data(), 1, n, even.data(), odd.data()),
                                  largest);
            }
        }
    }
}

// A bound that is as tight as it can be: one off a power of two must not double it.
TYPED_TEST(RowSplitting, BoundsAreExactForNumbersOfOneKind) {
    for (const Target target : fastTargets()) {
        for (const long largest : {1L, 2L, 1023L, 1024L, 1212L, 2048L, 2798L, 6000L, 32767L}) {
            std::vector<TypeParam> plane(70, static_cast<TypeParam>(-largest));
            plane[17] = static_cast<TypeParam>(largest - 1);
            EXPECT_EQ(rowKernels<TypeParam>(target).largest(plane.data(), 1, 70), largest) << target;
        }
    }
}

} // namespace teko
