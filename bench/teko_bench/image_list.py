# SPDX-License-Identifier: Apache-2.0
"""The images to measure with: raw files, and a list of them with a line for each, as the programs in bench/ read it.

Needs no package, so that the table of quality by bytes is tested wherever the program is built.
"""

from __future__ import annotations

import array
import csv
import dataclasses
from collections.abc import Iterable
from pathlib import Path
from typing import Any

KINDS = {1: "grey8", 2: "grey16", 3: "rgb8"}


@dataclasses.dataclass(frozen=True)
class Image:
    name: str
    pixel_bytes: int
    bits: int
    width: int
    height: int
    raw: Path

    @property
    def kind(self) -> str:
        return KINDS[self.pixel_bytes]

    @property
    def pixels(self) -> int:
        return self.width * self.height

    @property
    def size(self) -> int:
        return self.pixel_bytes * self.pixels

    @property
    def shape(self) -> list[str]:
        """What teko takes behind the name of a raw file."""
        return list(map(str, (self.pixel_bytes, self.bits, self.width, self.height)))

    @property
    def peak(self) -> int:
        """The greatest sample that an anymap declares; bits count for those of 16 alone."""
        return (1 << self.bits) - 1 if self.pixel_bytes == 2 else 255

    @property
    def suffix(self) -> str:
        return ".ppm" if self.pixel_bytes == 3 else ".pgm"

    def samples(self) -> Any:
        """Return them as an array of numpy."""
        import numpy as np

        channels = (3,) if self.pixel_bytes == 3 else ()
        return np.fromfile(self.raw, "<u2" if self.pixel_bytes == 2 else "u1").reshape(
            self.height, self.width, *channels
        )

    def swapped(self, raster: bytes) -> bytes:
        """Return the raster of an anymap for a raw one, or the other way: only anymaps begin with the highest byte."""
        if self.pixel_bytes != 2:
            return raster
        samples = array.array("H", raster)
        samples.byteswap()
        return samples.tobytes()

    def write_anymap(self, path: Path, peak: int) -> None:
        head = f"P{6 if self.pixel_bytes == 3 else 5}\n{self.width} {self.height}\n{peak}\n"
        path.write_bytes(head.encode() + self.swapped(self.raw.read_bytes()))

    def raw_of_anymap(self, path: Path) -> bytes:
        """Return the samples of an anymap of this shape, which some command has decoded."""
        return self.swapped(path.read_bytes()[-self.size :])

    def line(self) -> str:
        return "\t".join((self.name, *self.shape, str(self.raw)))


def image_of(line: str) -> Image:
    name, pixel_bytes, bits, width, height, raw = line.split("\t")
    return Image(name, int(pixel_bytes), int(bits), int(width), int(height), Path(raw))


def read(path: Path) -> list[Image]:
    return list(map(image_of, path.read_text().splitlines()))


def write(path: Path, images: Iterable[Image]) -> Path:
    path.write_text("".join(image.line() + "\n" for image in images))
    return path


def of_manifest(folder: Path) -> list[Image]:
    """Return the images that manifest.tsv describes, whatever other columns it has."""
    with (folder / "manifest.tsv").open(newline="") as file:
        rows = list(csv.DictReader(file, delimiter="\t", quoting=csv.QUOTE_NONE))
    columns = ("name", "bytes_per_pixel", "bits_per_sample", "width", "height")
    return [image_of("\t".join([*(row[column] for column in columns), str(folder / row["file"])])) for row in rows]
