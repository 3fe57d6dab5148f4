// SPDX-License-Identifier: Apache-2.0
// Any command line and any input file: a run ends in one of the ways that it may end in, and leaves what it should.
//
// An input is lines: one argument each, an empty line behind the last one, then the content of the input file. An
// argument that is a path stands for one of the files below, by its first character.
#include "driver/runs.hpp"
#include "fuzz/input.hpp"
#include "support/fileHeaders.hpp"
#include "support/memoryFile.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <vector>

int tekoMain(int argc, char** argv);

namespace teko::fuzz {

namespace {

constexpr long longestSide = 70;
constexpr long mostSamples = 1500;
constexpr long mostPossible = std::numeric_limits<std::int32_t>::max();

constexpr const char* missingPath = "/proc/self/missing";
const Bytes oldOutput{'o', 'l', 'd'};

using Arguments = std::vector<std::string>;

struct Files {
    NamedMemoryFile input;
    NamedMemoryFile output;
};

struct End {
    std::optional<int> status = {};
    std::optional<int> thrown = {};
    bool isRefusedMemory = false;
};

Arguments argumentsOf(Bytes& content) {
    Arguments arguments{"teko"};
    auto place = content.begin();
    while (place != content.end() && arguments.size() < 12) {
        const auto lineEnd = std::find(place, content.end(), '\n');
        std::string line(static_cast<std::size_t>(std::find(place, lineEnd, '\0') - place), '\0');
        std::memcpy(line.data(), &*place, line.size());
        place = lineEnd == content.end() ? lineEnd : lineEnd + 1;
        if (line.empty()) {
            break;
        }
        arguments.push_back(line == "''" ? "" : line);
    }
    content.erase(content.begin(), place);
    return arguments;
}

std::string pathFor(const std::string& name, const Files& files) {
    switch (name.empty() ? '\0' : name[0]) {
    case '\0':
        return "";
    case 'i':
        return files.input.path();
    case 'l':
        return files.input.otherPath();
    case 'n':
        return "/dev/null";
    case 'f':
        return "/dev/full";
    case 'd':
        return "/proc/self"; // its length is 0
    case 'm':
        return missingPath;
    default:
        return files.output.path();
    }
}

// What the command line asks for.
struct Request {
    char mode = 'u'; // usage
    long bytesPerPixel = 0;
    long width = 0;
    long height = 0;
    std::string inputPath = {};
    std::string outputPath = {};

    bool isCoding() const { return mode == 'c' || mode == 'C'; }
    bool isDecoding() const { return mode == 'd' || mode == 'D'; }
};

long number(const std::string& text) {
    return std::strtol(text.c_str(), nullptr, 10);
}

char modeOf(const Arguments& arguments) {
    const std::size_t count = arguments.size();
    if (count < 2 || arguments[1].size() != 1) {
        return 'u';
    }
    const char mode = arguments[1][0];
    const double rate =
        count == 9 ? static_cast<double>(static_cast<float>(std::strtod(arguments[8].c_str(), nullptr))) : 0;
    const bool isRate = !(rate > 1.0) && !(rate < 0.0);
    const bool isAccepted = (mode == 'c' && (count == 8 || count == 9)) || (mode == 'C' && count == 9 && isRate) ||
                            ((mode == 'd' || mode == 'D') && count == 4) || (mode == 'm' && count == 8);
    return isAccepted ? mode : 'u';
}

// Sides that would take long become short ones. Those that are refused stay.
void limitSides(Arguments& arguments, bool isCoding) {
    const auto side = [&](std::size_t i) {
        const long value = number(arguments[i]);
        return isCoding ? static_cast<long>(static_cast<std::uint16_t>(value & 0xFFFF))
                        : static_cast<long>(static_cast<int>(value));
    };
    const bool isRefused = !isCoding && (side(5) * side(6) > mostPossible || side(5) * side(6) < 0);
    for (const std::size_t i : {std::size_t{5}, std::size_t{6}}) {
        if (!isRefused && std::abs(side(i)) > longestSide) {
            arguments[i] = std::to_string(side(i) % longestSide);
        }
    }
    if (!isRefused && std::abs(side(5) * side(6)) > mostSamples) {
        arguments[6] = std::to_string(side(6) % 20);
    }
}

void limitSides(Bytes& file) {
    FileHeader header = headerOf(file);
    if (static_cast<long>(header.xsize) * header.ysize <= mostPossible) {
        header.xsize = static_cast<std::uint16_t>(header.xsize % longestSide);
        header.ysize = static_cast<std::uint16_t>(header.ysize % 20);
        std::copy_n(bytesOf(header).begin(), std::min<std::size_t>(file.size(), FileHeader::bytes), file.begin());
    }
}

// Names become paths, and sides harmless.
Request prepare(Arguments& arguments, Bytes& content, const Files& files) {
    Request request;
    request.mode = modeOf(arguments);
    const bool isFourNumbers = request.isCoding() || request.mode == 'm';
    for (std::size_t i = 2; i < arguments.size(); ++i) {
        if (i == 2 || i == (isFourNumbers ? 7U : 3U)) {
            arguments[i] = pathFor(arguments[i], files);
        }
    }
    if (isFourNumbers) {
        limitSides(arguments, request.isCoding());
        request.bytesPerPixel = number(arguments[3]);
        request.width = number(arguments[5]);
        request.height = number(arguments[6]);
        request.inputPath = arguments[2];
        request.outputPath = arguments[7];
    } else if (request.isDecoding()) {
        limitSides(content);
        request.inputPath = arguments[2];
        request.outputPath = arguments[3];
    }
    return request;
}

End run(Arguments& arguments) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    End end;
    try {
        end.status = tekoMain(static_cast<int>(arguments.size()), pointers.data());
    } catch (int thrown) {
        end.thrown = thrown;
    } catch (const std::bad_array_new_length&) {
        end.isRefusedMemory = true;
    }
    return end;
}

void requireCodedFile(const Request& request, const Bytes& coded) {
    const FileHeader header = headerOf(coded);
    require(coded.size() >= FileHeader::bytes && header.isRecognized(), "a coded file begins with its header");
    require(header.bytesPerPixel == (request.bytesPerPixel & 0xFF) && header.xsize == (request.width & 0xFFFF) &&
                header.ysize == (request.height & 0xFFFF),
            "a header has the numbers of the command line");
}

void requireRawFile(const Bytes& coded, const Bytes& raw) {
    const FileHeader header = headerOf(coded);
    const bool isKnown = header.bytesPerPixel >= 1 && header.bytesPerPixel <= 3;
    const auto samples = static_cast<std::size_t>(header.xsize) * header.ysize;
    require(header.isRecognized(), "only coded files are decoded");
    require(raw.size() == (isKnown ? samples * header.bytesPerPixel : 0), "a decoded file is a whole raster");
}

bool isPathOf(const NamedMemoryFile& file, const std::string& path) {
    return path == file.path() || path == file.otherPath();
}

// Files that the run must not touch. One that is input and output is such a file as well.
void requireUntouched(const Request& request, const Bytes& content, const Files& files) {
    const bool isWriting = request.mode != 'u' && request.mode != 'm';
    const auto mayChange = [&](const NamedMemoryFile& file) {
        return isWriting && isPathOf(file, request.outputPath) && !isPathOf(file, request.inputPath);
    };
    require(mayChange(files.input) || files.input.content() == content, "an input stays as it is");
    require(mayChange(files.output) || files.output.content() == oldOutput, "what is no output stays as it is");
}

void requirePrescribedEnd(const Request& request, const End& end, const Bytes& content, const Files& files) {
    require(!end.thrown || *end.thrown == 3, "files that end early or are full are all that is thrown");
    require(!end.status || *end.status == 0 || *end.status == 1, "an exit status is 0 or 1");
    requireUntouched(request, content, files);
    if (request.mode == 'u') {
        require(end.status == 1, "any other command line is answered with the usage");
        return;
    }
    const bool isInputThere = !request.inputPath.empty() && request.inputPath != missingPath;
    require(isInputThere || end.status == 1, "a missing input is reported");
    const bool isWholeRun =
        end.status == 0 && isPathOf(files.input, request.inputPath) && isPathOf(files.output, request.outputPath);
    if (isWholeRun && request.isCoding()) {
        requireCodedFile(request, files.output.content());
    } else if (isWholeRun && request.isDecoding()) {
        requireRawFile(content, files.output.content());
    }
}

} // namespace

} // namespace teko::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace teko;
    using namespace teko::fuzz;
    static const Files files;
    Bytes content(data, data + size);
    Arguments arguments = argumentsOf(content);
    const Request request = prepare(arguments, content, files);
    files.input.set(content);
    files.output.set(oldOutput);
    const End end = run(arguments);
    requirePrescribedEnd(request, end, content, files);
    return 0;
}
