// SPDX-License-Identifier: Apache-2.0
// Images to files in memory.
#pragma once

#include <teko/teko.h>

#include "codec/imageEncoder.hpp"
#include "library/callOptions.hpp"
#include "library/imageLayout.hpp"
#include "library/layoutRows.hpp"

#include <optional>

namespace teko::library {

// One image, row after row. Whoever calls it has named the memory of its options.
class Encoding {
public:
    // TEKO_OK, or why such an image cannot be encoded with these options; nothing is allocated.
    static teko_status check(const ImageLayout& layout, const CallOptions& options);

    // Of what has been checked. Throws std::bad_alloc.
    Encoding(const ImageLayout& imageLayout, const CallOptions& callOptions);

    int rowsLeft() const { return encoder->rowsLeft(); }
    teko_status start();
    teko_status take(const void* samples, int rows);
    // After the last row, once. `samples` is the image, for a trial; null where it is not there any more.
    teko_status finish(const void* samples, teko_buffer& file);

private:
    struct Made {
        teko_status status;
        std::size_t size;
    };

    teko_status finishInOwn(const void* samples, teko_buffer& file);
    std::optional<Made> foreseen() const;
    Made encodeInto(unsigned char* file, std::size_t capacity);
    Made endOfComplete(std::uint64_t bits) const;
    bool comesBack(const void* samples, const unsigned char* file, std::size_t size);

    ImageLayout layout;
    CallOptions options;
    std::size_t wanted; // the most bytes of the file
    std::optional<ImageEncoder> encoder;
    LayoutSource source;
    bool isProved = false; // that a complete file decodes to the samples
};

// Gives back a file that `finish` has allocated.
void releaseFile(CallerMemory& memory, teko_buffer& file);

// By the program's rule, header included; 0 where the rate gives no number of bytes, or none that is addressable.
std::size_t budgetAtRate(const ImageLayout& layout, double rate);

} // namespace teko::library
