// SPDX-License-Identifier: Apache-2.0
#include "arguments.hpp"
#include "endings.hpp"
#include "tiffStream.hpp"

#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Fills the places of standard streams that we were started without: a file that took one of them would get our
// messages, too.
void reserveStandardDescriptors() {
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDWR);
    }
    close(descriptor);
}

} // namespace

int main(int argc, char** argv) {
    reserveStandardDescriptors();
    int status = 1;
    try {
        const tekoimg::Request request = tekoimg::parse(argc, argv);
        status = request.status;
        if (request.command == nullptr) {
            return status;
        }
        tekoimg::watchSignals();
        tekoimg::keepTiffMessages();
        return request.command(request.settings);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tekoimg: %s\n", failure.what());
        return status;
    }
}
