# SPDX-License-Identifier: Apache-2.0
"""Chunks of arrays as teko files: what the codecs for Zarr 3 and Zarr 2 have in common."""

import math
from dataclasses import dataclass, fields
from typing import TYPE_CHECKING, Any, Literal

import numpy as np

from teko._arrays import LONGEST_SIDE, Array, check_bits
from teko._codec import SMALLEST_FILE, Info, budget_of, check_budget, decode, encode, info
from teko._errors import DataError, ImageError, ImageTypeError, IncompleteError, InexactError

if TYPE_CHECKING:
    from typing_extensions import Buffer

RAW_MARK = b"TKRW"
"""What a chunk starts with that holds its samples as they are."""

CURE_OF_CUT = "write or copy it again"

SHORTEST_SIDE = 4
ON_INEXACT = ("raise", "store_raw")

# Of the axis of the colours, from the end.
_PLACES = {"last": -1, "first": -3}

_CURE_BY_DECODING = f"{CURE_OF_CUT}; teko.decode gives an approximation of what is there"

_CAST = "zarr's filters scale_offset and cast_value in front make integers of them, where zarr has them; else"
_CURES = {
    "b": "array.astype('uint8') makes 0 and 1 of them",
    "f": f"{_CAST} scale them first: for values from 0 to 1 by numpy.rint(array * 65535).astype('uint16')",
    "c": "store their real and imaginary parts, scaled to integers, as two arrays",
    "i": f"{_CAST} array.astype('int16') keeps them where all are from -32768 to 32767",
    "u": f"{_CAST} array.astype('uint16') keeps them where all are from 0 to 65535",
}


def check_type(dtype: "np.dtype[Any]") -> None:
    """Refuse samples that no chunk can hold."""
    if dtype.kind in "ui" and dtype.itemsize <= 2 and dtype != np.int8:
        return
    cure = _CURES.get(dtype.kind, "only numbers can be coded")
    if dtype == np.int8:
        cure = "array.view('uint8') ^ 128 makes uint8 of them, and the same brings them back"
    raise ImageTypeError(f"teko codes arrays of uint8, uint16 and int16, not of {dtype}; {cure}")


def _has_colours(axes: list[int], colour: str) -> bool:
    return len(axes) >= 3 and axes[_PLACES[colour]] == 3


@dataclass(frozen=True)
class Tall:
    """The one image that a chunk is coded as.

    Attributes:
        planes: how many of the chunk's planes lie below each other.
        rows: of one plane.
        width: samples, or pixels, in a row.
        channels: 1 for grey, 3 for RGB.
    """

    planes: int
    rows: int
    width: int
    channels: int

    @property
    def shape(self) -> tuple[int, ...]:
        """Shape of the image."""
        sides = (self.planes * self.rows, self.width)
        return sides if self.channels == 1 else (*sides, self.channels)


@dataclass(frozen=True, kw_only=True)
class Chunks:
    """How chunks are coded.

    Attributes:
        bits: significant bits of a sample, all of the type by default.
        colour: which axis holds red, green and blue: "last" of (..., h, w, 3), or the "first" of (..., 3, h, w).
            Without it all planes are grey.
        rate: the size of every chunk as a share of its raw size, above 0 and up to 1.
        max_bytes: the size of every chunk in bytes, 14 at least.
        on_inexact: what becomes of a chunk that would not come back as it was: "raise", or "store_raw".
    """

    bits: int | None = None
    colour: Literal["first", "last"] | None = None
    rate: float | None = None
    max_bytes: int | None = None
    on_inexact: Literal["raise", "store_raw"] = "raise"

    def __post_init__(self) -> None:
        """Refuse values that no array could make right."""
        for name in ("bits", "max_bytes"):
            value = getattr(self, name)
            if value is not None and (not isinstance(value, int) or isinstance(value, bool)):
                raise TypeError(f"{name} is a whole number, not {value!r}")
        if self.bits is not None and not 1 <= self.bits <= 16:
            raise ImageError(f"bits={self.bits} is out of range: samples have 1 to 16")
        if self.colour is not None and self.colour not in _PLACES:
            raise ValueError(f"colour={self.colour!r} is not one of 'first' and 'last'; for grey leave it out")
        if self.on_inexact not in ON_INEXACT:
            raise ValueError(f"on_inexact={self.on_inexact!r} is not one of 'raise' and 'store_raw'")
        self._check_budget()

    def _check_budget(self) -> None:
        if self.rate is not None and (isinstance(self.rate, bool) or not isinstance(self.rate, (int, float))):
            raise TypeError(f"rate is a number, not {self.rate!r}")
        check_budget(self.max_bytes, self.rate, of="a chunk")
        if self.has_budget and self.on_inexact != "raise":
            raise ValueError("on_inexact is for chunks that are exact, which rate and max_bytes do not promise")

    @property
    def has_budget(self) -> bool:
        """Whether all chunks have the same size, and are approximations where that does not suffice."""
        return self.rate is not None or self.max_bytes is not None

    def configuration(self) -> dict[str, Any]:
        """Return what is set, by name."""
        return {field.name: value for field in fields(self) if (value := getattr(self, field.name)) != field.default}

    def check_samples(self, dtype: "np.dtype[Any]") -> None:
        """Refuse an array of another type than uint8, uint16 and int16, and what does not go with the type."""
        check_type(dtype)
        if self.colour is not None and dtype.itemsize != 1:
            raise ImageTypeError(
                f"colour={self.colour!r} is for arrays of uint8, not of {dtype}; leave it out, and the channels are "
                "planes of grey"
            )
        check_bits(np.empty((0, 0), dtype), self.bits)

    def tall(self, shape: tuple[int, ...]) -> Tall:
        """Return the image that chunks of a shape are coded as; axes of length 1 do not count."""
        axes = [side for side in shape if side != 1]
        channels = 1
        if self.colour is not None:
            if not _has_colours(axes, self.colour):
                raise ImageError(self._wrong_colour(shape))
            del axes[_PLACES[self.colour]]
            channels = 3
        if len(axes) < 2 or min(axes[-2:]) < SHORTEST_SIDE:
            raise ImageError(self._too_small(shape))
        found = Tall(math.prod(axes[:-2]), axes[-2], axes[-1], channels)
        if max(found.shape) > LONGEST_SIDE or math.prod(found.shape[:2]) > 2**31 - 1:
            raise ImageError(
                f"a chunk of shape {shape} is too large: it is coded as an image of {found.shape[0]} rows and "
                f"{found.width} columns, of which there may be {LONGEST_SIDE} each, and 2^31 - 1 samples a channel; "
                "smaller chunks are not"
            )
        return found

    def _wrong_colour(self, shape: tuple[int, ...]) -> str:
        wanted = "(..., h, w, 3)" if self.colour == "last" else "(..., 3, h, w)"
        other = "first" if self.colour == "last" else "last"
        cure = "the whole axis of the colours has to be in each chunk; for grey leave colour out"
        if _has_colours([side for side in shape if side != 1], other):
            cure = f"colour={other!r} fits"
        return f"colour={self.colour!r} is for chunks of shape {wanted}, not {shape}; {cure}"

    def _too_small(self, shape: tuple[int, ...]) -> str:
        text = f"a chunk of shape {shape} is no image of shape (..., h, w) with sides of {SHORTEST_SIDE} at least; "
        if self.colour is None and shape[-1:] == (3,):
            return text + "colour='last' codes its last axis as red, green and blue"
        return text + "choose chunks that are larger along the last axes, of which those of length 1 do not count"

    def size(self, shape: tuple[int, ...], dtype: "np.dtype[Any]") -> int | None:
        """Return the bytes that every chunk of a shape takes, or None where they differ."""
        if not self.has_budget or self.max_bytes is not None:
            return self.max_bytes
        image = self.tall(shape)
        assert self.rate is not None
        found = budget_of(Info(image.width, image.shape[0], image.channels, dtype, 0, 0), self.rate)
        if found < SMALLEST_FILE:
            raise ValueError(
                f"rate={self.rate} is too small: of a chunk of shape {shape} it leaves {found} bytes, and a chunk "
                f"takes {SMALLEST_FILE} at least"
            )
        return found

    def check(self, shape: tuple[int, ...], dtype: "np.dtype[Any]") -> None:
        """Refuse chunks that cannot be coded, and say what can."""
        self.check_samples(dtype)
        self.tall(shape)
        self.size(shape, dtype)

    def encode_chunk(self, chunk: Array) -> bytes:
        """Encode a chunk of any strides and byte order."""
        self.check_samples(chunk.dtype)
        pixels = self._fold(chunk)
        size = self.size(chunk.shape, chunk.dtype)
        if size is not None:
            return encode(pixels, bits=self.bits, max_bytes=size, exact=False).ljust(size, b"\0")
        try:
            return encode(pixels, bits=self.bits)
        except InexactError as error:
            if self.on_inexact == "store_raw":
                return RAW_MARK + chunk.astype(chunk.dtype.newbyteorder("<"), copy=False).tobytes()
            raise InexactError(
                f"a chunk of shape {chunk.shape} would not come back as it is, which happens to images that were made "
                "for it; on_inexact='store_raw' stores such a chunk as it is"
            ) from error

    def _fold(self, chunk: Array) -> Array:
        """Lay the planes of a chunk below each other: a view where the strides allow."""
        image = self.tall(chunk.shape)
        if self.colour == "first":
            planar = chunk.reshape(image.planes, 3, image.rows, image.width)
            return np.moveaxis(planar, 1, -1).reshape(image.shape)
        return chunk.reshape(image.shape)

    def decode_chunk(
        self, data: "Buffer", shape: tuple[int, ...], dtype: "np.dtype[Any]", *, prefix: int | None = None
    ) -> Array:
        """Decode a chunk.

        Args:
            data: the chunk.
            shape: of the chunk.
            dtype: of the chunk.
            prefix: how many bytes of the chunk were asked for. Without it, or with fewer bytes than it, a chunk that is
                not whole is an error; else it is an approximation.
        """
        size = memoryview(data).nbytes
        cut = prefix is not None and size >= prefix
        if bytes(memoryview(data).cast("B")[: len(RAW_MARK)]) == RAW_MARK:
            return _raw_chunk(data, shape, dtype)
        image = self.tall(shape)
        _check_match(data, image, dtype)
        wanted = None if cut else self.size(shape, dtype)
        if wanted is not None and size < wanted:
            raise IncompleteError(f"a chunk was cut: it has {size} of its {wanted} bytes; {_CURE_BY_DECODING}")
        chunk, pixels = self._target(image, shape, dtype)
        complete = not cut and wanted is None
        try:
            decode(data, out=pixels, complete=complete, max_pixels=image.shape[0] * image.width)
        except IncompleteError as error:
            raise IncompleteError(
                f"a chunk was cut: it ends after {size} bytes, before it is complete; {_CURE_BY_DECODING}"
            ) from error
        return chunk

    def _target(self, image: Tall, shape: tuple[int, ...], dtype: "np.dtype[Any]") -> tuple[Array, Array]:
        """Make room for a chunk, and return it with a view of it as one image."""
        if self.colour != "first":
            chunk = np.empty(shape, dtype)
            return chunk, chunk.reshape(image.shape)
        planes = np.empty((3, image.planes * image.rows, image.width), dtype)
        chunk = np.moveaxis(planes.reshape(3, image.planes, image.rows, image.width), 0, 1)
        return chunk.reshape(shape), np.moveaxis(planes, 0, -1)


def info_of_chunk(data: "Buffer") -> Info:
    """Describe a chunk by its file."""
    size = memoryview(data).nbytes
    if size < SMALLEST_FILE:
        raise IncompleteError(
            f"a chunk was cut: of its file there are {size} bytes, and {SMALLEST_FILE} are the least; {CURE_OF_CUT}"
        )
    return info(data)


def _check_match(data: "Buffer", image: Tall, dtype: "np.dtype[Any]") -> None:
    """Refuse a file of another image than the chunk's."""
    found = info_of_chunk(data)
    if found.shape != image.shape or found.dtype.itemsize != dtype.itemsize:
        raise DataError(
            f"a chunk holds an image of {found.dtype} of shape {found.shape}, and the array's metadata ask for one of "
            f"{dtype} of shape {image.shape}"
        )


def _raw_chunk(data: "Buffer", shape: tuple[int, ...], dtype: "np.dtype[Any]") -> Array:
    samples = memoryview(data).cast("B")[len(RAW_MARK) :]
    wanted = math.prod(shape) * dtype.itemsize
    if samples.nbytes != wanted:
        raise IncompleteError(
            f"a chunk of samples as they are has {len(samples) + len(RAW_MARK)} of its {wanted + len(RAW_MARK)} bytes; "
            f"a part of it is no approximation of the whole: read it without a prefix; if it was cut, {CURE_OF_CUT}"
        )
    return np.frombuffer(samples, dtype.newbyteorder("<")).reshape(shape).astype(dtype)
