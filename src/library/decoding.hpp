// SPDX-License-Identifier: Apache-2.0
// Files in memory to images: what a call that decodes is given, checked, and the decoding itself. For teko_decode, the
// functions of teko_decoder, and whatever asks for a file's header.
#pragma once

#include <teko/teko.h>

#include "codec/imageDecoder.hpp"
#include "library/call.hpp"
#include "library/imageLayout.hpp"

namespace teko::library {

// Sets the header of a file of which `size` bytes are there, as far as it has one; `file` is not null. Returns TEKO_OK,
// TEKO_ERROR_NOT_TEKO, TEKO_ERROR_TOO_SHORT or TEKO_ERROR_KIND.
teko_status readHeader(const void* file, std::size_t size, FileHeader& header);

// A file to be decoded, into what, and how.
struct DecodeArguments {
    FileHeader header;
    ImageLayout layout; // of the result, which options may have reduced
    CallOptions options;

    // Sets all fields. Returns TEKO_OK, or why such a file cannot be decoded into such memory: TEKO_ERROR_ARGUMENT,
    // _KIND, _SHAPE, _NOT_TEKO, _TOO_SHORT, _TARGET, _REDUCE, _MISMATCH, _MAX_SAMPLES or _MAX_MEMORY. Allocates
    // nothing.
    teko_status from(const void* file, std::size_t size, const teko_image* image, const teko_options* given);
};

// One file on its way into an image, row after row: read, then give for all rows in one portion or several. Whoever
// takes a step has named the memory of the options, and takes no other once one has failed.
class Decoding {
public:
    // Of arguments whose `from` was TEKO_OK. Throws std::bad_alloc.
    explicit Decoding(const DecodeArguments& call);

    // Reads the whole file, the one that has been checked, once; it is not needed afterwards. Sets the bytes of it that
    // are used. Returns TEKO_OK, TEKO_CUT or TEKO_DAMAGED, or TEKO_ERROR_TOO_SHORT, _SHAPE or _OUT_OF_MEMORY.
    teko_status read(const void* file, std::size_t size, std::size_t& used);
    // Writes the next `rows` rows, 0 to rowsLeft(), from their first sample on. Returns TEKO_OK or
    // TEKO_ERROR_OUT_OF_MEMORY.
    teko_status give(void* samples, int rows);
    // Rows of the result that have not been given.
    int rowsLeft() const { return decoder.rowsLeft(); }

private:
    ImageDecoder decoder;
    LayoutSink sink;
};

} // namespace teko::library
