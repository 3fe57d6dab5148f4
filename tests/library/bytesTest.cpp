// SPDX-License-Identifier: Apache-2.0
// Files are those of the reference, byte for byte, whatever the goal; every prefix decodes to the samples of the
// reference.
#include "calls.hpp"
#include "plainCodec.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

constexpr std::size_t fewestBytes = 14;

std::vector<Picture> pictures() {
    std::vector<Picture> all;
    for (const Picture& shape : telltaleShapes()) {
        const Look look = allLooks[(shape.width + shape.height + shape.kind) % std::size(allLooks)];
        all.push_back(picture(look, shape.kind, shape.width, shape.height));
    }
    for (const std::uint32_t bits : {1U, 5U, 12U, 16U}) {
        all.push_back(picture(Look::photograph, TEKO_GREY16, 33, 20, bits));
    }
    all.push_back(picture(Look::photograph, TEKO_GREY8, 33, 20, 3));
    all.push_back({TEKO_GREY16, 4, 4, 0, Bytes(32)}); // 13 bytes, but for the zeros of a whole word
    all.push_back(picture(Look::noise, TEKO_RGB8, 21, 18, 7));
    return all;
}

// How a file ends that holds these bytes of a stream.
teko_status expectedStatus(const Picture& picture, const Bytes& file) {
    const auto decoded = plain::decoded(file);
    if (!decoded || !decoded->isComplete) {
        return TEKO_CUT;
    }
    return decoded->samples == picture.samples ? TEKO_OK : TEKO_INEXACT;
}

void expectFile(const Picture& picture, const teko_options& given, std::size_t budget, const Bytes& expected) {
    const Encoded encoded = encode(picture, given);
    if (std::min(budget, expected.size()) < fewestBytes) {
        EXPECT_EQ(encoded, (Encoded{TEKO_ERROR_BUDGET, {}})) << budget;
        return;
    }
    EXPECT_TRUE(encoded.file == expected) << budget << ": " << encoded.file.size() << ", not " << expected.size();
    EXPECT_EQ(encoded.status, expectedStatus(picture, expected)) << budget;
}

// Everything up to a few hundred bytes, then ever fewer.
std::vector<std::size_t> telltaleLengths(std::size_t whole) {
    std::vector<std::size_t> lengths;
    for (std::size_t length = 0; length < whole + 6; length += 1 + length / 200 * 37) {
        lengths.push_back(length);
    }
    for (std::size_t length = whole < 9 ? 0 : whole - 9; length < whole + 9; ++length) {
        lengths.push_back(length);
    }
    return lengths;
}

} // namespace

TEST(LibraryBytes, OfAWholeFileAreThoseOfTheReference) {
    for (const Picture& picture : pictures()) {
        SCOPED_TRACE(testing::PrintToString(picture));
        const Bytes whole = plain::encoded(picture).whole();
        expectFile(picture, options(), whole.size(), whole);
    }
}

TEST(LibraryBytes, ToARateAreThoseOfTheReferenceWithinTheBudget) {
    for (const Picture& picture : pictures()) {
        SCOPED_TRACE(testing::PrintToString(picture));
        const plain::Stream stream = plain::encoded(picture);
        for (const double rate : {0.0, 0.01, 0.07, 0.23, 0.5, 0.77, 0.9, 0.99, 1.0}) {
            const std::size_t budget = plain::budget(picture, static_cast<float>(rate));
            std::size_t told = 0;
            const teko_image image = picture.description();
            EXPECT_EQ(teko_budget(&image, rate, &told), TEKO_OK);
            EXPECT_EQ(told, budget);
            expectFile(picture, toRate(rate), budget, stream.within(budget));
        }
    }
}

TEST(LibraryBytes, ToABudgetAreTheCompleteFileOrItsBeginning) {
    for (const Picture& picture : pictures()) {
        SCOPED_TRACE(testing::PrintToString(picture));
        const Bytes whole = plain::encoded(picture).whole();
        const std::size_t step = 1 + whole.size() / 40;
        for (std::size_t budget = 0; budget < whole.size() + 9; budget += budget < 24 ? 1 : step) {
            expectFile(picture, toBytes(budget), budget, prefix(whole, budget));
        }
        for (std::size_t budget = std::max(whole.size(), std::size_t{5}) - 5; budget < whole.size() + 5; ++budget) {
            expectFile(picture, toBytes(budget), budget, prefix(whole, budget));
        }
    }
}

TEST(LibraryBytes, OfAnyPrefixDecodeToTheSamplesOfTheReference) {
    for (const Picture& picture : pictures()) {
        SCOPED_TRACE(testing::PrintToString(picture));
        const Bytes whole = plain::encoded(picture).whole() + Bytes(5, 0xEE);
        for (const std::size_t length : telltaleLengths(whole.size())) {
            const Bytes file = prefix(whole, length);
            const DecodedPicture decoded = decode(file);
            const auto expected = plain::decoded(file);
            ASSERT_EQ(decoded.status < 0, !expected) << length;
            if (!expected) {
                EXPECT_EQ(decoded.status, TEKO_ERROR_TOO_SHORT) << length;
                continue;
            }
            EXPECT_EQ(decoded.status, expected->isComplete ? TEKO_OK : TEKO_CUT) << length;
            EXPECT_TRUE(decoded.samples == expected->samples) << length;
            EXPECT_EQ(decoded.used, expected->isComplete ? whole.size() - 5 : 10 + (file.size() - 10) / 4 * 4);
        }
    }
}

// Every length is cut at: a decoder uses whole words, and nothing behind the stream is known of.
TEST(LibraryBytes, ThatAreKeptForABudgetAreThoseThatADecoderUses) {
    const Bytes whole = encode(picture(Look::photograph, TEKO_RGB8, 17, 9)).file;
    for (std::size_t bytes = 0; bytes < whole.size() + 9; ++bytes) {
        std::size_t kept = 0;
        const teko_status status = teko_cut(whole.data(), whole.size(), bytes, &kept);
        ASSERT_EQ(status, bytes < fewestBytes ? TEKO_ERROR_BUDGET : TEKO_OK) << bytes;
        if (status == TEKO_OK) {
            EXPECT_LE(kept, std::min(bytes, whole.size()));
            EXPECT_EQ(kept, decode(prefix(whole, bytes)).used) << bytes;
        }
    }
}

} // namespace teko
