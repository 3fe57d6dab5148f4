// SPDX-License-Identifier: Apache-2.0
// The functions of <teko/teko.h>, but for teko_compare (comparison.cpp) and those of encoders and decoders
// (handles.cpp). Each checks what it is given, names the memory of the call, and throws nothing.
#include <teko/teko.h>

#include "library/bounds.hpp"
#include "library/decoding.hpp"
#include "library/encoding.hpp"
#include "wavelet/levels.hpp"

#include <algorithm>

using namespace teko::library;

extern "C" {

uint32_t teko_version(void) noexcept {
    return TEKO_VERSION;
}

const char* teko_status_text(teko_status status) noexcept {
    switch (status) {
    case TEKO_OK:
        return "all is there";
    case TEKO_CUT:
        return "the image is an approximation: a part of its stream is not there";
    case TEKO_INEXACT:
        return "the file is complete, but decodes to other samples than those that went in";
    case TEKO_DAMAGED:
        return "the file is damaged: its stream says what no encoder writes";
    case TEKO_ERROR_ARGUMENT:
        return "an argument is null, of no known size, out of its range, or overlaps another one";
    case TEKO_ERROR_KIND:
        return "there is no such kind of image";
    case TEKO_ERROR_SHAPE:
        return "the image is too large, or one sample wide or high";
    case TEKO_ERROR_NOT_TEKO:
        return "this is no teko file";
    case TEKO_ERROR_TOO_SHORT:
        return "the file is too short: a description takes 10 bytes, an image 14";
    case TEKO_ERROR_BUDGET:
        return "the budget is too small: a file takes 14 bytes at least";
    case TEKO_ERROR_BUFFER:
        return "the buffer is too small for the file";
    case TEKO_ERROR_RANGE:
        return "the image's coefficients have no place in a file";
    case TEKO_ERROR_MAX_SAMPLES:
        return "the image has more samples than teko_options.max_samples allows";
    case TEKO_ERROR_MAX_MEMORY:
        return "the call needs more memory than teko_options.max_memory allows";
    case TEKO_ERROR_OUT_OF_MEMORY:
        return "there is no memory";
    case TEKO_ERROR_REDUCE:
        return "the image has fewer levels than teko_options.reduce asks for";
    case TEKO_ERROR_MISMATCH:
        return "the description does not fit the other image, or the file";
    case TEKO_ERROR_ORDER:
        return "more or fewer rows than the image has, or a call after one that failed";
    case TEKO_ERROR_TARGET:
        return "there is no target of that name, or not on this processor";
    }
    return "no status of this library";
}

const char* teko_target(void) noexcept {
    return teko::nameOf(bestTargetHere());
}

teko_status teko_describe(const void* file, size_t size, teko_image* image) noexcept {
    if (file == nullptr || image == nullptr || !hasSize(image)) {
        return TEKO_ERROR_ARGUMENT;
    }
    teko::FileHeader header;
    const teko_status status = readHeader(file, size, header);
    if (status != TEKO_OK) {
        return status;
    }
    teko_image described{};
    const int mostBits = 8 * teko::imageKindOf(header.bytesPerPixel)->bytesPerSample;
    described.kind = header.bytesPerPixel;
    described.bits = header.bitsPerPixel > mostBits ? 0 : header.bitsPerPixel;
    described.width = header.xsize;
    described.height = header.ysize;
    giveStructure(described, image);
    return TEKO_OK;
}

uint32_t teko_levels(const teko_image* image) noexcept {
    ImageLayout layout;
    if (ImageLayout::from(image, layout) != TEKO_OK) {
        return 0;
    }
    return static_cast<uint32_t>(std::max(0, teko::numberOfLevels(layout.width, layout.height)));
}

uint32_t teko_reduced(uint32_t side, uint32_t reduce) noexcept {
    return reduce > 31 ? (side > 0 ? 1 : 0)
                       : static_cast<uint32_t>((uint64_t{side} + (uint64_t{1} << reduce) - 1) >> reduce);
}

teko_status teko_bound(const teko_image* image, size_t* bytes) noexcept {
    ImageLayout layout;
    const teko_status status = ImageLayout::from(image, layout);
    return status == TEKO_OK ? give(fileBound(layout), bytes) : status;
}

teko_status teko_budget(const teko_image* image, double rate, size_t* bytes) noexcept {
    ImageLayout layout;
    const teko_status status = ImageLayout::from(image, layout);
    if (status != TEKO_OK) {
        return status;
    }
    const size_t budget = budgetAtRate(layout, rate);
    return budget != 0 ? give(budget, bytes) : TEKO_ERROR_ARGUMENT;
}

teko_status teko_encode(const teko_image* image, const void* samples, teko_buffer* file,
                        const teko_options* options) noexcept {
    return withBuffer(file, [&](teko_buffer& own) {
        EncodeArguments call;
        const teko_status status = call.from(image, options);
        if (status != TEKO_OK) {
            return status;
        }
        if (call.layout.lacks(samples) ||
            (own.data != nullptr &&
             Extent::of(own.data, own.capacity).overlaps(call.layout.extent(samples, call.layout.height)))) {
            return TEKO_ERROR_ARGUMENT;
        }
        return inMemoryOf(call.options.memory, [&] {
            Encoding encoding(call);
            teko_status ended = encoding.start();
            if (ended == TEKO_OK) {
                ended = encoding.take(samples, call.layout.height);
            }
            return ended == TEKO_OK ? encoding.finish(samples, own) : ended;
        });
    });
}

void teko_release(teko_buffer* file, const teko_options* options) noexcept {
    CallOptions taken;
    if (file == nullptr || file->data == nullptr) {
        return;
    }
    CallerMemory memory = CallOptions::from(options, taken) == TEKO_OK ? taken.memory : CallerMemory();
    releaseFile(memory, *file);
}

teko_status teko_decode(const void* file, size_t size, const teko_image* image, void* samples,
                        const teko_options* options, teko_outcome* outcome) noexcept {
    DecodeArguments call;
    const teko_status status = isOutcome(outcome) ? call.from(file, size, image, options) : TEKO_ERROR_ARGUMENT;
    if (status != TEKO_OK) {
        return status;
    }
    if (call.layout.lacks(samples) ||
        Extent::of(file, size).overlaps(call.layout.extent(samples, call.layout.height))) {
        return TEKO_ERROR_ARGUMENT;
    }
    return inMemoryOf(call.options.memory, [&] {
        Decoding decoding(call);
        std::size_t used = 0;
        const teko_status read = decoding.read(file, size, used);
        const teko_status given = read >= 0 ? decoding.give(samples, call.layout.height) : read;
        if (given < 0) {
            return given;
        }
        giveUsed(used, outcome);
        return read;
    });
}

teko_status teko_cut(const void* file, size_t size, size_t bytes, size_t* kept) noexcept {
    if (file == nullptr || kept == nullptr) {
        return TEKO_ERROR_ARGUMENT;
    }
    teko::FileHeader header;
    const teko_status status = readHeader(file, size, header);
    if (status != TEKO_OK || size < smallestFile) {
        return status != TEKO_OK ? status : TEKO_ERROR_TOO_SHORT;
    }
    if (bytes < smallestFile) {
        return TEKO_ERROR_BUDGET;
    }
    const size_t most = std::min(size, bytes);
    *kept = most - (most - teko::FileHeader::bytes) % 4;
    return TEKO_OK;
}

teko_status teko_encode_memory(const teko_image* image, const teko_options* options, uint64_t* bytes) noexcept {
    ImageLayout layout;
    CallOptions taken;
    teko_status status = bytes != nullptr ? ImageLayout::from(image, layout) : TEKO_ERROR_ARGUMENT;
    if (status == TEKO_OK) {
        status = CallOptions::from(options, taken);
    }
    if (status == TEKO_OK) {
        *bytes = encodeMemoryBound(layout, taken.target);
    }
    return status;
}

teko_status teko_decode_memory(const void* file, size_t size, const teko_options* options, uint64_t* bytes) noexcept {
    teko_image image{sizeof image, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    CallOptions taken;
    ImageLayout layout;
    teko_status status = bytes != nullptr ? teko_describe(file, size, &image) : TEKO_ERROR_ARGUMENT;
    if (status == TEKO_OK) {
        status = CallOptions::from(options, taken);
    }
    if (status == TEKO_OK) {
        status = ImageLayout::from(&image, layout);
    }
    if (status == TEKO_OK) {
        *bytes = decodeMemoryBound(layout, taken.target);
    }
    return status;
}

} // extern "C"
