# SPDX-License-Identifier: Apache-2.0
"""What is measured on an image of which few bytes are kept: teko beside HTJ2K and JPEG 2000.

usage: python3 -m teko_bench.prefix_statistics IMAGES

Of a list of images, those in grey of 16 bits are taken. Prints a table, fields separated by tabs: for each image, share
of the raw bytes and codec the bytes that it used, the peak signal-to-noise ratio over the declared bits, and the errors
of the mean, of the 99th percentile and of the histogram, as measures.py has them; then by share and codec the mean and
the worst, of absolute values, and in how many images the others come nearer than teko or less near. n/a: the codec
makes no file that small, or nothing to sum up. inf: exact; an image that any codec keeps so does not count in the means
of decibels.
"""

import math
import operator
import sys
import tempfile
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np

import teko
from teko_bench import coders, image_list, measures
from teko_bench.coded_image import CodedImage
from teko_bench.coders import Code
from teko_bench.rows import put

Values = list[float | None]
ImageFigures = dict[tuple[int, str], Values]  # by share and codec
Summary = Callable[[list[float]], float]

SHARES = [1, 2, 5, 10]  # per cent of the raw bytes
# A layer for each share and one halfway to the next.
LAYERS = coders.with_halves(SHARES)
COLUMNS = [
    "PSNR, dB",
    "mean, levels",
    "mean, % of SD",
    "99th percentile, levels",
    "99th percentile, % of SD",
    "histogram distance",
]
DECIMALS = [2, 3, 3, 0, 2, 4]


def teko_cut(image: CodedImage) -> Code:
    """Cut a lossless file. A file made for that size in one pass has to be the same."""
    samples = image.samples()
    data = teko.encode(samples, bits=image.bits)
    if not np.array_equal(teko.decode(data, complete=True), samples):
        raise SystemExit(f"{image.name}: teko is not lossless")

    def code(budget: int) -> tuple[bytes, int]:
        part = data[:budget]
        if teko.encode(samples, bits=image.bits, max_bytes=budget) != part:
            raise SystemExit(f"{image.name}: a file made for {budget} bytes is not what a cut file holds")
        return teko.decode(part).tobytes(), len(part)

    return code


CODECS: dict[str, Callable[[CodedImage], Code]] = {
    "teko": teko_cut,
    "JPEG 2000, layers at cuts": coders.cut_by_packets(LAYERS, lambda image: image.size),
    "HTJ2K cut": coders.htj2k,
    "JPEG 2000 9/7 for the size": coders.irreversible,
}


def figures_of(bits: int, samples: measures.Samples, raw: bytes) -> Values:
    """Return them by column. An image of one level has no deviation to take a share of."""
    decoded = np.frombuffer(raw, "<u2").reshape(samples.shape)
    deviation = measures.deviation(samples)
    errors = measures.mean_error(samples, decoded), measures.percentile_error(samples, decoded)
    mean_share, percentile_share = (100 * error / deviation if deviation else None for error in errors)
    psnr, distance = teko.psnr(samples, decoded, bits=bits), measures.histogram_distance(samples, decoded)
    return [psnr, errors[0], mean_share, errors[1], percentile_share, distance]


def formatted(values: Values) -> list[str]:
    return [
        "n/a" if value is None else f"{value:.{decimals}f}" for value, decimals in zip(values, DECIMALS, strict=True)
    ]


def show_image(image: CodedImage) -> ImageFigures:
    """Show its rows; return the figures."""
    samples = image.samples()
    codes = {name: prepare(image) for name, prepare in CODECS.items()}
    rows: ImageFigures = {}
    for share in SHARES:
        budget = image.size * share // 100
        for name, code in codes.items():
            raw, used = code(budget) or (None, "n/a")
            figures: Values = [None] * len(COLUMNS)
            if raw:
                figures = figures_of(image.bits, samples, raw)
            spread = f"{measures.deviation(samples):.2f}"
            put(image.name, image.bits, spread, share, budget, name, used, *formatted(figures))
            rows[share, name] = figures
    return rows


def is_exact(image: ImageFigures) -> bool:
    """Tell whether a codec keeps it exactly with one of the shares. It has no place in a mean of decibels."""
    return any(figures[0] == math.inf for figures in image.values())


def summary_of(images: list[ImageFigures], of: tuple[int, str], of_decibels: Summary, of_errors: Summary) -> Values:
    """Return decibels summed up one way, errors the other, by column.

    None where a codec lacks one, and of levels of several images.
    """
    values: Values = []
    for at, name in enumerate(COLUMNS):
        column = [image[of][at] for image in images if at > 0 or not is_exact(image)]
        known = [value for value in column if value is not None]
        left_out = "levels" in name or len(known) < len(column) or not column
        values.append(None if left_out else (of_errors if at else of_decibels)(known))
    return values


def show_summary(images: list[ImageFigures]) -> None:
    ways: list[tuple[str, Summary, Summary]] = [("mean", measures.mean, measures.mean), ("worst", min, measures.worst)]
    for word, of_decibels, of_errors in ways:
        for share in SHARES:
            for name in CODECS:
                values = formatted(summary_of(images, (share, name), of_decibels, of_errors))
                put(f"{word} of {len(images)}", "n/a", "n/a", share, "n/a", name, "n/a", *values)


def losses(figures: Values) -> Values:
    """Return them so that the smaller is the better."""
    return [None if value is None else -value if at == 0 else abs(value) for at, value in enumerate(figures)]


def show_comparisons(images: list[ImageFigures]) -> None:
    """Show in how many images a codec comes nearer than teko, and in how many less near."""
    orders: dict[str, Callable[[Any, Any], bool]] = {"better": operator.lt, "worse": operator.gt}
    for word, order in orders.items():
        for share in SHARES:
            for name in list(CODECS)[1:]:
                counts = [0] * len(COLUMNS)
                for image in images:
                    pairs = zip(losses(image[share, name]), losses(image[share, "teko"]), strict=True)
                    for at, (other, own) in enumerate(pairs):
                        counts[at] += other is not None and order(other, own)
                put(f"{word} than teko of {len(images)}", "n/a", "n/a", share, "n/a", name, "n/a", *counts)


def main(path: Path) -> None:
    images = []
    put("image", "bits", "SD", "% of raw", "bytes", "codec", "bytes used", *COLUMNS)
    for image in image_list.read(path):
        if image.pixel_bytes == 2:
            with tempfile.TemporaryDirectory() as folder:
                images.append(show_image(CodedImage(image, None, Path(folder))))
    show_summary(images)
    show_comparisons(images)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        raise SystemExit(__doc__)
    main(Path(sys.argv[1]))
