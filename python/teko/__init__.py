# SPDX-License-Identifier: Apache-2.0
"""Still images for NumPy: lossless when the whole file is kept, useful when any part of it is cut away.

>>> import numpy, teko
>>> image = numpy.add.outer(numpy.arange(90), numpy.arange(120)).astype(numpy.uint8)
>>> data = teko.encode(image)
>>> bool((teko.decode(data) == image).all())
True
>>> coarse = teko.decode(data[: len(data) // 4])  # any first bytes are an image, too
>>> coarse.shape
(90, 120)

Calls on different threads run at the same time: they hold no lock of the interpreter while they code.
"""

from teko import _core
from teko._codec import Info, cut, decode, encode, info, psnr
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

__all__ = [
    "DamageWarning",
    "DataError",
    "Error",
    "ImageError",
    "ImageTypeError",
    "IncompleteError",
    "InexactError",
    "Info",
    "LimitError",
    "__version__",
    "cut",
    "decode",
    "encode",
    "info",
    "psnr",
]

_version = _core.version()
__version__ = f"{_version >> 16}.{_version >> 8 & 255}.{_version & 255}"

# Where they are to be found, in messages and in documents.
for _name in __all__:
    if isinstance(vars()[_name], type):
        vars()[_name].__module__ = "teko"
del _name, _version
