# SPDX-License-Identifier: Apache-2.0
"""Codecs as functions of an image that give a function of a number of bytes.

It gives the raw bytes of the decoded image and the bytes used, or None where the codec does not take the image, makes
no file that small, or is not there.
"""

from __future__ import annotations

import itertools
import math
from collections.abc import Callable
from typing import Any

from teko_bench.coded_image import CodedImage
from teko_bench.codestream import Codestream
from teko_bench.programs import quietly

try:
    import imagecodecs
    import numpy as np
except ImportError:  # as in the test of this table: a column without figures
    imagecodecs = None

Decoded = tuple[bytes, int]  # the samples of the decoded image, and how many bytes the coded one has
Code = Callable[[int], "Decoded | None"]
Prepare = Callable[[CodedImage], Code]

SHARES = [1, 2, 5, 10, 20, 50]  # per cent of the lossless teko file
# Of annex K of the JPEG standard: luma, then chroma.
JPEG_STEPS = """\
16 11 10 16 24 40 51 61
12 12 14 19 26 58 60 55
14 13 16 24 40 57 69 56
14 17 22 29 51 87 80 62
18 22 37 56 68 109 103 77
24 35 55 64 81 104 113 92
49 64 78 87 103 121 120 101
72 92 95 98 112 100 103 99
17 18 24 47 99 99 99 99
18 21 26 66 99 99 99 99
24 26 56 99 99 99 99 99
47 66 99 99 99 99 99 99
99 99 99 99 99 99 99 99
99 99 99 99 99 99 99 99
99 99 99 99 99 99 99 99
99 99 99 99 99 99 99 99"""


def with_halves(shares: list[int]) -> list[float]:
    """Return shares, and those halfway from one to the next."""
    return sorted(shares + [math.sqrt(a * b) for a, b in itertools.pairwise(shares)])


# A layer for each; what is left for lossless is the twelfth.
LAYERS_AT_SHARES = with_halves(SHARES)


def teko(image: CodedImage) -> Code:
    """Cut a lossless file. A file made for that size in one pass has to be the same."""

    def code(budget: int) -> Decoded | None:
        cut = image.lossless[:budget]
        share = (budget + 0.5) / image.size  # the program rounds down
        if image.compressed("C", "rate.tk", share) != cut:
            raise SystemExit(f"{image.name}: mode C does not write what a file cut to {budget} bytes holds")
        quietly(image.teko, "D", image.folder / "rate.tk", image.folder / "cut.raw")
        return (image.folder / "cut.raw").read_bytes(), len(cut)

    return code


def decoded_by_open_jpeg(image: CodedImage, data: bytes) -> bytes:
    coded = image.folder / "coded.j2k"
    coded.write_bytes(data)
    quietly("opj_decompress", "-i", coded, "-o", image.decoded)
    return image.raw_of_anymap()


def written_by_open_jpeg(image: CodedImage, ratios: list[str], *options: str) -> Codestream:
    coded = image.folder / "coded.j2k"
    quietly("opj_compress", "-i", image.anymap, "-o", coded, "-r", ",".join(ratios), *options)
    return Codestream(coded.read_bytes())


def layered(image: CodedImage, sizes: list[float]) -> Codestream:
    """Make a lossless file with a layer for each size and one for the rest.

    The encoder ends layers a little below what it is asked for, in steps of its own: asked for more, it ends others
    above.
    """
    return written_by_open_jpeg(image, [*map(image.ratio, sizes), "1"], "-p", "LRCP", "-PLT")


def lossless_size(image: CodedImage) -> int:
    return len(image.lossless)


def cut_by_packets(shares: list[float], whole: Callable[[CodedImage], int] = lossless_size) -> Prepare:
    """Keep the whole packets that there are bytes for, of a file with layers for these per cents of the whole."""

    def prepare(image: CodedImage) -> Code:
        stream = layered(image, [whole(image) * share / 100 for share in shares])
        if decoded_by_open_jpeg(image, stream.whole()) != image.image.raw.read_bytes():
            raise SystemExit(f"{image.name}: JPEG 2000 is not lossless")

        def code(budget: int) -> Decoded | None:
            count, size = stream.whole_packets(budget)
            return (decoded_by_open_jpeg(image, stream.first_packets(count)), size) if count else None

        return code

    return prepare


def irreversible(image: CodedImage) -> Code:
    """Make a file for the size, with the filters 9/7: what is asked for is moved until it is nearly as large."""

    def code(budget: int) -> Decoded | None:
        best, target = b"", float(budget)
        for _ in range(4):
            data = written_by_open_jpeg(image, [image.ratio(target)], "-I").whole()
            if len(data) <= budget and len(data) > len(best):
                best = data
            target = max(1, target + (0.9 if len(data) <= budget else 1.5) * (budget - len(data)))
        return (decoded_by_open_jpeg(image, best), len(best)) if best else None

    return code


def htj2k(image: CodedImage) -> Code:
    """Cut a lossless file at any byte.

    OpenJPH writes one layer, its resolutions one after another. What a cut file decodes to may be out of range, where
    imagecodecs would wrap it: samples go through it signed, about zero, and are clipped here. That is what OpenJPH's
    own command makes of them.
    """
    if imagecodecs is None:
        return lambda budget: None
    samples, middle = image.samples(), 1 << image.bits - 1
    coded = imagecodecs.htj2k_encode((samples.astype(int) - middle).astype(np.int16), reversible=True)

    def decoded(data: bytes, **options: bool) -> Any:
        centred = imagecodecs.htj2k_decode(data, **options).astype(int)
        return np.clip(centred + middle, 0, 2 * middle - 1).astype(samples.dtype)

    if not np.array_equal(decoded(coded), samples):
        raise SystemExit(f"{image.name}: HTJ2K is not lossless")

    def code(budget: int) -> Decoded | None:
        try:
            return decoded(coded[:budget], resilient=True).tobytes(), min(budget, len(coded))
        except imagecodecs.Htj2kError:
            return None

    return code


def jpeg_tables(scale: float) -> str:
    """Return the tables that cjpeg scales for a quality, for luma and for chroma.

    Its qualities are whole numbers, of which one may give a file a tenth larger than the one before; scales lie as
    close as it takes.
    """
    rows = [[max(1, min(32767, round(int(step) * scale))) for step in row.split()] for row in JPEG_STEPS.splitlines()]
    return "\n".join(" ".join(map(str, row)) for row in rows)


def jpeg(image: CodedImage) -> Code:
    """Take the smallest scale that fits, with chroma of full size or of half the sides, whichever comes out better."""
    coded, tables = image.folder / "coded.jpg", image.folder / "tables"

    def size(scale: float, sampling: str) -> int:
        tables.write_text(jpeg_tables(scale))
        options = ["-quality", 50, "-qtables", tables, "-sample", sampling, "-optimize", "-progressive"]
        quietly("cjpeg", *options, "-outfile", coded, image.anymap)
        return coded.stat().st_size

    def best(budget: int, sampling: str) -> Decoded | None:
        too_small, fits = 0.005, 255.0
        if size(fits, sampling) > budget:
            return None
        while fits / too_small > 1.002:
            scale = math.sqrt(fits * too_small)
            if size(scale, sampling) <= budget:
                fits = scale
            else:
                too_small = scale
        used = size(fits, sampling)
        quietly("djpeg", "-pnm", "-outfile", image.decoded, coded)
        return image.raw_of_anymap(), used

    def code(budget: int) -> Decoded | None:
        if image.bits != 8:
            return None
        samplings = ["1x1", "2x2"] if image.image.pixel_bytes == 3 else ["1x1"]
        results = [found for sampling in samplings if (found := best(budget, sampling))]
        return max(results, key=lambda result: image.psnr(result[0]), default=None)

    return code


# By column. Another codec takes one more line.
CODECS: dict[str, Prepare] = {
    "teko": teko,
    "JPEG 2000, layers at cuts": cut_by_packets(LAYERS_AT_SHARES),
    "JPEG 2000, layers elsewhere": cut_by_packets([share / 2**0.25 for share in LAYERS_AT_SHARES]),
    "HTJ2K cut": htj2k,
    "JPEG 2000 9/7": irreversible,
    "JPEG": jpeg,
}
