#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""An array of chunks, looked at by a fiftieth of its raw bytes, and then read whole: the end of scripts/demo.

usage: examples/first_look.py [FOLDER]

Makes a zarr array of 12 bits in FOLDER (in a temporary one without it), reads all of it at 2 % of its raw size through
teko.zarr.PrefixStore, then fetches what is missing, and writes a corner of both, side by side, to first-look.png there.
"""

import contextlib
import sys
import tempfile
from pathlib import Path

import numpy as np
import zarr
from PIL import Image

import teko
import teko.zarr

SIDE, CHUNK, BITS = 2048, 512, 12


def landscape() -> np.ndarray:
    """Hills upon hills, each half as wide and half as high as those before, and some noise."""
    chance = np.random.default_rng(12)
    heights = np.zeros((SIDE, SIDE))
    for level in range(3, 10):
        points = chance.normal(size=(2**level, 2**level))
        coarse = Image.fromarray(points.astype(np.float32)).resize((SIDE, SIDE), Image.Resampling.BICUBIC)
        heights += np.asarray(coarse) / 1.8**level
    heights = (heights - heights.min()) / np.ptp(heights) * 3800
    return np.clip(heights + chance.normal(60, 6, heights.shape), 0, 2**BITS - 1).astype(np.uint16)


def show(what: str, image: np.ndarray, approximation: np.ndarray, stats: "teko.zarr.PrefixStats") -> None:
    share = 100 * stats.bytes_received / image.nbytes
    print(
        f"{what:6} {stats.bytes_received:9,} bytes in {stats.requests:3} requests, {share:5.1f} % of the raw ones:"
        f" {teko.psnr(image, approximation, bits=BITS):.1f} dB"
    )


def look(folder: Path) -> None:
    image = landscape()
    local = zarr.storage.LocalStore(folder / "landscape.zarr")
    array = teko.zarr.create_array(
        local, shape=image.shape, dtype=image.dtype, chunks=(CHUNK, CHUNK), bits=BITS, overwrite=True
    )
    array[:] = image
    print(
        f"An array of {SIDE} x {SIDE} samples of {BITS} bits, chunks of {CHUNK} x {CHUNK}, {image.nbytes:,} bytes raw:"
    )
    store = teko.zarr.PrefixStore(local, rate=0.02)
    coarse = np.asarray(zarr.open_array(store, mode="r")[:])
    show("at 2 %", image, coarse, store.stats)
    whole = np.asarray(zarr.open_array(store.refined(), mode="r")[:])
    show("whole", image, whole, store.stats)
    if not np.array_equal(whole, image):
        raise SystemExit("the array did not come back, which is a defect of teko")
    both = np.hstack([coarse[:CHUNK, :CHUNK], whole[:CHUNK, :CHUNK]])
    Image.fromarray((both >> BITS - 8).astype(np.uint8)).save(folder / "first-look.png")
    print(f"A corner of both, side by side: {folder / 'first-look.png'}")


def main() -> None:
    if len(sys.argv) > 2:
        raise SystemExit(__doc__)
    with contextlib.ExitStack() as stack:
        folder = Path(sys.argv[1] if len(sys.argv) == 2 else stack.enter_context(tempfile.TemporaryDirectory()))
        folder.mkdir(parents=True, exist_ok=True)
        look(folder)


if __name__ == "__main__":
    main()
