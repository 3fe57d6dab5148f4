// The sub-streams of each class and plane, one by one, against the description of their segments.
#include "coding/planes/planeCoding.hpp"
#include "support/coefficients.hpp"
#include "support/targets.hpp"
#include "targets/segments.hpp"

#include <gtest/gtest.h>

#include <array>

namespace teko {

namespace {

constexpr int parameters[] = {0, 2, 3, 0, 4, 1, 5, 2, 7, 3, 10, 0, 13, 17, 24};

// The bits of a memory writer that was flushed.
Bits bitsOf(const BitStreamer& stream) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(stream.buffer);
    const auto count = static_cast<std::size_t>(stream.bitCount());
    Bits bits = unpacked(Bytes(bytes, bytes + (count + 7) / 8));
    bits.resize(count);
    return bits;
}

template <typename T>
class TargetSubStreams : public testing::Test {
protected:
    // Codes an image of coefficients down to the lowest planes, with parameters that change from plane to plane
    // and from call to call, into sub-streams that have room for just their bits.
    void check(LaidOutImage<T> image, int topPlane, const LowestPlanes& lowest) {
        image.fill([&](int c, int y, int x) { return fold(image.at(c, y, x)); });
        ++calls;
        for (const Target target : fastTargets()) {
            SCOPED_TRACE(nameOf(target));
            const int levels = numberOfLevels(image->width, image->height);
            StreamArrayManager<T> streams(image->channels, levels, topPlane);
            forEachPlane(*image, streams, lowest, [&](int channel, int c, int b, const std::vector<T>& values) {
                const Bits runs = runSegment(values, b, parameterOf(c, b));
                streams.setUpRefinement(channel, c, b, refinementSegment(values, b).size());
                streams.setUpRuns(channel, c, b, runs.size() - 5, parameterOf(c, b));
            });
            const LaidOutImage<T> before = image;
            planeCoding<T>(target)->codeCoefficients(*image, streams, lowest);
            ASSERT_TRUE(sameMemory(image, before));
            forEachPlane(*image, streams, lowest, [&](int channel, int c, int b, const std::vector<T>& values) {
                SCOPED_TRACE(testing::Message() << "channel " << channel << ", class " << c << ", plane " << b);
                expectSegment(streams.refinementStreams[channel][c][b], refinementSegment(values, b));
                RunCoder& coder = streams.runCoders[channel][c][b];
                coder.finish();
                expectSegment(*coder.stream, runSegment(values, b, parameterOf(c, b)));
            });
        }
    }

    void checkAllPlanes(const LaidOutImage<T>& image, int topPlane) { check(image, topPlane, LowestPlanes{}); }

    std::mt19937_64 random{7};

private:
    int parameterOf(int c, int b) const { return parameters[(calls + 4 * c + b) % 15]; }

    template <typename Visit>
    static void forEachPlane(const ImageData<T>& image, const StreamArrayManager<T>& streams,
                             const LowestPlanes& lowest, Visit visit) {
        for (int channel = 0; channel < image.channels; ++channel) {
            for (int c = 0; c <= streams.levels; ++c) {
                const std::vector<T> values = classOf(image, channel, c, streams.levels);
                for (int b = lowest[channel][c]; b <= streams.topPlane; ++b) {
                    visit(channel, c, b, values);
                }
            }
        }
    }

    static void expectSegment(BitStreamer& stream, const Bits& wanted) {
        stream.flush();
        ASSERT_EQ(stream.bitCount(), static_cast<std::int64_t>(wanted.size()));
        ASSERT_EQ(bitsOf(stream), wanted);
    }

    int calls = 0;
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetSubStreams, SampleTypes);

} // namespace

TYPED_TEST(TargetSubStreams, AreTheDescribedOnesForEveryPlaneAndContent) {
    for (int plane = 0; plane <= highestSlicedPlane<TypeParam>; ++plane) {
        for (const Content content : reference::allContents) {
            this->checkAllPlanes(
                coefficients<TypeParam>(content, {50, 37, 1 + plane % 2}, plane, this->random, {plane % 3, plane % 2}),
                plane);
        }
    }
}

TYPED_TEST(TargetSubStreams, MayHaveEmptyPlanesOnTop) {
    for (int plane = 0; plane < highestSlicedPlane<TypeParam>; plane += 3) {
        const auto image = coefficients<TypeParam>(Content::geometric, {50, 37}, plane, this->random);
        this->checkAllPlanes(image, highestSlicedPlane<TypeParam>);
    }
}

TYPED_TEST(TargetSubStreams, AreTheDescribedOnesForEveryDensityAndParameter) {
    for (unsigned oneIn = 1; oneIn < 3000; oneIn = 2 * oneIn + oneIn / 3) {
        for (int round = 0; round < 15; ++round) {
            this->checkAllPlanes(scattered<TypeParam>({101, 87}, 5, oneIn, this->random), 5);
        }
    }
}

TYPED_TEST(TargetSubStreams, AreTheDescribedOnesAboveAnyLowestPlane) {
    for (int round = 0; round < 60; ++round) {
        LowestPlanes lowest;
        for (auto& channel : lowest) {
            std::generate(std::begin(channel), std::end(channel),
                          [&] { return static_cast<int>(this->random() % 11); }); // 10 is none at all
        }
        this->check(coefficients<TypeParam>(Content::geometric, {77, 64, 3}, 9, this->random), 9, lowest);
        this->check(scattered<TypeParam>({77, 64, 3}, 9, 9, this->random), 9, lowest);
    }
}

// Runs that reach over many chunks.
TYPED_TEST(TargetSubStreams, AreTheDescribedOnesForSingleEvents) {
    for (int round = 0; round < 45; ++round) {
        LaidOutImage<TypeParam> image(2, 20000, 1);
        image.fill([](int, int, int) { return 0; });
        for (int i = 0; i < 3; ++i) {
            image.at(0, static_cast<int>(this->random() % 20000), i % 2) = static_cast<TypeParam>(1 - 5 * (i % 2));
        }
        this->checkAllPlanes(image, 3);
    }
}

} // namespace teko
