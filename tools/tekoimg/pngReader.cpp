// SPDX-License-Identifier: Apache-2.0
#include "pngReader.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

namespace tekoimg {

namespace {

constexpr const char* cure = "fetch or make it again";

void giveBytes(png_structp png, png_bytep bytes, std::size_t count) {
    withinPng(png, [&] {
        if (static_cast<Source*>(png_get_io_ptr(png))->read(bytes, count) != count) {
            throw Failure(std::string("ends early; ") + cure);
        }
    });
}

// Of a chunk that libpng does not know. One that the image needs is an error.
int keepName(png_structp png, png_unknown_chunkp chunk) {
    const bool isNeeded = (chunk->name[0] & 0x20) == 0;
    if (isNeeded) {
        return -1;
    }
    withinPng(png, [&] {
        auto* const names = static_cast<std::set<std::string>*>(png_get_user_chunk_ptr(png));
        names->emplace(reinterpret_cast<const char*>(chunk->name));
    });
    return 1;
}

struct Chunk {
    png_uint_32 valid;
    const char* what;
};

constexpr Chunk lostChunks[] = {
    {PNG_INFO_iCCP, "colour profile"},
    {PNG_INFO_sRGB, "colour space (sRGB)"},
    {PNG_INFO_gAMA, "gamma"},
    {PNG_INFO_cHRM, "chromaticities"},
    {PNG_INFO_tRNS, "transparent colour"},
    {PNG_INFO_bKGD, "background colour"},
    {PNG_INFO_pHYs, "resolution"},
    {PNG_INFO_sBIT, "significant bits"},
    {PNG_INFO_tIME, "time of change"},
    {PNG_INFO_eXIf, "Exif data (orientation among them)"},
    {PNG_INFO_oFFs, "offset"},
    {PNG_INFO_sCAL, "scale"},
    {PNG_INFO_pCAL, "calibration"},
    {PNG_INFO_hIST, "histogram"},
    {PNG_INFO_sPLT, "suggested palette"},
#ifdef PNG_INFO_cICP
    {PNG_INFO_cICP, "colour space (cICP)"},
    {PNG_INFO_mDCV, "colours of the display"},
    {PNG_INFO_cLLI, "light levels"},
#endif
};

} // namespace

PngReader::PngReader(Source& itsSource) : ImageReader("PNG"), source(itsSource) {
    png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &errors, keepPngError, keepPngWarning);
    info = png != nullptr ? png_create_info_struct(png) : nullptr;
    try {
        if (info == nullptr) {
            throw std::bad_alloc();
        }
        describe();
    } catch (...) {
        png_destroy_read_struct(&png, &info, nullptr);
        throw;
    }
}

PngReader::~PngReader() {
    png_destroy_read_struct(&png, &info, nullptr);
}

void PngReader::describe() {
    callPng(png, cure, [this] {
        png_set_read_fn(png, &source, giveBytes);
        png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
        png_set_read_user_chunk_fn(png, &unknownChunks, keepName);
        png_read_info(png, info);
    });
    const int depth = png_get_bit_depth(png, info);
    const int colour = png_get_color_type(png, info);
    if (colour == PNG_COLOR_TYPE_PALETTE) {
        throw Failure("has a palette, which a .tk does not hold; make it RGB, with pngtopnm say");
    }
    const bool isColour = (colour & PNG_COLOR_MASK_COLOR) != 0;
    if (isColour && depth == 16) {
        throw Failure("is RGB of 16 bits, which a .tk does not hold; bring it to 8 bits, or make each channel a grey "
                      "image");
    }
    described.kind = isColour ? teko::Kind::rgb8 : depth == 16 ? teko::Kind::grey16 : teko::Kind::grey8;
    described.width = png_get_image_width(png, info);
    described.height = png_get_image_height(png, info);
    described.bits = static_cast<std::uint32_t>(depth);
    requireSides(described);
    if ((colour & PNG_COLOR_MASK_ALPHA) != 0) {
        lose("alpha");
    }
    setTransformations();
}

// One sample a byte or two, in the order of the machine, without alpha.
void PngReader::setTransformations() {
    callPng(png, cure, [this] {
        png_set_packing(png);
        png_set_strip_alpha(png);
        if (std::endian::native == std::endian::little) {
            png_set_swap(png);
        }
        passes = png_set_interlace_handling(png);
        png_start_read_image(png);
    });
}

void PngReader::readInterlaced() {
    whole = roomOf(rowBytes() * described.height);
    callPng(png, cure, [this] {
        for (int pass = 0; pass < passes; ++pass) {
            for (std::size_t y = 0; y < described.height; ++y) {
                png_read_row(png, reinterpret_cast<png_bytep>(whole.get() + y * rowBytes()), nullptr);
            }
        }
    });
}

void PngReader::read(std::byte* to) {
    if (passes == 1) {
        callPng(png, cure, [this, to] { png_read_row(png, reinterpret_cast<png_bytep>(to), nullptr); });
        return;
    }
    if (!whole) {
        readInterlaced();
    }
    std::memcpy(to, whole.get() + row++ * rowBytes(), rowBytes());
}

void PngReader::finish() {
    callPng(png, cure, [this] { png_read_end(png, info); });
    nameLosses();
    if (!source.isAtEnd()) {
        lose("bytes behind the image");
    }
}

// What stands behind the image counts as well.
void PngReader::nameLosses() {
    for (const Chunk& chunk : lostChunks) {
        if (png_get_valid(png, info, chunk.valid) != 0) {
            lose(chunk.what);
        }
    }
    if (png_get_text(png, info, nullptr, nullptr) > 0) {
        lose("text");
    }
    if (unknownChunks.erase("acTL") != 0) {
        lose("animation");
        unknownChunks.erase("fcTL");
        unknownChunks.erase("fdAT");
    }
    for (const std::string& chunk : unknownChunks) {
        lose("the chunk " + chunk);
    }
    if (!errors.warning.empty()) {
        lose("what libpng warns of (" + errors.warning + ")");
    }
}

} // namespace tekoimg
