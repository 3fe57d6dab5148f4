// SPDX-License-Identifier: Apache-2.0
// The integers that stand for errors: 3 for I/O that came up short, 5 for invalid use.
#pragma once

namespace teko {

// What an action throws, and 0 when it comes to its end.
template <typename Action>
int thrownBy(Action action) {
    try {
        action();
    } catch (int value) {
        return value;
    }
    return 0;
}

} // namespace teko
