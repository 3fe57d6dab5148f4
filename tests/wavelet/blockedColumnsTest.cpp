// SPDX-License-Identifier: Apache-2.0
// Columns through copies against columns in place. What decides is the distance of rows in memory, so one image
// can be transformed both ways.
#include "filter/filter.hpp"
#include "support/plainLifting.hpp"
#include "support/samples.hpp"
#include "wavelet/wavelet.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

constexpr int width = 301; // no multiple of the sixteen columns of a group
constexpr int height = 601;
constexpr int nearRows = 301;
constexpr int farRows = 603;

// The samples of an image without what lies between its rows.
template <typename T>
std::vector<T> visibleSamples(const ImageData<T>& image) {
    std::vector<T> samples;
    for (int y = 0; y < image.height; ++y) {
        const T* row = image.planes[0] + static_cast<long>(y) * image.stride;
        samples.insert(samples.end(), row, row + image.width);
    }
    return samples;
}

template <typename T>
class BlockedColumns : public testing::Test {
protected:
    BlockedColumns() {
        wavelet.filter = &filter;
        blocked.width = width;
    }

    void setSample(int x, int y, long value) {
        direct.planes[0][y * nearRows + x] = static_cast<T>(value);
        blocked.planes[0][y * farRows + x] = static_cast<T>(value);
    }
    void fillBoth(long least, long most) {
        fillWithNoise(blocked, random, 0, 0);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                setSample(x, y, least + static_cast<long>(random() % static_cast<unsigned long>(most - least + 1)));
            }
        }
    }

    std::mt19937_64 random{5};
    Filter4_2<T> filter;
    Wavelet<T> wavelet;
    ImageData<T> direct{nearRows, height, 1};
    ImageData<T> blocked{farRows, height, 1};
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(BlockedColumns, SampleTypes);

using BlockedColumnsOfShort = BlockedColumns<short>;

// Every row is constant. So the column pass of the first level finds the scaled constants in its even columns,
// and leaves its details in the odd rows, where no later level comes.
std::vector<short> firstColumn(const ImageData<short>& image) {
    std::vector<short> column;
    for (int y = 0; y < image.height; ++y) {
        column.push_back(image.planes[0][static_cast<long>(y) * image.stride]);
    }
    return column;
}

std::vector<short> oddOnes(const std::vector<short>& column) {
    std::vector<short> details;
    for (std::size_t y = 1; y < column.size(); y += 2) {
        details.push_back(column[y]);
    }
    return details;
}

} // namespace

TYPED_TEST(BlockedColumns, giveTheSameCoefficientsAsDirectOnes) {
    this->fillBoth(0, 255);
    this->wavelet.transform(&this->direct);
    this->wavelet.transform(&this->blocked);
    EXPECT_EQ(visibleSamples(this->direct), visibleSamples(this->blocked));
}

TYPED_TEST(BlockedColumns, giveTheSameSamplesAsDirectOnes) {
    this->fillBoth(-100, 100);
    this->wavelet.untransform(&this->direct);
    this->wavelet.untransform(&this->blocked);
    EXPECT_EQ(visibleSamples(this->direct), visibleSamples(this->blocked));
}

TYPED_TEST(BlockedColumns, leaveWhatLiesBetweenTheRowsAlone) {
    this->fillBoth(0, 255);
    for (int y = 0; y < height; ++y) {
        std::fill_n(this->blocked.planes[0] + y * farRows + width, farRows - width, TypeParam{-77});
    }
    this->wavelet.transform(&this->blocked);
    this->wavelet.untransform(&this->blocked);
    for (int y = 0; y < height; ++y) {
        for (int x = width; x < farRows; ++x) {
            ASSERT_EQ(this->blocked.planes[0][y * farRows + x], -77) << x << ", " << y;
        }
    }
}

TEST(BlockedColumnsOfLong, giveTheSameCoefficientsForAnySamples) {
    std::mt19937_64 random{6};
    Filter4_2<long> filter;
    Wavelet<long> wavelet;
    wavelet.filter = &filter;
    ImageData<long> blocked(farRows, height, 1);
    ImageData<long> direct(nearRows, height, 1);
    fillWithNoise(blocked, random, -(1L << 40), 1L << 40);
    blocked.width = width;
    for (int y = 0; y < height; ++y) {
        std::copy_n(blocked.planes[0] + y * farRows, width, direct.planes[0] + y * nearRows);
    }
    wavelet.transform(&blocked);
    wavelet.transform(&direct);
    EXPECT_EQ(visibleSamples(blocked), visibleSamples(direct));
    wavelet.untransform(&blocked);
    wavelet.untransform(&direct);
    EXPECT_EQ(visibleSamples(blocked), visibleSamples(direct));
}

TEST_F(BlockedColumnsOfShort, wrapPredictSumsAsTheKernelDoesForward) {
    std::vector<short> scaled;
    for (int y = 0; y < height; ++y) {
        const long constant = y % 4 == 0 ? 1900 : 1700;
        for (int x = 0; x < width; ++x) {
            setSample(x, y, constant);
        }
        scaled.push_back(static_cast<short>(plain::scaled(constant)));
    }
    wavelet.transform(&direct);
    wavelet.transform(&blocked);
    const auto inPlace = oddOnes(plain::forward(scaled, plain::strided));
    const auto throughCopies = oddOnes(plain::forward(scaled, plain::forwardKernel));
    ASSERT_NE(inPlace, throughCopies);
    EXPECT_EQ(oddOnes(firstColumn(direct)), inPlace);
    EXPECT_EQ(oddOnes(firstColumn(blocked)), throughCopies);
}

// Only even columns and odd rows hold anything: no level but the last one of the inverse changes the column,
// and rows without details leave it unscaled.
TEST_F(BlockedColumnsOfShort, keepPredictSumsAsTheKernelDoesBackward) {
    std::vector<short> column;
    for (int y = 0; y < height; ++y) {
        const long detail = y % 2 == 0 ? 0 : 20000;
        for (int x = 0; x < width; ++x) {
            setSample(x, y, x == 0 ? detail : 0);
        }
        column.push_back(static_cast<short>(detail));
    }
    wavelet.untransform(&direct);
    wavelet.untransform(&blocked);
    auto inPlace = plain::inverse(column, plain::strided);
    auto throughCopies = plain::inverse(column, plain::inverseKernel);
    ASSERT_NE(inPlace, throughCopies);
    for (auto* expected : {&inPlace, &throughCopies}) {
        std::transform(expected->begin(), expected->end(), expected->begin(),
                       [](short sample) { return static_cast<short>(plain::unscaled(sample)); });
    }
    EXPECT_EQ(firstColumn(direct), inPlace);
    EXPECT_EQ(firstColumn(blocked), throughCopies);
}

} // namespace teko
