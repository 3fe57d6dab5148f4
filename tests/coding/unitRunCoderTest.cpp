// SPDX-License-Identifier: Apache-2.0
#include "coding/streamArrayManager.hpp"

#include "support/bitStreams.hpp"

#include <gtest/gtest.h>

#include <string>

namespace teko {

namespace {

// A segment as text: passes ('.') and events of positive ('+') and negative ('-') coefficients.
std::string coded(int k, const std::string& candidates) {
    MemoryWriter memory(20000);
    RunCoder coder;
    coder.setUp(&memory.stream, k);
    for (const char candidate : candidates) {
        if (candidate == '.') {
            ++coder.count;
        } else {
            coder.codeEvent(candidate == '-' ? 1 : 0);
        }
    }
    coder.finish();
    memory.stream.flush();
    const auto count = static_cast<std::size_t>(memory.stream.bitCount());
    const Bits bits = unpacked(memory.content((count + 7) / 8));
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += bits[i] ? '1' : '0';
    }
    return text;
}

// The bits without those of the parameter.
std::string codedRuns(int k, const std::string& candidates) {
    return coded(k, candidates).substr(5);
}

std::string passes(std::size_t count) {
    return std::string(count, '.');
}

} // namespace

TEST(RunCoder, startsNeutral) {
    const RunCoder coder;
    EXPECT_EQ(coder.stream, nullptr);
    EXPECT_EQ(coder.divisor, 0U);
    EXPECT_EQ(coder.k, -1);
    EXPECT_EQ(coder.count, 0U);
}

TEST(RunCoder, writesItsParameterInFiveBitsFirst) {
    EXPECT_EQ(coded(0, ""), "00000");
    EXPECT_EQ(coded(2, ""), "01000");
    EXPECT_EQ(coded(3, ""), "11000");
    EXPECT_EQ(coded(24, ""), "00011");
    MemoryWriter memory(16);
    RunCoder coder;
    coder.setUp(&memory.stream, 24);
    EXPECT_EQ(coder.stream, &memory.stream);
    EXPECT_EQ(coder.divisor, 1U << 24);
    EXPECT_EQ(coder.k, 24);
    EXPECT_EQ(coder.count, 0U);
}

TEST(RunCoder, codesDenseSegmentsAsTheyAre) {
    EXPECT_EQ(codedRuns(0, "+-+"), "101110");
    EXPECT_EQ(codedRuns(0, "..+.-..."), "001001"
                                        "1000");
}

TEST(RunCoder, codesWholeUnitsThenTheRestThenTheSign) {
    EXPECT_EQ(codedRuns(2, "+"), "1"
                                 "00"
                                 "0");
    EXPECT_EQ(codedRuns(2, "...-"), "1"
                                    "11"
                                    "1");
    EXPECT_EQ(codedRuns(2, "....-"), "0"
                                     "1"
                                     "00"
                                     "1");
    EXPECT_EQ(codedRuns(2, ".....-"), "0"
                                      "1"
                                      "10"
                                      "1");
    EXPECT_EQ(codedRuns(2, passes(11) + "+"), "00"
                                              "1"
                                              "11"
                                              "0");
    EXPECT_EQ(codedRuns(3, passes(20) + "+" + passes(4) + "-"), "00"
                                                                "1"
                                                                "001"
                                                                "0"
                                                                "1"
                                                                "001"
                                                                "1");
}

TEST(RunCoder, startsEveryRunAnew) {
    EXPECT_EQ(codedRuns(2, "...+...+"), "1110"
                                        "1110");
    EXPECT_EQ(codedRuns(3, "++"), "10000"
                                  "10000");
}

TEST(RunCoder, coversPassesAtTheEndWithZeros) {
    EXPECT_EQ(codedRuns(2, ""), "");
    EXPECT_EQ(codedRuns(2, "."), "0");
    EXPECT_EQ(codedRuns(2, "...."), "0");
    EXPECT_EQ(codedRuns(2, "....."), "00");
    EXPECT_EQ(codedRuns(2, passes(8)), "00");
    EXPECT_EQ(codedRuns(2, passes(9)), "000");
    EXPECT_EQ(codedRuns(2, "+."), "1000"
                                  "0");
    EXPECT_EQ(codedRuns(0, "..."), "000");
    EXPECT_EQ(codedRuns(24, passes(5000)), "0");
}

TEST(RunCoder, codesTheRestInAllBitsOfTheLargestParameter) {
    EXPECT_EQ(codedRuns(24, passes(5) + "-"), "1"
                                              "101" +
                                                  std::string(21, '0') + "1");
    MemoryWriter memory(16);
    RunCoder coder;
    coder.setUp(&memory.stream, 24);
    coder.count = (2U << 24) + 3;
    coder.codeEvent(0);
    EXPECT_EQ(memory.stream.bitCount(), 5 + 2 + 1 + 24 + 1);
    EXPECT_EQ(coder.count, 0U);
    coder.count = (1U << 24) + 1;
    coder.finish();
    EXPECT_EQ(memory.stream.bitCount(), 5 + 2 + 1 + 24 + 1 + 2);
    memory.stream.flush();
    EXPECT_EQ(unpacked(memory.content(5)),
              unpacked(packed(Bits{false, false, false, true, true, false, false, true, true, true}) + Bytes{0, 0, 0}));
}

} // namespace teko
