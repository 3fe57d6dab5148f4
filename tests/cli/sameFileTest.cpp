// SPDX-License-Identifier: Apache-2.0
// Input and output that are one file: refused before anything in it is lost.
#include "cliTest.hpp"

namespace teko {

namespace {

struct SameFileCase {
    std::string name;   // the test's
    std::string output; // another way to say "file"
};

std::ostream& operator<<(std::ostream& stream, const SameFileCase& sameFile) {
    return stream << sameFile.name;
}

class SameFile : public CliTest, public testing::WithParamInterface<SameFileCase> {
protected:
    const Shape shape{1, 8, 16, 16};
    const Bytes rawContent = raw::noise(shape);
    Bytes codedContent;

    void SetUp() override {
        codedContent = coded(shape, rawContent);
        files.write("file", {});
        std::filesystem::create_hard_link(files.path("file"), files.path("hardLink"));
        std::filesystem::create_symlink("file", files.path("symbolicLink"));
        std::filesystem::create_symlink("symbolicLink", files.path("linkToLink"));
        std::filesystem::create_directory(files.path("directory"));
    }

    void expectRefusal(const Strings& arguments, const Bytes& content) const {
        files.write("file", content);
        EXPECT_EQ(run(arguments), cannotOpen(GetParam().output)) << arguments[0];
        EXPECT_EQ(files.read("file"), content) << arguments[0];
    }
};

TEST_P(SameFile, IsRefusedByEveryCodingMode) {
    const std::string& output = GetParam().output;
    expectRefusal(compressArguments("c", shape, "file", output), rawContent);
    expectRefusal(compressArguments("C", shape, "file", output, "0.5"), rawContent);
    expectRefusal({"d", "file", output}, codedContent);
    expectRefusal({"D", "file", output}, codedContent);
}

TEST_P(SameFile, IsRefusedWhateverItHolds) {
    const std::string& output = GetParam().output;
    expectRefusal(compressArguments("c", shape, "file", output), {});
    expectRefusal(compressArguments("c", {4, 8, 16, 16}, "file", output), rawContent);
    expectRefusal({"d", "file", output}, rawContent);
    expectRefusal({"D", "file", output}, {});
}

TEST_P(SameFile, IsRefusedTheOtherWayRound) {
    const std::string& input = GetParam().output;
    files.write("file", codedContent);
    EXPECT_EQ(run({"d", input, "file"}), cannotOpen("file"));
    EXPECT_EQ(run({"D", input, "file"}), cannotOpen("file"));
    EXPECT_EQ(files.read("file"), codedContent);
}

INSTANTIATE_TEST_SUITE_P(Named, SameFile,
                         testing::Values(SameFileCase{"alike", "file"}, SameFileCase{"withADot", "./file"},
                                         SameFileCase{"throughADirectory", "directory/../file"},
                                         SameFileCase{"byAHardLink", "hardLink"},
                                         SameFileCase{"byASymbolicLink", "symbolicLink"},
                                         SameFileCase{"byALinkToALink", "linkToLink"}));

class OtherFile : public CliTest {
protected:
    const Shape shape{1, 8, 16, 16};
    const Bytes content = raw::noise(shape);
};

TEST_F(OtherFile, WithTheSameContentIsOverwritten) {
    files.write("one", content);
    files.write("other", content);
    EXPECT_EQ(compress("c", shape, "one", "other"), compressed(shape));
    EXPECT_EQ(files.read("other"), coded(shape, content));
    EXPECT_EQ(files.read("one"), content);
}

TEST_F(OtherFile, IsWrittenThroughASymbolicLink) {
    files.write("one", content);
    files.write("target", {});
    std::filesystem::create_symlink("target", files.path("link"));
    EXPECT_EQ(compress("c", shape, "one", "link"), compressed(shape));
    EXPECT_EQ(files.read("target"), coded(shape, content));
    EXPECT_TRUE(std::filesystem::is_symlink(files.path("link")));
}

TEST_F(OtherFile, IsCreatedThroughASymbolicLinkThatDangles) {
    files.write("one", content);
    std::filesystem::create_symlink("target", files.path("link"));
    EXPECT_EQ(compress("c", shape, "one", "link"), compressed(shape));
    EXPECT_EQ(files.read("target"), coded(shape, content));
}

TEST_F(OtherFile, IsNotStandardOutputWhenThatIsTheInput) {
    files.write("one", content);
    EXPECT_EQ(runProgram(compressArguments("c", shape, "one", "/dev/stdout"),
                         {.directory = files.path(), .outputPath = files.path("one")}),
              cannotOpen("/dev/stdout"));
    EXPECT_EQ(files.read("one"), content);
}

TEST_F(OtherFile, OfAComparisonMayBeTheSame) {
    files.write("one", content);
    EXPECT_EQ(run({"m", "one", "1", "8", "16", "16", "one"}).exitStatus, 0);
}

} // namespace

} // namespace teko
