// Thousands of runs in one process leave nothing behind.
#include "driver/runs.hpp"
#include "measuredRun.hpp"
#include "support/memoryFiles.hpp"
#include "support/silence.hpp"

#include <fstream>

namespace teko {

namespace {

#ifdef TEKO_MEMORY_IS_PLAIN
constexpr long some = 1000;
#else
constexpr long some = 100; // instrumented programs take their time
#endif

struct Held {
    long bytes; // resident, without what is mapped from files
    long openFiles;
};

Held held() {
    long resident = 0;
    long shared = 0;
    std::ifstream("/proc/self/statm") >> resident >> resident >> shared;
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return {(resident - shared) * sysconf(_SC_PAGESIZE), std::distance(begin(descriptors), end(descriptors))};
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

    Held afterCycles(long from, long to) const {
        const Silence silence;
        for (long number = from; number < to; ++number) {
            cycle(number);
        }
        return held();
    }
};

TEST_F(Cycles, takeNoMoreMemoryOrFilesTheMoreThereAre) {
    for (std::size_t kind = 0; kind < everyKind.size(); ++kind) {
        files.write("raw" + std::to_string(kind), raw::noise(everyKind[kind]));
    }
    afterCycles(0, some); // until what the heap keeps for itself has settled
    const Held early = afterCycles(some, 2 * some);
    const Held late = afterCycles(2 * some, 10 * some);
#ifdef TEKO_MEMORY_IS_PLAIN
    EXPECT_EQ(late.bytes, early.bytes);
#endif
    EXPECT_EQ(late.openFiles, early.openFiles);
    report("cycles: ", static_cast<double>(early.bytes) / mebibyte, " MiB and ", early.openFiles, " files after ",
           2 * some, " runs, ", static_cast<double>(late.bytes) / mebibyte, " MiB and ", late.openFiles,
           " files after ", 10 * some);
}

} // namespace

} // namespace teko
