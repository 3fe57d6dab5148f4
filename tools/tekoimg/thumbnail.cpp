// SPDX-License-Identifier: Apache-2.0
// Small PNGs of .tk files.
#include "commands.hpp"
#include "failure.hpp"
#include "output.hpp"
#include "pngWriter.hpp"
#include "tekoReader.hpp"

#include <algorithm>

namespace tekoimg {

namespace {

std::uint32_t longerSide(const teko::Image& image) {
    return std::max(image.width, image.height);
}

// Samples of 8 bits, whatever those of the image have.
struct Pixels {
    teko::Image image;
    std::vector<std::byte> bytes;
};

Pixels pixelsOf(TekoReader& reader) {
    Pixels pixels{reader.image(), {}};
    pixels.image.kind = reader.image().channels() == 3 ? teko::Kind::rgb8 : teko::Kind::grey8;
    pixels.image.bits = 8;
    pixels.bytes.reserve(pixels.image.packedBytes());
    const std::uint32_t largest = largestOf(bitsOf(reader.image()));
    const bool isWide = reader.image().bytesPerSample() == 2;
    std::vector<std::byte> row(reader.rowBytes());
    for (std::uint32_t y = 0; y < pixels.image.height; ++y) {
        reader.read(row.data());
        for (std::size_t i = 0; i < row.size(); i += isWide ? 2 : 1) {
            const std::uint32_t sample = isWide ? *reinterpret_cast<const std::uint16_t*>(row.data() + i)
                                                : std::to_integer<std::uint32_t>(row[i]);
            pixels.bytes.push_back(static_cast<std::byte>((std::min(sample, largest) * 255 + largest / 2) / largest));
        }
    }
    return pixels;
}

// The means of up to two by two pixels.
Pixels halved(const Pixels& pixels) {
    const std::size_t channels = pixels.image.channels();
    Pixels half{pixels.image.reduced(1), {}};
    half.bytes.reserve(half.image.packedBytes());
    for (std::size_t y = 0; y < half.image.height; ++y) {
        const std::size_t below = std::min<std::size_t>(2 * y + 1, pixels.image.height - 1);
        for (std::size_t x = 0; x < half.image.width; ++x) {
            const std::size_t beside = std::min<std::size_t>(2 * x + 1, pixels.image.width - 1);
            for (std::size_t c = 0; c < channels; ++c) {
                const auto at = [&](std::size_t row, std::size_t column) {
                    return std::to_integer<unsigned>(pixels.bytes[(row * pixels.image.width + column) * channels + c]);
                };
                const unsigned sum = at(2 * y, 2 * x) + at(2 * y, beside) + at(below, 2 * x) + at(below, beside);
                half.bytes.push_back(static_cast<std::byte>((sum + 2) / 4));
            }
        }
    }
    return half;
}

// The smallest reduction that fits: of the file's own, and beyond them of means.
Pixels reducedTo(std::span<const std::byte> file, const Settings& settings, Remarks& remarks) {
    const teko::Image image = teko::describe(file);
    requireSides(image);
    std::uint32_t halvings = 0;
    while (halvings < image.levels() && longerSide(image.reduced(halvings)) > settings.size) {
        ++halvings;
    }
    TekoReader reader(file, {false, halvings, settings.memory});
    if (reader.status() == TEKO_DAMAGED) {
        remarks.push_back("is damaged: the thumbnail is what can be made of it");
    }
    Pixels pixels = pixelsOf(reader);
    while (longerSide(pixels.image) > settings.size) {
        pixels = halved(pixels);
    }
    return pixels;
}

void makeOne(const Job& job, const Settings& settings, Remarks& remarks) {
    Source source(job.input);
    const Pixels pixels = reducedTo(source.readAll(), settings, remarks);
    Output output(job.output, settings.isForced);
    PngWriter writer(output, pixels.image);
    const std::size_t rowBytes = pixels.bytes.size() / pixels.image.height;
    for (std::size_t y = 0; y < pixels.image.height; ++y) {
        writer.write(pixels.bytes.data() + y * rowBytes);
    }
    writer.finish();
    output.commit();
}

} // namespace

int thumbnail(const Settings& settings) {
    const Naming naming{[](const std::string& extension) { return extension == ".tk"; }, ".thumbnail.png"};
    return runJobs(planOutputs(settings, naming), settings, "made small",
                   [&](const Job& job, Remarks& remarks) { makeOne(job, settings, remarks); });
}

} // namespace tekoimg
