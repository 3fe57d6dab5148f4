// SPDX-License-Identifier: Apache-2.0
// Runs the program as a user would and reports all that it says.
#pragma once

#include "support/emulator.hpp"
#include "support/scratchFile.hpp"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <grp.h>
#include <ostream>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace teko {

// How a run ended: by itself with an exit status, or by a signal.
struct Outcome {
    int exitStatus = 0;      // -1 when a signal ended the run
    int signal = 0;          // 0 when the run ended by itself
    std::string output = {}; // standard output
    std::string errors = {}; // standard error

    bool operator==(const Outcome&) const = default;
};

inline std::ostream& operator<<(std::ostream& stream, const Outcome& outcome) {
    return stream << "exit status " << outcome.exitStatus << ", signal " << outcome.signal << "\n-- standard output\n"
                  << outcome.output << "-- standard error\n"
                  << outcome.errors << "--";
}

// Where and as whom the program runs.
struct Circumstances {
    std::filesystem::path directory = "."; // its working directory
    std::filesystem::path inputPath = {};  // if given, standard input comes from this file
    std::filesystem::path outputPath = {}; // if given, standard output is appended to this file and not reported
    mode_t umask = 022;
    bool unprivileged = false;        // when we are root, run as nobody
    rlim_t fileBytes = RLIM_INFINITY; // no file grows beyond this; writes that would are cut short
};

// The exit status of a child that could not become the program.
constexpr int notStarted = 127;

namespace program {

inline std::string text(const ScratchFile& file) {
    const auto content = file.contents();
    return {content.begin(), content.end()};
}

inline void limit(decltype(RLIMIT_CORE) resource, rlim_t value) {
    rlimit bounds{};
    getrlimit(resource, &bounds);
    bounds.rlim_cur = value < bounds.rlim_max ? value : bounds.rlim_max;
    setrlimit(resource, &bounds);
}

inline bool dropPrivileges() {
    constexpr unsigned nobody = 65534;
    return geteuid() != 0 || (setgroups(0, nullptr) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0);
}

// The child between vfork and exec: only calls that are allowed there, and no change of what the test has in memory.
[[noreturn]] inline void become(char* const* arguments, const Circumstances& circumstances, int output, int errors) {
    if (!circumstances.outputPath.empty()) {
        output = open(circumstances.outputPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
    }
    if (!circumstances.inputPath.empty()) {
        dup2(open(circumstances.inputPath.c_str(), O_RDONLY), STDIN_FILENO);
    }
    bool ready = dup2(output, STDOUT_FILENO) >= 0 && dup2(errors, STDERR_FILENO) >= 0;
    ready = ready && chdir(circumstances.directory.c_str()) == 0;
    ready = ready && (!circumstances.unprivileged || dropPrivileges());
    umask(circumstances.umask);
    limit(RLIMIT_CORE, 0);
    if (circumstances.fileBytes != RLIM_INFINITY) {
        std::signal(SIGXFSZ, SIG_IGN);
        limit(RLIMIT_FSIZE, circumstances.fileBytes);
    }
    if (ready) {
        execv(arguments[0], arguments);
    }
    _exit(notStarted);
}

} // namespace program

// Runs the program with these arguments (its own name goes in front) and waits for its end.
inline Outcome runProgram(const std::vector<std::string>& arguments, const Circumstances& circumstances = {}) {
    std::vector<std::string> words = startOf(TEKO_PROGRAM);
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    const ScratchFile output;
    const ScratchFile errors;
    // With sanitizers, copying what the test has mapped takes a third of the time that a run takes.
    const pid_t child = vfork();
    if (child == 0) {
        program::become(pointers.data(), circumstances, fileno(output.get()), fileno(errors.get()));
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        throw std::runtime_error(std::strerror(errno));
    }
    Outcome outcome;
    outcome.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    outcome.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    outcome.output = program::text(output);
    outcome.errors = program::text(errors);
    return outcome;
}

} // namespace teko
