// SPDX-License-Identifier: Apache-2.0
#include "library/decoding.hpp"

#include "library/bounds.hpp"
#include "wavelet/levels.hpp"

#include <array>

namespace teko::library {

namespace {

// The image as it is in the file, packed.
ImageLayout layoutIn(const FileHeader& header) {
    ImageLayout layout{};
    layout.kind = imageKindOf(header.bytesPerPixel);
    layout.width = header.xsize;
    layout.height = header.ysize;
    return layout;
}

// The most bytes that decoding such a file may allocate: a file of a few bytes must not ask for many gigabytes unless
// the caller allows it.
std::uint64_t memoryLimit(const CallOptions& options, std::size_t fileBytes) {
    constexpr std::uint64_t always = std::uint64_t{1} << 30;
    constexpr std::uint64_t timesTheFile = 64;
    return options.maxMemory != 0 ? options.maxMemory : std::max(always, timesTheFile * fileBytes);
}

// Whether a file of that header and size may be decoded into such memory: TEKO_OK, or why not.
teko_status checked(const DecodeArguments& call, std::size_t size) {
    const FileHeader& header = call.header;
    const int halvings = call.options.halvings;
    if (halvings > std::max(0, numberOfLevels(header.xsize, header.ysize))) {
        return TEKO_ERROR_REDUCE;
    }
    if (call.layout.kind->bytesPerPixel != header.bytesPerPixel ||
        call.layout.width != reducedSide(header.xsize, halvings) ||
        call.layout.height != reducedSide(header.ysize, halvings)) {
        return TEKO_ERROR_MISMATCH;
    }
    if (!call.layout.isApart()) {
        return TEKO_ERROR_ARGUMENT;
    }
    if (size < smallestFile) {
        return TEKO_ERROR_TOO_SHORT;
    }
    const ImageLayout whole = layoutIn(header);
    if (call.options.maxSamples != 0 && whole.samples() > call.options.maxSamples) {
        return TEKO_ERROR_MAX_SAMPLES;
    }
    return decodeMemoryBound(whole, call.options.target) > memoryLimit(call.options, size) ? TEKO_ERROR_MAX_MEMORY
                                                                                           : TEKO_OK;
}

} // namespace

teko_status readHeader(const void* file, std::size_t size, FileHeader& header) {
    constexpr std::size_t magicBytes = 4;
    std::array<unsigned char, FileHeader::bytes> raw{};
    std::memcpy(raw.data(), file, std::min(size, raw.size()));
    header = FileHeader::parse(raw);
    if (size >= magicBytes && !header.isRecognized()) {
        return TEKO_ERROR_NOT_TEKO;
    }
    if (size < raw.size()) {
        return TEKO_ERROR_TOO_SHORT;
    }
    return imageKindOf(header.bytesPerPixel) != nullptr ? TEKO_OK : TEKO_ERROR_KIND;
}

teko_status DecodeArguments::from(const void* file, std::size_t size, const teko_image* image,
                                  const teko_options* given) {
    teko_status status = file != nullptr ? readHeader(file, size, header) : TEKO_ERROR_ARGUMENT;
    if (status == TEKO_OK) {
        status = ImageLayout::from(image, layout, ImageLayout::Bits::ofTheFile);
    }
    if (status == TEKO_OK) {
        status = CallOptions::from(given, options);
    }
    return status == TEKO_OK ? checked(*this, size) : status;
}

Decoding::Decoding(const DecodeArguments& call)
    : decoder(call.header, call.options.target, call.options.halvings), sink(call.layout) {}

teko_status Decoding::read(const void* file, std::size_t size, std::size_t& used) {
    ByteStreamer in;
    in.setUpMemoryReader(static_cast<const unsigned char*>(file) + FileHeader::bytes,
                         static_cast<std::int64_t>(size - FileHeader::bytes));
    teko_status status = statusOf(decoder.prepare());
    if (status != TEKO_OK) {
        return status;
    }
    const Status read = decoder.read(in);
    status = statusOf(read);
    if (status != TEKO_OK) {
        return status;
    }
    const std::int64_t words = read == Status::cut ? in.size : in.words();
    used = FileHeader::bytes + 4 * static_cast<std::size_t>(words);
    status = statusOf(decoder.transform());
    if (status != TEKO_OK) {
        return status;
    }
    return decoder.contradictsItself() ? TEKO_DAMAGED : read == Status::cut ? TEKO_CUT : TEKO_OK;
}

teko_status Decoding::give(void* samples, int rows) {
    sink.startAt(samples);
    const teko_status status = statusOf(decoder.write(sink, rows));
    sink.finish();
    return status;
}

} // namespace teko::library
