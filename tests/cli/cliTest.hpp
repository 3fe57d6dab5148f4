// SPDX-License-Identifier: Apache-2.0
// What the command line tests share: a working directory for each, and the texts that the program prints.
#pragma once

#include "support/program.hpp"
#include "support/rawFiles.hpp"
#include "support/temporaryDirectory.hpp"

#include <csignal>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace teko {

using Strings = std::vector<std::string>;

namespace text {

inline const std::string usage = "Usage:\n"
                                 "teko c|C rawfile bytes/pixel bits/pixel xsize ysize wavfile [rate]\n"
                                 "teko d|D wavfile rawfile\n"
                                 "\n"
                                 "teko m rawfile1 bytes/pixel bits/pixel xsize ysize rawfile2\n"
                                 "\n"
                                 "(uppercase denotes compression/decompression stream to/from memory)\n";
inline const std::string compressing = "Reading...\nTransforming...\nWriting...\n";
inline const std::string compressingColour = "Reading...\nTransforming YUV...\nTransforming...\nWriting...\n";
inline const std::string decompressing = "Reading...\nTransforming...\nWriting...\n";
inline const std::string decompressingColour = "Reading...\nTransforming...\nTransforming RGB...\nWriting...\n";

inline std::string inMemory(std::size_t payloadBytes) {
    return "Decompressing in memory, size=" + std::to_string(payloadBytes) + "\n";
}

} // namespace text

// The ends of a run.
inline Outcome success(const std::string& output) {
    return {.output = output};
}
inline Outcome usageShown() {
    return {.exitStatus = 1, .output = text::usage};
}
inline Outcome cannotOpen(const std::string& path) {
    return {.exitStatus = 1, .errors = "Cannot open '" + path + "'\n"};
}
inline Outcome compressed(const Shape& shape) {
    return success(shape.bytesPerPixel == 3 ? text::compressingColour : text::compressing);
}
inline Outcome decompressed(const Shape& shape) {
    return success(shape.bytesPerPixel == 3 ? text::decompressingColour : text::decompressing);
}

// For runs that an uncaught exception ends: the lines printed before the end stay, the runtime adds its own message.
inline void expectAbnormalEnd(const Outcome& outcome, const std::string& output = "") {
    EXPECT_EQ(outcome.signal, SIGABRT) << outcome;
    EXPECT_EQ(outcome.output, output);
}

constexpr std::size_t headerBytes = 10;

inline Bytes header(const Shape& shape) {
    const auto low = [](int value) { return static_cast<std::uint8_t>(value & 0xFF); };
    return {'T',
            'K',
            '1',
            '0',
            low(shape.bytesPerPixel),
            low(shape.bitsPerPixel),
            low(shape.xsize),
            low(shape.xsize >> 8),
            low(shape.ysize),
            low(shape.ysize >> 8)};
}

// A test with a working directory of its own.
class CliTest : public testing::Test {
protected:
    TemporaryDirectory files;

    Outcome run(const Strings& arguments) const { return runProgram(arguments, {.directory = files.path()}); }

    // Mode c or C from one file to another; without a rate when that is empty.
    Outcome compress(const std::string& mode, const Shape& shape, const std::string& rawFile,
                     const std::string& codedFile, const std::string& rate = "") const {
        return run(compressArguments(mode, shape, rawFile, codedFile, rate));
    }

    static Strings compressArguments(const std::string& mode, const Shape& shape, const std::string& rawFile,
                                     const std::string& codedFile, const std::string& rate = "") {
        Strings arguments{mode, rawFile};
        for (const std::string& number : shape.arguments()) {
            arguments.push_back(number);
        }
        arguments.push_back(codedFile);
        if (!rate.empty()) {
            arguments.push_back(rate);
        }
        return arguments;
    }

    // The compressed file of a raw file's content; leaves its own files behind.
    Bytes coded(const Shape& shape, const Bytes& rawContent, const std::string& rate = "") const {
        files.write("coded.raw", rawContent);
        EXPECT_EQ(compress(rate.empty() ? "c" : "C", shape, "coded.raw", "coded.tk", rate), compressed(shape));
        return files.read("coded.tk");
    }

    // The raw file that mode d or D makes of a compressed file's content; leaves its own files behind.
    Bytes decoded(const std::string& mode, const Shape& shape, const Bytes& codedContent) const {
        files.write("decoded.tk", codedContent);
        Outcome expected = decompressed(shape);
        if (mode == "D") {
            expected.output.insert(0, text::inMemory(codedContent.size() - headerBytes));
        }
        EXPECT_EQ(run({mode, "decoded.tk", "decoded.raw"}), expected);
        return files.read("decoded.raw");
    }
};

// The same for one shape of each kind.
class EveryKind : public CliTest, public testing::WithParamInterface<Shape> {};

} // namespace teko
