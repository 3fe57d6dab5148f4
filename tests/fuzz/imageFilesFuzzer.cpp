// SPDX-License-Identifier: Apache-2.0
// Any bytes as PNM, PAM, .npy, PNG or TIFF: they are an image, or refused in words.
#include "failure.hpp"
#include "formats.hpp"
#include "fuzz/input.hpp"
#include "sampleRange.hpp"
#include "tiffStream.hpp"

namespace tekoimg {

namespace {

using teko::fuzz::require;

// Of the widest RGB image.
constexpr std::size_t mostRowBytes = std::size_t{65535} * 3;

void readAll(ImageReader& reader) {
    const teko::Image& image = reader.image();
    require(image.width >= 1 && image.width <= 65535 && image.height >= 1 && image.height <= 65535,
            "sides are those of a .tk");
    require(image.bits >= 1 && image.bits <= 8 * image.bytesPerSample(), "bits are those of the kind");
    require(!image.isSigned || image.kind == teko::Kind::grey16, "signed samples have 16 bits");
    require(reader.rowBytes() <= mostRowBytes, "rows are those of a .tk");
    std::vector<std::byte> row(reader.rowBytes());
    for (std::uint32_t y = 0; y < image.height; ++y) {
        reader.read(row.data());
        // What MaxSampleValue of a TIFF says is held against the samples where they are encoded.
        require(reader.format() == "TIFF" || isWithin(image, row, largestOf(image.bits)),
                "samples are within their bits");
    }
    reader.finish();
}

// Interlaced PNG and strips of TIFF take memory for what the sides say, which a few bytes can say of any image.
constexpr std::size_t mostBytes = std::size_t{1} << 22;

void read(std::span<const std::byte> bytes) {
    try {
        Source source(bytes);
        const std::unique_ptr<ImageReader> reader = openImage(source);
        const bool isOwn = reader->format() != "PNG" && reader->format() != "TIFF";
        if (!isOwn && reader->rowBytes() * reader->image().height > mostBytes) {
            return;
        }
        readAll(*reader);
        require(!isOwn || source.isAtEnd(), "an image is all of its file");
    } catch (const Failure& failure) {
        require(failure.what()[0] != '\0', "what is refused has a reason");
    }
}

std::uint32_t sumOf(std::span<const std::byte> bytes) {
    std::uint32_t sum = ~0U;
    for (const std::byte byte : bytes) {
        sum ^= std::to_integer<std::uint32_t>(byte);
        for (int i = 0; i < 8; ++i) {
            sum = sum >> 1 ^ ((sum & 1) != 0 ? 0xEDB88320U : 0);
        }
    }
    return ~sum;
}

std::uint32_t numberAt(std::span<const std::byte> bytes) {
    std::uint32_t number = 0;
    for (const std::byte byte : bytes.first(4)) {
        number = number << 8 | std::to_integer<std::uint32_t>(byte);
    }
    return number;
}

// Makes the sum of every chunk right: else hardly anything that is not in the corpus would get beyond them.
void mendSums(std::span<std::byte> png) {
    std::size_t chunk = 8;
    while (png.size() >= chunk + 12 && numberAt(png.subspan(chunk)) <= png.size() - chunk - 12) {
        const std::size_t length = numberAt(png.subspan(chunk));
        const std::uint32_t sum = sumOf(png.subspan(chunk + 4, length + 4));
        for (unsigned i = 0; i < 4; ++i) {
            png[chunk + 8 + length + i] = static_cast<std::byte>(sum >> (24 - 8 * i) & 0xFF);
        }
        chunk += length + 12;
    }
}

} // namespace

} // namespace tekoimg

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool isQuiet = (tekoimg::keepTiffMessages(), true);
    teko::fuzz::require(isQuiet, "libtiff keeps its words to itself");
    const auto* const begin = reinterpret_cast<const std::byte*>(data);
    std::vector<std::byte> bytes(begin, begin + size);
    if (size > 0 && data[0] == 0x89) {
        tekoimg::mendSums(bytes);
    }
    tekoimg::read(bytes);
    return 0;
}
