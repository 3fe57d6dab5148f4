// SPDX-License-Identifier: Apache-2.0
// Which inputs become which outputs, known before anything is written.
#pragma once

#include "settings.hpp"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace tekoimg {

struct Job {
    std::string input;
    std::string output;  // empty where there is none
    std::string failure; // why it is none, when it cannot even be looked for
};

struct Plan {
    std::vector<Job> jobs;
    std::size_t leftAlone = 0; // files in folders that are no inputs by their names
};

struct Naming {
    std::function<bool(const std::string& extension)> isInput; // of files in folders
    std::string ending;                                        // of outputs, ".tk"; empty: the input's own
};

// The inputs, with the files of folders in their place, by name; and nothing about outputs. Folders are gone through
// with what is in them; links to folders are not followed.
Plan planInputs(const Settings& settings, const Naming& naming);
// The same with outputs. Throws Failure where two inputs would have one output, an output is an input of the same run,
// or names do not go together.
Plan planOutputs(const Settings& settings, const Naming& naming);

} // namespace tekoimg
