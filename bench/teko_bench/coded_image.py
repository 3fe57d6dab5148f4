# SPDX-License-Identifier: Apache-2.0
"""An image as codecs take it: the same as a PGM or PPM, and how near to it is what one makes of it."""

import functools
import re
from pathlib import Path
from typing import Any

from teko_bench.image_list import Image
from teko_bench.programs import quietly


class CodedImage:
    """With files for it in a folder; a program that is None is not asked."""

    def __init__(self, image: Image, teko: Path | None, folder: Path) -> None:
        if (image.pixel_bytes == 2) != (image.bits > 8):
            raise SystemExit(f"{image.name}: bytes and bits of its samples do not go together in a PGM")
        self.image, self.teko, self.folder = image, teko, folder
        self.name, self.bits, self.size = image.name, image.bits, image.size
        self.anymap, self.decoded = (folder / f"{name}{image.suffix}" for name in ("image", "decoded"))
        image.write_anymap(self.anymap, (1 << image.bits) - 1)

    @functools.cached_property
    def lossless(self) -> bytes:
        return self.compressed("c", "lossless.tk")

    def samples(self) -> Any:
        return self.image.samples()

    def compressed(self, mode: str, name: str, *share: float) -> bytes:
        quietly(self.teko, mode, self.image.raw, *self.image.shape, self.folder / name, *share)
        return (self.folder / name).read_bytes()

    def psnr(self, raw: bytes) -> float:
        """Return the peak signal-to-noise ratio of raw bytes."""
        back = self.folder / "back.raw"
        back.write_bytes(raw)
        found = re.search(r"PSNR=(\S+)", quietly(self.teko, "m", self.image.raw, *self.image.shape, back))
        if not found:
            raise SystemExit(f"{self.name}: teko says no PSNR")
        return float(found[1])

    def raw_of_anymap(self) -> bytes:
        """Return what a command has decoded."""
        return self.image.raw_of_anymap(self.decoded)

    def ratio(self, size: float) -> str:
        """Return what opj_compress takes: how many times the size goes into the bits of the raw image."""
        samples = self.image.pixels * (3 if self.image.pixel_bytes == 3 else 1)
        return f"{max(1, samples * self.bits / 8 / size):.6f}"
