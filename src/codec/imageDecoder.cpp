// SPDX-License-Identifier: Apache-2.0
#include "codec/imageDecoder.hpp"

#include "codec/colourTransform.hpp"
#include "codec/decodeRows.hpp"
#include "codec/ending.hpp"
#include "codec/imageKind.hpp"
#include "codec/writeColumns.hpp"
#include "coding/coefficientDecoder.hpp"
#include "coding/decoder.hpp"
#include "filter/filter4_2.hpp"
#include "image/imageData.hpp"
#include "image/sampleLimit.hpp"
#include "wavelet/columnTransform.hpp"
#include "wavelet/wavelet.hpp"

#include <cassert>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace teko {

// One of the ways through the codec. All give the same samples.
class ImageDecoder::Way {
public:
    virtual ~Way() = default;
    // Whether it goes on with a stream of that top plane.
    virtual bool suits(int topPlane) const = 0;
    // Reads what is behind the top plane. Returns whether the stream ended early.
    virtual bool read(int topPlane, BitStreamer& in) = 0;
    virtual bool read(int topPlane, ByteStreamer& in) = 0;
    virtual void transform() = 0;
    // Returns whether all rows were taken.
    virtual bool write(int limit, RowSink& rows) = 0;
};

// Row by row: rows are transformed back as they are asked for.
template <typename T>
class ImageDecoder::ByRows final : public Way {
public:
    ByRows(const FileHeader& header, int channelCount, Target itsTarget)
        : width(header.xsize), height(header.ysize), channels(channelCount), target(itsTarget),
          decoder(width, height, channels, target) {}

    bool suits(int topPlane) const override { return RowDecoder<T>::suits(topPlane); }
    bool read(int topPlane, BitStreamer& in) override { return decoder.read(topPlane, in) != 0; }
    bool read(int topPlane, ByteStreamer& in) override { return decoder.read(topPlane, in) != 0; }
    void transform() override { decoder.start(); }
    bool write(int limit, RowSink& rows) override {
        return decodeRows(decoder, width, height, channels, limit, target, rows);
    }

private:
    int width;
    int height;
    int channels;
    Target target;
    RowDecoder<T> decoder;
};

// Column by column, for narrow images.
template <typename T>
class ImageDecoder::ByColumns final : public Way {
public:
    ByColumns(const FileHeader& header, int channels, Target itsTarget)
        : shape(shapeOf(header.xsize, header.ysize, channels)), target(itsTarget),
          decoder(shape, *planeCoding<T>(target)) {}

    static bool suits(int width, int height, Target target) {
        return planeCoding<T>(target) != nullptr && suitsColumns(width, height);
    }

    bool suits(int topPlane) const override { return CoefficientDecoder<T>::suits(topPlane); }
    bool read(int topPlane, BitStreamer& in) override { return decoder.read(topPlane, in) != 0; }
    bool read(int topPlane, ByteStreamer& in) override { return decoder.read(topPlane, in) != 0; }
    void transform() override {
        decoder.start();
        planes.reserve(static_cast<std::size_t>(shape.channels));
        for (int c = 0; c < shape.channels; ++c) {
            planes.emplace_back(shape.width, shape.height);
            untransformColumns<T>(decoder.channel(c), target, planes.back());
        }
    }
    bool write(int limit, RowSink& rows) override { return writeColumns(planes, limit, target, rows); }

private:
    ImageShape shape;
    Target target;
    CoefficientDecoder<T> decoder;
    std::vector<ColumnPlane<RowSample<T>>> planes; // of each channel
};

// Stage by stage, in planes: the plain way.
template <typename T>
class ImageDecoder::ByPlanes final : public Way {
public:
    ByPlanes(const FileHeader& header, int channels) : image(header.xsize, header.ysize, channels) {
        wavelet.filter = &filter;
    }

    bool suits(int) const override { return true; }
    bool read(int topPlane, BitStreamer& in) override { return readBelowTopPlane(wavelet, image, topPlane, in) != 0; }
    bool read(int topPlane, ByteStreamer& in) override { return readBelowTopPlane(wavelet, image, topPlane, in) != 0; }
    void transform() override {
        wavelet.untransform(&image);
        if constexpr (std::is_same_v<T, std::int16_t>) {
            colourUntransform(&image);
        }
    }
    bool write(int limit, RowSink& rows) override {
        for (int y = 0; y < image.height && image.width > 0; ++y) {
            unsigned char* const row = rows.next();
            if (row == nullptr) {
                return false;
            }
            sizeof(T) == sizeof(std::int16_t) ? image.writeRow8(y, row, limit) : image.writeRow16(y, row, limit);
        }
        return rows.finish();
    }

private:
    ImageData<T> image;
    Filter4_2<T> filter;
    Wavelet<T> wavelet;
};

ImageDecoder::ImageDecoder(const FileHeader& fileHeader, Target itsTarget) : header(fileHeader), target(itsTarget) {}
ImageDecoder::~ImageDecoder() = default;
ImageDecoder::ImageDecoder(ImageDecoder&&) noexcept = default;
ImageDecoder& ImageDecoder::operator=(ImageDecoder&&) noexcept = default;

template <typename T>
std::unique_ptr<ImageDecoder::Way> ImageDecoder::makeWay(int channels) const {
    if (ByColumns<T>::suits(header.xsize, header.ysize, target)) {
        return std::make_unique<ByColumns<T>>(header, channels, target);
    }
    if (RowDecoder<T>::suits(header.xsize, header.ysize, target)) {
        return std::make_unique<ByRows<T>>(header, channels, target);
    }
    return std::make_unique<ByPlanes<T>>(header, channels);
}

std::unique_ptr<ImageDecoder::Way> ImageDecoder::makeWayByPlanes() const {
    const ImageKind& kind = *imageKindOf(header.bytesPerPixel);
    if (kind.bytesPerSample == 1) {
        return std::make_unique<ByPlanes<std::int16_t>>(header, kind.channels);
    }
    return std::make_unique<ByPlanes<std::int64_t>>(header, kind.channels);
}

Status ImageDecoder::prepare() {
    const ImageKind* const kind = imageKindOf(header.bytesPerPixel);
    if (kind == nullptr) {
        return Status::unknownKind;
    }
    return endOf([&] {
        way = kind->bytesPerSample == 1 ? makeWay<std::int16_t>(kind->channels) : makeWay<std::int64_t>(kind->channels);
        return Status::ok;
    });
}

template <typename Stream>
Status ImageDecoder::readFrom(Stream& in) {
    assert(way != nullptr && in.mode == 'r');
    return endOf(
        [&] {
            const int topPlane = readTopPlane(in);
            if (!way->suits(topPlane)) {
                way.reset(); // its memory first
                way = makeWayByPlanes();
            }
            endedEarly = way->read(topPlane, in);
            return endedEarly ? Status::cut : Status::ok;
        },
        [](int) { return Status::noStream; });
}

Status ImageDecoder::read(BitStreamer& in) {
    return readFrom(in);
}

Status ImageDecoder::read(ByteStreamer& in) {
    return readFrom(in);
}

Status ImageDecoder::transform() {
    assert(way != nullptr);
    return endOf([&] {
        way->transform();
        return Status::ok;
    });
}

Status ImageDecoder::write(RowSink& rows) {
    assert(way != nullptr);
    return endOf(
        [&] { return way->write(sampleLimit(header.bitsPerPixel, endedEarly), rows) ? Status::ok : Status::sinkFull; });
}

} // namespace teko
