// SPDX-License-Identifier: Apache-2.0
#include "driver/runs.hpp"

#include "codec/imageDecoder.hpp"
#include "codec/imageEncoder.hpp"
#include "driver/files.hpp"
#include "image/imageData.hpp"
#include "memory/pageBuffer.hpp"
#include "target/target.hpp"

#include <cmath>
#include <cstring>
#include <new>

namespace teko {

namespace {

// Ends the run, unless a step of the codec went well, by an exception that nobody catches: the integer 3 where files or
// streams are too short or take too little, 5 where an image has no place in a stream, and what the language throws
// where memory is refused.
void endUnlessOk(Status status) {
    switch (status) {
    case Status::ok:
        break;
    case Status::cut:
    case Status::sourceEnded:
    case Status::sinkFull:
    case Status::noStream:
        throw 3;
    case Status::unknownKind:
    case Status::tooThin:
    case Status::outOfRange:
        throw 5;
    case Status::tooLarge:
        throw std::bad_array_new_length();
    case Status::outOfMemory:
        throw std::bad_alloc();
    }
}

// Encodes a raw file, which is closed once it is read, into a writer. A stream that its writer or its coefficients end
// early is no failure of the run: what is coded so far decodes.
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

// Mode C: a coded file that keeps to the rate.
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

// Mode c: the whole stream, to the file as it comes.
void compressToFile(const CompressionRequest& request, File raw, std::FILE* coded) {
    BitStreamer out;
    out.setUpFileWriter(coded);
    codeImage(request.header, std::move(raw), out);
}

// What a stream in memory lies in, as long as it is read.
struct Payload {
    PageBuffer memory;
    std::int64_t bytes = 0;
};

// Decodes a stream into a raw file. The coded file is closed and the stream's memory given back once it is read. A
// stream that ends early is no failure.
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

// Reads everything behind the header of a file that has `length` bytes in all.
Payload readPayload(std::FILE* coded, std::int64_t length) {
    const std::int64_t expected = length > FileHeader::bytes ? length - FileHeader::bytes : 0;
    const auto capacity = static_cast<std::size_t>(expected);
    Payload payload{PageBuffer(capacity)};
    payload.memory.adviseHugePages(capacity);
    payload.bytes = static_cast<std::int64_t>(std::fread(payload.memory.data(), 1, capacity, coded));
    std::printf("Decompressing in memory, size=%ld\n", static_cast<long>(payload.bytes));
    return payload;
}

// Bytes of a file, whose position goes to its start.
std::int64_t lengthOf(std::FILE* file) {
    std::fseek(file, 0, SEEK_END);
    const long length = std::ftell(file);
    std::fseek(file, 0, SEEK_SET);
    return length;
}

template <typename T>
using RawReader = int (ImageData<T>::*)(std::FILE*);

// Reads two raw files into planes of T, closes them, and compares the planes.
template <typename T>
double meanSquaredError(const ComparisonRequest& request, File firstFile, File secondFile, int channels,
                        RawReader<T> read) {
    ImageData<T> first(request.xsize, request.ysize, channels);
    ImageData<T> second(request.xsize, request.ysize, channels);
    std::puts("Reading...");
    Chron chron;
    chron.start = std::clock();
    (first.*read)(firstFile.get());
    (second.*read)(secondFile.get());
    chron.display("Read in");
    firstFile.reset();
    secondFile.reset();
    return first.getMSE(&second);
}

// The peak of the ratio that is printed: 2^bits - 1 with the bits taken modulo 64, cut to 32 bits.
double peakSample(std::int64_t bitsPerPixel) {
    const std::uint64_t peak = (std::uint64_t{1} << (bitsPerPixel & 63)) - 1;
    return static_cast<double>(static_cast<std::int32_t>(peak & 0xFFFFFFFFU));
}

} // namespace

void Chron::display(const char* label) const {
    constexpr double clocksPerSecond = 1000000.0;
    std::printf("%s %.3f seconds\n", label,
                (static_cast<double>(std::clock()) - static_cast<double>(start)) / clocksPerSecond);
}

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

int compare(const ComparisonRequest& request) {
    File first = openFile(request.firstPath, "rb");
    if (!first) {
        return 1;
    }
    File second = openFile(request.secondPath, "rb");
    if (!second) {
        return 1;
    }
    double mse = 0.0;
    if (const ImageKind* const kind = imageKindOf(request.bytesPerPixel); kind != nullptr) {
        mse = kind->bytesPerSample == 1 ? meanSquaredError(request, std::move(first), std::move(second), kind->channels,
                                                           &ImageData<std::int16_t>::rawRead8)
                                        : meanSquaredError(request, std::move(first), std::move(second), kind->channels,
                                                           &ImageData<std::int64_t>::rawRead16);
    }
    const double peak = peakSample(request.bitsPerPixel);
    const double psnr = 10.0 * std::log10(peak * peak / mse);
    std::printf("MSE=%f RMSE=%f PSNR=%f\n", mse, std::sqrt(mse), psnr);
    return 0;
}

} // namespace teko
