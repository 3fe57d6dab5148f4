// SPDX-License-Identifier: Apache-2.0
// Rows in portions: the same files and samples, in this order and no other.
#include "calls.hpp"
#include "layouts.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

std::uint32_t portion(std::uint32_t left, std::mt19937& random) {
    return std::min(left, static_cast<std::uint32_t>(random() % 9));
}

Encoded pushed(const Picture& picture, const teko_image& image, const teko_options& given, std::mt19937& random) {
    Canvas canvas(picture, image, static_cast<std::uint32_t>(random() % 1000));
    canvas.place(picture.samples);
    teko_encoder* encoder = nullptr;
    const teko_status created = teko_encoder_create(&image, &given, &encoder);
    if (created != TEKO_OK) {
        return {created, {}};
    }
    for (std::uint32_t y = 0; y < picture.height;) {
        const std::uint32_t rows = portion(picture.height - y, random);
        EXPECT_EQ(teko_encoder_push(encoder, canvas.row(y), rows), TEKO_OK);
        y += rows;
    }
    teko_buffer buffer = noBuffer();
    const teko_status status = teko_encoder_finish(encoder, &buffer);
    teko_encoder_destroy(encoder);
    return {status, taken(buffer, given)};
}

DecodedPicture pulled(const Bytes& file, std::uint32_t reduce, std::mt19937& random) {
    Picture picture{};
    EXPECT_EQ(describe(file, reduce, picture), TEKO_OK);
    picture.bits = 0;
    const teko_image image = anyLayout(picture, random);
    Canvas canvas(picture, image, static_cast<std::uint32_t>(random() % 1000));
    const Bytes before = canvas.between();
    teko_outcome outcome = {sizeof outcome, 0};
    teko_decoder* decoder = nullptr;
    const teko_options given = reducedBy(reduce);
    Bytes copy = file;
    const teko_status status = teko_decoder_create(copy.data(), copy.size(), &image, &given, &decoder, &outcome);
    std::fill(copy.begin(), copy.end(), std::uint8_t{0}); // it is not needed any more
    for (std::uint32_t y = 0; y < picture.height;) {
        const std::uint32_t rows = portion(picture.height - y, random);
        EXPECT_EQ(teko_decoder_pull(decoder, canvas.row(y), rows), TEKO_OK);
        y += rows;
    }
    EXPECT_TRUE(canvas.between() == before);
    teko_decoder_destroy(decoder);
    return {status, canvas.packed(), outcome.used};
}

class LibraryOrder : public testing::Test {
protected:
    const Picture shape = picture(Look::photograph, TEKO_GREY8, 20, 12);
    const teko_image image = shape.description();
    const Bytes file = encode(shape).file;
    Bytes samples = shape.samples;
    teko_buffer buffer = noBuffer();
    teko_encoder* encoder = nullptr;
    teko_decoder* decoder = nullptr;

    void SetUp() override {
        ASSERT_EQ(teko_encoder_create(&image, nullptr, &encoder), TEKO_OK);
        ASSERT_EQ(teko_decoder_create(file.data(), file.size(), &image, nullptr, &decoder, nullptr), TEKO_OK);
    }
    void TearDown() override {
        teko_encoder_destroy(encoder);
        teko_decoder_destroy(decoder);
        teko_release(&buffer, nullptr);
    }
    teko_status push(std::uint32_t rows) { return teko_encoder_push(encoder, samples.data(), rows); }
    teko_status pull(std::uint32_t rows) { return teko_decoder_pull(decoder, samples.data(), rows); }
    teko_status finish() { return teko_encoder_finish(encoder, &buffer); }
};

} // namespace

TEST(LibraryPush, GivesTheFilesOfWholeImages) {
    std::mt19937 random(1);
    for (const Picture& shape : telltaleShapes()) {
        const Picture picture = teko::picture(Look::photograph, shape.kind, shape.width, shape.height);
        for (const teko_options& given : {options(), toRate(0.4), toBytes(50)}) {
            SCOPED_TRACE(testing::PrintToString(picture));
            ASSERT_EQ(pushed(picture, anyLayout(picture, random), given, random), encode(picture, given));
        }
    }
}

TEST(LibraryPull, GivesTheSamplesOfWholeImages) {
    std::mt19937 random(2);
    for (const Picture& shape : telltaleShapes()) {
        const Picture picture = teko::picture(Look::photograph, shape.kind, shape.width, shape.height);
        const teko_image image = picture.description();
        const Bytes file = encode(picture).file;
        for (std::uint32_t reduce = 0; reduce <= teko_levels(&image); ++reduce) {
            for (const Bytes& part :
                 {file, prefix(file, std::max<std::size_t>(14, file.size() / 3)), file + Bytes{1, 2, 3, 4, 5}}) {
                SCOPED_TRACE(testing::PrintToString(picture));
                ASSERT_EQ(pulled(part, reduce, random), decode(part, reducedBy(reduce)));
            }
        }
    }
}

TEST_F(LibraryOrder, OfPushesIsRowByRow) {
    EXPECT_EQ(push(0), TEKO_OK);
    EXPECT_EQ(push(12), TEKO_OK);
    EXPECT_EQ(push(0), TEKO_OK);
    EXPECT_EQ(finish(), TEKO_OK);
    EXPECT_EQ(taken(buffer, options()), file);
    EXPECT_EQ(finish(), TEKO_ERROR_ORDER) << "a file is made once";
    EXPECT_EQ(push(1), TEKO_ERROR_ORDER);
    EXPECT_EQ(buffer.size, 0U);
}

TEST_F(LibraryOrder, HasNoMoreRowsThanTheImage) {
    EXPECT_EQ(push(11), TEKO_OK);
    EXPECT_EQ(push(2), TEKO_ERROR_ORDER);
    EXPECT_EQ(push(1), TEKO_ERROR_ORDER) << "after a call that failed";
    EXPECT_EQ(finish(), TEKO_ERROR_ORDER);
    EXPECT_EQ(pull(11), TEKO_OK);
    EXPECT_EQ(pull(2), TEKO_ERROR_ORDER);
    EXPECT_EQ(pull(1), TEKO_ERROR_ORDER) << "after a call that failed";
}

TEST_F(LibraryOrder, HasNoRowsBeyondAnyNumber) {
    EXPECT_EQ(push(~0U), TEKO_ERROR_ORDER);
    EXPECT_EQ(pull(~0U), TEKO_ERROR_ORDER);
}

TEST_F(LibraryOrder, HasNoFewerRowsThanTheImage) {
    EXPECT_EQ(push(11), TEKO_OK);
    EXPECT_EQ(finish(), TEKO_ERROR_ORDER);
    EXPECT_EQ(buffer.data, nullptr);
    EXPECT_EQ(buffer.size, 0U);
    EXPECT_EQ(push(1), TEKO_ERROR_ORDER) << "after a call that failed";
}

TEST_F(LibraryOrder, OfPullsEndsWithTheLastRow) {
    EXPECT_EQ(pull(12), TEKO_OK);
    EXPECT_TRUE(samples == shape.samples);
    EXPECT_EQ(pull(0), TEKO_OK);
    EXPECT_EQ(pull(1), TEKO_ERROR_ORDER);
}

TEST_F(LibraryOrder, MayEndAtAnyTime) {
    EXPECT_EQ(push(5), TEKO_OK);
    EXPECT_EQ(pull(7), TEKO_OK);
}

TEST_F(LibraryOrder, EndsWithWhatIsNull) {
    EXPECT_EQ(teko_encoder_push(encoder, nullptr, 1), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(push(1), TEKO_ERROR_ORDER);
    EXPECT_EQ(teko_decoder_pull(decoder, nullptr, 1), TEKO_ERROR_ARGUMENT);
    EXPECT_EQ(pull(1), TEKO_ERROR_ORDER);
}

TEST(LibraryEmptyRows, AreCounted) {
    const Picture shape{TEKO_GREY16, 0, 3};
    const teko_image image = shape.description();
    const Bytes file = encode(shape).file;
    teko_decoder* decoder = nullptr;
    ASSERT_EQ(teko_decoder_create(file.data(), file.size(), &image, nullptr, &decoder, nullptr), TEKO_OK);
    EXPECT_EQ(teko_decoder_pull(decoder, nullptr, 2), TEKO_OK);
    EXPECT_EQ(teko_decoder_pull(decoder, nullptr, 2), TEKO_ERROR_ORDER);
    teko_decoder_destroy(decoder);
}

TEST_F(LibraryOrder, OfAFullBufferEnds) {
    unsigned char little[20];
    teko_buffer small = {sizeof small, little, sizeof little, 7};
    EXPECT_EQ(push(12), TEKO_OK);
    EXPECT_EQ(teko_encoder_finish(encoder, &small), TEKO_ERROR_BUFFER);
    EXPECT_EQ(small.size, 0U);
    EXPECT_EQ(finish(), TEKO_ERROR_ORDER);
}

} // namespace teko
