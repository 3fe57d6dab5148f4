// SPDX-License-Identifier: Apache-2.0
// The number of decomposition levels of an image.
#pragma once

namespace teko {

constexpr int maximumLevels = 5;

// The largest L of at most maximumLevels with 2^(L + 1) <= width and height; -1 when either is below 2.
// The file does not store it: transform, inverse, encoder and decoder all ask here.
constexpr int numberOfLevels(int width, int height) {
    int levels = maximumLevels;
    while (levels >= 0 && ((1 << levels) > width / 2 || (1 << levels) > height / 2)) {
        --levels;
    }
    return levels;
}

} // namespace teko
