// SPDX-License-Identifier: Apache-2.0
#define TEKO_FOR_PORTABLE
#include "assertions.hpp"
#include "fast/planes/bitPlaneBlock.hpp"
#include "fast/planes/runCodes.hpp"
#include "fast/planes/subbandDecoder.hpp"

#include <array>

namespace teko {

namespace {

using namespace portable;

using PlanesAssertions = Assertions;

// Four bytes for a sub-stream, and room behind them for what is stored beyond.
struct Appending {
    std::array<unsigned char, 32> bytes{};
    BitAppender out;

    Appending() { out.start(SubStream{bytes.data(), bytes.data() + 4}); }
};

// One block of a class of so many samples, with room for a plane.
struct ClassOfOneBlock {
    PlaneWord words[std::size_t{64} * rowsUpTo(0)] = {};
    std::uint32_t candidates = 0;
    SubbandState<std::int16_t> state{};

    explicit ClassOfOneBlock(std::int64_t samples) { state.place(words, rowsUpTo(0), samples, &candidates); }
};

struct NoValue {};

} // namespace

// A sequence whose blocks have more words than a chunk.
template <>
struct SubbandBytes<NoValue> {
    static int wordsIn(std::int64_t) { return wordsInBlock + 1; }
    static int valuesIn(std::int64_t) { return blockSamples; }
};

TEST_F(PlanesAssertions, BitsAreAsManyAsIsSaid) {
    Appending to;
    EXPECT_DEATH(to.out.put(4, 2), "bits >> n == 0");
    EXPECT_DEATH(to.out.put(0, 65), "n <= 64");
}

TEST_F(PlanesAssertions, SubStreamsHaveRoomForTheirBits) {
    Appending to;
    to.out.put(0, 32);
    EXPECT_DEATH(to.out.put(0, 1), "<= end");
}

TEST_F(PlanesAssertions, CodesFitIntoAWord) {
    EXPECT_DEATH(EventCode::of(EventCode::mostUnits + 1, 0, 0), "units <= mostUnits");
    EXPECT_DEATH(EventCode::of(0, largestRunLengthParameter + 1, 0), "k <= largestRunLengthParameter");
    EXPECT_DEATH(EventCode::of(0, 0, 2), "sign <= 1");
    Appending to;
    EXPECT_DEATH(putDense(to.out, 0, 33, 0), "n <= 32");
    EXPECT_DEATH(putDense(to.out, 2, 1, 0), "candidates. >> n == 0");
}

TEST_F(PlanesAssertions, EventsOfAPlaneAreNoMoreThanSamplesOfABlock) {
    const auto events = std::make_unique<SignificanceEvents>();
    events->start(0);
    EXPECT_DEATH(events->append(0, 65), "n <= 64");
    for (int i = 0; i < wordsInBlock; ++i) {
        events->append(0, 64);
    }
    EXPECT_DEATH(events->append(0, 1), "count \\+ n <=");
}

TEST_F(PlanesAssertions, SlicedBlocksAreNoLongerThanABlock) {
    const auto sliced = std::make_unique<BitPlaneBlock>();
    EXPECT_DEATH(setLength(SubbandBytes<NoValue>{}, 0, *sliced), "sliced.words <= wordsInBlock");
}

TEST_F(PlanesAssertions, AViewSeesWhatTheReaderHolds) {
    std::array<std::uint32_t, 2> words{};
    ByteStreamer stream;
    stream.setUpMemoryReader(words.data(), sizeof words);
    StreamView view(stream);
    EXPECT_DEATH(view.peek(), "has.ahead");
    EXPECT_DEATH(view.unskip(1), "n <= place");
}

TEST_F(PlanesAssertions, PlanesOfAClassAreThoseThatItHasRoomFor) {
    ClassOfOneBlock made(64);
    made.state.clearPlane(0);
    EXPECT_DEATH(made.state.clearPlane(-1), "b >= 0");
    EXPECT_DEATH(made.state.clearPlane(1), "b \\+ 2 < rows");
}

TEST_F(PlanesAssertions, EventsOfABlockAreNoMoreThanItsCandidates) {
    ClassOfOneBlock made(64);
    CandidateBits found;
    found.clear(64);
    found.events.putBit(0, 1);
    made.candidates = 0;
    EXPECT_DEATH(markSignificant(made.state, 0, 0, found), "placed <= state.candidates");
}

} // namespace teko
