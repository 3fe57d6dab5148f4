// SPDX-License-Identifier: Apache-2.0
#include "library/arguments.hpp"

#include <algorithm>
#include <limits>

namespace teko::library {

teko_status EncodeArguments::from(const teko_image* image, const teko_options* given) {
    teko_status status = ImageLayout::from(image, layout);
    if (status == TEKO_OK) {
        status = CallOptions::from(given, options);
    }
    return status == TEKO_OK ? Encoding::check(layout, options) : status;
}

teko_status DecodeArguments::from(const void* file, std::size_t size, const teko_image* image,
                                  const teko_options* given) {
    if (file == nullptr) {
        return TEKO_ERROR_ARGUMENT;
    }
    teko_status status = readHeader(file, size, header);
    if (status == TEKO_OK) {
        status = ImageLayout::from(image, layout, ImageLayout::Bits::ofTheFile);
    }
    if (status == TEKO_OK) {
        status = CallOptions::from(given, options);
    }
    return status == TEKO_OK ? Decoding::check(header, size, layout, options) : status;
}

teko_status give(std::uint64_t value, std::size_t* to) {
    if (to == nullptr) {
        return TEKO_ERROR_ARGUMENT;
    }
    *to = static_cast<std::size_t>(std::min<std::uint64_t>(value, std::numeric_limits<std::size_t>::max()));
    return TEKO_OK;
}

void giveUsed(std::size_t used, teko_outcome* outcome) {
    if (outcome != nullptr) {
        giveStructure(teko_outcome{sizeof(teko_outcome), used}, outcome);
    }
}

} // namespace teko::library
