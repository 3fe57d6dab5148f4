// SPDX-License-Identifier: Apache-2.0
// What cannot be is refused before memory is taken for it.
#include "measuredRun.hpp"

namespace teko {

namespace {

[[maybe_unused]] constexpr long littleBytes = 2L << 20;

Bytes headerOf(const Shape& shape) {
    const auto low = [](int value) { return static_cast<std::uint8_t>(value & 0xFF); };
    return {'T',
            'K',
            '1',
            '0',
            low(shape.bytesPerPixel),
            low(shape.bitsPerPixel),
            low(shape.xsize),
            low(shape.xsize >> 8),
            low(shape.ysize),
            low(shape.ysize >> 8)};
}

class Refusal : public testing::TestWithParam<Shape> {
protected:
    TemporaryDirectory files;

    // The run ends abnormally after that output, and has taken next to nothing.
    void expectRefusal(const Strings& arguments, const std::string& output) const {
        const long least = measuredRun(files, {"d", "unknown", "out"}).peakBytes;
        const Measured measured = measuredRun(files, arguments);
        EXPECT_EQ(measured.outcome.signal, SIGABRT) << measured.outcome;
        EXPECT_EQ(measured.outcome.output, output);
        EXPECT_NE(measured.outcome.errors.find("bad_a"), std::string::npos) << measured.outcome;
#ifdef TEKO_MEMORY_IS_PLAIN
        EXPECT_LE(measured.peakBytes - least, littleBytes);
#endif
        EXPECT_LE(std::filesystem::file_size(files.path("out")), 10U);
        report(GetParam(), " mode ", arguments[0], " refused with ",
               static_cast<double>(measured.peakBytes - least) / mebibyte, " MiB");
    }

    void SetUp() override {
        files.write("unknown", {});
        files.write("raw", Bytes(100, 7));
        files.write("coded", headerOf(GetParam()) + Bytes(100, 0x55));
    }
};

// The planes of a header alone are never touched: there is no stream to fill them from.
TEST(HeaderAlone, takesNoMemory) {
    const TemporaryDirectory files;
    files.write("unknown", {});
    files.write("coded", headerOf({3, 8, 10000, 10000}));
    const long least = measuredRun(files, {"d", "unknown", "out"}).peakBytes;
    const Measured measured = measuredRun(files, {"d", "coded", "out"});
    EXPECT_EQ(measured.outcome.signal, SIGABRT) << measured.outcome;
    EXPECT_EQ(measured.outcome.output, "Reading...\n");
#ifdef TEKO_MEMORY_IS_PLAIN
    EXPECT_LE(measured.peakBytes - least, littleBytes);
#endif
    report("a header alone: ", static_cast<double>(measured.peakBytes - least) / mebibyte, " MiB");
}

// A plane of 65535 x 65535 samples has more than 31 bits can count.
using RefusalOfTheSquare = Refusal;
INSTANTIATE_TEST_SUITE_P(Of, RefusalOfTheSquare,
                         testing::Values(Shape{1, 8, 65535, 65535}, Shape{2, 16, 65535, 65535},
                                         Shape{3, 8, 65535, 65535}),
                         testing::PrintToStringParamName());

TEST_P(RefusalOfTheSquare, takesNoMemory) {
    expectRefusal(compressing("c", GetParam(), "raw", "out"), "");
    expectRefusal(compressing("C", GetParam(), "raw", "out", "0.5"), "");
    expectRefusal({"d", "coded", "out"}, "");
    expectRefusal({"D", "coded", "out"}, "Decompressing in memory, size=100\n");
    expectRefusal(compressing("m", GetParam(), "raw", "raw"), "");
}

// A header of a hundred bytes' file that asks for planes of many gigabytes.
using RefusalOfTheLargest = Refusal;
INSTANTIATE_TEST_SUITE_P(Of, RefusalOfTheLargest,
                         testing::Values(Shape{1, 8, 65535, 32768}, Shape{2, 16, 65535, 32768},
                                         Shape{3, 8, 65535, 32767}),
                         testing::PrintToStringParamName());

#ifdef TEKO_MEMORY_IS_PLAIN
TEST_P(RefusalOfTheLargest, takesNoMemoryWhereThereIsNotEnough) {
    const Shape& shape = GetParam();
    program::limit(RLIMIT_AS, rlim_t{1} << 30);
    expectRefusal(compressing("c", shape, "raw", "out"), "");
    expectRefusal({"d", "coded", "out"}, "");
    expectRefusal({"D", "coded", "out"}, "Decompressing in memory, size=100\n");
    expectRefusal(compressing("m", shape, "raw", "raw"), "");
    program::limit(RLIMIT_AS, RLIM_INFINITY);
}
#else
TEST_P(RefusalOfTheLargest, takesNoMemoryWhereThereIsNotEnough) {
    GTEST_SKIP() << "instrumented programs need an address space of their own size";
}
#endif

} // namespace

} // namespace teko
