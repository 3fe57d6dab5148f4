// SPDX-License-Identifier: Apache-2.0
// The same procedure with every target.
#pragma once

#include "target/target.hpp"

#include <ostream>
#include <random>
#include <vector>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TEKO_IS_SANITIZED
#endif
#endif

namespace teko {

inline std::ostream& operator<<(std::ostream& stream, Target target) {
    return stream << nameOf(target);
}

// The targets that this processor can run beside the plain one.
inline std::vector<Target> fastTargets() {
    std::vector<Target> targets;
    for (const Target target : allTargets) {
        if (target != Target::plain && isRunnable(target)) {
            targets.push_back(target);
        }
    }
    return targets;
}

// The same for a check that many images go through. Under sanitizers one of them, whichever it happens to be: what a
// sanitizer finds it finds in one image or another, and comparing all of them with every target takes a third of the
// time of all tests.
inline std::vector<Target> sampledTargets() {
    const std::vector<Target> targets = fastTargets();
#if defined(TEKO_IS_SANITIZED)
    static std::mt19937 random;
    return {targets[random() % targets.size()]};
#else
    return targets;
#endif
}

// A target that is active as long as its object lives.
class TargetInUse {
public:
    explicit TargetInUse(Target target) : former(activeTarget()) { setActiveTarget(target); }
    TargetInUse(const TargetInUse&) = delete;
    TargetInUse& operator=(const TargetInUse&) = delete;
    ~TargetInUse() { setActiveTarget(former); }

private:
    Target former;
};

} // namespace teko
