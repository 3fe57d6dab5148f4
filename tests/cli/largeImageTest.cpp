// SPDX-License-Identifier: Apache-2.0
// Images of many millions of samples: estimates, counters and buffers beyond what small images reach.
#include "cliTest.hpp"

#include <cstdlib>

namespace teko {

namespace {

class LargeImage : public CliTest {
protected:
    // Codes the content in mode c, decodes it in mode d and compares. Returns the compressed file's size.
    std::uintmax_t expectRoundTrip(const Shape& shape, const Bytes& content) const {
        files.write("raw", content);
        EXPECT_EQ(compress("c", shape, "raw", "coded"), compressed(shape));
        EXPECT_EQ(run({"d", "coded", "restored"}), decompressed(shape));
        EXPECT_TRUE(files.read("restored") == content) << shape;
        return std::filesystem::file_size(files.path("coded"));
    }
};

struct FlatImage {
    int side;
    int value;
};

std::ostream& operator<<(std::ostream& stream, const FlatImage& image) {
    return stream << image.side << "x" << image.side << "_of_" << image.value;
}

class LargeFlatImage : public LargeImage, public testing::WithParamInterface<FlatImage> {};

// The finest class has more than 8,388,608 candidates and no event in any plane.
TEST_P(LargeFlatImage, ComesBackFromAFileOfAFewBytes) {
    const Shape shape{1, 8, GetParam().side, GetParam().side};
    const Bytes content(shape.fileBytes(), static_cast<std::uint8_t>(GetParam().value));
    EXPECT_LT(expectRoundTrip(shape, content), shape.fileBytes() / 100);
}

INSTANTIATE_TEST_SUITE_P(Of, LargeFlatImage,
                         testing::Values(FlatImage{3400, 0}, FlatImage{3400, 1}, FlatImage{3400, 100},
                                         FlatImage{3400, 255}, FlatImage{4800, 0}, FlatImage{4800, 100}));

// Wide waves in both directions with four bits of noise.
Bytes noisyWaves(const Shape& shape) {
    Bytes content(shape.fileBytes());
    const auto wave = [](int position) { return static_cast<std::uint32_t>(std::abs(position % 2048 - 1024)) / 10; };
    std::uint32_t state = 1;
    std::uint8_t* next = content.data();
    for (int y = 0; y < shape.ysize; ++y) {
        const std::uint32_t vertical = wave(y);
        for (int x = 0; x < shape.xsize; ++x) {
            state ^= (state & 0x7FFFF) << 13;
            state ^= state >> 17;
            state ^= (state & 0x7FFFFFF) << 5;
            *next++ = static_cast<std::uint8_t>(vertical + wave(x) + (state & 0xF));
        }
    }
    return content;
}

TEST_F(LargeImage, Of90MegapixelsComesBack) {
    const Shape shape{1, 8, 10000, 9001};
    EXPECT_LT(expectRoundTrip(shape, noisyWaves(shape)), shape.fileBytes() * 3 / 4);
}

// 4097 * 4097 lies between two numbers of single precision; the lower one, even in its last bit, is taken.
TEST_F(LargeImage, OfOddSizeHasItsRateTakenOfThatSizeInSinglePrecision) {
    const Shape shape{1, 8, 4097, 4097};
    files.write("raw", raw::noise(shape));
    EXPECT_EQ(compress("C", shape, "raw", "coded", "1"), compressed(shape));
    EXPECT_EQ(std::filesystem::file_size(files.path("coded")), shape.fileBytes() - 1);
}

} // namespace

} // namespace teko
