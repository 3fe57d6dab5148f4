// SPDX-License-Identifier: Apache-2.0
#include "codec/imageEncoder.hpp"

#include "coding/codedStream.hpp"
#include "fast/transform/columnTransform.hpp"
#include "fast/ways/coefficients.hpp"
#include "fast/ways/columnWay.hpp"
#include "fast/ways/rowWay.hpp"
#include "filter/filter.hpp"
#include "image/colourTransform.hpp"
#include "image/imageData.hpp"
#include "memory/memory.hpp"
#include "wavelet/levels.hpp"
#include "wavelet/wavelet.hpp"

#include <cassert>
#include <cstdint>
#include <type_traits>

namespace teko {

// One of the ways through the codec, which makeWay chooses by the image's sides and the target. All give the same bits.
class ImageEncoder::Way : public InTakenMemory {
public:
    virtual ~Way() = default;
    virtual Status read(RowSource& rows, int count) = 0;
    virtual void transform() = 0;
    virtual bool isReversible() const = 0;
    // Codes what a room of that many bits takes. Returns the bits of the stream, or 0 where that is not known before it
    // is written.
    virtual std::uint64_t code(std::uint64_t room) = 0;
    virtual void write(BitStreamer& out) = 0;
    virtual void write(ByteStreamer& out) = 0;
};

// Row by row: rows are transformed, folded and counted as they come.
template <typename T>
class ImageEncoder::ByRows final : public Way {
public:
    ByRows(const FileHeader& header, int channelCount, const Kernels& kernels)
        : width(header.xsize), channels(channelCount), raws(kernels.rawRows),
          encoder(width, header.ysize, channels, kernels) {}

    Status read(RowSource& rows, int count) override {
        return encodeRows(rows, width, count, channels, raws, encoder) ? Status::ok : Status::sourceEnded;
    }
    void transform() override {}
    bool isReversible() const override { return encoder.isReversible(); }
    std::uint64_t code(std::uint64_t room) override { return encoder.code(room); }
    void write(BitStreamer& out) override { encoder.write(out); }
    void write(ByteStreamer& out) override { encoder.write(out); }

private:
    int width;
    int channels;
    const RawRowKernels& raws;
    RowEncoder<T> encoder;
};

// Column by column, for narrow images.
template <typename T>
class ImageEncoder::ByColumns final : public Way {
public:
    ByColumns(const FileHeader& header, int channels, const Kernels& itsKernels)
        : kernels(itsKernels), encoder(shapeOf(header.xsize, header.ysize, channels), kernels.planes<T>()),
          band(header.xsize, header.bytesPerPixel, channels) {
        planes.reserve(static_cast<std::size_t>(channels));
        for (int c = 0; c < channels; ++c) {
            planes.emplace_back(header.xsize, header.ysize);
        }
    }

    Status read(RowSource& rows, int count) override {
        return readColumns(rows, count, kernels.rawRows, band, planes) ? Status::ok : Status::sourceEnded;
    }
    bool isReversible() const override { return reversible; }
    void transform() override {
        constexpr std::int64_t largest = sizeof(T) == sizeof(std::int16_t) ? 256 : 65536;
        for (std::size_t c = 0; c < planes.size(); ++c) {
            reversible &=
                transformColumns<T>(planes[c], largest, kernels.rows<T>(), encoder.channel(static_cast<int>(c)));
        }
        planes.clear();
    }
    std::uint64_t code(std::uint64_t room) override { return encoder.code(room); }
    void write(BitStreamer& out) override { encoder.write(out); }
    void write(ByteStreamer& out) override { encoder.write(out); }

private:
    const Kernels& kernels;
    CoefficientEncoder<T> encoder;
    Vector<ColumnPlane<RowSample<T>>> planes; // of each channel
    RowBand<RowSample<T>> band;
    bool reversible = true;
};

// Stage by stage, in planes: the plain way.
template <typename T>
class ImageEncoder::ByPlanes final : public Way {
public:
    ByPlanes(const FileHeader& header, int channels) : image(header.xsize, header.ysize, channels) {
        wavelet.filter = &filter;
    }

    Status read(RowSource& rows, int count) override {
        for (const int end = y + count; y < end; ++y) {
            const unsigned char* const row = rows.next();
            if (row == nullptr) {
                return Status::sourceEnded;
            }
            sizeof(T) == sizeof(std::int16_t) ? image.readRow8(y, row) : image.readRow16(y, row);
        }
        return Status::ok;
    }
    void transform() override {
        if constexpr (std::is_same_v<T, std::int16_t>) {
            colourTransform(&image);
        }
        wavelet.transform(&image);
    }
    bool isReversible() const override {
        return sizeof(T) > sizeof(std::int16_t) && numberOfLevels(image.width, image.height) > 0;
    }
    std::uint64_t code(std::uint64_t) override { return 0; }
    void write(BitStreamer& out) override { writeStream(image, out); }
    void write(ByteStreamer& out) override { writeStream(image, out); }

private:
    ImageData<T> image;
    int y = 0; // rows read
    Filter4_2<T> filter;
    Wavelet<T> wavelet;
};

ImageEncoder::ImageEncoder(const FileHeader& fileHeader, Target itsTarget) : header(fileHeader), target(itsTarget) {}
ImageEncoder::~ImageEncoder() = default;
ImageEncoder::ImageEncoder(ImageEncoder&&) noexcept = default;
ImageEncoder& ImageEncoder::operator=(ImageEncoder&&) noexcept = default;

template <typename T>
std::unique_ptr<ImageEncoder::Way> ImageEncoder::makeWay(int channels) const {
    if (target != Target::plain && suitsColumns(header.xsize, header.ysize)) {
        return std::make_unique<ByColumns<T>>(header, channels, kernelsOf(target));
    }
    if (target != Target::plain && suitsRowStreams(header.xsize, header.ysize)) {
        return std::make_unique<ByRows<T>>(header, channels, kernelsOf(target));
    }
    return std::make_unique<ByPlanes<T>>(header, channels);
}

Status ImageEncoder::prepare() {
    const ImageKind* const kind = imageKindOf(header.bytesPerPixel);
    if (kind == nullptr) {
        return Status::unknownKind;
    }
    if (isTooThin(header)) {
        return Status::tooThin;
    }
    return endOf([&] {
        way = kind->bytesPerSample == 1 ? makeWay<std::int16_t>(kind->channels) : makeWay<std::int64_t>(kind->channels);
        return Status::ok;
    });
}

Status ImageEncoder::read(RowSource& rows, int count) {
    assert(way != nullptr && count >= 0 && count <= rowsLeft());
    rowsDone += count;
    if (header.xsize == 0) {
        return Status::ok;
    }
    return endOf([&] { return way->read(rows, count); });
}

Status ImageEncoder::read(RowSource& rows) {
    return read(rows, rowsLeft());
}

bool ImageEncoder::isReversible() const {
    assert(way != nullptr);
    return header.xsize == 0 || header.ysize == 0 || way->isReversible();
}

Status ImageEncoder::transform() {
    assert(way != nullptr);
    return endOf([&] {
        way->transform();
        return Status::ok;
    });
}

namespace {

// A writer throws 3 when it takes no more; 5 says that there are coefficients without a plane.
Status thrownOnWriting(int thrown) {
    return thrown == 3 ? Status::cut : Status::outOfRange;
}

template <typename Way, typename Stream>
Status written(Way& way, Stream& out) {
    return endOf(
        [&] {
            way.write(out);
            return Status::ok;
        },
        thrownOnWriting);
}

} // namespace

Status ImageEncoder::code(std::uint64_t bytes) {
    assert(way != nullptr);
    return endOf(
        [&] {
            bits = way->code(roomInBytes(bytes));
            return Status::ok;
        },
        thrownOnWriting);
}

Status ImageEncoder::write(BitStreamer& out) {
    assert(way != nullptr && out.mode == 'w');
    return written(*way, out);
}

Status ImageEncoder::write(ByteStreamer& out) {
    assert(way != nullptr && out.mode == 'w');
    return written(*way, out);
}

} // namespace teko
