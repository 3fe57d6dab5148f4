#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Images that packages of the registry of Python ship, as raw files.

usage: bench/prefix/packagedImages.py FOLDER

Prints a line for each, as scripts/bench has them. All are lossless there, and docs/images.md has their terms."""
import pathlib
import sys

import skimage

NAMES = ['astronaut', 'chelsea', 'coffee', 'ihc', 'brick', 'camera', 'cell', 'clock_motion', 'coins', 'grass', 'gravel',
         'text']


def main(folder):
    for name in NAMES:
        image = skimage.io.imread(pathlib.Path(skimage.__file__).parent / 'data' / f'{name}.png')
        raw = folder / f'{name}.raw'
        raw.write_bytes(image.tobytes())
        height, width = image.shape[:2]
        print(name, 1 if image.ndim == 2 else 3, 8, width, height, raw, sep='\t')


if len(sys.argv) != 2:
    raise SystemExit(__doc__)
main(pathlib.Path(sys.argv[1]))
