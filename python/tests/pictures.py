# SPDX-License-Identifier: Apache-2.0
"""Images that the tests make, of every kind that there is, and files that only ask for one."""

import struct

import numpy as np

KINDS = ("grey8", "grey16", "signed16", "rgb8")


def dtype_of(kind):
    """Type of the samples of a kind."""
    return np.dtype({"grey16": "uint16", "signed16": "int16"}.get(kind, "uint8"))


def shape_of(kind, height, width):
    """Shape of an array of a kind."""
    return (height, width, 3) if kind == "rgb8" else (height, width)


def full_range(kind):
    """Return the least and the largest sample of a kind."""
    found = np.iinfo(dtype_of(kind))
    return found.min, found.max


def noise(kind, height, width, seed=1):
    """Every sample anything."""
    least, most = full_range(kind)
    random = np.random.default_rng(seed)
    return random.integers(least, most, shape_of(kind, height, width), dtype_of(kind), endpoint=True)


def waves(kind, height, width, grain=0.02, seed=1):
    """Something smooth under fine grain, much like a photograph."""
    least, most = full_range(kind)
    places = np.indices(shape_of(kind, height, width)).astype(float)
    rows, columns = places[0], places[1]
    wave = np.sin(rows / 9) * np.cos(columns / 13) * 0.35 + rows / height * 0.1
    if kind == "rgb8":
        wave = wave * np.array([1.0, 0.8, -0.6])
    wave = wave + grain * np.random.default_rng(seed).uniform(-1, 1, wave.shape)
    return np.rint(least + (0.5 + wave) * (most - least)).clip(least, most).astype(dtype_of(kind))


def header(width, height, kind=1, bits=8):
    """Make 14 bytes that ask for an image."""
    return b"TK10" + bytes([kind, bits]) + struct.pack("<HH", width, height) + bytes(4)
