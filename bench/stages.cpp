// SPDX-License-Identifier: Apache-2.0
// The speed of every stage and of the whole codec, from memory to memory, on the images of a list.
// usage: stages LIST [options of Google Benchmark]
//
// An image NAME@tiles is coded in tiles of 64 x 64, each of which is an image of its own.
//
// Benchmarks are named KIND/IMAGE/STAGE. Figures are of the median iteration in processor time: MB/s of raw image
// (10^6 bytes), nanoseconds and cycles per sample, the cycles being those of the processor's nominal frequency.
#include "bench/imageList.hpp"
#include "bench/memoryCodec.hpp"
#include "bench/stopwatch.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <optional>

namespace teko::bench {

namespace {

constexpr double secondsPerBenchmark = 0.2;
constexpr std::size_t fewestIterations = 3; // large images fill the time with one
constexpr float rateOfCutFiles = 0.05F;

// One image with what its benchmarks start from, made when it is first asked for.
class Subject {
public:
    explicit Subject(const ImageEntry& imageEntry)
        : entry(imageEntry), original(readRaw(entry)), result(original.size()), codec(entry) {}

    const Bytes& wholeCoded() {
        if (!whole) {
            whole = encodeWhole(entry, original);
        }
        return *whole;
    }
    const Bytes& cutCoded() {
        if (!cut) {
            cut = encodeWithin(rateOfCutFiles, entry, original);
        }
        return *cut;
    }
    // What is behind the header.
    ByteView payload() { return wholeCoded().view().subspan(FileHeader::bytes); }

    ImageEntry entry;
    std::vector<unsigned char> original;
    std::vector<unsigned char> result;
    StagedCodec codec;

private:
    std::optional<Bytes> whole;
    std::optional<Bytes> cut;
};

// The subject of the benchmark that is running: they come image by image, so one is kept.
Subject& subjectOf(const ImageEntry& entry) {
    static std::unique_ptr<Subject> current;
    if (!current || current->entry.name != entry.name) {
        current.reset();
        current = std::make_unique<Subject>(entry);
    }
    return *current;
}

void reportSpeed(benchmark::State& state, const ImageEntry& entry, const std::vector<double>& seconds) {
    static const double frequency = referenceCyclesPerSecond();
    const double typical = median(seconds);
    const auto samples = static_cast<double>(entry.samples());
    state.counters["MB/s"] = 1e-6 * static_cast<double>(entry.rawBytes()) / typical;
    state.counters["ns/sample"] = 1e9 * typical / samples;
    state.counters["cycles/sample"] = frequency * typical / samples;
    state.counters["samples"] = samples;
}

struct Stage {
    const char* name;
    std::function<void(Subject&)> prepare; // not timed
    std::function<void(Subject&)> run;
    bool restoresImage = false; // `result` must be the raw image afterwards
};

void runStage(benchmark::State& state, const ImageEntry& entry, const Stage& stage) {
    Subject& subject = subjectOf(entry);
    const auto timeOnce = [&] {
        stage.prepare(subject);
        return processorSecondsOf([&] { stage.run(subject); });
    };
    timeOnce(); // memory and caches as they will be
    std::vector<double> seconds;
    for ([[maybe_unused]] auto iteration : state) {
        seconds.push_back(timeOnce());
        state.SetIterationTime(seconds.back());
    }
    while (seconds.size() < fewestIterations) {
        seconds.push_back(timeOnce());
    }
    reportSpeed(state, entry, seconds);
    if (stage.restoresImage && subject.result != subject.original) {
        state.SkipWithError("the image did not come back");
    }
}

std::vector<Stage> stagesOfEncoder() {
    using S = Subject;
    return {
        {"readAndTransform", [](S&) {}, [](S& s) { s.codec.transform(s.original); }},
        {"codeClasses", [](S& s) { s.codec.transform(s.original); },
         [](S& s) { benchmark::DoNotOptimize(s.codec.code(codedCapacity(s.original.size()))); }},
        {"wholeEncode", [](S&) {}, [](S& s) { benchmark::DoNotOptimize(encodeWhole(s.entry, s.original)); }},
        {"wholeEncodeAtRate", [](S&) {},
         [](S& s) { benchmark::DoNotOptimize(encodeWithin(rateOfCutFiles, s.entry, s.original)); }},
    };
}

std::vector<Stage> stagesOfDecoder() {
    using S = Subject;
    const auto clear = [](S& s) { std::fill(s.result.begin(), s.result.end(), static_cast<unsigned char>(0)); };
    return {
        {"readSegments", [](S& s) { s.wholeCoded(); }, [](S& s) { s.codec.decode(s.payload()); }},
        {"untransformAndWrite",
         [clear](S& s) {
             s.codec.decode(s.payload());
             clear(s);
         },
         [](S& s) { s.codec.restore(s.result); }, true},
        {"wholeDecode",
         [clear](S& s) {
             s.wholeCoded();
             clear(s);
         },
         [](S& s) { decodeWhole(s.entry, s.wholeCoded().view(), s.result); }, true},
        {"wholeDecodeAtRate", [](S& s) { s.cutCoded(); },
         [](S& s) { decodeWhole(s.entry, s.cutCoded().view(), s.result); }},
    };
}

// Of an image as tiles.
std::vector<Stage> stagesOfTiles(const ImageEntry& entry) {
    using S = Subject;
    const auto codec = std::make_shared<TiledCodec>(entry);
    return {
        {"wholeEncode", [](S&) {}, [codec](S& s) { codec->encode(s.original); }},
        {"wholeDecode",
         [codec](S& s) {
             codec->encode(s.original);
             std::fill(s.result.begin(), s.result.end(), static_cast<unsigned char>(0));
         },
         [codec](S& s) { codec->decode(s.result); }, true},
    };
}

void registerStages(const ImageEntry& entry, const std::vector<Stage>& stages) {
    for (const Stage& stage : stages) {
        const std::string name = std::string(entry.kind()) + '/' + entry.name + '/' + stage.name;
        benchmark::RegisterBenchmark(name.c_str(),
                                     [entry, stage](benchmark::State& state) { runStage(state, entry, stage); })
            ->UseManualTime()
            ->MinTime(secondsPerBenchmark)
            ->Unit(benchmark::kMillisecond);
    }
}

int run(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (argc != 2) {
        std::fputs("usage: stages LIST [options of Google Benchmark]\n", stderr);
        return 1;
    }
    for (const ImageEntry& entry : readImageList(argv[1])) {
        if (entry.name.ends_with("@tiles")) {
            registerStages(entry, stagesOfTiles(entry));
            continue;
        }
        registerStages(entry, stagesOfEncoder());
        registerStages(entry, stagesOfDecoder());
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace

} // namespace teko::bench

int main(int argc, char** argv) {
    try {
        return teko::bench::run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "stages: %s\n", error.what());
        return 1;
    }
}
