# SPDX-License-Identifier: Apache-2.0
"""The first bytes of inner chunks, and shards that are made of them."""

from collections.abc import Sequence
from dataclasses import dataclass

from zarr.abc.store import ByteRequest, RangeByteRequest

from teko.zarr._layout import EMPTY, Shard, parsed_index
from teko.zarr._origin import Origin
from teko.zarr._pieces import Entry, Piece, range_of


@dataclass(frozen=True)
class ShardReader:
    """A shard as it would be with the first bytes of each inner chunk; reads give None if there is no shard.

    Attributes:
        origin: where it is.
        key: its key.
        shard: how it is divided.
        wanted: bytes of each inner chunk, or None for all of them.
        gap: most bytes between inner chunks that one request takes.
    """

    origin: Origin
    key: str
    shard: Shard
    wanted: int | None
    gap: int

    async def get(self, request: ByteRequest | None) -> bytes | None:
        """Read the index, an inner chunk, another range as it is stored, or all: a smaller shard."""
        if request == self.shard.index(self.key).request(0, None):
            return await self._index()
        if isinstance(request, RangeByteRequest):
            (data,) = await self.get_ranges([request])
            return data
        return range_of(await self._whole(), request)

    async def get_ranges(self, requests: Sequence[RangeByteRequest]) -> list[bytes | None]:
        """Read ranges: those that are inner chunks are cut, others not."""
        index = await self._index()
        if index is None:
            return [None] * len(requests)
        inner = parsed_index(self.shard, index).spans
        found: dict[RangeByteRequest, bytes | None] = {}
        for request in requests:
            if (request.start, request.end) not in inner:
                found[request] = await self.origin.ask(self.key, request)
        cut = [request for request in requests if request not in found]
        pieces = [Piece(self.key, request.start, request.end - request.start) for request in cut]
        found.update(zip(cut, await self._inner(pieces), strict=True))
        return [found[request] for request in requests]

    def _kept(self) -> bytes | None:
        """Return the shard if it was read whole, and is in the cache."""
        kept = self.origin.shared.peek(Piece(self.key))
        return kept.data if kept is not None and kept.complete else None

    async def _index(self) -> bytes | None:
        whole = self._kept()
        if whole is not None:
            self.origin.shared.count(hits=1)
            return self.shard.index_of(whole)
        (index,) = await self.origin.read([self.shard.index(self.key)], None)
        return index

    async def _inner(self, pieces: list[Piece]) -> list[bytes | None]:
        """Read the first bytes of inner chunks."""
        whole = self._kept()
        if whole is None:
            return await self.origin.read(pieces, self.wanted, self.gap)
        self.origin.shared.count(hits=len(pieces))
        entries = [Entry(whole[piece.start : piece.start + (piece.size or 0)], True) for piece in pieces]
        return [entry.first(self.wanted) for entry in entries]

    async def _whole(self) -> bytes | None:
        """Return a smaller shard, made of the first bytes of each inner chunk."""
        if self.wanted is None and await self.origin.recall(self.shard.index(self.key)) is None:
            (whole,) = await self.origin.read([Piece(self.key)], None)
            return whole
        index = await self._index()
        if index is None:
            return None
        places = parsed_index(self.shard, index).places
        pieces = {place: Piece(self.key, *place) for place in places if place != (EMPTY, EMPTY)}
        chunks = dict(zip(pieces, await self._inner(list(pieces.values())), strict=True))
        return self.shard.build([chunks.get(place) for place in places])
