// SPDX-License-Identifier: Apache-2.0
#include "library/callOptions.hpp"

#include "library/structures.hpp"

#include <cstring>

namespace teko::library {

namespace {

teko_status targetOf(const char* name, Target& target) {
    if (name == nullptr) {
        target = bestTargetHere();
        return TEKO_OK;
    }
    for (const Target known : allTargets) {
        if (std::strcmp(name, nameOf(known)) == 0 && isRunnable(known)) {
            target = known;
            return TEKO_OK;
        }
    }
    return TEKO_ERROR_TARGET;
}

} // namespace

Target bestTargetHere() {
    static const Target best = bestTarget();
    return best;
}

teko_status CallOptions::from(const teko_options* given, CallOptions& options) {
    teko_options taken{};
    if (given != nullptr && !takeStructure(given, taken)) {
        return TEKO_ERROR_ARGUMENT;
    }
    if ((taken.allocate == nullptr) != (taken.release == nullptr) || taken.goal > TEKO_TO_RATE) {
        return TEKO_ERROR_ARGUMENT;
    }
    constexpr std::uint32_t mostHalvings = 5;
    if (taken.reduce > mostHalvings) {
        return TEKO_ERROR_REDUCE;
    }
    options.goal = static_cast<teko_goal>(taken.goal);
    options.halvings = static_cast<int>(taken.reduce);
    options.bytes = taken.bytes;
    options.rate = taken.rate;
    options.maxSamples = taken.max_samples;
    options.maxMemory = taken.max_memory;
    options.memory = CallerMemory(taken);
    return targetOf(taken.target, options.target);
}

} // namespace teko::library
