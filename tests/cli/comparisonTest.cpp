// SPDX-License-Identifier: Apache-2.0
// Mode m: the figures, and what it prints on the way.
#include "cliTest.hpp"
#include "support/patterns.hpp"

namespace teko {

namespace {

const std::string identical = "MSE=0.000000 RMSE=0.000000 PSNR=inf\n";

class Comparison : public CliTest {
protected:
    static constexpr int xsize = 19;
    static constexpr int ysize = 21;

    Outcome compare(const Strings& numbers, const std::string& first = "first",
                    const std::string& second = "second") const {
        return run({"m", first, numbers[0], numbers[1], numbers[2], numbers[3], second});
    }

    // The figures that a successful comparison prints behind its two lines of progress.
    std::string figures(const Strings& numbers, const std::string& first = "first",
                        const std::string& second = "second") const {
        const Outcome outcome = compare(numbers, first, second);
        EXPECT_EQ(outcome.exitStatus, 0) << outcome;
        EXPECT_EQ(outcome.errors, "");
        const Pattern expected("Reading\\.\\.\\.\nRead in [0-9]+\\.[0-9]{3} seconds\n(MSE=[^\n]*\n)");
        const Strings parts = expected.partsOf(outcome.output);
        EXPECT_EQ(parts.size(), 2U) << outcome;
        return parts.size() == 2 ? parts[1] : "";
    }

    void writeFlat(const Shape& shape, std::uint32_t first, std::uint32_t second) const {
        files.write("first", raw::flat(shape, first));
        files.write("second", raw::flat(shape, second));
    }

    void expectFlatFigures(const Shape& shape, std::uint32_t first, std::uint32_t second,
                           const std::string& expected) const {
        writeFlat(shape, first, second);
        EXPECT_EQ(figures(shape.arguments()), expected + "\n") << shape;
        EXPECT_EQ(figures(shape.arguments(), "second", "first"), expected + "\n") << shape;
        EXPECT_EQ(files.names(), (Strings{"first", "second"}));
    }
};

TEST_F(Comparison, PrintsTheErrorItsRootAndTheSignalToNoiseRatio) {
    expectFlatFigures({1, 8, 19, 21}, 100, 101, "MSE=1.000000 RMSE=1.000000 PSNR=48.130804");
    expectFlatFigures({1, 8, 19, 21}, 0, 255, "MSE=65025.000000 RMSE=255.000000 PSNR=0.000000");
    expectFlatFigures({1, 8, 19, 21}, 200, 200, "MSE=0.000000 RMSE=0.000000 PSNR=inf");
    expectFlatFigures({2, 16, 19, 21}, 1000, 1004, "MSE=16.000000 RMSE=4.000000 PSNR=84.288266");
    expectFlatFigures({2, 16, 19, 21}, 0, 65535, "MSE=4294836225.000000 RMSE=65535.000000 PSNR=0.000000");
    expectFlatFigures({3, 8, 19, 21}, 7, 8, "MSE=1.000000 RMSE=1.000000 PSNR=48.130804");
}

TEST_F(Comparison, TakesThePeakFromTheBits) {
    expectFlatFigures({2, 12, 19, 21}, 0, 1, "MSE=1.000000 RMSE=1.000000 PSNR=72.245078");
    expectFlatFigures({1, 1, 19, 21}, 0, 1, "MSE=1.000000 RMSE=1.000000 PSNR=0.000000");
    expectFlatFigures({1, 0, 19, 21}, 0, 1, "MSE=1.000000 RMSE=1.000000 PSNR=-inf");
    expectFlatFigures({1, 31, 19, 21}, 0, 1, "MSE=1.000000 RMSE=1.000000 PSNR=186.638597");
}

TEST_F(Comparison, TakesAPeakOfMinus1From32To63Bits) {
    for (const int bits : {32, 33, 48, 63}) {
        expectFlatFigures({1, bits, 19, 21}, 0, 1, "MSE=1.000000 RMSE=1.000000 PSNR=0.000000");
        expectFlatFigures({1, bits, 19, 21}, 0, 2, "MSE=4.000000 RMSE=2.000000 PSNR=-6.020600");
    }
}

TEST_F(Comparison, CountsTheBitsModulo64) {
    expectFlatFigures({1, 64, 19, 21}, 0, 1, "MSE=1.000000 RMSE=1.000000 PSNR=-inf");
    expectFlatFigures({1, 72, 19, 21}, 0, 1, "MSE=1.000000 RMSE=1.000000 PSNR=48.130804");
    expectFlatFigures({1, -56, 19, 21}, 0, 1, "MSE=1.000000 RMSE=1.000000 PSNR=48.130804");
}

TEST_F(Comparison, TakesTheMeanOverAllSamples) {
    files.write("first", {10, 20, 30, 40, 50, 60});
    files.write("second", {10, 20, 30, 40, 50, 66});
    EXPECT_EQ(figures({"1", "8", "2", "3"}), "MSE=6.000000 RMSE=2.449490 PSNR=40.349291\n");
    EXPECT_EQ(figures({"3", "8", "2", "1"}), "MSE=6.000000 RMSE=2.449490 PSNR=40.349291\n");
    EXPECT_EQ(figures({"2", "16", "1", "3"}), "MSE=786432.000000 RMSE=886.810013 PSNR=37.372854\n");
}

TEST_F(Comparison, OfAFileWithItselfFindsNoError) {
    for (const Shape& shape : everyKind) {
        files.write("first", raw::noise(shape));
        EXPECT_EQ(figures(shape.arguments(), "first", "first"), identical) << shape;
    }
}

TEST_F(Comparison, IgnoresBytesBehindTheImages) {
    const Shape shape{1, 8, xsize, ysize};
    files.write("first", raw::noise(shape) + Bytes{1, 2, 3});
    files.write("second", raw::noise(shape) + Bytes(9000, 9));
    EXPECT_EQ(figures(shape.arguments()), identical);
}

TEST_F(Comparison, SeesTheLastSampleOfEveryKind) {
    for (const Shape& shape : everyKind) {
        const Bytes content = raw::noise(shape);
        Bytes other = content;
        other.back() ^= 1;
        files.write("first", content);
        files.write("second", other);
        EXPECT_NE(figures(shape.arguments()), identical) << shape;
    }
}

TEST_F(Comparison, OfEmptyImagesHasNoFigures) {
    writeFlat({1, 8, xsize, ysize}, 0, 1);
    for (const Strings& numbers : {Strings{"1", "8", "0", "0"}, {"2", "16", "0", "9"}, {"3", "8", "9", "0"}}) {
        EXPECT_TRUE(Pattern("MSE=-?nan RMSE=-?nan PSNR=-?nan\n").matches(figures(numbers)));
    }
}

TEST_F(Comparison, OfAnUnknownKindReadsNothing) {
    writeFlat({1, 8, xsize, ysize}, 0, 1);
    for (const std::string kind : {"0", "4", "-1", "257", "65537", "none"}) {
        EXPECT_EQ(compare({kind, "8", "19", "21"}), success(identical)) << kind;
        EXPECT_EQ(compare({kind, "8", "65536", "65536"}), success(identical)) << kind;
    }
}

TEST_F(Comparison, KeepsNumbersAtFullWidth) {
    files.write("first", Bytes(65537 * 2, 3));
    files.write("second", Bytes(65537 * 2 - 1, 3) + Bytes{4});
    EXPECT_EQ(figures({"1", "8", "65537", "2"}), "MSE=0.000008 RMSE=0.002762 PSNR=99.305969\n");
    EXPECT_EQ(figures({"1", "8", "2", "65537"}), "MSE=0.000008 RMSE=0.002762 PSNR=99.305969\n");
    expectAbnormalEnd(compare({"1", "8", "65537", "3"}), "Reading...\n");
}

TEST_F(Comparison, OfAFileThatIsTooShortEndsAbnormally) {
    for (const Shape& shape : everyKind) {
        SCOPED_TRACE(shape);
        const Bytes content = raw::noise(shape);
        files.write("whole", content);
        files.write("short", prefix(content, content.size() - 1));
        expectAbnormalEnd(compare(shape.arguments(), "short", "whole"), "Reading...\n");
        expectAbnormalEnd(compare(shape.arguments(), "whole", "short"), "Reading...\n");
    }
}

TEST_F(Comparison, OfDimensionsBeyond31BitsEndsAbnormally) {
    writeFlat({1, 8, xsize, ysize}, 0, 1);
    for (const std::string kind : {"1", "2", "3"}) {
        expectAbnormalEnd(compare({kind, "8", "46341", "46341"}));
        expectAbnormalEnd(compare({kind, "8", "65536", "65536"}));
        expectAbnormalEnd(compare({kind, "8", "2147483647", "2147483647"}));
        expectAbnormalEnd(compare({kind, "8", "-1", "1"}));
        expectAbnormalEnd(compare({kind, "8", "20", "-20"}));
    }
}

TEST_F(Comparison, NamesTheFileThatIsMissing) {
    const Shape shape{1, 8, xsize, ysize};
    files.write("there", raw::noise(shape));
    EXPECT_EQ(compare(shape.arguments(), "missing", "there"), cannotOpen("missing"));
    EXPECT_EQ(compare(shape.arguments(), "there", "missing"), cannotOpen("missing"));
    EXPECT_EQ(compare(shape.arguments(), "missingToo", "missing"), cannotOpen("missingToo"));
    EXPECT_EQ(compare({"4", "8", "19", "21"}, "missing", "there"), cannotOpen("missing"));
    EXPECT_EQ(compare({"4", "8", "19", "21"}, "there", "missing"), cannotOpen("missing"));
    EXPECT_EQ(files.names(), Strings{"there"});
}

TEST_F(Comparison, MeasuresACutFile) {
    const Shape shape{1, 8, 64, 64};
    const Bytes content = raw::squares(shape);
    files.write("original", content);
    const Bytes whole = coded(shape, content);
    decoded("d", shape, whole);
    EXPECT_EQ(figures(shape.arguments(), "original", "decoded.raw"), identical);
    decoded("d", shape, prefix(whole, whole.size() / 2));
    EXPECT_NE(figures(shape.arguments(), "original", "decoded.raw"), identical);
}

} // namespace

} // namespace teko
