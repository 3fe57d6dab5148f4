// SPDX-License-Identifier: Apache-2.0
// The run-length parameter k of a run segment: one zero bit stands for 2^k candidates without an event.
#pragma once

#include <cstdint>

namespace teko {

constexpr int largestRunLengthParameter = 24;

// Chooses k from the event density of the segment, events / candidates: 0, 2 or 3 for dense segments, then
// the smallest of 3 .. 24 whose 2^k reaches 0.48 / density + 0.5; 24 without events. Never 1.
// 0 <= events <= candidates.
int runLengthParameter(std::uint64_t events, std::uint64_t candidates);

// An upper bound of the bits of a run segment, k excluded: 1.3 times the binary entropy of its candidates, and
// a sign for each event. The segments of every class that an image can have stay within it and the room that
// a sub-stream has beside it (StreamArrayManager).
std::uint64_t runSegmentBitsEstimate(std::uint64_t events, std::uint64_t candidates);

} // namespace teko
