#include "coding/bitStreamer.hpp"
#include "driver/colourTransform.hpp"
#include "driver/encodeRows.hpp"
#include "driver/files.hpp"
#include "driver/runs.hpp"
#include "filter/filter4_2.hpp"
#include "image/fillingMemory.hpp"
#include "image/imageData.hpp"
#include "wavelet/wavelet.hpp"

#include <algorithm>
#include <cstring>

namespace teko {

namespace {

// A plain integer thrown while coding ends the coded stream, not the run: what is coded so far decodes.
template <typename Stage>
void endQuietly(Stage stage) {
    try {
        stage();
    } catch (int) {
    }
}

// Stage by stage, in planes.
template <typename T>
void codeInPlanes(const FileHeader& header, int channels, File raw, BitStreamer& out) {
    ImageData<T> image(header.xsize, header.ysize, channels);
    Filter4_2<T> filter;
    Wavelet<T> wavelet;
    wavelet.filter = &filter;
    std::puts("Reading...");
    sizeof(T) == sizeof(short) ? image.rawRead8(raw.get()) : image.rawRead16(raw.get());
    raw.reset();
    if constexpr (sizeof(T) == sizeof(short)) {
        if (channels == 3) {
            std::puts("Transforming YUV...");
            colourTransform(&image);
        }
    }
    std::puts("Transforming...");
    if (channels == 3) {
        endQuietly([&] { wavelet.transform(&image); });
    } else {
        wavelet.transform(&image);
    }
    std::puts("Writing...");
    endQuietly([&] { wavelet.writeWavelet(&image, out); });
}

// Row by row. What was done while reading has its progress lines behind it.
template <typename T>
void codeInRows(const FileHeader& header, int channels, File raw, BitStreamer& out) {
    RowEncoder<T> encoder(header.xsize, header.ysize, channels);
    std::puts("Reading...");
    encodeRows(raw.get(), header.xsize, header.ysize, channels, encoder);
    raw.reset();
    if (channels == 3) {
        std::puts("Transforming YUV...");
    }
    std::puts("Transforming...");
    std::puts("Writing...");
    endQuietly([&] { encoder.write(out); });
}

template <typename T>
void code(const FileHeader& header, int channels, File raw, BitStreamer& out) {
    if (RowEncoder<T>::suits(header.xsize, header.ysize)) {
        codeInRows<T>(header, channels, std::move(raw), out);
    } else {
        codeInPlanes<T>(header, channels, std::move(raw), out);
    }
}

void codeImage(const FileHeader& header, File raw, BitStreamer& out) {
    switch (header.bytesPerPixel) {
    case 1:
    case 3:
        code<short>(header, header.bytesPerPixel, std::move(raw), out);
        break;
    case 2:
        code<long>(header, 1, std::move(raw), out);
        break;
    default:
        std::fputs("Image format not supported\n", stderr);
        break;
    }
}

// Bytes of a memory writer that belong to the stream; a partial word that found no room does not.
std::size_t payloadBytes(const BitStreamer& out, std::uint64_t budget) {
    const auto bytes = static_cast<std::uint64_t>((out.bitCount() + 7) / 8);
    return static_cast<std::size_t>(std::min(bytes, budget));
}

void compressWithinBudget(const CompressionRequest& request, File raw, std::FILE* coded) {
    const std::uint64_t budget = byteBudget(request.header, request.rate);
    constexpr int neverWritten = 0xEE;
    constexpr std::size_t skipped = 64; // so that what follows the header is copied fast, see readLessAtOnce
    FillingMemory allocated(skipped + (budget / 4 + 1) * 4);
    allocated.adviseFilling(skipped + budget);
    unsigned char* const memory = allocated.data() + skipped;
    std::memset(memory, neverWritten, budget);
    BitStreamer out;
    out.setUpMemoryWriter(memory, static_cast<std::int64_t>(budget));
    codeImage(request.header, std::move(raw), out);
    std::fwrite(memory, 1, payloadBytes(out, budget), coded);
}

void compressToFile(const CompressionRequest& request, File raw, std::FILE* coded) {
    BitStreamer out;
    out.setUpFileWriter(coded);
    codeImage(request.header, std::move(raw), out);
}

// Images one sample wide or high have no wavelet decomposition and no place in the coded stream.
bool isTooThin(const FileHeader& header) {
    const bool isKnownKind = header.bytesPerPixel >= 1 && header.bytesPerPixel <= 3;
    const bool isEmpty = header.xsize == 0 || header.ysize == 0;
    return isKnownKind && !isEmpty && (header.xsize == 1 || header.ysize == 1);
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
    request.header.write(coded.get());
    if (request.place == StreamPlace::memory) {
        compressWithinBudget(request, std::move(raw), coded.get());
    } else {
        compressToFile(request, std::move(raw), coded.get());
    }
    return 0;
}

} // namespace teko
