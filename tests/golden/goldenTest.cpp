// SPDX-License-Identifier: Apache-2.0
// The format, byte for byte: what it was is what it stays.
#include "goldenTable.hpp"
#include "support/program.hpp"
#include "support/sha256.hpp"
#include "support/temporaryDirectory.hpp"

#include <csignal>
#include <gtest/gtest.h>
#include <set>

namespace teko {

namespace {

using Strings = std::vector<std::string>;

std::string rawPath(const std::string& image) {
    return goldenPath("raw/" + image + ".raw");
}

std::string codedPath(const std::string& image) {
    return goldenPath("coded/" + image + ".tk");
}

class Golden : public testing::TestWithParam<GoldenImage> {
protected:
    TemporaryDirectory files;
    const std::string image = GetParam().name;

    Outcome run(const Strings& arguments) const { return runProgram(arguments, {.directory = files.path()}); }

    // Leaves the compressed file "coded".
    void compress(const std::string& mode, const GoldenCase& row, const std::string& rate) const {
        Strings arguments{
            mode,   rawPath(image), row.at("bytes/pixel"), row.at("bits/pixel"), row.at("xsize"), row.at("ysize"),
            "coded"};
        if (rate != "-") {
            arguments.push_back(rate);
        }
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.exitStatus, 0) << outcome;
    }

    // Decodes "coded" in both modes. Expected is the hash of the raw file, or "raw" for the image as it was, or
    // "abnormal" for a run that a signal ends.
    void expectDecoded(const std::string& expected) const {
        for (const std::string mode : {"d", "D"}) {
            const Outcome outcome = run({mode, "coded", "decoded"});
            if (expected == "abnormal") {
                EXPECT_EQ(outcome.signal, SIGABRT) << mode << " " << outcome;
            } else if (expected == "raw") {
                EXPECT_EQ(outcome.exitStatus, 0) << mode << " " << outcome;
                EXPECT_EQ(files.read("decoded"), TemporaryDirectory::readFile(rawPath(image))) << mode;
            } else {
                EXPECT_EQ(outcome.exitStatus, 0) << mode << " " << outcome;
                EXPECT_EQ(Sha256::of(files.read("decoded")), expected) << mode;
            }
        }
    }
};

class GoldenEncode : public Golden {};
class GoldenCut : public Golden {};

TEST_P(GoldenEncode, GivesTheSameFileAndThatTheSameImage) {
    for (const GoldenCase& row : GetParam().cases) {
        SCOPED_TRACE("mode " + row.at("mode") + " rate " + row.at("rate"));
        compress(row.at("mode"), row, row.at("rate"));
        EXPECT_EQ(std::to_string(files.read("coded").size()), row.at("codedBytes"));
        EXPECT_EQ(Sha256::of(files.read("coded")), row.at("codedSha256"));
        expectDecoded(row.at("decoded"));
    }
}

TEST_P(GoldenCut, TheStoredFileIsWhatIsCoded) {
    compress("c", GetParam().cases.front(), "-");
    EXPECT_EQ(files.read("coded"), TemporaryDirectory::readFile(codedPath(image)));
}

TEST_P(GoldenCut, EveryPrefixOfTheStoredFileGivesTheSameImage) {
    const Bytes whole = TemporaryDirectory::readFile(codedPath(image));
    for (const GoldenCase& row : GetParam().cases) {
        SCOPED_TRACE(row.at("bytes") + " bytes");
        files.write("coded", prefix(whole, std::stoul(row.at("bytes"))));
        expectDecoded(row.at("decoded"));
    }
}

INSTANTIATE_TEST_SUITE_P(Image, GoldenEncode, testing::ValuesIn(goldenImages("encode.tsv")));
INSTANTIATE_TEST_SUITE_P(Image, GoldenCut, testing::ValuesIn(goldenImages("cut.tsv")));

TEST(GoldenCompare, PrintsTheSameFigures) {
    for (const GoldenCase& row : goldenTable("compare.tsv")) {
        const Outcome outcome = runProgram({"m", rawPath(row.at("first")), row.at("bytes/pixel"), row.at("bits/pixel"),
                                            row.at("xsize"), row.at("ysize"), rawPath(row.at("second"))});
        EXPECT_EQ(outcome.exitStatus, 0);
        const std::size_t lastLine = outcome.output.find("MSE=");
        ASSERT_NE(lastLine, std::string::npos) << outcome;
        EXPECT_EQ(outcome.output.substr(lastLine), row.at("figures") + "\n") << row.at("first");
    }
}

// No table may shrink unseen.
TEST(GoldenTables, AreComplete) {
    EXPECT_EQ(goldenTable("encode.tsv").size(), 482U);
    EXPECT_EQ(goldenTable("cut.tsv").size(), 186U);
    EXPECT_EQ(goldenTable("compare.tsv").size(), 7U);
}

TEST(GoldenTables, CoverEveryKindInEveryMode) {
    std::set<std::string> encoded;
    std::set<std::string> cut;
    for (const GoldenCase& row : goldenTable("encode.tsv")) {
        encoded.insert(row.at("mode") + row.at("bytes/pixel"));
    }
    for (const GoldenCase& row : goldenTable("cut.tsv")) {
        cut.insert(row.at("bytes/pixel"));
    }
    EXPECT_EQ(encoded, (std::set<std::string>{"c1", "c2", "c3", "C1", "C2", "C3"}));
    EXPECT_EQ(cut, (std::set<std::string>{"1", "2", "3"}));
}

TEST(GoldenTables, UseEveryStoredFile) {
    std::set<std::string> used;
    for (const GoldenCase& row : goldenTable("encode.tsv")) {
        used.insert(rawPath(row.at("image")));
    }
    for (const GoldenCase& row : goldenTable("cut.tsv")) {
        used.insert(codedPath(row.at("image")));
    }
    std::set<std::string> stored;
    for (const char* directory : {"raw", "coded"}) {
        for (const auto& entry : std::filesystem::directory_iterator(goldenPath(directory))) {
            stored.insert(entry.path());
        }
    }
    EXPECT_EQ(stored, used);
}

} // namespace

} // namespace teko
