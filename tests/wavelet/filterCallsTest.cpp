// SPDX-License-Identifier: Apache-2.0
#include "recordingFilter.hpp"
#include "support/samples.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

using Calls = std::vector<FilterCall>;

struct Extent {
    int width;
    int height;
    int stride;
};

std::ostream& operator<<(std::ostream& stream, const Extent& extent) {
    return stream << extent.width << " x " << extent.height << ", stride " << extent.stride;
}

int levelsOf(const Extent& extent) {
    int levels = 0;
    while (levels < 5 && 4 << levels <= std::min(extent.width, extent.height)) {
        ++levels;
    }
    return levels;
}

void addRows(Calls& calls, const Extent& extent, int channel, int step, Operation operation) {
    for (int y = 0; y < extent.height; y += step) {
        const long offset = static_cast<long>(y) * extent.stride;
        calls.push_back({operation, channel, offset, (extent.width - 1) / step + 1, step});
    }
}

// Long columns of distant samples go through copies.
void addColumns(Calls& calls, const Extent& extent, int channel, int step, Operation inPlace, Operation copied) {
    const int count = (extent.height - 1) / step + 1;
    const long spacing = static_cast<long>(extent.stride) * step;
    const bool throughCopies = spacing > 512 && count > 512;
    for (int x = 0; x < extent.width; x += step) {
        calls.push_back({throughCopies ? copied : inPlace, channel, x, count, spacing});
    }
}

Calls forwardCalls(const Extent& extent, int channels) {
    Calls calls;
    for (int c = 0; c < channels; ++c) {
        for (int k = 0; k < levelsOf(extent); ++k) {
            addRows(calls, extent, c, 1 << k, Operation::transform);
            addColumns(calls, extent, c, 1 << k, Operation::transform, Operation::transformInner);
        }
    }
    return calls;
}

Calls inverseCalls(const Extent& extent, int channels) {
    Calls calls;
    for (int c = 0; c < channels; ++c) {
        for (int k = std::max(1, levelsOf(extent)) - 1; k >= 0; --k) {
            addColumns(calls, extent, c, 1 << k, Operation::untransform, Operation::untransformInner);
            addRows(calls, extent, c, 1 << k, Operation::untransform);
        }
    }
    return calls;
}

template <typename T>
class Recorded {
public:
    Recorded(const Extent& extent, int channels) : image(extent.stride, extent.height, channels), filter(image) {
        image.width = extent.width;
        markPositions(image);
        wavelet.filter = &filter;
        before = samplesOf(image);
    }

    Calls transform() {
        wavelet.transform(&image);
        return filter.calls;
    }
    Calls untransform() {
        wavelet.untransform(&image);
        return filter.calls;
    }
    bool isUnchanged() const { return samplesOf(image) == before; }

private:
    ImageData<T> image;
    RecordingFilter<T> filter;
    Wavelet<T> wavelet;
    std::vector<T> before;
};

// Lists of thousands of calls: the first difference says it all.
void expectCalls(const Calls& calls, const Calls& expected, const Extent& extent) {
    EXPECT_EQ(calls.size(), expected.size()) << extent;
    for (std::size_t i = 0; i < std::min(calls.size(), expected.size()); ++i) {
        ASSERT_EQ(calls[i], expected[i]) << extent << ", call " << i;
    }
}

long countOf(const Calls& calls, Operation operation) {
    return std::count_if(calls.begin(), calls.end(), [=](const auto& call) { return call.operation == operation; });
}

template <typename T>
class FilterCalls : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(FilterCalls, SampleTypes);

} // namespace

TYPED_TEST(FilterCalls, ofTheSmallestImageWithALevelAreOneRowPassAndOneColumnPass) {
    constexpr auto forward = Operation::transform;
    constexpr auto inverse = Operation::untransform;
    EXPECT_EQ((Recorded<TypeParam>({4, 4, 4}, 1).transform()), (Calls{{forward, 0, 0, 4, 1},
                                                                      {forward, 0, 4, 4, 1},
                                                                      {forward, 0, 8, 4, 1},
                                                                      {forward, 0, 12, 4, 1},
                                                                      {forward, 0, 0, 4, 4},
                                                                      {forward, 0, 1, 4, 4},
                                                                      {forward, 0, 2, 4, 4},
                                                                      {forward, 0, 3, 4, 4}}));
    EXPECT_EQ((Recorded<TypeParam>({4, 4, 4}, 1).untransform()), (Calls{{inverse, 0, 0, 4, 4},
                                                                        {inverse, 0, 1, 4, 4},
                                                                        {inverse, 0, 2, 4, 4},
                                                                        {inverse, 0, 3, 4, 4},
                                                                        {inverse, 0, 0, 4, 1},
                                                                        {inverse, 0, 4, 4, 1},
                                                                        {inverse, 0, 8, 4, 1},
                                                                        {inverse, 0, 12, 4, 1}}));
}

TYPED_TEST(FilterCalls, goThroughRowsThenColumnsLevelByLevelAndChannelByChannel) {
    for (const Extent& extent : {Extent{4, 4, 4}, {5, 4, 5}, {64, 8, 64}, {8, 64, 8}, {31, 33, 40}, {101, 77, 101}}) {
        for (int channels = 1; channels <= 3; ++channels) {
            Recorded<TypeParam> forward(extent, channels);
            expectCalls(forward.transform(), forwardCalls(extent, channels), extent);
            EXPECT_TRUE(forward.isUnchanged()) << extent;
            Recorded<TypeParam> inverse(extent, channels);
            expectCalls(inverse.untransform(), inverseCalls(extent, channels), extent);
            EXPECT_TRUE(inverse.isUnchanged()) << extent;
        }
    }
}

TYPED_TEST(FilterCalls, startBackwardAtTheStepOfTheDeepestLevel) {
    for (const auto& [extent, step] : {std::pair{Extent{4, 4, 4}, 1},
                                       {{8, 9, 8}, 2},
                                       {{16, 16, 16}, 4},
                                       {{32, 1000, 32}, 8},
                                       {{64, 64, 64}, 16},
                                       {{200, 300, 200}, 16}}) {
        const Calls calls = Recorded<TypeParam>(extent, 1).untransform();
        EXPECT_EQ(calls.front().spacing, step * extent.stride) << extent;
        EXPECT_EQ(calls.back().spacing, 1) << extent;
        expectCalls(calls, inverseCalls(extent, 1), extent);
    }
}

TYPED_TEST(FilterCalls, haveTheCountsOfTheGridForOddExtents) {
    const Calls calls = Recorded<TypeParam>({101, 77, 101}, 1).transform();
    std::vector<int> rowCounts;
    std::vector<int> columnCounts;
    for (const FilterCall& call : calls) {
        std::vector<int>& counts = call.spacing < 101 ? rowCounts : columnCounts;
        if (counts.empty() || counts.back() != call.count) {
            counts.push_back(call.count);
        }
    }
    EXPECT_EQ(rowCounts, (std::vector<int>{101, 51, 26, 13, 7}));
    EXPECT_EQ(columnCounts, (std::vector<int>{77, 39, 20, 10, 5}));
}

TYPED_TEST(FilterCalls, areNoneForwardWithFewerThanFourSamplesInEitherDirection) {
    for (const Extent& extent : {Extent{1, 1, 1}, {1, 9, 1}, {9, 1, 9}, {2, 2, 2}, {2, 100, 2}, {100, 3, 100}}) {
        EXPECT_EQ(Recorded<TypeParam>(extent, 3).transform(), Calls{}) << extent;
    }
}

TYPED_TEST(FilterCalls, areOneLevelBackwardWithFewerThanFourSamplesInEitherDirection) {
    constexpr auto inverse = Operation::untransform;
    EXPECT_EQ((Recorded<TypeParam>({3, 3, 3}, 1).untransform()), (Calls{{inverse, 0, 0, 3, 3},
                                                                        {inverse, 0, 1, 3, 3},
                                                                        {inverse, 0, 2, 3, 3},
                                                                        {inverse, 0, 0, 3, 1},
                                                                        {inverse, 0, 3, 3, 1},
                                                                        {inverse, 0, 6, 3, 1}}));
    EXPECT_EQ((Recorded<TypeParam>({1, 1, 1}, 1).untransform()), (Calls{{inverse, 0, 0, 1, 1}, {inverse, 0, 0, 1, 1}}));
    for (const Extent& extent : {Extent{1, 9, 1}, {9, 1, 9}, {2, 2, 2}, {2, 100, 2}, {100, 3, 100}, {2, 3, 9}}) {
        expectCalls(Recorded<TypeParam>(extent, 3).untransform(), inverseCalls(extent, 3), extent);
    }
}

TEST(FilterCallsOfLargeImages, copyColumnsOnlyWhenTheyAreLongAndTheirSamplesFarApart) {
    for (const Extent& extent : {Extent{600, 600, 600},
                                 {2048, 16, 2048},
                                 {16, 2048, 16},
                                 {512, 600, 512},
                                 {513, 512, 513},
                                 {513, 513, 513},
                                 {513, 1026, 513},
                                 {257, 1025, 257},
                                 {256, 1025, 256},
                                 {4, 600, 600},
                                 {5, 513, 513},
                                 {17, 700, 513}}) {
        Recorded<long> forward(extent, 1);
        expectCalls(forward.transform(), forwardCalls(extent, 1), extent);
        EXPECT_TRUE(forward.isUnchanged()) << extent;
        Recorded<long> inverse(extent, 1);
        expectCalls(inverse.untransform(), inverseCalls(extent, 1), extent);
        EXPECT_TRUE(inverse.isUnchanged()) << extent;
    }
}

TEST(FilterCallsOfLargeImages, copyAllColumnsOfTheFirstLevelOf600Rows) {
    const Calls calls = Recorded<long>({600, 600, 600}, 3).transform();
    EXPECT_EQ(countOf(calls, Operation::transformInner), 3 * 600);
    EXPECT_EQ(calls[600], (FilterCall{Operation::transformInner, 0, 0, 600, 600}));
    EXPECT_EQ(calls[1200], (FilterCall{Operation::transform, 0, 0, 300, 2}));
    EXPECT_EQ(calls[1500], (FilterCall{Operation::transform, 0, 0, 300, 1200}));
}

TEST(FilterCallsOfLargeImages, copyColumnsOfTheFirstTwoLevelsOf2048Rows) {
    const Extent extent{2048, 2048, 2048};
    const Calls forward = Recorded<long>(extent, 1).transform();
    EXPECT_EQ(countOf(forward, Operation::transformInner), 2048 + 1024);
    expectCalls(forward, forwardCalls(extent, 1), extent);
    const Calls inverse = Recorded<long>(extent, 1).untransform();
    EXPECT_EQ(countOf(inverse, Operation::untransformInner), 2048 + 1024);
    expectCalls(inverse, inverseCalls(extent, 1), extent);
}

} // namespace teko
