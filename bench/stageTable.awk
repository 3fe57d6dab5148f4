# SPDX-License-Identifier: Apache-2.0
# From the rows of stageFigures.awk to one row per kind and stage: total bytes by total time over its images.
BEGIN {
    FS = OFS = "\t"
    print "kind", "stage", "MB/s", "ns/sample", "cycles/sample"
}

{
    key = $1 OFS $3
    if (!(key in samples)) order[++rows] = key
    samples[key] += $7
    cycles[key] += $6 * $7
    nanoseconds[key] += $5 * $7
    bytes[key] += $4 * $5 * $7 / 1e3
}

END {
    for (r = 1; r <= rows; ++r) {
        key = order[r]
        print key, sprintf("%.1f", 1e3 * bytes[key] / nanoseconds[key]), \
            sprintf("%.3f", nanoseconds[key] / samples[key]), sprintf("%.2f", cycles[key] / samples[key])
    }
}
