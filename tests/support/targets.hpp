// The same procedure with every target.
#pragma once

#include "target/target.hpp"

#include <ostream>
#include <vector>

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
