// SPDX-License-Identifier: Apache-2.0
// The run-length parameter k of a run segment: one zero bit stands for 2^k candidates without an event.
#pragma once

#include <cstdint>

namespace teko {

constexpr int largestRunLengthParameter = 24;

// Chooses k from the event density of the segment, events / candidates: 0, 2 or 3 for dense segments, then the smallest
// of 3 .. 24 whose 2^k reaches the whole part of 0.48 / density + 0.5; 24 without events. Never 1. 0 <= events <=
// candidates.
//
// Encoders ask here, by the counts of a histogram, and write k before the segment. Decoders take k as it is written,
// whatever it is, and ask here behind the segment, to know a stream that no encoder writes.
int runLengthParameter(std::uint64_t events, std::uint64_t candidates);

// What the plain encoder sizes a run segment by, k excluded: 1.3 times the binary entropy of its candidates, and
// a sign for each event. The segments of every class that an image can have stay within it and the room that
// a sub-stream has beside it (StreamArrayManager).
std::uint64_t runSegmentBitsEstimate(std::uint64_t events, std::uint64_t candidates);

// The most bits that a run segment can have, k included, in any order of its candidates: the parameter, a one, the rest
// of its run and a sign for each event, a zero for each whole unit of passes, of which there are as many as if no run
// had a rest, and one more at the end.
inline std::uint64_t longestRunSegment(std::uint64_t events, std::uint64_t candidates) {
    const auto k = static_cast<std::uint64_t>(runLengthParameter(events, candidates));
    return 5 + events * (k + 2) + ((candidates - events) >> k) + 1;
}

} // namespace teko
