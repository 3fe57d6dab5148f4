// SPDX-License-Identifier: Apache-2.0
// Headers in bytes.
#pragma once

#include "codec/fileHeader.hpp"
#include "support/bytes.hpp"

#include <algorithm>

namespace teko {

// Of a file; bytes that are missing count as 0.
inline FileHeader headerOf(const Bytes& file) {
    std::array<unsigned char, FileHeader::bytes> raw{};
    std::copy_n(file.begin(), std::min(file.size(), raw.size()), raw.begin());
    return FileHeader::parse(raw);
}

inline Bytes bytesOf(const FileHeader& header) {
    const auto raw = header.format();
    return {raw.begin(), raw.end()};
}

} // namespace teko
