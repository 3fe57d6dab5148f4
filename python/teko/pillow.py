# SPDX-License-Identifier: Apache-2.0
"""Teko files in Pillow: ``import teko.pillow``, then ``Image.open("scan.tk")`` and ``image.save("scan.tk")``.

Modes L, I;16 (I;16B and I;16L are saved, too) and RGB. A file that was cut opens as an approximation;
``ImageFile.LOAD_TRUNCATED_IMAGES`` has no influence on it. ``Image.draft`` and ``Image.thumbnail`` decode at halved
sides. ``save`` takes encode's bits, max_bytes, rate and exact.

>>> import io
>>> from PIL import Image
>>> import teko.pillow
>>> file = io.BytesIO()
>>> Image.new("RGB", (90, 60), "teal").save(file, "TEKO")
>>> image = Image.open(file)
>>> image.format, image.mode, image.size, image.getpixel((0, 0))
('TEKO', 'RGB', (90, 60), (0, 128, 128))
"""

from typing import IO, Any

import numpy as np
from PIL import Image, ImageFile

from teko import _codec, _errors

_SIGNATURE = b"TK10"
_HEADER_BYTES = 10
_OPTIONS = ("bits", "max_bytes", "rate", "exact")
_RAW_MODES = {"I;16": "<u2", "I;16L": "<u2", "I;16B": ">u2"}


class TekoDecoder(ImageFile.PyDecoder):
    """What Pillow calls when the pixels are wanted."""

    _pulls_fd = True

    def decode(self, buffer: Any) -> tuple[int, int]:
        """Decode the whole file; called once."""
        assert self.fd is not None
        (reduce,) = self.args
        data = self.fd.read()
        try:
            found = _codec.info(data)
            # Pillow has judged the number of pixels on opening.
            pixels = _codec.decode(data, reduce=reduce, max_pixels=found.width * found.height)
        except _errors.DataError as error:
            raise OSError(str(error)) from error
        self.set_as_raw(pixels.astype(pixels.dtype.newbyteorder("<"), copy=False).tobytes())
        return -1, 0


class TekoImageFile(ImageFile.ImageFile):
    """A teko file that is open."""

    format = "TEKO"
    format_description = "teko"

    def _open(self) -> None:
        assert self.fp is not None
        try:
            self._found = _codec.info(self.fp.read(_HEADER_BYTES))
        except _errors.DataError as error:
            raise SyntaxError(str(error)) from error
        self._mode = "RGB" if self._found.channels == 3 else "I;16" if self._found.dtype.itemsize == 2 else "L"
        self.info["bits"] = self._found.bits
        self._take(0)

    def _take(self, reduce: int) -> None:
        shape = self._found.reduced_shape(reduce)
        self._size = shape[1], shape[0]
        self.tile = [ImageFile._Tile("teko", (0, 0, *self._size), 0, (reduce,))]

    def draft(self, mode: str | None, size: tuple[int, int] | None) -> tuple[str, tuple[int, int, float, float]] | None:
        """Halve the sides on decoding as often as the wanted size allows; the mode stays."""
        if size is None or len(self.tile) != 1:
            return None
        fits = [
            reduce
            for reduce in range(self._found.levels + 1)
            if all(side >= wanted for side, wanted in zip(self._found.reduced_shape(reduce)[1::-1], size, strict=True))
        ]
        reduce = max(fits, default=0)
        self._take(reduce)
        scale = 2.0**reduce
        return self.mode, (0, 0, self._found.width / scale, self._found.height / scale)


def _save(image: Image.Image, file: IO[bytes], filename: str | bytes) -> None:
    if image.mode not in ("L", "RGB", *_RAW_MODES):
        raise OSError(f"cannot write mode {image.mode} as teko, but L, I;16 and RGB; Image.convert makes one of them")
    options = {name: image.encoderinfo[name] for name in _OPTIONS if name in image.encoderinfo}
    if image.mode in _RAW_MODES:
        samples = np.frombuffer(image.tobytes(), _RAW_MODES[image.mode]).reshape(image.height, image.width)
    else:
        samples = np.asarray(image)
    file.write(_codec.encode(samples, **options))


def _accept(prefix: bytes) -> bool:
    return prefix.startswith(_SIGNATURE)


Image.register_decoder("teko", TekoDecoder)
Image.register_open(TekoImageFile.format, TekoImageFile, _accept)
Image.register_save(TekoImageFile.format, _save)
Image.register_extension(TekoImageFile.format, ".tk")
Image.register_mime(TekoImageFile.format, "image/x-teko")
