// SPDX-License-Identifier: Apache-2.0
#include "plainCodec.hpp"

#include "reference/lifting.hpp"
#include "reference/streamDecoder.hpp"
#include "reference/streamEncoder.hpp"
#include "reference/transform.hpp"

namespace teko::plain {

namespace {

using reference::Image;
using reference::Plane;
using reference::Samples;
using reference::Signal;

constexpr std::size_t headerBytes = 10;

Samples samplesOf(std::uint32_t kind) {
    return kind == TEKO_GREY16 ? Samples::sixtyFourBit : Samples::sixteenBit;
}

Image imageOf(const Picture& picture) {
    Image image(static_cast<int>(picture.width), static_cast<int>(picture.height),
                static_cast<int>(picture.channels()));
    std::size_t at = 0;
    for (std::size_t i = 0; i < std::size_t{picture.width} * picture.height; ++i) {
        for (Plane& plane : image.planes) {
            plane[i] = picture.samples[at++];
            if (picture.sampleBytes() == 2) {
                plane[i] += 256 * picture.samples[at++];
            }
        }
    }
    return image;
}

Bytes headerOf(const Picture& picture) {
    const auto byte = [](std::uint32_t value) { return static_cast<std::uint8_t>(value & 0xFFU); };
    return {'T',
            'K',
            '1',
            '0',
            byte(picture.kind),
            byte(picture.significantBits()),
            byte(picture.width),
            byte(picture.width >> 8),
            byte(picture.height),
            byte(picture.height >> 8)};
}

// Undoes one level of a plane that holds nothing finer: `step` is how far its samples lie apart in the whole image.
void undoLevel(Image& image, Plane& plane, int step, const Image& whole, Samples samples) {
    for (int x = 0; x < image.width; ++x) {
        Signal column;
        for (int y = 0; y < image.height; ++y) {
            column.push_back(plane[image.index(x, y)]);
        }
        const bool isBlocked = whole.width * step > 512 && column.size() > 512;
        column = reference::unfiltered(column, isBlocked ? reference::inverseKernelRule(samples)
                                                         : reference::inverseDriverRule(samples, column.size()));
        for (int y = 0; y < image.height; ++y) {
            plane[image.index(x, y)] = column[static_cast<std::size_t>(y)];
        }
    }
    for (int y = 0; y < image.height; ++y) {
        const auto start = plane.begin() + static_cast<std::ptrdiff_t>(image.index(0, y));
        const Signal row(start, start + image.width);
        const Signal result = reference::unfiltered(row, reference::inverseDriverRule(samples, row.size()));
        std::copy(result.begin(), result.end(), start);
    }
}

// Every `step`th sample of every `step`th row.
Image thinned(const Image& image, int step) {
    Image result((image.width + step - 1) / step, (image.height + step - 1) / step,
                 static_cast<int>(image.planes.size()));
    for (std::size_t c = 0; c < image.planes.size(); ++c) {
        for (int y = 0; y < result.height; ++y) {
            for (int x = 0; x < result.width; ++x) {
                result.planes[c][result.index(x, y)] = image.planes[c][image.index(x * step, y * step)];
            }
        }
    }
    return result;
}

// The inverse transform without its last `reduce` levels, and without their gain.
Image reducedImage(const Image& coefficients, int reduce, Samples samples) {
    Image image = coefficients;
    for (int level = reference::levelsOf(image.width, image.height) - 1; level >= reduce; --level) {
        const int step = 1 << level;
        Image coarse = thinned(image, step);
        for (std::size_t c = 0; c < image.planes.size(); ++c) {
            undoLevel(coarse, coarse.planes[c], step, coefficients, samples);
            for (int y = 0; y < coarse.height; ++y) {
                for (int x = 0; x < coarse.width; ++x) {
                    image.planes[c][image.index(x * step, y * step)] = coarse.planes[c][coarse.index(x, y)];
                }
            }
        }
    }
    image = thinned(image, 1 << reduce);
    for (Plane& plane : image.planes) {
        for (std::int64_t& value : plane) {
            for (int i = 0; i < 2 * reduce; ++i) {
                value = reference::unscaled(value);
            }
        }
    }
    return image;
}

std::int64_t clamped(std::int64_t value, int bits) {
    return std::clamp(value, std::int64_t{0}, (std::int64_t{1} << bits) - 1);
}

} // namespace

Bytes Stream::whole() const {
    return header + reference::toWholeWordBytes(bits);
}

Bytes Stream::within(std::size_t budget) const {
    const std::size_t payload = budget - headerBytes;
    Bytes bytes = reference::toBytes(bits);
    if (bits.size() > payload / 4 * 32) {
        bytes.resize(payload, 0);
    }
    return header + bytes;
}

Stream encoded(const Picture& picture) {
    Image image = imageOf(picture);
    if (picture.kind == TEKO_RGB8) {
        image = reference::colourTransformed(image);
    }
    return {headerOf(picture), reference::codedStream(reference::transformed(image, samplesOf(picture.kind)))};
}

std::optional<Decoded> decoded(const Bytes& file, int reduce) {
    if (file.size() < headerBytes) {
        return std::nullopt;
    }
    const Picture shape{file[4], file[6] + 256U * file[7], file[8] + 256U * file[9]};
    const Bytes payload(file.begin() + headerBytes, file.end());
    const Samples samples = samplesOf(shape.kind);
    const auto stream = reference::decodeStream(payload, static_cast<int>(shape.width), static_cast<int>(shape.height),
                                                static_cast<int>(shape.channels()), samples);
    if (!stream) {
        return std::nullopt;
    }
    Image image = reduce == 0 ? reference::untransformed(stream->coefficients, samples)
                              : reducedImage(stream->coefficients, reduce, samples);
    if (shape.kind == TEKO_RGB8) {
        image = reference::colourUntransformed(image);
    }
    Picture result{shape.kind, static_cast<std::uint32_t>(image.width), static_cast<std::uint32_t>(image.height)};
    for (std::size_t i = 0; i < image.planes[0].size(); ++i) {
        for (const Plane& plane : image.planes) {
            std::int64_t value = plane[i];
            if (!stream->complete) {
                value = clamped(value, file[5] % 32);
            } else if (reduce > 0) {
                value = clamped(value, static_cast<int>(8 * shape.sampleBytes()));
            }
            result.append(static_cast<std::uint32_t>(value & 0xFFFF));
        }
    }
    return Decoded{stream->complete, result.samples};
}

std::size_t budget(const Picture& picture, float rate) {
    const float share = static_cast<float>(static_cast<double>(picture.rawBytes())) * rate;
    return std::max(headerBytes, static_cast<std::size_t>(share));
}

} // namespace teko::plain
