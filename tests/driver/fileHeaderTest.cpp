#include "driver/fileHeader.hpp"

#include "support/bytes.hpp"
#include "support/scratchFile.hpp"

#include <gtest/gtest.h>

#include <string>

namespace teko {

namespace {

std::string magicOf(const FileHeader& header) {
    return {header.magic.begin(), header.magic.end()};
}

Bytes written(const FileHeader& header) {
    const ScratchFile file;
    header.write(file.get());
    return file.contents();
}

bool isRecognized(const std::string& magic) {
    const ScratchFile file(Bytes(magic.begin(), magic.end()) + Bytes(6, 1));
    return FileHeader::read(file.get()).isRecognized();
}

} // namespace

TEST(FileHeader, holdsTheNumbersOfTheCommandLine) {
    const auto header = FileHeader::forImage(3, 8, 640, 480);
    EXPECT_EQ(magicOf(header), "TK10");
    EXPECT_EQ(header.bytesPerPixel, 3);
    EXPECT_EQ(header.bitsPerPixel, 8);
    EXPECT_EQ(header.xsize, 640);
    EXPECT_EQ(header.ysize, 480);
}

TEST(FileHeader, cutsNumbersToItsFields) {
    const auto header = FileHeader::forImage(257, 264, 65536, 65537);
    EXPECT_EQ(header.bytesPerPixel, 1);
    EXPECT_EQ(header.bitsPerPixel, 8);
    EXPECT_EQ(header.xsize, 0);
    EXPECT_EQ(header.ysize, 1);
    const auto negative = FileHeader::forImage(-1, -2, -1, -65535);
    EXPECT_EQ(negative.bytesPerPixel, 255);
    EXPECT_EQ(negative.bitsPerPixel, 254);
    EXPECT_EQ(negative.xsize, 65535);
    EXPECT_EQ(negative.ysize, 1);
    EXPECT_EQ(FileHeader::forImage(1, 8, 0x7FFFFFFFFFFFFFFF, 0x100000000).xsize, 65535);
    EXPECT_EQ(FileHeader::forImage(1, 8, 0x7FFFFFFFFFFFFFFF, 0x100000000).ysize, 0);
}

TEST(FileHeader, writesTenBytesLeastSignificantFirst) {
    EXPECT_EQ(written(FileHeader::forImage(2, 12, 0x1234, 0xFEDC)),
              (Bytes{'T', 'K', '1', '0', 2, 12, 0x34, 0x12, 0xDC, 0xFE}));
    EXPECT_EQ(FileHeader::bytes, 10);
}

TEST(FileHeader, writesAtTheFilesPosition) {
    const ScratchFile file;
    std::fputc('x', file.get());
    FileHeader::forImage(1, 8, 1, 2).write(file.get());
    EXPECT_EQ(file.position(), 11);
    EXPECT_EQ(file.contents()[1], 'T');
}

TEST(FileHeader, saysNothingOfAFullDevice) {
    const FullDevice full;
    std::setvbuf(full.get(), nullptr, _IONBF, 0);
    EXPECT_NO_THROW(FileHeader::forImage(1, 8, 1, 2).write(full.get()));
    EXPECT_NE(std::ferror(full.get()), 0);
}

TEST(FileHeader, readsWhatItWrote) {
    const ScratchFile file(written(FileHeader::forImage(3, 255, 65535, 256)) + Bytes{1, 2, 3});
    const auto header = FileHeader::read(file.get());
    EXPECT_TRUE(header.isRecognized());
    EXPECT_EQ(header.bytesPerPixel, 3);
    EXPECT_EQ(header.bitsPerPixel, 255);
    EXPECT_EQ(header.xsize, 65535);
    EXPECT_EQ(header.ysize, 256);
    EXPECT_EQ(file.position(), 10);
}

TEST(FileHeader, takesMissingBytesForZero) {
    const Bytes whole{'T', 'K', '1', '0', 3, 8, 0x34, 0x12, 0x78, 0x56};
    for (std::size_t count = 0; count < whole.size(); ++count) {
        const ScratchFile file(prefix(whole, count));
        const auto header = FileHeader::read(file.get());
        EXPECT_EQ(header.isRecognized(), count >= 4) << count;
        EXPECT_EQ(header.bytesPerPixel, count > 4 ? 3 : 0) << count;
        EXPECT_EQ(header.bitsPerPixel, count > 5 ? 8 : 0) << count;
        EXPECT_EQ(header.xsize, count > 7 ? 0x1234 : count > 6 ? 0x34 : 0) << count;
        EXPECT_EQ(header.ysize, count > 8 ? 0x78 : 0) << count;
    }
}

TEST(FileHeader, recognizesItsMagicAlone) {
    EXPECT_TRUE(isRecognized("TK10"));
    EXPECT_FALSE(isRecognized("TK11"));
    EXPECT_FALSE(isRecognized("tk10"));
    EXPECT_FALSE(isRecognized("TK1x"));
    EXPECT_FALSE(isRecognized("xK10"));
    EXPECT_FALSE(isRecognized(std::string("TK1\0", 4)));
    EXPECT_FALSE(isRecognized(std::string(4, '\0')));
    EXPECT_FALSE(FileHeader().isRecognized());
}

} // namespace teko
