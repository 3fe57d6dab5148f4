// SPDX-License-Identifier: Apache-2.0
// Structures that carry their own size, from and to callers of another version.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace teko::library {

// Takes a caller's structure; fields that it has not are 0. Returns false where it has fields that this library does
// not know, and they are not 0, or less than its own size.
template <typename Structure>
bool takeStructure(const Structure* from, Structure& to) {
    std::size_t size = 0;
    std::memcpy(&size, from, sizeof size);
    if (size < sizeof size) {
        return false;
    }
    to = Structure{};
    std::memcpy(&to, from, std::min(size, sizeof to));
    const auto* const bytes = reinterpret_cast<const unsigned char*>(from);
    return std::all_of(bytes + std::min(size, sizeof to), bytes + size, [](unsigned char byte) { return byte == 0; });
}

// Gives a structure to a caller who has set its size: as much as he knows of.
template <typename Structure>
void giveStructure(Structure from, Structure* to) {
    std::memcpy(&from, to, sizeof(std::size_t));
    std::size_t size = 0;
    std::memcpy(&size, to, sizeof size);
    std::memcpy(to, &from, std::min(size, sizeof from));
}

// Whether a caller's structure says how long it is.
template <typename Structure>
bool hasSize(const Structure* structure) {
    std::size_t size = 0;
    std::memcpy(&size, structure, sizeof size);
    return size >= sizeof size;
}

} // namespace teko::library
