// SPDX-License-Identifier: Apache-2.0
#include "stage.hpp"

#include "support/memoryFiles.hpp"
#include "support/patterns.hpp"

#include <gtest/gtest.h>

namespace teko {

namespace {

// The time that mode m prints is different in every run.
std::string withoutTime(const std::string& output) {
    const Pattern time("Read in [0-9]+\\.[0-9]{3} seconds");
    const Strings found = time.findIn(output);
    return found.empty() ? output
                         : std::string(output).replace(output.find(found[0]), found[0].size(), "Read in T seconds");
}

Bytes coded(const TemporaryDirectory& directory, const Shape& shape, const Bytes& raw) {
    directory.write("source", raw);
    Strings arguments{"c", "source"};
    for (const std::string& number : shape.arguments()) {
        arguments.push_back(number);
    }
    arguments.push_back("in");
    EXPECT_EQ(runProgram(arguments, {.directory = directory.path()}).exitStatus, 0);
    std::filesystem::remove(directory.path("source"));
    return directory.read("in");
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const Scene& scene) {
    return stream << "mode_" << scene.mode << "_" << scene.shape;
}

std::vector<Scene> everyScene(const std::vector<std::string>& modes, const std::vector<Shape>& shapes) {
    std::vector<Scene> scenes;
    for (const std::string& mode : modes) {
        for (const Shape& shape : shapes) {
            scenes.push_back({mode, shape});
        }
    }
    return scenes;
}

Stage::Stage(const Scene& theScene) : scene(theScene) {
    const Bytes raw = raw::noise(scene.shape);
    inputContent = scene.decompresses() ? coded(directory, scene.shape, raw) : raw;
    for (const char* name : {"in.tk", "out.raw", "out~", ".out.swp"}) {
        directory.write(name, {5, 6, 7, 8});
    }
    putInputs();
    reset();
}

void Stage::putInput(const Bytes& content) const {
    directory.write("in", content);
}

void Stage::putInputs() const {
    putInput(inputContent);
    if (scene.compares()) {
        directory.write("other", raw::slope(scene.shape));
    }
}

void Stage::reset() const {
    directory.write("out", olderOutput);
}

Strings Stage::arguments(const std::string& output) const {
    if (scene.decompresses()) {
        return {scene.mode, "in", output};
    }
    Strings arguments{scene.mode, "in"};
    for (const std::string& number : scene.shape.arguments()) {
        arguments.push_back(number);
    }
    arguments.push_back(scene.compares() ? "other" : output);
    if (scene.mode == "C") {
        arguments.push_back("1");
    }
    return arguments;
}

Outcome Stage::run(Circumstances circumstances, const std::string& output) const {
    circumstances.directory = path();
    Outcome outcome = runProgram(arguments(output), circumstances);
    outcome.output = withoutTime(outcome.output);
    return outcome;
}

Contents Stage::contents() const {
    Contents contents;
    for (const std::string& name : directory.names()) {
        if (name == "out") {
            contents.output = directory.read(name);
        } else {
            contents.files[name] = directory.read(name);
            contents.times[name] = std::filesystem::last_write_time(directory.path(name));
        }
    }
    return contents;
}

} // namespace teko
