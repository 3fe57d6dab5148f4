// SPDX-License-Identifier: Apache-2.0
#include "tiffWriter.hpp"

#include "failure.hpp"

namespace tekoimg {

namespace {

constexpr std::size_t largestTiff = 0xFFF00000U; // the rest is for its directory

} // namespace

TiffWriter::TiffWriter(Output& output, const teko::Image& image)
    : to{output, ""}, tiff(openTiff(to, image.packedBytes() > largestTiff)) {
    setFields(image);
}

void TiffWriter::setFields(const teko::Image& image) {
    TIFF* const file = tiff.get();
    const std::uint32_t depth = 8 * static_cast<std::uint32_t>(image.bytesPerSample());
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, image.width);
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, image.height);
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, depth);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, image.channels());
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, image.channels() == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(file, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(file, TIFFTAG_SAMPLEFORMAT, image.isSigned ? SAMPLEFORMAT_INT : SAMPLEFORMAT_UINT);
    if (!image.isSigned && bitsOf(image) != depth) {
        TIFFSetField(file, TIFFTAG_MAXSAMPLEVALUE, largestOf(bitsOf(image)));
    }
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(file, 0));
}

void TiffWriter::fail() const {
    throw Failure(to.error.empty() ? "is refused by libtiff (" + takeTiffError() + "); choose another --format"
                                   : to.error);
}

// libtiff does not change the row when samples stay in the order of the machine.
void TiffWriter::write(const std::byte* samples) {
    if (TIFFWriteScanline(tiff.get(), const_cast<std::byte*>(samples), row++, 0) < 0 || !to.error.empty()) {
        fail();
    }
}

void TiffWriter::finish() {
    const bool isWritten = TIFFFlushData(tiff.get()) != 0 && TIFFWriteDirectory(tiff.get()) != 0;
    tiff.reset();
    if (!isWritten || !to.error.empty()) {
        fail();
    }
}

} // namespace tekoimg
