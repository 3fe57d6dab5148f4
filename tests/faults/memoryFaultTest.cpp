// SPDX-License-Identifier: Apache-2.0
// Every allocation in turn is refused.
#include "faultTest.hpp"

namespace teko {

namespace {

using MemoryFault = FaultTest;

INSTANTIATE_TEST_SUITE_P(Of, MemoryFault, testing::ValuesIn(everyScene(everyMode, smallShapes)), sceneName);

TEST_P(MemoryFault, endsTheRunAbnormally) {
    const Stage stage(GetParam());
    const Rules rules(stage);
    EXPECT_GT(failEach(stage, rules, {"new"}, "an allocation", {.how = How::fail}), 3);
    EXPECT_GT(failEach(stage, rules, {"new"}, "all allocations from one on", {.how = How::fail, .lasts = true}), 3);
}

// A file that the C library has no memory for cannot be opened; of a missing buffer nobody notices anything.
TEST_P(MemoryFault, insideTheCLibraryIsThatOfTheFile) {
    const Stage stage(GetParam());
    const Rules rules(stage);
    EXPECT_GT(failEach(stage, rules, {"malloc"}, "an allocation of the C library's own", {.how = How::fail}), 3);
}

} // namespace

} // namespace teko
