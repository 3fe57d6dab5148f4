// SPDX-License-Identifier: Apache-2.0
// Which target runs.
#include "fast/kernels/kernels.hpp"
#include "fast/rows/rowKernels.hpp"
#include "support/emulator.hpp"
#include "support/targets.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <optional>
#include <string>

namespace teko {

namespace {

// What a process of its own says when the variable has this value, or none.
std::string targetsOfProcess(const std::optional<std::string>& value) {
    const std::string environment = value ? "TEKO_TARGET='" + *value + "'" : "-u TEKO_TARGET";
    std::string command = "env " + environment;
    for (const std::string& word : startOf(TEKO_TARGET_NAME_PROGRAM)) {
        command += " '" + word + "'";
    }
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return "no process";
    }
    std::string said;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
        said += static_cast<char>(c);
    }
    return pclose(pipe) == 0 ? said : "failed";
}

std::string expected(Target active) {
    return std::string(nameOf(active)) + " " + nameOf(bestTarget()) + "\n";
}

} // namespace

TEST(TargetChoice, IsTheBestOneOfItself) {
    EXPECT_EQ(targetsOfProcess(std::nullopt), expected(bestTarget()));
}

TEST(TargetChoice, IsForcedByTheEnvironment) {
    for (const Target target : allTargets) {
        if (isRunnable(target)) {
            EXPECT_EQ(targetsOfProcess(nameOf(target)), expected(target));
        }
    }
}

TEST(TargetChoice, IsNotForcedWhereTheProcessorCannotRunIt) {
    for (const Target target : allTargets) {
        if (!isRunnable(target)) {
            EXPECT_EQ(targetsOfProcess(nameOf(target)), expected(bestTarget()));
        }
    }
    EXPECT_TRUE(isRunnable(Target::plain));
    EXPECT_TRUE(isRunnable(Target::portable));
}

TEST(TargetChoice, IsDeafToAnythingElse) {
    for (const char* value :
         {"", "PLAIN", "plain ", " plain", "portable2", "avx", "avx2,plain", "avx5122", "0", "auto"}) {
        EXPECT_EQ(targetsOfProcess(value), expected(bestTarget())) << '"' << value << '"';
    }
}

TEST(TargetChoice, TheBestTargetIsRunnableAndNotPlain) {
    EXPECT_TRUE(isRunnable(bestTarget()));
    EXPECT_NE(bestTarget(), Target::plain);
}

TEST(TargetChoice, TheActiveTargetIsTheOneSetLast) {
    for (const Target target : fastTargets()) {
        const TargetInUse use(target);
        EXPECT_EQ(activeTarget(), target);
        {
            const TargetInUse plain(Target::plain);
            EXPECT_EQ(activeTarget(), Target::plain);
        }
        EXPECT_EQ(activeTarget(), target);
    }
}

TEST(TargetChoice, TargetsHaveNamesOfTheirOwn) {
    EXPECT_STREQ(nameOf(Target::plain), "plain");
    EXPECT_STREQ(nameOf(Target::portable), "portable");
    EXPECT_STREQ(nameOf(Target::avx2), "avx2");
    EXPECT_STREQ(nameOf(Target::avx512), "avx512");
    EXPECT_STREQ(nameOf(Target::neon), "neon");
}

TEST(TargetChoice, OfRawRowsIsEachTargetsOwn) {
    for (const Target one : fastTargets()) {
        for (const Target other : fastTargets()) {
            if (one != other) {
                EXPECT_NE(kernelsOf(one).rawRows.splitBytes, kernelsOf(other).rawRows.splitBytes) << one << other;
                EXPECT_NE(kernelsOf(one).rawRows.joinBytes, kernelsOf(other).rawRows.joinBytes) << one << other;
            }
        }
    }
}

template <typename T>
class TargetProcedures : public testing::Test {};
using SampleTypes = testing::Types<short, long>;
TYPED_TEST_SUITE(TargetProcedures, SampleTypes);

TEST(TargetChoice, OfKernelsIsThePortableOneForThePlainTarget) {
    EXPECT_EQ(&kernelsOf(Target::plain), &kernelsOf(Target::portable));
}

TYPED_TEST(TargetProcedures, FastTargetsHaveTheirOwn) {
    for (const Target target : fastTargets()) {
        if (target != Target::portable) {
            EXPECT_NE(&kernelsOf(target).rows<TypeParam>(), &kernelsOf(Target::portable).rows<TypeParam>()) << target;
            EXPECT_NE(kernelsOf(target).rows<TypeParam>().predict,
                      kernelsOf(Target::portable).rows<TypeParam>().predict)
                << target;
            EXPECT_NE(kernelsOf(target).planes<TypeParam>().codeClass,
                      kernelsOf(Target::portable).planes<TypeParam>().codeClass)
                << target;
        }
    }
}

} // namespace teko
