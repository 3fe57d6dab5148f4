# SPDX-License-Identifier: Apache-2.0
# From the rows of stageFigures.awk, in several rounds, to one row per image: the medians of whole and cut speeds and
# of how many times as fast the cut one was in its round.
BEGIN {
    FS = OFS = "\t"
    print "kind", "image", "encode MB/s", "cut to 5 %", "times", "decode MB/s", "cut to 5 %", "times"
}

function figures(way, image) {
    return sprintf("%.1f\t%.1f\t%.2f", medianOf(speeds[way, image]), medianOf(speeds[way "AtRate", image]), \
        medianOf(ratios[way, image]))
}

{
    image = $1 OFS $2
    if (!(image in seen)) order[++images] = image
    seen[image] = 1
    speeds[$3, image] = speeds[$3, image] " " $4
    last[$3, image] = $4
    if (sub(/AtRate$/, "", $3)) ratios[$3, image] = ratios[$3, image] " " $4 / last[$3, image]
}

END {
    for (i = 1; i <= images; ++i) {
        print order[i], figures("wholeEncode", order[i]), figures("wholeDecode", order[i])
    }
}
