#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""How good images are that few bytes are kept of: cut lossless files, and files made for a size.

usage: bench/prefix/table.py IMAGES TEKO

IMAGES has a line for each image, as scripts/bench makes it; TEKO is the program. Prints a table, fields separated by
tabs: the peak signal-to-noise ratio over the declared bits for each share of the bytes of the image's lossless teko
file, the bytes that each codec used, and the means by kind of image. n/a: the codec does not take such an image, makes
no file that small, or is not installed. inf: lossless."""
import pathlib
import sys
import tempfile

from coders import CODECS, SHARES
from image import Image


def decibels(value):
    return 'n/a' if value is None else f'{value:.2f}'


def show(*fields):
    print(*fields, sep='\t', flush=True)


def showImage(image):
    """Its rows; the ratios of each share."""
    codes = [prepare(image) for prepare in CODECS.values()]
    rows = {}
    for share in SHARES:
        budget = len(image.lossless) * share // 100
        decoded = [code(budget) for code in codes]
        results = [(image.psnr(result[0]), result[1]) if result else (None, 'n/a') for result in decoded]
        show(image.kind, image.name, share, budget, *(decibels(value) for value, _ in results),
             *(used for _, used in results))
        rows[share] = [value for value, _ in results]
    return rows


def showMeans(kind, images):
    for share in SHARES:
        columns = zip(*(rows[share] for rows in images))
        means = [None if None in column else sum(column) / len(column) for column in columns]
        show(kind, f'mean of {len(images)}', share, *['n/a'], *map(decibels, means), *['n/a'] * len(CODECS))


def main():
    kinds = {}
    show('kind', 'image', '% kept', 'bytes', *CODECS, *(f'{codec} bytes' for codec in CODECS))
    for line in pathlib.Path(sys.argv[1]).read_text().splitlines():
        with tempfile.TemporaryDirectory() as folder:
            image = Image(line, sys.argv[2], pathlib.Path(folder))
            kinds.setdefault(image.kind, []).append(showImage(image))
    for kind, images in kinds.items():
        showMeans(kind, images)


if len(sys.argv) != 3:
    raise SystemExit(__doc__)
main()
