// SPDX-License-Identifier: Apache-2.0
// The dictionary at the head of a .npy.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tekoimg {

struct NpyHeader {
    std::string type; // "<u2"
    bool isFortranOrder = false;
    std::vector<std::uint32_t> shape; // sides too large for 32 bits are the largest number
};

// Takes a dictionary with just these three keys, in any order. Throws Failure for everything else.
NpyHeader parseNpyHeader(std::string_view text);

} // namespace tekoimg
