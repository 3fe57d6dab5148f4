// SPDX-License-Identifier: Apache-2.0
// What a file holds.
#pragma once

#include <cstdint>
#include <vector>

namespace teko {

using Bytes = std::vector<std::uint8_t>;

inline Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// The first `count` bytes, or all of them if there are fewer.
inline Bytes prefix(const Bytes& bytes, std::size_t count) {
    return {bytes.begin(), bytes.size() <= count ? bytes.end() : bytes.begin() + static_cast<std::ptrdiff_t>(count)};
}

} // namespace teko
