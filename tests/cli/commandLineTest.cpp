// SPDX-License-Identifier: Apache-2.0
// Which command lines are accepted, and how their numbers are read.
#include "cliTest.hpp"

#include <set>

namespace teko {

namespace {

class CommandLine : public CliTest {
protected:
    // The end of a run whose input is missing, when its command line is accepted: no file was needed to judge it.
    const Outcome accepted = cannotOpen("missing");

    void SetUp() override { files.write("raw", raw::noise({1, 8, 16, 16})); }

    // The first argument given takes these numbers of arguments, the program's name included, and no others.
    void expectAcceptedCounts(const std::string& mode, const std::set<std::size_t>& acceptedCounts) const {
        const Strings all = {mode, "missing", "1", "8", "16", "16", "other", "0.5", "more", "more"};
        for (std::size_t count = 2; count <= all.size() + 1; ++count) {
            const Strings arguments(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count) - 1);
            EXPECT_EQ(run(arguments), acceptedCounts.count(count) != 0 ? accepted : usageShown())
                << "mode '" << mode << "', " << count << " arguments";
            EXPECT_EQ(files.names(), Strings{"raw"});
        }
    }

    // Header of the file that mode c makes with these four numbers, bytes/pixel first.
    Bytes headerFor(const Strings& numbers) const {
        const Outcome outcome = run({"c", "raw", numbers[0], numbers[1], numbers[2], numbers[3], "coded"});
        EXPECT_EQ(outcome.exitStatus, 0) << outcome;
        return prefix(files.read("coded"), headerBytes);
    }
};

TEST_F(CommandLine, ProgramNameAloneShowsTheUsage) {
    EXPECT_EQ(run({}), usageShown());
}

TEST_F(CommandLine, EveryArgumentCountThatTheModeDoesNotTakeShowsTheUsage) {
    expectAcceptedCounts("c", {8, 9});
    expectAcceptedCounts("C", {9});
    expectAcceptedCounts("d", {4});
    expectAcceptedCounts("D", {4});
    expectAcceptedCounts("m", {8});
}

TEST_F(CommandLine, ModesOfTwoCharactersShowTheUsage) {
    for (const std::string mode : {"cc", "CC", "Cc", "cd", "dd", "DD", "mm", "c ", " c", "c1", "-c", "--help"}) {
        expectAcceptedCounts(mode, {});
    }
}

TEST_F(CommandLine, OnlyTheLowerCaseLetterCompares) {
    expectAcceptedCounts("M", {});
}

TEST_F(CommandLine, OtherCharactersShowTheUsage) {
    for (const std::string mode : {"", "x", "e", "h", "-", "#", "\x03", "\xE3", "\xC3\xA7"}) {
        expectAcceptedCounts(mode, {});
    }
}

TEST_F(CommandLine, NumbersKeepTheLowBitsThatTheirFieldsHold) {
    EXPECT_EQ(headerFor({"257", "264", "65552", "-65520"}), header({1, 8, 16, 16}));
    EXPECT_EQ(headerFor({"-255", "-248", "-65520", "131088"}), header({1, 8, 16, 16}));
    EXPECT_EQ(headerFor({"1", "255", "16", "16"}), header({1, 255, 16, 16}));
}

TEST_F(CommandLine, AWidthOf65536IsCodedAs0) {
    EXPECT_EQ(headerFor({"1", "8", "65536", "16"}), header({1, 8, 0, 16}));
    EXPECT_EQ(headerFor({"1", "8", "16", "65536"}), header({1, 8, 16, 0}));
}

TEST_F(CommandLine, TextAfterANumberIsIgnored) {
    EXPECT_EQ(headerFor({"1x", "8bits", "16.9", " +16 16"}), header({1, 8, 16, 16}));
}

TEST_F(CommandLine, TextThatIsNoNumberCountsAs0) {
    EXPECT_EQ(headerFor({"1", "eight", "wide", "16"}), header({1, 0, 0, 16}));
    EXPECT_EQ(headerFor({"one", "", "0x10", "-"}), header({0, 0, 0, 0}));
}

TEST_F(CommandLine, NumbersBeyondEveryWidthAreTheLargestThereIs) {
    EXPECT_EQ(headerFor({"99999999999999999999", "-99999999999999999999", "0", "99999999999999999999"}),
              header({255, 0, 0, 65535}));
}

} // namespace

} // namespace teko
