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


def shifted(weights, by):
    return {position + by: weight for position, weight in weights.items()}


def summed(*terms):
    """A sum of weights by position, each term with a factor."""
    sums = {}
    for factor, weights in terms:
        for position, weight in weights.items():
            sums[position] = sums.get(position, 0) + factor * weight
    return sums


def magnitude(weights):
    return sum(abs(weight) for weight in weights.values())


def predicted(lifted, times=1):
    """Far from the ends, the prediction at 0 from the even numbers around it."""
    near, far = times * 9 / 16, -times / 16
    return summed((near, shifted(lifted, -1)), (near, shifted(lifted, 1)),
                  (far, shifted(lifted, -3)), (far, shifted(lifted, 3)))


def risingAndFalling(lifted):
    return summed((1, shifted(lifted, -1)), (1, shifted(lifted, 1)), (-1, shifted(lifted, -3)), (-1, shifted(lifted, 3)))


def printNarrowRows():
    one = {0: 1}
    difference = summed((1, one), (-1, predicted(one)))
    summation = summed((1, one), (1 / 4, shifted(difference, -1)), (1 / 4, shifted(difference, 1)))
    scaled = summed((19 / 16, summation))
    both = summed((1, difference), (1, shifted(difference, 2)))
    row, high = magnitude(scaled), magnitude(difference)
    mean = 19 / 16
    print('rows of 16 bits for images of 16 bits, forward, from a middle m and a width w:')
    print(f'  along a row: differences {high / 2:.3f} w, approximations {mean:.3f} |m| + {row / 2:.3f} w')
    print(f'  down the columns: differences {high * high / 2:.3f} w, two together {magnitude(both) * high / 2:.3f} w, '
          f'four samples that rise and fall {4 * high / 2:.3f} w')
    print(f'  twice a prediction {2 * mean:.3f} |m| + {2 * 20 / 16 * row / 2:.3f} w, '
          f'approximations {mean * mean:.3f} |m| + {row * row / 2:.3f} w')
    unscaled = 16 / 19
    fromOdds = summed((-1 / 4, {-1: 1, 1: 1}))
    evenW, oddW = unscaled, unscaled * 20 / 16
    evenD, oddD = 1 / 2, magnitude(summed((1, one), (1, predicted(fromOdds))))
    four = magnitude(risingAndFalling(fromOdds))
    twice = magnitude(predicted(fromOdds, 2))
    details = max(unscaled + evenD, unscaled * 20 / 16 + oddD)
    print('back, from approximations in such a range and other coefficients up to d:')
    print(f'  up the columns: four samples that rise and fall {2 * unscaled:.3f} w + {four:.3f} d, of coefficients '
          f'{4 * unscaled + four:.3f} d')
    print(f'  twice a prediction {2 * unscaled:.3f} |m| + {oddW:.3f} w + {twice:.3f} d, '
          f'samples {unscaled:.3f} |m| + {oddW / 2:.3f} w + {max(evenD, oddD):.3f} d, of coefficients {details:.3f} d')
    print(f'  along a row: four samples that rise and fall {2 * unscaled * oddW:.3f} w + '
          f'{4 * unscaled * oddD + four * details:.3f} d')
    print(f'  twice a prediction {2 * unscaled * evenW:.3f} |m| + {2 * oddW * oddW / 2:.3f} w + '
          f'{2 * oddW * oddD + twice * details:.3f} d, samples {unscaled * evenW:.3f} |m| + {oddW * oddW / 2:.3f} w + '
          f'{oddW * oddD + oddD * details:.3f} d')


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
    printNarrowRows()


if __name__ == '__main__':
    main()
