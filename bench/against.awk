# From rows "old" or "new", KIND, IMAGE, STAGE, MB/s ... of several rounds to a verdict for each benchmark: runs on a
# machine that does other things too tell revisions apart only where their ranges do not overlap. Ends with status 1
# when one is slower.
BEGIN {
    FS = OFS = "\t"
    print "benchmark", "old MB/s", "new MB/s", "new/old", "verdict"
}

{
    key = $2 "/" $3 "/" $4
    if (!(key in seen)) order[++rows] = key
    seen[key] = 1
    speed = $5 + 0
    if (!(($1, key) in best) || speed > best[$1, key]) best[$1, key] = speed
    if (!(($1, key) in worst) || speed < worst[$1, key]) worst[$1, key] = speed
}

END {
    for (r = 1; r <= rows; ++r) {
        key = order[r]
        verdict = "as fast"
        if (best["new", key] < worst["old", key]) verdict = "SLOWER"
        if (worst["new", key] > best["old", key]) verdict = "faster"
        if (verdict == "SLOWER") failed = 1
        print key, sprintf("%.1f - %.1f", worst["old", key], best["old", key]), \
            sprintf("%.1f - %.1f", worst["new", key], best["new", key]), \
            sprintf("%.2f", best["new", key] / best["old", key]), verdict
    }
    exit failed
}
