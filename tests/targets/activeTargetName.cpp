// SPDX-License-Identifier: Apache-2.0
// Says which target runs, and which one it would be without a word from outside.
#include "target/target.hpp"

#include <cstdio>

int main() {
    std::printf("%s %s\n", teko::nameOf(teko::activeTarget()), teko::nameOf(teko::bestTarget()));
    return 0;
}
