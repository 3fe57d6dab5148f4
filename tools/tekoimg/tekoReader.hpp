// SPDX-License-Identifier: Apache-2.0
// The image of a .tk, row by row.
#pragma once

#include "image.hpp"
#include "source.hpp"

#include <optional>

namespace tekoimg {

struct TekoReading {
    bool isSigned = false;
    std::uint32_t reduce = 0;    // halvings, at most as many as the image has levels
    std::uint64_t maxMemory = 0; // bytes; 0: the library's own limit
};

class TekoReader final : public ImageReader {
public:
    TekoReader(Source& source, const TekoReading& reading);
    // Of a file in memory, which need not stay.
    TekoReader(std::span<const std::byte> file, const TekoReading& reading);

    void read(std::byte* row) override;

    // TEKO_OK, TEKO_CUT or TEKO_DAMAGED.
    teko_status status() const { return decoder->outcome().status; }
    std::size_t fileBytes() const { return bytes; }
    // Those that follow a complete image.
    std::size_t bytesBehind() const { return status() == TEKO_OK ? bytes - decoder->outcome().used : 0; }

private:
    void open(std::span<const std::byte> file, const TekoReading& reading);

    std::size_t bytes = 0;
    std::optional<teko::Decoder> decoder;
};

// Makes what the library refuses a sentence with a cure.
[[noreturn]] void failWith(const teko::Error& error);

} // namespace tekoimg
