# SPDX-License-Identifier: Apache-2.0
"""Images to bytes and back."""

import sys
import warnings
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

import numpy as np
import numpy.typing as npt

from teko import _core
from teko._arrays import Array, check_bits, check_sides, full_bits, pixels_of, repeats, samples_of
from teko._errors import (
    DamageWarning,
    DataError,
    Error,
    ImageError,
    ImageTypeError,
    IncompleteError,
    InexactError,
    LimitError,
)

if TYPE_CHECKING:
    from typing_extensions import Buffer

SMALLEST_FILE = 14
HALVINGS = range(6)

_SHARED = "samples of out share memory with each other or with the file, or are interlaced"


def _problem(status: int) -> Exception:
    """Return the exception for a status that nothing has explained better."""
    text = _core.status_text(status)
    if status == _core.ERROR_OUT_OF_MEMORY:
        return MemoryError(text)
    if status in (_core.ERROR_NOT_TEKO, _core.ERROR_TOO_SHORT, _core.ERROR_KIND):
        return DataError(text)
    if status == _core.ERROR_SHAPE:
        return ImageError(text)
    return Error(text)


def check_rate(rate: float | None) -> None:
    """Refuse a rate that is none."""
    if rate is not None and not 0 < rate <= 1:
        raise ValueError(f"rate={rate} is out of range: it is a share of the raw size, above 0 and up to 1")


def check_budget(max_bytes: int | None, rate: float | None, *, of: str = "an image") -> None:
    """Refuse both, and either out of range."""
    if max_bytes is not None and rate is not None:
        raise TypeError("max_bytes and rate are two ways to say the same: give one of them")
    if max_bytes is not None and max_bytes < SMALLEST_FILE:
        raise ValueError(f"max_bytes={max_bytes} is too small: {of} takes {SMALLEST_FILE} bytes at least")
    check_rate(rate)


def encode(
    array: npt.ArrayLike,
    *,
    bits: int | None = None,
    max_bytes: int | None = None,
    rate: float | None = None,
    exact: bool = True,
) -> bytes:
    """Encode an image.

    Without max_bytes and rate the file is complete: it decodes to the very samples of the array.

    Args:
        array: uint8, uint16 or int16 of shape (h, w), or uint8 of shape (h, w, 3) or (3, h, w), RGB; rows from the top.
            Sides are 2 to 65535, and 4 and more come back exactly; both may be 0.
            Any strides and byte order; nothing is copied, but where samples repeat in memory. Samples of int16 are
            coded with their sign bit flipped, which the file does not say.
        bits: significant bits of a sample, all of the type by default. The file keeps the number, and what decodes
            from a part of it stays below 2^bits. It has no influence on anything else.
        max_bytes: the most bytes that the file may take, 14 at least. It is complete where that suffices.
        rate: the same as a share of the raw size, above 0 and up to 1. The budget has to be 14 bytes at least.
        exact: whether to refuse a complete file that would not decode to the very samples.

    Returns:
        The file.

    Raises:
        ImageTypeError: samples of another type.
        ImageError: another shape; a side of 1, or above 65535; bits that the type has not.
        InexactError: exact, and the file would be complete and decode to something else. Sides of 2 and 3 are such,
            and images of 8 bits a sample that were built for it.
        ValueError: a budget too small for any image.
        MemoryError: no memory.

    >>> import numpy, teko
    >>> image = numpy.arange(4800, dtype=numpy.uint16).reshape(60, 80)
    >>> data = teko.encode(image)
    >>> bool((teko.decode(data) == image).all())
    True
    >>> len(teko.encode(image, max_bytes=500)), len(teko.encode(image, rate=0.05))
    (500, 480)
    """
    check_budget(max_bytes, rate)
    pixels = samples_of(array)
    check_sides(pixels)
    significant = check_bits(pixels, bits)
    if max_bytes is not None:
        status, data = _core.encode(pixels, significant, _core.TO_BYTES, min(max_bytes, sys.maxsize), 0.0)
    elif rate is not None:
        status, data = _core.encode(pixels, significant, _core.TO_RATE, 0, rate)
    else:
        status, data = _core.encode(pixels, significant, _core.WHOLE, 0, 0.0)
    if status == _core.ERROR_BUDGET:
        raise ValueError(f"rate={rate} is too small: of {pixels.nbytes} bytes it leaves less than {SMALLEST_FILE}")
    if data is None:
        raise _problem(status)
    if status == _core.INEXACT and exact:
        raise InexactError(
            f"an image of shape {pixels.shape} would not come back as it is; those with sides of 2 and 3 do not, nor "
            "some that were made for it; exact=False encodes it all the same"
        )
    return data


@dataclass(frozen=True)
class Info:
    """What a file says of its image in its first 10 bytes.

    Attributes:
        width: pixels in a row.
        height: rows.
        channels: 1 for grey, 3 for RGB.
        dtype: of the samples, uint8 or uint16. Of signed ones the file says nothing.
        bits: significant bits of a sample.
        levels: how often the sides can be halved by decode's reduce, 0 to 5.
    """

    width: int
    height: int
    channels: int
    dtype: "np.dtype[Any]"
    bits: int
    levels: int

    @property
    def shape(self) -> tuple[int, ...]:
        """Shape of the array: (height, width), or (height, width, 3)."""
        return self.reduced_shape(0)

    @property
    def nbytes(self) -> int:
        """Bytes of the array."""
        return self.width * self.height * self.channels * self.dtype.itemsize

    def reduced_shape(self, reduce: int) -> tuple[int, ...]:
        """Shape of the array whose sides are halved so often: each over 2^reduce, rounded up."""
        sides = (_core.reduced(self.height, reduce), _core.reduced(self.width, reduce))
        return sides if self.channels == 1 else (*sides, self.channels)


def info(data: "Buffer") -> Info:
    """Describe a file by its first 10 bytes.

    Args:
        data: the file, or its first 10 bytes and more: any contiguous buffer.

    Raises:
        DataError: it does not start as teko files do, or there are fewer bytes.

    >>> import numpy, teko
    >>> found = teko.info(teko.encode(numpy.zeros((20, 30), numpy.uint16), bits=12))
    >>> found.shape, str(found.dtype), found.bits
    ((20, 30), 'uint16', 12)
    """
    status, kind, bits, width, height, levels = _core.describe(data)
    if status != _core.OK:
        raise _problem(status)
    dtype = np.dtype(np.uint16 if kind == _core.GREY16 else np.uint8)
    channels = 3 if kind == _core.RGB8 else 1
    return Info(width, height, channels, dtype, bits or 8 * dtype.itemsize, levels)


def _check_size(data: "Buffer", found: Info, reduce: int, max_pixels: int | None) -> None:
    """Refuse images that are too large, before there is any memory for them."""
    sides = f"an image of {found.height} rows and {found.width} columns"
    if max_pixels is not None:
        if found.width * found.height > max_pixels:
            raise LimitError(f"{sides} has more than max_pixels={max_pixels}; a larger max_pixels lets it through")
        return
    status, needed = _core.decode_memory(data, reduce)
    if status != _core.OK:
        raise _problem(status)
    size = memoryview(data).nbytes
    if needed > max(2**30, 64 * size):
        raise LimitError(
            f"{sides} may take {needed} bytes to decode, more than 1 GiB and than 64 times the {size} bytes of its "
            f"file; max_pixels={found.width * found.height} lets it through"
        )


def _target_of(out: Array | None, shape: tuple[int, ...], dtype: "np.dtype[Any]") -> Array:
    """Return where the samples go, with the colours last."""
    if out is None:
        return np.empty(shape, dtype)
    if not isinstance(out, np.ndarray):
        raise ImageTypeError(f"out is a {type(out).__name__}, and has to be an array: numpy.frombuffer makes one of it")
    pixels = pixels_of(out)
    if pixels.shape != shape or full_bits(pixels) != 8 * dtype.itemsize:
        planar = f" or {(3, *shape[:2])}" if len(shape) == 3 else ""
        raise ImageError(
            f"out is an array of {out.dtype} of shape {out.shape}, "
            f"and the image is one of {dtype} of shape {shape}{planar}"
        )
    if dtype.kind == "i" and pixels.dtype.kind != "i":
        raise ImageError(f"signed samples do not go into an array of {out.dtype}")
    if not pixels.flags.writeable:
        raise ImageError("out cannot be written to")
    if repeats(pixels):
        raise ImageError(_SHARED)
    return pixels


def _judge(status: int, complete: bool, size: int) -> None:
    """Raise, or warn, for a status that was not plain success."""
    if status < 0:
        if status == _core.ERROR_ARGUMENT:
            raise ImageError(_SHARED)
        raise _problem(status)
    if status == _core.CUT and complete:
        raise IncompleteError(f"the file ends after {size} bytes, before its image is complete")
    if status == _core.DAMAGED:
        if complete:
            raise DataError(_core.status_text(status))
        warnings.warn(_core.status_text(status), DamageWarning, stacklevel=3)


def decode(
    data: "Buffer",
    *,
    out: Array | None = None,
    reduce: int = 0,
    complete: bool = False,
    signed: bool = False,
    max_pixels: int | None = None,
) -> Array:
    """Decode a file, or the first bytes of one.

    Args:
        data: the file, or a part of it from its first byte on, 14 bytes at least: any contiguous buffer, such as bytes,
            a memoryview or an mmap.
        out: takes the samples, of the shape and type of the image; (3, h, w) does for RGB, and int16 for signed
            samples. Any strides and byte order. Its content is undefined if anything is raised.
        reduce: how often the sides are halved, 0 to 5, and no more than the image has levels. It saves transform and
            memory, not the reading of the file: fewer bytes save that.
        complete: whether a file that was cut, or that contradicts itself, is an error. Otherwise the first gives an
            approximation, and the second a DamageWarning.
        signed: whether samples of 16 bits are int16, coded from such.
        max_pixels: of the whole image, and no other limit then. By default it may ask for the memory of 1 GiB, or of 64
            times its file's size.

    Returns:
        out, or an array of shape (h, w) or (h, w, 3), of uint8 or uint16 (int16 if signed).

    Raises:
        DataError: no teko file, or fewer than 14 bytes of one; IncompleteError, one of it, if the file was cut and
            complete was asked for.
        LimitError: a larger image.
        ImageError, ImageTypeError: an out that does not fit.
        ValueError: more halvings than the image has levels.
        MemoryError: no memory.

    >>> import numpy, teko
    >>> data = teko.encode(numpy.full((64, 96, 3), 200, numpy.uint8))
    >>> teko.decode(data, reduce=1).shape
    (32, 48, 3)
    >>> int(teko.decode(data[:14]).max()) <= 255
    True
    >>> teko.decode(data[:14], complete=True)
    Traceback (most recent call last):
    ...
    teko.IncompleteError: the file ends after 14 bytes, before its image is complete
    """
    found = info(data)
    if reduce not in HALVINGS or reduce > found.levels:
        raise ValueError(f"reduce={reduce} is out of range: this image has {found.levels} levels")
    if signed and found.dtype.itemsize != 2:
        raise ImageError("samples of 8 bits are never signed")
    _check_size(data, found, reduce, max_pixels)
    dtype = np.dtype(np.int16) if signed else found.dtype
    pixels = _target_of(out, found.reduced_shape(reduce), dtype)
    status, _ = _core.decode(data, pixels, reduce, 0, 2**64 - 1)
    _judge(status, complete, memoryview(data).nbytes)
    return pixels if out is None else out


def cut(data: "Buffer", max_bytes: int | None = None, *, rate: float | None = None) -> bytes:
    """Shorten a file: a copy of its first bytes, as many as a decoder uses of the budget.

    Bytes that follow a complete file are not told from it.

    Args:
        data: the file, or a part of it from its first byte on: any contiguous buffer.
        max_bytes: the budget in bytes, 14 at least.
        rate: the same as a share of the raw size, above 0 and up to 1.

    Raises:
        DataError: no teko file, or fewer than 14 bytes of one.
        ValueError: a budget too small for any image.

    >>> import numpy, teko
    >>> data = teko.encode(numpy.arange(10000, dtype=numpy.uint16).reshape(100, 100))
    >>> len(teko.cut(data, 1000)), len(teko.cut(data, rate=0.01))
    (998, 198)
    """
    check_budget(max_bytes, rate)
    if rate is not None:
        max_bytes = budget_of(info(data), rate)
    if max_bytes is None:
        raise TypeError("how much is to be kept: max_bytes or rate")
    if max_bytes < SMALLEST_FILE:
        raise ValueError(f"rate={rate} is too small: an image takes {SMALLEST_FILE} bytes at least")
    status, kept = _core.cut(data, min(max_bytes, sys.maxsize))
    if status != _core.OK:
        raise _problem(status)
    return bytes(memoryview(data).cast("B")[:kept])


def budget_of(found: Info, rate: float) -> int:
    """Bytes that a rate leaves of an image."""
    kind = _core.GREY16 if found.dtype.itemsize == 2 else _core.RGB8 if found.channels == 3 else _core.GREY8
    status, budget = _core.budget(kind, found.width, found.height, rate)
    if status != _core.OK:
        raise _problem(status)
    return budget


def psnr(image: npt.ArrayLike, other: npt.ArrayLike, *, bits: int | None = None) -> float:
    """Peak signal-to-noise ratio of two images in decibels: 10 log10((2^bits - 1)^2 / MSE).

    Args:
        image: an array as encode takes it.
        other: another one of the same shape and type; (h, w, 3) and (3, h, w) go together.
        bits: that make the peak, all of the type by default.

    Returns:
        Infinity where there is no difference.

    Raises:
        ImageError, ImageTypeError: arrays that are no images, or do not go together.

    >>> import numpy, teko
    >>> image = numpy.zeros((8, 8), numpy.uint8)
    >>> round(teko.psnr(image, image + 1), 2), teko.psnr(image, image)
    (48.13, inf)
    """
    pixels, others = samples_of(image), samples_of(other)
    if pixels.shape != others.shape or pixels.dtype.newbyteorder("=") != others.dtype.newbyteorder("="):
        raise ImageError(
            f"images of {pixels.dtype} of shape {pixels.shape} and of {others.dtype} of shape {others.shape} "
            "cannot be compared"
        )
    status, _, decibels, _ = _core.compare(pixels, others, check_bits(pixels, bits))
    if status != _core.OK:
        raise _problem(status)
    return decibels
