// SPDX-License-Identifier: Apache-2.0
// However samples lie in memory, they are the same image; and nothing but samples is written.
#include "calls.hpp"
#include "layouts.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

constexpr int rounds = 1500;

Picture anyPicture(std::mt19937& random) {
    const std::uint32_t kind = 1 + static_cast<std::uint32_t>(random() % 3);
    const auto side = [&] {
        const auto number = static_cast<std::uint32_t>(random() % 40);
        return number == 1 ? 70U : number;
    };
    const Look look = allLooks[random() % std::size(allLooks)];
    const std::uint32_t width = side();
    return picture(look, kind, width, side());
}

Encoded encode(Canvas& canvas, const teko_options& given = options()) {
    return teko::encode(canvas.description(), canvas.samples(), given);
}

// Decodes into the canvas. Whatever is not a sample must stay.
teko_status decodeInto(Canvas& canvas, const Bytes& file, const teko_options& given = options()) {
    const Bytes before = canvas.between();
    const teko_status status =
        teko_decode(file.data(), file.size(), &canvas.description(), canvas.samples(), &given, nullptr);
    EXPECT_TRUE(canvas.between() == before) << "bytes between the samples";
    return status;
}

std::string titleOf(const teko_image& image) {
    return "kind " + std::to_string(image.kind) + ", " + std::to_string(image.width) + " x " +
           std::to_string(image.height) + ", pitches " + std::to_string(image.row_pitch) + ", " +
           std::to_string(image.pixel_pitch) + ", " + std::to_string(image.channel_pitch) + ", order " +
           std::to_string(image.byte_order) + ", signed " + std::to_string(image.is_signed);
}

// Encodes a picture from a layout, and decodes it and a prefix of it into another one.
void expectTheSame(const Picture& picture, const teko_image& from, const teko_image& to, std::uint32_t seed) {
    SCOPED_TRACE("from " + titleOf(from) + " to " + titleOf(to));
    const Encoded packed = encode(picture);
    Canvas source(picture, from, seed);
    source.place(picture.samples);
    const Bytes before = source.between();
    ASSERT_EQ(encode(source), packed);
    EXPECT_TRUE(source.between() == before && source.packed() == picture.samples) << "the samples are only read";
    Canvas target(picture, to, seed + 3);
    const DecodedPicture whole = decode(packed.file);
    ASSERT_EQ(decodeInto(target, packed.file), whole.status);
    EXPECT_TRUE(target.packed() == whole.samples);
    const Bytes cut = prefix(packed.file, 14 + seed % (packed.file.size()));
    ASSERT_EQ(decodeInto(target, cut), decode(cut).status);
    EXPECT_TRUE(target.packed() == decode(cut).samples) << "cut";
}

} // namespace

TEST(LibraryLayouts, OfAnyPitchesHoldTheSameImage) {
    std::mt19937 random(1);
    for (int i = 0; i < rounds && !testing::Test::HasFailure(); ++i) {
        Picture shape = anyPicture(random);
        if (shape.width == 1 || shape.height == 1) {
            continue;
        }
        const teko_image from = anyLayout(shape, random);
        expectTheSame(shape, from, anyLayout(shape, random), static_cast<std::uint32_t>(i));
    }
}

TEST(LibraryLayouts, OfAReducedImageAreItsOwn) {
    std::mt19937 random(2);
    for (int i = 0; i < rounds / 3 && !testing::Test::HasFailure(); ++i) {
        const Picture shape = anyPicture(random);
        const teko_image image = shape.description();
        if (teko_levels(&image) == 0) {
            continue;
        }
        const auto reduce = static_cast<std::uint32_t>(1 + random() % teko_levels(&image));
        const Bytes file = encode(shape).file;
        Picture small{shape.kind, teko_reduced(shape.width, reduce), teko_reduced(shape.height, reduce)};
        Canvas canvas(small, anyLayout(small, random), static_cast<std::uint32_t>(i));
        SCOPED_TRACE(titleOf(canvas.description()));
        EXPECT_EQ(decodeInto(canvas, file, reducedBy(reduce)), TEKO_OK);
        EXPECT_TRUE(canvas.packed() == decode(file, reducedBy(reduce)).samples);
    }
}

// Pitches of 0 are the packed ones: those of rows follow from those of pixels, with their sign.
TEST(LibraryLayouts, WithPitchesOfZeroArePacked) {
    for (const std::uint32_t kind : {TEKO_GREY8, TEKO_GREY16, TEKO_RGB8}) {
        const Picture shape = picture(Look::photograph, kind, 19, 12);
        for (const std::ptrdiff_t pitch : {0, 3, 7, -3, -8}) {
            for (const std::ptrdiff_t channel : {0, kind == TEKO_RGB8 ? 4000 : 1}) {
                teko_image image = shape.description();
                image.pixel_pitch = pitch;
                image.channel_pitch = channel;
                expectTheSame(shape, image, image, 5);
            }
        }
    }
}

TEST(LibraryLayouts, OfSignedSamplesAreThoseWithTheSignBitFlipped) {
    const Picture shape = picture(Look::noise, TEKO_GREY16, 31, 18);
    Picture flipped = shape;
    for (std::size_t i = 1; i < flipped.samples.size(); i += 2) {
        flipped.samples[i] ^= 0x80;
    }
    teko_image image = shape.description();
    image.is_signed = 1;
    EXPECT_EQ(teko::encode(image, flipped.samples.data()), encode(shape));
    Bytes samples(shape.rawBytes());
    const Bytes file = encode(shape).file;
    EXPECT_EQ(teko_decode(file.data(), file.size(), &image, samples.data(), nullptr, nullptr), TEKO_OK);
    EXPECT_TRUE(samples == flipped.samples);
}

// Encoding reads samples as often as they are asked for; decoding into shared bytes has no result.
TEST(LibraryLayouts, InWhichSamplesShareBytesAreRefusedOnDecoding) {
    std::mt19937 random(3);
    int refused = 0;
    for (int i = 0; i < 4 * rounds; ++i) {
        Picture shape{1 + static_cast<std::uint32_t>(random() % 3), 2 + static_cast<std::uint32_t>(random() % 4),
                      2 + static_cast<std::uint32_t>(random() % 4)};
        shape.samples.resize(shape.rawBytes(), 99);
        teko_image image = shape.description();
        for (std::ptrdiff_t* pitch : {&image.row_pitch, &image.pixel_pitch, &image.channel_pitch}) {
            *pitch = static_cast<std::ptrdiff_t>(random() % 30) - 15;
        }
        Canvas canvas(shape, image);
        const Bytes file = encode(shape).file;
        const teko_status status = decodeInto(canvas, file);
        if (canvas.overlapsItself()) {
            EXPECT_EQ(status, TEKO_ERROR_ARGUMENT) << titleOf(image);
            ++refused;
        }
    }
    EXPECT_GT(refused, rounds);
}

TEST(LibraryLayouts, DoNotMatterToAComparison) {
    std::mt19937 random(4);
    for (int i = 0; i < 200; ++i) {
        Picture one = anyPicture(random);
        Picture other = one;
        std::uint64_t sum = 0;
        for (std::size_t k = 0; k < other.samples.size(); k += 5 * other.sampleBytes()) {
            other.samples[k] ^= 9;
            const int difference = int{other.samples[k]} - int{one.samples[k]};
            sum += static_cast<std::uint64_t>(difference * difference);
        }
        const teko_image from = anyLayout(one, random);
        teko_image to = anyLayout(other, random);
        to.is_signed = from.is_signed;
        Canvas first(one, from, 1);
        Canvas second(other, to, 2);
        first.place(one.samples);
        second.place(other.samples);
        teko_difference difference = {};
        difference.struct_size = sizeof difference;
        ASSERT_EQ(
            teko_compare(&first.description(), first.samples(), &second.description(), second.samples(), &difference),
            TEKO_OK);
        EXPECT_DOUBLE_EQ(difference.mse,
                         one.count() == 0 ? 0 : static_cast<double>(sum) / static_cast<double>(one.count()));
    }
}

} // namespace teko
