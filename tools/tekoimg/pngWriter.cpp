// SPDX-License-Identifier: Apache-2.0
#include "pngWriter.hpp"

#include <bit>

namespace tekoimg {

namespace {

constexpr const char* cure = "choose another --format";

void takeBytes(png_structp png, png_bytep bytes, std::size_t count) {
    withinPng(png, [&] { static_cast<Output*>(png_get_io_ptr(png))->write(bytes, count); });
}
void flushNothing(png_structp /*png*/) {}

int depthOf(const teko::Image& image) {
    const std::uint32_t bits = bitsOf(image);
    if (image.kind == teko::Kind::grey8 && (bits == 1 || bits == 2 || bits == 4)) {
        return static_cast<int>(bits);
    }
    return 8 * static_cast<int>(image.bytesPerSample());
}

} // namespace

PngWriter::PngWriter(Output& itsOutput, const teko::Image& image) : output(itsOutput) {
    if (image.isSigned) {
        throw Failure("has signed samples, which PNG does not hold; choose --format tiff or npy");
    }
    const int depth = depthOf(image);
    if (static_cast<std::uint32_t>(depth) != bitsOf(image)) {
        notHeld.push_back("that its samples have " + std::to_string(bitsOf(image)) + " bits");
    }
    png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &errors, keepPngError, keepPngWarning);
    info = png != nullptr ? png_create_info_struct(png) : nullptr;
    try {
        if (info == nullptr) {
            throw std::bad_alloc();
        }
        start(image, depth);
    } catch (...) {
        png_destroy_write_struct(&png, &info);
        throw;
    }
}

PngWriter::~PngWriter() {
    png_destroy_write_struct(&png, &info);
}

void PngWriter::start(const teko::Image& image, int depth) {
    const int colour = image.kind == teko::Kind::rgb8 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY;
    callPng(png, cure, [&, this] {
        png_set_write_fn(png, &output, takeBytes, flushNothing);
        png_set_IHDR(png, info, image.width, image.height, depth, colour, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png, info);
        png_set_packing(png);
        if (std::endian::native == std::endian::little) {
            png_set_swap(png);
        }
    });
}

void PngWriter::write(const std::byte* row) {
    callPng(png, cure, [this, row] { png_write_row(png, reinterpret_cast<png_const_bytep>(row)); });
}

void PngWriter::finish() {
    callPng(png, cure, [this] { png_write_end(png, info); });
}

} // namespace tekoimg
