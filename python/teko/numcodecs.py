# SPDX-License-Identifier: Apache-2.0
"""The codec of numcodecs, for arrays of Zarr 2: ``zarr.create_array(..., zarr_format=2, compressors=Teko())``.

>>> import numpy, zarr
>>> from teko.numcodecs import Teko
>>> image = numpy.arange(4800, dtype=numpy.int16).reshape(60, 80)
>>> array = zarr.create_array({}, data=image, chunks=(30, 40), zarr_format=2, compressors=Teko(dtype="<i2"))
>>> bool((array[:] == image).all())
True
"""

from typing import TYPE_CHECKING, Any, Literal

import numpy as np
from numcodecs.abc import Codec
from numcodecs.compat import ensure_contiguous_ndarray, ndarray_copy

from teko._arrays import Array
from teko._chunks import CURE_OF_CUT, RAW_MARK, Chunks, info_of_chunk
from teko._errors import ImageError, ImageTypeError, IncompleteError

if TYPE_CHECKING:
    from typing_extensions import Buffer


class Teko(Codec):  # type: ignore[misc,unused-ignore]
    """Chunks as teko files.

    A Zarr 2 codec is told nothing of the chunk that it decodes: what the file does not say stands in the
    configuration.

    Attributes:
        bits: significant bits of a sample, all of the type by default.
        colour: which axis holds red, green and blue: "last" of (..., h, w, 3), or the "first" of (3, h, w).
        rate: the size of every chunk as a share of its raw size, above 0 and up to 1.
        max_bytes: the size of every chunk in bytes, 14 at least.
        on_inexact: what becomes of a chunk that would not come back as it was: "raise", or "store_raw".
        dtype: of the samples, such as "<i2" or ">u2"; without it "|u1" or "<u2".
    """

    codec_id = "teko"

    def __init__(
        self,
        bits: int | None = None,
        colour: Literal["first", "last"] | None = None,
        rate: float | None = None,
        max_bytes: int | None = None,
        on_inexact: Literal["raise", "store_raw"] = "raise",
        dtype: Any = None,
    ) -> None:
        """Set how chunks are coded."""
        self._chunks = Chunks(bits=bits, colour=colour, rate=rate, max_bytes=max_bytes, on_inexact=on_inexact)
        self.dtype = None if dtype is None else np.dtype(dtype).str
        if dtype is not None:
            self._chunks.check_samples(np.dtype(dtype))

    def get_config(self) -> dict[str, Any]:
        """Return the metadata, with what is set."""
        dtype = {} if self.dtype is None else {"dtype": self.dtype}
        return {"id": self.codec_id, **self._chunks.configuration(), **dtype}

    def __repr__(self) -> str:
        """Return the call that makes it."""
        options = [f"{name}={value!r}" for name, value in self.get_config().items() if name != "id"]
        return f"Teko({', '.join(options)})"

    def encode(self, buf: Any) -> bytes:
        """Encode a chunk."""
        chunk = np.asanyarray(buf)
        self._check_type(chunk.dtype)
        return self._chunks.encode_chunk(self._as_image(chunk))

    def _check_type(self, dtype: "np.dtype[Any]") -> None:
        self._chunks.check_samples(dtype)
        if dtype.str != (self.dtype or dtype.newbyteorder("<").str) or (self.dtype is None and dtype.kind == "i"):
            raise ImageTypeError(
                f"chunks of {dtype.str!r} need Teko(dtype={dtype.str!r}): the file does not tell what reads it"
            )

    def _as_image(self, chunk: Array) -> Array:
        """Return a chunk with its axes in the order of its samples in memory."""
        if self._chunks.colour == "first" and chunk.ndim > 3 and self._chunks.tall(chunk.shape).planes > 1:
            raise ImageError(
                f"a chunk of shape {chunk.shape} has several planes of each colour, which Zarr 2 could not put back; "
                "choose chunks of one, or colour='last'"
            )
        if chunk.flags.c_contiguous or not chunk.flags.f_contiguous:
            return chunk
        if sum(side != 1 for side in chunk.shape) > 2:
            raise ImageError(f"a chunk of shape {chunk.shape} in Fortran's order cannot be coded; choose order='C'")
        return chunk.T

    def decode(self, buf: "Buffer", out: Any = None) -> Any:
        """Decode a chunk to samples in the order of memory."""
        data = ensure_contiguous_ndarray(buf).view(np.uint8)
        is_raw = bytes(data[: len(RAW_MARK)]) == RAW_MARK
        chunk = self._raw(data) if is_raw else self._decoded(data)
        return chunk if out is None else ndarray_copy(chunk, out)

    def _decoded(self, data: Array) -> Array:
        found = info_of_chunk(data.data)
        dtype = np.dtype(self.dtype or found.dtype.newbyteorder("<"))
        shape = found.shape
        if found.channels == 3 and self._chunks.colour == "first":
            shape = (3, *shape[:2])
        return self._chunks.decode_chunk(data.data, shape, dtype)

    def _raw(self, data: Array) -> Array:
        """Return samples as they are, in little-endian order in the file, in the array's order."""
        samples: Array = data[len(RAW_MARK) :]
        if self.dtype is None:
            return samples
        dtype = np.dtype(self.dtype)
        if samples.nbytes % dtype.itemsize:
            raise IncompleteError(
                f"a chunk was cut: {data.nbytes} bytes do not end with a sample of {dtype}; {CURE_OF_CUT}"
            )
        little: Array = samples.view(dtype.newbyteorder("<"))
        return little.astype(dtype)


__all__ = ["Teko"]
