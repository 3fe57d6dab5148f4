// SPDX-License-Identifier: Apache-2.0
// What the tests on the failing machine share: every operation that is of interest fails once, each in a run of its
// own.
#pragma once

#include "prescribedEnd.hpp"
#include "tally.hpp"

#include <gtest/gtest.h>

namespace teko {

// Small enough for a run per operation, and of every kind of image. The last goes stage by stage through planes, the
// others row by row.
inline const std::vector<Shape> smallShapes = {{1, 8, 24, 22}, {2, 16, 24, 22}, {3, 8, 24, 22}, {3, 8, 24, 5}};

// More than two file buffers of coded stream in each, and few rows, each larger than a buffer of the C library.
inline const std::vector<Shape> wideShapes = {{1, 8, 65535, 14}, {2, 16, 33000, 14}, {3, 8, 22000, 14}};

// The same for mode m, which knows no file buffers but those of the C library.
inline const std::vector<Shape> widerThanABuffer = {{1, 8, 20000, 7}, {2, 16, 10000, 7}, {3, 8, 6666, 7}};

inline const std::vector<std::string> codingModes = {"c", "C", "d", "D"};
inline const std::vector<std::string> everyMode = {"c", "C", "d", "D", "m"};

class FaultTest : public testing::TestWithParam<Scene> {
protected:
    void SetUp() override {
#ifndef TEKO_CAN_PRELOAD
        GTEST_SKIP() << "operations are counted by a preloaded library, which instrumented programs do not bear";
#endif
    }

    // Injects the fault into the operations of these names. Returns how many there are.
    long failEach(const Stage& stage, const Rules& rules, const Strings& names, const std::string& label,
                  Fault fault) const {
        const std::vector<long> points = pointsOf(rules.without(fault.devices), names);
        for (std::size_t i = 0; i < points.size() && !HasFailure(); ++i) {
            fault.at = points[i];
            if (isChosen(i, points.size())) {
                fail(stage, rules, label, fault);
            }
        }
        return std::ssize(points);
    }

private:
    static std::vector<long> pointsOf(const FaultyRun& run, const Strings& names) {
        std::vector<long> points;
        for (long at = 0; at < std::ssize(run.operations); ++at) {
            const std::string& name = run.operations[static_cast<std::size_t>(at)].name;
            if (std::find(names.begin(), names.end(), name) != names.end()) {
                points.push_back(at);
            }
        }
        return points;
    }

    // All of them if the environment asks for that, else a few, the first and the last among them.
    static bool isChosen(std::size_t i, std::size_t count) {
        static const bool isEvery = std::getenv("TEKO_EVERY_FAULT") != nullptr;
        constexpr std::size_t few = 5;
        const std::size_t steps = GetParam().shape.xsize > smallShapes.front().xsize ? 1 : 2;
        return isEvery || count <= few || i == count - 1 || i % (count / steps) == 0;
    }

    static void fail(const Stage& stage, const Rules& rules, const std::string& label, const Fault& fault) {
        const Operation& operation = rules.without(fault.devices).operations[static_cast<std::size_t>(fault.at)];
        SCOPED_TRACE(testing::Message() << fault << ", " << operation.name << " " << operation.file);
        stage.reset();
        if (fault.how == How::shrink) {
            stage.putInputs();
        }
        const FaultyRun run = runWithFault(stage, fault);
        countEnd(stage.scene, label, expectPrescribedEnd(stage, rules, run));
    }
};

inline std::string sceneName(const testing::TestParamInfo<Scene>& info) {
    std::ostringstream name;
    name << info.param.mode << "_" << kindName(info.param.shape) << "_" << info.param.shape.ysize;
    return name.str();
}

} // namespace teko
