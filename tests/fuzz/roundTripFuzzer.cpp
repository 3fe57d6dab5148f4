// SPDX-License-Identifier: Apache-2.0
// Any raster: what its complete stream, a prefix of it and a file within a budget have to be.
#include "codec/fileHeader.hpp"
#include "driver/runs.hpp"
#include "filter/filter.hpp"
#include "fuzz/texture.hpp"
#include "image/colourTransform.hpp"
#include "reference/imageAdapter.hpp"
#include "reference/transform.hpp"
#include "support/codedStreams.hpp"
#include "support/fileHeaders.hpp"
#include "support/memoryFile.hpp"

#include <limits>

namespace teko::fuzz {

namespace {

constexpr int mostSamples = 1300;

struct Raster {
    Shape shape;
    int kind;
    Bytes raw;

    FileHeader header() const { return FileHeader::forImage(kind, 8 * (kind == 2 ? 2 : 1), shape.width, shape.height); }
    bool isThin() const { return shape.width == 1 || shape.height == 1; }
    bool isEmpty() const { return shape.width == 0 || shape.height == 0; }
};

Raster anyRaster(Input& input) {
    const int kind = input.within(1, 3);
    const int channels = kind == 3 ? 3 : 1;
    Raster raster{anyShape(input, 0, channels, mostSamples), kind, {}};
    const Texture texture(input);
    for (int y = 0; y < raster.shape.height; ++y) {
        for (int x = 0; x < raster.shape.width; ++x) {
            for (int c = 0; c < channels; ++c) {
                const std::uint64_t value = texture.at(c, y, x);
                raster.raw.push_back(static_cast<std::uint8_t>(value & 0xFFU));
                if (kind == 2) {
                    raster.raw.push_back(static_cast<std::uint8_t>(value >> 8 & 0xFFU));
                }
            }
        }
    }
    return raster;
}

template <typename T>
constexpr bool isShort = sizeof(T) == sizeof(short);

template <typename T>
class Codec {
public:
    explicit Codec(const Shape& shape) : image(shape.width, shape.height, shape.channels) { wavelet.filter = &filter; }

    void take(const Bytes& raw) {
        const MemoryFile file = readable(raw);
        if constexpr (isShort<T>) {
            image.rawRead8(file.get());
            colourTransform(&image);
        } else {
            image.rawRead16(file.get());
        }
        wavelet.transform(&image);
    }

    Bytes give() {
        wavelet.untransform(&image);
        WritableFile file(std::numeric_limits<std::size_t>::max());
        if constexpr (isShort<T>) {
            colourUntransform(&image);
            image.rawWrite8(file.get(), 0);
        } else {
            image.rawWrite16(file.get(), 0);
        }
        return file.content();
    }

    ImageData<T> image;
    Wavelet<T> wavelet;

private:
    Filter4_2<T> filter;
};

struct Stream {
    std::size_t bits;
    Bytes bytes; // to the last bit
};

template <typename T>
Stream streamOf(const Raster& raster) {
    Codec<T> codec(raster.shape);
    codec.take(raster.raw);
    MemoryTarget target(ampleRoom(codec.image));
    const int thrown = thrownBy([&] { codec.wavelet.writeWavelet(&codec.image, target.stream); });
    require(thrown == (raster.isThin() && !raster.isEmpty() ? 5 : 0), "thin images are refused, others are coded");
    return {static_cast<std::size_t>(target.stream.bitCount()), target.written()};
}

// What comes back is what went in, or what the definition says comes back where it is not.
template <typename T>
void requireWhole(const Raster& raster, const Stream& stream) {
    Bytes payload = stream.bytes;
    payload.resize((payload.size() + 3) / 4 * 4);
    Codec<T> codec(raster.shape);
    require(decodeFromMemory(codec.image, payload) == 0, "a whole stream is complete");
    const Bytes raw = codec.give();
    const bool isSmall = raster.shape.width < 4 || raster.shape.height < 4;
    require(raw == raster.raw || isSmall || raster.kind != 2, "images of 16 bits come back whatever they are");
    if (raw == raster.raw || raster.isEmpty()) {
        return;
    }
    Codec<T> input(raster.shape);
    input.take(raster.raw);
    const auto output = reference::untransformed(reference::fromImageData(input.image), reference::samplesOf<T>);
    Codec<T> expected(raster.shape);
    expected.wavelet.skipTransform = 1;
    for (std::size_t c = 0; c < output.planes.size(); ++c) {
        std::transform(output.planes[c].begin(), output.planes[c].end(), expected.image.planes[c],
                       [](std::int64_t sample) { return static_cast<T>(sample); });
    }
    require(raw == expected.give(), "an image that does not come back is what the inverse makes of its coefficients");
}

template <typename T>
void requirePrefix(const Raster& raster, const Stream& stream, std::size_t length) {
    Bytes payload = stream.bytes;
    payload.resize((payload.size() + 3) / 4 * 4);
    payload.resize(std::min(payload.size(), length));
    Codec<T> codec(raster.shape);
    int result = -1;
    const int thrown = thrownBy([&] { result = decodeFromMemory(codec.image, payload); });
    require(thrown == (payload.size() < 4 ? 3 : 0), "a prefix decodes from its first word on");
    const bool isComplete = payload.size() / 4 * 32 >= stream.bits;
    require(thrown != 0 || result == (isComplete ? 0 : 1), "a prefix is complete when it has all bits in whole words");
    require(thrown != 0 || codec.give().size() == raster.raw.size(), "a prefix gives a whole image");
}

// The payload of a file that keeps within so many bytes.
Bytes cutTo(std::size_t budget, const Stream& stream) {
    Bytes payload = stream.bytes;
    if (stream.bits > budget / 4 * 32) {
        payload.resize(budget);
    }
    return payload;
}

Bytes compressed(const Raster& raster, StreamPlace place, float rate) {
    static const NamedMemoryFile raw;
    static const NamedMemoryFile coded;
    raw.set(raster.raw);
    coded.set({});
    const std::string rawPath = raw.path();
    const std::string codedPath = coded.path();
    const int status = compress({rawPath.c_str(), codedPath.c_str(), raster.header(), place, rate});
    require(status == 0, "a raster is compressed");
    return coded.content();
}

void requireFile(const Raster& raster, const Stream& stream, float rate, StreamPlace place) {
    const Bytes header = bytesOf(raster.header());
    const Bytes file = compressed(raster, place, rate);
    if (place == StreamPlace::file) {
        Bytes payload = stream.bytes;
        payload.resize((payload.size() + 3) / 4 * 4);
        require(file == header + payload, "a complete file is the stream in whole words");
        return;
    }
    const double most = static_cast<double>(raster.raw.size()) * static_cast<double>(rate);
    require(static_cast<double>(file.size()) <= std::max(most, double{FileHeader::bytes}), "a budget is kept");
    require(file == header + cutTo(byteBudget(raster.header(), rate).value(), stream),
            "a file within a budget is the beginning of the stream");
}

template <typename T>
void check(const Raster& raster, std::size_t length, float rate, StreamPlace place) {
    const Stream stream = streamOf<T>(raster);
    if (raster.isThin() && !raster.isEmpty()) {
        return;
    }
    requireWhole<T>(raster, stream);
    requirePrefix<T>(raster, stream, length);
    requireFile(raster, stream, rate, place);
}

} // namespace

} // namespace teko::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace teko;
    using namespace teko::fuzz;
    Input input(data, size);
    const auto length = static_cast<std::size_t>(input.number(2) % 3000);
    const float rate = static_cast<float>(input.number(2)) / 65535.0F;
    const StreamPlace place = input.below(8) == 0 ? StreamPlace::file : StreamPlace::memory;
    const Raster raster = anyRaster(input);
    if (raster.kind == 2) {
        check<long>(raster, length, rate, place);
    } else {
        check<short>(raster, length, rate, place);
    }
    return 0;
}
