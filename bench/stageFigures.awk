# SPDX-License-Identifier: Apache-2.0
# From the CSV of stages to rows KIND IMAGE STAGE MB/s ns/sample cycles/sample samples, separated by tabs. Ends
# with status 1 when a benchmark reports an error.
BEGIN {
    FS = ","
    OFS = "\t"
}

{
    gsub(/"/, "")
}

$1 == "name" {
    for (i = 1; i <= NF; ++i) column[$i] = i
    next
}

$(column["error_occurred"]) == "true" {
    print $1 ": " $(column["error_message"]) >"/dev/stderr"
    failed = 1
    next
}

{
    split($1, part, "/")
    print part[1], part[2], part[3], $(column["MB/s"]), $(column["ns/sample"]), $(column["cycles/sample"]), \
        $(column["samples"])
}

END {
    exit failed
}
