// SPDX-License-Identifier: Apache-2.0
// A run of the program on the failing machine, and what the machine did to it.
#pragma once

#include "stage.hpp"

#include <string>
#include <vector>

namespace teko {

// One operation of the program.
struct Operation {
    std::string name; // new, malloc, open, read, write, seek, tell, flush, close, deviceRead, deviceWrite, deviceClose
    std::string file; // - for memory
    long asked = 0;   // bytes
    long given = 0;   // bytes; -1 when refused
    long lines = 0;   // printed before it

    bool wasRefused() const { return given < 0; }
    bool cameUpShort() const { return given < asked; }
};

enum class How { succeed, fail, halve, terminate, shrink };

struct Fault {
    long at = -1; // number of the operation
    How how = How::succeed;
    bool lasts = false;   // whether all later operations of that name are refused, too
    bool devices = false; // whether the files are devices whose own operations can fail
};

std::ostream& operator<<(std::ostream& stream, const Fault& fault);

struct FaultyRun {
    Fault fault;
    Outcome outcome;
    std::vector<Operation> operations; // by number; those that a signal interrupted are empty
    Contents after;
    long heldAllocations = 0; // at an end by itself
    long heldFiles = 0;
};

FaultyRun runWithFault(const Stage& stage, const Fault& fault);

} // namespace teko
