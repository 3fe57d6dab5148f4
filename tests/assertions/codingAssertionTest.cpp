// SPDX-License-Identifier: Apache-2.0
#include "assertions.hpp"
#include "coding/histogram.hpp"
#include "coding/runLengthParameter.hpp"
#include "coding/streamArrayManager.hpp"
#include "coding/subband.hpp"
#include "fast/kernels/kernels.hpp"
#include "fast/planes/segmentPlan.hpp"
#include "fast/planes/subbandBytes.hpp"
#include "fast/ways/rowWay.hpp"

#include <array>

namespace teko {

namespace {

using CodingAssertions = Assertions;

struct Memory {
    std::array<std::uint32_t, 8> words{};
};

struct Writer : Memory {
    BitStreamer stream;
    Writer() { stream.setUpMemoryWriter(words.data(), sizeof words); }
};

struct Reader : Memory {
    BitStreamer stream;
    Reader() { stream.setUpMemoryReader(words.data(), sizeof words); }
};

using Histogram = BitLengthHistogram<std::int16_t>;
constexpr ImageShape shape{64, 64, 1, 5};

} // namespace

TEST_F(CodingAssertions, AStreamIsSetUpOnce) {
    Writer writer;
    Reader reader;
    EXPECT_DEATH(writer.stream.setUpMemoryWriter(writer.words.data(), 4), "mode == '-'");
    EXPECT_DEATH(reader.stream.setUpMemoryReader(reader.words.data(), 4), "mode == '-'");
    EXPECT_DEATH(writer.stream.setUpFileWriter(stdout), "mode == '-'");
    EXPECT_DEATH(reader.stream.setUpFileReader(stdin), "mode == '-'");
}

TEST_F(CodingAssertions, AStreamHasAPlace) {
    BitStreamer stream;
    EXPECT_DEATH(stream.setUpFileWriter(nullptr), "output != nullptr");
    EXPECT_DEATH(stream.setUpFileReader(nullptr), "input != nullptr");
    EXPECT_DEATH(stream.setUpMemoryWriter(nullptr, -1), "bytes >= 0");
    EXPECT_DEATH(stream.setUpMemoryReader(nullptr, -1), "bytes >= 0");
}

TEST_F(CodingAssertions, AWordHas32Bits) {
    EXPECT_DEATH(Writer().stream.putBits(0, 33), "n <= 32");
    EXPECT_DEATH(Reader().stream.getBits(33), "n <= 32");
}

TEST_F(CodingAssertions, StreamsAreUsedInTheirStates) {
    Writer writer;
    EXPECT_DEATH(writer.stream.limitReads(), "mode == 'r'");
    writer.stream.mask = 3;
    EXPECT_DEATH(writer.stream.bitCount(), "mask - 1");
    Writer from;
    ByteStreamer to;
    EXPECT_DEATH(moveReader(from.stream, to), "from.mode == 'r'");
    BitStreamer file;
    file.setUpFileWriter(std::tmpfile());
    EXPECT_DEATH(from.stream.append(file), "source.file == nullptr");
    std::fclose(file.file);
    writer.stream.tailBytes = 4;
    EXPECT_DEATH(writer.stream.flushBuffer(), "tailBytes <= 3");
}

TEST_F(CodingAssertions, SubStreamsAreThoseOfTheImage) {
    using Streams = StreamArrayManager<std::int16_t>;
    EXPECT_DEATH(std::make_unique<Streams>(4, 5, 3), "channels < maximumChannels");
    EXPECT_DEATH(std::make_unique<Streams>(3, 5, 16), "topPlane < planes");
    const auto streams = std::make_unique<Streams>(1, 5, 3);
    EXPECT_DEATH(streams->setUpRefinement(0, 0, 4, 8), "plane <= topPlane");
    EXPECT_DEATH(streams->setUpRuns(1, 0, 3, 8, 2), "channel < channels");
}

TEST_F(CodingAssertions, ARunCoderIsSetUpWithAParameter) {
    Writer writer;
    RunCoder coder;
    EXPECT_DEATH(coder.codeEvent(0), "k >= 0");
    EXPECT_DEATH(coder.setUp(&writer.stream, 25), "parameter <= 24");
}

TEST_F(CodingAssertions, CountsAreOfPlanesAndClassesThatThereAre) {
    const auto histogram = std::make_unique<Histogram>();
    EXPECT_DEATH(histogram->plane(0, 0, 14), "b \\+ 2 < buckets");
    EXPECT_DEATH(histogram->coefficients(0, 7), "c < classSlots");
    EXPECT_DEATH(runLengthParameter(2, 1), "events <= candidates");
    EXPECT_DEATH(gridSamples(shape, -1), "c >= 0");
    EXPECT_DEATH(classColumns(1, 5, 3), "classRowStep");
}

TEST_F(CodingAssertions, APlanIsOfPlanesThatCanBeCoded) {
    const auto histogram = std::make_unique<Histogram>();
    using Plan = SegmentPlan<std::int16_t>;
    EXPECT_DEATH(Plan(shape, 14, *histogram, 100, SizeEstimate::typical), "topPlane <= highestPlane");
    Plan plan(shape, 3, *histogram, 100, SizeEstimate::typical);
    EXPECT_DEATH(plan.lowestSparsePlane(1, 0), "channel < shape.channels");
    alignas(4) unsigned char bytes[8];
    EXPECT_DEATH(plan.setUp(bytes + 1), "memory");
}

TEST_F(CodingAssertions, AClassIsCodedInPlanesThatThereAre) {
    using Sample = std::int64_t;
    constexpr int highest = highestSlicedPlane<Sample>;
    const auto codeClass = kernelsOf(Target::portable).planes<Sample>().codeClass;
    SubbandBytes<RowSample<Sample>> sequence{};
    unsigned char bytes[64];
    PlaneStreams streams[highest + 2];
    streams[0] = {{bytes, bytes + 16}, {bytes + 32, bytes + 48}, 1};
    EXPECT_DEATH(codeClass(sequence, streams, highest + 1, 0, 0), "top <= highestSlicedPlane");
    EXPECT_DEATH(codeClass(sequence, streams, 0, -1, 0), "lowest >= 0");
    unsigned char longest = 3; // the bits of a value: its sign, and those of planes 0 and 1
    sequence.longest = &longest;
    sequence.count = 1;
    EXPECT_DEATH(codeClass(sequence, streams, 0, 0, 0), "blockTop <= top");
}

TEST_F(CodingAssertions, ASequenceHasTheBlocksThatItHas) {
    SubbandBytes<std::int16_t> sequence{};
    EXPECT_DEATH(sequence.valuesIn(0), "block < blocks");
    EXPECT_DEATH(sequence.higherBytes(0, 1), "row > 0");
}

TEST_F(CodingAssertions, DecodedPlanesAreReadOnceAndInTheWayTheyFit) {
    const auto sliced = kernelsOf(Target::portable).planes<std::int64_t>().makeSliced(shape);
    Memory memory;
    memory.words[0] = 0xFFFFFFE0; // behind a run-length parameter of 0 an event on the top plane
    ByteStreamer in;
    in.setUpMemoryReader(memory.words.data(), sizeof memory.words);
    EXPECT_DEATH(sliced->read(29, in), "topPlane <= highestSlicedPlane");
    sliced->read(20, in);
    EXPECT_DEATH(sliced->read(20, in), "!sliced");
    EXPECT_DEATH(sliced->take(0, 5, 5), "block < state.blocks");
    int c = 0;
    while (c < 5 && sliced->magnitudeBits(0, c) == 0) {
        ++c;
    }
    ASSERT_EQ(sliced->magnitudeBits(0, c), 21);
    EXPECT_DEATH(sliced->take16(0, c, 1), "magnitudeBits");
}

TEST_F(CodingAssertions, RowsAreAskedForWhereThereAreSome) {
    RowEncoder<std::int16_t> encoder(64, 64, 1, kernelsOf(Target::portable));
    EXPECT_DEATH(encoder.channel(1), "transforms.size");
    RowDecoder<std::int16_t> decoder(64, 64, 1, kernelsOf(Target::portable));
    EXPECT_DEATH(decoder.channel(0), "transforms.size");
    Reader reader;
    decoder.read(0, reader.stream);
    decoder.start();
    EXPECT_DEATH(decoder.start(), "transforms.empty");
}

} // namespace teko
