# SPDX-License-Identifier: Apache-2.0
"""Runs of bytes in the objects of a store, and the requests that bring them."""

from collections.abc import Iterable
from dataclasses import dataclass

from zarr.abc.store import ByteRequest, OffsetByteRequest, RangeByteRequest, SuffixByteRequest

from teko._chunks import RAW_MARK

AGAIN = 4  # bytes that are asked for again with those that follow them
LARGEST_REQUEST = 2**24


@dataclass(frozen=True)
class Piece:
    """A run of bytes in an object, of which the first ones are kept.

    Attributes:
        key: of the object.
        start: where it begins; below 0 counts from the end, and all of it is read then.
        size: bytes of it, or None if it takes the whole object, of a size that nobody has told.
        is_index: whether it says where others are.
    """

    key: str
    start: int = 0
    size: int | None = None
    is_index: bool = False

    def request(self, known: int, wanted: int | None) -> ByteRequest | None:
        """Return what to ask for to have the first bytes, of which so many are known; None is the whole object."""
        if self.start < 0:
            return SuffixByteRequest(-self.start)
        begin = self.start + max(0, known - AGAIN)
        if self.size is not None:
            return RangeByteRequest(begin, self.start + (self.size if wanted is None else min(wanted, self.size)))
        if wanted is not None:
            return RangeByteRequest(begin, wanted)
        return OffsetByteRequest(begin) if begin else None

    def may_keep(self, entry: "Entry") -> bool:
        """Tell whether an entry may be kept: an index that is shorter than its size is none."""
        return entry.complete or not self.is_index


@dataclass(frozen=True)
class Entry:
    """The first bytes of a piece, and whether there are no more."""

    data: bytes
    complete: bool

    @property
    def is_raw(self) -> bool:
        """Whether it is a chunk of samples as they are, of which the first ones are no approximation."""
        return self.data.startswith(RAW_MARK)

    def suffices(self, wanted: int | None) -> bool:
        """Tell whether a reader who wants so many bytes, or all of them, needs no more."""
        return self.complete or (wanted is not None and len(self.data) >= wanted and not self.is_raw)

    def first(self, wanted: int | None) -> bytes:
        """Return what such a reader gets."""
        return self.data if self.is_raw else self.data[:wanted]


def size_of(request: ByteRequest | None) -> int | None:
    """Return how many bytes a request asks for, None if that is all there are behind its start."""
    size: int | None = None
    if isinstance(request, RangeByteRequest):
        size = request.end - request.start
    elif isinstance(request, SuffixByteRequest):
        size = request.suffix
    return size


def range_of(data: bytes | None, request: ByteRequest | None) -> bytes | None:
    """Return what a request gets of an object; None of one that does not exist."""
    if data is None or request is None:
        return data
    if isinstance(request, RangeByteRequest):
        return data[request.start : request.end]
    if isinstance(request, OffsetByteRequest):
        return data[request.offset :]
    if isinstance(request, SuffixByteRequest):
        return data[max(0, len(data) - request.suffix) :]
    raise ValueError(f"Unexpected byte_range, got {request}.")


def merged(ranges: Iterable[RangeByteRequest], gap: int) -> dict[RangeByteRequest, RangeByteRequest]:
    """Return for each range the request that brings it, together with those no more than a gap away."""
    groups: list[list[RangeByteRequest]] = []
    end = 0
    for span in sorted(ranges, key=lambda span: span.start):
        if groups and span.start <= end + gap and span.end - groups[-1][0].start <= LARGEST_REQUEST:
            groups[-1].append(span)
            end = max(end, span.end)
        else:
            groups.append([span])
            end = span.end
    requests = [RangeByteRequest(group[0].start, max(span.end for span in group)) for group in groups]
    return {span: request for group, request in zip(groups, requests, strict=True) for span in group}
