// SPDX-License-Identifier: Apache-2.0
// Full disks and closed pipes as the system has them, with what stands beside the output.
#include "faultTest.hpp"

#include <poll.h>
#include <sys/stat.h>

namespace teko {

namespace {

const std::string fullDevice = "/dev/full";

// What a signal does to the programs that are started in the meantime.
class Disposition {
public:
    Disposition(int number, void (*handler)(int)) : signal(number), before(std::signal(number, handler)) {}
    Disposition(const Disposition&) = delete;
    Disposition& operator=(const Disposition&) = delete;
    ~Disposition() { std::signal(signal, before); }

private:
    int signal;
    void (*before)(int);
};

class Circumstance : public testing::TestWithParam<Scene> {
protected:
    const Stage stage{GetParam()};
    const Outcome usual = stage.run();
    const Contents whole = stage.contents();

    static void countEndOf(const Outcome& outcome, const std::string& circumstance) {
        const bool isAbnormal = outcome.signal == SIGABRT;
        countEnd(GetParam(), circumstance,
                 isAbnormal            ? "abnormal end (integer)"
                 : outcome.signal != 0 ? "ended by the signal"
                                       : "status 0");
    }

    // The input and the files beside the output are as they were.
    void expectNothingElseChanged() const {
        Contents after = stage.contents();
        after.output = whole.output;
        EXPECT_TRUE(after == whole);
    }

    // A raw output that is not taken ends the run abnormally, a coded one ends early.
    void expectOutputRefused(const Outcome& outcome, const std::string& circumstance) const {
        EXPECT_EQ(outcome.exitStatus, GetParam().decompresses() ? -1 : 0) << outcome;
        EXPECT_EQ(outcome.signal, GetParam().decompresses() ? SIGABRT : 0) << outcome;
        EXPECT_TRUE(GetParam().decompresses() || outcome.errors.empty()) << outcome;
        expectNothingElseChanged();
        countEndOf(outcome, circumstance);
    }

    // Starts the run with that standard output, lets something happen, and waits for the end.
    template <typename Action>
    Outcome runBeside(int standardOutput, const std::string& output, Action action) const {
        Strings arguments = stage.arguments(output);
        arguments.insert(arguments.begin(), TEKO_PROGRAM);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        const ScratchFile errors;
        const pid_t child = fork();
        if (child == 0) {
            program::become(pointers.data(), {.directory = stage.path()}, standardOutput, fileno(errors.get()));
        }
        action();
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return {.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1,
                .signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0,
                .errors = program::text(errors)};
    }

    // The status of a shell that runs the program with these redirections.
    int runByShell(const std::string& redirections) const {
        std::string command = "cd '" + stage.path().string() + "' && '" + TEKO_PROGRAM + "'";
        for (const std::string& argument : stage.arguments()) {
            command += " " + argument;
        }
        return std::system((command + " >/dev/null 2>/dev/null " + redirections).c_str());
    }

    Outcome runIntoClosedStandardOutput() const {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        close(ends[0]);
        const Outcome outcome = runBeside(ends[1], "out", [] {});
        close(ends[1]);
        return outcome;
    }

    // The reader of a pipe takes some bytes of the output and leaves.
    Outcome runIntoPipeThatCloses() const {
        const std::string pipe = stage.path() / "pipe";
        EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0);
        const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        const ScratchFile printed;
        Outcome outcome = runBeside(fileno(printed.get()), "pipe", [reader] {
            pollfd output{.fd = reader, .events = POLLIN, .revents = 0};
            constexpr int aMinute = 60000;
            EXPECT_EQ(poll(&output, 1, aMinute), 1);
            close(reader);
        });
        outcome.output = program::text(printed);
        std::filesystem::remove(pipe);
        return outcome;
    }
};

class SmallCircumstance : public Circumstance {};
INSTANTIATE_TEST_SUITE_P(Of, SmallCircumstance, testing::ValuesIn(everyScene(everyMode, smallShapes)), sceneName);

TEST_P(SmallCircumstance, aFullStandardOutputChangesNothing) {
    stage.reset();
    const Outcome outcome = stage.run({.outputPath = fullDevice});
    EXPECT_EQ(outcome, Outcome());
    EXPECT_TRUE(stage.contents() == whole);
    countEndOf(outcome, "standard output is full");
}

TEST_P(SmallCircumstance, aClosedStandardOutputEndsTheRunByItsSignal) {
    stage.reset();
    const Disposition disposition(SIGPIPE, SIG_DFL);
    const Outcome outcome = runIntoClosedStandardOutput();
    EXPECT_EQ(outcome, (Outcome{.exitStatus = -1, .signal = SIGPIPE}));
    expectNothingElseChanged();
    countEndOf(outcome, "standard output is a closed pipe");
}

TEST_P(SmallCircumstance, aClosedStandardOutputChangesNothingWhenItsSignalIsIgnored) {
    stage.reset();
    const Disposition disposition(SIGPIPE, SIG_IGN);
    const Outcome outcome = runIntoClosedStandardOutput();
    EXPECT_EQ(outcome, Outcome());
    EXPECT_TRUE(stage.contents() == whole);
    countEndOf(outcome, "standard output is a closed pipe, SIGPIPE ignored");
}

// The output must not take the place of a stream that is missing.
TEST_P(SmallCircumstance, aMissingStandardStreamChangesNothing) {
    for (const char* closing : {"<&-", ">&-", "2>&-", "<&- >&-", "<&- 2>&-", ">&- 2>&-", "<&- >&- 2>&-"}) {
        stage.reset();
        EXPECT_EQ(runByShell(closing), 0) << closing;
        EXPECT_TRUE(stage.contents() == whole) << closing;
        countEndOf({}, "standard streams are missing");
    }
}

class CodingCircumstance : public Circumstance {};
INSTANTIATE_TEST_SUITE_P(Of, CodingCircumstance, testing::ValuesIn(everyScene(codingModes, smallShapes)), sceneName);

TEST_P(CodingCircumstance, aQuotaLeavesTheBeginningOfTheOutput) {
    const std::size_t bytes = whole.output.size();
    for (const std::size_t quota : {std::size_t{0}, std::size_t{9}, std::size_t{10}, bytes / 2, bytes - 1}) {
        stage.reset();
        const Outcome outcome = stage.run({.outputPath = "/dev/null", .fileBytes = quota});
        expectOutputRefused(outcome, "a quota");
        EXPECT_TRUE(stage.contents().output == prefix(whole.output, quota)) << quota;
    }
}

TEST_P(CodingCircumstance, aFullDeviceEndsTheRunAsPrescribed) {
    stage.reset();
    const Outcome outcome = stage.run({}, fullDevice);
    expectOutputRefused(outcome, "a full device");
    EXPECT_EQ(outcome.output, usual.output);
    EXPECT_TRUE(stage.contents().output == stage.olderOutput);
}

class WideCircumstance : public Circumstance {};
INSTANTIATE_TEST_SUITE_P(Of, WideCircumstance, testing::ValuesIn(everyScene(codingModes, wideShapes)), sceneName);

TEST_P(WideCircumstance, aPipeThatClosesEndsTheRunByItsSignal) {
    const Disposition disposition(SIGPIPE, SIG_DFL);
    const Outcome outcome = runIntoPipeThatCloses();
    EXPECT_EQ(outcome.signal, SIGPIPE) << outcome;
    EXPECT_EQ(outcome.errors, "");
    expectNothingElseChanged();
    countEndOf(outcome, "the output is a pipe that closes");
}

TEST_P(WideCircumstance, aPipeThatClosesEndsTheRunAsPrescribedWhenItsSignalIsIgnored) {
    const Disposition disposition(SIGPIPE, SIG_IGN);
    const Outcome outcome = runIntoPipeThatCloses();
    expectOutputRefused(outcome, "the output is a pipe that closes, SIGPIPE ignored");
    EXPECT_EQ(outcome.output, usual.output);
}

} // namespace

} // namespace teko
