// SPDX-License-Identifier: Apache-2.0
#include "library/bounds.hpp"

#include "coding/subband.hpp"
#include "fast/transform/columnTransform.hpp"
#include "fast/transform/rowStream.hpp"
#include "wavelet/levels.hpp"

#include <algorithm>
#include <limits>

namespace teko::library {

namespace {

ImageShape shapeOfLayout(const ImageLayout& layout) {
    return {layout.width, layout.height, layout.kind->channels, numberOfLevels(layout.width, layout.height)};
}

// The most bit planes that coefficients can have.
struct Planes {
    int finest;              // in class 0 of the first channel
    int finestOfDifferences; // in class 0 of the other channels
    int all;                 // in the other classes
};

Planes planesOf(const ImageLayout& layout, int levels) {
    const bool isTransformed = levels > 0;
    if (layout.kind->bytesPerSample == 2) {
        return {isTransformed ? 18 : 16, 18, isTransformed ? 21 : 16};
    }
    return {isTransformed ? 10 : 8, isTransformed ? 11 : 9, 14};
}

// Refinement bits, run segments and signs of one class of one channel: a bit for each plane and coefficient, one for
// each sign, five for each parameter and one for each segment's end.
std::uint64_t classBits(std::uint64_t coefficients, int planes, int allPlanes) {
    const auto ends = static_cast<std::uint64_t>(allPlanes) * (6 + (coefficients >> 24));
    return coefficients * (static_cast<std::uint64_t>(planes) + 1) + ends;
}

// The most bits of the coded stream of such an image.
std::uint64_t streamBits(const ImageLayout& layout) {
    const ImageShape shape = shapeOfLayout(layout);
    const Planes planes = planesOf(layout, shape.levels);
    std::uint64_t bits = 8;
    for (int channel = 0; channel < shape.channels; ++channel) {
        for (int c = 0; c <= shape.levels; ++c) {
            const int inClass = c > 0 ? planes.all : channel == 0 ? planes.finest : planes.finestOfDifferences;
            bits += classBits(static_cast<std::uint64_t>(classSamples(shape, c)), inClass, planes.all);
        }
    }
    return bits;
}

constexpr std::uint64_t mebibyte = std::uint64_t{1} << 20;

// Objects, tables and ends of rows.
constexpr std::uint64_t fixedBytes = mebibyte;

// Bytes that a PageBuffer of so many takes: it starts with a whole large page, which has to be sought, and ends with
// one.
std::uint64_t filling(std::uint64_t bytes) {
    return bytes < mebibyte / 4 ? bytes : bytes + 4 * mebibyte;
}

// Whether the codec takes the fast way, whose memory is that of rows and bitmaps.
bool goesByRows(const ImageLayout& layout, Target target) {
    return target != Target::plain && suitsRowStreams(layout.width, layout.height);
}

// Of a sample in the planes of the plain way.
std::uint64_t bytesOfWideSample(const ImageLayout& layout) {
    return layout.kind->bytesPerSample == 2 ? 8 : 2;
}

// In images of few columns, the planes of all channels and the approximations of one, each in memory of its own.
std::uint64_t columnPlaneBytes(const ImageLayout& layout) {
    constexpr std::uint64_t beside = 256; // samples, with each column
    const std::uint64_t sampleBytes = layout.kind->bytesPerSample == 2 ? 4 : 2;
    std::uint64_t bytes = 0;
    for (int level = 0; level < maximumClasses; ++level) {
        const auto columns = static_cast<std::uint64_t>(reducedSide(layout.width, level));
        const auto rows = static_cast<std::uint64_t>(reducedSide(layout.height, level));
        const auto count = static_cast<std::uint64_t>(level == 0 ? layout.kind->channels : 1);
        bytes += count * filling(columns * (rows + beside) * sampleBytes);
    }
    return bytes;
}

// Sixteen rows in each level, for samples of two bytes in both widths, with their ends; and a level that is too small
// for rows three times.
std::uint64_t levelBytes(const ImageLayout& layout) {
    const auto channels = static_cast<std::uint64_t>(layout.kind->channels);
    const std::uint64_t sampleBytes = layout.kind->bytesPerSample == 2 ? 6 : 2;
    const std::uint64_t columns = 2 * static_cast<std::uint64_t>(layout.width) + std::uint64_t{5} * 256;
    const bool mayHaveSmallLevel = std::min(layout.width, layout.height) < 80;
    const std::uint64_t planes = mayHaveSmallLevel ? layout.samples() * bytesOfWideSample(layout) : 0;
    const std::uint64_t columnPlanes = suitsColumns(layout.width, layout.height) ? columnPlaneBytes(layout) : 0;
    return channels * 17 * columns * sampleBytes + planes + columnPlanes;
}

// The planes of the plain way, with sixteen columns beside them that a pass holds.
std::uint64_t plainBytes(const ImageLayout& layout) {
    const std::uint64_t column = 16 * (static_cast<std::uint64_t>(layout.height) + 64);
    return (layout.samples() + column) * bytesOfWideSample(layout);
}

// An encoder's memory without rows of the caller's, file and trial.
std::uint64_t encodingBytes(const ImageLayout& layout, Target target) {
    const std::uint64_t stream = streamBits(layout) / 8;
    const std::uint64_t segments = std::uint64_t{2} * 18 * 29;
    constexpr std::uint64_t inEach = 64;
    if (goesByRows(layout, target)) {
        const std::uint64_t coefficients =
            2 * static_cast<std::uint64_t>(layout.kind->bytesPerSample) * (layout.samples() + std::uint64_t{18} * 2112);
        return filling(coefficients) + filling(stream + segments * inEach) + levelBytes(layout);
    }
    // The plain encoder sizes its sub-streams by an estimate, for every plane and sample at most 2.3 bits.
    return plainBytes(layout) + layout.samples() * bytesOfWideSample(layout) * 5 + segments * inEach;
}

// A decoder's memory without rows of the caller's.
std::uint64_t decodingBytes(const ImageLayout& layout, Target target) {
    const std::uint64_t plain = plainBytes(layout) + layout.samples() * bytesOfWideSample(layout) / 4;
    if (!goesByRows(layout, target)) {
        return plain;
    }
    const auto channels = static_cast<std::uint64_t>(layout.kind->channels);
    const std::uint64_t planeRows = layout.kind->bytesPerSample == 2 ? 31 : 16;
    const std::uint64_t blocks = channels * 6;
    const std::uint64_t sliced = (layout.samples() / 64 + blocks * 256) * planeRows * 8 + layout.samples() / 512;
    const std::uint64_t values = blocks * (static_cast<std::uint64_t>(layout.width) + 16384) * 8;
    // A damaged stream may need the plain way in the end.
    return std::max(filling(sliced) + values + levelBytes(layout), plain);
}

} // namespace

std::uint64_t fileBound(const ImageLayout& layout) {
    return FileHeader::bytes + (streamBits(layout) + 31) / 32 * 4;
}

std::size_t budgetAtRate(const ImageLayout& layout, double rate) {
    constexpr std::uint64_t addressable = std::numeric_limits<std::ptrdiff_t>::max();
    const std::optional<std::uint64_t> payload = byteBudget(layout.header(), static_cast<float>(rate));
    return payload && *payload <= addressable - FileHeader::bytes
               ? static_cast<std::size_t>(*payload + FileHeader::bytes)
               : 0;
}

std::uint64_t encodeMemoryBound(const ImageLayout& layout, Target target) {
    const std::uint64_t own = encodingBytes(layout, target);
    const std::uint64_t file = fileBound(layout);
    const bool mayNeedTrial = layout.kind->bytesPerSample == 1 || numberOfLevels(layout.width, layout.height) <= 0;
    const std::uint64_t trial = mayNeedTrial ? decodingBytes(layout, target) + file : 0;
    return own + trial + file + layout.rowBytes() * 3 + fixedBytes;
}

std::uint64_t decodeMemoryBound(const ImageLayout& layout, Target target) {
    return decodingBytes(layout, target) + layout.rowBytes() + fixedBytes;
}

} // namespace teko::library
