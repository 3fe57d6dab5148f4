// SPDX-License-Identifier: Apache-2.0
// TEKO_INEXACT is said of exactly those complete files that decode to other samples.
#include "adversary.hpp"
#include "calls.hpp"
#include "plainCodec.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

teko_status expectedStatus(const Picture& picture, const Bytes& file) {
    return comesBack(picture, file) ? TEKO_OK : TEKO_INEXACT;
}

Encoded pushed(const Picture& picture, const teko_options& given = options()) {
    const teko_image image = picture.description();
    teko_encoder* encoder = nullptr;
    teko_encoder_create(&image, &given, &encoder);
    teko_encoder_push(encoder, picture.samples.data(), picture.height);
    teko_buffer buffer = noBuffer();
    const teko_status status = teko_encoder_finish(encoder, &buffer);
    teko_encoder_destroy(encoder);
    return {status, taken(buffer, given)};
}

// TEKO_ADVERSARIES of them, if the environment says so.
int adversaries() {
    const char* const number = std::getenv("TEKO_ADVERSARIES");
    return number == nullptr ? 4000 : std::atoi(number);
}

} // namespace

TEST(LibraryInexact, IsWhatDecodesToOtherSamples) {
    Adversary adversary(7);
    int inexact = 0;
    const int number = adversaries();
    for (int i = 0; i < number && !testing::Test::HasFailure(); ++i) {
        const Picture picture = adversary.next();
        const Encoded encoded = encode(picture);
        const teko_status expected = expectedStatus(picture, encoded.file);
        ASSERT_EQ(encoded.status, expected) << i << ": " << picture;
        if (i % 8 == 0 || expected == TEKO_INEXACT) {
            ASSERT_EQ(pushed(picture), encoded) << i << ": " << picture;
        }
        inexact += expected == TEKO_INEXACT ? 1 : 0;
    }
    EXPECT_GT(inexact, number / 1000) << "these tests are of no use without any";
    RecordProperty("inexact", inexact);
    std::printf("%d of %d are inexact\n", inexact, number);
}

// The library's own decoder makes of them what the reference makes of them.
TEST(LibraryInexact, HasTheSamplesOfTheReference) {
    Adversary adversary(8);
    int inexact = 0;
    for (int i = 0; i < 3000 && inexact < 12; ++i) {
        const Picture picture = adversary.next();
        const Encoded encoded = encode(picture);
        if (encoded.status == TEKO_INEXACT) {
            ++inexact;
            ASSERT_TRUE(encoded.file == plain::encoded(picture).whole());
            ASSERT_TRUE(decode(encoded.file).samples == plain::decoded(encoded.file)->samples);
            ASSERT_FALSE(decode(encoded.file).samples == picture.samples);
        }
    }
    EXPECT_GT(inexact, 3);
}

TEST(LibraryInexact, IsSaidForOtherGoalsAndTargets) {
    Adversary adversary(9);
    int inexact = 0;
    for (int i = 0; i < 3000 && inexact < 5; ++i) {
        const Picture picture = adversary.next();
        const Encoded encoded = encode(picture);
        if (encoded.status != TEKO_INEXACT) {
            continue;
        }
        ++inexact;
        EXPECT_EQ(encode(picture, toBytes(encoded.file.size())), encoded);
        EXPECT_EQ(encode(picture, toBytes(encoded.file.size() - 4)).status, TEKO_CUT);
        for (const char* target : {"plain", "portable", "avx2", "avx512", "neon"}) {
            teko_options given = options();
            given.target = target;
            const Encoded here = encode(picture, given);
            EXPECT_TRUE(here == encoded || here.status == TEKO_ERROR_TARGET) << target;
        }
        Bytes room(encoded.file.size());
        teko_buffer buffer = {sizeof buffer, room.data(), room.size(), 0};
        const teko_image image = picture.description();
        EXPECT_EQ(teko_encode(&image, picture.samples.data(), &buffer, nullptr), TEKO_INEXACT);
        EXPECT_TRUE(room == encoded.file);
    }
    EXPECT_EQ(inexact, 5);
}

TEST(LibraryInexact, IsSaidOfSidesOfTwoAndThreeWhereItIsSo) {
    int exact = 0;
    int inexact = 0;
    for (const std::uint32_t kind : {TEKO_GREY8, TEKO_GREY16, TEKO_RGB8}) {
        for (const std::uint32_t side : {2U, 3U}) {
            for (const std::uint32_t other : {2U, 3U, 4U, 5U, 9U, 33U}) {
                for (const Look look : allLooks) {
                    for (const bool isWide : {false, true}) {
                        const Picture shape =
                            isWide ? picture(look, kind, other, side) : picture(look, kind, side, other);
                        const Encoded encoded = encode(shape);
                        ASSERT_EQ(encoded.status, expectedStatus(shape, encoded.file)) << shape;
                        ASSERT_EQ(pushed(shape), encoded) << shape;
                        ++(encoded.status == TEKO_OK ? exact : inexact);
                    }
                }
                Picture black{kind, side, other};
                black.samples.resize(black.rawBytes());
                ASSERT_EQ(encode(black).status, TEKO_OK);
                ++exact;
            }
        }
    }
    EXPECT_GT(exact, 30);
    EXPECT_GT(inexact, 30);
}

TEST(LibraryInexact, IsSaidOfColumnsInBlocks) {
    const Picture shape = blockedAdversary();
    const Encoded encoded = encode(shape);
    EXPECT_FALSE(comesBack(shape, encoded.file));
    EXPECT_EQ(encoded.status, TEKO_INEXACT);
    EXPECT_EQ(pushed(shape), encoded);
}

// All images of two by two with samples of a few values.
TEST(LibraryInexact, IsSaidOfFourSamplesWhereItIsSo) {
    static constexpr std::uint8_t values[] = {0, 1, 2, 3, 5, 100, 254, 255};
    int exact = 0;
    for (unsigned i = 0; i < 8 * 8 * 8 * 8; ++i) {
        const Picture shape{
            TEKO_GREY8, 2, 2, 0, {values[i % 8], values[i / 8 % 8], values[i / 64 % 8], values[i / 512]}};
        const Encoded encoded = encode(shape);
        ASSERT_EQ(encoded.status, expectedStatus(shape, encoded.file)) << i;
        ASSERT_EQ(pushed(shape), encoded) << i;
        exact += encoded.status == TEKO_OK ? 1 : 0;
    }
    EXPECT_GT(exact, 1);
    EXPECT_LT(exact, 2000);
}

// Images of 16 bits and sides from 4 on always come back.
TEST(LibraryInexact, IsNothingOfSixteenBits) {
    Adversary adversary(10);
    for (int i = 0; i < 500; ++i) {
        Picture picture = adversary.next();
        if (picture.kind != TEKO_GREY8) {
            continue;
        }
        Picture wide{TEKO_GREY16, picture.width, picture.height};
        for (const std::uint8_t sample : picture.samples) {
            wide.append(sample * 257U);
        }
        const Encoded encoded = encode(wide);
        ASSERT_EQ(encoded.status, TEKO_OK);
        ASSERT_TRUE(comesBack(wide, encoded.file));
    }
}

} // namespace teko
