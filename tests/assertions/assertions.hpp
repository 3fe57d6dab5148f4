// SPDX-License-Identifier: Apache-2.0
// Broken rules, which end a program that was built with assertions.
#pragma once

#include <gtest/gtest.h>

namespace teko {

// For tests that expect a failed assertion: EXPECT_DEATH(statement, "a part of its condition").
class Assertions : public testing::Test {
protected:
    void SetUp() override {
#if defined(NDEBUG)
        GTEST_SKIP() << "built without assertions";
#endif
    }
};

} // namespace teko
