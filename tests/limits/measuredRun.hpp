// SPDX-License-Identifier: Apache-2.0
// Runs of the program with the memory that they took, and figures for people to read.
#pragma once

#include "support/program.hpp"
#include "support/rawFiles.hpp"
#include "support/temporaryDirectory.hpp"

#include <gtest/gtest.h>
#include <iomanip>
#include <iostream>
#include <string>
#include <vector>

namespace teko {

using Strings = std::vector<std::string>;

constexpr double mebibyte = 1024.0 * 1024.0;

// What a test found out, on a line of its own; nothing when it failed.
template <typename... Values>
void report(const Values&... values) {
    if (!testing::Test::HasFailure()) {
        std::cout << "PASS " << std::fixed << std::setprecision(2);
        (std::cout << ... << values) << std::endl;
    }
}

struct Measured {
    Outcome outcome;
    long peakBytes;
};

// The most memory that the program had in one run. A process starts out with what its parent has, so the figure of
// a small run is not below that of this test.
inline Measured measuredRun(const TemporaryDirectory& directory, const Strings& arguments) {
    const pid_t runner = fork();
    if (runner == 0) { // the children of this process are one run only
        const Outcome outcome = runProgram(arguments, {.directory = directory.path()});
        rusage usage{};
        getrusage(RUSAGE_CHILDREN, &usage);
        const auto bytes = [](const std::string& text) { return Bytes(text.begin(), text.end()); };
        directory.write("measured.output", bytes(outcome.output));
        directory.write("measured.errors", bytes(outcome.errors));
        directory.write("measured.figures",
                        bytes(std::to_string(outcome.exitStatus) + " " + std::to_string(outcome.signal) + " " +
                              std::to_string(usage.ru_maxrss)));
        _exit(0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(runner, &status, 0), runner);
    const auto text = [&](const char* name) {
        const Bytes content = directory.read(name);
        return std::string(content.begin(), content.end());
    };
    Measured measured{};
    char* next = nullptr;
    const std::string figures = text("measured.figures");
    measured.outcome.exitStatus = static_cast<int>(std::strtol(figures.c_str(), &next, 10));
    measured.outcome.signal = static_cast<int>(std::strtol(next, &next, 10));
    measured.peakBytes = 1024 * std::strtol(next, &next, 10);
    measured.outcome.output = text("measured.output");
    measured.outcome.errors = text("measured.errors");
    return measured;
}

// Arguments of modes c and C. The rate is left out when it is empty.
inline Strings compressing(const std::string& mode, const Shape& shape, const std::string& raw,
                           const std::string& coded, const std::string& rate = "") {
    Strings arguments{mode, raw};
    for (const std::string& number : shape.arguments()) {
        arguments.push_back(number);
    }
    arguments.push_back(coded);
    if (!rate.empty()) {
        arguments.push_back(rate);
    }
    return arguments;
}

} // namespace teko
