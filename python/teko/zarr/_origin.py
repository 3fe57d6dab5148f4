# SPDX-License-Identifier: Apache-2.0
"""The bytes of a store's objects: each fetched once, kept, and counted."""

import asyncio
from collections.abc import Sequence
from typing import Any, Self

from zarr.abc.store import ByteRequest, RangeByteRequest, Store
from zarr.core.buffer import Buffer, BufferPrototype, default_buffer_prototype
from zarr.storage import MemoryStore

from teko.zarr._cache import Flight, GaveUp, LastingCache, Shared
from teko.zarr._errors import ChangedError, OverReadError
from teko.zarr._pieces import AGAIN, Entry, Piece, merged, range_of, size_of
from teko.zarr._tasks import all_of

_AT_ONCE = 10  # requests within a shard


class Origin:
    """A store, and what is kept of it. Stores that were refined from one another have one in common.

    It can be pickled: the layouts of arrays go along, and no chunks.

    Args:
        store: what is read.
        cache_bytes: most bytes that are kept in memory.
        cache: where first bytes are kept as well, or None.
        strict: whether bytes that come unasked are an error.
    """

    def __init__(self, store: Store, cache_bytes: int, cache: Store | None, strict: bool) -> None:
        self.store = store
        self.cache_bytes = cache_bytes
        self.lasting = LastingCache(cache)
        self.strict = strict
        self.shared = Shared(cache_bytes)

    def around(self, store: Store) -> Self:
        """Return one with the same options for another store; it starts with an empty cache."""
        return self if store is self.store else type(self)(store, self.cache_bytes, self.lasting.store, self.strict)

    def __getstate__(self) -> dict[str, Any]:
        """Return what goes to other processes: options and the layouts of arrays, no chunks."""
        # Others could not see what is put into a store in memory.
        cache = None if isinstance(self.lasting.store, MemoryStore) else self.lasting.store
        options = (self.store, self.cache_bytes, cache, self.strict)
        return {"options": options, "layouts": self.shared.layouts.copy()}

    def __setstate__(self, state: dict[str, Any]) -> None:
        """Start with an empty cache."""
        Origin.__init__(self, *state["options"])
        self.shared.layouts.update(state["layouts"])

    async def pass_on(self, key: str, prototype: BufferPrototype, request: ByteRequest | None) -> Buffer | None:
        """Read what is not kept, as it is, and count it."""
        buffer = await self.store.get(key, prototype, request)
        size = 0 if buffer is None else len(buffer)
        asked = size_of(request)
        self.shared.count(requests=1, bytes_asked=size if asked is None else asked, bytes_received=size)
        return buffer

    async def ask(self, key: str, request: ByteRequest | None) -> bytes | None:
        """Read what was asked for and no more, whatever comes, and count both."""
        buffer = await self.store.get(key, default_buffer_prototype(), request)
        data = None if buffer is None else buffer.to_bytes()
        sent = 0 if data is None else len(data)
        asked = size_of(request)
        if asked is not None and sent > asked:
            data = range_of(data, request)
        kept = 0 if data is None else len(data)
        self.shared.count(requests=1, bytes_asked=kept if asked is None else asked, bytes_received=kept)
        self._count_over_read(sent - kept)
        return data

    async def recall(self, piece: Piece) -> Entry | None:
        """Return what is kept of a piece."""
        return self.shared.peek(piece) or await self.lasting.get(piece, self.shared.layout_above(piece.key))

    async def read(self, pieces: Sequence[Piece], wanted: int | None, gap: int = 0) -> list[bytes | None]:
        """Return the first bytes of pieces, None for what does not exist; each is fetched once, whoever asks for it.

        Args:
            pieces: one, or several of one object.
            wanted: bytes of each, or None for all of them.
            gap: most bytes between two pieces that one request takes.
        """
        found: dict[Piece, bytes | None] = {}
        missing = list(dict.fromkeys(pieces))
        while missing:
            hits, mine, others = self.shared.claim(missing, wanted)
            found.update(hits)
            if mine:
                entries = await self._lead(mine, wanted, gap)
                found.update({piece: _first(entry, wanted) for piece, entry in entries.items()})
            for piece, flight in others.items():
                try:
                    entry = await asyncio.wrap_future(flight)
                except GaveUp:
                    continue
                if entry is None or entry.suffices(wanted):
                    found[piece] = _first(entry, wanted)
            self.shared.count(hits=len(hits) + sum(piece in found for piece in others))
            missing = [piece for piece in missing if piece not in found]
        return [found[piece] for piece in pieces]

    async def _lead(self, mine: dict[Piece, Flight], wanted: int | None, gap: int) -> dict[Piece, Entry | None]:
        """Fetch pieces for oneself and for those who wait for them."""
        try:
            entries, fetched = await self._fetch(list(mine), wanted, gap)
        except Exception as problem:
            self.shared.abandon(mine, problem)
            raise
        except BaseException:
            self.shared.abandon(mine, GaveUp())
            raise
        layouts = {piece: self.shared.layout_above(piece.key) for piece in fetched}
        kept = self.shared.land(mine, entries)
        for piece in fetched:
            if piece in kept:
                await self.lasting.keep(piece, kept[piece], layouts[piece])
        return entries

    async def _fetch(
        self, pieces: list[Piece], wanted: int | None, gap: int
    ) -> tuple[dict[Piece, Entry | None], list[Piece]]:
        """Return the first bytes of pieces, and those of them that were asked for."""
        known = {piece: await self.recall(piece) or Entry(b"", False) for piece in pieces}
        entries: dict[Piece, Entry | None] = dict(known)
        absent = [piece for piece in pieces if not known[piece].suffices(wanted)]
        requests = [piece.request(len(known[piece].data), wanted) for piece in absent]
        answers = await self._ask_all(absent[0].key, requests, gap) if absent else []
        for piece, answer in zip(absent, answers, strict=True):
            entry = await self._joined(piece, known[piece].data, answer, wanted)
            if entry is not None and entry.is_raw and not entry.suffices(wanted):
                rest = await self.ask(piece.key, piece.request(len(entry.data), None))
                entry = await self._joined(piece, entry.data, rest, None) or entry
            entries[piece] = entry
        return entries, absent

    async def _ask_all(self, key: str, requests: list[ByteRequest | None], gap: int) -> list[bytes | None]:
        """Read parts of an object, ranges by as few requests as the gap between them allows."""
        ranges = [request for request in requests if isinstance(request, RangeByteRequest)]
        if len(ranges) < len(requests):
            return [await self.ask(key, request) for request in requests]
        whole_of = merged(ranges, gap)
        turn = asyncio.Semaphore(_AT_ONCE)

        async def ask(span: RangeByteRequest) -> bytes | None:
            async with turn:
                return await self.ask(key, span)

        spans = list(dict.fromkeys(whole_of.values()))
        answers = dict(zip(spans, await all_of(map(ask, spans)), strict=True))
        return [_part_of(answers[whole_of[span]], whole_of[span].start, span) for span in ranges]

    async def _joined(self, piece: Piece, known: bytes, answer: bytes | None, wanted: int | None) -> Entry | None:
        """Put what came behind what was known."""
        if answer is None:
            return None
        if piece.start < 0:
            known = b""  # all of it came
        again = known[-AGAIN:]
        if not answer.startswith(again):
            # It may be the whole of an object, whose server knows no ranges.
            if piece.size is not None or not answer.startswith(known):
                await self._refuse_change(piece.key)
            self._count_over_read(len(known) - len(again))
            again = known
        data = known + answer[len(again) :]
        if piece.size is not None:
            return Entry(data, len(data) >= piece.size)
        return Entry(data, wanted is None or len(data) < wanted)

    async def _refuse_change(self, key: str) -> None:
        self.shared.forget(key)
        await self.lasting.forget(key)
        raise ChangedError(
            f"{key} has changed since its first bytes were read; these are forgotten now, and forget() does it for a "
            "whole array; a snapshot of an Icechunk repository does not change"
        )

    def _count_over_read(self, count: int) -> None:
        self.shared.count(over_read=count)
        if count and self.strict:
            raise OverReadError(
                f"the store below sent {count} bytes more than were asked for: its server ignores ranges; serve the "
                "array by one that answers them with status 206, or let it pass by strict=False"
            )


def _first(entry: Entry | None, wanted: int | None) -> bytes | None:
    return None if entry is None else entry.first(wanted)


def _part_of(answer: bytes | None, begin: int, span: RangeByteRequest) -> bytes | None:
    """Return a range of an object of which a part is there, that begins somewhere."""
    return None if answer is None else answer[span.start - begin : span.end - begin]
