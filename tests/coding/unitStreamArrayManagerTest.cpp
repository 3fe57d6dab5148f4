// SPDX-License-Identifier: Apache-2.0
#include "coding/streamArrayManager.hpp"

#include "support/bitStreams.hpp"
#include "support/failingAllocation.hpp"
#include "support/scratchFile.hpp"
#include "support/thrownInteger.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace teko {

namespace {

template <typename T>
class StreamArray : public testing::Test {
protected:
    using Manager = StreamArrayManager<T>;

    // Too large for the stack of some hosts.
    static std::unique_ptr<Manager> manager(int channels, int levels, int topPlane) {
        return std::make_unique<Manager>(channels, levels, topPlane);
    }

    static void setUpAll(Manager& streams) {
        for (int channel = 0; channel < streams.channels; ++channel) {
            for (int c = 0; c <= streams.levels; ++c) {
                for (int plane = 0; plane <= streams.topPlane; ++plane) {
                    streams.setUpRefinement(channel, c, plane, 100);
                    streams.setUpRuns(channel, c, plane, 100, 2);
                }
            }
        }
    }
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(StreamArray, SampleTypes);

void expectNeutral(const BitStreamer& stream) {
    EXPECT_EQ(stream.file, nullptr);
    EXPECT_EQ(stream.ownedBuffer, nullptr);
    EXPECT_EQ(stream.buffer, nullptr);
    EXPECT_EQ(stream.size, 0);
    EXPECT_EQ(stream.tailBytes, 0);
    EXPECT_EQ(stream.cursor, nullptr);
    EXPECT_EQ(stateOf(stream), (WriterState{1, 0, 0, 0}));
    EXPECT_EQ(stream.mode, '-');
}

void expectNeutral(const RunCoder& coder) {
    EXPECT_EQ(coder.stream, nullptr);
    EXPECT_EQ(coder.divisor, 0U);
    EXPECT_EQ(coder.k, -1);
    EXPECT_EQ(coder.count, 0U);
}

// A memory writer with room for so many bytes, with a buffer that is not its own.
void expectRoom(const BitStreamer& stream, std::int64_t bytes) {
    EXPECT_EQ(stream.file, nullptr);
    EXPECT_EQ(stream.ownedBuffer, nullptr);
    EXPECT_NE(stream.buffer, nullptr);
    EXPECT_EQ(stream.size, bytes / 4);
    EXPECT_EQ(stream.tailBytes, bytes % 4);
    EXPECT_EQ(stream.cursor, stream.buffer);
    EXPECT_EQ(stream.mode, 'w');
}

} // namespace

TYPED_TEST(StreamArray, hasRoomForFourChannelsSixClassesAndAllPlanes) {
    const auto streams = this->manager(1, 0, 0);
    constexpr std::size_t planes = 8 * sizeof(TypeParam);
    EXPECT_EQ(sizeof streams->refinementStreams, 4 * 6 * planes * sizeof(BitStreamer));
    EXPECT_EQ(sizeof streams->runCoders, 4 * 6 * planes * sizeof(RunCoder));
}

TYPED_TEST(StreamArray, startsNeutralInEveryEntry) {
    const auto streams = this->manager(3, 5, 8 * static_cast<int>(sizeof(TypeParam)) - 1);
    EXPECT_EQ(streams->channels, 3);
    EXPECT_EQ(streams->levels, 5);
    EXPECT_EQ(streams->topPlane, 8 * static_cast<int>(sizeof(TypeParam)) - 1);
    for (int channel = 0; channel < 3; ++channel) {
        for (const auto& subband : streams->refinementStreams[channel]) {
            for (const BitStreamer& stream : subband) {
                expectNeutral(stream);
            }
        }
        for (const auto& subband : streams->runCoders[channel]) {
            for (const RunCoder& coder : subband) {
                expectNeutral(coder);
            }
        }
    }
}

TYPED_TEST(StreamArray, givesRefinementsSixteenBytesMoreThanAskedFor) {
    for (const std::uint64_t bits : {0U, 1U, 7U, 8U, 9U, 16U, 17U, 24U, 25U, 1000U}) {
        const auto again = this->manager(2, 3, 7);
        again->setUpRefinement(1, 3, 7, bits);
        expectRoom(again->refinementStreams[1][3][7], static_cast<std::int64_t>((bits + 7) / 8 + 16));
        EXPECT_EQ(stateOf(again->refinementStreams[1][3][7]), (WriterState{1, 0, 0, 0}));
        expectNeutral(again->refinementStreams[1][3][6]);
        expectNeutral(again->runCoders[1][3][7]);
    }
}

TYPED_TEST(StreamArray, givesRunSegmentsTheSameAndWritesTheirParameter) {
    const auto streams = this->manager(1, 5, 0);
    for (int c = 0; c <= 5; ++c) {
        streams->setUpRuns(0, c, 0, static_cast<std::uint64_t>(11 * c), 24);
        const RunCoder& coder = streams->runCoders[0][c][0];
        ASSERT_NE(coder.stream, nullptr);
        expectRoom(*coder.stream, (11 * c + 7) / 8 + 16);
        EXPECT_EQ(stateOf(*coder.stream), (WriterState{1U << 5, 0, 24, 0}));
        EXPECT_EQ(coder.divisor, 1U << 24);
        EXPECT_EQ(coder.k, 24);
        EXPECT_EQ(coder.count, 0U);
        expectNeutral(streams->refinementStreams[0][c][0]);
    }
}

TYPED_TEST(StreamArray, throwsWhenASubStreamOutgrowsItsRoom) {
    const auto streams = this->manager(1, 0, 0);
    streams->setUpRefinement(0, 0, 0, 100);
    BitStreamer& stream = streams->refinementStreams[0][0][0];
    putAll(stream, Bits(8 * 29, true)); // 13 + 16 bytes
    EXPECT_EQ(thrownBy([&] { putAll(stream, Bits(24, true)); }), 3);
    EXPECT_EQ(stream.bitCount(), 8 * 29);
}

TYPED_TEST(StreamArray, givesEverythingBackAtItsEnd) {
    const auto action = [this] {
        const auto streams = this->manager(3, 2, 5);
        this->setUpAll(*streams);
    };
    EXPECT_EQ(withFailingAllocation(1 + 3 * 3 * 6 * 3, action), AllocationOutcome::succeeded);
}

TYPED_TEST(StreamArray, givesEverythingBackWhereverAnAllocationFails) {
    const auto action = [this] {
        const auto streams = this->manager(2, 1, 3);
        this->setUpAll(*streams);
    };
    for (long successes = 0; successes < 1 + 2 * 2 * 4 * 3; ++successes) {
        EXPECT_EQ(withFailingAllocation(successes, action), AllocationOutcome::refused) << successes;
    }
}

TYPED_TEST(StreamArray, holdsNothingWithoutLevels) {
    const auto action = [this] {
        const auto streams = this->manager(3, -1, 0);
        this->setUpAll(*streams);
    };
    EXPECT_EQ(withFailingAllocation(1, action), AllocationOutcome::succeeded);
}

TEST(BitStreamOwnership, freesTheBufferOfFileStreamsAlone) {
    const ScratchFile file({1, 2, 3, 4});
    std::uint32_t memory[2] = {};
    const long before = AllocationLedger::live;
    {
        BitStreamer writer;
        writer.setUpFileWriter(file.get());
        BitStreamer reader;
        reader.setUpFileReader(file.get());
        EXPECT_EQ(AllocationLedger::live, before + 2);
        BitStreamer memoryWriter;
        memoryWriter.setUpMemoryWriter(memory, sizeof memory);
        BitStreamer memoryReader;
        memoryReader.setUpMemoryReader(memory, sizeof memory);
        EXPECT_EQ(AllocationLedger::live, before + 2);
    }
    EXPECT_EQ(AllocationLedger::live, before);
}

TEST(BitStreamOwnership, staysNeutralWhenItsBufferIsRefused) {
    EXPECT_EQ(withFailingAllocation(0,
                                    [] {
                                        BitStreamer stream;
                                        stream.setUpFileWriter(stdout);
                                    }),
              AllocationOutcome::refused);
    EXPECT_EQ(withFailingAllocation(0,
                                    [] {
                                        BitStreamer stream;
                                        stream.setUpFileReader(stdin);
                                    }),
              AllocationOutcome::refused);
}

} // namespace teko
