# SPDX-License-Identifier: Apache-2.0
"""The codec of Zarr 3 that makes a teko file of each chunk."""

import asyncio
import itertools
from dataclasses import dataclass, fields
from typing import TYPE_CHECKING, Any

import numpy as np
from zarr.abc.codec import ArrayBytesCodec

from teko._chunks import Chunks, check_type
from teko._errors import ImageError, ImageTypeError

if TYPE_CHECKING:
    from typing import Self

    from zarr.core.array_spec import ArraySpec
    from zarr.core.buffer import Buffer, NDBuffer

NAME = "teko"


def _chunk_shapes(chunk_grid: Any) -> list[tuple[int, ...]]:
    """Return the shapes of a grid's chunks; of one with several along an axis, the least and the largest."""
    if hasattr(chunk_grid, "chunk_shape"):
        return [tuple(chunk_grid.chunk_shape)]
    edges = [(axis,) if isinstance(axis, int) else tuple(axis) for axis in chunk_grid.chunk_shapes]
    return list(itertools.product(*({min(axis), max(axis)} for axis in edges)))


@dataclass(frozen=True, kw_only=True)
class TekoCodec(Chunks, ArrayBytesCodec):
    """The array-to-bytes codec `teko`: a serializer, behind which no compressor belongs.

    Chunks are images of shape (h, w), or several below each other of shape (..., h, w), of uint8, uint16 and int16; or
    in colour, of uint8. Axes of length 1 do not count. Without rate and max_bytes each comes back as it was.

    Attributes:
        bits: significant bits of a sample, all of the type by default.
        colour: which axis holds red, green and blue: "last" of (..., h, w, 3), or the "first" of (..., 3, h, w).
            Without it all planes are grey.
        rate: the size of every chunk as a share of its raw size, above 0 and up to 1.
        max_bytes: the size of every chunk in bytes, 14 at least.
        on_inexact: what becomes of a chunk that would not come back as it was: "raise", or "store_raw".
        prefix: how many bytes of each chunk are fetched by a reader that is content with approximations. No array in a
            store says this of itself. A chunk that is not whole, and has fewer, is an error all the same.

    >>> import numpy, zarr
    >>> from teko.zarr import TekoCodec
    >>> codec = TekoCodec(bits=12)
    >>> codec.to_dict()
    {'name': 'teko', 'configuration': {'bits': 12}}
    """

    prefix: int | None = None

    def __post_init__(self) -> None:
        """Refuse values that no array could make right."""
        super().__post_init__()
        if self.prefix is not None and (not isinstance(self.prefix, int) or self.prefix < 1):
            raise ValueError(f"prefix={self.prefix!r} is no number of bytes")

    @classmethod
    def from_dict(cls, data: dict[str, Any]) -> "Self":
        """Make a codec of its metadata."""
        if data.get("name") != NAME:
            raise ValueError(f"metadata of a codec {data.get('name')!r} are not those of {NAME!r}")
        configuration = data.get("configuration") or {}
        known = [field.name for field in fields(cls)]
        unknown = sorted(set(configuration) - set(known))
        if unknown:
            raise ValueError(
                f"the configuration of the codec teko has no {', '.join(unknown)}, but {', '.join(known)}; "
                "a later version of teko may know more"
            )
        return cls(**configuration)

    def to_dict(self) -> dict[str, Any]:
        """Return the metadata, with what is set."""
        configuration = self.configuration()
        return {"name": NAME, "configuration": configuration} if configuration else {"name": NAME}

    @property
    def is_fixed_size(self) -> bool:  # type: ignore[override,unused-ignore]
        """Whether all chunks have the same size: with rate or max_bytes, where they are read whole."""
        return self.has_budget and self.prefix is None

    def compute_encoded_size(self, input_byte_length: int, chunk_spec: "ArraySpec") -> int:
        """Bytes of each chunk, with rate or max_bytes."""
        size = self.size(chunk_spec.shape, chunk_spec.dtype.to_native_dtype()) if self.is_fixed_size else None
        if size is None:
            raise NotImplementedError("chunks have a fixed size with rate or max_bytes alone")
        return size

    def evolve_from_array_spec(self, array_spec: "ArraySpec") -> "Self":
        """Refuse arrays of types that cannot be coded.

        What stands in the shape may be the array's or a chunk's: nothing but its number of axes is a chunk's for sure.
        """
        self.check_samples(array_spec.dtype.to_native_dtype())
        if len(array_spec.shape) < 2:
            raise ImageError("teko codes images: arrays of two axes and more, the last of which are rows and columns")
        return self

    def validate(self, *, shape: tuple[int, ...], dtype: Any, chunk_grid: Any) -> None:
        """Refuse chunks that cannot be coded."""
        native = dtype.to_native_dtype()
        for chunk_shape in _chunk_shapes(chunk_grid):
            try:
                check_type(native)
            except ImageTypeError:
                # The array's type, of which a codec in front makes another one that was judged before.
                self.tall(chunk_shape)
            else:
                self.check(chunk_shape, native)

    def _encode_sync(self, chunk_array: "NDBuffer", chunk_spec: "ArraySpec") -> "Buffer":
        if self.prefix is not None:
            raise ValueError("chunks that are read by their first bytes cannot be written")
        data = self.encode_chunk(chunk_array.as_numpy_array())
        return chunk_spec.prototype.buffer.from_bytes(data)

    def _decode_sync(self, chunk_bytes: "Buffer", chunk_spec: "ArraySpec") -> "NDBuffer":
        data = np.ascontiguousarray(chunk_bytes.as_numpy_array())
        dtype = chunk_spec.dtype.to_native_dtype()
        chunk = self.decode_chunk(data.data, chunk_spec.shape, dtype, prefix=self.prefix)
        return chunk_spec.prototype.nd_buffer.from_numpy_array(chunk)

    async def _encode_single(self, chunk_array: "NDBuffer", chunk_spec: "ArraySpec") -> "Buffer":
        return await asyncio.to_thread(self._encode_sync, chunk_array, chunk_spec)

    async def _decode_single(self, chunk_bytes: "Buffer", chunk_spec: "ArraySpec") -> "NDBuffer":
        return await asyncio.to_thread(self._decode_sync, chunk_bytes, chunk_spec)
