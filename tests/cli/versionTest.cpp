// SPDX-License-Identifier: Apache-2.0
// The version stands in one place, and everything that names it has it from there.
#include "support/program.hpp"
#include "support/temporaryDirectory.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

namespace teko {

namespace {

const std::string version = TEKO_PROJECT_VERSION;

std::string textOf(const std::string& path) {
    const Bytes content = TemporaryDirectory::readFile(path);
    return {content.begin(), content.end()};
}

} // namespace

TEST(Version, StandsInTheProgramAsAStringOfItsOwn) {
    const std::string program = textOf(TEKO_PROGRAM);
    const std::string zero(1, '\0');
    EXPECT_NE(program.find(zero + "teko " + version + zero), std::string::npos);
}

TEST(Version, IsThatOfTheManPage) {
    EXPECT_NE(textOf(TEKO_MAN_PAGE).find("\n.Os teko " + version + "\n"), std::string::npos);
}

// The first heading of a release is the newest one.
TEST(Version, IsTheNewestOfTheChangelogAndHasADate) {
    const std::string changelog = textOf(TEKO_CHANGELOG);
    const std::size_t newest = changelog.find("\n## [", changelog.find("## [Unreleased]") + 1);
    ASSERT_NE(newest, std::string::npos);
    const std::string heading = changelog.substr(newest + 1, changelog.find('\n', newest + 1) - newest - 1);
    const std::string expected = "## [" + version + "] - ";
    ASSERT_EQ(heading.substr(0, expected.size()), expected);
    std::string date = heading.substr(expected.size());
    std::replace_if(
        date.begin(), date.end(), [](char c) { return c >= '0' && c <= '9'; }, '0');
    EXPECT_EQ(date, "0000-00-00");
}

TEST(Version, IsPrintedByNothing) {
    for (const char* argument : {"--version", "-v", "v"}) {
        const Outcome outcome = runProgram({argument}, {});
        EXPECT_EQ(outcome.output.find(version), std::string::npos) << argument;
    }
}

} // namespace teko
