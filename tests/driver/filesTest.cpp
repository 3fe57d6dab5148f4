// SPDX-License-Identifier: Apache-2.0
#include "driver/files.hpp"
#include "support/fileHeaders.hpp"
#include "support/scratchFile.hpp"

#include <gtest/gtest.h>

namespace teko {

TEST(HeaderFile, WritesTenBytesAtTheFilesPosition) {
    const ScratchFile file;
    std::fputc('x', file.get());
    const auto header = FileHeader::forImage(1, 8, 1, 2);
    writeHeader(header, file.get());
    EXPECT_EQ(file.position(), 11);
    EXPECT_EQ(file.contents(), Bytes{'x'} + bytesOf(header));
}

TEST(HeaderFile, SaysNothingOfAFullDevice) {
    const FullDevice full;
    std::setvbuf(full.get(), nullptr, _IONBF, 0);
    EXPECT_NO_THROW(writeHeader(FileHeader::forImage(1, 8, 1, 2), full.get()));
    EXPECT_NE(std::ferror(full.get()), 0);
}

TEST(HeaderFile, ReadsTenBytes) {
    const Bytes header = bytesOf(FileHeader::forImage(3, 255, 65535, 256));
    const ScratchFile file(header + Bytes{1, 2, 3});
    EXPECT_EQ(bytesOf(readHeader(file.get())), header);
    EXPECT_EQ(file.position(), 10);
}

TEST(HeaderFile, TakesMissingBytesForZero) {
    const Bytes whole{'T', 'K', '1', '0', 3, 8, 0x34, 0x12, 0x78, 0x56};
    for (std::size_t count = 0; count < whole.size(); ++count) {
        const ScratchFile file(prefix(whole, count));
        const auto header = readHeader(file.get());
        EXPECT_EQ(header.isRecognized(), count >= 4) << count;
        EXPECT_EQ(header.bytesPerPixel, count > 4 ? 3 : 0) << count;
        EXPECT_EQ(header.bitsPerPixel, count > 5 ? 8 : 0) << count;
        EXPECT_EQ(header.xsize, count > 7 ? 0x1234 : count > 6 ? 0x34 : 0) << count;
        EXPECT_EQ(header.ysize, count > 8 ? 0x78 : 0) << count;
    }
}

} // namespace teko
