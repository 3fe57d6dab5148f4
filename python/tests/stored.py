# SPDX-License-Identifier: Apache-2.0
"""The stored files that every part of the project is tested with, and the tables that go with them."""

import csv
import hashlib
import pathlib

import numpy as np

TESTS = pathlib.Path(__file__).parents[2] / "tests"
GOLDEN = TESTS / "golden"
FIXTURES = TESTS / "fixtures"


def table(path, **wanted):
    """Read rows of a table, as dictionaries: those that hold what is wanted."""
    with path.open(newline="") as file:
        rows = list(csv.DictReader(file, delimiter="\t"))
    return [row for row in rows if all(row[column] == value for column, value in wanted.items())]


def names(path, column):
    """List what a column holds, each once."""
    return list(dict.fromkeys(row[column] for row in table(path)))


def raw_image(name, row):
    """Load a golden raw image, with the shape that a row of a table gives it."""
    height, width, kind = int(row["ysize"]), int(row["xsize"]), int(row["bytes/pixel"])
    samples = np.fromfile(GOLDEN / "raw" / f"{name}.raw", "<u2" if kind == 2 else "u1")
    return samples.reshape((height, width, 3) if kind == 3 else (height, width))


def raw_bytes(image):
    """Return what a raw file of an image holds."""
    return image.astype(image.dtype.newbyteorder("<")).tobytes()


def digest(data):
    """SHA-256, as the tables give it."""
    return hashlib.sha256(data).hexdigest()
