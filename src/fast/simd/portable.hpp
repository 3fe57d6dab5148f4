// SPDX-License-Identifier: Apache-2.0
// Bits in standard C++.
#pragma once

#include "fast/simd/forTarget.hpp"

#include <cstdint>

TEKO_TARGET_BEGIN

namespace teko::TEKO_TARGET_NAMESPACE {

namespace {

constexpr bool isDepositFast = false;

// By adding neighbouring fields: without an instruction for it, the library's own function is a call.
inline int countBits(std::uint64_t value) {
    value -= value >> 1 & 0x5555555555555555U;
    value = (value & 0x3333333333333333U) + (value >> 2 & 0x3333333333333333U);
    value = (value + (value >> 4)) & 0x0F0F0F0F0F0F0F0FU;
    return static_cast<int>(value * 0x0101010101010101U >> 56);
}

// Extraction and deposit of six bits, by [mask][value].
struct SixBits {
    std::uint8_t count[64];
    std::uint8_t extracted[64][64];
    std::uint8_t deposited[64][64];

    inline constexpr SixBits() : count(), extracted(), deposited() {
        for (unsigned mask = 0; mask < 64; ++mask) {
            for (unsigned i = 0; i < 6; ++i) {
                if ((mask >> i & 1U) == 0) {
                    continue;
                }
                for (unsigned value = 0; value < 64; ++value) {
                    const unsigned rank = count[mask];
                    extracted[mask][value] =
                        static_cast<std::uint8_t>(extracted[mask][value] | (value >> i & 1U) << rank);
                    deposited[mask][value] =
                        static_cast<std::uint8_t>(deposited[mask][value] | (value >> rank & 1U) << i);
                }
                ++count[mask];
            }
        }
    }
};

inline constexpr SixBits sixBits;

// The bits of value at the set places of mask, moved together at the bottom. By table: a loop over single bits ends
// where no predictor expects it.
inline std::uint64_t extractBits(std::uint64_t value, std::uint64_t mask) {
    std::uint64_t result = 0;
    unsigned taken = 0;
    value &= mask;
    for (; value != 0; value >>= 6, mask >>= 6) {
        result |= std::uint64_t{sixBits.extracted[mask & 63][value & 63]} << taken;
        taken += sixBits.count[mask & 63];
    }
    return result;
}

// The lowest bits of value, moved to the set places of mask.
inline std::uint64_t depositBits(std::uint64_t value, std::uint64_t mask) {
    std::uint64_t result = 0;
    for (unsigned shift = 0; mask != 0 && value != 0; shift += 6, mask >>= 6) {
        result |= std::uint64_t{sixBits.deposited[mask & 63][value & 63]} << shift;
        value >>= sixBits.count[mask & 63];
    }
    return result;
}

// Transposes a matrix of 8 x 8 bits, one byte a row: exchanges neighbouring bits across the diagonal, then squares of
// two by two, then of four by four.
// Source: H. S. Warren, Hacker's Delight, 2nd ed., section 7-3.
inline std::uint64_t transpose8x8(std::uint64_t m) {
    std::uint64_t t = (m ^ m >> 7) & 0x00AA00AA00AA00AAU;
    m ^= t ^ t << 7;
    t = (m ^ m >> 14) & 0x0000CCCC0000CCCCU;
    m ^= t ^ t << 14;
    t = (m ^ m >> 28) & 0x00000000F0F0F0F0U;
    return m ^ t ^ t << 28;
}

// Eight bytes, the first lowest.
inline std::uint64_t groupOfBytes(const unsigned char* bytes) {
    std::uint64_t group = 0;
    for (int i = 0; i < 8; ++i) {
        group |= static_cast<std::uint64_t>(bytes[i]) << (8 * i);
    }
    return group;
}

// words[b] gets bit b of 64 bytes, for b = 0 .. 7.
inline void sliceBytes(const unsigned char* bytes, std::uint64_t* words) {
    std::uint64_t rows[8];
    for (int i = 0; i < 8; ++i) {
        rows[i] = transpose8x8(groupOfBytes(bytes + 8 * i));
    }
    for (int b = 0; b < 8; ++b) {
        words[b] = 0;
        for (int i = 0; i < 8; ++i) {
            words[b] |= (rows[i] >> (8 * b) & 0xFFU) << (8 * i);
        }
    }
}

// Which of 64 bytes have bit `lowest` or a higher one: adding 127 to seven bits carries where one is set. The product
// then moves the lowest bit of byte i to bit 56 + i, and no two of its terms meet.
inline std::uint64_t bytesReaching(const unsigned char* bytes, int lowest) {
    constexpr std::uint64_t ones = 0x0101010101010101U;
    std::uint64_t result = 0;
    for (int i = 0; i < 8; ++i) {
        const std::uint64_t group = groupOfBytes(bytes + 8 * i) & ones * (0xFFU << lowest & 0xFFU);
        const std::uint64_t set = (((group & ones * 0x7F) + ones * 0x7F) | group) >> 7 & ones;
        result |= (set * 0x0102040810204080U >> 56) << (8 * i);
    }
    return result;
}

// bytes[i] gets bit i of eight words, for the 64 places in each.
inline void unsliceBytes(const std::uint64_t* words, unsigned char* bytes) {
    for (int i = 0; i < 8; ++i) {
        std::uint64_t rows = 0;
        for (int b = 0; b < 8; ++b) {
            rows |= (words[b] >> (8 * i) & 0xFFU) << (8 * b);
        }
        const std::uint64_t group = transpose8x8(rows);
        for (int j = 0; j < 8; ++j) {
            bytes[8 * i + j] = static_cast<unsigned char>(group >> (8 * j) & 0xFFU);
        }
    }
}

constexpr int unslicedAtOnce = 1;

// 64 bytes for each of unslicedAtOnce words from w on: bit b is from rows[b].
template <typename RowWord>
void unsliceRows(const RowWord* const* rows, int w, unsigned char* bytes) {
    std::uint64_t bits[8];
    for (int b = 0; b < 8; ++b) {
        bits[b] = rows[b][w];
    }
    unsliceBytes(bits, bytes);
}

} // namespace

} // namespace teko::TEKO_TARGET_NAMESPACE

TEKO_TARGET_END
