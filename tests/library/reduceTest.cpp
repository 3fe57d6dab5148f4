// SPDX-License-Identifier: Apache-2.0
// Halved sides: the inverse transform stopped early, and the gain of the levels left out taken from what it has then.
#include "calls.hpp"
#include "plainCodec.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

std::vector<std::string> targets() {
    std::vector<std::string> runnable;
    for (const char* name : {"plain", "portable", "avx2", "avx512", "neon"}) {
        const Picture shape{TEKO_GREY8, 4, 4, 0, Bytes(16)};
        teko_options given = options();
        given.target = name;
        if (encode(shape, given).status == TEKO_OK) {
            runnable.emplace_back(name);
        }
    }
    return runnable;
}

void expectReduced(const Bytes& file, std::uint32_t reduce) {
    const auto expected = plain::decoded(file, static_cast<int>(reduce));
    for (const std::string& target : targets()) {
        teko_options given = reducedBy(reduce);
        given.target = target.c_str();
        const DecodedPicture decoded = decode(file, given);
        if (!expected) {
            ASSERT_EQ(decoded.status, TEKO_ERROR_TOO_SHORT);
            continue;
        }
        ASSERT_EQ(decoded.status, expected->isComplete ? TEKO_OK : TEKO_CUT) << target;
        ASSERT_TRUE(decoded.samples == expected->samples) << target << ", reduced by " << reduce << ", " << file.size();
    }
}

std::vector<Picture> pictures() {
    std::vector<Picture> all;
    for (const std::uint32_t kind : {TEKO_GREY8, TEKO_GREY16, TEKO_RGB8}) {
        for (const Look look : allLooks) {
            all.push_back(picture(look, kind, 67, 65));
            all.push_back(picture(look, kind, 9, 40));
        }
        for (const auto& [width, height] : {std::pair{4U, 4U}, {5U, 4U}, {17U, 8U}, {100U, 6U}, {64U, 64U}}) {
            all.push_back(picture(Look::extremes, kind, width, height));
        }
    }
    all.push_back(picture(Look::extremes, TEKO_GREY16, 33, 20, 12));
    all.push_back(picture(Look::extremes, TEKO_GREY8, 33, 20, 3));
    return all;
}

} // namespace

TEST(LibraryReduce, OfWholeFilesIsTheInverseTransformStoppedEarly) {
    for (const Picture& picture : pictures()) {
        SCOPED_TRACE(testing::PrintToString(picture));
        const teko_image image = picture.description();
        const Bytes file = encode(picture).file;
        for (std::uint32_t reduce = 0; reduce <= teko_levels(&image); ++reduce) {
            expectReduced(file, reduce);
            for (const std::size_t part : {2U, 3U, 5U, 9U, 30U}) {
                expectReduced(prefix(file, file.size() / part), reduce);
            }
        }
    }
}

TEST(LibraryReduce, OfEveryPrefixIsTheInverseTransformStoppedEarly) {
    for (const std::uint32_t kind : {TEKO_GREY8, TEKO_GREY16, TEKO_RGB8}) {
        for (const auto& [width, height] : {std::pair{17U, 9U}, {4U, 7U}, {8U, 16U}}) {
            const Bytes file = encode(picture(Look::photograph, kind, width, height)).file;
            for (std::uint32_t reduce = 1; reduce <= (width < 8 ? 1 : 2); ++reduce) {
                for (std::size_t length = 10; length <= file.size(); ++length) {
                    expectReduced(prefix(file, length), reduce);
                }
            }
        }
    }
}

// Columns go through the kernel in blocks, in the levels that are left out and in those that are not.
TEST(LibraryReduce, OfAnImageWithBlockedColumnsIsTheSame) {
    for (const std::uint32_t kind : {TEKO_GREY8, TEKO_GREY16}) {
        const Bytes file = encode(picture(Look::photograph, kind, 260, 1100)).file;
        for (std::uint32_t reduce = 0; reduce <= 5; ++reduce) {
            expectReduced(prefix(file, file.size() / 3), reduce);
        }
    }
}

TEST(LibraryReduce, StopsAtTheLevelsOfTheImage) {
    const std::uint32_t sides[] = {2, 4, 8, 16, 32, 64, 65, 127, 128, 200};
    const std::uint32_t levels[] = {0, 1, 2, 3, 4, 5, 5, 5, 5, 5};
    for (std::size_t i = 0; i < std::size(sides); ++i) {
        const Picture shape = picture(Look::photograph, TEKO_GREY8, sides[i], sides[i] + 7);
        const teko_image image = shape.description();
        EXPECT_EQ(teko_levels(&image), levels[i]);
        const Bytes file = encode(shape).file;
        EXPECT_GE(decode(file, reducedBy(levels[i])).status, TEKO_OK);
        for (const std::uint32_t tooMany : {levels[i] + 1, 31U, 32U, 64U, ~0U}) {
            const teko_options given = reducedBy(tooMany);
            Bytes samples(shape.rawBytes());
            EXPECT_EQ(teko_decode(file.data(), file.size(), &image, samples.data(), &given, nullptr),
                      TEKO_ERROR_REDUCE);
        }
    }
}

TEST(LibraryReduce, RoundsSidesUp) {
    EXPECT_EQ(teko_reduced(0, 3), 0U);
    EXPECT_EQ(teko_reduced(1, 5), 1U);
    EXPECT_EQ(teko_reduced(65, 5), 3U);
    EXPECT_EQ(teko_reduced(65535, 5), 2048U);
    EXPECT_EQ(teko_reduced(64, 0), 64U);
}

} // namespace teko
