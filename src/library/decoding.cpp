// SPDX-License-Identifier: Apache-2.0
#include "library/decoding.hpp"

#include "library/bounds.hpp"
#include "library/statuses.hpp"
#include "wavelet/levels.hpp"
#include "wavelet/reduction.hpp"

#include <algorithm>
#include <array>
#include <cstring>

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

std::uint64_t memoryLimit(const CallOptions& options, std::size_t fileBytes) {
    constexpr std::uint64_t always = std::uint64_t{1} << 30;
    constexpr std::uint64_t timesTheFile = 64;
    return options.maxMemory != 0 ? options.maxMemory : std::max(always, timesTheFile * fileBytes);
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

teko_status Decoding::check(const FileHeader& header, std::size_t size, const ImageLayout& layout,
                            const CallOptions& options) {
    if (options.halvings > std::max(0, numberOfLevels(header.xsize, header.ysize))) {
        return TEKO_ERROR_REDUCE;
    }
    if (layout.kind->bytesPerPixel != header.bytesPerPixel ||
        layout.width != reducedSide(header.xsize, options.halvings) ||
        layout.height != reducedSide(header.ysize, options.halvings)) {
        return TEKO_ERROR_MISMATCH;
    }
    if (!layout.isApart()) {
        return TEKO_ERROR_ARGUMENT;
    }
    if (size < smallestFile) {
        return TEKO_ERROR_TOO_SHORT;
    }
    const ImageLayout whole = layoutIn(header);
    if (options.maxSamples != 0 && whole.samples() > options.maxSamples) {
        return TEKO_ERROR_MAX_SAMPLES;
    }
    return decodeMemoryBound(whole, options.target) > memoryLimit(options, size) ? TEKO_ERROR_MAX_MEMORY : TEKO_OK;
}

Decoding::Decoding(const FileHeader& header, const ImageLayout& imageLayout, const CallOptions& options)
    : decoder(header, options.target, options.halvings), sink(imageLayout) {}

teko_status Decoding::read(const unsigned char* file, std::size_t size, std::size_t& used) {
    ByteStreamer in;
    in.setUpMemoryReader(file + FileHeader::bytes, static_cast<std::int64_t>(size - FileHeader::bytes));
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
