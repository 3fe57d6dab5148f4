# SPDX-License-Identifier: Apache-2.0
# From the lines of comparePeers, all rounds together, to one row per kind of image and codec: the medians of every
# image's times, and total bytes by total time over the images of a kind. The rows "all" are for codecs that take
# every image. Fields are separated by tabs, in and out; n/a where a codec does not take a kind.
function once(name, seen, order,    count) {
    if (name in seen) return
    seen[name] = 1
    order[++order[0]] = name
}

function add(kind, codec, image, direction,    key) {
    key = codec SUBSEP image SUBSEP direction
    time[kind, codec, direction] += medianOf(times[key])
    bytes[kind, codec, direction] += rawBytes[image]
    if (peak[key] > top[kind, codec, direction]) top[kind, codec, direction] = peak[key]
    if (direction == "encode") {
        images[kind, codec]++
        coded[kind, codec] += codedBytes[codec, image]
        area[kind, codec] += pixels[image]
    }
}

function speed(kind, codec, direction) {
    return time[kind, codec, direction] ? 1e3 * bytes[kind, codec, direction] / time[kind, codec, direction] : 0
}

function ratio(kind, codec, direction,    yardstick) {
    yardstick = speed(kind, "OpenJPEG", direction)
    return yardstick ? sprintf("%.2f", speed(kind, codec, direction) / yardstick) : "n/a"
}

BEGIN {
    FS = OFS = "\t"
}

{
    once($1, knownCodec, codecs)
    once($3, knownKind, kinds)
    if (!($2 in kindOf)) {
        total["all"]++
        total[$3]++
    }
    kindOf[$2] = $3
    if ($5 == "n/a") next
    rawBytes[$2] = $5
    codedBytes[$1, $2] = $6
    pixels[$2] = $7
    if ($8 > peak[$1, $2, $4]) peak[$1, $2, $4] = $8 + 0
    for (i = 9; i <= NF; ++i) times[$1, $2, $4] = times[$1, $2, $4] " " $i
}

END {
    for (key in times) {
        split(key, part, SUBSEP)
        add(kindOf[part[2]], part[1], part[2], part[3])
        add("all", part[1], part[2], part[3])
    }
    kinds[++kinds[0]] = "all"
    print "kind", "codec", "bits/pixel", "encode MB/s", "decode MB/s", "encode/OpenJPEG", "decode/OpenJPEG", \
        "encode peak MiB", "decode peak MiB"
    for (k = 1; k <= kinds[0]; ++k) {
        for (c = 1; c <= codecs[0]; ++c) {
            kind = kinds[k]
            codec = codecs[c]
            if (images[kind, codec] != total[kind]) {
                print kind, codec, "n/a", "n/a", "n/a", "n/a", "n/a", "n/a", "n/a"
                continue
            }
            print kind, codec, sprintf("%.3f", 8 * coded[kind, codec] / area[kind, codec]), \
                sprintf("%.1f", speed(kind, codec, "encode")), sprintf("%.1f", speed(kind, codec, "decode")), \
                ratio(kind, codec, "encode"), ratio(kind, codec, "decode"), \
                sprintf("%.1f", top[kind, codec, "encode"] / 1024), \
                sprintf("%.1f", top[kind, codec, "decode"] / 1024)
        }
    }
}
