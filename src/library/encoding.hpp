// SPDX-License-Identifier: Apache-2.0
// Images to files in memory: what a call that encodes is given, checked, and the encoding itself. For teko_encode and
// the functions of teko_encoder.
#pragma once

#include <teko/teko.h>

#include "codec/imageEncoder.hpp"
#include "library/call.hpp"
#include "library/imageLayout.hpp"

#include <optional>

namespace teko::library {

// An image to be encoded, and how.
struct EncodeArguments {
    ImageLayout layout;
    CallOptions options;
    std::size_t wanted; // the most bytes of the file, from smallestFile on

    // Sets all fields. Returns TEKO_OK, or why such an image cannot be encoded with these options: TEKO_ERROR_ARGUMENT,
    // _KIND, _SHAPE, _TARGET, _REDUCE, _BUDGET, _MAX_SAMPLES or _MAX_MEMORY. Allocates nothing.
    teko_status from(const teko_image* image, const teko_options* given);
};

// One image on its way into a file, row after row: start, take for all rows in one portion or several, finish. Whoever
// takes a step has named the memory of the options, and takes no other once one has failed.
class Encoding {
public:
    // Of arguments whose `from` was TEKO_OK. Throws std::bad_alloc.
    explicit Encoding(const EncodeArguments& arguments);

    // Rows of the image that have not been taken.
    int rowsLeft() const { return encoder->rowsLeft(); }
    // Takes the memory of the image. Returns TEKO_OK or TEKO_ERROR_OUT_OF_MEMORY.
    teko_status start();
    // Takes the next `rows` rows, 0 to rowsLeft(), the first of which has its first sample at `samples`. Returns
    // TEKO_OK or TEKO_ERROR_OUT_OF_MEMORY.
    teko_status take(const void* samples, int rows);
    // After the last row, once: makes the file, in the buffer's memory, else in the caller's place, else in new memory
    // that is the caller's from then on. Sets the buffer's size, and the other fields of one without memory. `samples`
    // is the image, to compare with where a trial is needed; null where it is not there any more. Returns TEKO_OK,
    // TEKO_CUT or TEKO_INEXACT, or TEKO_ERROR_BUDGET, _BUFFER, _RANGE or _OUT_OF_MEMORY. Throws std::bad_alloc.
    teko_status finish(const void* samples, teko_buffer& file);

private:
    // A file, or why there is none.
    struct Made {
        teko_status status;
        std::size_t size;
    };

    teko_status finishInOwn(const void* samples, teko_buffer& file);
    std::optional<Made> foreseen() const;
    Made makeFile(const void* samples, unsigned char* file, std::size_t capacity);
    Made encodeInto(unsigned char* file, std::size_t capacity);
    Made endOfComplete(std::uint64_t bits) const;
    bool comesBack(const void* samples, const unsigned char* file, std::size_t size);

    EncodeArguments call;
    std::optional<ImageEncoder> encoder; // goes before a trial
    LayoutSource source;
    bool isProved = false; // that a complete file decodes to the samples
};

// Gives back the memory of a file that `finish` has allocated, unless it is a place of the caller's, and empties the
// buffer.
void releaseFile(CallerMemory& memory, teko_buffer& file);

} // namespace teko::library
