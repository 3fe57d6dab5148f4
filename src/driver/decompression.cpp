#include "coding/bitStreamer.hpp"
#include "driver/colourTransform.hpp"
#include "driver/files.hpp"
#include "driver/runs.hpp"
#include "filter/filter4_2.hpp"
#include "image/imageData.hpp"
#include "wavelet/wavelet.hpp"

#include <memory>

namespace teko {

namespace {

// Samples of an image whose stream ended early are clamped below 2^bits; a complete one is written as decoded.
int sampleLimit(const FileHeader& header, int endedEarly) {
    return endedEarly == 0 ? 0 : static_cast<int>(1U << (header.bitsPerPixel % 32));
}

template <typename T>
void decode(const FileHeader& header, BitStreamer& in, File coded, std::FILE* raw, int channels,
            int (ImageData<T>::*write)(std::FILE*, int)) {
    ImageData<T> image(header.xsize, header.ysize, channels);
    Filter4_2<T> filter;
    Wavelet<T> wavelet;
    wavelet.filter = &filter;
    std::puts("Reading...");
    const int endedEarly = wavelet.readWavelet(&image, in);
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
    (image.*write)(raw, sampleLimit(header, endedEarly));
}

void decodeImage(const FileHeader& header, BitStreamer& in, File coded, std::FILE* raw) {
    switch (header.bytesPerPixel) {
    case 1:
        decode<short>(header, in, std::move(coded), raw, 1, &ImageData<short>::rawWrite8);
        break;
    case 2:
        decode<long>(header, in, std::move(coded), raw, 1, &ImageData<long>::rawWrite16);
        break;
    case 3:
        decode<short>(header, in, std::move(coded), raw, 3, &ImageData<short>::rawWrite8);
        break;
    default:
        break;
    }
}

struct Payload {
    std::unique_ptr<std::uint32_t[]> words;
    std::int64_t bytes;
};

// Everything behind the header, for a file that has `length` bytes in all.
Payload readPayload(std::FILE* coded, long length) {
    const long expected = length > FileHeader::bytes ? length - FileHeader::bytes : 0;
    Payload payload{std::unique_ptr<std::uint32_t[]>(new std::uint32_t[static_cast<std::size_t>(expected / 4 + 1)]), 0};
    payload.bytes =
        static_cast<std::int64_t>(std::fread(payload.words.get(), 1, static_cast<std::size_t>(expected), coded));
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
        in.setUpMemoryReader(payload.words.get(), payload.bytes);
    } else {
        in.setUpFileReader(coded.get());
    }
    if (!header.isRecognized()) {
        std::fprintf(stderr, "File %s not recognized\n", codedPath);
        return 1;
    }
    decodeImage(header, in, std::move(coded), raw.get());
    return 0;
}

} // namespace teko
