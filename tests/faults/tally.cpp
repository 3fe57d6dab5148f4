// SPDX-License-Identifier: Apache-2.0
#include "tally.hpp"

#include <array>
#include <gtest/gtest.h>
#include <iostream>
#include <numeric>

namespace teko {

namespace {

using Counts = std::array<long, 3>; // by kind of image

struct Row {
    Counts points{};
    std::map<std::string, Counts> ends;
};

std::map<std::pair<std::string, std::string>, Row>& rows() {
    static std::map<std::pair<std::string, std::string>, Row> all;
    return all;
}

std::string joined(const Counts& counts) {
    return std::to_string(counts[0]) + "/" + std::to_string(counts[1]) + "/" + std::to_string(counts[2]);
}

std::string text(const std::map<std::string, Counts>& ends) {
    std::string text;
    for (const auto& [end, counts] : ends) {
        text += (text.empty() ? "" : "; ") + end + ": " + joined(counts);
    }
    return text;
}

class Table : public testing::Environment {
    void TearDown() override {
        if (rows().empty()) {
            return;
        }
        std::cout << "| mode | what fails | points | how the runs end |\n|---|---|---|---|\n";
        long total = 0;
        for (const auto& [key, row] : rows()) {
            total = std::accumulate(row.points.begin(), row.points.end(), total);
            std::cout << "| `" << key.first << "` | " << key.second << " | " << joined(row.points) << " | "
                      << text(row.ends) << " |\n";
        }
        std::cout << "\n" << total << " faults; counts are for grey8/grey16/colour\n";
    }
};

[[maybe_unused]] const testing::Environment* const table = testing::AddGlobalTestEnvironment(new Table);

} // namespace

void countEnd(const Scene& scene, const std::string& fault, const std::string& end) {
    const auto kind = static_cast<std::size_t>(scene.shape.bytesPerPixel - 1);
    Row& row = rows()[{scene.mode, fault}];
    ++row.points.at(kind);
    ++row.ends[end].at(kind);
}

} // namespace teko
