// SPDX-License-Identifier: Apache-2.0
// A fresh directory for one test, deleted with everything in it when the test ends.
#pragma once

#include "support/bytes.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

namespace teko {

class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string pattern = std::filesystem::temp_directory_path() / "tekoTestXXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), pattern);
        }
        directory = pattern;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& path() const { return directory; }
    std::filesystem::path path(const std::string& name) const { return directory / name; }

    void write(const std::string& name, const Bytes& content) const {
        std::ofstream file(path(name), std::ios::binary);
        file.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
        file.close();
        if (!file) {
            throw std::runtime_error("cannot write " + name);
        }
    }

    Bytes read(const std::string& name) const { return readFile(path(name)); }

    // The names of what is in the directory, in alphabetical order.
    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const auto& entry : std::filesystem::directory_iterator(directory)) {
            result.push_back(entry.path().filename());
        }
        std::sort(result.begin(), result.end());
        return result;
    }

    // Any file, whole; throws when there is none.
    static Bytes readFile(const std::filesystem::path& path) {
        Bytes content(std::filesystem::file_size(path));
        std::ifstream file(path, std::ios::binary);
        file.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(content.size()));
        if (!file) {
            throw std::runtime_error("cannot read " + path.string());
        }
        return content;
    }

private:
    std::filesystem::path directory;
};

} // namespace teko
