// SPDX-License-Identifier: Apache-2.0
// Standard output goes nowhere while this lives.
#pragma once

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace teko {

class Silence {
public:
    Silence() : standardOutput((std::fflush(stdout), dup(STDOUT_FILENO))) {
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDOUT_FILENO);
        close(nowhere);
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    ~Silence() {
        std::fflush(stdout);
        dup2(standardOutput, STDOUT_FILENO);
        close(standardOutput);
    }

private:
    int standardOutput;
};

} // namespace teko
