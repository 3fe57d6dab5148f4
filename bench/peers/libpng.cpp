// SPDX-License-Identifier: Apache-2.0
// PNG by libpng.
#include "bench/peers/codec.hpp"

#include <png.h>

#include <cstdio>
#include <cstdlib>

namespace teko::bench {

namespace {

// The library may not be left by an exception, and a long jump would skip destructors.
[[noreturn]] void fail(png_structp, png_const_charp message) {
    std::fprintf(stderr, "libpng: %s\n", message);
    std::exit(1);
}

void warn(png_structp, png_const_charp) {}

void writeSome(png_structp png, png_bytep data, std::size_t count) {
    static_cast<Bytes*>(png_get_io_ptr(png))->append(data, count);
}

void flushNothing(png_structp) {}

void readSome(png_structp png, png_bytep data, std::size_t count) {
    auto& left = *static_cast<ByteView*>(png_get_io_ptr(png));
    if (count > left.size()) {
        png_error(png, "file ends early");
    }
    std::memcpy(data, left.data(), count);
    left = left.subspan(count);
}

Bytes encode(const ImageEntry& entry, ByteView raw, int filters) {
    Bytes coded(codedCapacity(raw.size()));
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, &fail, &warn);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &coded, &writeSome, &flushNothing);
    png_set_compression_level(png, 1);
    if (filters != PNG_NO_FILTERS) {
        png_set_filter(png, PNG_FILTER_TYPE_BASE, filters);
    }
    png_set_IHDR(png, info, static_cast<png_uint_32>(entry.width), static_cast<png_uint_32>(entry.height),
                 static_cast<int>(8 * entry.bytesPerSample()),
                 entry.isColour() ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (entry.bytesPerSample() == 2) {
        png_set_swap(png);
    }
    for (int y = 0; y < entry.height; ++y) {
        png_write_row(png, raw.data() + static_cast<std::size_t>(y) * entry.rowBytes());
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return coded;
}

Bytes encodeByDefault(const ImageEntry& entry, ByteView raw) {
    return encode(entry, raw, PNG_NO_FILTERS);
}

Bytes encodeWithSub(const ImageEntry& entry, ByteView raw) {
    return encode(entry, raw, PNG_FILTER_SUB);
}

void decode(const ImageEntry& entry, ByteView coded, std::span<unsigned char> raw) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, &fail, &warn);
    png_infop info = png_create_info_struct(png);
    ByteView left = coded;
    png_set_read_fn(png, &left, &readSome);
    png_read_info(png, info);
    if (entry.bytesPerSample() == 2) {
        png_set_swap(png);
    }
    png_read_update_info(png, info);
    for (int y = 0; y < entry.height; ++y) {
        png_read_row(png, raw.data() + static_cast<std::size_t>(y) * entry.rowBytes(), nullptr);
    }
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
}

} // namespace

const PeerCodec libpngCodec{"libpng", "level 1, the filters that it chooses", &takesEverything, &encodeByDefault,
                            &decode};
const PeerCodec libpngSubCodec{"libpng-sub", "level 1, filter Sub alone", &takesEverything, &encodeWithSub, &decode};

} // namespace teko::bench
