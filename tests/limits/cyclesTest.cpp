// SPDX-License-Identifier: Apache-2.0
// Thousands of runs in one process leave nothing behind.
#include "driver/runs.hpp"
#include "measuredRun.hpp"
#include "support/memoryFiles.hpp"
#include "support/silence.hpp"

#include <fstream>
#include <malloc.h>
#include <pthread.h>

namespace teko {

namespace {

#ifdef TEKO_MEMORY_IS_PLAIN
constexpr long some = 1000;
#else
constexpr long some = 100; // instrumented programs take their time
#endif

struct Held {
    std::size_t allocatedBytes;
    long residentBytes; // without what is mapped from files
    long openFiles;
};

// Walking the pages: the counters that other files show lag behind on the processors that a process has been on.
long anonymousBytes() {
    std::ifstream pages("/proc/self/smaps_rollup");
    std::string word;
    long kibibytes = -1;
    while (pages >> word && word != "Anonymous:") {
    }
    pages >> kibibytes;
    return 1024 * kibibytes;
}

// Free memory is joined and given back first: how it lies scattered after thousands of runs is the heap's affair.
Held held() {
    malloc_trim(0);
    const struct mallinfo2 heap = mallinfo2();
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return {heap.uordblks + heap.hblkhd, anonymousBytes(), std::distance(begin(descriptors), end(descriptors))};
}

class Cycles : public testing::Test {
protected:
    TemporaryDirectory files;
    const std::string raw = files.path("raw");
    const std::string coded = files.path("coded");
    const std::string back = files.path("back");

    // Every kind of image through every coding mode in six runs of this.
    void cycle(long number) const {
        const Shape& shape = everyKind[static_cast<std::size_t>(number % 3)];
        const StreamPlace place = number % 2 == 0 ? StreamPlace::file : StreamPlace::memory;
        const std::string input = raw + std::to_string(number % 3);
        const auto header = FileHeader::forImage(shape.bytesPerPixel, shape.bitsPerPixel, shape.xsize, shape.ysize);
        EXPECT_EQ(compress({input.c_str(), coded.c_str(), header, place, 1.0F}), 0);
        EXPECT_EQ(decompress(coded.c_str(), back.c_str(), place), 0);
    }

    // On a thread of their own, because memory that a thread keeps at hand counts as allocated until it ends. A
    // std::thread would pass memory from one to the other.
    Held afterCycles(long from, long to) const {
        Cycling cycling{this, from, to};
        pthread_t thread{};
        EXPECT_EQ(pthread_create(&thread, nullptr, runAll, &cycling), 0);
        EXPECT_EQ(pthread_join(thread, nullptr), 0);
        return held();
    }

private:
    struct Cycling {
        const Cycles* test;
        long from;
        long to;
    };

    static void* runAll(void* argument) {
        const auto& cycling = *static_cast<const Cycling*>(argument);
        const Silence silence;
        for (long number = cycling.from; number < cycling.to; ++number) {
            cycling.test->cycle(number);
        }
        return nullptr;
    }
};

TEST_F(Cycles, takeNoMoreMemoryOrFilesTheMoreThereAre) {
    mallopt(M_ARENA_MAX, 1); // the heap of another thread would not be given back
    for (std::size_t kind = 0; kind < everyKind.size(); ++kind) {
        files.write("raw" + std::to_string(kind), raw::noise(everyKind[kind]));
    }
    afterCycles(0, some);
    const Held early = afterCycles(some, 2 * some);
    const Held late = afterCycles(2 * some, 10 * some);
#ifdef TEKO_MEMORY_IS_PLAIN
    EXPECT_EQ(late.allocatedBytes, early.allocatedBytes);
    EXPECT_EQ(late.residentBytes, early.residentBytes);
#endif
    EXPECT_EQ(late.openFiles, early.openFiles);
    report("cycles: ", static_cast<double>(early.residentBytes) / mebibyte, " MiB and ", early.openFiles,
           " files after ", 2 * some, " runs, ", static_cast<double>(late.residentBytes) / mebibyte, " MiB and ",
           late.openFiles, " files after ", 10 * some);
}

} // namespace

} // namespace teko
