// SPDX-License-Identifier: Apache-2.0
// A directory with everything that one run of the program reads, writes and must leave alone.
#pragma once

#include "support/program.hpp"
#include "support/rawFiles.hpp"
#include "support/temporaryDirectory.hpp"

#include <map>
#include <string>
#include <vector>

namespace teko {

using Strings = std::vector<std::string>;

// What runs: a mode on an image.
struct Scene {
    std::string mode;
    Shape shape;

    bool compresses() const { return mode == "c" || mode == "C"; }
    bool decompresses() const { return mode == "d" || mode == "D"; }
    bool compares() const { return mode == "m"; }
};

std::ostream& operator<<(std::ostream& stream, const Scene& scene);

// Each of the modes on each of the images.
std::vector<Scene> everyScene(const std::vector<std::string>& modes, const std::vector<Shape>& shapes);

// What was there before a run and is there after it. The output is kept apart, it may change.
struct Contents {
    std::map<std::string, Bytes> files;
    std::map<std::string, std::filesystem::file_time_type> times;
    Bytes output;

    bool operator==(const Contents&) const = default;
};

// The input, and in mode m the other input, is noise or what was coded of it. The output is an older file. Beside them
// stand files that nobody named.
class Stage {
public:
    explicit Stage(const Scene& scene);

    const Scene scene;
    const Bytes olderOutput{1, 2, 3};

    // Puts the older output back, or the inputs.
    void reset() const;
    void putInputs() const;
    void putInput(const Bytes& content) const;
    Bytes input() const { return inputContent; }

    // The run of this scene, to another output if that is given.
    Outcome run(Circumstances circumstances = {}, const std::string& output = "out") const;
    Strings arguments(const std::string& output = "out") const;

    Contents contents() const;
    const std::filesystem::path& path() const { return directory.path(); }

private:
    TemporaryDirectory directory;
    Bytes inputContent;
};

} // namespace teko
