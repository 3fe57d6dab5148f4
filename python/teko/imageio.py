# SPDX-License-Identifier: Apache-2.0
"""Teko files in imageio: ``import teko.imageio``, then ``imageio.v3.imread("scan.tk")`` and ``imwrite``.

``imread`` takes decode's reduce, complete, signed and max_pixels; ``imwrite`` takes encode's bits, max_bytes, rate and
exact. A file holds one image.

>>> import imageio.v3 as iio, numpy
>>> import teko.imageio
>>> data = iio.imwrite("<bytes>", numpy.full((60, 90), 1000, numpy.uint16), extension=".tk", bits=12)
>>> iio.imread(data, extension=".tk").shape, iio.imread(data, extension=".tk", reduce=1).shape
((60, 90), (30, 45))
>>> iio.immeta(data, extension=".tk")["bits"]
12
"""

from collections.abc import Iterator
from types import EllipsisType
from typing import Any, TypeAlias

import numpy as np
import numpy.typing as npt
from imageio.config import known_extensions, known_plugins
from imageio.config.extensions import FileExtension, extension_list
from imageio.config.plugins import PluginConfig
from imageio.core.request import URI_BYTES, InitializationError, IOMode, Request
from imageio.core.v3_plugin_api import ImageProperties, PluginV3

from teko import _codec, _errors
from teko._arrays import Array

Index: TypeAlias = int | EllipsisType | None

_HEADER_BYTES = 10


class TekoPlugin(PluginV3):
    """A teko file that imageio has opened."""

    def __init__(self, request: Request) -> None:
        super().__init__(request)
        if request.mode.io_mode == IOMode.write:
            if request.extension != ".tk":
                raise InitializationError("files are written as teko where their names end in .tk")
            return
        try:
            self._found = _codec.info(request.get_file().read(_HEADER_BYTES))
        except _errors.DataError as error:
            raise InitializationError(str(error)) from error
        request.get_file().seek(0)

    def read(self, *, index: Index = None, **options: Any) -> Array:
        """Decode the image.

        Args:
            index: None or 0; ... for a batch of one.
            options: reduce, complete, signed and max_pixels of teko.decode.
        """
        self._check(index)
        file = self._request.get_file()
        file.seek(0)
        image = _codec.decode(file.read(), **options)
        return image[np.newaxis] if index is ... else image

    def write(self, ndimage: npt.ArrayLike | list[npt.ArrayLike], **options: Any) -> bytes | None:
        """Encode an image.

        Args:
            ndimage: an array as teko.encode takes it.
            options: bits, max_bytes, rate and exact of teko.encode.
        """
        if isinstance(ndimage, list):
            if len(ndimage) != 1:
                raise ValueError(f"a teko file holds one image, and these are {len(ndimage)}")
            ndimage = ndimage[0]
        # Before the file is opened, which empties it: a refusal leaves what is there.
        data = _codec.encode(ndimage, **options)
        file = self._request.get_file()
        file.write(data)
        if self._request._uri_type == URI_BYTES:
            file.seek(0)
            written: bytes = file.read()
            return written
        return None

    def iter(self, **options: Any) -> Iterator[Array]:
        """Yield the one image; options are those of read."""
        yield self.read(index=0, **options)

    def properties(self, index: Index = None) -> ImageProperties:
        """Shape and type of the image."""
        self._check(index)
        is_batch = index is ...
        shape = (1, *self._found.shape) if is_batch else self._found.shape
        return ImageProperties(shape, self._found.dtype, n_images=1 if is_batch else None, is_batch=is_batch)

    def metadata(self, index: Index = None, exclude_applied: bool = True) -> dict[str, Any]:
        """Significant bits and levels."""
        self._check(index)
        return {"bits": self._found.bits, "levels": self._found.levels}

    def _check(self, index: Index) -> None:
        if index not in (None, 0, ...):
            raise ValueError(f"index={index} is out of range: a teko file holds one image")


def _register() -> None:
    known_plugins["teko"] = PluginConfig("teko", "TekoPlugin", "teko.imageio")
    if ".tk" not in known_extensions:
        extension = FileExtension(extension=".tk", priority=["teko"], name="teko")
        extension_list.append(extension)
        known_extensions[".tk"] = [extension]


_register()
