// SPDX-License-Identifier: Apache-2.0
// The order of the segments in a coded stream.
#pragma once

namespace teko {

// Calls visit(channel, class, plane) for every pair of segments, by falling priority: a plane counts for one priority
// less in each coarser class. Ends when visit returns false.
template <typename Visit>
void forEachSegmentPair(int channels, int levels, int topPlane, Visit visit) {
    for (int priority = topPlane + levels; priority >= 0; --priority) {
        for (int channel = 0; channel < channels; ++channel) {
            for (int c = 0; c <= levels; ++c) {
                const int b = priority - c;
                if (b >= 0 && b <= topPlane && !visit(channel, c, b)) {
                    return;
                }
            }
        }
    }
}

} // namespace teko
