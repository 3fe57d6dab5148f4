// SPDX-License-Identifier: Apache-2.0
#include "prescribedEnd.hpp"

#include <algorithm>
#include <gtest/gtest.h>

namespace teko {

namespace {

constexpr long headerBytes = 10;

bool isOutput(const Operation& operation) {
    return operation.file == "out";
}

// The first operation that fits, or null.
template <typename Condition>
const Operation* first(const FaultyRun& run, Condition fits) {
    const auto found = std::find_if(run.operations.begin(), run.operations.end(), fits);
    return found != run.operations.end() ? &*found : nullptr;
}

std::vector<Operation> all(const FaultyRun& run, const std::string& name, const std::string& file) {
    std::vector<Operation> found;
    std::copy_if(run.operations.begin(), run.operations.end(), std::back_inserter(found),
                 [&](const Operation& each) { return each.name == name && each.file == file; });
    return found;
}

bool hasOpenedOutput(const FaultyRun& run) {
    return first(run, [](const Operation& each) { return each.name == "open" && isOutput(each) && each.given == 0; });
}

Bytes takenByDevice(const FaultyRun& run, const Bytes& written) {
    long bytes = 0;
    for (const Operation& write : all(run, "deviceWrite", "out")) {
        bytes += std::max(write.given, 0L);
    }
    return prefix(written, static_cast<std::size_t>(bytes));
}

std::string inMemory(long bytes) {
    return "Decompressing in memory, size=" + std::to_string(bytes) + "\n";
}

PrescribedEnd cannotOpen(const Stage& stage, const std::string& name) {
    return {Ending::cannotOpen, "", "Cannot open '" + name + "'\n", stage.olderOutput};
}

// The rows of a raw file came up short.
PrescribedEnd endedWhileReading(const Bytes& file) {
    return {Ending::abnormalInteger, "Reading...\n", "", file, false};
}

} // namespace

Rules::Rules(const Stage& theStage)
    : stage(theStage), onFiles(runWithFault(stage, {})), onDevices(runWithFault(stage, {.devices = true})) {}

std::string Rules::firstLines(long count) const {
    const std::string& text = onFiles.outcome.output;
    std::size_t end = 0;
    for (; count > 0; --count) {
        end = text.find('\n', end) + 1;
    }
    return text.substr(0, end);
}

PrescribedEnd Rules::abnormal(Ending ending, const Operation& at) const {
    return {ending, firstLines(at.lines), "", onFiles.after.output, false};
}

PrescribedEnd Rules::endOf(const FaultyRun& run) const {
    PrescribedEnd end;
    const auto at = static_cast<std::size_t>(run.fault.at);
    const auto* refused = first(run, [](const Operation& each) { return each.name == "new" && each.wasRefused(); });
    const auto* unopened = first(run, [](const Operation& each) { return each.name == "open" && each.wasRefused(); });
    if (run.fault.how == How::terminate) {
        end = abnormal(Ending::terminated, without(run.fault.devices).operations.at(at));
    } else if (unopened != nullptr) {
        end = cannotOpen(stage, unopened->file);
    } else if (refused != nullptr) {
        end = abnormal(Ending::abnormalMemory, *refused);
    } else if (stage.scene.compresses()) {
        end = endOfCompression(run);
    } else if (stage.scene.decompresses()) {
        end = endOfDecompression(run);
    } else {
        end = endOfComparison(run);
    }
    if (!hasOpenedOutput(run)) {
        end.file = stage.olderOutput;
        end.whole = true;
    } else if (run.fault.devices) {
        end.file = takenByDevice(run, end.file);
        end.whole = true;
    }
    if (end.ending == Ending::completed && end.file != onFiles.after.output) {
        end.ending = Ending::cutShort;
    }
    return end;
}

// Of the header and of the stream there is what the output took; the stream ends where it took less.
PrescribedEnd Rules::endOfCompression(const FaultyRun& run) const {
    const Bytes& whole = onFiles.after.output;
    if (first(run, [](const Operation& each) { return each.name == "read" && each.cameUpShort(); })) {
        return endedWhileReading(prefix(whole, headerBytes));
    }
    Bytes file;
    long position = 0;
    for (const Operation& write : all(run, "write", "out")) {
        const auto from = whole.begin() + position;
        file = file + Bytes(from, from + write.given);
        position += write.asked;
        if (position > headerBytes && write.cameUpShort()) {
            break;
        }
    }
    return {Ending::completed, onFiles.outcome.output, "", run.fault.devices ? whole : file};
}

// A complete magic with nothing behind it is a file of no kind; with a kind behind it, an empty image of that kind.
PrescribedEnd Rules::refusedHeader(long bytes) const {
    constexpr long magicBytes = 4;
    if (bytes < magicBytes) {
        return {Ending::notRecognized, "", "File in not recognized\n", {}};
    }
    const std::string& output = onFiles.outcome.output;
    return {Ending::completed, bytes == magicBytes ? "" : output.substr(output.find("Reading...")), "", {}};
}

PrescribedEnd Rules::endOfDecompression(const FaultyRun& run) const {
    const bool fromMemory = stage.scene.mode == "D";
    const std::vector<Operation> reads = all(run, "read", "in");
    long payload = 0;
    auto read = reads.begin() + 1;
    while (read != reads.end() && (read->given > 0 || fromMemory)) {
        payload += read++->given;
    }
    const bool ranDry = read != reads.end() || (fromMemory && payload < std::ssize(stage.input()) - headerBytes);
    const std::string size = fromMemory ? inMemory(payload) : "";
    if (reads.front().given < headerBytes) {
        PrescribedEnd end = refusedHeader(reads.front().given);
        end.output.insert(0, size);
        return end;
    }
    if (payload < 4) {
        return {Ending::abnormalInteger, size + "Reading...\n", "", {}};
    }
    return afterWriting(run, decodedFrom(ranDry ? headerBytes + payload : -1));
}

PrescribedEnd Rules::afterWriting(const FaultyRun& run, const Decoded& decoded) const {
    const bool wasWritten = !first(run, [](const Operation& each) {
        return isOutput(each) && (each.name == "write" || each.name == "flush") && each.cameUpShort();
    });
    if (wasWritten) {
        return {Ending::completed, decoded.output, "", decoded.file};
    }
    return {Ending::abnormalInteger, decoded.output, "", decoded.file, false};
}

PrescribedEnd Rules::endOfComparison(const FaultyRun& run) const {
    if (first(run, [](const Operation& each) { return each.name == "read" && each.cameUpShort(); })) {
        return endedWhileReading({});
    }
    return {Ending::completed, onFiles.outcome.output, "", {}};
}

// What an input of so many bytes gives; -1 stands for all.
Rules::Decoded Rules::decodedFrom(long bytes) const {
    if (bytes < 0) {
        return {onFiles.outcome.output, onFiles.after.output};
    }
    auto [entry, isNew] = shorter.try_emplace(bytes);
    if (isNew) {
        const Stage other(stage.scene);
        other.putInput(prefix(stage.input(), static_cast<std::size_t>(bytes)));
        const Outcome outcome = other.run();
        EXPECT_EQ(outcome.exitStatus, 0) << outcome;
        entry->second = {outcome.output, other.contents().output};
    }
    return entry->second;
}

namespace {

struct Words {
    int exitStatus;
    int signal;
    const char* text;
};

Words wordsFor(Ending ending) {
    switch (ending) {
    case Ending::completed:
        return {0, 0, "completed, status 0"};
    case Ending::cutShort:
        return {0, 0, "output ends early, status 0"};
    case Ending::cannotOpen:
        return {1, 0, "\"Cannot open\", status 1"};
    case Ending::notRecognized:
        return {1, 0, "\"not recognized\", status 1"};
    case Ending::abnormalInteger:
        return {-1, SIGABRT, "abnormal end (integer)"};
    case Ending::abnormalMemory:
        return {-1, SIGABRT, "abnormal end (memory)"};
    default:
        return {-1, SIGTERM, "ended by the signal"};
    }
}

// As the C++ runtime names it.
#ifdef _LIBCPP_VERSION
constexpr const char* uncaughtInteger = "of type int";
#else
constexpr const char* uncaughtInteger = "'int'";
#endif

// The runtime names the exception; the program itself has nothing to say.
void expectOnlyTheRuntimeWrites(const std::string& errors, const std::string& exception) {
    EXPECT_NE(errors.find(exception), std::string::npos) << errors;
    for (const char* message : {"Cannot open", "not recognized", "not supported"}) {
        EXPECT_EQ(errors.find(message), std::string::npos) << errors;
    }
}

void expectFiles(const Stage& stage, const Contents& before, const FaultyRun& run, const PrescribedEnd& end) {
    Contents expected = before;
    Contents after = run.after;
    if (run.fault.how == How::shrink) { // not by the program
        for (Contents* each : {&expected, &after}) {
            each->files.erase(run.operations.at(static_cast<std::size_t>(run.fault.at)).file);
            each->times.clear();
        }
    }
    const bool isRight = end.whole ? after.output == end.file : prefix(end.file, after.output.size()) == after.output;
    EXPECT_TRUE(isRight) << after.output.size() << " bytes of output, not " << (end.whole ? "" : "up to ")
                         << end.file.size();
    expected.output = after.output = stage.olderOutput;
    EXPECT_TRUE(after == expected) << "another file than the output was changed";
}

} // namespace

std::string expectPrescribedEnd(const Stage& stage, const Rules& rules, const FaultyRun& run) {
    const PrescribedEnd end = rules.endOf(run);
    const Words words = wordsFor(end.ending);
    EXPECT_EQ(run.outcome.exitStatus, words.exitStatus) << run.outcome;
    EXPECT_EQ(run.outcome.signal, words.signal) << run.outcome;
    EXPECT_EQ(run.outcome.output, end.output);
    if (end.ending == Ending::abnormalInteger || end.ending == Ending::abnormalMemory) {
        expectOnlyTheRuntimeWrites(run.outcome.errors,
                                   end.ending == Ending::abnormalMemory ? "bad_alloc" : uncaughtInteger);
    } else {
        EXPECT_EQ(run.outcome.errors, end.errors);
    }
    if (words.signal == 0) {
        EXPECT_EQ(run.heldAllocations, 0);
        EXPECT_EQ(run.heldFiles, 0);
    }
    expectFiles(stage, rules.without(run.fault.devices).after, run, end);
    return words.text;
}

} // namespace teko
