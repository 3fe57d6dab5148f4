// SPDX-License-Identifier: Apache-2.0
// Folding rows and counting bit lengths against one coefficient after the other.
#include "fast/kernels/kernels.hpp"
#include "support/foldedValues.hpp"
#include "support/targets.hpp"
#include "targets/rowBuffers.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

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

    // Both ways of folding, in pieces of given lengths and sizes.
    struct Piece {
        int length;
        Magnitudes range;
    };
    void checkFolding(const std::vector<Piece>& pieces) {
        for (const Target target : fastTargets()) {
            std::ostringstream described;
            std::size_t n = 0;
            for (const Piece& piece : pieces) {
                described << ' ' << piece.length << " up to " << piece.range.bound;
                n += static_cast<std::size_t>(piece.length);
            }
            SCOPED_TRACE(testing::Message() << target << described.str());
            FoldedValues<Row> folded(n);
            std::vector<Row> wanted;
            for (const Piece& piece : pieces) {
                const Buffer row(random, static_cast<std::size_t>(piece.length), piece.range);
                appendPiece(target, row, piece.length, folded.sequence, wanted);
                ASSERT_EQ(folded.sequence.count, static_cast<long>(wanted.size()));
            }
            ASSERT_EQ(folded.values(), wanted);
            folded.sequence.finish();
            ASSERT_EQ(folded.values(), wanted);
            ASSERT_TRUE(folded.usesNoMoreThanItNeeds());
        }
    }

    // By itself, and behind others that let it start anywhere.
    void checkPiece(Piece piece) {
        checkFolding({piece});
        checkFolding({{static_cast<int>(random() % 70), {5}}, {static_cast<int>(random() % 2100), {5}}, piece});
    }

    void checkCounts(const std::vector<Row>& values) {
        FoldedValues<Row> folded(values.size());
        folded.append(values);
        folded.sequence.finish();
        std::vector<std::uint64_t> wanted(rowBits);
        std::generate(wanted.begin(), wanted.end(), std::ref(random));
        const std::vector<std::uint64_t> before = wanted;
        for (const Row value : values) {
            ++wanted[static_cast<std::size_t>(bitLength(value))];
        }
        for (const Target target : fastTargets()) {
            std::vector<std::uint64_t> counts = before;
            for (long block = 0; block < folded.sequence.blocks(folded.sequence.count); ++block) {
                const int longest = folded.sequence.longest[block];
                const int atMost = longest + static_cast<int>(random() % static_cast<unsigned>(rowBits + 2 - longest));
                ASSERT_EQ(kernelsOf(target).planes<T>().countLengths(folded.sequence, block, atMost, counts.data()),
                          longest)
                    << target << ", at most " << atMost;
            }
            ASSERT_EQ(counts, wanted) << target << ", " << values.size() << " values";
        }
    }

    // Folded values of magnitudes below 2^bits.
    Row foldedBelow(int bits) { return fold(Magnitudes{(1L << bits) - 1}.pick<Row>(random)); }
    // Small ones as often as large ones.
    Row foldedOfAnyLength(int bits) {
        return foldedBelow(static_cast<int>(random() % static_cast<unsigned>(bits + 1)));
    }

    Random random{5};

private:
    void appendPiece(Target target, const Buffer& row, int length, SubbandBytes<Row>& to, std::vector<Row>& wanted) {
        const auto n = static_cast<std::size_t>(length);
        Buffer halves[] = {{random, (n + 1) / 2, anything}, {random, n / 2, anything}};
        Unsigned<Row> magnitudes = 0;
        for (std::size_t i = 0; i < n; ++i) {
            wanted.push_back(fold(row[i]));
            halves[i % 2][i / 2] = row[i];
            magnitudes = static_cast<Unsigned<Row>>(magnitudes | magnitudeAsNumber(row[i]));
        }
        const PlaneKernels<T>& coding = kernelsOf(target).planes<T>();
        const bool asPairs = random() % 2 == 0;
        if (magnitudes < 1U << 15 && random() % 2 == 0) {
            const std::vector<short> inOrder = shortRow(row, n);
            const std::vector<short> even = shortRow(halves[0], (n + 1) / 2);
            const std::vector<short> odd = shortRow(halves[1], n / 2);
            EXPECT_EQ(asPairs ? coding.fold16Pairs(even.data(), odd.data(), length, to)
                              : coding.fold16(inOrder.data(), length, to),
                      magnitudes);
            return;
        }
        EXPECT_EQ(asPairs ? coding.foldPairs(halves[0].row(), halves[1].row(), length, to)
                          : coding.fold(row.row(), length, to),
                  magnitudes);
    }

    static std::vector<short> shortRow(const Buffer& row, std::size_t n) { return {row.row(), row.row() + n}; }
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetFolding, SampleTypes);

// Around vectors and blocks.
constexpr int counted[] = {0,   1,   2,    31,   32,   33,   63,   64,   65,   127,  128,
                           500, 511, 2047, 2048, 2049, 2111, 2112, 4095, 4096, 4097, 9000};

} // namespace

TYPED_TEST(TargetFolding, FoldsRowsOfEveryLength) {
    for (const int n : rowLengths()) {
        for (const long bound : {1L, 200L, 16000L, TestFixture::anything.bound}) {
            this->checkPiece({n, {bound}});
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
    this->checkPiece({0, {5}});
}

TYPED_TEST(TargetFolding, KnowsTheMagnitudesOfRowsOfEverySize) {
    for (int bits = 0; bits < TestFixture::rowBits; ++bits) {
        for (int round = 0; round < 40; ++round) {
            this->checkPiece({1 + static_cast<int>(this->random() % 200), {1L << bits}});
            ASSERT_FALSE(this->HasFatalFailure());
        }
    }
}

// Long values come where a block already holds short ones, which stay what they are.
TYPED_TEST(TargetFolding, UsesFurtherBytesWhereABlockNeedsThem) {
    for (int round = 0; round < 200; ++round) {
        std::vector<typename TestFixture::Piece> pieces(1 + this->random() % 60);
        for (auto& piece : pieces) {
            const auto bits = this->random() % static_cast<unsigned>(TestFixture::rowBits);
            piece = {static_cast<int>(this->random() % 300), {this->random() % 4 == 0 ? 1L << bits : 100L}};
        }
        this->checkFolding(pieces);
        ASSERT_FALSE(this->HasFatalFailure());
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
    for (const std::size_t n : {70U, 2048U, 4095U, 8300U}) {
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
