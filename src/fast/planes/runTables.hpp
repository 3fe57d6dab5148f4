// SPDX-License-Identifier: Apache-2.0
// The run codes of k = 2 and 3, several at a time by table: such segments hold most of the events that are not in
// dense ones, and taken one by one each event waits for the bits before it (1.1 times on decoding grey photographs).
#pragma once

#include <bit>
#include <cstdint>

namespace teko {

// The whole codes, and the zeros, at the bottom of so many bits of a segment.
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
