# SPDX-License-Identifier: Apache-2.0
"""What is kept of what was fetched, in memory and in a store; the requests on their way; and the statistics."""

import hashlib
import itertools
import threading
import warnings
from collections import OrderedDict
from collections.abc import Iterable, Iterator
from concurrent.futures import Future

from zarr.abc.store import Store
from zarr.core.buffer import default_buffer_prototype

from teko.zarr._layout import Layout, is_document, parents
from teko.zarr._pieces import Entry, Piece


class PrefixStats:
    """What a store asked for and got since it was made; stores that `refined` gave count together.

    Attributes:
        requests: reads of the store below.
        bytes_asked: bytes that the ranges of these requests span; where a request has no end, what came.
        bytes_received: bytes that came, and were kept.
        over_read: bytes that came unasked, of servers that ignore ranges; they are dropped.
        hits: chunks, inner chunks and indexes that took no request of their own.
        evictions: of these, how many were dropped from the cache to make room.
    """

    def __init__(self) -> None:
        """Start at 0."""
        self._lock = threading.Lock()
        self.requests = self.bytes_asked = self.bytes_received = self.over_read = self.hits = self.evictions = 0

    def _add(self, **counts: int) -> None:
        with self._lock:
            for name, count in counts.items():
                setattr(self, name, getattr(self, name) + count)

    def as_dict(self) -> dict[str, int]:
        """Return all of them by name."""
        with self._lock:
            return {name: value for name, value in vars(self).items() if not name.startswith("_")}

    def __repr__(self) -> str:
        """Show all of them."""
        return f"PrefixStats({', '.join(f'{name}={value}' for name, value in self.as_dict().items())})"


Flight = Future[Entry | None]
"""A request on its way: of what it will bring, None for an object that does not exist."""


class GaveUp(Exception):
    """The task that was to fetch a piece was cancelled."""


class _Entries:
    """First bytes of pieces, of a bounded size; it has no lock of its own.

    Prefixes and indexes have half of the room for sure, complete pieces the other; what a half does not use is the
    other's. Of the half that takes more than its share, what was used least recently goes first. So a first complete
    reading of a large array, of which a part alone finds room, does not drive out what is to serve it.
    """

    def __init__(self, limit: int) -> None:
        self._limit = limit
        self._halves: tuple[OrderedDict[Piece, Entry], OrderedDict[Piece, Entry]] = (OrderedDict(), OrderedDict())
        self._sizes = [0, 0]

    def get(self, piece: Piece) -> Entry | None:
        """Return what is there of a piece, which is then the most recently used."""
        for half in self._halves:
            if piece in half:
                half.move_to_end(piece)
                return half[piece]
        return None

    def keep(self, piece: Piece, entry: Entry) -> int:
        """Put an entry in the place of what was there of its piece; return how many others had to go."""
        self.drop(piece)
        if len(entry.data) > self._limit:
            return 0
        half = entry.complete and not piece.is_index
        self._halves[half][piece] = entry
        self._sizes[half] += len(entry.data)
        evicted = 0
        while sum(self._sizes) > self._limit:
            fuller = self._halves[2 * self._sizes[1] > self._limit]
            self.drop(next(iter(fuller)))
            evicted += 1
        return evicted

    def drop(self, piece: Piece) -> None:
        for place, half in enumerate(self._halves):
            entry = half.pop(piece, None)
            self._sizes[place] -= len(entry.data) if entry else 0

    def __iter__(self) -> Iterator[Piece]:
        """Go through the pieces."""
        return itertools.chain(*self._halves)


class Shared:
    """What stores of one origin share: the cache, the requests on their way, the arrays they met, and the statistics.

    The lock is held for moments only, never while anything is awaited, so that it serves any number of threads and
    event loops.

    Attributes:
        layouts: of the arrays that were met, by their paths; None where there is no array.
        stats: the statistics.
    """

    def __init__(self, cache_bytes: int) -> None:
        self._lock = threading.Lock()
        self._entries = _Entries(cache_bytes)
        self._flights: dict[Piece, Flight] = {}
        self.layouts: dict[str, Layout | None] = {}
        self.stats = PrefixStats()

    def count(self, **counts: int) -> None:
        """Add to the statistics, by name."""
        self.stats._add(**counts)

    def peek(self, piece: Piece) -> Entry | None:
        """Return what is in the cache of a piece."""
        with self._lock:
            return self._entries.get(piece)

    def claim(
        self, pieces: Iterable[Piece], wanted: int | None
    ) -> tuple[dict[Piece, bytes | None], dict[Piece, Flight], dict[Piece, Flight]]:
        """Return what is in the cache, what the caller has to fetch, and what others fetch already."""
        hits: dict[Piece, bytes | None] = {}
        mine: dict[Piece, Flight] = {}
        others: dict[Piece, Flight] = {}
        with self._lock:
            for piece in pieces:
                entry = self._entries.get(piece)
                if entry and entry.suffices(wanted):
                    hits[piece] = entry.first(wanted)
                elif piece in self._flights:
                    others[piece] = self._flights[piece]
                else:
                    mine[piece] = self._flights[piece] = Future()
                    # One that is running cannot be cancelled by those who wait for it.
                    mine[piece].set_running_or_notify_cancel()
        return hits, mine, others

    def land(self, mine: dict[Piece, Flight], entries: dict[Piece, Entry | None]) -> dict[Piece, Entry]:
        """Keep what has been fetched, and hand it to those who wait; return what was not forgotten meanwhile."""
        kept: dict[Piece, Entry] = {}
        with self._lock:
            for piece in mine:
                if self._flights.get(piece) is mine[piece]:
                    del self._flights[piece]
                    entry = entries[piece]
                    if entry is None or not piece.may_keep(entry):
                        self._entries.drop(piece)
                    else:
                        self.count(evictions=self._entries.keep(piece, entry))
                        kept[piece] = entry
        for piece, flight in mine.items():
            flight.set_result(entries[piece])
        return kept

    def abandon(self, mine: dict[Piece, Flight], problem: Exception) -> None:
        """Hand a problem to those who wait for what could not be fetched."""
        with self._lock:
            for piece in mine:
                if self._flights.get(piece) is mine[piece]:
                    del self._flights[piece]
        for flight in mine.values():
            flight.set_exception(problem)

    def forget(self, path: str) -> None:
        """Drop all that is known of what is at a path and below; requests on their way are not kept."""
        with self._lock:
            for piece in [piece for piece in self._entries if _is_below(piece.key, path)]:
                self._entries.drop(piece)
            for piece in [piece for piece in self._flights if _is_below(piece.key, path)]:
                del self._flights[piece]
            for known in [known for known in self.layouts if _is_below(known, path)]:
                del self.layouts[known]

    def layout_above(self, key: str) -> Layout | None:
        """Return what is known of the array that a key is a chunk of."""
        return next((layout for path in parents(key) if (layout := self.layouts.get(path))), None)

    def learn(self, path: str, layout: Layout | None) -> None:
        """Note what an array is like; chunks of one that was there before it are of no use."""
        before = self.layouts.get(path)
        if before and layout != before:
            self.forget(path)
        with self._lock:
            self.layouts[path] = layout


class LastingCache:
    """First bytes of chunks in a store that outlives the process, or nowhere; metadata are not kept there.

    The layout of the array is part of the keys, so that chunks of one that was there before it are not found; where
    it is unknown, nothing is kept.
    """

    def __init__(self, store: Store | None) -> None:
        self.store = store

    async def get(self, piece: Piece, layout: Layout | None) -> Entry | None:
        """Return what is kept of a piece."""
        if self.store is None or layout is None or is_document(piece.key):
            return None
        value = await self.store.get(_key_of(piece, layout), default_buffer_prototype())
        if value is None or len(value) == 0:
            return None
        data = value.to_bytes()
        return Entry(data[1:], data[0] == 1)

    async def keep(self, piece: Piece, entry: Entry, layout: Layout | None) -> None:
        """Keep what has been fetched, behind a byte that tells whether it is complete; warn if that fails."""
        if self.store is None or layout is None or is_document(piece.key):
            return
        flag = b"\1" if entry.complete else b"\0"
        value = default_buffer_prototype().buffer.from_bytes(flag + entry.data)
        try:
            await self.store.set(_key_of(piece, layout), value)
        except Exception as problem:
            warnings.warn(f"the cache could not keep the first bytes of {piece.key}: {problem}", stacklevel=2)

    async def forget(self, path: str) -> None:
        """Delete what is kept of what is at a path and below."""
        if self.store is not None:
            await self.store._ensure_open()
            await self.store.delete_dir(path)


def _is_below(key: str, path: str) -> bool:
    return not path or key == path or key.startswith(f"{path}/")


def _key_of(piece: Piece, layout: Layout) -> str:
    digest = hashlib.sha256(repr(layout).encode()).hexdigest()[:16]
    return f"{piece.key}/{digest}/at{piece.start}"
