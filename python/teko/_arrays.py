# SPDX-License-Identifier: Apache-2.0
"""Which arrays are images, and as what the codec sees them."""

from typing import Any, TypeAlias

import numpy as np
import numpy.typing as npt

from teko._errors import ImageError, ImageTypeError

Array: TypeAlias = npt.NDArray[Any]

LONGEST_SIDE = 65535

_CURES = {
    "b": "array.astype(numpy.uint8) makes 0 and 1 of them",
    "f": "scale them to integers first: for values from 0 to 1 by numpy.rint(array * 65535).astype(numpy.uint16)",
    "c": "code their real and imaginary parts, scaled to integers, as two images",
}


def _check_type(dtype: np.dtype[Any]) -> None:
    if dtype.kind in "ui" and dtype.itemsize <= 2 and dtype != np.int8:
        return
    if dtype == np.int8:
        cure = "array.view(numpy.uint8) ^ 128 makes uint8 of them, and the same brings them back"
    elif dtype.kind in "ui":
        cure = "where all are from 0 to 65535, array.astype(numpy.uint16) keeps them"
    else:
        cure = _CURES.get(dtype.kind, "only numbers can be coded")
    raise ImageTypeError(f"samples of type {dtype} cannot be coded, but uint8, uint16 and int16 can; {cure}")


def _check_channels(array: Array) -> None:
    """Refuse what is not (h, w), (h, w, 3) or (3, h, w)."""
    found = f"an array of shape {array.shape} is no image of shape (h, w), (h, w, 3) or (3, h, w)"
    if array.ndim == 3 and 3 in (array.shape[-1], array.shape[0]):
        if array.dtype.itemsize != 1:
            raise ImageError(
                f"RGB of type {array.dtype} cannot be coded, but of uint8; "
                "code each channel as a grey image of its own, such as array[..., 0]"
            )
        return
    if array.ndim == 2:
        return
    if array.ndim == 3 and array.shape[-1] == 1:
        cure = "array[..., 0] has the shape (h, w)"
    elif array.ndim == 3 and array.shape[-1] == 4:
        cure = "code array[..., :3], and array[..., 3] as a grey image of its own"
    elif array.ndim == 3 and array.shape[-1] == 2:
        cure = "code array[..., 0] and array[..., 1] as two grey images"
    elif array.ndim >= 3 and array.shape[0] == 1:
        cure = "array[0] has an axis less"
    elif array.ndim >= 3:
        cure = "code each plane as an image of its own, such as array[0]"
    else:
        cure = "an image has rows and columns; numpy.reshape gives it two axes"
    raise ImageError(f"{found}; {cure}")


def _check_size(pixels: Array) -> None:
    """Refuse images that are larger than any file's, before anything is copied."""
    height, width = pixels.shape[:2]
    if max(height, width) > LONGEST_SIDE or height * width > 2**31 - 1:
        raise ImageError(
            f"an image of {height} rows and {width} columns is too large: a file holds {LONGEST_SIDE} each, and "
            "2^31 - 1 samples a channel; code it in tiles"
        )


def pixels_of(array: Array) -> Array:
    """Return a view of an image of which the last axis is that of the colours, if there are any.

    An array of shape (3, h, w) is taken for planes of colour unless its last axis is of 3, too.
    """
    _check_type(array.dtype)
    _check_channels(array)
    pixels = np.moveaxis(array, 0, -1) if array.ndim == 3 and array.shape[-1] != 3 else array
    _check_size(pixels)
    return pixels


def repeats(pixels: Array) -> bool:
    """Whether samples stand for several pixels or channels, as numpy.broadcast_to makes them."""
    axes = zip(pixels.strides, pixels.shape, strict=True)
    return pixels.size > 0 and any(stride == 0 and side > 1 for stride, side in axes)


def samples_of(image: npt.ArrayLike) -> Array:
    """Return the pixels of anything that NumPy takes for an array; a copy only where samples repeat in memory."""
    pixels = pixels_of(np.asarray(image))
    return np.ascontiguousarray(pixels) if repeats(pixels) else pixels


def check_sides(pixels: Array) -> None:
    """Refuse images one sample wide or high, which have no place in a file."""
    height, width = pixels.shape[:2]
    if 1 in (height, width):
        raise ImageError(
            f"an image of {height} rows and {width} columns cannot be coded: both have to be 2 at least, and 4 to come "
            "back as they were; numpy.pad makes it larger"
        )


def full_bits(pixels: Array) -> int:
    """Bits of a sample's type."""
    return 8 * pixels.dtype.itemsize


def check_bits(pixels: Array, bits: int | None) -> int:
    """Return the significant bits, all of the type by default."""
    most = full_bits(pixels)
    if bits is None:
        return most
    if pixels.dtype.kind == "i" and bits != most:
        raise ImageError(f"bits={bits} is not for signed samples, of which all 16 bits are significant")
    if not 1 <= bits <= most:
        raise ImageError(f"bits={bits} is out of range: samples of {pixels.dtype} have 1 to {most}")
    return bits
