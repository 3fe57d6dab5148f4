// SPDX-License-Identifier: Apache-2.0
// Files that cannot be opened, and the state of those that are created.
#include "cliTest.hpp"

namespace teko {

namespace {

class FileAccess : public CliTest {
protected:
    const Shape shape{1, 8, 16, 16};
    Bytes codedContent;

    void SetUp() override {
        codedContent = coded(shape, raw::noise(shape));
        for (const std::string& name : files.names()) {
            std::filesystem::remove(files.path(name));
        }
        files.write("raw", raw::noise(shape));
        files.write("coded", codedContent);
    }

    // Every coding mode from one of two inputs to one output.
    std::vector<Strings> everyCoding(const std::string& rawInput, const std::string& codedInput,
                                     const std::string& output) const {
        return {compressArguments("c", shape, rawInput, output),
                compressArguments("C", shape, rawInput, output, "1"),
                {"d", codedInput, output},
                {"D", codedInput, output}};
    }

    std::filesystem::perms permissions(const std::string& name) const {
        return std::filesystem::status(files.path(name)).permissions();
    }
};

TEST_F(FileAccess, AMissingInputIsNamedAndNoOutputIsCreated) {
    for (const std::string missing : {"missing", "none/raw", "raw/raw", "100%s%n", "with space", ""}) {
        for (const Strings& arguments : everyCoding(missing, missing, "out")) {
            EXPECT_EQ(run(arguments), cannotOpen(missing)) << arguments[0];
        }
    }
    EXPECT_EQ(files.names(), (Strings{"coded", "raw"}));
}

TEST_F(FileAccess, AMissingInputLeavesAnOlderOutputAlone) {
    files.write("out", {1, 2, 3});
    for (const Strings& arguments : everyCoding("missing", "missing", "out")) {
        EXPECT_EQ(run(arguments), cannotOpen("missing")) << arguments[0];
        EXPECT_EQ(files.read("out"), Bytes({1, 2, 3})) << arguments[0];
    }
}

TEST_F(FileAccess, AnOutputThatCannotBeCreatedIsNamed) {
    std::filesystem::create_directory(files.path("directory"));
    for (const std::string output : {"directory", "none/out", "raw/out", "directory/", "", "/dev/null/100%s%n"}) {
        for (const Strings& arguments : everyCoding("raw", "coded", output)) {
            EXPECT_EQ(run(arguments), cannotOpen(output)) << arguments[0];
        }
    }
    EXPECT_EQ(files.names(), (Strings{"coded", "directory", "raw"}));
    EXPECT_EQ(files.read("raw"), raw::noise(shape));
    EXPECT_EQ(files.read("coded"), codedContent);
}

TEST_F(FileAccess, TheInputIsLookedAtFirst) {
    for (const Strings& arguments : everyCoding("missing", "missing", "none/out")) {
        EXPECT_EQ(run(arguments), cannotOpen("missing")) << arguments[0];
    }
}

TEST_F(FileAccess, TheOutputIsOpenedBeforeTheInputIsUnderstood) {
    EXPECT_EQ(run({"d", "raw", "none/out"}), cannotOpen("none/out"));
    EXPECT_EQ(run(compressArguments("c", {4, 8, 16, 16}, "raw", "none/out")), cannotOpen("none/out"));
}

TEST_F(FileAccess, ADirectoryAsARawFileEndsTheRunAbnormally) {
    std::filesystem::create_directory(files.path("directory"));
    expectAbnormalEnd(compress("c", shape, "directory", "out"), "Reading...\n");
}

TEST_F(FileAccess, OutputsAreCreatedAsTheMaskSays) {
    for (const mode_t mask : {0U, 022U, 077U}) {
        for (const Strings& arguments : everyCoding("raw", "coded", "out")) {
            std::filesystem::remove(files.path("out"));
            EXPECT_EQ(runProgram(arguments, {.directory = files.path(), .umask = mask}).exitStatus, 0);
            EXPECT_EQ(permissions("out"), std::filesystem::perms{0666U & ~mask}) << arguments[0];
        }
    }
}

TEST_F(FileAccess, AnOlderOutputIsReplacedAndKeepsItsPermissions) {
    for (const Strings& arguments : everyCoding("raw", "coded", "out")) {
        files.write("out", Bytes(100000, 7));
        std::filesystem::permissions(files.path("out"), std::filesystem::perms{0600});
        EXPECT_EQ(run(arguments).exitStatus, 0);
        EXPECT_LE(files.read("out").size(), codedContent.size()) << arguments[0];
        EXPECT_EQ(permissions("out"), std::filesystem::perms{0600}) << arguments[0];
    }
}

TEST_F(FileAccess, NamesMayHoldAnyCharacters) {
    const std::string name = "100%s %n \"quoted\" \xC3\xA4\n";
    EXPECT_EQ(compress("c", shape, "raw", name), compressed(shape));
    EXPECT_EQ(files.read(name), codedContent);
    EXPECT_EQ(run({"d", name, name + "raw"}), decompressed(shape));
    EXPECT_EQ(files.read(name + "raw"), raw::noise(shape));
}

TEST_F(FileAccess, NamesMayLookLikeOptions) {
    EXPECT_EQ(compress("c", shape, "raw", "--help"), compressed(shape));
    EXPECT_EQ(run({"d", "--help", "-"}), decompressed(shape));
    EXPECT_EQ(files.read("-"), raw::noise(shape));
}

// Runs as a user whom permissions bind, also when the tests do not.
class Permission : public FileAccess {
protected:
    void SetUp() override {
        FileAccess::SetUp();
        std::filesystem::permissions(files.path(), std::filesystem::perms{0777});
        if (runUnprivileged({}).exitStatus == notStarted) {
            GTEST_SKIP() << "an unprivileged user cannot start the program here";
        }
    }

    Outcome runUnprivileged(const Strings& arguments) const {
        return runProgram(arguments, {.directory = files.path(), .unprivileged = true});
    }

    void expectEverywhere(const std::vector<Strings>& runs, const Outcome& expected) const {
        for (const Strings& arguments : runs) {
            EXPECT_EQ(runUnprivileged(arguments), expected) << arguments[0];
        }
    }
};

TEST_F(Permission, ToReadTheInputIsNeeded) {
    files.write("secret", codedContent);
    std::filesystem::permissions(files.path("secret"), std::filesystem::perms::none);
    expectEverywhere(everyCoding("secret", "secret", "out"), cannotOpen("secret"));
    expectEverywhere({{"m", "secret", "1", "8", "16", "16", "raw"}, {"m", "raw", "1", "8", "16", "16", "secret"}},
                     cannotOpen("secret"));
    EXPECT_EQ(files.names(), (Strings{"coded", "raw", "secret"}));
}

TEST_F(Permission, ToWriteTheOutputIsNeeded) {
    files.write("finished", {1, 2, 3});
    std::filesystem::permissions(files.path("finished"), std::filesystem::perms{0444});
    expectEverywhere(everyCoding("raw", "coded", "finished"), cannotOpen("finished"));
    EXPECT_EQ(files.read("finished"), Bytes({1, 2, 3}));
}

TEST_F(Permission, ToWriteTheDirectoryIsNeeded) {
    std::filesystem::create_directory(files.path("closed"));
    std::filesystem::permissions(files.path("closed"), std::filesystem::perms{0555});
    expectEverywhere(everyCoding("raw", "coded", "closed/out"), cannotOpen("closed/out"));
}

TEST_F(Permission, ToWriteTheInputIsNotNeeded) {
    for (const std::string name : {"raw", "coded"}) {
        std::filesystem::permissions(files.path(name), std::filesystem::perms{0444});
    }
    for (const Strings& arguments : everyCoding("raw", "coded", "out")) {
        EXPECT_EQ(runUnprivileged(arguments).exitStatus, 0) << arguments[0];
    }
}

} // namespace

} // namespace teko
