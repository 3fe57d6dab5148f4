// SPDX-License-Identifier: Apache-2.0
// Words of 64 bits in memory, the least significant byte first and at any address.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace teko {

// Reads eight bytes.
inline std::uint64_t loadLittleEndian(const unsigned char* from) {
    std::uint64_t value = 0;
    if constexpr (std::endian::native == std::endian::big) {
        for (int i = 0; i < 8; ++i) {
            value |= static_cast<std::uint64_t>(from[i]) << (8 * i);
        }
    } else {
        std::memcpy(&value, from, sizeof value);
    }
    return value;
}

// Writes eight bytes.
inline void storeLittleEndian(unsigned char* to, std::uint64_t value) {
    if constexpr (std::endian::native == std::endian::big) {
        for (int i = 0; i < 8; ++i) {
            to[i] = static_cast<unsigned char>(value >> (8 * i) & 0xFFU);
        }
    } else {
        std::memcpy(to, &value, sizeof value);
    }
}

} // namespace teko
