// SPDX-License-Identifier: Apache-2.0
// Two revisions of the codec, as shared objects, on the images of a list: each operation of one and of the other in
// turn, in one process, so that what disturbs the machine disturbs both. usage: compareObjects LIST OLD NEW SECONDS
//
// Prints, separated by tabs, a row for each kind, image and operation: nanoseconds per sample of the old and of the new
// (medians), the ratio old/new of neighbouring runs (median), and a verdict. SLOWER is said, and the status is 1, only
// where the quickest run of the new is slower than the slowest of the old. The time is shared by all rows; each gets at
// least nine rounds.
#include "bench/codecObject.hpp"
#include "bench/imageList.hpp"
#include "bench/stopwatch.hpp"

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <exception>
#include <stdexcept>

namespace teko::bench {

namespace {

constexpr std::size_t fewestRounds = 9;
constexpr float rateOfCutFiles = 0.05F;

struct Revision {
    TekoBenchEncode encode;
    TekoBenchDecode decode;

    explicit Revision(const char* path) {
        void* const object = dlopen(path, RTLD_NOW | RTLD_LOCAL);
        if (object == nullptr) {
            throw std::runtime_error(dlerror());
        }
        encode = reinterpret_cast<TekoBenchEncode>(dlsym(object, encodeFunction));
        decode = reinterpret_cast<TekoBenchDecode>(dlsym(object, decodeFunction));
        if (encode == nullptr || decode == nullptr) {
            throw std::runtime_error(std::string(path) + " has no codec in it");
        }
    }
};

struct Operation {
    const char* name;
    bool encodes;
    float rate; // 0: complete files
};

constexpr Operation operations[] = {{"encode", true, 0},
                                    {"encode at 5 %", true, rateOfCutFiles},
                                    {"decode", false, 0},
                                    {"decode at 5 %", false, rateOfCutFiles}};

class Subject {
public:
    explicit Subject(const ImageEntry& entry)
        : image{entry.bytesPerPixel, entry.bitsPerSample, entry.width, entry.height}, raw(readRaw(entry)),
          result(raw.size()), coded(2 * raw.size() + 65536) {}

    // What the operation works on. Both revisions have to agree on it.
    void prepare(const Operation& operation, const Revision& one, const Revision& other) {
        codedBytes = one.encode(&image, raw.data(), raw.size(), operation.rate, coded.data());
        const std::vector<unsigned char> first(coded.begin(), coded.begin() + static_cast<std::ptrdiff_t>(codedBytes));
        const std::size_t again = other.encode(&image, raw.data(), raw.size(), operation.rate, coded.data());
        if (codedBytes == 0 || again != codedBytes || !std::equal(first.begin(), first.end(), coded.begin())) {
            throw std::runtime_error("the revisions write different files");
        }
        one.decode(&image, coded.data(), codedBytes, result.data(), result.size());
        std::vector<unsigned char> second(result.size());
        other.decode(&image, coded.data(), codedBytes, second.data(), second.size());
        if (result != second || (operation.rate == 0 && result != raw)) {
            throw std::runtime_error("the revisions decode to different samples");
        }
    }

    double secondsOf(const Operation& operation, const Revision& revision) {
        return processorSecondsOf([&] {
            if (operation.encodes) {
                revision.encode(&image, raw.data(), raw.size(), operation.rate, coded.data());
            } else {
                revision.decode(&image, coded.data(), codedBytes, result.data(), result.size());
            }
        });
    }

private:
    TekoBenchImage image;
    std::vector<unsigned char> raw;
    std::vector<unsigned char> result;
    std::vector<unsigned char> coded;
    std::size_t codedBytes = 0;
};

struct Runs {
    std::vector<double> old;
    std::vector<double> current;
    std::vector<double> ratios;

    // The one that goes first finds other caches: they take turns in that, too.
    void addRound(Subject& subject, const Operation& operation, const Revision& one, const Revision& other) {
        const bool oldFirst = ratios.size() % 2 == 0;
        const double first = subject.secondsOf(operation, oldFirst ? one : other);
        const double second = subject.secondsOf(operation, oldFirst ? other : one);
        old.push_back(oldFirst ? first : second);
        current.push_back(oldFirst ? second : first);
        ratios.push_back(old.back() / current.back());
    }

    bool isSlower() const {
        return *std::min_element(current.begin(), current.end()) > *std::max_element(old.begin(), old.end());
    }
    bool isFaster() const {
        return *std::max_element(current.begin(), current.end()) < *std::min_element(old.begin(), old.end());
    }
};

// Returns whether the new revision is slower.
bool compare(const ImageEntry& entry, const Operation& operation, const Revision& one, const Revision& other,
             double seconds) {
    Subject subject(entry);
    subject.prepare(operation, one, other);
    Runs runs;
    for (const double start = processorSeconds();
         runs.ratios.size() < fewestRounds || processorSeconds() - start < seconds;) {
        runs.addRound(subject, operation, one, other);
    }
    const auto perSample = [&](const std::vector<double>& times) {
        return 1e9 * median(times) / static_cast<double>(entry.samples());
    };
    std::printf("%s\t%s\t%s\t%.3f\t%.3f\t%.3f\t%zu\t%s\n", entry.kind(), entry.name.c_str(), operation.name,
                perSample(runs.old), perSample(runs.current), median(runs.ratios), runs.ratios.size(),
                runs.isSlower()   ? "SLOWER"
                : runs.isFaster() ? "faster"
                                  : "as fast");
    std::fflush(stdout);
    return runs.isSlower();
}

int run(char** arguments) {
    const std::vector<ImageEntry> entries = readImageList(arguments[1]);
    const Revision one(arguments[2]);
    const Revision other(arguments[3]);
    const double seconds = std::atof(arguments[4]) / static_cast<double>(entries.size() * std::size(operations));
    std::puts("kind\timage\toperation\told ns/sample\tnew ns/sample\told/new\trounds\tverdict");
    bool isSlower = false;
    for (const ImageEntry& entry : entries) {
        for (const Operation& operation : operations) {
            isSlower = compare(entry, operation, one, other, seconds) || isSlower;
        }
    }
    return isSlower ? 1 : 0;
}

} // namespace

} // namespace teko::bench

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: compareObjects LIST OLD NEW SECONDS\n", stderr);
        return 2;
    }
    try {
        return teko::bench::run(argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "compareObjects: %s\n", error.what());
        return 2;
    }
}
