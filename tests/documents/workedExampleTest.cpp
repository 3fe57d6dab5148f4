// SPDX-License-Identifier: Apache-2.0
// The worked example is what the program makes, sample by sample and byte by byte.
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

namespace teko {

namespace {

std::string quoted(const std::string& word) {
    return "'" + word + "'";
}

TEST(WorkedExample, IsWhatTheProgramMakes) {
    const std::string script = TEKO_DOCUMENTS "/checkDocs.py";
    const std::string command = quoted(TEKO_PYTHON) + " " + quoted(script) + " example " + quoted(TEKO_PROGRAM);
    EXPECT_EQ(std::system(command.c_str()), 0); // what is wrong, the script says
}

} // namespace

} // namespace teko
