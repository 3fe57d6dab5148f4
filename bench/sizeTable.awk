# SPDX-License-Identifier: Apache-2.0
# From the rows of stageFigures.awk, of images NAME and what they grew to, NAME@4 to NAME@256, in several rounds, to one
# row per image: medians of nanoseconds per sample and the least. After the sizes of an image a row divides the most of
# each column by the least.
BEGIN {
    FS = OFS = "\t"
    print "image", "megapixels", "encode ns/sample", "least", "decode ns/sample", "least"
}

function note(column, value) {
    if (!(column in most) || value > most[column]) most[column] = value
    if (!(column in fewest) || value < fewest[column]) fewest[column] = value
    return sprintf("%.3f", value)
}

function figures(stage, image) {
    return note(stage, medianOf(times[stage, image])) OFS note(stage " least", least[stage, image])
}

function spread(column) {
    return sprintf("%.2f", most[column] / fewest[column])
}

function put(image) {
    print image, sprintf("%.1f", megapixels[image]), figures("wholeEncode", image), figures("wholeDecode", image)
}

function putSizes(image,    factor) {
    split("", most)
    split("", fewest)
    put(image)
    for (factor = 4; (image "@" factor) in megapixels; factor *= 4) put(image "@" factor)
    print image, "most/least", spread("wholeEncode"), spread("wholeEncode least"), spread("wholeDecode"), \
        spread("wholeDecode least")
}

{
    if (!($2 in megapixels)) order[++images] = $2
    megapixels[$2] = $7 / 1e6 / ($1 == "rgb8" ? 3 : 1)
    times[$3, $2] = times[$3, $2] " " $5
    if (!(($3, $2) in least) || $5 + 0 < least[$3, $2]) least[$3, $2] = $5 + 0
}

END {
    for (i = 1; i <= images; ++i) {
        if (order[i] !~ /@/) putSizes(order[i])
    }
}
