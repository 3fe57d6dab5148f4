// SPDX-License-Identifier: Apache-2.0
// The tables of golden cases: a line of column names, then one case a line, with tabs between the columns.
#pragma once

#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace teko {

// One case: the text in each column, by the column's name.
using GoldenCase = std::map<std::string, std::string>;
using GoldenTable = std::vector<GoldenCase>;

inline std::string goldenPath(const std::string& name) {
    return TEKO_GOLDEN_DIRECTORY "/" + name;
}

inline std::vector<std::string> columnsOf(const std::string& line) {
    std::vector<std::string> columns;
    std::istringstream text(line);
    for (std::string column; std::getline(text, column, '\t');) {
        columns.push_back(column);
    }
    return columns;
}

inline GoldenTable goldenTable(const std::string& name) {
    std::ifstream file(goldenPath(name));
    std::string line;
    std::getline(file, line);
    const std::vector<std::string> columns = columnsOf(line);
    GoldenTable table;
    while (std::getline(file, line)) {
        const std::vector<std::string> values = columnsOf(line);
        if (values.size() != columns.size()) {
            throw std::runtime_error(name + ": " + line);
        }
        GoldenCase& row = table.emplace_back();
        for (std::size_t i = 0; i < columns.size(); ++i) {
            row[columns[i]] = values[i];
        }
    }
    return table;
}

// The cases of a table that are about one image.
struct GoldenImage {
    std::string name;
    GoldenTable cases;
};

inline std::ostream& operator<<(std::ostream& stream, const GoldenImage& image) {
    return stream << image.name;
}

inline std::vector<GoldenImage> goldenImages(const std::string& tableName) {
    std::map<std::string, GoldenTable> casesByImage;
    for (const GoldenCase& row : goldenTable(tableName)) {
        casesByImage[row.at("image")].push_back(row);
    }
    std::vector<GoldenImage> images;
    for (const auto& [name, cases] : casesByImage) {
        images.push_back({name, cases});
    }
    return images;
}

} // namespace teko
