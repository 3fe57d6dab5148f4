// SPDX-License-Identifier: Apache-2.0
// Every target does what the plain one does, and that is what the definitions say.
#include "fast/kernels/kernels.hpp"
#include "filter/filter.hpp"
#include "fuzz/texture.hpp"
#include "reference/imageAdapter.hpp"
#include "reference/streamDecoder.hpp"
#include "reference/streamEncoder.hpp"
#include "reference/transform.hpp"
#include "support/bitStreams.hpp"
#include "support/codedStreams.hpp"
#include "support/fastCoding.hpp"
#include "support/memoryFile.hpp"
#include "support/rowStreams.hpp"
#include "support/targets.hpp"

#include <functional>

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
unsigned long largestMagnitude(const ImageData<T>& image) {
    unsigned long largest = 0;
    for (int c = 0; c < image.channels; ++c) {
        forEachOfClass(image, c, 0, 0, [&](T sample) {
            const auto number = static_cast<unsigned long>(static_cast<long>(sample));
            largest = std::max(largest, sample < 0 ? 0 - number : number);
        });
    }
    return largest;
}

template <typename T>
Planes<T> transformedRows(const ImageData<T>& image, Target target, bool isForward) {
    Planes<T> result = copyOf(image);
    const int levels = numberOfLevels(image.width, image.height);
    for (int channel = 0; channel < image.channels; ++channel) {
        if (!isForward) {
            require(untransformByRows(*result, channel, target), "every coefficient is used");
            continue;
        }
        const ClassCollector<T> collected = transformedByRows(image, channel, target);
        for (int c = 0; c <= levels; ++c) {
            require(collected.classes[c].size() == classOf(image, channel, c, levels).size(),
                    "classes have their size");
            setClass(*result, channel, c, levels, collected.classes[c]);
        }
    }
    return result;
}

template <typename T>
void checkTransform(const Shape& shape, Input& input) {
    const bool isForward = input.byte() % 2 == 0;
    const auto operation = isForward ? &Wavelet<T>::transform : &Wavelet<T>::untransform;
    const Planes<T> samples = painted<T>(shape, input);
    const auto original = reference::fromImageData(*samples);
    const auto expected = isForward ? reference::transformed(original, reference::samplesOf<T>)
                                    : reference::untransformed(original, reference::samplesOf<T>);
    const Planes<T> image = copyOf(*samples);
    Filter4_2<T> filter;
    Wavelet<T> wavelet;
    wavelet.filter = &filter;
    (wavelet.*operation)(image.get());
    require(reference::fromImageData(*image) == expected, "planes are transformed as defined");
    // Short rows take any sample.
    const long largest = sizeof(T) == sizeof(short) ? 32768
                         : isForward                ? 65535
                                                    : (1L << InverseStream<T>::safeBits) - 1;
    if (suitsRowStreams(shape.width, shape.height) &&
        largestMagnitude(*samples) <= static_cast<unsigned long>(largest)) {
        for (const Target target : fastTargets()) {
            require(isSame(*transformedRows(*samples, target, isForward), *image), "every target transforms alike");
        }
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
    Written<T> result{copyOf(image)};
    MemoryTarget memory(capacity);
    result.thrown = thrownBy([&] {
        if (target == Target::plain) {
            Wavelet<T>().writeWavelet(result.image.get(), memory.stream);
        } else {
            writeFast(*result.image, target, memory.stream);
        }
    });
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
    if (!suitsFastEncoder(*coefficients)) {
        return;
    }
    for (const Target target : fastTargets()) {
        const Written<T> fast = written(*coefficients, target, capacity);
        require(fast.thrown == plain.thrown && fast.bits == plain.bits, "every target ends alike");
        require(fast.bytes == plain.bytes, "every target writes the same bytes");
        require(isSame(*fast.image, *plain.image), "every target leaves the same folded values");
    }
}

// Decoding

template <typename T>
using Read = std::function<int(ImageData<T>&, BitStreamer&)>;

template <typename T>
struct Reading {
    Planes<T> image;
    int result = -1; // -1 when it threw
};

template <typename T>
Reading<T> reading(const Shape& shape, const Bytes& payload, unsigned source, Read<T> read) {
    Reading<T> reading{blank<T>(shape)};
    int thrown = 0;
    if (source % 8 == 0) {
        const MemoryFile file = readable(payload);
        BitStreamer in;
        in.setUpFileReader(file.get());
        in.size = 1 + static_cast<int>(source / 8);
        thrown = thrownBy([&] { reading.result = read(*reading.image, in); });
    } else {
        MemoryReader in(payload);
        thrown = thrownBy([&] { reading.result = read(*reading.image, in.stream); });
    }
    require(thrown == (payload.size() < 4 ? 3 : 0), "a stream needs a word, and nothing else");
    return reading;
}

template <typename T>
void checkReading(const Shape& shape, const Bytes& payload, unsigned source) {
    Wavelet<T> wavelet;
    const auto readPlainly = [&](ImageData<T>& image, BitStreamer& in) { return wavelet.readWavelet(&image, in); };
    const Reading<T> plain = reading<T>(shape, payload, source, readPlainly);
    const auto expected =
        reference::decodeStream(payload, shape.width, shape.height, shape.channels, reference::samplesOf<T>);
    require(expected.has_value() == (payload.size() >= 4), "a definition needs a word as well");
    if (expected) {
        require(plain.result == (expected->complete ? 0 : 1), "a stream ends where it is defined to");
        require(reference::fromImageData(*plain.image) == expected->coefficients, "a stream is read as defined");
        wavelet.skipTransform = 1;
        const Reading<T> folded = reading<T>(shape, payload, source, readPlainly);
        require(reference::fromImageData(*folded.image) == expected->folded, "folded values are left as defined");
    }
    for (const Target target : fastTargets()) {
        const Reading<T> fast = reading<T>(
            shape, payload, source, [&](ImageData<T>& image, BitStreamer& in) { return readFast(image, target, in); });
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
    const Planes<short> image = painted<short>(shape, input);
    WritableFile file(1U << 20);
    image->rawWrite8(file.get(), limit);
    const Planes<short> back = blank<short>(shape);
    back->rawRead8(readable(file.content()).get());
    for (int c = 0; c < shape.channels; ++c) {
        require(std::equal(back->planes[c], back->planes[c] + shape.width * shape.height, image->planes[c],
                           [](short read, short written) { return read == (written & 0xFF); }),
                "what is written is read");
    }
}

// The samples of one row at even and at odd places, with room for what kernels write beyond them.
template <typename Row>
struct Halves {
    explicit Halves(int width) : even(static_cast<std::size_t>(width / 2 + 33)), odd(even) {}

    PolyphaseRow<Row> samples() { return {even.data(), odd.data()}; }
    void resize(int width) {
        even.resize(static_cast<std::size_t>((width + 1) / 2));
        odd.resize(static_cast<std::size_t>(width / 2));
    }
    bool operator==(const Halves&) const = default;

    std::vector<Row> even;
    std::vector<Row> odd;
};

// What every target makes of the same raw rows, and of the same samples.
struct RawRowResults {
    RawRowResults(const Bytes& raw, int itsWidth, Target target)
        : width(itsWidth), bytes(width), words(width), colours(3, bytes), joined(6 * static_cast<std::size_t>(width)) {
        const RawRowKernels& split = kernelsOf(target).rawRows;
        split.splitBytes(raw.data(), width, bytes.samples());
        split.splitWords(raw.data(), width, words.samples());
        const PolyphaseRow<short> channels[] = {colours[0].samples(), colours[1].samples(), colours[2].samples()};
        split.splitColours(raw.data(), width, channels);
        bytes.resize(width);
        words.resize(width);
        std::for_each(colours.begin(), colours.end(), [&](Halves<short>& channel) { channel.resize(width); });
    }

    // From words, whose low bits are samples of any value.
    void join(Target target) {
        std::vector<Halves<short>> any(3, Halves<short>(width));
        for (std::size_t i = 0; i < 3; ++i) {
            std::transform(words.even.begin(), words.even.end(), any[i].even.begin(),
                           [i](int word) { return static_cast<short>(word * (static_cast<int>(i) + 1) & 0x7FFF); });
            std::transform(words.odd.begin(), words.odd.end(), any[i].odd.begin(),
                           [](int word) { return static_cast<short>(word - 32768); });
        }
        const PolyphaseRow<short> channels[] = {any[0].samples(), any[1].samples(), any[2].samples()};
        const RawRowKernels& to = kernelsOf(target).rawRows;
        to.joinBytes(channels[0], width, joined.data());
        to.joinWords(words.samples(), width, joined.data() + width);
        to.joinColours(channels, width, joined.data() + 3 * width);
    }

    bool operator==(const RawRowResults&) const = default;

    int width;
    Halves<short> bytes;
    Halves<int> words;
    std::vector<Halves<short>> colours;
    Bytes joined;
};

void checkRawRows(Input& input) {
    const int width = input.within(0, 150);
    Bytes raw = input.rest();
    raw.resize(3 * static_cast<std::size_t>(width) + 1);
    RawRowResults portable(raw, width, Target::portable);
    portable.join(Target::portable);
    for (const Target target : fastTargets()) {
        RawRowResults results(raw, width, target);
        results.join(target);
        require(results == portable, "every target splits and joins raw rows alike");
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
    } else if (input.byte() % 2 == 0) {
        checkRawFile(shape, input);
    } else {
        checkRawRows(input);
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
