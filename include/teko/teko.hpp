// SPDX-License-Identifier: Apache-2.0
/**
 * @file teko.hpp
 * @brief The functions of teko.h for C++20: results that free themselves, spans, exceptions.
 *
 * Everything here is inline over teko.h, whose contracts hold. What teko.h reports as an error (a status below 0) is
 * thrown as teko::Error; the other statuses are returned with the results.
 */
#ifndef TEKO_TEKO_HPP
#define TEKO_TEKO_HPP

#include <teko/teko.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace teko {
inline namespace v1 {

/** @brief A status below 0. */
class Error : public std::runtime_error {
public:
    /** @brief Of a status below 0. */
    explicit Error(teko_status status) : std::runtime_error(teko_status_text(status)), code(status) {}
    /** @brief That status. */
    teko_status status() const noexcept { return code; }

private:
    teko_status code;
};

/** @brief Returns a status that is no error, and throws the others. */
inline teko_status demand(teko_status status) {
    if (status < 0) {
        throw Error(status);
    }
    return status;
}

/** @brief The kinds of images: ::teko_kind. */
enum class Kind : std::uint32_t {
    grey8 = TEKO_GREY8,   ///< one channel, a byte a sample
    grey16 = TEKO_GREY16, ///< one channel, two bytes a sample
    rgb8 = TEKO_RGB8      ///< red, green, blue, a byte a sample
};

/** @brief The order of the bytes of a sample: ::teko_byte_order. */
enum class ByteOrder : std::uint32_t {
    host = TEKO_HOST_ORDER,            ///< the machine's
    littleEndian = TEKO_LITTLE_ENDIAN, ///< the least significant first
    bigEndian = TEKO_BIG_ENDIAN        ///< the most significant first
};

/** @brief An image and how it lies in memory: ::teko_image with names for its numbers. Pitches of 0 are packed. */
struct Image {
    Kind kind = Kind::grey8;               ///< channels and bytes of a sample
    std::uint32_t width = 0;               ///< pixels in a row
    std::uint32_t height = 0;              ///< rows
    std::uint32_t bits = 0;                ///< significant ones of a sample; 0: all
    bool isSigned = false;                 ///< samples of 16 bits are two's complement
    ByteOrder byteOrder = ByteOrder::host; ///< of samples of 16 bits
    std::ptrdiff_t rowPitch = 0;           ///< bytes
    std::ptrdiff_t pixelPitch = 0;         ///< bytes
    std::ptrdiff_t channelPitch = 0;       ///< bytes

    /** @brief 1 or 3. */
    std::uint32_t channels() const { return kind == Kind::rgb8 ? 3 : 1; }
    /** @brief 1 or 2. */
    std::size_t bytesPerSample() const { return kind == Kind::grey16 ? 2 : 1; }
    /** @brief Bytes of the raw image, packed. */
    std::size_t packedBytes() const { return std::size_t{width} * height * channels() * bytesPerSample(); }
    /** @brief The image that decodes with so many halvings, packed. */
    Image reduced(std::uint32_t halvings) const {
        return {kind, teko_reduced(width, halvings), teko_reduced(height, halvings), bits, isSigned, byteOrder};
    }
    /** @brief How often it can be halved. */
    std::uint32_t levels() const {
        const teko_image image = asC();
        return teko_levels(&image);
    }

    /** @brief The same for teko.h. */
    teko_image asC() const {
        return {sizeof(teko_image), static_cast<std::uint32_t>(kind),      bits,     width,      height,
                isSigned ? 1U : 0U, static_cast<std::uint32_t>(byteOrder), rowPitch, pixelPitch, channelPitch};
    }
};

/** @brief Options of a call: ::teko_options, all zeros at first. Set goals with the functions. */
struct Options : teko_options {
    /** @brief All zeros. */
    Options() : teko_options{} { struct_size = sizeof(teko_options); }

    /** @brief ::TEKO_TO_BYTES. */
    static Options toBytes(std::size_t most) {
        Options options;
        options.goal = TEKO_TO_BYTES;
        options.bytes = most;
        return options;
    }
    /** @brief ::TEKO_TO_RATE. */
    static Options toRate(double share) {
        Options options;
        options.goal = TEKO_TO_RATE;
        options.rate = share;
        return options;
    }
    /** @brief Decoding with the sides halved so often. */
    static Options reducedBy(std::uint32_t halvings) {
        Options options;
        options.reduce = halvings;
        return options;
    }
};

/** @brief A file in memory that the library has allocated. */
class File {
public:
    /** @brief No file. */
    File() = default;
    /** @brief None yet, of a call with these options. */
    explicit File(const Options& itsOptions) : options(itsOptions) {}
    /** @brief Takes another one's bytes, and leaves it without. */
    File(File&& other) noexcept { swap(other); }
    /** @brief The same; its own bytes are released. */
    File& operator=(File&& other) noexcept {
        File taken(std::move(other));
        swap(taken);
        return *this;
    }
    ~File() { teko_release(&buffer, &options); }

    /** @brief The file; it stays as long as this. */
    std::span<const std::byte> bytes() const { return {static_cast<const std::byte*>(buffer.data), buffer.size}; }
    /** @brief TEKO_OK, TEKO_CUT or TEKO_INEXACT. */
    teko_status status() const noexcept { return ended; }
    /** @brief Whether the file decodes to the very samples that went in. */
    bool isExact() const noexcept { return ended == TEKO_OK; }

private:
    friend File encode(const Image&, const void*, const Options&);
    friend class Encoder;

    void swap(File& other) noexcept {
        std::swap(buffer, other.buffer);
        std::swap(options, other.options);
        std::swap(ended, other.ended);
    }

    teko_buffer buffer{sizeof(teko_buffer), nullptr, 0, 0};
    Options options;
    teko_status ended = TEKO_OK;
};

/** @brief How a file was found when it was decoded. */
struct Outcome {
    teko_status status; ///< TEKO_OK, TEKO_CUT or TEKO_DAMAGED
    std::size_t used;   ///< bytes of the file
};

/** @brief Encodes the image whose first sample lies there; see teko_encode(). */
inline File encode(const Image& image, const void* samples, const Options& options = {}) {
    File file(options);
    const teko_image described = image.asC();
    file.ended = demand(teko_encode(&described, samples, &file.buffer, &options));
    return file;
}

/** @brief The same of a packed image, whose length is checked. */
template <typename Sample>
requires std::is_integral_v<Sample> File encode(Image image, std::span<const Sample> packed,
                                                const Options& options = {}) {
    image.rowPitch = image.pixelPitch = image.channelPitch = 0;
    if (sizeof(Sample) != image.bytesPerSample() || packed.size_bytes() != image.packedBytes()) {
        throw Error(TEKO_ERROR_MISMATCH);
    }
    return encode(image, static_cast<const void*>(packed.data()), options);
}

/** @brief The description of a file; see teko_describe(). */
inline Image describe(std::span<const std::byte> file) {
    teko_image image{};
    image.struct_size = sizeof image;
    demand(teko_describe(file.data(), file.size(), &image));
    return {static_cast<Kind>(image.kind), image.width, image.height, image.bits};
}

/** @brief Decodes a file or a prefix into the image whose first sample lies there; see teko_decode(). */
inline Outcome decode(std::span<const std::byte> file, const Image& image, void* samples, const Options& options = {}) {
    const teko_image described = image.asC();
    teko_outcome outcome{sizeof(teko_outcome), 0};
    const teko_status status = demand(teko_decode(file.data(), file.size(), &described, samples, &options, &outcome));
    return {status, outcome.used};
}

/** @brief The same into a packed image, whose length is checked. */
template <typename Sample>
requires std::is_integral_v<Sample> Outcome decode(std::span<const std::byte> file, Image image,
                                                   std::span<Sample> packed, const Options& options = {}) {
    image.rowPitch = image.pixelPitch = image.channelPitch = 0;
    if (sizeof(Sample) != image.bytesPerSample() || packed.size_bytes() != image.packedBytes()) {
        throw Error(TEKO_ERROR_MISMATCH);
    }
    return decode(file, image, static_cast<void*>(packed.data()), options);
}

/** @brief The first bytes of a file that a decoder uses of a budget; see teko_cut(). */
inline std::span<const std::byte> cut(std::span<const std::byte> file, std::size_t most) {
    std::size_t kept = 0;
    demand(teko_cut(file.data(), file.size(), most, &kept));
    return file.first(kept);
}

/** @brief How far two images differ; see teko_compare(). */
inline teko_difference compare(const Image& image, const void* samples, const Image& other, const void* otherSamples) {
    const teko_image a = image.asC();
    const teko_image b = other.asC();
    teko_difference difference{sizeof(teko_difference), 0.0, 0.0, 0};
    demand(teko_compare(&a, samples, &b, otherSamples, &difference));
    return difference;
}

/** @brief An image that is pushed row by row; see teko_encoder_create(). */
class Encoder {
public:
    /** @brief Of an image whose description tells how pushed rows lie. */
    explicit Encoder(const Image& image, const Options& itsOptions = {}) : options(itsOptions) {
        const teko_image described = image.asC();
        teko_encoder* made = nullptr;
        demand(teko_encoder_create(&described, &options, &made));
        encoder.reset(made);
    }

    /** @brief Takes the next rows; see teko_encoder_push(). */
    void push(const void* samples, std::uint32_t rows) { demand(teko_encoder_push(encoder.get(), samples, rows)); }
    /** @brief After the last row, once; see teko_encoder_finish(). */
    File finish() {
        File file(options);
        file.ended = demand(teko_encoder_finish(encoder.get(), &file.buffer));
        return file;
    }

private:
    struct Destroy {
        void operator()(teko_encoder* made) const { teko_encoder_destroy(made); }
    };
    Options options;
    std::unique_ptr<teko_encoder, Destroy> encoder;
};

/** @brief An image that is pulled row by row; see teko_decoder_create(). */
class Decoder {
public:
    /** @brief Reads a file or a prefix, which is not needed any more afterwards. */
    Decoder(std::span<const std::byte> file, const Image& image, const Options& options = {}) {
        const teko_image described = image.asC();
        teko_outcome found{sizeof(teko_outcome), 0};
        teko_decoder* made = nullptr;
        const teko_status status =
            demand(teko_decoder_create(file.data(), file.size(), &described, &options, &made, &found));
        decoder.reset(made);
        ended = {status, found.used};
    }

    /** @brief Known before the first row. */
    const Outcome& outcome() const noexcept { return ended; }
    /** @brief Gives the next rows; see teko_decoder_pull(). */
    void pull(void* samples, std::uint32_t rows) { demand(teko_decoder_pull(decoder.get(), samples, rows)); }

private:
    struct Destroy {
        void operator()(teko_decoder* made) const { teko_decoder_destroy(made); }
    };
    std::unique_ptr<teko_decoder, Destroy> decoder;
    Outcome ended{TEKO_OK, 0};
};

} // namespace v1
} // namespace teko

#endif
