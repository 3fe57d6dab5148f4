// SPDX-License-Identifier: Apache-2.0
// Both directions together: what is coded comes back, and a file cut anywhere is a smaller file of the same image.
#include "cliTest.hpp"

namespace teko {

namespace {

class RoundTrip : public EveryKind {
protected:
    // What one mode of decompression makes of any file: how it ended and what it left.
    std::pair<Outcome, Bytes> attempt(const std::string& mode, const Bytes& content) const {
        files.write("attempt.tk", content);
        Outcome outcome = run({mode, "attempt.tk", "attempt.raw"});
        if (mode == "D") {
            const std::size_t line = outcome.output.find('\n') + 1;
            const std::size_t payload = content.size() < headerBytes ? 0 : content.size() - headerBytes;
            EXPECT_EQ(outcome.output.substr(0, line), text::inMemory(payload));
            outcome.output.erase(0, line);
        }
        return {outcome, files.read("attempt.raw")};
    }
};

INSTANTIATE_TEST_SUITE_P(Kind, RoundTrip, testing::ValuesIn(everyKind));

TEST_P(RoundTrip, ThroughFilesGivesTheRawFileBack) {
    for (const auto& [xsize, ysize] : {std::pair{4, 4}, {4, 33}, {33, 4}, {5, 7}, {8, 8}, {31, 65}, {64, 40}}) {
        const Shape shape = GetParam().sized(xsize, ysize);
        for (const Bytes& content : {raw::noise(shape), raw::slope(shape), raw::squares(shape), raw::flat(shape, 77)}) {
            EXPECT_EQ(decoded("d", shape, coded(shape, content)), content) << shape;
        }
    }
}

// Too small for a level of decomposition, yet recomposed by one: such images do not come back.
TEST_P(RoundTrip, OfImages2Or3SamplesAcrossChangesThemInBothModesAlike) {
    for (const auto& [xsize, ysize] : {std::pair{2, 2}, {2, 33}, {33, 2}, {3, 3}, {3, 5}}) {
        const Shape shape = GetParam().sized(xsize, ysize);
        const Bytes content = raw::flat(shape, 77);
        const Bytes restored = decoded("d", shape, coded(shape, content));
        EXPECT_EQ(restored.size(), content.size()) << shape;
        EXPECT_NE(restored, content) << shape;
        EXPECT_EQ(decoded("D", shape, coded(shape, content)), restored) << shape;
    }
}

TEST_P(RoundTrip, ThroughMemoryGivesTheRawFileBackWhereTheRateSuffices) {
    for (const auto& [xsize, ysize] : {std::pair{40, 50}, {64, 64}, {127, 33}}) {
        const Shape shape = GetParam().sized(xsize, ysize);
        for (const Bytes& content : {raw::slope(shape), raw::flat(shape, 77)}) {
            const Bytes fitting = coded(shape, content, "1");
            // Zeros up to a whole word stand for the bits that no one wrote.
            const Bytes padded = fitting + Bytes((4 - (fitting.size() - headerBytes) % 4) % 4, 0);
            EXPECT_LT(padded.size(), shape.fileBytes()) << shape;
            EXPECT_EQ(decoded("D", shape, padded), content) << shape;
            EXPECT_EQ(padded, coded(shape, content)) << shape;
        }
    }
}

TEST_P(RoundTrip, ThroughMemoryIsExactWhenTheFileEndsOnAWord) {
    int exact = 0;
    for (int ysize = 40; ysize < 60; ++ysize) {
        const Shape shape = GetParam().sized(40, ysize);
        const Bytes content = raw::slope(shape);
        const Bytes fitting = coded(shape, content, "1");
        if ((fitting.size() - headerBytes) % 4 == 0) {
            EXPECT_EQ(decoded("D", shape, fitting), content) << shape;
            ++exact;
        }
    }
    EXPECT_GT(exact, 0);
}

TEST_P(RoundTrip, BothModesDecodeEveryPrefixAlike) {
    const Shape shape = GetParam().sized(7, 6);
    const Bytes whole = coded(shape, raw::slope(shape));
    for (std::size_t bytes = 0; bytes <= whole.size(); ++bytes) {
        auto fromFile = attempt("d", prefix(whole, bytes));
        auto fromMemory = attempt("D", prefix(whole, bytes));
        EXPECT_EQ(fromFile.second, fromMemory.second) << bytes;
        EXPECT_EQ(fromFile.first.exitStatus, fromMemory.first.exitStatus) << bytes;
        EXPECT_EQ(fromFile.first.signal, fromMemory.first.signal) << bytes;
        EXPECT_EQ(fromFile.first.output, fromMemory.first.output) << bytes;
        if (bytes >= headerBytes + 4) {
            EXPECT_EQ(fromFile.first, decompressed(shape)) << bytes;
            EXPECT_EQ(fromFile.second.size(), shape.fileBytes()) << bytes;
        }
    }
    EXPECT_EQ(attempt("d", whole).second, raw::slope(shape));
}

TEST_P(RoundTrip, AFileWithinARateIsAPrefixOfTheCompleteFile) {
    for (const Bytes& content : {raw::noise(GetParam()), raw::slope(GetParam()), raw::squares(GetParam())}) {
        const Bytes whole = coded(GetParam(), content);
        for (const std::string rate : {"0", "0.01", "0.02", "0.1", "0.25", "0.333", "0.5", "0.75", "0.9", "1"}) {
            const Bytes cut = coded(GetParam(), content, rate);
            EXPECT_EQ(cut, prefix(whole, cut.size())) << rate;
        }
    }
}

// Rates one byte of the raw file apart: every number of bytes behind the last whole word.
TEST_P(RoundTrip, AFileWithinABudgetOfAnySizeIsAPrefixOfTheCompleteFile) {
    const Shape shape = GetParam().sized(16, 16);
    const Bytes content = raw::noise(shape);
    const Bytes whole = coded(shape, content);
    for (std::size_t bytes = 11; bytes < 44; ++bytes) {
        const double rate = static_cast<double>(bytes) / static_cast<double>(shape.fileBytes());
        EXPECT_EQ(coded(shape, content, std::to_string(rate + 1e-5)), prefix(whole, bytes)) << bytes;
    }
}

TEST_P(RoundTrip, MoreBytesNeverLoseTheImage) {
    const Shape shape = GetParam().sized(64, 48);
    const Bytes content = raw::slope(shape);
    const Bytes whole = coded(shape, content);
    EXPECT_NE(decoded("d", shape, prefix(whole, whole.size() - 4)), Bytes(shape.fileBytes(), 0));
    EXPECT_EQ(decoded("d", shape, whole), content);
}

} // namespace

} // namespace teko
