// SPDX-License-Identifier: Apache-2.0
#include "driver/chron.hpp"

#include "support/patterns.hpp"

#include <gtest/gtest.h>

#include <string>

namespace teko {

namespace {

std::string displayed(const Chron& chron, const char* label) {
    testing::internal::CaptureStdout();
    chron.display(label);
    return testing::internal::GetCapturedStdout();
}

Chron startedBefore(double seconds) {
    Chron chron;
    chron.start = std::clock() - static_cast<std::clock_t>(seconds * CLOCKS_PER_SEC);
    return chron;
}

} // namespace

TEST(Chron, printsItsLabelAndTheSecondsSinceItsStart) {
    const std::string line = displayed(startedBefore(2.5), "Read in");
    EXPECT_TRUE(Pattern("Read in 2\\.[5-9][0-9]{2} seconds\n").matches(line)) << line;
}

TEST(Chron, printsMillisecondsFromTheFirstOn) {
    const std::string line = displayed(startedBefore(0), "x");
    EXPECT_TRUE(Pattern("x 0\\.[0-4][0-9]{2} seconds\n").matches(line)) << line;
}

TEST(Chron, doesNotReadFormatsInItsLabel) {
    const std::string line = displayed(startedBefore(0), "100 %s");
    EXPECT_EQ(line.substr(0, 9), "100 %s 0.");
}

TEST(Chron, goesOnRunning) {
    const Chron chron = startedBefore(3.0);
    const std::clock_t start = chron.start;
    displayed(chron, "once");
    EXPECT_EQ(chron.start, start);
    EXPECT_EQ(displayed(chron, "twice").substr(0, 8), "twice 3.");
}

TEST(Chron, startsAtTheProcessesOwnStart) {
    EXPECT_EQ(Chron().start, 0);
}

} // namespace teko
