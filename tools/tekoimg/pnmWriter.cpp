// SPDX-License-Identifier: Apache-2.0
#include "pnmWriter.hpp"

#include "failure.hpp"

#include <algorithm>

namespace tekoimg {

namespace {

void requireKind(const Picture& picture, PnmKind kind) {
    const bool isColour = picture.image.channels() == 3;
    if (picture.image.isSigned) {
        throw Failure("has signed samples, which PNM does not hold; choose --format tiff or npy");
    }
    if (isColour && (kind == PnmKind::pbm || kind == PnmKind::pgm)) {
        throw Failure("is RGB; name the output .ppm or .pnm");
    }
    if (!isColour && kind == PnmKind::ppm) {
        throw Failure("is grey; name the output .pgm or .pnm");
    }
    if (kind == PnmKind::pbm && picture.maxval != 1) {
        throw Failure("has more than one bit a sample; name the output .pgm or .pnm");
    }
}

std::string headerOf(const Picture& picture, PnmKind kind) {
    const bool isColour = picture.image.channels() == 3;
    const std::string width = std::to_string(picture.image.width);
    const std::string height = std::to_string(picture.image.height);
    const std::string maxval = std::to_string(picture.maxval);
    if (kind == PnmKind::pam) {
        return "P7\nWIDTH " + width + "\nHEIGHT " + height + "\nDEPTH " + (isColour ? "3" : "1") + "\nMAXVAL " +
               maxval + "\nTUPLTYPE " +
               (isColour              ? "RGB"
                : picture.maxval == 1 ? "BLACKANDWHITE"
                                      : "GRAYSCALE") +
               "\nENDHDR\n";
    }
    if (kind == PnmKind::pbm) {
        return "P4\n" + width + " " + height + "\n";
    }
    return (isColour ? "P6\n" : "P5\n") + width + " " + height + "\n" + maxval + "\n";
}

} // namespace

PnmWriter::PnmWriter(Output& itsOutput, const Picture& picture, PnmKind kind)
    : output(itsOutput), image(picture.image), isBitmap(kind == PnmKind::pbm) {
    requireKind(picture, kind);
    // Maxvals below 256 have one byte a sample: those of 16-bit images too.
    const std::size_t bytes = picture.maxval > 255 ? 2 : 1;
    line.resize(isBitmap ? (image.width + 7) / 8 : std::size_t{image.width} * image.channels() * bytes);
    const std::string header = headerOf(picture, kind);
    output.write(header.data(), header.size());
}

void PnmWriter::write(const std::byte* row) {
    const std::size_t samples = std::size_t{image.width} * image.channels();
    if (isBitmap) {
        std::fill(line.begin(), line.end(), std::byte{0});
        for (std::size_t x = 0; x < samples; ++x) {
            line[x / 8] |= row[x] == std::byte{0} ? std::byte{0x80} >> x % 8 : std::byte{0};
        }
    } else if (image.bytesPerSample() == 2) {
        const auto* const words = reinterpret_cast<const std::uint16_t*>(row);
        const bool isShort = line.size() == samples;
        for (std::size_t i = 0; i < samples; ++i) {
            if (!isShort) {
                line[2 * i] = static_cast<std::byte>(words[i] >> 8);
            }
            line[isShort ? i : 2 * i + 1] = static_cast<std::byte>(words[i] & 0xFF);
        }
    } else {
        std::copy_n(row, samples, line.begin());
    }
    output.write(line.data(), line.size());
}

} // namespace tekoimg
