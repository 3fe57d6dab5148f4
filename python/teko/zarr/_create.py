# SPDX-License-Identifier: Apache-2.0
"""Arrays whose chunks are teko files, and nothing around them."""

from typing import Any, Literal

import numpy as np
import zarr

from teko.zarr._codec import TekoCodec

_OURS = ("serializer", "compressors", "compressor")


def codecs(
    *,
    bits: int | None = None,
    colour: Literal["first", "last"] | None = None,
    rate: float | None = None,
    max_bytes: int | None = None,
    on_inexact: Literal["raise", "store_raw"] = "raise",
) -> dict[str, Any]:
    """Return the arguments for zarr.create_array, or the encoding of a variable of xarray, that code with teko.

    There is no compressor behind: it would gain nothing, and keep parts of chunks from being read. Zarr puts one there
    where it is given the serializer alone.

    Args:
        bits: significant bits of a sample, all of the type by default.
        colour: "first" or "last", as TekoCodec has it.
        rate: the size of every chunk as a share of its raw size.
        max_bytes: the size of every chunk in bytes.
        on_inexact: "raise" or "store_raw", as TekoCodec has it.

    >>> import numpy, zarr, teko.zarr
    >>> image = numpy.arange(4800, dtype=numpy.uint16).reshape(60, 80)
    >>> array = zarr.create_array({}, data=image, chunks=(30, 40), **teko.zarr.codecs(bits=13))
    >>> bool((array[:] == image).all())
    True
    """
    codec = TekoCodec(bits=bits, colour=colour, rate=rate, max_bytes=max_bytes, on_inexact=on_inexact)
    return {"serializer": codec, "compressors": None}


def create_array(
    store: Any,
    *,
    shape: tuple[int, ...] | None = None,
    dtype: Any = None,
    chunks: tuple[int, ...],
    shards: Any = None,
    bits: int | None = None,
    colour: Literal["first", "last"] | None = None,
    rate: float | None = None,
    max_bytes: int | None = None,
    on_inexact: Literal["raise", "store_raw"] = "raise",
    **zarr_kwargs: Any,
) -> "zarr.Array[Any]":
    """Create an array whose chunks are teko files: zarr.create_array with codecs' arguments.

    Args:
        store: where, as zarr.create_array has it.
        shape: of the array.
        dtype: uint8, uint16 or int16.
        chunks: their shape; within shards, that of the inner chunks.
        shards: their shape, or none.
        bits: significant bits of a sample, all of the type by default.
        colour: "first" or "last", as TekoCodec has it.
        rate: the size of every chunk as a share of its raw size.
        max_bytes: the size of every chunk in bytes.
        on_inexact: "raise" or "store_raw", as TekoCodec has it.
        **zarr_kwargs: what else zarr.create_array takes; `data` instead of shape and dtype.

    Raises:
        ImageTypeError: an array of another type.
        ImageError: chunks that are no images.
        ValueError, TypeError: options that do not go together.

    >>> import numpy, teko.zarr
    >>> array = teko.zarr.create_array({}, shape=(9, 500, 500), dtype="uint16", chunks=(1, 250, 250), bits=12)
    >>> array[3] = numpy.add.outer(numpy.arange(500), numpy.arange(500))
    >>> int(array[3, 7, 42])
    49
    """
    for name in _OURS:
        if name in zarr_kwargs:
            raise TypeError(f"{name} is what teko.zarr.create_array sets; zarr.create_array takes others")
    if zarr_kwargs.get("zarr_format", 3) != 3:
        raise TypeError("TekoCodec is for Zarr 3; for Zarr 2 there is teko.numcodecs.Teko")
    ours = codecs(bits=bits, colour=colour, rate=rate, max_bytes=max_bytes, on_inexact=on_inexact)
    if zarr_kwargs.get("filters", "auto") in ("auto", None, (), []):
        # Zarr 3.1 does not judge the chunks within shards before they are written.
        _check(ours["serializer"], chunks, zarr_kwargs["data"].dtype if "data" in zarr_kwargs else dtype)
    return zarr.create_array(store, shape=shape, dtype=dtype, chunks=chunks, shards=shards, **ours, **zarr_kwargs)


def _check(codec: TekoCodec, chunks: tuple[int, ...], dtype: Any) -> None:
    native = dtype.to_native_dtype() if hasattr(dtype, "to_native_dtype") else np.dtype(dtype)
    codec.check(tuple(chunks), native)
