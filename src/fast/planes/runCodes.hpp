// SPDX-License-Identifier: Apache-2.0
// The codes of run segments: the writer that takes them many bits at a time, and tables that read several at once.
#pragma once

#include "coding/runLengthParameter.hpp"
#include "fast/planes/bitPlaneBlock.hpp"
#include "fast/planes/segmentPlan.hpp"
#include "fast/simd/operations.hpp"

#include <bit>
#include <cassert>
#include <cstdint>

namespace teko {

// Reading: the run codes of k = 2 and 3, several at a time by table: such segments hold most of the events that are not
// in dense ones, and taken one by one each event waits for the bits before it (1.1 times on decoding grey photographs).
//
// A step looks at so many bits of a segment and takes the codes, and the zeros of runs, that end within them.
constexpr int runWindowBits = 12;
constexpr unsigned mostRunCandidates = 48; // of one step

// How far a step goes, in bits and in candidates: what the next step waits for.
struct RunDecodingStep {
    unsigned char length;
    unsigned char candidates;
};

struct RunDecodingEvents {
    std::uint64_t packed;

    constexpr std::uint64_t places() const { return packed >> 16; }    // among the candidates
    constexpr std::uint64_t signs() const { return packed & 0xFFFFU; } // places among the bits
};

// The steps lie apart because 8 KiB of them stay in the L1 cache, which all else would fill (1.04 times on decoding
// grey photographs).
template <int k>
struct RunDecodingTable {
    RunDecodingStep steps[1 << runWindowBits];
    RunDecodingEvents events[1 << runWindowBits];

    constexpr RunDecodingTable() : steps(), events() {
        for (unsigned bits = 0; bits < 1U << runWindowBits; ++bits) {
            decode(bits);
        }
    }

private:
    constexpr void decode(unsigned bits) {
        std::uint64_t places = 0;
        std::uint64_t signs = 0;
        unsigned candidates = 0;
        unsigned length = 0;
        for (;;) {
            const unsigned next = bits >> length;
            const bool isEvent = (next & 1U) != 0;
            const unsigned passes = isEvent ? next >> 1 & ((1U << k) - 1) : 1U << k;
            const unsigned codeLength = isEvent ? k + 2 : 1;
            if (length + codeLength > runWindowBits || candidates + passes + isEvent > mostRunCandidates) {
                break;
            }
            candidates += passes;
            length += codeLength;
            if (isEvent) {
                places |= std::uint64_t{1} << candidates++;
                signs |= std::uint64_t{1} << (length - 1);
            }
        }
        steps[bits] = {static_cast<unsigned char>(length), static_cast<unsigned char>(candidates)};
        events[bits] = {signs | places << 16};
    }
};

template <int k>
inline constexpr RunDecodingTable<k> runDecodingTable;

} // namespace teko

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

// Fills a sub-stream, 64 bits at a time. It does not look for the end of the memory: sub-streams are as long as their
// segments can get (longestRunSegment, and refinements are counted), and have room for the eight bytes that are stored
// with the last bits. Without branches, because the lengths are not predictable (1.05 times on whole encodes of
// photographs).
class BitAppender {
public:
    void start(const SubStream& stream) {
        out = stream.bytes;
        end = stream.end;
        pending = 0;
        pendingBits = 0;
    }

    // bits < 2^n, n <= 64.
    void put(std::uint64_t bits, unsigned n) {
        assert(n <= 64 && (n == 64 || bits >> n == 0));
        assert(out + (pendingBits + n + 7) / 8 <= end);
        pending |= bits << pendingBits;
        storeLittleEndian(out, pending);
        const unsigned total = pendingBits + n;
        const std::uint64_t isFull = 0 - static_cast<std::uint64_t>(total >> 6); // a mask: a ?: becomes a branch
        const std::uint64_t spill = bits >> 1 >> (63 - pendingBits);
        pending = (pending & ~isFull) | (spill & isFull);
        out += total >> 6 << 3;
        pendingBits = total & 63;
    }

    void putZeros(std::uint64_t n) {
        for (; n > 32; n -= 32) {
            put(0, 32);
        }
        put(0, static_cast<unsigned>(n));
    }

    // Stores what is pending, with zeros above it, and counts the bits.
    void finish(SubStream& stream) const {
        storeLittleEndian(out, pending);
        stream.bits = 8 * static_cast<std::uint64_t>(out - stream.bytes) + pendingBits;
    }

private:
    unsigned char* out;
    [[maybe_unused]] const unsigned char* end; // for assertions
    std::uint64_t pending;
    unsigned pendingBits; // below 64
};

// Bit `plane` of every coefficient of a block that is significant.
inline void putRefinements(BitAppender& appender, const BitPlaneBlock& sliced, int plane) {
    BitAppender out = appender;
    for (int w = 0; w < sliced.words; ++w) {
        const std::uint64_t significant = sliced.significant[w];
        out.put(extractBits(sliced.plane(plane, w), significant), static_cast<unsigned>(countBits(significant)));
    }
    appender = out;
}

// The code of an event: the run before it in units of 2^k, a one, the rest of the run in k bits, the sign.
struct EventCode {
    static constexpr std::uint64_t mostUnits = 64 - largestRunLengthParameter - 2;

    std::uint64_t bits;
    unsigned length;

    // Of a run of at most mostUnits units.
    static EventCode of(std::uint64_t run, unsigned k, std::uint64_t sign) {
        const std::uint64_t units = run >> k;
        assert(units <= mostUnits && k <= largestRunLengthParameter && sign <= 1);
        const std::uint64_t rest = run & ((std::uint64_t{1} << k) - 1);
        return {(1 | rest << 1 | sign << (k + 1)) << units, static_cast<unsigned>(units) + k + 2};
    }
};

inline void putEvent(BitAppender& out, std::uint64_t run, unsigned k, std::uint64_t sign) {
    const std::uint64_t units = run >> k;
    if (units > EventCode::mostUnits) {
        out.putZeros(units);
        run -= units << k;
    }
    const EventCode code = EventCode::of(run, k, sign);
    out.put(code.bits, code.length);
}

// For k = 0 a segment is the bitmap of its candidates with a sign behind every one.
//
// Eight candidates with the gaps for their signs; the places of the signs are those of the ones, shifted by one.
struct GappedBytes {
    std::uint16_t code[256];

    constexpr GappedBytes() : code() {
        for (unsigned byte = 0; byte < 256; ++byte) {
            int place = 0;
            for (int i = 0; i < 8; ++i) {
                const unsigned bit = byte >> i & 1U;
                code[byte] = static_cast<std::uint16_t>(code[byte] | bit << place);
                place += bit != 0 ? 2 : 1;
            }
        }
    }
};

inline constexpr GappedBytes gappedBytes;

inline std::uint64_t denseCodeByTable(std::uint32_t candidates, std::uint64_t signs) {
    std::uint64_t code = 0;
    unsigned place = 0;
    for (unsigned i = 0; i < 32; i += 8) {
        const unsigned byte = candidates >> i & 0xFFU;
        code |= static_cast<std::uint64_t>(gappedBytes.code[byte]) << place;
        place += 8 + static_cast<unsigned>(countBits(byte));
    }
    return code | depositBits(signs, code << 1);
}

// Candidates at even places, a sign or a hole behind each; then without the holes (1.01 to 1.08 times on whole encodes
// of photographs, Zen 3).
inline std::uint64_t denseCodeByDeposit(std::uint32_t candidates, std::uint64_t signs) {
    constexpr std::uint64_t evenPlaces = 0x5555555555555555U;
    const std::uint64_t events = depositBits(candidates, evenPlaces);
    const std::uint64_t signPlaces = events << 1;
    return extractBits(events | depositBits(signs, signPlaces), evenPlaces | signPlaces);
}

// Appends n <= 32 candidates, each event with the next of the sign bits.
inline void putDense(BitAppender& out, std::uint32_t candidates, unsigned n, std::uint64_t signs) {
    assert(n <= 32 && std::uint64_t{candidates} >> n == 0);
    const std::uint64_t code =
        isDepositFast ? denseCodeByDeposit(candidates, signs) : denseCodeByTable(candidates, signs);
    out.put(code, n + static_cast<unsigned>(countBits(candidates)));
}

inline void putDenseWord(BitAppender& out, std::uint64_t candidates, unsigned n, std::uint64_t signs) {
    const auto low = static_cast<std::uint32_t>(candidates);
    if (n <= 32) {
        putDense(out, low, n, signs);
        return;
    }
    putDense(out, low, 32, signs);
    putDense(out, static_cast<std::uint32_t>(candidates >> 32), n - 32, signs >> countBits(low));
}

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
