# SPDX-License-Identifier: Apache-2.0
# The median of list[1] to list[count], which it sorts.
function median(list, count,    i, j, value) {
    for (i = 2; i <= count; ++i) {
        value = list[i]
        for (j = i - 1; j >= 1 && list[j] > value; --j) list[j + 1] = list[j]
        list[j + 1] = value
    }
    return count % 2 ? list[(count + 1) / 2] : (list[count / 2] + list[count / 2 + 1]) / 2
}

# That of numbers separated by spaces.
function medianOf(numbers,    i, list, count) {
    count = split(numbers, list, " ")
    for (i = 1; i <= count; ++i) list[i] += 0
    return median(list, count)
}
