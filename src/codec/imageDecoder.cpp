// SPDX-License-Identifier: Apache-2.0
#include "codec/imageDecoder.hpp"

#include "coding/bitPlanes.hpp"
#include "coding/codedStream.hpp"
#include "fast/transform/columnTransform.hpp"
#include "fast/ways/coefficients.hpp"
#include "fast/ways/columnWay.hpp"
#include "fast/ways/rowWay.hpp"
#include "filter/filter.hpp"
#include "image/colourTransform.hpp"
#include "image/imageData.hpp"
#include "image/sampleLimit.hpp"
#include "memory/memory.hpp"
#include "wavelet/levels.hpp"
#include "wavelet/wavelet.hpp"

#include <cassert>
#include <cstdint>
#include <optional>
#include <type_traits>

namespace teko {

namespace {

// Reads what is behind the top plane by a decoder of a fast way.
template <typename Decoder, typename Stream>
StreamFindings readBy(Decoder& decoder, int topPlane, Stream& in) {
    const bool endedEarly = decoder.read(topPlane, in) != 0;
    return {endedEarly, decoder.contradictsItself()};
}

} // namespace

// One of the ways through the codec, which makeWay chooses by the image's sides and the target. All give the same
// samples.
class ImageDecoder::Way : public InTakenMemory {
public:
    virtual ~Way() = default;
    // Whether this way can read a stream of that top plane.
    virtual bool suits(int topPlane) const = 0;
    // Reads what is behind the top plane. Says whether the stream ended early or contradicts itself.
    virtual StreamFindings read(int topPlane, BitStreamer& in) = 0;
    virtual StreamFindings read(int topPlane, ByteStreamer& in) = 0;
    // Transforms back to samples at all places, or at every 2^halvings-th place in both directions.
    virtual void transform(int halvings) = 0;
    // Hands the next `count` rows on. Returns whether they were taken.
    virtual bool write(int limit, RowSink& rows, int count) = 0;
};

// Row by row: rows are transformed back as they are asked for.
template <typename T>
class ImageDecoder::ByRows final : public Way {
public:
    ByRows(const FileHeader& header, int channelCount, const Kernels& kernels)
        : form{header.xsize, channelCount, 0, 0, kernels}, decoder(header.xsize, header.ysize, channelCount, kernels) {}

    bool suits(int topPlane) const override { return RowDecoder<T>::suits(topPlane); }
    StreamFindings read(int topPlane, BitStreamer& in) override { return readBy(decoder, topPlane, in); }
    StreamFindings read(int topPlane, ByteStreamer& in) override { return readBy(decoder, topPlane, in); }
    void transform(int times) override {
        form.width = reducedSide(form.width, times);
        form.halvings = times;
        decoder.start(times);
    }
    bool write(int limit, RowSink& rows, int count) override {
        form.limit = limit;
        return decodeRows(decoder, form, count, rows);
    }

private:
    RawRowForm form;
    RowDecoder<T> decoder;
};

// Column by column, for narrow images.
template <typename T>
class ImageDecoder::ByColumns final : public Way {
public:
    ByColumns(const FileHeader& header, int channels, const Kernels& itsKernels)
        : shape(shapeOf(header.xsize, header.ysize, channels)), kernels(itsKernels),
          decoder(shape, kernels.planes<T>()), band(header.xsize, header.bytesPerPixel, channels) {}

    bool suits(int topPlane) const override { return CoefficientDecoder<T>::suits(topPlane); }
    StreamFindings read(int topPlane, BitStreamer& in) override { return readBy(decoder, topPlane, in); }
    StreamFindings read(int topPlane, ByteStreamer& in) override { return readBy(decoder, topPlane, in); }
    void transform([[maybe_unused]] int times) override {
        assert(times == 0);
        decoder.start();
        planes.reserve(static_cast<std::size_t>(shape.channels));
        for (int c = 0; c < shape.channels; ++c) {
            planes.emplace_back(shape.width, shape.height);
            untransformColumns<T>(decoder.channel(c), kernels.rows<T>(), planes.back());
        }
    }
    bool write(int limit, RowSink& rows, int count) override {
        return writeColumns(planes, limit, kernels.rawRows, band, rows, count);
    }

private:
    ImageShape shape;
    const Kernels& kernels;
    CoefficientDecoder<T> decoder;
    Vector<ColumnPlane<RowSample<T>>> planes; // of each channel
    RowBand<RowSample<T>> band;
};

// Stage by stage, in planes: the plain way.
template <typename T>
class ImageDecoder::ByPlanes final : public Way {
public:
    ByPlanes(const FileHeader& header, int channels) : whole(header.xsize, header.ysize, channels), image(&whole) {
        wavelet.filter = &filter;
    }

    bool suits(int) const override { return true; }
    StreamFindings read(int topPlane, BitStreamer& in) override {
        return readBelowTopPlane(wavelet, whole, topPlane, in);
    }
    StreamFindings read(int topPlane, ByteStreamer& in) override {
        return readBelowTopPlane(wavelet, whole, topPlane, in);
    }
    void transform(int times) override {
        untransformDownTo(times, wavelet, whole);
        if (times > 0) {
            reduce(times);
        }
        if constexpr (std::is_same_v<T, std::int16_t>) {
            colourUntransform(image);
        }
    }
    bool write(int limit, RowSink& rows, int count) override {
        for (const int end = y + count; y < end; ++y) {
            unsigned char* const row = rows.next();
            if (row == nullptr) {
                return false;
            }
            sizeof(T) == sizeof(std::int16_t) ? image->writeRow8(y, row, limit) : image->writeRow16(y, row, limit);
        }
        return true;
    }

private:
    // Moves the approximation into an image of its own, without its gain.
    void reduce(int times) {
        image = &reduced.emplace(reducedSide(whole.width, times), reducedSide(whole.height, times), whole.channels);
        for (int c = 0; c < image->channels; ++c) {
            for (std::int64_t row = 0; row < image->height; ++row) {
                const T* const from = whole.planes[c] + (row << times) * whole.stride;
                T* const to = image->planes[c] + row * image->stride;
                for (int x = 0; x < image->width; ++x) {
                    to[x] = withoutGain(from[std::int64_t{x} << times], times);
                }
            }
        }
    }

    ImageData<T> whole;
    std::optional<ImageData<T>> reduced;
    ImageData<T>* image; // the one that is written
    int y = 0;           // rows written
    Filter4_2<T> filter;
    Wavelet<T> wavelet;
};

ImageDecoder::ImageDecoder(const FileHeader& fileHeader, Target itsTarget, int itsHalvings)
    : header(fileHeader), target(itsTarget), halvings(itsHalvings) {
    assert(halvings == 0 || halvings <= numberOfLevels(header.xsize, header.ysize));
}
ImageDecoder::~ImageDecoder() = default;
ImageDecoder::ImageDecoder(ImageDecoder&&) noexcept = default;
ImageDecoder& ImageDecoder::operator=(ImageDecoder&&) noexcept = default;

template <typename T>
std::unique_ptr<ImageDecoder::Way> ImageDecoder::makeWay(int channels) const {
    if (target != Target::plain && halvings == 0 && suitsColumns(header.xsize, header.ysize)) {
        return std::make_unique<ByColumns<T>>(header, channels, kernelsOf(target));
    }
    if (target != Target::plain && suitsRowStreams(header.xsize, header.ysize)) {
        return std::make_unique<ByRows<T>>(header, channels, kernelsOf(target));
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

// Whether an encoder can have written that top plane, and anything at all.
bool ImageDecoder::isUsual(int topPlane) const {
    const int highest = imageKindOf(header.bytesPerPixel)->bytesPerSample == 1
                            ? highestPlane<std::int16_t>
                            : InverseStream<std::int64_t>::safeBits - 1;
    return topPlane >= 0 && topPlane <= highest && !isTooThin(header);
}

template <typename Stream>
Status ImageDecoder::readFrom(Stream& in) {
    assert(way != nullptr && in.mode == 'r');
    return endOf(
        [&] {
            const int topPlane = readTopPlane(in);
            if (!way->suits(topPlane)) {
                way.reset(); // frees its memory before the plain way takes some
                way = makeWayByPlanes();
            }
            findings = way->read(topPlane, in);
            findings.contradictsItself |= !isUsual(topPlane);
            return findings.endedEarly ? Status::cut : Status::ok;
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
        way->transform(halvings);
        return Status::ok;
    });
}

Status ImageDecoder::write(RowSink& rows, int count) {
    assert(way != nullptr && count >= 0 && count <= rowsLeft());
    rowsDone += count;
    if (header.xsize == 0) {
        return Status::ok;
    }
    // Here, for a stream is known to have ended early only when it has been read, and colours are limited, not the
    // channels that they are transformed to. A cut stream's own limit holds for a reduced image, too.
    int limit = sampleLimit(header.bitsPerPixel, findings.endedEarly);
    if (halvings > 0 && !findings.endedEarly) {
        limit = reducedSampleLimit(imageKindOf(header.bytesPerPixel)->bytesPerSample);
    }
    return endOf([&] { return way->write(limit, rows, count) ? Status::ok : Status::sinkFull; });
}

Status ImageDecoder::write(RowSink& rows) {
    const Status status = write(rows, rowsLeft());
    return status == Status::ok && !rows.finish() ? Status::sinkFull : status;
}

int ImageDecoder::rowsLeft() const {
    return reducedSide(header.ysize, halvings) - rowsDone;
}

} // namespace teko
