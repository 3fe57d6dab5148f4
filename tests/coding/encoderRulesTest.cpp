// SPDX-License-Identifier: Apache-2.0
// The stream of images that are small enough to write it down.
#include "reference/imageAdapter.hpp"
#include "reference/streamEncoder.hpp"
#include "support/codedStreams.hpp"

#include <gtest/gtest.h>

#include <string>

namespace teko {
namespace {

using reference::Image;

// The bits of a stream as text, first bit first.
template <typename T>
std::string streamOf(const Image& image) {
    const auto data = reference::toImageData<T>(image);
    MemoryTarget target(ampleRoom(*data));
    Wavelet<T>().writeWavelet(data.get(), target.stream);
    const Bytes bytes = target.written();
    std::string text;
    for (std::size_t i = 0; i < static_cast<std::size_t>(target.stream.bitCount()); ++i) {
        text += (bytes[i / 8] >> (i % 8) & 1) != 0 ? '1' : '0';
    }
    return text;
}

Image imageOf(int width, int height, const std::vector<std::int64_t>& values) {
    Image image(width, height, 1);
    image.planes[0] = values;
    return image;
}

const std::string topPlane0 = "00000000";
const std::string topPlane1 = "10000000";
const std::string noEvents = "00011"; // k = 24

TEST(EncodedStream, ofZerosIsTheTopPlaneAndOneZeroPerClass) {
    for (const int side : {2, 3}) {
        EXPECT_EQ(streamOf<short>(Image(side, side, 1)), topPlane0 + noEvents + "0");
    }
    EXPECT_EQ(streamOf<short>(Image(2, 2, 3)), topPlane0 + noEvents + "0" + noEvents + "0" + noEvents + "0");
    // One pair for each of the classes 5 .. 0.
    std::string classes;
    for (int c = 0; c < 6; ++c) {
        classes += noEvents + "0";
    }
    EXPECT_EQ(streamOf<long>(Image(64, 64, 1)), topPlane0 + classes);
}

TEST(EncodedStream, codesAPlaneOfEventsWithAOneAndASignEach) {
    EXPECT_EQ(streamOf<short>(imageOf(2, 2, {1, -1, -1, 1})), topPlane0 + "00000" + "10" + "11" + "11" + "10");
}

TEST(EncodedStream, codesPassesOfADensePlaneWithAZeroEach) {
    EXPECT_EQ(streamOf<short>(imageOf(2, 2, {0, -1, 0, 0})), topPlane0 + "00000" + "0" + "11" + "0" + "0");
}

TEST(EncodedStream, aClassWithoutCandidatesIsItsParameterAlone) {
    EXPECT_EQ(streamOf<short>(imageOf(2, 2, {2, -3, 3, 2})),
              topPlane1 + "00000" + "10" + "11" + "10" + "10" // events of plane 1
                  + "0110" + noEvents);                       // refinement bits of plane 0, and no candidate
}

TEST(EncodedStream, aMagnitudeIsAnEventThenRefinementsThenNothing) {
    // One event in 4 candidates at plane 2; planes 1 and 0 have 3 candidates and no event.
    EXPECT_EQ(streamOf<short>(imageOf(2, 2, {0, 0, -5, 0})),
              "01000000" + std::string("00000") + "00" + "11" + "0" + "0" + noEvents + "0" + "1" + noEvents + "0");
}

TEST(EncodedStream, runsOfPassesAreUnitsAndARemainder) {
    // 1 event in 10 candidates: k = 3. Nine passes are a unit and 1; one is 0 units and 1; none needs no zeros.
    EXPECT_EQ(streamOf<short>(imageOf(5, 2, {0, 0, 0, 0, 0, 0, 0, 0, 0, 1})),
              topPlane0 + "11000" + "0" + "1" + "100" + "0");
    EXPECT_EQ(streamOf<short>(imageOf(5, 2, {0, -1, 0, 0, 0, 0, 0, 0, 0, 0})),
              topPlane0 + "11000" + "1" + "100" + "1" + "0"); // eight passes after it: one unit
    EXPECT_EQ(streamOf<short>(imageOf(5, 2, {-1, 0, 0, 0, 0, 0, 0, 0, 0, 0})),
              topPlane0 + "11000" + "1" + "000" + "1" + "00"); // nine: a unit and a part of one
}

TEST(EncodedStream, ordersClassesByPriorityAndChannelsWithinIt) {
    // Levels 1: class 1 is the four even positions. One pair (class, plane 0) for each of priorities 1 and 0.
    Image image(4, 4, 2);
    image.planes[0][0] = 1;                                                // class 1 of channel 0: 1 of 4
    image.planes[1][15] = 1;                                               // class 0 of channel 1: 1 of 12, the last
    EXPECT_EQ(streamOf<short>(image), topPlane0 + "00000" + "10" + "000"   // channel 0, class 1
                                          + noEvents + "0"                 // channel 1, class 1
                                          + noEvents + "0"                 // channel 0, class 0
                                          + "11000" + "01" + "110" + "0"); // channel 1, class 0: 11 passes, k = 3
}

TEST(EncodedStream, aPowerOfTwoHasThePlaneOfItsBit) {
    for (int plane = 0; plane <= 13; ++plane) {
        const std::int64_t value = std::int64_t{1} << plane;
        const std::string stream = streamOf<short>(imageOf(2, 2, {value, value, value, value}));
        std::string top;
        for (int i = 0; i < 8; ++i) {
            top += (plane >> i & 1) != 0 ? '1' : '0';
        }
        EXPECT_EQ(stream.substr(0, 21), top + "00000" + "10101010") << value;
        EXPECT_EQ(stream, streamOf<long>(imageOf(2, 2, {value, value, value, value}))) << value;
        EXPECT_EQ(stream.size(), 21U + 9U * static_cast<unsigned>(plane)) << value;
    }
}

TEST(EncodedStream, ofOneChannelIsThatOfThePlaneAlone) {
    const Image image = imageOf(3, 3, {4, 0, -2, 0, 0, 1, 9, 0, -8});
    EXPECT_EQ(streamOf<short>(image), streamOf<long>(image));
}

TEST(EncodedStream, doesNotDependOnTheWaveletsSwitches) {
    const Image image = imageOf(3, 3, {4, 0, -2, 0, 0, 1, 9, 0, -8});
    const auto plain = reference::toImageData<short>(image);
    const auto switched = reference::toImageData<short>(image);
    MemoryTarget target(ampleRoom(*switched));
    Wavelet<short>{nullptr, 1, 1}.writeWavelet(switched.get(), target.stream);
    EXPECT_EQ(target.written(), encodedBytes(*plain));
}

} // namespace
} // namespace teko
