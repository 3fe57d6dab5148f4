# SPDX-License-Identifier: Apache-2.0
# From the rows of stageFigures.awk, of images NAME and of the same in other shapes, NAME@SHAPE, in several rounds, to
# nanoseconds per sample and how many times those of the image itself they are. Needs median.awk.
BEGIN {
    FS = OFS = "\t"
    print "image", "shape", "encode ns/sample", "times", "decode ns/sample", "times"
}

{
    if (!($2 in seen)) order[++rows] = $2
    seen[$2] = 1
    times[$3, $2] = times[$3, $2] " " $5
}

function figures(stage, shape, image,    own) {
    own = medianOf(times[stage, shape])
    return sprintf("%.2f", own) OFS sprintf("%.1f", own / medianOf(times[stage, image]))
}

END {
    for (r = 1; r <= rows; ++r) {
        parts = split(order[r], part, "@")
        print part[1], (parts > 1 ? part[2] : "itself"), figures("wholeEncode", order[r], part[1]), \
            figures("wholeDecode", order[r], part[1])
    }
}
