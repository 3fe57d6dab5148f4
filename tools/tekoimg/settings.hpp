// SPDX-License-Identifier: Apache-2.0
// What the command line asks for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tekoimg {

struct Settings {
    std::vector<std::string> inputs;
    std::string output; // empty: beside the inputs
    std::string format; // of decoded images; empty: by the name, else PNG
    std::optional<std::uint64_t> bytes;
    std::optional<double> rate;    // of the raw size
    std::optional<double> percent; // of the file's size
    std::uint32_t bits = 0;        // 0: as the image says
    std::uint32_t maxval = 0;      // 0: as the bits say
    std::uint32_t size = 256;      // of thumbnails
    std::uint64_t memory = 0;      // 0: the library's limit
    unsigned jobs = 1;             // 0: as many as there are processors
    bool isSigned = false;
    bool isStrict = false;
    bool isForced = false;
    bool isQuiet = false;
    bool isSalvaged = false; // damaged files too
    bool isUnverified = false;
};

} // namespace tekoimg
