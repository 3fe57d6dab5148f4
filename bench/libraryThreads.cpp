// SPDX-License-Identifier: Apache-2.0
// Two threads that encode through libteko beside two processes that do, in turn, on the images of a list.
// usage: libraryThreads LIST [ROUNDS]
//
// Prints, separated by tabs, for each image: megapixels a second of the threads and of the processes, both together
// (medians), and their ratio (median of the rounds').
#include "bench/imageList.hpp"

#include <teko/teko.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace teko::bench {

namespace {

constexpr double pixelsOfARound = 30e6;

class Subject {
public:
    explicit Subject(const ImageEntry& entry)
        : raw(readRaw(entry)), times(1 + static_cast<int>(pixelsOfARound / (entry.width * entry.height))) {
        image.struct_size = sizeof image;
        image.kind = static_cast<uint32_t>(entry.bytesPerPixel);
        image.width = static_cast<uint32_t>(entry.width);
        image.height = static_cast<uint32_t>(entry.height);
    }

    // One of two at work.
    void encodeAll() const {
        for (int i = 0; i < times; ++i) {
            teko_buffer file{sizeof file, nullptr, 0, 0};
            if (teko_encode(&image, raw.data(), &file, nullptr) < 0) {
                std::abort();
            }
            teko_release(&file, nullptr);
        }
    }

    double megapixels() const { return 2e-6 * times * image.width * image.height; }

private:
    teko_image image{};
    std::vector<unsigned char> raw;
    int times;
};

void byThreads(const Subject& subject) {
    std::thread other([&] { subject.encodeAll(); });
    subject.encodeAll();
    other.join();
}

void byProcesses(const Subject& subject) {
    pid_t children[2];
    for (pid_t& child : children) {
        child = fork();
        if (child == 0) {
            subject.encodeAll();
            _exit(0);
        }
    }
    for (const pid_t child : children) {
        int status = 0;
        if (child < 0 || waitpid(child, &status, 0) < 0 || status != 0) {
            throw std::runtime_error("a process failed");
        }
    }
}

template <typename Work>
double secondsOf(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double medianOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void compare(const ImageEntry& entry, int rounds) {
    const Subject subject(entry);
    std::vector<double> threads;
    std::vector<double> processes;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        threads.push_back(subject.megapixels() / secondsOf([&] { byThreads(subject); }));
        processes.push_back(subject.megapixels() / secondsOf([&] { byProcesses(subject); }));
        ratios.push_back(threads.back() / processes.back());
    }
    std::printf("%s\t%.0f\t%.0f\t%.2f\n", entry.name.c_str(), medianOf(threads), medianOf(processes), medianOf(ratios));
}

} // namespace

} // namespace teko::bench

int main(int argc, char** argv) try {
    if (argc < 2) {
        return 2;
    }
    std::puts("image\ttwo threads, MP/s\ttwo processes\ttimes");
    for (const teko::bench::ImageEntry& entry : teko::bench::readImageList(argv[1])) {
        teko::bench::compare(entry, argc > 2 ? std::atoi(argv[2]) : 9);
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
}
