// SPDX-License-Identifier: Apache-2.0
// Texts against patterns: extended regular expressions of POSIX. (A file that includes <regex> takes several seconds
// more to compile.)
#pragma once

#include <regex.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace teko {

class Pattern {
public:
    explicit Pattern(const std::string& expression) {
        if (regcomp(&compiled, expression.c_str(), REG_EXTENDED) != 0) {
            throw std::invalid_argument(expression);
        }
    }
    ~Pattern() { regfree(&compiled); }
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;

    // The longest of the first matches and what its groups match; empty where there is none.
    std::vector<std::string> findIn(const std::string& text) const {
        std::vector<regmatch_t> found(compiled.re_nsub + 1);
        if (regexec(&compiled, text.c_str(), found.size(), found.data(), 0) != 0) {
            return {};
        }
        std::vector<std::string> parts;
        for (const regmatch_t& part : found) {
            const auto start = static_cast<std::size_t>(part.rm_so);
            parts.push_back(part.rm_so < 0 ? "" : text.substr(start, static_cast<std::size_t>(part.rm_eo) - start));
        }
        return parts;
    }

    // The same where the whole text matches.
    std::vector<std::string> partsOf(const std::string& text) const {
        std::vector<std::string> parts = findIn(text);
        return !parts.empty() && parts.front() == text ? parts : std::vector<std::string>{};
    }

    bool matches(const std::string& text) const { return !partsOf(text).empty(); }

private:
    regex_t compiled;
};

} // namespace teko
