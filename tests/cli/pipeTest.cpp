// SPDX-License-Identifier: Apache-2.0
// Pipes in the place of files: what has no length and cannot be gone back in.
#include "cliTest.hpp"

#include <algorithm>

namespace teko {

namespace {

// A named pipe that somebody else fills with bytes, some at a time.
class FedPipe {
public:
    FedPipe(const std::filesystem::path& path, const Bytes& content) {
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        feeder = fork();
        if (feeder == 0) {
            feed(path.c_str(), content);
        }
    }
    FedPipe(const FedPipe&) = delete;
    FedPipe& operator=(const FedPipe&) = delete;
    ~FedPipe() {
        kill(feeder, SIGKILL); // whoever reads no more leaves it waiting
        waitpid(feeder, nullptr, 0);
    }

private:
    [[noreturn]] static void feed(const char* path, const Bytes& content) {
        constexpr std::size_t atOnce = 1001;
        const int pipe = open(path, O_WRONLY | O_CLOEXEC);
        for (std::size_t at = 0; at < content.size(); at += atOnce) {
            const std::size_t count = std::min(atOnce, content.size() - at);
            if (write(pipe, content.data() + at, count) != static_cast<ssize_t>(count)) {
                break;
            }
        }
        _exit(0);
    }

    pid_t feeder;
};

// A named pipe whose content is looked at when nobody writes to it any more. It holds at most 64 KiB.
class KeptPipe {
public:
    explicit KeptPipe(const std::filesystem::path& path) {
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    }
    KeptPipe(const KeptPipe&) = delete;
    KeptPipe& operator=(const KeptPipe&) = delete;
    ~KeptPipe() { close(reader); }

    Bytes content() const {
        constexpr std::size_t capacity = 65536;
        Bytes bytes(capacity);
        std::size_t size = 0;
        ssize_t got = 0;
        while ((got = read(reader, bytes.data() + size, capacity - size)) > 0) {
            size += static_cast<std::size_t>(got);
        }
        return prefix(bytes, size);
    }

private:
    int reader;
};

class Pipe : public EveryKind {
protected:
    const Shape shape = GetParam().sized(100, 90);
    const Bytes content = raw::noise(shape);
    const Bytes whole = coded(shape, content);

    // The end of a run, and the file "out" that it leaves; its input is the pipe "pipe" with these bytes in it.
    std::pair<Outcome, Bytes> runFed(const Bytes& input, const Strings& arguments) const {
        files.write("out", {1, 2, 3});
        const FedPipe pipe(files.path("pipe"), input);
        const Outcome outcome = run(arguments);
        std::filesystem::remove(files.path("pipe"));
        return {outcome, files.read("out")};
    }

    // The end of a run whose standard input is a pipe with these bytes in it, which have to fit.
    Outcome runFromInput(const Bytes& input, const Strings& arguments) const {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
        EXPECT_EQ(write(ends[1], input.data(), input.size()), static_cast<ssize_t>(input.size()));
        close(ends[1]);
        const std::string path = "/dev/fd/" + std::to_string(ends[0]);
        Outcome outcome = runProgram(arguments, {.directory = files.path(), .inputPath = path});
        close(ends[0]);
        return outcome;
    }

    static Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

    // What comes out of a pipe that is both the standard output and the output file.
    Bytes printed(const Strings& arguments) const {
        const KeptPipe pipe(files.path("printed"));
        EXPECT_EQ(runProgram(arguments, {.directory = files.path(), .outputPath = files.path("printed")}), success(""));
        std::filesystem::remove(files.path("printed"));
        return pipe.content();
    }
};

INSTANTIATE_TEST_SUITE_P(Kind, Pipe, testing::ValuesIn(everyKind));

TEST_P(Pipe, GivesRawFilesToCompress) {
    EXPECT_EQ(runFed(content, compressArguments("c", shape, "pipe", "out")), std::pair(compressed(shape), whole));
    EXPECT_EQ(runFed(content, compressArguments("C", shape, "pipe", "out", "0.3")),
              std::pair(compressed(shape), coded(shape, content, "0.3")));
}

TEST_P(Pipe, ThatEndsEarlyEndsACompressionAbnormally) {
    const auto [outcome, left] =
        runFed(prefix(content, content.size() - 1), compressArguments("c", shape, "pipe", "out"));
    expectAbnormalEnd(outcome, "Reading...\n");
}

TEST_P(Pipe, GivesCompressedFilesToDecompressAsTheyCome) {
    EXPECT_EQ(runFed(whole, {"d", "pipe", "out"}), std::pair(decompressed(shape), content));
}

TEST_P(Pipe, ThatEndsEarlyIsAFileThatIsCut) {
    for (const std::size_t bytes : {headerBytes + 4, std::size_t{1000}, whole.size() - 1}) {
        EXPECT_EQ(runFed(prefix(whole, bytes), {"d", "pipe", "out"}),
                  std::pair(decompressed(shape), decoded("d", shape, prefix(whole, bytes))))
            << bytes;
    }
}

// Its length is not known, so that nothing is read behind the header, and the first bit is missing.
TEST_P(Pipe, CannotBeDecompressedInMemory) {
    const auto [outcome, left] = runFed(whole, {"D", "pipe", "out"});
    expectAbnormalEnd(outcome, text::inMemory(0) + "Reading...\n");
    EXPECT_EQ(left, Bytes());
}

TEST_P(Pipe, ThatIsNoCompressedFileIsNotRecognizedInMemoryEither) {
    const std::string complaint = "File pipe not recognized\n";
    EXPECT_EQ(runFed(content, {"d", "pipe", "out"}),
              std::pair((Outcome{.exitStatus = 1, .errors = complaint}), Bytes()));
    EXPECT_EQ(runFed(content, {"D", "pipe", "out"}),
              std::pair((Outcome{.exitStatus = 1, .output = text::inMemory(0), .errors = complaint}), Bytes()));
}

TEST_P(Pipe, CanBeTheStandardInput) {
    EXPECT_EQ(runFromInput(content, compressArguments("c", shape, "/dev/stdin", "out")), compressed(shape));
    EXPECT_EQ(files.read("out"), whole);
    EXPECT_EQ(runFromInput(whole, {"d", "/dev/stdin", "out"}), decompressed(shape));
    EXPECT_EQ(files.read("out"), content);
    expectAbnormalEnd(runFromInput(whole, {"D", "/dev/stdin", "out"}), text::inMemory(0) + "Reading...\n");
    EXPECT_EQ(files.read("out"), Bytes());
}

TEST_P(Pipe, GivesTwoRawFilesToCompare) {
    files.write("raw", content);
    Strings arguments = compressArguments("m", shape, "raw", "pipe");
    const auto [outcome, left] = runFed(content, arguments);
    EXPECT_EQ(outcome.exitStatus, 0) << outcome;
    EXPECT_NE(outcome.output.find("MSE=0.000000"), std::string::npos) << outcome;
}

TEST_P(Pipe, TakesEveryOutput) {
    files.write("raw", content);
    files.write("coded", whole);
    const KeptPipe pipe(files.path("out"));
    EXPECT_EQ(compress("c", shape, "raw", "out"), compressed(shape));
    EXPECT_EQ(pipe.content(), whole);
    EXPECT_EQ(compress("C", shape, "raw", "out", "0.3"), compressed(shape));
    EXPECT_EQ(pipe.content(), coded(shape, content, "0.3"));
    EXPECT_EQ(run({"d", "coded", "out"}), decompressed(shape));
    EXPECT_EQ(pipe.content(), content);
    EXPECT_EQ(run({"D", "coded", "out"}).exitStatus, 0);
    EXPECT_EQ(pipe.content(), content);
}

// The progress lines go the same way: all of them come first, because nothing of the file is written before the last.
TEST_P(Pipe, ThatIsTheStandardOutputHasTheProgressLinesInFrontOfTheFile) {
    files.write("raw", content);
    files.write("coded", whole);
    const Bytes coding = bytesOf(compressed(shape).output);
    const Bytes decoding = bytesOf(decompressed(shape).output);
    EXPECT_EQ(printed(compressArguments("c", shape, "raw", "/dev/stdout")), coding + whole);
    EXPECT_EQ(printed(compressArguments("C", shape, "raw", "/dev/stdout", "0.3")),
              coding + coded(shape, content, "0.3"));
    EXPECT_EQ(printed({"d", "coded", "/dev/stdout"}), decoding + content);
    EXPECT_EQ(printed({"D", "coded", "/dev/stdout"}),
              bytesOf(text::inMemory(whole.size() - headerBytes)) + decoding + content);
}

} // namespace

} // namespace teko
