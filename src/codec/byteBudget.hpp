// SPDX-License-Identifier: Apache-2.0
// How long files are.
#pragma once

#include "codec/fileHeader.hpp"
#include "coding/bitStreamer.hpp"

#include <cstdint>
#include <optional>

namespace teko {

// Bytes that the coded stream may take in a file of at most rate * (raw image size), header included: never
// negative. Nothing when rate * size is no number of bytes: the size is a 32-bit product that wraps, and the rate may
// be NaN.
std::optional<std::uint64_t> byteBudget(const FileHeader& header, float rate);

// Bytes of a memory writer of that many that belong to the stream, once it has been written to its end or to that of
// the memory: a partial word that found no room does not.
template <typename Word>
std::uint64_t payloadBytes(const BasicBitStreamer<Word>& out, std::uint64_t budget) {
    const auto bytes = static_cast<std::uint64_t>((out.bitCount() + 7) / 8);
    return bytes < budget ? bytes : budget;
}

} // namespace teko
