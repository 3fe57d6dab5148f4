// SPDX-License-Identifier: Apache-2.0
// What images are, a line each.
#include "commands.hpp"
#include "failure.hpp"
#include "formats.hpp"

#include <cerrno>
#include <cstdio>

namespace tekoimg {

namespace {

const char* stateOf(teko_status status) {
    return status == TEKO_OK ? "complete" : status == TEKO_CUT ? "cut" : "damaged";
}

// Reads the coded stream, and transforms as little as there is.
std::string describeTeko(std::span<const std::byte> file, const Settings& settings) {
    const teko::Image image = teko::describe(file);
    requireSides(image);
    const TekoReader reader(file, {false, image.levels(), settings.memory});
    char share[32];
    std::snprintf(share, sizeof share, "%.2f",
                  100 * static_cast<double>(file.size()) / static_cast<double>(image.packedBytes()));
    std::string line = "teko, " + shown(image) + ", " + std::to_string(file.size()) + " bytes, " + share +
                       " % of raw, " + stateOf(reader.status());
    if (reader.bytesBehind() > 0) {
        line += ", " + std::to_string(reader.bytesBehind()) + " bytes behind it";
    }
    return line;
}

// Reads every row: an image that ends early is no image.
std::string describeImage(Source& source) {
    const std::unique_ptr<ImageReader> reader = openImage(source);
    std::vector<std::byte> row(reader->rowBytes());
    for (std::uint32_t y = 0; y < reader->image().height; ++y) {
        reader->read(row.data());
    }
    reader->finish();
    std::string line = reader->format() + ", " + shown(reader->image());
    for (const std::string& loss : reader->losses()) {
        line += (&loss == &reader->losses().front() ? "; not for a .tk: " : ", ") + loss;
    }
    return line;
}

void describeOne(const Job& job, const Settings& settings) {
    Source source(job.input);
    const auto begin = source.peek(4);
    const bool isTeko = begin.size() == 4 && std::string_view(reinterpret_cast<const char*>(begin.data()), 4) == "TK10";
    const std::string line = isTeko ? describeTeko(source.readAll(), settings) : describeImage(source);
    std::printf("%s: %s\n", job.input.c_str(), line.c_str());
    if (std::fflush(stdout) != 0) {
        throw Failure("cannot be described on standard output: " + systemReason(errno));
    }
}

} // namespace

int info(const Settings& settings) {
    const Naming naming{[](const std::string& extension) { return extension == ".tk" || isImageExtension(extension); },
                        ""};
    return runJobs(planInputs(settings, naming), settings, "described",
                   [&](const Job& job, Remarks&) { describeOne(job, settings); });
}

} // namespace tekoimg
