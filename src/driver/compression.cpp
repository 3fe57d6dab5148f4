// SPDX-License-Identifier: Apache-2.0
#include "codec/imageEncoder.hpp"
#include "driver/ends.hpp"
#include "driver/files.hpp"
#include "driver/rawFile.hpp"
#include "driver/runs.hpp"
#include "memory/pageBuffer.hpp"
#include "target/target.hpp"

#include <cstring>
#include <new>

namespace teko {

namespace {

// A stream that its writer or its coefficients end early is no failure of the run: what is coded so far decodes.
void codeImage(const FileHeader& header, File raw, BitStreamer& out) {
    const ImageKind* const kind = imageKindOf(header.bytesPerPixel);
    if (kind == nullptr) {
        std::fputs("Image format not supported\n", stderr);
        return;
    }
    ImageEncoder encoder(header, activeTarget());
    endUnlessOk(encoder.prepare());
    std::puts("Reading...");
    {
        RawFileReader rows(raw.get(), header.rowBytes(), header.ysize);
        endUnlessOk(encoder.read(rows));
    }
    raw.reset();
    if (kind->isColour()) {
        std::puts("Transforming YUV...");
    }
    std::puts("Transforming...");
    endUnlessOk(encoder.transform());
    std::puts("Writing...");
    const Status written = encoder.write(out);
    if (written != Status::cut && written != Status::outOfRange) {
        endUnlessOk(written);
    }
}

void compressWithinBudget(const CompressionRequest& request, File raw, std::FILE* coded) {
    const std::optional<std::uint64_t> budget = byteBudget(request.header, request.rate);
    if (!budget) {
        throw std::bad_array_new_length();
    }
    constexpr int neverWritten = 0xEE;
    constexpr std::size_t skipped = 64; // so that what follows the header is copied fast, see limitReads
    const std::size_t bytes = addressable(*budget);
    PageBuffer allocated(skipped + (bytes / 4 + 1) * 4);
    allocated.adviseHugePages(skipped + bytes);
    unsigned char* const memory = allocated.data() + skipped;
    std::memset(memory, neverWritten, bytes);
    BitStreamer out;
    out.setUpMemoryWriter(memory, static_cast<std::int64_t>(*budget));
    codeImage(request.header, std::move(raw), out);
    std::fwrite(memory, 1, static_cast<std::size_t>(payloadBytes(out, *budget)), coded);
}

void compressToFile(const CompressionRequest& request, File raw, std::FILE* coded) {
    BitStreamer out;
    out.setUpFileWriter(coded);
    codeImage(request.header, std::move(raw), out);
}

} // namespace

int compress(const CompressionRequest& request) {
    File raw = openFile(request.rawPath, "rb");
    if (!raw) {
        return 1;
    }
    if (isTooThin(request.header)) {
        std::fputs("Image format not supported\n", stderr);
        return 1;
    }
    const File coded = openOutput(request.codedPath, request.rawPath);
    if (!coded) {
        return 1;
    }
    writeHeader(request.header, coded.get());
    if (request.place == StreamPlace::memory) {
        compressWithinBudget(request, std::move(raw), coded.get());
    } else {
        compressToFile(request, std::move(raw), coded.get());
    }
    return 0;
}

} // namespace teko
