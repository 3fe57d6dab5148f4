// SPDX-License-Identifier: Apache-2.0
#include "library/call.hpp"

#include <limits>

namespace teko::library {

namespace {

// Sets the target of that name, the best one for null. Returns TEKO_OK, or TEKO_ERROR_TARGET where there is none such,
// or not on this processor.
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
    options = {static_cast<teko_goal>(taken.goal),
               static_cast<int>(taken.reduce),
               taken.bytes,
               taken.rate,
               taken.max_samples,
               taken.max_memory,
               Target::plain,
               CallerMemory(taken)};
    return targetOf(taken.target, options.target);
}

Target bestTargetHere() {
    static const Target best = bestTarget();
    return best;
}

teko_status give(std::uint64_t value, std::size_t* to) {
    if (to == nullptr) {
        return TEKO_ERROR_ARGUMENT;
    }
    *to = static_cast<std::size_t>(std::min<std::uint64_t>(value, std::numeric_limits<std::size_t>::max()));
    return TEKO_OK;
}

bool isOutcome(const teko_outcome* outcome) {
    return outcome == nullptr || hasSize(outcome);
}

void giveUsed(std::size_t used, teko_outcome* outcome) {
    if (outcome != nullptr) {
        giveStructure(teko_outcome{sizeof(teko_outcome), used}, outcome);
    }
}

} // namespace teko::library
