// SPDX-License-Identifier: Apache-2.0
// How raw rows go from and to files: one at a time, each in one piece.
#include "image/imageData.hpp"

#include "support/fileCalls.hpp"
#include "support/scratchFile.hpp"
#include "support/thrownInteger.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

using Calls = std::vector<FileCall>;

constexpr int height = 5;

// Of an image of short samples, which has files of one byte per sample, or of long ones, which has files of two.
template <typename T>
class RawRowsOf : public testing::Test {
protected:
    static constexpr std::size_t sampleBytes = sizeof(T) == sizeof(short) ? 1 : 2;

    static int read(ImageData<T>& image, std::FILE* file) {
        return sampleBytes == 1 ? image.rawRead8(file) : image.rawRead16(file);
    }
    static int write(ImageData<T>& image, std::FILE* file, int limit) {
        return sampleBytes == 1 ? image.rawWrite8(file, limit) : image.rawWrite16(file, limit);
    }

    static FileCall rowOf(const ImageData<T>& image) {
        return {sampleBytes, static_cast<std::size_t>(image.width * image.channels)};
    }
    static std::size_t rowBytes(const ImageData<T>& image) { return rowOf(image).size * rowOf(image).count; }

    // Calls an action with images of all numbers of channels, 0 to 9000 samples wide: from nothing to more than the C
    // library's own buffers hold.
    template <typename Action>
    static void forImages(Action action) {
        for (const int width : {0, 1, 2, 7, 100, 9000}) {
            for (int channels = 1; channels <= 3; ++channels) {
                ImageData<T> image(width, height, channels);
                for (int c = 0; c < channels; ++c) {
                    std::fill_n(image.planes[c], width * height, T{3});
                }
                action(image);
            }
        }
    }
};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(RawRowsOf, SampleTypes);

} // namespace

TYPED_TEST(RawRowsOf, areReadByOneCallEach) {
    this->forImages([this](ImageData<TypeParam>& image) {
        const ScratchFile file(std::vector<std::uint8_t>(height * this->rowBytes(image) + 1));
        const Calls calls = readsOf([&] { EXPECT_EQ(this->read(image, file.get()), 0); });
        EXPECT_EQ(calls, Calls(height, this->rowOf(image)));
    });
}

TYPED_TEST(RawRowsOf, areWrittenByOneCallEach) {
    this->forImages([this](ImageData<TypeParam>& image) {
        for (const int limit : {0, 2}) {
            const ScratchFile file;
            const Calls calls = writesOf([&] { EXPECT_EQ(this->write(image, file.get(), limit), 0); });
            EXPECT_EQ(calls, Calls(height, this->rowOf(image)));
            EXPECT_EQ(file.contents().size(), height * this->rowBytes(image));
        }
    });
}

TYPED_TEST(RawRowsOf, areNotReadBehindTheOneThatIsShort) {
    for (std::size_t rows = 0; rows < height; ++rows) {
        ImageData<TypeParam> image(7, height, 3);
        const ScratchFile file(std::vector<std::uint8_t>((rows + 1) * this->rowBytes(image) - 1));
        const Calls calls = readsOf([&] { EXPECT_EQ(thrownBy([&] { this->read(image, file.get()); }), 3); });
        EXPECT_EQ(calls, Calls(rows + 1, this->rowOf(image)));
    }
}

TYPED_TEST(RawRowsOf, areNotWrittenBehindTheOneThatIsRefused) {
    ImageData<TypeParam> image(7, height, 3);
    for (int c = 0; c < 3; ++c) {
        std::fill_n(image.planes[c], 7 * height, TypeParam{0});
    }
    const FullDevice full;
    std::setvbuf(full.get(), nullptr, _IONBF, 0);
    const Calls calls = writesOf([&] { EXPECT_EQ(thrownBy([&] { this->write(image, full.get(), 0); }), 3); });
    EXPECT_EQ(calls, Calls(1, this->rowOf(image)));
}

} // namespace teko
