# SPDX-License-Identifier: Apache-2.0
"""How many bytes a reader wants of each chunk."""

import math
from dataclasses import dataclass
from typing import Self

from teko._codec import SMALLEST_FILE, check_rate
from teko.zarr._errors import PrefixError
from teko.zarr._layout import Layout

_WORD = 4
_HEADER = SMALLEST_FILE - _WORD  # bytes of a file before its words


@dataclass(frozen=True)
class Budget:
    """What is read of each chunk, or inner chunk of a shard: all of it if neither is given.

    Attributes:
        rate: a share of the raw size.
        bytes_per_chunk: so many bytes: those of the header, and words.
    """

    rate: float | None
    bytes_per_chunk: int | None

    @classmethod
    def of(cls, rate: float | None, bytes_per_chunk: int | None) -> Self:
        """Make one of what a caller gives; raise TypeError or ValueError for what cannot be."""
        if rate is not None and bytes_per_chunk is not None:
            raise TypeError("rate and bytes_per_chunk are two ways to say the same: give one of them")
        check_rate(rate)
        if bytes_per_chunk is None:
            return cls(rate, None)
        if bytes_per_chunk < SMALLEST_FILE:
            raise ValueError(
                f"bytes_per_chunk={bytes_per_chunk} is too small: a chunk takes {SMALLEST_FILE} bytes at least"
            )
        return cls(None, bytes_per_chunk - (bytes_per_chunk - _HEADER) % _WORD)

    @property
    def cuts(self) -> bool:
        """Whether chunks are read in part."""
        return self.rate is not None or self.bytes_per_chunk is not None

    def problem(self, layout: Layout) -> str:
        """Return why the chunks of an array cannot be read so, and the cure; nothing if they can."""
        if not layout.problem and layout.raw is None and self.rate is not None:
            return "its chunks have no one size, of which there could be a share: give bytes_per_chunk"
        return layout.problem

    def check(self, layout: Layout, path: str) -> None:
        """Raise PrefixError for an array that is ours and cannot be read so."""
        problem = self.problem(layout)
        if self.cuts and layout.ours and problem:
            raise PrefixError(f"/{path} cannot be read by its first bytes: {problem}")

    def wanted(self, layout: Layout) -> int | None:
        """Return how many bytes are read of each chunk of an array without a problem, None for all of them."""
        if self.rate is None or layout.raw is None:
            return self.bytes_per_chunk
        return _HEADER + _WORD * max(1, math.ceil(math.floor(self.rate * layout.raw) / _WORD))
