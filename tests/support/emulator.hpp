// SPDX-License-Identifier: Apache-2.0
// How to start a program that was built for another machine than the one we are on.
#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace teko {

// The words in front of a program's own arguments: its path, behind an emulator where the build names one.
inline std::vector<std::string> startOf(const std::string& program) {
    std::vector<std::string> words;
    std::istringstream emulator(TEKO_EMULATOR);
    for (std::string word; std::getline(emulator, word, ';');) {
        words.push_back(word);
    }
    words.push_back(program);
    return words;
}

} // namespace teko
