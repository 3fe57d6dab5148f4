# SPDX-License-Identifier: Apache-2.0
# Prints a plain PGM of 16 bits, 320 x 320, whose highest coefficient is as large as one can get: all samples are 0 or
# 65535, by the signs of the weights that the detail of level 5 in the middle has. usage: awk -f extremeImage.awk

function at(i) { return x[i < 0 ? -i : i >= n ? 2 * (n - 1) - i : i] }

# The filter of the format without its roundings, on x[0] ... x[n - 1].
function filter(    i) {
    for (i = 1; i < n; i += 2) x[i] -= (9 * (at(i - 1) + at(i + 1)) - at(i - 3) - at(i + 3)) / 16
    for (i = 0; i < n; i += 2) x[i] = (x[i] + (at(i - 1) + at(i + 1)) / 4) * 152 / 128
}

# What a unit at that place gives to detail 4 of level 5, the fifth.
function weight(place,    i, level) {
    n = side
    for (i = 0; i < n; ++i) x[i] = i == place
    for (level = 1; level < 5; ++level) {
        filter()
        for (i = 0; 2 * i < n; ++i) x[i] = x[2 * i]
        n = i
    }
    filter()
    return x[9]
}

BEGIN {
    side = 320
    for (i = 0; i < side; ++i) isPositive[i] = weight(i) > 0
    print "P2", side, side, 65535
    for (i = 0; i < side; ++i)
        for (j = 0; j < side; ++j) print isPositive[i] == isPositive[j] ? 65535 : 0
}
