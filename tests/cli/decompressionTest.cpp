// SPDX-License-Identifier: Apache-2.0
// Modes d and D: what they print, and what they make of complete and of incomplete files.
#include "cliTest.hpp"

#include <algorithm>

namespace teko {

namespace {

constexpr std::size_t bitsPerPixelAt = 5;

class DecompressionOfEveryKind : public EveryKind {
protected:
    // The same file with another number of bits/pixel.
    static Bytes withBits(Bytes codedContent, int bits) {
        codedContent[bitsPerPixelAt] = static_cast<std::uint8_t>(bits);
        return codedContent;
    }

    // The largest sample of a raw file of this test's kind.
    static unsigned largest(const Bytes& content) {
        const std::size_t step = GetParam().bytesPerPixel == 2 ? 2 : 1;
        unsigned result = 0;
        for (std::size_t i = 0; i < content.size(); i += step) {
            const unsigned high = step == 2 ? content[i + 1] : 0U;
            result = std::max(result, high << 8 | content[i]);
        }
        return result;
    }
};

INSTANTIATE_TEST_SUITE_P(Kind, DecompressionOfEveryKind, testing::ValuesIn(everyKind));

TEST_P(DecompressionOfEveryKind, PrintsItsStagesAndWritesOneFile) {
    const Bytes content = coded(GetParam(), raw::noise(GetParam()));
    files.write("whole", content);
    Outcome expected = decompressed(GetParam());
    EXPECT_EQ(run({"d", "whole", "restored"}), expected);
    EXPECT_EQ(files.read("restored"), raw::noise(GetParam()));
    expected.output.insert(0, text::inMemory(content.size() - headerBytes));
    EXPECT_EQ(run({"D", "whole", "restoredInMemory"}), expected);
    EXPECT_EQ(files.read("restoredInMemory"), raw::noise(GetParam()));
    EXPECT_EQ(files.names(), (Strings{"coded.raw", "coded.tk", "restored", "restoredInMemory", "whole"}));
    EXPECT_EQ(files.read("whole"), content);
}

TEST_P(DecompressionOfEveryKind, BytesBehindTheStreamAreIgnored) {
    const Bytes content = coded(GetParam(), raw::noise(GetParam()));
    for (const std::size_t extra : {1U, 4U, 5U, 5000U}) {
        EXPECT_EQ(decoded("d", GetParam(), content + Bytes(extra, 0xFF)), raw::noise(GetParam())) << extra;
        EXPECT_EQ(decoded("D", GetParam(), content + Bytes(extra, 0xFF)), raw::noise(GetParam())) << extra;
    }
}

TEST_P(DecompressionOfEveryKind, ACompleteFileIsNotClamped) {
    const Bytes content = coded(GetParam(), raw::noise(GetParam()));
    for (const int bits : {0, 1, 4, 255}) {
        EXPECT_EQ(decoded("d", GetParam(), withBits(content, bits)), raw::noise(GetParam())) << bits;
    }
}

// What is missing of the squares' edges makes samples overshoot: the wider clamp shows that they do.
TEST_P(DecompressionOfEveryKind, ACutFileIsClampedBelow2ToTheBits) {
    Shape shape = GetParam();
    shape.bitsPerPixel = shape.bytesPerPixel == 2 ? 11 : 5;
    const Bytes content = coded(shape, raw::squares(shape));
    unsigned highest = 0;
    unsigned highestWithRoom = 0;
    for (std::size_t bytes = 20; bytes < content.size(); bytes += content.size() / 10) {
        const Bytes cut = prefix(content, bytes);
        highest = std::max(highest, largest(decoded("d", shape, cut)));
        highestWithRoom =
            std::max(highestWithRoom, largest(decoded("d", shape, withBits(cut, shape.bitsPerPixel + 1))));
    }
    EXPECT_EQ(highest, shape.maximum());
    EXPECT_GT(highestWithRoom, shape.maximum());
}

TEST_P(DecompressionOfEveryKind, ACutFileIsClampedAtTheBitsInTheHeader) {
    const Bytes content = coded(GetParam(), raw::noise(GetParam()), "0.5");
    for (const int bits : {1, 2, 3, 7}) {
        EXPECT_EQ(largest(decoded("d", GetParam(), withBits(content, bits))), (1U << bits) - 1) << bits;
    }
    EXPECT_EQ(largest(decoded("d", GetParam(), withBits(content, 0))), 0U);
}

TEST_P(DecompressionOfEveryKind, TheClampCountsBitsModulo32) {
    const Bytes content = coded(GetParam(), raw::noise(GetParam()), "0.5");
    for (const int bits : {0, 3, 8}) {
        const Bytes expected = decoded("d", GetParam(), withBits(content, bits));
        EXPECT_EQ(decoded("d", GetParam(), withBits(content, bits + 32)), expected) << bits;
        EXPECT_EQ(decoded("D", GetParam(), withBits(content, bits + 224)), expected) << bits;
    }
}

// A file that holds the top plane and no plane decodes to an image of zeros.
TEST_P(DecompressionOfEveryKind, AStreamCutBehindItsFirstWordDecodes) {
    const Bytes content = header(GetParam()) + Bytes{0xFF, 0, 0, 0};
    EXPECT_EQ(decoded("d", GetParam(), content), Bytes(GetParam().fileBytes(), 0));
    EXPECT_EQ(decoded("D", GetParam(), content), Bytes(GetParam().fileBytes(), 0));
}

TEST_P(DecompressionOfEveryKind, TheLastBytesBehindTheLastWordAreNotDecoded) {
    const Bytes content = coded(GetParam(), raw::noise(GetParam()));
    const std::size_t words = 25;
    const Bytes expected = decoded("d", GetParam(), prefix(content, headerBytes + 4 * words));
    for (std::size_t more = 1; more < 4; ++more) {
        EXPECT_EQ(decoded("d", GetParam(), prefix(content, headerBytes + 4 * words + more)), expected) << more;
        EXPECT_EQ(decoded("D", GetParam(), prefix(content, headerBytes + 4 * words + more)), expected) << more;
    }
    EXPECT_NE(decoded("d", GetParam(), prefix(content, headerBytes + 4 * words + 4)), expected);
}

TEST_P(DecompressionOfEveryKind, EmptyImagesGiveEmptyFiles) {
    for (const auto& [xsize, ysize] : {std::pair{0, 0}, {0, 1}, {0, 20}, {20, 0}, {65535, 0}}) {
        const Shape shape = GetParam().sized(xsize, ysize);
        EXPECT_EQ(decoded("d", shape, coded(shape, {})), Bytes()) << shape;
        EXPECT_EQ(decoded("D", shape, coded(shape, {})), Bytes()) << shape;
    }
}

TEST_P(DecompressionOfEveryKind, AnOlderOutputFileIsReplacedWhole) {
    files.write("restored", Bytes(100000, 7));
    files.write("whole", coded(GetParam(), raw::slope(GetParam())));
    EXPECT_EQ(run({"d", "whole", "restored"}), decompressed(GetParam()));
    EXPECT_EQ(files.read("restored"), raw::slope(GetParam()));
}

} // namespace

} // namespace teko
