// Every target does what the plain one does, and that is what the definitions say.
#include "filter/filter4_2.hpp"
#include "fuzz/texture.hpp"
#include "reference/imageAdapter.hpp"
#include "reference/streamDecoder.hpp"
#include "reference/streamEncoder.hpp"
#include "reference/transform.hpp"
#include "support/codedStreams.hpp"
#include "support/memoryFile.hpp"
#include "support/targets.hpp"

#include <optional>

namespace teko::fuzz {

namespace {

constexpr int mostSamples = 700;
constexpr std::size_t mostPayload = 4000; // of a stream that is read

template <typename T>
constexpr int sampleBytes = static_cast<int>(sizeof(T));

template <typename T>
using Planes = std::unique_ptr<ImageData<T>>;

template <typename T>
Planes<T> blank(const Shape& shape) {
    auto image = std::make_unique<ImageData<T>>(shape.width, shape.height, shape.channels);
    for (int c = 0; c < shape.channels; ++c) {
        std::fill_n(image->planes[c], shape.width * shape.height, T{-2});
    }
    return image;
}

template <typename T>
Planes<T> painted(const Shape& shape, Input& input) {
    // Samples of at most so many bits, with their signs.
    const int spareBits = input.within(0, 8 * sampleBytes<T> - 1);
    const Texture texture(input);
    auto image = blank<T>(shape);
    for (int c = 0; c < shape.channels; ++c) {
        for (int y = 0; y < shape.height; ++y) {
            for (int x = 0; x < shape.width; ++x) {
                const auto value = static_cast<std::int64_t>(texture.at(c, y, x) << (64 - 8 * sampleBytes<T>));
                image->planes[c][y * shape.width + x] = static_cast<T>(value >> (64 - 8 * sampleBytes<T> + spareBits));
            }
        }
    }
    return image;
}

template <typename T>
bool isSame(const ImageData<T>& one, const ImageData<T>& other) {
    const auto samples = static_cast<long>(one.width) * one.height;
    for (int c = 0; c < one.channels; ++c) {
        if (!std::equal(one.planes[c], one.planes[c] + samples, other.planes[c])) {
            return false;
        }
    }
    return true;
}

template <typename T>
Planes<T> copyOf(const ImageData<T>& image) {
    auto copy = blank<T>({image.width, image.height, image.channels});
    for (int c = 0; c < image.channels; ++c) {
        std::copy_n(image.planes[c], static_cast<long>(image.width) * image.height, copy->planes[c]);
    }
    return copy;
}

// Transforms

template <typename T>
void checkTransform(const Shape& shape, Input& input) {
    const bool isForward = input.byte() % 2 == 0;
    const auto operation = isForward ? &Wavelet<T>::transform : &Wavelet<T>::untransform;
    const Planes<T> samples = painted<T>(shape, input);
    const auto original = reference::fromImageData(*samples);
    const auto expected = isForward ? reference::transformed(original, reference::samplesOf<T>)
                                    : reference::untransformed(original, reference::samplesOf<T>);
    for (const Target target : allTargets) {
        if (!isRunnable(target)) {
            continue;
        }
        const TargetInUse use(target);
        const Planes<T> image = copyOf(*samples);
        Filter4_2<T> filter;
        Wavelet<T> wavelet;
        wavelet.filter = &filter;
        (wavelet.*operation)(image.get());
        require(reference::fromImageData(*image) == expected, "every target transforms as defined");
    }
}

// Encoding

template <typename T>
struct Written {
    Planes<T> image; // with folded values
    Bytes bytes = {};
    std::int64_t bits = 0;
    int thrown = 0;
};

template <typename T>
Written<T> written(const ImageData<T>& image, Target target, std::size_t capacity) {
    const TargetInUse use(target);
    Written<T> result{copyOf(image)};
    MemoryTarget memory(capacity);
    result.thrown = thrownBy([&] { Wavelet<T>().writeWavelet(result.image.get(), memory.stream); });
    result.bits = memory.stream.bitCount();
    result.bytes = memory.content(std::min(capacity, static_cast<std::size_t>(result.bits + 7) / 8));
    require(memory.fenceIsIntact(), "an encoder keeps to its memory");
    return result;
}

// Whether the coefficients have a plane each, and the shape a place in the stream.
template <typename T>
bool isCodable(const reference::Image& image) {
    return reference::levelsOf(image.width, image.height) >= 0 &&
           reference::topPlaneOfImage(image) <= 8 * sampleBytes<T> - 3;
}

template <typename T>
void requireDefinedStream(const Written<T>& actual, const reference::Image& coefficients, std::size_t capacity) {
    if (!isCodable<T>(coefficients)) {
        require(actual.thrown == 5, "coefficients without a plane and shapes without a class are refused");
        return;
    }
    const reference::Bits bits = reference::codedStream(coefficients);
    const Bytes bytes = reference::toBytes(bits);
    const bool fits = (bits.size() + 31) / 32 <= capacity / 4;
    require(actual.thrown == (fits ? 0 : 3), "an encoder throws 3 when there is no room, and only then");
    require(!fits || actual.bytes == bytes, "a stream is written as defined");
    const std::size_t same = std::min(bytes.size(), actual.bytes.size());
    require(std::equal(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(same), actual.bytes.begin()),
            "a cut stream is the beginning of the whole one");
}

template <typename T>
void checkEncoding(const Shape& shape, Input& input) {
    const unsigned room = input.byte();
    const Planes<T> coefficients = painted<T>(shape, input);
    const std::size_t capacity = room % 2 == 0 ? ampleRoom(*coefficients) : room * room / 64;
    const Written<T> plain = written(*coefficients, Target::plain, capacity);
    requireDefinedStream(plain, reference::fromImageData(*coefficients), capacity);
    for (const Target target : fastTargets()) {
        const Written<T> fast = written(*coefficients, target, capacity);
        require(fast.thrown == plain.thrown && fast.bits == plain.bits, "every target ends alike");
        require(fast.bytes == plain.bytes, "every target writes the same bytes");
        require(isSame(*fast.image, *plain.image), "every target leaves the same folded values");
    }
}

// Decoding

template <typename T>
struct Reading {
    Planes<T> image;
    int result = -1; // -1 when it threw
};

template <typename T>
Reading<T> reading(const Shape& shape, Target target, const Bytes& payload, unsigned source, int skipTransform) {
    const TargetInUse use(target);
    Reading<T> reading{blank<T>(shape)};
    Wavelet<T> wavelet;
    wavelet.skipTransform = skipTransform;
    int thrown = 0;
    if (source % 8 == 0) {
        const MemoryFile file = readable(payload);
        BitStreamer in;
        in.setUpFileReader(file.get());
        in.size = 1 + static_cast<int>(source / 8);
        thrown = thrownBy([&] { reading.result = wavelet.readWavelet(reading.image.get(), in); });
    } else {
        thrown = thrownBy([&] { reading.result = decodeFromMemory(*reading.image, payload, wavelet); });
    }
    require(thrown == (payload.size() < 4 ? 3 : 0), "a stream needs a word, and nothing else");
    return reading;
}

template <typename T>
void checkReading(const Shape& shape, const Bytes& payload, unsigned source) {
    const int skipTransform = source % 3 == 0 ? 1 : 0;
    const Reading<T> plain = reading<T>(shape, Target::plain, payload, source, skipTransform);
    const auto expected =
        reference::decodeStream(payload, shape.width, shape.height, shape.channels, reference::samplesOf<T>);
    require(expected.has_value() == (payload.size() >= 4), "a definition needs a word as well");
    if (expected) {
        require(plain.result == (expected->complete ? 0 : 1), "a stream ends where it is defined to");
        require(reference::fromImageData(*plain.image) ==
                    (skipTransform != 0 ? expected->folded : expected->coefficients),
                "a stream is read as defined");
    }
    for (const Target target : fastTargets()) {
        const Reading<T> fast = reading<T>(shape, target, payload, source, skipTransform);
        require(fast.result == plain.result, "every target ends alike");
        require(isSame(*fast.image, *plain.image), "every target reads the same");
    }
}

// The input as it is.
template <typename T>
void checkAnyReading(const Shape& shape, Input& input) {
    const unsigned source = input.byte();
    checkReading<T>(shape, input.rest(), source);
}

// A stream that an encoder wrote, cut and with changed bytes.
template <typename T>
void checkDamagedReading(const Shape& shape, Input& input) {
    const unsigned source = input.byte();
    const auto length = static_cast<std::size_t>(input.number(2));
    std::vector<std::pair<std::size_t, std::uint8_t>> changes(input.below(4));
    for (auto& [place, difference] : changes) {
        place = static_cast<std::size_t>(input.number(2));
        difference = static_cast<std::uint8_t>(input.byte());
    }
    const Planes<T> coefficients = painted<T>(shape, input);
    if (!isCodable<T>(reference::fromImageData(*coefficients))) {
        return;
    }
    Bytes payload = written(*coefficients, Target::plain, ampleRoom(*coefficients)).bytes;
    payload.resize((payload.size() + 3) / 4 * 4);
    payload.resize(std::min({payload.size(), mostPayload, length < 32768 ? length : payload.size()}));
    for (const auto& [place, difference] : changes) {
        if (!payload.empty()) {
            std::uint8_t& byte = payload[place % payload.size()];
            byte = static_cast<std::uint8_t>(byte ^ difference);
        }
    }
    checkReading<T>(shape, payload, source);
}

// Raw files

void checkRawFile(const Shape& shape, Input& input) {
    const int limit = static_cast<int>(1U << input.below(32)) * static_cast<int>(input.byte() % 2);
    const Planes<short> samples = painted<short>(shape, input);
    std::optional<Bytes> plain;
    for (const Target target : allTargets) {
        if (!isRunnable(target)) {
            continue;
        }
        const TargetInUse use(target);
        const Planes<short> image = copyOf(*samples);
        WritableFile file(1U << 20);
        image->rawWrite8(file.get(), limit);
        const Planes<short> back = blank<short>(shape);
        back->rawRead8(readable(file.content()).get());
        for (int c = 0; c < shape.channels; ++c) {
            require(std::equal(back->planes[c], back->planes[c] + shape.width * shape.height, image->planes[c],
                               [](short read, short written) { return read == (written & 0xFF); }),
                    "what is written is read");
        }
        require(!plain || *plain == file.content(), "every target writes the same file");
        plain = file.content();
    }
}

template <typename T>
void check(Input& input) {
    const unsigned choice = input.below(16);
    const Shape shape = anyShape(input, 1, input.within(1, 3), mostSamples);
    if (choice < 4) {
        checkAnyReading<T>(shape, input);
    } else if (choice < 8) {
        checkDamagedReading<T>(shape, input);
    } else if (choice < 12) {
        checkEncoding<T>(shape, input);
    } else if (choice < 15) {
        checkTransform<T>(shape, input);
    } else {
        checkRawFile(shape, input);
    }
}

} // namespace

} // namespace teko::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace teko::fuzz;
    Input input(data, size);
    if (input.byte() % 2 == 0) {
        check<short>(input);
    } else {
        check<long>(input);
    }
    return 0;
}
