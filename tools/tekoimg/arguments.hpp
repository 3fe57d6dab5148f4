// SPDX-License-Identifier: Apache-2.0
// The command line.
#pragma once

#include "settings.hpp"

namespace tekoimg {

struct Request {
    int (*command)(const Settings&) = nullptr;
    Settings settings;
    int status = 0; // without a command, the program's; with one, that of its failure
};

// Says itself what is to be said of help and refusals: then there is no command.
Request parse(int argc, char** argv);

} // namespace tekoimg
