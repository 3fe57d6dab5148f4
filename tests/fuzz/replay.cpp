// SPDX-License-Identifier: Apache-2.0
// Stands in for the fuzzing engine: runs every input that it is given once. An input that breaks a promise ends it.
#include "fuzz/input.hpp"
#include "support/temporaryDirectory.hpp"

namespace {

int replayed = 0;

void replay(const std::filesystem::path& path) {
    const teko::Bytes input = teko::TemporaryDirectory::readFile(path);
    std::fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(input.data(), input.size());
    ++replayed;
}

} // namespace

// Arguments are files and directories of files; those that begin with a minus are the engine's and count for nothing.
int main(int argc, char** argv) {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) {
        return 1;
    }
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path path = argv[i];
        if (argv[i][0] == '-') {
            continue;
        }
        if (!std::filesystem::is_directory(path)) {
            replay(path);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            replay(entry.path());
        }
    }
    std::fprintf(stderr, "%d inputs\n", replayed);
    return replayed > 0 ? 0 : 1;
}
