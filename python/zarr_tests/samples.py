# SPDX-License-Identifier: Apache-2.0
"""Arrays that the tests make, and images that do not come back."""

import pathlib

import numpy as np

GOLDEN = pathlib.Path(__file__).parents[2] / "tests" / "golden" / "raw"


def waves(shape, dtype, seed=1):
    """Something smooth under fine grain, over the whole range of a type."""
    found = np.iinfo(dtype)
    places = np.indices(shape).astype(float)
    wave = sum(np.sin(place / (5 + 2 * axis)) for axis, place in enumerate(places)) / (2.2 * len(shape)) + 0.5
    wave += 0.01 * np.random.default_rng(seed).uniform(-1, 1, shape)
    return (
        np.rint(found.min + wave.clip(0, 1) * (float(found.max) - found.min)).clip(found.min, found.max).astype(dtype)
    )


def inexact(colour=False):
    """Return an image of 64 by 64 that does not come back from a complete file."""
    name, shape = ("wrap_g3_64x64_max11_n", (64, 64, 3)) if colour else ("wrap_g1_64x64_col4_high_boundary_n", (64, 64))
    return np.fromfile(GOLDEN / f"{name}.raw", np.uint8).reshape(shape)


def psnr(array, other):
    """Peak signal-to-noise ratio of two arrays of any shape, in decibels."""
    error = np.mean((array.astype(float) - other.astype(float)) ** 2)
    found = np.iinfo(array.dtype)
    return np.inf if error == 0 else 10 * np.log10((float(found.max) - found.min) ** 2 / error)
