// Run codes of short units (k = 2 and 3), several at a time by table. Such segments hold a third of a photograph's
// events, and taken one by one each event costs a misprediction or a wait for the bits before it.
#pragma once

#include <bit>
#include <cstdint>

namespace teko {

constexpr bool hasRunTables(int k) {
    return k == 2 || k == 3;
}

// Encoding: what eight candidates append to a segment when `passes` have gone by since the last unit or event.
struct RunEncodingStep {
    std::uint32_t code;  // with zeros in the places of signs
    std::uint32_t signs; // those places
    std::uint8_t length; // in bits; tooLong where the code does not fit
    std::uint8_t passes; // afterwards

    static constexpr std::uint8_t tooLong = 255;
};

template <int k>
struct RunEncodingTable {
    RunEncodingStep steps[1 << k][256];

    constexpr RunEncodingTable() : steps() {
        for (unsigned passes = 0; passes < 1U << k; ++passes) {
            for (unsigned events = 0; events < 256; ++events) {
                steps[passes][events] = step(passes, events);
            }
        }
    }

private:
    static constexpr RunEncodingStep step(unsigned passes, unsigned events) {
        std::uint64_t code = 0;
        std::uint64_t signs = 0;
        unsigned length = 0;
        for (int i = 0; i < 8; ++i) {
            if ((events >> i & 1U) != 0) {
                code |= (std::uint64_t{1} | std::uint64_t{passes} << 1) << length;
                signs |= std::uint64_t{1} << (length + 1 + k);
                length += 1 + k + 1;
                passes = 0;
            } else if (++passes == 1U << k) {
                ++length;
                passes = 0;
            }
        }
        const bool fits = length <= 32;
        return {static_cast<std::uint32_t>(code & 0xFFFFFFFFU), static_cast<std::uint32_t>(signs & 0xFFFFFFFFU),
                fits ? static_cast<std::uint8_t>(length) : RunEncodingStep::tooLong, static_cast<std::uint8_t>(passes)};
    }
};

template <int k>
inline constexpr RunEncodingTable<k> runEncodingTable;

// Decoding: the whole codes, and the zeros, at the bottom of so many bits of a segment.
constexpr int runWindowBits = 11;
constexpr unsigned mostRunCandidates = 48; // of one step

struct RunDecodingStep {
    std::uint64_t packed;

    constexpr std::uint64_t events() const { return packed & 0xFFFFFFFFFFFFU; } // among the candidates
    constexpr unsigned candidates() const { return static_cast<unsigned>(packed >> 48 & 63U); }
    constexpr unsigned length() const { return static_cast<unsigned>(packed >> 54 & 15U); } // in bits
    constexpr std::uint64_t signs() const { return packed >> 58; }                          // of the events, in order
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
        return {events | std::uint64_t{candidates} << 48 | std::uint64_t{length} << 54 | signs << 58};
    }
};

template <int k>
inline constexpr RunDecodingTable<k> runDecodingTable;

} // namespace teko
