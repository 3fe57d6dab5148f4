// SPDX-License-Identifier: Apache-2.0
// Any bytes as PNM, PAM or .npy: they are an image, all of it, or refused in words.
#include "failure.hpp"
#include "fuzz/input.hpp"
#include "npyReader.hpp"
#include "pnmReader.hpp"
#include "sampleRange.hpp"

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
        require(isWithin(image, row, largestOf(image.bits)), "samples are within their bits");
    }
    reader.finish();
}

template <typename Reader>
void read(std::span<const std::byte> bytes) {
    try {
        Source source(bytes);
        Reader reader(source);
        readAll(reader);
        require(source.isAtEnd(), "an image is all of its file");
    } catch (const Failure& failure) {
        require(failure.what()[0] != '\0', "what is refused has a reason");
    }
}

} // namespace

} // namespace tekoimg

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span bytes(reinterpret_cast<const std::byte*>(data), size);
    if (size > 0 && data[0] == 'P') {
        tekoimg::read<tekoimg::PnmReader>(bytes);
    } else {
        tekoimg::read<tekoimg::NpyReader>(bytes);
    }
    return 0;
}
