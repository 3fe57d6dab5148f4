// SPDX-License-Identifier: Apache-2.0
// Run segments with k > 0. In standard C++ event by event; where the target has vectors of codes, all events of a plane
// of a block are gathered before any is coded.
#pragma once

#include "fast/planes/bitPlaneBlock.hpp"
#include "fast/planes/runCodes.hpp"

#if defined(TEKO_FOR_AVX512)
#include "fast/planes/runSegmentsAvx512.hpp"
#elif defined(TEKO_FOR_AVX2)
#include "fast/planes/runSegmentsAvx2.hpp"
#endif

#include <algorithm>
#include <bit>
#include <cstdint>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

#if defined(TEKO_FOR_AVX2) || defined(TEKO_FOR_AVX512)

// Events that were gathered.
inline void putEvents(BitAppender& appender, const SignificanceEvents& events, unsigned k) {
    BitAppender out = appender;
#if defined(TEKO_FOR_AVX512)
    events.putFarPasses(out, k);
#endif
    for (unsigned i = 0; i < events.count; i += VectorOfCodes::count) {
        const VectorOfCodes codes = VectorOfCodes::of(events, i, k);
        if (codes.fitFourToPut()) {
            codes.putFours(out);
            continue;
        }
        // One code of more is not rare in a vector, and mostly none has more than 32 bits (coding segments: 1.05 times
        // with sixteen codes, 1.02 times with eight).
        if (codes.fitTwoToPut()) {
            codes.putTwos(out);
            continue;
        }
        for (unsigned j = i; j < std::min(i + VectorOfCodes::count, events.count); ++j) {
            putEvent(out, events.run(j), k, events.signOf(j));
        }
    }
    appender = out;
}

// The events of a plane of a block. passes: since the last event, before and after.
inline void codeRuns(BitAppender& appender, BitPlaneBlock& sliced, int plane, unsigned k, std::uint64_t& passes) {
    SignificanceEvents events;
    gatherEvents(sliced, plane, passes, events);
    putEvents(appender, events, k);
}

#else

// The events of a plane of a block. passes: since the last event, before and after.
inline void codeRuns(BitAppender& appender, BitPlaneBlock& sliced, int plane, unsigned k, std::uint64_t& passes) {
    BitAppender out = appender;
    std::uint64_t run = passes; // up to the first candidate of the word
    for (int w = 0; w < sliced.words; ++w) {
        const Candidates candidates = sliced.takeCandidates(plane, w);
        const unsigned count = candidates.count();
        std::uint64_t gaps = candidates.gathered();
        if (gaps == 0) {
            run += count;
            continue;
        }
        std::uint64_t signs = extractBits(sliced.signs(w), candidates.events);
        auto last = static_cast<unsigned>(std::countr_zero(gaps));
        putEvent(out, run + last, k, signs & 1);
        for (gaps &= gaps - 1, signs >>= 1; gaps != 0; signs >>= 2) {
            // Two codes in one put (1.07 times on whole encodes of grey photographs): runs within a word are at
            // most 62 long together, and 2 (k + 2) + 62 / 2^k is at most 64 for every k that is used.
            const auto place = static_cast<unsigned>(std::countr_zero(gaps));
            gaps &= gaps - 1;
            const EventCode first = EventCode::of(place - last - 1, k, signs & 1);
            last = place;
            if (gaps == 0) {
                out.put(first.bits, first.length);
                break;
            }
            const auto nextPlace = static_cast<unsigned>(std::countr_zero(gaps));
            gaps &= gaps - 1;
            const EventCode second = EventCode::of(nextPlace - last - 1, k, signs >> 1 & 1);
            last = nextPlace;
            out.put(first.bits | second.bits << first.length, first.length + second.length);
        }
        run = count - last - 1;
    }
    passes = run;
    appender = out;
}

// Events that were gathered.
inline void putEvents(BitAppender& appender, const SignificanceEvents& events, unsigned k) {
    BitAppender out = appender;
    for (unsigned i = 0; i < events.count; ++i) {
        putEvent(out, events.run(i), k, events.signOf(i));
    }
    appender = out;
}

#endif

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
