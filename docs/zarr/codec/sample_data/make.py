#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the sample arrays beside it, and a .npy file of what is in each."""

import pathlib

import numpy as np
import teko.zarr

HERE = pathlib.Path(__file__).parent
TESTS = HERE.parents[3] / "tests"


def main() -> None:
    """Write all."""
    rows, columns = np.indices((40, 56))
    hills = np.rint(2000 + 1800 * np.sin(rows / 9) * np.cos(columns / 7)).astype(np.uint16)
    stack = np.stack([hills, hills // 2, hills[::-1]]).astype(np.int16) - 2048
    colours = np.stack([hills >> 4, hills[::-1] >> 4, 255 - (hills >> 4)], axis=-1).astype(np.uint8)
    wraps = np.fromfile(TESTS / "golden" / "raw" / "wrap_g1_64x64_col4_high_boundary_n.raw", np.uint8).reshape(64, 64)
    for name, data, options in [
        ("grey16", hills, {"chunks": (20, 28), "bits": 12}),
        ("signed16_shards", stack, {"chunks": (1, 20, 28), "shards": (3, 40, 28)}),
        ("rgb8_fixed", colours, {"chunks": (40, 56, 3), "colour": "last", "max_bytes": 600}),
        ("raw", wraps, {"chunks": (64, 64), "on_inexact": "store_raw"}),
    ]:
        array = teko.zarr.create_array(HERE / f"{name}.zarr", data=data, overwrite=True, **options)
        np.save(HERE / f"{name}.npy", array[:])


if __name__ == "__main__":
    main()
