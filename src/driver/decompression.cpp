#include "coding/bitStreamer.hpp"
#include "coding/decoder.hpp"
#include "driver/colourTransform.hpp"
#include "driver/decodeRows.hpp"
#include "driver/files.hpp"
#include "driver/runs.hpp"
#include "filter/filter4_2.hpp"
#include "image/fillingMemory.hpp"
#include "image/imageData.hpp"
#include "wavelet/wavelet.hpp"

#include <memory>

namespace teko {

namespace {

// Samples of an image whose stream ended early are clamped below 2^bits; a complete one is written as decoded.
int sampleLimit(const FileHeader& header, int endedEarly) {
    return endedEarly == 0 ? 0 : static_cast<int>(1U << (header.bitsPerPixel % 32));
}

// Stage by stage, in planes.
template <typename T>
void decodeInPlanes(const FileHeader& header, int channels, int topPlane, BitStreamer& in, File coded,
                    ImageData<T>& image, std::FILE* raw) {
    Filter4_2<T> filter;
    Wavelet<T> wavelet;
    wavelet.filter = &filter;
    const int endedEarly = readBelowTopPlane(wavelet, image, topPlane, in);
    coded.reset();
    std::puts("Transforming...");
    wavelet.untransform(&image);
    if constexpr (sizeof(T) == sizeof(short)) {
        if (channels == 3) {
            std::puts("Transforming RGB...");
            colourUntransform(&image);
        }
    }
    std::puts("Writing...");
    const int limit = sampleLimit(header, endedEarly);
    sizeof(T) == sizeof(short) ? image.rawWrite8(raw, limit) : image.rawWrite16(raw, limit);
}

// Row by row behind the stream.
template <typename T>
void decodeInRows(const FileHeader& header, int channels, int topPlane, BitStreamer& in, File coded,
                  RowDecoder<T>& decoder, std::FILE* raw) {
    const int endedEarly = decoder.read(topPlane, in);
    coded.reset();
    std::puts("Transforming...");
    if (channels == 3) {
        std::puts("Transforming RGB...");
    }
    std::puts("Writing...");
    decodeRows(decoder, header.xsize, header.ysize, channels, sampleLimit(header, endedEarly), raw);
}

template <typename T>
void decode(const FileHeader& header, int channels, BitStreamer& in, File coded, std::FILE* raw) {
    std::unique_ptr<RowDecoder<T>> rows;
    std::unique_ptr<ImageData<T>> image;
    if (RowDecoder<T>::suits(header.xsize, header.ysize)) {
        rows = std::make_unique<RowDecoder<T>>(header.xsize, header.ysize, channels);
    } else {
        image = std::make_unique<ImageData<T>>(header.xsize, header.ysize, channels);
    }
    std::puts("Reading...");
    const int topPlane = readTopPlane(in);
    if (rows && RowDecoder<T>::suits(topPlane)) {
        decodeInRows(header, channels, topPlane, in, std::move(coded), *rows, raw);
        return;
    }
    if (rows) {
        rows.reset();
        image = std::make_unique<ImageData<T>>(header.xsize, header.ysize, channels);
    }
    decodeInPlanes(header, channels, topPlane, in, std::move(coded), *image, raw);
}

void decodeImage(const FileHeader& header, BitStreamer& in, File coded, std::FILE* raw) {
    switch (header.bytesPerPixel) {
    case 1:
    case 3:
        decode<short>(header, header.bytesPerPixel, in, std::move(coded), raw);
        break;
    case 2:
        decode<long>(header, 1, in, std::move(coded), raw);
        break;
    default:
        break;
    }
}

struct Payload {
    FillingMemory memory;
    std::int64_t bytes = 0;
};

// Everything behind the header, for a file that has `length` bytes in all.
Payload readPayload(std::FILE* coded, long length) {
    const long expected = length > FileHeader::bytes ? length - FileHeader::bytes : 0;
    const auto capacity = static_cast<std::size_t>(expected);
    Payload payload{FillingMemory(capacity)};
    payload.memory.adviseFilling(capacity);
    payload.bytes = static_cast<std::int64_t>(std::fread(payload.memory.data(), 1, capacity, coded));
    std::printf("Decompressing in memory, size=%ld\n", static_cast<long>(payload.bytes));
    return payload;
}

long lengthOf(std::FILE* file) {
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
    const long length = lengthOf(coded.get());
    const FileHeader header = FileHeader::read(coded.get());
    Payload payload;
    BitStreamer in;
    if (place == StreamPlace::memory) {
        payload = readPayload(coded.get(), length);
        in.setUpMemoryReader(payload.memory.data(), payload.bytes);
    } else {
        in.setUpFileReader(coded.get());
        in.readLessAtOnce();
    }
    if (!header.isRecognized()) {
        std::fprintf(stderr, "File %s not recognized\n", codedPath);
        return 1;
    }
    decodeImage(header, in, std::move(coded), raw.get());
    return 0;
}

} // namespace teko
