// SPDX-License-Identifier: Apache-2.0
#include "tiffReader.hpp"

#include "failure.hpp"

#include <algorithm>
#include <cstring>

namespace tekoimg {

namespace {

struct Photometric {
    std::uint32_t number;
    const char* what;
};

constexpr Photometric refused[] = {
    {PHOTOMETRIC_PALETTE, "a palette"},      {PHOTOMETRIC_MASK, "a transparency mask"},
    {PHOTOMETRIC_SEPARATED, "CMYK samples"}, {PHOTOMETRIC_YCBCR, "YCbCr samples"},
    {PHOTOMETRIC_CIELAB, "CIELAB samples"},  {PHOTOMETRIC_ICCLAB, "ICC Lab samples"},
    {PHOTOMETRIC_ITULAB, "ITU Lab samples"}, {PHOTOMETRIC_CFA, "a colour filter array"},
    {PHOTOMETRIC_LOGL, "LogL samples"},      {PHOTOMETRIC_LOGLUV, "LogLuv samples"},
};

struct Tag {
    std::uint32_t number;
    const char* what;
};

constexpr Tag lostTags[] = {
    {TIFFTAG_ICCPROFILE, "colour profile"},
    {TIFFTAG_XRESOLUTION, "resolution"},
    {TIFFTAG_IMAGEDESCRIPTION, "description"},
    {TIFFTAG_ARTIST, "artist"},
    {TIFFTAG_COPYRIGHT, "copyright"},
    {TIFFTAG_DATETIME, "date"},
    {TIFFTAG_XMLPACKET, "XMP data"},
    {TIFFTAG_RICHTIFFIPTC, "IPTC data"},
    {TIFFTAG_PHOTOSHOP, "Photoshop data"},
    {TIFFTAG_EXIFIFD, "Exif data"},
    {TIFFTAG_GPSIFD, "GPS data"},
    {TIFFTAG_SUBIFD, "images within the image"},
    {TIFFTAG_TRANSFERFUNCTION, "transfer function"},
    {TIFFTAG_WHITEPOINT, "white point"},
    {TIFFTAG_PRIMARYCHROMATICITIES, "chromaticities"},
};

[[noreturn]] void fail(const std::string& where) {
    throw Failure("is refused by libtiff in " + where + " (" + takeTiffError() + "); fetch or make it again");
}

} // namespace

TiffReader::TiffReader(Source& source)
    : ImageReader("TIFF"), descriptor(source.seekable()), tiff(openTiff(descriptor)) {
    describe();
    const std::uint32_t rows = isTiled ? field(TIFFTAG_TILELENGTH, 0) : field(TIFFTAG_ROWSPERSTRIP, described.height);
    bandRows = isTiled ? rows : std::min(rows, described.height);
    const tmsize_t bytes = isTiled ? TIFFTileSize(tiff.get()) : TIFFStripSize(tiff.get());
    if (bandRows == 0 || bytes <= 0) {
        throw Failure("has strips or tiles of no size; make it again");
    }
    // A short file may claim any number of further channels, and libtiff fills with zeros what it does not find.
    constexpr std::size_t anyway = 1U << 28;
    if (static_cast<std::size_t>(bytes) > std::max(anyway, 8 * described.packedBytes())) {
        throw Failure("has strips or tiles far larger than the image; make it again");
    }
    pieceBytes = static_cast<std::size_t>(bytes);
}

std::uint32_t TiffReader::field(std::uint32_t tag, std::uint32_t otherwise) const {
    switch (tag) {
    case TIFFTAG_IMAGEWIDTH:
    case TIFFTAG_IMAGELENGTH:
    case TIFFTAG_ROWSPERSTRIP:
    case TIFFTAG_TILELENGTH:
    case TIFFTAG_TILEWIDTH: {
        std::uint32_t value = 0;
        return TIFFGetField(tiff.get(), tag, &value) == 1 ? value : otherwise;
    }
    default: {
        std::uint16_t value = 0;
        return TIFFGetField(tiff.get(), tag, &value) == 1 ? value : otherwise;
    }
    }
}

// All arguments that any of these tags fills.
bool TiffReader::has(std::uint32_t tag) const {
    void* values[4] = {};
    return TIFFGetField(tiff.get(), tag, &values[0], &values[1], &values[2], &values[3]) == 1;
}

void TiffReader::describe() {
    described.width = field(TIFFTAG_IMAGEWIDTH, 0);
    described.height = field(TIFFTAG_IMAGELENGTH, 0);
    requireSides(described);
    isTiled = TIFFIsTiled(tiff.get()) != 0;
    isPlanar = field(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_SEPARATE;
    setKind();
    setBits();
    nameLosses();
}

void TiffReader::setKind() {
    const std::uint32_t photometric = field(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    for (const Photometric& kind : refused) {
        if (photometric == kind.number) {
            throw Failure(std::string("has ") + kind.what +
                          ", which a .tk does not hold; make it grey or RGB of 8 bits, with tiff2rgba say");
        }
    }
    const bool isColour = photometric == PHOTOMETRIC_RGB;
    stored = field(TIFFTAG_SAMPLESPERPIXEL, 1);
    if ((!isColour && photometric > PHOTOMETRIC_MINISBLACK) || stored < (isColour ? 3U : 1U)) {
        throw Failure("has samples of an unknown meaning (photometric " + std::to_string(photometric) + ", " +
                      std::to_string(stored) + " channels); make it grey or RGB");
    }
    isInverted = photometric == PHOTOMETRIC_MINISWHITE;
    const std::uint32_t bits = field(TIFFTAG_BITSPERSAMPLE, 1);
    const std::uint32_t form = field(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    if (form != SAMPLEFORMAT_UINT && form != SAMPLEFORMAT_VOID && !(form == SAMPLEFORMAT_INT && bits == 16)) {
        throw Failure(std::string("has ") + (form == SAMPLEFORMAT_IEEEFP ? "floating-point" : "signed or complex") +
                      " samples of " + std::to_string(bits) +
                      " bits, which a .tk does not hold; scale them to unsigned ones of 8 or 16 bits");
    }
    if (isColour && bits == 16) {
        throw Failure("is RGB of 16 bits, which a .tk does not hold; bring it to 8 bits, or make each channel a grey "
                      "image");
    }
    if (bits != 8 && bits != 16) {
        throw Failure("has samples of " + std::to_string(bits) +
                      " bits; a .tk takes TIFF of 8 and 16: convert it, to PNM or PNG say");
    }
    described.kind = isColour ? teko::Kind::rgb8 : bits == 16 ? teko::Kind::grey16 : teko::Kind::grey8;
    described.isSigned = form == SAMPLEFORMAT_INT;
}

// Fewer significant bits than the samples have stand in MaxSampleValue.
void TiffReader::setBits() {
    described.bits = 8 * static_cast<std::uint32_t>(described.bytesPerSample());
    const std::uint32_t most = field(TIFFTAG_MAXSAMPLEVALUE, largestOf(described.bits));
    if (most == 0 || most >= largestOf(described.bits) || described.isSigned || isInverted) {
        return;
    }
    described.bits = bitsFor(most);
    if (most != largestOf(described.bits)) {
        lose("largest sample " + std::to_string(most) + " (MaxSampleValue)");
    }
}

void TiffReader::nameLosses() {
    if (described.isSigned) {
        lose("signedness (decode with --signed)");
    }
    if (isInverted) {
        lose("that white is 0 (samples are inverted)");
    }
    if (stored != described.channels()) {
        lose("alpha or other channels behind the " + std::string(described.channels() == 3 ? "third" : "first"));
    }
    if (field(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT) != ORIENTATION_TOPLEFT) {
        lose("orientation");
    }
    for (const Tag& tag : lostTags) {
        if (has(tag.number)) {
            lose(tag.what);
        }
    }
    for (int i = 0; i < TIFFGetTagListCount(tiff.get()); ++i) {
        const std::uint32_t number = TIFFGetTagListEntry(tiff.get(), i);
        const auto isIt = [number](const Tag& tag) { return tag.number == number; };
        const TIFFField* const unnamed = std::none_of(std::begin(lostTags), std::end(lostTags), isIt)
                                             ? TIFFFieldWithTag(tiff.get(), number)
                                             : nullptr;
        if (unnamed != nullptr) {
            lose(std::string("the tag ") + TIFFFieldName(unnamed));
        }
    }
}

void TiffReader::read(std::byte* to) {
    if (row % bandRows == 0) {
        readBand();
    }
    std::memcpy(to, band.get() + row % bandRows * rowBytes(), rowBytes());
    ++row;
}

void TiffReader::readBand() {
    if (!band) {
        piece = roomOf(pieceBytes);
        band = roomOf(rowBytes() * std::min<std::size_t>(bandRows, described.height));
    }
    const std::size_t planes = isPlanar ? described.channels() : 1;
    for (std::uint16_t plane = 0; plane < planes; ++plane) {
        isTiled ? readTiles(plane) : readStrip(plane);
    }
    if (isInverted) {
        std::transform(band.get(), band.get() + rowBytes() * std::min(bandRows, described.height - row), band.get(),
                       [](std::byte byte) { return ~byte; });
    }
}

void TiffReader::readStrip(std::uint16_t plane) {
    const std::uint32_t strip = TIFFComputeStrip(tiff.get(), static_cast<std::uint32_t>(row), plane);
    const std::size_t pitch = described.width * described.bytesPerSample() * (isPlanar ? 1 : stored);
    const std::size_t rows = std::min(bandRows, described.height - row);
    const tmsize_t got = TIFFReadEncodedStrip(tiff.get(), strip, piece.get(), static_cast<tmsize_t>(rows * pitch));
    if (got < 0 || static_cast<std::size_t>(got) < rows * pitch) {
        fail("strip " + std::to_string(strip));
    }
    place(piece.get(), pitch, 0, described.width, plane);
}

void TiffReader::readTiles(std::uint16_t plane) {
    const std::size_t width = field(TIFFTAG_TILEWIDTH, 1);
    const std::size_t pitch = width * described.bytesPerSample() * (isPlanar ? 1 : stored);
    for (std::size_t x = 0; x < described.width; x += width) {
        const tmsize_t got = TIFFReadTile(tiff.get(), piece.get(), static_cast<std::uint32_t>(x),
                                          static_cast<std::uint32_t>(row), 0, plane);
        if (got < 0 || static_cast<std::size_t>(got) < bandRows * pitch) {
            fail("the tile at " + std::to_string(x) + ", " + std::to_string(row));
        }
        place(piece.get(), pitch, x, std::min<std::size_t>(width, described.width - x), plane);
    }
}

// Columns of the band: all channels, or one of them; further ones stay behind.
void TiffReader::place(const std::byte* from, std::size_t fromPitch, std::size_t x, std::size_t columns,
                       std::uint16_t plane) {
    const std::size_t bytes = described.bytesPerSample();
    const std::size_t channels = described.channels();
    const std::size_t rows = std::min(bandRows, described.height - row);
    const std::size_t step = isPlanar ? bytes : stored * bytes;
    const std::size_t taken = isPlanar ? bytes : channels * bytes;
    for (std::size_t y = 0; y < rows; ++y) {
        const std::byte* pixel = from + y * fromPitch;
        std::byte* to = band.get() + y * rowBytes() + x * channels * bytes + (isPlanar ? plane * bytes : 0);
        if (step == channels * bytes && taken == step) {
            std::memcpy(to, pixel, columns * step);
            continue;
        }
        for (std::size_t i = 0; i < columns; ++i, pixel += step, to += channels * bytes) {
            std::memcpy(to, pixel, taken);
        }
    }
}

void TiffReader::finish() {
    std::size_t further = 0;
    while (further < 1000 && TIFFReadDirectory(tiff.get()) != 0) {
        ++further;
    }
    if (further > 0) {
        lose(std::to_string(further) + " further image" + (further > 1 ? "s" : "") + " of the file");
    }
}

} // namespace tekoimg
