// SPDX-License-Identifier: Apache-2.0
// How a run has to end, and what it has to leave, after what the machine did to it.
//
// Memory that is refused, an input that gives less than asked, a raw output that takes less: the run ends abnormally.
// A coded output that takes less ends the coded stream, not the run. A coded input that gives less decodes as a
// shorter file does. A file that does not open is named. Nothing else is noticed.
#pragma once

#include "faultyRun.hpp"

#include <map>

namespace teko {

enum class Ending {
    completed,       // status 0, the output is whole
    cutShort,        // status 0, of the output there is what the device took, or what a shorter input decodes to
    cannotOpen,      // status 1 and a message
    notRecognized,   // status 1 and a message
    abnormalInteger, // by an exception that nobody catches: an integer
    abnormalMemory,  // or refused memory
    terminated       // by SIGTERM
};

struct PrescribedEnd {
    Ending ending = Ending::completed;
    std::string output; // standard output
    std::string errors; // standard error, unless the end is abnormal: the runtime writes there
    Bytes file;         // the output file
    bool whole = true;  // whether all of `file` must be there; else any beginning of it
};

// A scene's run without any fault, and what it tells about others.
class Rules {
public:
    explicit Rules(const Stage& stage);

    const FaultyRun& without(bool devices) const { return devices ? onDevices : onFiles; }
    PrescribedEnd endOf(const FaultyRun& run) const;

private:
    struct Decoded {
        std::string output;
        Bytes file;
    };

    PrescribedEnd endOfCompression(const FaultyRun& run) const;
    PrescribedEnd endOfDecompression(const FaultyRun& run) const;
    PrescribedEnd endOfComparison(const FaultyRun& run) const;
    PrescribedEnd refusedHeader(long bytes) const;
    PrescribedEnd afterWriting(const FaultyRun& run, const Decoded& decoded) const;
    PrescribedEnd abnormal(Ending ending, const Operation& at) const;
    Decoded decodedFrom(long bytes) const;
    std::string firstLines(long count) const;

    const Stage& stage;
    FaultyRun onFiles;
    FaultyRun onDevices;
    mutable std::map<long, Decoded> shorter;
};

// Compares a run with its prescribed end. Returns that end in words.
std::string expectPrescribedEnd(const Stage& stage, const Rules& rules, const FaultyRun& run);

} // namespace teko
