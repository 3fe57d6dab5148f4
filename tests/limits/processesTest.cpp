// SPDX-License-Identifier: Apache-2.0
// Many processes at once do not get into each other's way.
#include "measuredRun.hpp"

#include <algorithm>

namespace teko {

namespace {

constexpr std::uint32_t processes = 200;

class Processes : public testing::Test {
protected:
    TemporaryDirectory files;

    static Shape shapeOf(std::uint32_t number) { return everyKind[number % everyKind.size()]; }

    static std::string named(const char* name, std::uint32_t number) { return name + std::to_string(number); }

    // Starts a run of each argument list when all its processes are there, and waits for them. Returns how many
    // ended with status 0.
    long runAtOnce(const std::vector<Strings>& runs) const {
        int start[2];
        EXPECT_EQ(pipe2(start, O_CLOEXEC), 0);
        std::vector<pid_t> children;
        for (const Strings& arguments : runs) {
            const pid_t child = fork();
            if (child == 0) {
                close(start[1]);
                await(start[0]);
                become(arguments);
            }
            children.push_back(child);
        }
        close(start[0]);
        close(start[1]);
        return std::count_if(children.begin(), children.end(), [](pid_t child) {
            int status = -1;
            return waitpid(child, &status, 0) == child && status == 0;
        });
    }

private:
    static void await(int start) {
        char none = 0;
        if (read(start, &none, 1) != 0) {
            _exit(notStarted);
        }
    }

    [[noreturn]] void become(Strings arguments) const {
        arguments.insert(arguments.begin(), TEKO_PROGRAM);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        program::become(pointers.data(), {.directory = files.path()}, nowhere, STDERR_FILENO);
    }
};

TEST_F(Processes, giveTheirOwnResultsTwoHundredAtOnce) {
    std::vector<Strings> compressions;
    std::vector<Strings> decompressions;
    for (std::uint32_t i = 0; i < processes; ++i) {
        files.write(named("raw", i), raw::noise(shapeOf(i), i + 1));
        compressions.push_back(compressing("c", shapeOf(i), named("raw", i), named("coded", i)));
        decompressions.push_back({i % 2 == 0 ? "d" : "D", named("coded", i), named("back", i)});
    }
    EXPECT_EQ(runAtOnce(compressions), processes);
    EXPECT_EQ(runAtOnce(decompressions), processes);
    std::uint32_t right = 0;
    for (std::uint32_t i = 0; i < processes; ++i) {
        right += files.read(named("back", i)) == files.read(named("raw", i)) ? 1 : 0;
    }
    EXPECT_EQ(right, processes);
    report("processes: ", processes, " at once, ", right, " right results");
}

} // namespace

} // namespace teko
