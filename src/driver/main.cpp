// SPDX-License-Identifier: Apache-2.0
// The program's command line: which run (runs.hpp) it asks for, and with what. Numbers are read as C reads them: what
// is none counts as 0, and what follows one is not looked at.
#include "driver/runs.hpp"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#if defined(__unix__)
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {

// Which version a binary is, for whoever looks into it (strings teko | grep "^teko "); nothing prints it.
[[gnu::used, gnu::retain]] const char versionText[] = "teko " TEKO_PROJECT_VERSION;

// Fills the places of standard streams that we were started without. An output file that took one of them would get
// our progress lines, too.
void reserveStandardDescriptors() {
#if defined(__unix__)
    int descriptor = 0;
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDWR);
    }
    close(descriptor);
#endif
}

// Prints the usage and returns the status, so that a run ends with it.
int usage(int status) {
    std::puts("Usage:\n"
              "teko c|C rawfile bytes/pixel bits/pixel xsize ysize wavfile [rate]\n"
              "teko d|D wavfile rawfile\n"
              "\n"
              "teko m rawfile1 bytes/pixel bits/pixel xsize ysize rawfile2\n"
              "\n"
              "(uppercase denotes compression/decompression stream to/from memory)");
    return status;
}

std::int64_t number(const char* text) {
    return std::strtol(text, nullptr, 10);
}

// Runs mode c or C, whose arguments are 8 or 9 in number. C needs a rate, 0 to 1; with mode c it is of no effect.
int runCompression(int argc, char** argv, teko::StreamPlace place) {
    const bool hasRate = argc == 9;
    if (place == teko::StreamPlace::memory && !hasRate) {
        return usage(1);
    }
    const float rate = hasRate ? static_cast<float>(std::strtod(argv[8], nullptr)) : 1.0F;
    if (place == teko::StreamPlace::memory && (rate > 1.0F || 0.0F > rate)) {
        return usage(1);
    }
    const auto header = teko::FileHeader::forImage(number(argv[3]), number(argv[4]), number(argv[5]), number(argv[6]));
    return teko::compress({argv[2], argv[7], header, place, rate});
}

// Runs mode m, whose arguments are 8 in number.
int runComparison(char** argv) {
    return teko::compare({argv[2], argv[7], static_cast<int>(number(argv[3])), number(argv[4]),
                          static_cast<int>(number(argv[5])), static_cast<int>(number(argv[6]))});
}

} // namespace

int main(int argc, char** argv) {
    reserveStandardDescriptors();
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ); // a run that ends abnormally keeps the lines before its end
    if (argc < 2 || argv[1][0] == '\0' || argv[1][1] != '\0') {
        return usage(1);
    }
    switch (argv[1][0]) {
    case 'c':
    case 'C':
        if (argc != 8 && argc != 9) {
            return usage(1);
        }
        return runCompression(argc, argv, argv[1][0] == 'C' ? teko::StreamPlace::memory : teko::StreamPlace::file);
    case 'd':
    case 'D':
        if (argc != 4) {
            return usage(1);
        }
        return teko::decompress(argv[2], argv[3],
                                argv[1][0] == 'D' ? teko::StreamPlace::memory : teko::StreamPlace::file);
    case 'm':
        return argc == 8 ? runComparison(argv) : usage(1);
    default:
        return usage(1);
    }
}
