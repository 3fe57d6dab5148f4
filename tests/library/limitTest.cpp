// SPDX-License-Identifier: Apache-2.0
// Limits: what is refused is refused before anything is allocated; buffers and budgets to the byte.
#include "countingMemory.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace teko {

namespace {

const std::vector<std::uint32_t> kinds{TEKO_GREY8, TEKO_GREY16, TEKO_RGB8};

// A file of nothing but zeros that announces those sides.
Bytes announcing(std::uint32_t kind, std::uint32_t width, std::uint32_t height, std::size_t size = 14) {
    const auto byte = [](std::uint32_t value) { return static_cast<std::uint8_t>(value & 0xFFU); };
    Bytes file{'T', 'K', '1', '0', byte(kind), 8, byte(width), byte(width >> 8), byte(height), byte(height >> 8)};
    file.resize(size, 0);
    return file;
}

teko_status describeInto(const Bytes& file, teko_image& image) {
    image = {};
    image.struct_size = sizeof image;
    return teko_describe(addressOf(file), file.size(), &image);
}

} // namespace

TEST(LibraryLimits, OfSamplesCountAllChannelsOfTheWholeImage) {
    for (const std::uint32_t kind : kinds) {
        const Picture shape = picture(Look::photograph, kind, 40, 33);
        const Bytes file = encode(shape).file;
        CountingMemory memory;
        for (const std::uint32_t reduce : {0U, 2U}) {
            teko_options given = memory.with(reducedBy(reduce));
            given.max_samples = shape.count();
            EXPECT_EQ(encode(shape, given).status, TEKO_OK);
            EXPECT_EQ(decode(file, given).status, TEKO_OK);
            memory.startAgain();
            given.max_samples = shape.count() - 1;
            EXPECT_EQ(encode(shape, given).status, TEKO_ERROR_MAX_SAMPLES);
            EXPECT_EQ(decode(file, given).status, TEKO_ERROR_MAX_SAMPLES);
            EXPECT_EQ(memory.calls, 0);
        }
    }
}

TEST(LibraryLimits, OfMemoryHoldOnDecodingIfNoneAreNamed) {
    for (const std::uint32_t kind : kinds) {
        const Bytes file = announcing(kind, 65535, 32768);
        const teko_options given = options();
        std::uint64_t bytes = 0;
        ASSERT_EQ(teko_decode_memory(file.data(), file.size(), &given, &bytes), TEKO_OK);
        ASSERT_GT(bytes, std::uint64_t{1} << 30);
        teko_image image;
        ASSERT_EQ(describeInto(file, image), TEKO_OK);
        CountingMemory memory;
        const teko_options counted = memory.with(given);
        unsigned char sample[8];
        teko_decoder* decoder = nullptr;
        EXPECT_EQ(teko_decode(file.data(), file.size(), &image, sample, &counted, nullptr), TEKO_ERROR_MAX_MEMORY);
        EXPECT_EQ(teko_decoder_create(file.data(), file.size(), &image, &counted, &decoder, nullptr),
                  TEKO_ERROR_MAX_MEMORY);
        EXPECT_EQ(memory.calls, 0);
    }
}

TEST(LibraryLimits, OfMemoryHoldForPushingAndPulling) {
    const Picture shape = picture(Look::photograph, TEKO_RGB8, 40, 33);
    const teko_image image = shape.description();
    const Bytes file = encode(shape).file;
    CountingMemory memory;
    teko_options given = memory.with(options());
    given.max_memory = 500;
    teko_encoder* encoder = nullptr;
    teko_decoder* decoder = nullptr;
    EXPECT_EQ(teko_encoder_create(&image, &given, &encoder), TEKO_ERROR_MAX_MEMORY);
    EXPECT_EQ(teko_decoder_create(file.data(), file.size(), &image, &given, &decoder, nullptr), TEKO_ERROR_MAX_MEMORY);
    given.max_memory = 0;
    given.max_samples = 10;
    EXPECT_EQ(teko_encoder_create(&image, &given, &encoder), TEKO_ERROR_MAX_SAMPLES);
    EXPECT_EQ(teko_decoder_create(file.data(), file.size(), &image, &given, &decoder, nullptr), TEKO_ERROR_MAX_SAMPLES);
    EXPECT_EQ(memory.calls, 0);
}

TEST(LibraryLimits, OfBuffersAreKeptToTheByte) {
    for (const std::uint32_t kind : kinds) {
        const Picture shape = picture(Look::photograph, kind, 23, 18);
        const teko_image image = shape.description();
        for (const teko_options& given : {options(), toRate(0.5), toBytes(77), toBytes(100000)}) {
            const Encoded expected = encode(shape, given);
            const std::size_t size = expected.file.size();
            for (const std::size_t capacity : {std::size_t{0}, std::size_t{5}, std::size_t{13}, size / 2, size - 5,
                                               size - 1, size, size + 1, size + 4, size + 999}) {
                Bytes room(capacity + 8, 0xEE);
                teko_buffer buffer = {sizeof buffer, room.data(), capacity, 1};
                const teko_status status = teko_encode(&image, shape.samples.data(), &buffer, &given);
                EXPECT_EQ(status, capacity < size ? TEKO_ERROR_BUFFER : expected.status) << capacity << " of " << size;
                EXPECT_EQ(buffer.size, capacity < size ? 0 : size);
                EXPECT_EQ(buffer.data, room.data());
                EXPECT_TRUE(capacity < size || prefix(room, size) == expected.file);
                EXPECT_EQ(Bytes(room.end() - 8, room.end()), Bytes(8, 0xEE)) << "behind a buffer nothing is written";
            }
        }
    }
}

TEST(LibraryLimits, OfBudgetsAreFourteenBytes) {
    const Picture shape = picture(Look::photograph, TEKO_GREY8, 23, 18);
    const teko_image image = shape.description();
    CountingMemory memory;
    for (std::size_t budget = 0; budget < 14; ++budget) {
        const teko_options given = memory.with(toBytes(budget));
        EXPECT_EQ(encode(shape, given), (Encoded{TEKO_ERROR_BUDGET, {}}));
        teko_encoder* encoder = nullptr;
        EXPECT_EQ(teko_encoder_create(&image, &given, &encoder), TEKO_ERROR_BUDGET);
    }
    EXPECT_EQ(memory.calls, 0);
    EXPECT_EQ(encode(shape, toBytes(14)).file.size(), 14U);
    EXPECT_EQ(encode(shape, toRate(13.99 / 414)).status, TEKO_ERROR_BUDGET);
    EXPECT_EQ(encode(shape, toRate(14.01 / 414)).file.size(), 14U);
}

TEST(LibraryLimits, OfFilesAreTheirFirstBytes) {
    const Bytes file = encode(picture(Look::photograph, TEKO_GREY16, 23, 18, 12)).file;
    teko_image image;
    for (std::size_t length = 0; length < 14; ++length) {
        const Bytes part = prefix(file, length);
        EXPECT_EQ(describeInto(part, image), length < 10 ? TEKO_ERROR_TOO_SHORT : TEKO_OK) << length;
        EXPECT_EQ(decode(part).status, TEKO_ERROR_TOO_SHORT) << length;
    }
    EXPECT_EQ(image.kind, static_cast<std::uint32_t>(TEKO_GREY16));
    EXPECT_EQ(image.bits, 12U);
    EXPECT_EQ(image.width, 23U);
    EXPECT_EQ(image.height, 18U);
    EXPECT_EQ(image.struct_size, sizeof image);
    for (const std::size_t at : {0U, 1U, 2U, 3U}) {
        Bytes other = file;
        other[at] ^= 1;
        EXPECT_EQ(describeInto(other, image), TEKO_ERROR_NOT_TEKO);
        std::size_t kept = 0;
        EXPECT_EQ(teko_cut(other.data(), other.size(), 100, &kept), TEKO_ERROR_NOT_TEKO);
        std::uint64_t bytes = 0;
        EXPECT_EQ(teko_decode_memory(other.data(), other.size(), nullptr, &bytes), TEKO_ERROR_NOT_TEKO);
        const teko_image right = Picture{TEKO_GREY16, 23, 18}.description();
        Bytes samples(2000);
        EXPECT_EQ(teko_decode(other.data(), other.size(), &right, samples.data(), nullptr, nullptr),
                  TEKO_ERROR_NOT_TEKO);
    }
}

TEST(LibraryLimits, OfDescriptionsAreWhatKindsHave) {
    for (const int kind : {0, 1, 2, 3, 4, 255}) {
        for (const int bits : {0, 1, 8, 9, 16, 17, 255}) {
            Bytes file = announcing(static_cast<std::uint32_t>(kind), 9, 8);
            file[5] = static_cast<std::uint8_t>(bits);
            teko_image image;
            const bool isKnown = kind >= 1 && kind <= 3;
            ASSERT_EQ(describeInto(file, image), isKnown ? TEKO_OK : TEKO_ERROR_KIND) << kind;
            if (isKnown) {
                EXPECT_EQ(image.bits, static_cast<std::uint32_t>(bits <= (kind == 2 ? 16 : 8) ? bits : 0));
                EXPECT_EQ(image.row_pitch, 0);
                EXPECT_EQ(image.pixel_pitch, 0);
                EXPECT_EQ(image.channel_pitch, 0);
            }
        }
    }
}

TEST(LibraryLimits, OfShapesAreThoseOfFiles) {
    for (const std::uint32_t kind : kinds) {
        const Bytes file = announcing(kind, 65535, 65535);
        teko_image image;
        EXPECT_EQ(describeInto(file, image), TEKO_OK) << "a description judges no sides";
        unsigned char sample[8];
        EXPECT_EQ(teko_decode(file.data(), file.size(), &image, sample, nullptr, nullptr), TEKO_ERROR_SHAPE);
        std::uint64_t bytes = 0;
        EXPECT_EQ(teko_decode_memory(file.data(), file.size(), nullptr, &bytes), TEKO_ERROR_SHAPE);
    }
}

TEST(LibraryLimits, OfDecodingAreTheFilesOwnSides) {
    const Picture shape = picture(Look::photograph, TEKO_GREY8, 23, 18);
    const Bytes file = encode(shape).file;
    Bytes samples(4000);
    struct Fault {
        std::uint32_t teko_image::*field;
        std::uint32_t value;
    };
    for (const Fault& fault : {Fault{&teko_image::width, 22},
                               {&teko_image::width, 24},
                               {&teko_image::height, 17},
                               {&teko_image::height, 19},
                               {&teko_image::kind, TEKO_RGB8},
                               {&teko_image::kind, TEKO_GREY16}}) {
        teko_image image = shape.description();
        image.*fault.field = fault.value;
        teko_decoder* decoder = nullptr;
        EXPECT_EQ(teko_decode(file.data(), file.size(), &image, samples.data(), nullptr, nullptr), TEKO_ERROR_MISMATCH);
        EXPECT_EQ(teko_decoder_create(file.data(), file.size(), &image, nullptr, &decoder, nullptr),
                  TEKO_ERROR_MISMATCH);
        const teko_image right = shape.description();
        teko_difference difference = {sizeof difference, 0, 0, 0};
        EXPECT_EQ(teko_compare(&right, samples.data(), &image, samples.data(), &difference), TEKO_ERROR_MISMATCH);
    }
    const teko_image whole = shape.description();
    const teko_options half = reducedBy(1);
    EXPECT_EQ(teko_decode(file.data(), file.size(), &whole, samples.data(), &half, nullptr), TEKO_ERROR_MISMATCH);
}

TEST(LibraryLimits, OfStreamsAreWhatEncodersWrite) {
    const Picture shape = picture(Look::photograph, TEKO_GREY8, 23, 18);
    const Bytes file = encode(shape).file;
    for (const std::uint8_t topPlane : {std::uint8_t{40}, std::uint8_t{200}, std::uint8_t{255}}) {
        Bytes damaged = file;
        damaged[10] = topPlane;
        const DecodedPicture decoded = decode(damaged);
        EXPECT_EQ(decoded.status, TEKO_DAMAGED) << int{topPlane};
        EXPECT_EQ(decoded.samples.size(), shape.rawBytes());
    }
    Bytes damaged = file;
    damaged[11] = static_cast<std::uint8_t>((damaged[11] & 0xE0U) | 1U); // the first k: 1 does not occur
    EXPECT_EQ(decode(damaged).status, TEKO_DAMAGED);
}

TEST(LibraryLimits, OfDifferencesAreThePeakOfTheFirstImagesBits) {
    for (const std::uint32_t bits : {0U, 5U, 8U}) {
        Picture one{TEKO_GREY8, 4, 4, bits, Bytes(16, 7)};
        Picture other = one;
        other.samples[3] = 3;
        const teko_image first = one.description();
        teko_image second = other.description();
        second.bits = 1;
        teko_difference difference = {sizeof difference, 0, 0, 0};
        ASSERT_EQ(teko_compare(&first, one.samples.data(), &second, other.samples.data(), &difference), TEKO_OK);
        EXPECT_DOUBLE_EQ(difference.mse, 1);
        EXPECT_DOUBLE_EQ(difference.psnr, 20 * std::log10(bits == 5 ? 31 : 255));
        EXPECT_EQ(difference.largest, 4U);
    }
    const Picture signs{TEKO_GREY16, 2, 2, 0, {0, 128, 255, 127, 0, 0, 0, 0}};
    const Picture others{TEKO_GREY16, 2, 2, 0, {255, 127, 255, 127, 0, 0, 0, 0}};
    teko_image image = signs.description();
    image.is_signed = 1;
    teko_difference difference = {sizeof difference, 0, 0, 0};
    ASSERT_EQ(teko_compare(&image, signs.samples.data(), &image, others.samples.data(), &difference), TEKO_OK);
    EXPECT_EQ(difference.largest, 65535U) << "the least and the greatest";
    const teko_image plain = signs.description();
    EXPECT_EQ(teko_compare(&image, signs.samples.data(), &plain, others.samples.data(), &difference),
              TEKO_ERROR_MISMATCH);
}

} // namespace teko
