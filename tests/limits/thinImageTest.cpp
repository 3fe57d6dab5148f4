// SPDX-License-Identifier: Apache-2.0
// Images with a side of 65535 come back, within the memory that is promised.
#include "measuredRun.hpp"

namespace teko {

namespace {

class ThinImage : public testing::TestWithParam<Shape> {
protected:
    TemporaryDirectory files;
    const Shape shape = GetParam();

    double planeBytes() const { return static_cast<double>(shape.pixels()) * (shape.bytesPerPixel == 2 ? 8 : 2); }
    double planesBytes() const { return planeBytes() * (shape.bytesPerPixel == 3 ? 3 : 1); }
    double codedBytes() const { return static_cast<double>(std::filesystem::file_size(files.path("coded"))); }

    // A run takes its planes and no more beyond them than this, next to what a run on a tiny image takes.
    void expectMemory(const Strings& arguments, const Strings& tiny, double beyond) const {
        const long least = measuredRun(files, tiny).peakBytes;
        const Measured measured = measuredRun(files, arguments);
        EXPECT_EQ(measured.outcome.exitStatus, 0) << measured.outcome;
        const double taken = static_cast<double>(measured.peakBytes - least);
#ifdef TEKO_MEMORY_IS_PLAIN
        EXPECT_LE(taken, planesBytes() + beyond);
#endif
        report(shape, " mode ", arguments[0], ": ", taken / mebibyte, " MiB, promised ",
               (planesBytes() + beyond) / mebibyte);
    }
};

TEST_P(ThinImage, comesBackWithinThePromisedMemory) {
    const Shape tiny = shape.sized(16, 16);
    files.write("tiny", raw::slope(tiny));
    files.write("raw", raw::noise(shape));
    const Strings compressTiny = compressing("c", tiny, "tiny", "tinyCoded");
    EXPECT_EQ(runProgram(compressing("c", shape, "raw", "coded"), {.directory = files.path()}).exitStatus, 0);
    expectMemory(compressing("c", shape, "raw", "coded"), compressTiny, 1.5 * codedBytes() + 8 * mebibyte);
    const Strings decompressTiny{"d", "tinyCoded", "tinyBack"};
    expectMemory({"d", "coded", "back"}, decompressTiny, planeBytes() / 4 + 4 * mebibyte);
    EXPECT_TRUE(files.read("back") == files.read("raw"));
    std::filesystem::remove(files.path("back"));
    expectMemory({"D", "coded", "back"}, decompressTiny, planeBytes() / 4 + 4 * mebibyte + codedBytes());
    EXPECT_TRUE(files.read("back") == files.read("raw"));
}

INSTANTIATE_TEST_SUITE_P(Of, ThinImage,
                         testing::Values(Shape{1, 8, 65535, 8}, Shape{1, 8, 8, 65535}, Shape{2, 16, 65535, 8},
                                         Shape{2, 16, 8, 65535}, Shape{3, 8, 65535, 8}, Shape{3, 8, 8, 65535},
                                         Shape{1, 8, 65535, 4}, Shape{1, 8, 4, 65535}),
                         testing::PrintToStringParamName());

} // namespace

} // namespace teko
