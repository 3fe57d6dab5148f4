// SPDX-License-Identifier: Apache-2.0
// Devices in the place of files, and devices and files that take less than they are given.
#include "cliTest.hpp"

namespace teko {

namespace {

class Device : public EveryKind {
protected:
    void SetUp() override {
        const Shape large = GetParam().sized(100, 90);
        files.write("raw", raw::noise(large));
        files.write("coded", coded(large, raw::noise(large)));
    }

    Shape shape() const { return GetParam().sized(100, 90); }

    Outcome decompressedInMemory() const {
        Outcome expected = decompressed(shape());
        expected.output.insert(0, text::inMemory(files.read("coded").size() - headerBytes));
        return expected;
    }
};

INSTANTIATE_TEST_SUITE_P(Kind, Device, testing::ValuesIn(everyKind));

TEST_P(Device, NullTakesEveryOutput) {
    EXPECT_EQ(compress("c", shape(), "raw", "/dev/null"), compressed(shape()));
    EXPECT_EQ(compress("C", shape(), "raw", "/dev/null", "0.5"), compressed(shape()));
    EXPECT_EQ(run({"d", "coded", "/dev/null"}), decompressed(shape()));
    EXPECT_EQ(run({"D", "coded", "/dev/null"}), decompressedInMemory());
}

TEST_P(Device, NullIsAnEmptyInput) {
    expectAbnormalEnd(compress("c", shape(), "/dev/null", "out"), "Reading...\n");
    const std::string complaint = "File /dev/null not recognized\n";
    EXPECT_EQ(run({"d", "/dev/null", "out"}), (Outcome{.exitStatus = 1, .errors = complaint}));
    EXPECT_EQ(run({"D", "/dev/null", "out"}),
              (Outcome{.exitStatus = 1, .output = text::inMemory(0), .errors = complaint}));
}

TEST_P(Device, NullMayBeInputAndOutputAtOnce) {
    const Shape empty = GetParam().sized(0, 0);
    EXPECT_EQ(compress("c", empty, "/dev/null", "/dev/null"), compressed(empty));
    EXPECT_EQ(run({"d", "/dev/null", "/dev/null"}),
              (Outcome{.exitStatus = 1, .errors = "File /dev/null not recognized\n"}));
}

TEST_P(Device, ZeroIsABlackImage) {
    EXPECT_EQ(compress("c", shape(), "/dev/zero", "black"), compressed(shape()));
    EXPECT_EQ(files.read("black"), coded(shape(), raw::flat(shape(), 0)));
}

TEST_P(Device, StandardOutputTakesEveryOutput) {
    const Strings rated = compressArguments("C", shape(), "raw", "/dev/stdout", "0.5");
    for (const Strings& arguments : {compressArguments("c", shape(), "raw", "/dev/stdout"), rated,
                                     Strings{"d", "coded", "/dev/stdout"}, Strings{"D", "coded", "/dev/stdout"}}) {
        std::filesystem::remove(files.path("printed"));
        const Outcome outcome = runProgram(arguments, {.directory = files.path(), .outputPath = files.path("printed")});
        EXPECT_EQ(outcome, success("")) << arguments[0];
        EXPECT_GT(files.read("printed").size(), shape().fileBytes() / 4) << arguments[0];
    }
}

TEST_P(Device, FullOneEndsACompressionQuietly) {
    EXPECT_EQ(compress("c", shape(), "raw", "/dev/full"), compressed(shape()));
    EXPECT_EQ(compress("C", shape(), "raw", "/dev/full", "1"), compressed(shape()));
    EXPECT_EQ(compress("C", shape(), "raw", "/dev/full", "0"), compressed(shape()));
}

TEST_P(Device, FullOneEndsADecompressionAbnormally) {
    expectAbnormalEnd(run({"d", "coded", "/dev/full"}), decompressed(shape()).output);
    expectAbnormalEnd(run({"D", "coded", "/dev/full"}), decompressedInMemory().output);
}

TEST_P(Device, FullOneEndsTheDecompressionOfASmallImageAbnormally) {
    const Shape small = GetParam().sized(4, 4);
    files.write("small", coded(small, raw::noise(small)));
    expectAbnormalEnd(run({"d", "small", "/dev/full"}), decompressed(small).output);
}

TEST_P(Device, FullOneTakesAnEmptyImage) {
    const Shape empty = GetParam().sized(0, 5);
    files.write("empty", coded(empty, {}));
    EXPECT_EQ(run({"d", "empty", "/dev/full"}), decompressed(empty));
}

TEST_P(Device, FillingUpLeavesTheBeginningOfACompressedFile) {
    const Bytes whole = coded(shape(), raw::noise(shape()));
    for (const std::size_t room : {0U, 7U, 10U, 1000U, 5000U}) {
        const Outcome outcome =
            runProgram(compressArguments("c", shape(), "raw", "out"), {.directory = files.path(), .fileBytes = room});
        EXPECT_EQ(outcome.exitStatus, 0) << outcome;
        EXPECT_EQ(outcome.errors, "");
        EXPECT_EQ(files.read("out"), prefix(whole, room)) << room;
    }
}

TEST_P(Device, FillingUpEndsADecompressionAbnormally) {
    const Outcome outcome =
        runProgram({"d", "coded", "out"}, {.directory = files.path(), .fileBytes = shape().fileBytes() - 1});
    EXPECT_EQ(outcome.signal, SIGABRT) << outcome;
    EXPECT_EQ(files.read("out"), prefix(raw::noise(shape()), shape().fileBytes() - 1));
}

} // namespace

} // namespace teko
