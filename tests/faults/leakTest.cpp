// SPDX-License-Identifier: Apache-2.0
// Failing runs inside the test's own process: whatever ends them, all memory and all files are given back.
#include "driver/runs.hpp"
#include "support/failingAllocation.hpp"
#include "support/memoryFiles.hpp"
#include "support/program.hpp"
#include "support/rawFiles.hpp"
#include "support/silence.hpp"
#include "support/temporaryDirectory.hpp"
#include "support/thrownInteger.hpp"

#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>
#include <sstream>

namespace teko {

namespace {

// Files do not grow beyond a size in the meantime; what would is told so.
class Quota {
public:
    explicit Quota(rlim_t bytes) : handler(std::signal(SIGXFSZ, SIG_IGN)) { program::limit(RLIMIT_FSIZE, bytes); }
    Quota(const Quota&) = delete;
    Quota& operator=(const Quota&) = delete;
    ~Quota() {
        program::limit(RLIMIT_FSIZE, RLIM_INFINITY);
        std::signal(SIGXFSZ, handler);
    }

private:
    void (*handler)(int);
};

long openFiles() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
}

class Leak : public testing::TestWithParam<Shape> {
protected:
    TemporaryDirectory directory;
    const Shape shape = GetParam();
    const Bytes raw = raw::noise(shape);
    Bytes coded;

    // Made while there is memory.
    const std::string rawPath = directory.path("raw");
    const std::string codedPath = directory.path("coded");
    const std::string cutPath = directory.path("cut");
    const std::string outPath = directory.path("out");

    void SetUp() override {
        directory.write("raw", raw);
        const Silence silence;
        compressFrom(rawPath, StreamPlace::file);
        coded = directory.read("out");
        directory.write("coded", coded);
    }

    int compressFrom(const std::string& input, StreamPlace place) const {
        return compress({input.c_str(), outPath.c_str(),
                         FileHeader::forImage(shape.bytesPerPixel, shape.bitsPerPixel, shape.xsize, shape.ysize), place,
                         1.0F});
    }
    int decompressFrom(const std::string& input, StreamPlace place) const {
        return decompress(input.c_str(), outPath.c_str(), place);
    }
    int compareWith(const std::string& other) const {
        return compare(
            {rawPath.c_str(), other.c_str(), shape.bytesPerPixel, shape.bitsPerPixel, shape.xsize, shape.ysize});
    }

    // What the action throws, 0 if nothing. It must hold no more at its end than at its beginning.
    template <typename Action>
    static int thrownWithoutLeak(Action action) {
        const Silence silence;
        const long files = openFiles();
        const long allocations = AllocationLedger::live;
        const int thrown = thrownBy(action);
        EXPECT_EQ(AllocationLedger::live, allocations);
        EXPECT_EQ(openFiles(), files);
        return thrown;
    }

    template <typename Action>
    void refuseEveryAllocation(Action action) const {
        const Silence silence;
        const long files = openFiles();
        long successes = 0;
        for (AllocationOutcome outcome = AllocationOutcome::refused; outcome == AllocationOutcome::refused;) {
            outcome = withFailingAllocation(successes++, action);
            EXPECT_NE(outcome, AllocationOutcome::leaked) << successes;
            EXPECT_EQ(openFiles(), files) << successes;
        }
        EXPECT_GT(successes, 3);
    }

    // Sizes around the ends of rows and file buffers.
    static std::vector<std::size_t> cuts(std::size_t bytes) {
        std::vector<std::size_t> sizes;
        for (std::size_t size = 0; size < bytes; size += 61) {
            sizes.push_back(size);
        }
        sizes.push_back(bytes - 1);
        return sizes;
    }
};

INSTANTIATE_TEST_SUITE_P(Of, Leak,
                         testing::Values(Shape{1, 8, 24, 22}, Shape{2, 16, 24, 22}, Shape{3, 8, 24, 22},
                                         Shape{3, 8, 24, 5}));

TEST_P(Leak, thereIsNoneWhereverMemoryIsRefused) {
    for (const StreamPlace place : {StreamPlace::file, StreamPlace::memory}) {
        refuseEveryAllocation([&] { compressFrom(rawPath, place); });
        refuseEveryAllocation([&] { decompressFrom(codedPath, place); });
    }
    refuseEveryAllocation([&] { compareWith(rawPath); });
    EXPECT_EQ(directory.read("raw"), raw);
    EXPECT_EQ(directory.read("coded"), coded);
    EXPECT_EQ(directory.names(), (std::vector<std::string>{"coded", "out", "raw"}));
}

TEST_P(Leak, thereIsNoneWhereverARawFileEnds) {
    for (const std::size_t size : cuts(raw.size())) {
        directory.write("cut", prefix(raw, size));
        EXPECT_EQ(thrownWithoutLeak([&] { compressFrom(cutPath, StreamPlace::file); }), 3);
        EXPECT_EQ(thrownWithoutLeak([&] { compressFrom(cutPath, StreamPlace::memory); }), 3);
        EXPECT_EQ(thrownWithoutLeak([&] { compareWith(cutPath); }), 3);
    }
}

TEST_P(Leak, thereIsNoneWhereverACodedFileEnds) {
    for (const std::size_t size : cuts(coded.size())) {
        directory.write("cut", prefix(coded, size));
        const int expected = size > 4 && size < 14 ? 3 : 0;
        for (const StreamPlace place : {StreamPlace::file, StreamPlace::memory}) {
            testing::internal::CaptureStderr();
            EXPECT_EQ(thrownWithoutLeak([&] { decompressFrom(cutPath, place); }), expected) << size;
            const bool isComplaining = !testing::internal::GetCapturedStderr().empty();
            EXPECT_EQ(isComplaining, size < 4);
        }
    }
}

TEST_P(Leak, thereIsNoneWhereverTheDiskIsFull) {
    for (const StreamPlace place : {StreamPlace::file, StreamPlace::memory}) {
        for (const std::size_t size : cuts(coded.size())) {
            const Quota quota(size);
            EXPECT_EQ(thrownWithoutLeak([&] { compressFrom(rawPath, place); }), 0);
        }
        for (const std::size_t size : cuts(raw.size())) {
            const Quota quota(size);
            EXPECT_EQ(thrownWithoutLeak([&] { decompressFrom(codedPath, place); }), 3);
        }
    }
}

} // namespace

} // namespace teko
