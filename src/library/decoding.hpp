// SPDX-License-Identifier: Apache-2.0
// Files in memory to images.
#pragma once

#include <teko/teko.h>

#include "codec/imageDecoder.hpp"
#include "library/callOptions.hpp"
#include "library/imageLayout.hpp"
#include "library/layoutRows.hpp"

namespace teko::library {

// A file's header, as far as it has one. Returns TEKO_OK, TEKO_ERROR_NOT_TEKO, TEKO_ERROR_TOO_SHORT, TEKO_ERROR_KIND.
teko_status readHeader(const void* file, std::size_t size, FileHeader& header);

// One file, row after row. Whoever calls it has named the memory of its options.
class Decoding {
public:
    // TEKO_OK, or why such a file cannot be decoded into such memory; nothing is allocated.
    static teko_status check(const FileHeader& header, std::size_t size, const ImageLayout& layout,
                             const CallOptions& options);

    // Of what has been checked. Throws std::bad_alloc.
    Decoding(const FileHeader& header, const ImageLayout& imageLayout, const CallOptions& options);

    // Reads the whole file, once. Ends with TEKO_OK, TEKO_CUT, TEKO_DAMAGED or an error.
    teko_status read(const unsigned char* file, std::size_t size, std::size_t& used);
    // Then: gives the next rows.
    teko_status give(void* samples, int rows);
    int rowsLeft() const { return decoder.rowsLeft(); }

private:
    ImageDecoder decoder;
    LayoutSink sink;
};

} // namespace teko::library
