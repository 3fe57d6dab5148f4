// SPDX-License-Identifier: Apache-2.0
// Run segments with k > 0, as the target that is compiled for codes them; in standard C++ event by event.
#pragma once

#include "fast/simd/forTarget.hpp"

#if defined(TEKO_FOR_AVX512)
#include "fast/planes/runSegmentsAvx512.hpp"
#elif defined(TEKO_FOR_AVX2)
#include "fast/planes/runSegmentsAvx2.hpp"
#else

#include "fast/planes/runCodes.hpp"
#include "fast/planes/significanceEvents.hpp"

#include <bit>
#include <cstdint>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

// The events of a plane of a chunk. passes: since the last event, before and after.
inline void codeRuns(BitAppender& appender, BitPlaneBlock& chunk, int plane, unsigned k, std::uint64_t& passes) {
    BitAppender out = appender;
    std::uint64_t run = passes; // up to the first candidate of the word
    for (int w = 0; w < chunk.words; ++w) {
        const Candidates candidates = chunk.takeCandidates(plane, w);
        const unsigned count = candidates.count();
        std::uint64_t gaps = candidates.gathered();
        if (gaps == 0) {
            run += count;
            continue;
        }
        std::uint64_t signs = extractBits(chunk.signs(w), candidates.events);
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

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END

#endif
