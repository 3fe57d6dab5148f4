// SPDX-License-Identifier: Apache-2.0
#include "codec/imageDecoder.hpp"
#include "driver/ends.hpp"
#include "driver/files.hpp"
#include "driver/rawFile.hpp"
#include "driver/runs.hpp"
#include "memory/pageBuffer.hpp"
#include "target/target.hpp"

namespace teko {

namespace {

// What a stream lies in, as long as it is read.
struct Payload {
    PageBuffer memory;
    std::int64_t bytes = 0;
};

// A stream that ends early is no failure.
void decodeImage(const FileHeader& header, BitStreamer& in, File coded, Payload payload, std::FILE* raw) {
    const ImageKind* const kind = imageKindOf(header.bytesPerPixel);
    if (kind == nullptr) {
        return;
    }
    ImageDecoder decoder(header, activeTarget());
    endUnlessOk(decoder.prepare());
    std::puts("Reading...");
    const Status read = decoder.read(in);
    if (read != Status::cut) {
        endUnlessOk(read);
    }
    coded.reset();
    payload.memory = PageBuffer();
    std::puts("Transforming...");
    endUnlessOk(decoder.transform());
    if (kind->isColour()) {
        std::puts("Transforming RGB...");
    }
    std::puts("Writing...");
    RawFileWriter rows(raw, header.rowBytes());
    endUnlessOk(decoder.write(rows));
}

// Everything behind the header, for a file that has `length` bytes in all.
Payload readPayload(std::FILE* coded, std::int64_t length) {
    const std::int64_t expected = length > FileHeader::bytes ? length - FileHeader::bytes : 0;
    const auto capacity = static_cast<std::size_t>(expected);
    Payload payload{PageBuffer(capacity)};
    payload.memory.adviseHugePages(capacity);
    payload.bytes = static_cast<std::int64_t>(std::fread(payload.memory.data(), 1, capacity, coded));
    std::printf("Decompressing in memory, size=%ld\n", static_cast<long>(payload.bytes));
    return payload;
}

std::int64_t lengthOf(std::FILE* file) {
    std::fseek(file, 0, SEEK_END);
    const long length = std::ftell(file);
    std::fseek(file, 0, SEEK_SET);
    return length;
}

} // namespace

int decompress(const char* codedPath, const char* rawPath, StreamPlace place) {
    File coded = openFile(codedPath, "rb");
    if (!coded) {
        return 1;
    }
    const File raw = openOutput(rawPath, codedPath);
    if (!raw) {
        return 1;
    }
    const std::int64_t length = lengthOf(coded.get());
    const FileHeader header = readHeader(coded.get());
    Payload payload;
    BitStreamer in;
    if (place == StreamPlace::memory) {
        payload = readPayload(coded.get(), length);
        in.setUpMemoryReader(payload.memory.data(), payload.bytes);
    } else {
        in.setUpFileReader(coded.get());
        in.limitReads();
    }
    if (!header.isRecognized()) {
        std::fprintf(stderr, "File %s not recognized\n", codedPath);
        return 1;
    }
    decodeImage(header, in, std::move(coded), std::move(payload), raw.get());
    return 0;
}

} // namespace teko
