# SPDX-License-Identifier: Apache-2.0
"""Zarr 3 arrays whose chunks are teko files.

>>> import numpy, teko.zarr
>>> array = teko.zarr.create_array({}, shape=(500, 500), dtype="uint16", chunks=(250, 250), bits=12)
>>> array[:] = numpy.add.outer(numpy.arange(500), numpy.arange(500))
>>> int(array[3, 4])
7

Whoever reads such an array needs this package installed, and need not import it.
"""

from teko.zarr._cache import PrefixStats
from teko.zarr._codec import TekoCodec
from teko.zarr._create import codecs, create_array
from teko.zarr._errors import ChangedError, OverReadError, PrefixError
from teko.zarr._store import PrefixStore

__all__ = [
    "ChangedError",
    "OverReadError",
    "PrefixError",
    "PrefixStats",
    "PrefixStore",
    "TekoCodec",
    "codecs",
    "create_array",
]

# Where they are to be found, in messages and in documents.
for _name in __all__:
    if isinstance(vars()[_name], type):
        vars()[_name].__module__ = "teko.zarr"
del _name
