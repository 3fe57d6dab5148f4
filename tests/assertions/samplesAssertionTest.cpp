// SPDX-License-Identifier: Apache-2.0
#include "assertions.hpp"
#include "coding/bitPlanes.hpp"
#include "fast/kernels/kernels.hpp"
#include "fast/transform/level.hpp"
#include "fast/transform/rowStream.hpp"
#include "filter/filter.hpp"
#include "image/imageData.hpp"
#include "image/sampleLimit.hpp"
#include "memory/pageBuffer.hpp"

namespace teko {

namespace {

using SamplesAssertions = Assertions;

class NoSink final : public CoefficientSink<std::int16_t> {
public:
    void take(int, const Row*, int) override {}
    void takePairs(int, const Row*, const Row*, int) override {}
    void take16(int, const std::int16_t*, int) override {}
    void take16Pairs(int, const std::int16_t*, const std::int16_t*, int) override {}
};

class ZeroSource final : public CoefficientSource<std::int16_t> {
public:
    const std::int16_t* take(int, int) override { return zeros; }
    int magnitudeBits(int) const override { return 0; }
    const std::int16_t* take16(int, int) override { return zeros; }

private:
    std::int16_t zeros[64] = {};
};

} // namespace

TEST_F(SamplesAssertions, SignalsHaveTheLengthsOfTheirRoutines) {
    Filter4_2<std::int16_t> filter;
    std::int16_t signal[16] = {};
    EXPECT_DEATH(filter.transformInner(signal + 4, 1), "n >= 2");
    EXPECT_DEATH(filter.transformStrided(signal, 5, 1), "n >= 6");
    EXPECT_DEATH(filter.transformCopy(signal, 6, 1), "maximumCopied");
}

TEST_F(SamplesAssertions, RowStreamsHaveShapesThatSuit) {
    NoSink sink;
    ZeroSource source;
    EXPECT_DEATH((ForwardStream<std::int16_t>(5, 64, kernelsOf(Target::portable), sink)), "suitsRowStreams");
    EXPECT_DEATH((InverseStream<std::int16_t>(5, 64, kernelsOf(Target::portable), source)), "suitsRowStreams");
}

TEST_F(SamplesAssertions, RowStreamsEndWithTheLastRow) {
    NoSink sink;
    ForwardStream<std::int16_t> forward(8, 8, kernelsOf(Target::portable), sink);
    ZeroSource source;
    InverseStream<std::int16_t> inverse(8, 8, kernelsOf(Target::portable), source);
    for (int y = 0; y < 8; ++y) {
        forward.next().bound = 0;
        forward.advance();
        inverse.next();
    }
    EXPECT_DEATH(forward.next(), "y < rows");
    EXPECT_DEATH(forward.advance(), "y < rows");
    EXPECT_DEATH(inverse.next(), "y < rows");
}

TEST_F(SamplesAssertions, AWindowReachesThreeRowsBeyondTheEnds) {
    RowWindow<std::int16_t> window({nullptr, 8, 8, 8, 1}, kernelsOf(Target::portable).rows<std::int16_t>());
    EXPECT_DEATH(window[-4], "y >= -3");
    EXPECT_DEATH(window[11], "lastRow \\+ 3");
}

TEST_F(SamplesAssertions, RowsOfAnImageAreBetweenItsFirstAndItsLast) {
    ImageData<std::int16_t> image(4, 3, 1);
    unsigned char raw[4] = {};
    EXPECT_DEATH(image.readRow8(3, raw), "y < image.height");
    EXPECT_DEATH(image.writeRow8(-1, raw, 0), "y >= 0");
}

TEST_F(SamplesAssertions, NumbersAreInTheirRanges) {
    EXPECT_DEATH(sampleLimit(-1, true), "bitsPerPixel >= 0");
    EXPECT_DEATH(PlaneWeights<std::int16_t>::of(-2), "exponent >= 0");
    PageBuffer memory(100);
    EXPECT_DEATH(memory.adviseHugePages(std::size_t{1} << 30), "bytes <= bytesInAll");
}

} // namespace teko
