#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Computes the bounds that docs/bounds.md states. Needs nothing but the language; takes about a minute.

usage: docs/bounds.py
"""

LEVELS = 5
SAMPLE = 65535
# as in src/fast/rows/rowKernels.hpp
LARGEST_FOR_INT_ROWS_BACK = 74_000_000
LARGEST_RESTORED = 100_000_000
LONGEST_SUM = 2**31 - 1


def mirrored(position, n):
    while not 0 <= position < n:
        position = -position if position < 0 else 2 * (n - 1) - position
    return position


def combined(*terms):
    """Sum of factor * vector."""
    factors, vectors = zip(*terms)
    return [sum(f * v for f, v in zip(factors, values)) for values in zip(*vectors)]


def lifted(x):
    """One level of the filter, without rounding, on signals given by their weights on the samples."""
    n, x = len(x), list(x)
    at = lambda i: x[mirrored(i, n)]
    for i in range(1, n, 2):
        x[i] = combined((1, x[i]), (-9 / 16, at(i - 1)), (-9 / 16, at(i + 1)), (1 / 16, at(i - 3)), (1 / 16, at(i + 3)))
    for i in range(0, n, 2):
        x[i] = combined((152 / 128, x[i]), (152 / 512, at(i - 1)), (152 / 512, at(i + 1)))
    return x


def weightSums(n):
    """For each level and kind of result, the sums of positive and of negative weights, where they are largest."""
    x = [[float(i == j) for j in range(n)] for i in range(n)]
    sums = []
    for _ in range(LEVELS):
        x = lifted(x)
        parts = {}
        for name, rows in (('low', x[0::2]), ('high', x[1::2])):
            parts[name] = [(sum(w for w in row if w > 0), -sum(w for w in row if w < 0)) for row in rows]
        sums.append(parts)
        x = x[0::2]
    return sums


def largestCoefficients():
    """Of images of samples 0 .. SAMPLE, by level and subband: the largest magnitude, rounding left out."""
    largest = {}
    for n in (*range(64, 129), *range(288, 321)):
        for level, parts in enumerate(weightSums(n), start=1):
            for rows, columns in (('high', 'low'), ('low', 'high'), ('high', 'high'), ('low', 'low')):
                most = max(max(pr * pc + nr * nc, pr * nc + nr * pc)
                           for pr, nr in set(parts[rows]) for pc, nc in set(parts[columns]))
                key = (level, rows, columns)
                largest[key] = max(largest.get(key, 0), most * SAMPLE)
    return largest


def inverseLevel(approximation, detail):
    """Bounds on the way back through a level, all places being extreme: of what a step starts from, of what it restores,
    and of the samples that the level makes. Every rounding adds at most 1."""
    def signal(even, odd):
        restored = 128 / 152 * even + odd / 2 + 2
        return restored, odd + 20 / 16 * restored + 1

    starts, restored = [approximation, detail], []
    columns = {}
    for x, even in (('even', approximation), ('odd', detail)):
        columns[x] = signal(even, detail)
        restored.append(columns[x][0])
        starts.extend(columns[x])
    samples = []
    for y in (0, 1):
        row = signal(columns['even'][y], columns['odd'][y])
        restored.append(row[0])
        samples.extend(row)
    return max(starts), max(restored), max(samples)


def inverse(coefficient):
    sample, start, restored = coefficient, 0, 0
    for _ in range(LEVELS):
        starts, restores, sample = inverseLevel(sample, coefficient)
        start, restored = max(start, starts), max(restored, restores)
    return start, restored, sample


def main():
    largest = largestCoefficients()
    print('largest coefficients of images of 16 bits, without rounding (rows, columns):')
    for (level, rows, columns), magnitude in sorted(largest.items()):
        print(f'  level {level}  {rows:4} {columns:4}  {magnitude:12.0f}  plane {int(magnitude).bit_length() - 1}')
    coded = [magnitude for (level, rows, columns), magnitude in largest.items()
             if level == LEVELS or (rows, columns) != ('low', 'low')]
    print(f'the largest that is coded: {max(coded):.0f}, plane {int(max(coded)).bit_length() - 1}')
    print('on the way back, from magnitudes below 2^bits:')
    for bits in (19, 20, 21, 22):
        start, restored, sample = inverse(2**bits)
        fits = start <= LARGEST_FOR_INT_ROWS_BACK and restored <= LARGEST_RESTORED and sample <= LONGEST_SUM
        print(f'  {bits} bits  steps start from {start:12.0f}  restored {restored:12.0f}  samples {sample:12.0f}  '
              f'{"fit" if fits else "do not fit"}')
    restored = 128 / 152 * LARGEST_FOR_INT_ROWS_BACK + LARGEST_FOR_INT_ROWS_BACK / 2 + 2
    print(f'steps that start from {LARGEST_FOR_INT_ROWS_BACK} restore at most {restored:.0f}; '
          f'20 * {LARGEST_RESTORED} + 8 is {"within" if 20 * LARGEST_RESTORED + 8 <= LONGEST_SUM else "beyond"} 32 bits')


if __name__ == '__main__':
    main()
