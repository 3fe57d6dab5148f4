# SPDX-License-Identifier: Apache-2.0
"""How good images are that few bytes are kept of: cut lossless files, and files made for a size.

usage: python3 -m teko_bench.prefix IMAGES TEKO

IMAGES is a list of images; TEKO is the program. Prints a table, fields separated by tabs: the peak signal-to-noise
ratio over the declared bits for each share of the bytes of the image's lossless teko file, the bytes that each codec
used, and the means by kind of image. n/a: the codec does not take such an image, makes no file that small, or is not
installed. inf: lossless.
"""

from __future__ import annotations

import sys
import tempfile
from pathlib import Path

from teko_bench import image_list
from teko_bench.coded_image import CodedImage
from teko_bench.coders import CODECS, SHARES
from teko_bench.rows import put

Ratios = dict[int, list[float | None]]


def decibels(value: float | None) -> str:
    return "n/a" if value is None else f"{value:.2f}"


def show_image(image: CodedImage) -> Ratios:
    """Show its rows; return the ratios of each share."""
    codes = [prepare(image) for prepare in CODECS.values()]
    rows: Ratios = {}
    for share in SHARES:
        budget = len(image.lossless) * share // 100
        decoded = [code(budget) for code in codes]
        rows[share] = [image.psnr(result[0]) if result else None for result in decoded]
        used = [result[1] if result else "n/a" for result in decoded]
        put(image.image.kind, image.name, share, budget, *map(decibels, rows[share]), *used)
    return rows


def mean(values: tuple[float | None, ...]) -> float | None:
    known = [value for value in values if value is not None]
    return sum(known) / len(known) if len(known) == len(values) else None


def show_means(kind: str, images: list[Ratios]) -> None:
    for share in SHARES:
        means = map(mean, zip(*(rows[share] for rows in images), strict=True))
        put(kind, f"mean of {len(images)}", share, "n/a", *map(decibels, means), *["n/a"] * len(CODECS))


def main(images: str, teko: str) -> None:
    kinds: dict[str, list[Ratios]] = {}
    put("kind", "image", "% kept", "bytes", *CODECS, *(f"{codec} bytes" for codec in CODECS))
    for image in image_list.read(Path(images)):
        with tempfile.TemporaryDirectory() as folder:
            ratios = show_image(CodedImage(image, Path(teko), Path(folder)))
            kinds.setdefault(image.kind, []).append(ratios)
    for kind, ratios_of_images in kinds.items():
        show_means(kind, ratios_of_images)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        raise SystemExit(__doc__)
    main(*sys.argv[1:])
