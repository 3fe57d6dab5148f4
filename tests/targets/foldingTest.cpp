// Folding rows and counting bit lengths against one coefficient after the other.
#include "coding/planes/planeCoding.hpp"
#include "support/targets.hpp"
#include "targets/rowBuffers.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace teko {

namespace {

template <typename Row>
Unsigned<Row> magnitudeAsNumber(Row sample) {
    const auto number = static_cast<Unsigned<Row>>(sample);
    return static_cast<Unsigned<Row>>(sample < 0 ? 0U - number : number);
}

template <typename T>
class TargetFolding : public testing::Test {
protected:
    using Row = RowSample<T>;
    using Buffer = RowBuffer<Row>;

    static constexpr int rowBits = 8 * static_cast<int>(sizeof(Row));
    static constexpr Magnitudes anything{1L << (rowBits - 1)};

    // Both ways of folding. Nothing is written behind the folded values: a class may end there.
    void checkFolding(int n, Magnitudes range) {
        const auto size = static_cast<std::size_t>(n);
        const Buffer row(random, size, range);
        const Buffer before(random, size, anything);
        Buffer wanted = before;
        Buffer halves[] = {{random, (size + 1) / 2, anything}, {random, size / 2, anything}};
        Unsigned<Row> magnitudes = 0;
        for (std::size_t i = 0; i < size; ++i) {
            wanted[i] = fold(row[i]);
            halves[i % 2][i / 2] = row[i];
            magnitudes = static_cast<Unsigned<Row>>(magnitudes | magnitudeAsNumber(row[i]));
        }
        for (const Target target : fastTargets()) {
            SCOPED_TRACE(testing::Message() << target << ", " << n << " values up to " << range.bound);
            Buffer folded = before;
            ASSERT_EQ(planeCoding<T>(target)->fold(row.row(), n, folded.row()), magnitudes);
            ASSERT_TRUE(folded.agreesWith(wanted, 0));
            Buffer paired = before;
            ASSERT_EQ(planeCoding<T>(target)->foldPairs(halves[0].row(), halves[1].row(), n, paired.row()), magnitudes);
            ASSERT_TRUE(paired.agreesWith(wanted, 0));
        }
    }

    // With any limit for the lengths that is high enough.
    void checkCounts(const std::vector<Row>& values) {
        int longest = 0;
        std::vector<std::uint64_t> wanted(rowBits);
        std::generate(wanted.begin(), wanted.end(), std::ref(random));
        const std::vector<std::uint64_t> before = wanted;
        for (const Row value : values) {
            longest = std::max(longest, bitLength(value));
            ++wanted[static_cast<std::size_t>(bitLength(value))];
        }
        for (const int limit : {longest, std::min(longest + 1, rowBits - 1), rowBits - 1}) {
            for (const Target target : fastTargets()) {
                std::vector<std::uint64_t> counts = before;
                planeCoding<T>(target)->countLengths(values.data(), static_cast<int>(values.size()), limit,
                                                     counts.data());
                ASSERT_EQ(counts, wanted)
                    << target << ", " << values.size() << " values of up to " << longest << " bits, limit " << limit;
            }
        }
    }

    // Folded values of magnitudes below 2^bits.
    Row foldedBelow(int bits) { return fold(Magnitudes{(1L << bits) - 1}.pick<Row>(random)); }
    // Small ones as often as large ones.
    Row foldedOfAnyLength(int bits) {
        return foldedBelow(static_cast<int>(random() % static_cast<unsigned>(bits + 1)));
    }

    Random random{5};
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetFolding, SampleTypes);

// Around vectors, groups of 32, blocks of 255 groups, and more equal values than a sample can count.
constexpr int counted[] = {0,    1,     2,     31,    32,    33,    63,    64,    65,    127,
                           128,  500,   4095,  4096,  4097,  8159,  8160,  8161,  8191,  8192,
                           8193, 16319, 16320, 16321, 16352, 16383, 16384, 16385, 33000, 70001};

} // namespace

TYPED_TEST(TargetFolding, FoldsRowsOfEveryLength) {
    for (const int n : rowLengths()) {
        for (const long bound : {1L, 200L, 20000L, TestFixture::anything.bound}) {
            this->checkFolding(n, {bound});
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
    this->checkFolding(0, {5});
}

TYPED_TEST(TargetFolding, KnowsTheMagnitudesOfRowsOfEverySize) {
    for (int bits = 0; bits < TestFixture::rowBits; ++bits) {
        for (int round = 0; round < 40; ++round) {
            this->checkFolding(1 + static_cast<int>(this->random() % 200), {1L << bits});
        }
    }
}

TYPED_TEST(TargetFolding, CountsEveryLengthOfValuesInEveryNumberOfThem) {
    for (const int n : counted) {
        for (int bits = 0; bits < TestFixture::rowBits - 1; ++bits) {
            std::vector<RowSample<TypeParam>> values(static_cast<std::size_t>(n));
            const bool areAlike = this->random() % 3 == 0;
            std::generate(values.begin(), values.end(), [&] {
                return areAlike ? fold(static_cast<RowSample<TypeParam>>((1L << bits) - 1))
                                : this->foldedOfAnyLength(bits);
            });
            this->checkCounts(values);
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
}

// Values of one length are counted together: a single longer one must not be missed, wherever it is.
TYPED_TEST(TargetFolding, CountsLongValuesAmongShortOnes) {
    for (const std::size_t n : {70U, 4096U, 8191U, 8300U, 20000U}) {
        for (int round = 0; round < 60; ++round) {
            const int shortBits = static_cast<int>(this->random() % 7);
            const std::size_t first = this->random() % n;
            const std::size_t last = round % 2 == 0 ? first : first + this->random() % (n - first);
            std::vector<RowSample<TypeParam>> values(n);
            for (std::size_t i = 0; i < n; ++i) {
                const bool isLong = i >= first && i <= last;
                values[i] = isLong ? this->foldedOfAnyLength(TestFixture::rowBits - 2) : this->foldedBelow(shortBits);
            }
            this->checkCounts(values);
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
}

TYPED_TEST(TargetFolding, CountsEveryLengthAtEveryPlace) {
    for (int bits = 1; bits < TestFixture::rowBits - 1; ++bits) {
        for (std::size_t place = 0; place < 100; ++place) {
            std::vector<RowSample<TypeParam>> values(100, 3);
            values[place] = fold(static_cast<RowSample<TypeParam>>(1L << (bits - 1)));
            this->checkCounts(values);
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
}

} // namespace teko
