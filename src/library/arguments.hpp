// SPDX-License-Identifier: Apache-2.0
// What the functions of teko.h are given, checked, and what they give back through it.
#pragma once

#include <teko/teko.h>

#include "library/callOptions.hpp"
#include "library/decoding.hpp"
#include "library/encoding.hpp"
#include "library/imageLayout.hpp"
#include "library/structures.hpp"

#include <cstddef>
#include <cstdint>

namespace teko::library {

// An image to be encoded, and how.
struct EncodeArguments {
    ImageLayout layout;
    CallOptions options;

    // TEKO_OK, or what is wrong with them.
    teko_status from(const teko_image* image, const teko_options* given);
};

// A file to be decoded, into what, and how.
struct DecodeArguments {
    FileHeader header;
    ImageLayout layout;
    CallOptions options;

    teko_status from(const void* file, std::size_t size, const teko_image* image, const teko_options* given);
};

inline bool isMissing(const ImageLayout& layout, const void* samples) {
    return samples == nullptr && !layout.isEmpty();
}

// Sets a caller's number where there is one to be set.
teko_status give(std::uint64_t value, std::size_t* to);

// What a caller may leave out.
inline bool isOutcome(const teko_outcome* outcome) {
    return outcome == nullptr || hasSize(outcome);
}
void giveUsed(std::size_t used, teko_outcome* outcome);

inline bool takesFile(const teko_buffer* file) {
    return file != nullptr && hasSize(file);
}

// A buffer of the caller's, of his size, and back.
template <typename Work>
teko_status withBuffer(teko_buffer* file, Work work) {
    teko_buffer own;
    if (!takeStructure(file, own)) {
        return TEKO_ERROR_ARGUMENT;
    }
    own.size = 0;
    const teko_status status = work(own);
    giveStructure(own, file);
    return status;
}

} // namespace teko::library
