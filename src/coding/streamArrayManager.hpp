// SPDX-License-Identifier: Apache-2.0
// The sub-streams of one image while it is being encoded.
#pragma once

#include "coding/bitPlanes.hpp"
#include "coding/bitStreamer.hpp"
#include "coding/subband.hpp"
#include "memory/memory.hpp"

#include <cstdint>

namespace teko {

// Codes the events of one run segment: runs of passes (candidates that stay insignificant) and, at their end,
// the candidate that becomes significant.
struct RunCoder {
    BitStreamer* stream = nullptr; // memory writer that collects the segment; owned by the manager
    std::uint32_t divisor = 0;     // 2^k
    std::int32_t k = -1;           // the run-length parameter; -1 before setUp
    std::uint32_t count = 0;       // passes since the last event

    // Stores the parameter and writes it as the segment's first 5 bits.
    void setUp(BitStreamer* segment, int parameter);
    // Ends the run with an event: the run in units of the divisor, a one, the remainder in k bits, the sign.
    void codeEvent(unsigned sign);
    // Ends the segment: zeros until all passes are covered.
    void finish();

private:
    void codeWholeUnits();
};

// Owns a refinement stream and a run coder for every channel, class and plane: entries below `channels`, up to `levels`
// and up to `topPlane`. There is room for others, but they are no objects (a tile of 64 x 64 with 16 bits uses 84 of
// 1536: 1.15 times on encoding it).
template <typename T>
struct StreamArrayManager : InTakenMemory {
    static constexpr int maximumChannels = 4;
    static constexpr int planes = sampleBits<T>;

    // Room of every sub-stream beyond its estimate: the writer may use 16 bytes, 26 are allocated. With it, no image's
    // segment is longer than its sub-stream, which would throw 3 like a budget that ends.
    static constexpr std::uint64_t spareCapacity = 16;
    static constexpr std::uint64_t spareAllocation = 26;

    union {
        BitStreamer refinementStreams[maximumChannels][maximumClasses][planes];
    };
    union {
        RunCoder runCoders[maximumChannels][maximumClasses][planes];
    };
    int channels;
    int levels;
    int topPlane;

    StreamArrayManager(int channels, int levels, int topPlane);
    ~StreamArrayManager();
    StreamArrayManager(const StreamArrayManager&) = delete;
    StreamArrayManager& operator=(const StreamArrayManager&) = delete;

    // Allocate the memory of one sub-stream for that many bits. Throw std::bad_alloc without a leak.
    void setUpRefinement(int channel, int c, int plane, std::uint64_t bits);
    void setUpRuns(int channel, int c, int plane, std::uint64_t bits, int runLengthParameter);

private:
    // Calls visit(stream, coder) for all entries.
    template <typename Visit>
    void forEachEntry(Visit visit);
    static void setUp(BitStreamer& stream, std::uint64_t bits);
};

extern template struct StreamArrayManager<std::int16_t>;
extern template struct StreamArrayManager<std::int64_t>;

} // namespace teko
