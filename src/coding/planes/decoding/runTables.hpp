// The run codes of k = 2 and 3, several at a time by table: such segments hold most of the events that are not in
// dense ones, and taken one by one each event waits for the bits before it (1.1 times on decoding grey photographs).
#pragma once

#include <bit>
#include <cstdint>

namespace teko {

// The whole codes, and the zeros, at the bottom of so many bits of a segment.
constexpr int runWindowBits = 12;
constexpr unsigned mostRunCandidates = 48; // of one step

struct RunDecodingStep {
    std::uint64_t packed;

    // In bits. Lowest, where a shift by it needs nothing more: the next step waits for that.
    constexpr unsigned length() const { return static_cast<unsigned>(packed & 63U); }
    constexpr unsigned candidates() const { return static_cast<unsigned>(packed >> 6 & 63U); }
    constexpr std::uint64_t signs() const { return packed >> 12 & 15U; } // of the events, in order
    constexpr std::uint64_t events() const { return packed >> 16; }      // among the candidates
};

template <int k>
struct RunDecodingTable {
    RunDecodingStep steps[1 << runWindowBits];

    constexpr RunDecodingTable() : steps() {
        for (unsigned bits = 0; bits < 1U << runWindowBits; ++bits) {
            steps[bits] = step(bits);
        }
    }

private:
    static constexpr RunDecodingStep step(unsigned bits) {
        std::uint64_t events = 0;
        std::uint64_t signs = 0;
        unsigned candidates = 0;
        unsigned length = 0;
        for (int count = 0;;) {
            const unsigned next = bits >> length;
            const unsigned passes = (next & 1U) == 0 ? 1U << k : next >> 1 & ((1U << k) - 1);
            const unsigned codeLength = (next & 1U) == 0 ? 1 : 1 + k + 1;
            const unsigned taken = passes + (next & 1U);
            if (length + codeLength > runWindowBits || candidates + taken > mostRunCandidates) {
                break;
            }
            candidates += passes;
            if ((next & 1U) != 0) {
                events |= std::uint64_t{1} << candidates;
                signs |= static_cast<std::uint64_t>(next >> (1 + k) & 1U) << count;
                ++candidates;
                ++count;
            }
            length += codeLength;
        }
        return {length | std::uint64_t{candidates} << 6 | signs << 12 | events << 16};
    }
};

template <int k>
inline constexpr RunDecodingTable<k> runDecodingTable;

} // namespace teko
