// SPDX-License-Identifier: Apache-2.0
// Every operation on a file in turn fails, comes up short, or is the last before a signal.
#include "faultTest.hpp"

namespace teko {

namespace {

class FileFault : public FaultTest {
protected:
    void failEveryTransfer() const {
        const Stage stage(GetParam());
        const Rules rules(stage);
        const bool hasOutput = !GetParam().compares();
        EXPECT_GT(failEach(stage, rules, {"read"}, "reading, for good", {.how = How::fail, .lasts = true}), 0);
        EXPECT_GT(failEach(stage, rules, {"read"}, "reading, once", {.how = How::halve}), 0);
        EXPECT_EQ(failEach(stage, rules, {"write"}, "writing, for good", {.how = How::fail, .lasts = true}) > 0,
                  hasOutput);
        EXPECT_EQ(failEach(stage, rules, {"write"}, "writing, once", {.how = How::halve}) > 0, hasOutput);
    }

    void failEveryOtherOperation() const {
        const Stage stage(GetParam());
        const Rules rules(stage);
        EXPECT_EQ(failEach(stage, rules, {"open"}, "opening", {.how = How::fail}), 2);
        EXPECT_EQ(failEach(stage, rules, {"seek", "tell"}, "finding the length", {.how = How::fail}),
                  GetParam().decompresses() ? 3 : 0);
        EXPECT_EQ(failEach(stage, rules, {"flush"}, "flushing", {.how = How::fail}), GetParam().decompresses() ? 1 : 0);
        EXPECT_EQ(failEach(stage, rules, {"close"}, "closing", {.how = How::fail}), 2);
    }

    void failEveryDeviceOperation() const {
        const Stage stage(GetParam());
        const Rules rules(stage);
        const Fault fault{.how = How::fail, .lasts = true, .devices = true};
        const bool hasOutput = !GetParam().compares();
        EXPECT_GT(failEach(stage, rules, {"deviceRead"}, "the device, reading", fault), 0);
        EXPECT_GT(failEach(stage, rules, {"deviceRead"}, "the device, reading less at a time",
                           {.how = How::halve, .devices = true}),
                  0);
        EXPECT_EQ(failEach(stage, rules, {"deviceWrite"}, "the device, writing", fault) > 0, hasOutput);
        EXPECT_EQ(failEach(stage, rules, {"deviceWrite"}, "the device, filling up",
                           {.how = How::halve, .lasts = true, .devices = true}) > 0,
                  hasOutput);
        EXPECT_EQ(failEach(stage, rules, {"deviceClose"}, "the device, closing", fault), 2);
    }

    void terminateAtEveryOperation() const {
        const Stage stage(GetParam());
        const Rules rules(stage);
        EXPECT_GT(failEach(stage, rules, {"open", "read", "write", "seek", "tell", "flush", "close"}, "SIGTERM",
                           {.how = How::terminate}),
                  3);
    }

    void shrinkAtEveryRead() const {
        const Stage stage(GetParam());
        const Rules rules(stage);
        EXPECT_GT(failEach(stage, rules, {"read"}, "the input shrinks", {.how = How::shrink}), 0);
    }
};

// The whole image passes through the buffers of the C library.
using SmallFileFault = FileFault;
INSTANTIATE_TEST_SUITE_P(Of, SmallFileFault, testing::ValuesIn(everyScene(everyMode, smallShapes)), sceneName);

TEST_P(SmallFileFault, endsTheRunAsPrescribed) {
    failEveryTransfer();
    failEveryOtherOperation();
}
TEST_P(SmallFileFault, ofADeviceEndsTheRunAsPrescribed) {
    failEveryDeviceOperation();
}
TEST_P(SmallFileFault, thatIsASignalEndsTheRun) {
    terminateAtEveryOperation();
}
TEST_P(SmallFileFault, thatShrinksTheInputIsThatOfAShorterOne) {
    shrinkAtEveryRead();
}

// All buffers turn over several times.
using WideFileFault = FileFault;
INSTANTIATE_TEST_SUITE_P(OfCoding, WideFileFault, testing::ValuesIn(everyScene(codingModes, wideShapes)), sceneName);
INSTANTIATE_TEST_SUITE_P(OfComparing, WideFileFault, testing::ValuesIn(everyScene({"m"}, widerThanABuffer)), sceneName);

TEST_P(WideFileFault, endsTheRunAsPrescribed) {
    failEveryTransfer();
    failEveryDeviceOperation();
}
TEST_P(WideFileFault, fromOutsideEndsTheRunAsPrescribed) {
    terminateAtEveryOperation();
    shrinkAtEveryRead();
}

} // namespace

} // namespace teko
