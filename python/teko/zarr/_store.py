# SPDX-License-Identifier: Apache-2.0
"""A zarr store that reads the first bytes of each chunk: the whole array, coarser."""

import asyncio
import functools
import json
import math
import re
import threading
import warnings
from collections import OrderedDict
from collections.abc import AsyncGenerator, AsyncIterator, Iterable, Iterator, Sequence
from concurrent.futures import Future
from dataclasses import dataclass, replace
from typing import Any, Self

import google_crc32c
import numpy as np
from zarr.abc.store import ByteRequest, OffsetByteRequest, RangeByteRequest, Store, SuffixByteRequest
from zarr.core.buffer import Buffer, BufferPrototype, default_buffer_prototype
from zarr.core.sync import sync
from zarr.storage import MemoryStore, WrapperStore

from teko._chunks import RAW_MARK
from teko._errors import Error

_HEADER = 10  # bytes of a file before its words
_WORD = 4
_SMALLEST = _HEADER + _WORD
_AGAIN = _WORD  # bytes that are asked for again with those that follow them
_LARGEST_GAP = 2**14
_LARGEST_REQUEST = 2**24
_AT_ONCE = 10  # requests within a shard
_EMPTY = 2**64 - 1  # offset and length of an inner chunk that is not stored
_CODEC = "teko"
_DOCUMENTS = ("zarr.json", ".zarray", ".zgroup", ".zattrs", ".zmetadata")
_CHUNK_KEY = re.compile(r"c(?:\.\d+)*|\d+(?:\.\d+)*")


class PrefixError(Error, ValueError):
    """An array of which no first bytes can be read as a whole: the message says why, and what to do about it."""


class ChangedError(Error):
    """A chunk that was overwritten after its first bytes had been read."""


class OverReadError(Error):
    """A server that sends more than it is asked for, and a store that was told to be strict."""


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


@dataclass(frozen=True)
class _Shard:
    """How the chunks of an array are divided, and where the index of that is."""

    count: int
    at_start: bool
    order: str  # of bytes in the index
    checksum: bool

    @property
    def index_size(self) -> int:
        return 16 * self.count + (4 if self.checksum else 0)

    def index(self, key: str) -> "_Piece":
        return _Piece(key, 0 if self.at_start else -self.index_size, self.index_size)

    def build(self, chunks: Sequence[bytes | None]) -> bytes:
        """Return a shard of these inner chunks, None for those that are empty."""
        offset = self.index_size if self.at_start else 0
        table = []
        for chunk in chunks:
            table += [_EMPTY, _EMPTY] if chunk is None else [offset, len(chunk)]
            offset += 0 if chunk is None else len(chunk)
        index = np.array(table, f"{self.order}u8").tobytes()
        if self.checksum:
            index += google_crc32c.value(index).to_bytes(4, "little")
        body = b"".join(chunk for chunk in chunks if chunk is not None)
        return index + body if self.at_start else body + index


@dataclass(frozen=True)
class _Index:
    """Where the inner chunks of a shard are.

    Attributes:
        places: offset and length of each.
        spans: start and end of those that are stored.
    """

    places: tuple[tuple[int, int], ...]
    spans: frozenset[tuple[int, int]]


# Readers of inner chunks come one by one, each with the same index.
@functools.lru_cache(maxsize=64)
def _parsed_index(shard: _Shard, data: bytes) -> _Index:
    if len(data) != shard.index_size:
        raise PrefixError(f"the index of a shard has {len(data)} bytes and not the {shard.index_size} of the metadata")
    if shard.checksum and google_crc32c.value(data[:-4]) != int.from_bytes(data[-4:], "little"):
        raise PrefixError("the index of a shard is damaged: its checksum is another")
    table = np.frombuffer(data, f"{shard.order}u8", 2 * shard.count).tolist()
    places = tuple(zip(table[::2], table[1::2], strict=True))
    return _Index(places, frozenset((start, start + size) for start, size in places if start != _EMPTY))


@dataclass(frozen=True)
class _Layout:
    """What there is to know of an array for reading its chunks in part.

    Attributes:
        ours: whether its chunks are teko files.
        raw: bytes of a chunk, or of an inner chunk, before encoding; None if they differ.
        shard: how chunks are divided further, if they are.
        problem: why there is nothing to be cut, if so.
    """

    ours: bool
    raw: int | None = None
    shard: _Shard | None = None
    problem: str = ""


_FOREIGN = _Layout(ours=False)


@dataclass(frozen=True)
class _Piece:
    """A run of bytes in an object, of which the first ones are kept.

    Attributes:
        key: of the object.
        start: where it begins; below 0 counts from the end, and all of it is read then.
        size: bytes of it, or None if it takes the whole object, of a size that nobody has told.
    """

    key: str
    start: int = 0
    size: int | None = None


@dataclass(frozen=True)
class _Entry:
    """The first bytes of a piece, and whether there are no more."""

    data: bytes
    complete: bool

    @property
    def is_raw(self) -> bool:
        """Whether it is a chunk of samples as they are, of which the first ones are no approximation."""
        return self.data.startswith(RAW_MARK)

    def suffices(self, wanted: int | None) -> bool:
        return self.complete or (wanted is not None and len(self.data) >= wanted and not self.is_raw)

    def first(self, wanted: int | None) -> bytes:
        return self.data if self.is_raw else self.data[:wanted]


def _first(entry: _Entry | None, wanted: int | None) -> bytes | None:
    return None if entry is None else entry.first(wanted)


_Flight = Future[_Entry | None]


class _GaveUp(Exception):
    """The task that was to fetch a piece was cancelled."""


class _Shared:
    """What stores of one origin share: the cache, the requests on their way, the arrays they met, and the statistics.

    The lock is held for moments only, never while anything is awaited, so that it serves any number of threads and
    event loops.
    """

    def __init__(self, cache_bytes: int) -> None:
        self._lock = threading.Lock()
        self._limit = cache_bytes
        self._size = 0
        self._entries: OrderedDict[_Piece, _Entry] = OrderedDict()
        self._flights: dict[_Piece, _Flight] = {}
        self.layouts: dict[str, _Layout | None] = {}
        self.stats = PrefixStats()

    def peek(self, piece: _Piece) -> _Entry | None:
        with self._lock:
            if piece in self._entries:
                self._entries.move_to_end(piece)
            return self._entries.get(piece)

    def claim(
        self, pieces: Iterable[_Piece], wanted: int | None
    ) -> tuple[dict[_Piece, bytes | None], dict[_Piece, _Flight], dict[_Piece, _Flight]]:
        """Return what is in the cache, what the caller has to fetch, and what others fetch already."""
        hits: dict[_Piece, bytes | None] = {}
        mine: dict[_Piece, _Flight] = {}
        others: dict[_Piece, _Flight] = {}
        with self._lock:
            for piece in pieces:
                entry = self._entries.get(piece)
                if entry and entry.suffices(wanted):
                    self._entries.move_to_end(piece)
                    hits[piece] = entry.first(wanted)
                elif piece in self._flights:
                    others[piece] = self._flights[piece]
                else:
                    mine[piece] = self._flights[piece] = Future()
                    # One that is running cannot be cancelled by those who wait for it.
                    mine[piece].set_running_or_notify_cancel()
        return hits, mine, others

    def land(self, mine: dict[_Piece, _Flight], entries: dict[_Piece, _Entry | None]) -> None:
        """Keep what has been fetched, and hand it to those who wait."""
        with self._lock:
            for piece in mine:
                entry = entries[piece]
                if self._flights.get(piece) is mine[piece]:
                    del self._flights[piece]
                    self._keep(piece, entry)
        for piece, flight in mine.items():
            flight.set_result(entries[piece])

    def abandon(self, mine: dict[_Piece, _Flight], problem: Exception) -> None:
        with self._lock:
            for piece in mine:
                if self._flights.get(piece) is mine[piece]:
                    del self._flights[piece]
        for flight in mine.values():
            flight.set_exception(problem)

    def _keep(self, piece: _Piece, entry: _Entry | None) -> None:
        self._drop(piece)
        if entry is None or len(entry.data) > self._limit:
            return
        self._entries[piece] = entry
        self._size += len(entry.data)
        evicted = 0
        while self._size > self._limit:
            self._drop(next(iter(self._entries)))
            evicted += 1
        self.stats._add(evictions=evicted)

    def _drop(self, piece: _Piece) -> None:
        entry = self._entries.pop(piece, None)
        self._size -= len(entry.data) if entry else 0

    def forget(self, path: str) -> None:
        with self._lock:
            for piece in [piece for piece in self._entries if _is_below(piece.key, path)]:
                self._drop(piece)
            for piece in [piece for piece in self._flights if _is_below(piece.key, path)]:
                del self._flights[piece]
            for known in [known for known in self.layouts if _is_below(known, path)]:
                del self.layouts[known]

    def learn(self, path: str, layout: _Layout | None) -> None:
        """Note what an array is like; chunks of one that was there before it are of no use."""
        before = self.layouts.get(path)
        if before and layout != before:
            self.forget(path)
        with self._lock:
            self.layouts[path] = layout


class PrefixStore(WrapperStore[Store]):
    """A zarr store, read only, that gives the first bytes of each teko chunk of another one.

    Arrays that are opened through it have their shape and type, and approximate values, for a share of the bytes. It
    goes around any store of zarr's, and works in shards and outside. Arrays without our codec pass as they are, and
    so does everything if neither rate nor bytes_per_chunk is given. It can be pickled, by itself and in arrays; its
    cache stays behind. Threads and event loops may share it.

    Args:
        store: where the arrays are.
        rate: of each chunk, or inner chunk of a shard, as a share of its raw size, above 0 and up to 1. Of n raw bytes
            it reads the 10 of the header and rate * n more, rounded up to words of 4 bytes; no fewer than 14.
        bytes_per_chunk: the same in bytes, 14 at least, rounded down to 10 and a number of words.
        cache_bytes: most bytes of chunks that are kept in memory. What was used least recently goes first.
        cache: another zarr store, for this alone, where first bytes are kept as well. It is not bounded. Processes
            may share it, and it outlives them.
        strict: whether a server that sends more than it was asked for is an error, not a matter of statistics.
        max_gap_bytes: inner chunks of a shard are read by one request if no more bytes than that lie between what is
            read of them, up to 16384. These bytes are read in vain.

    Raises:
        TypeError: rate and bytes_per_chunk; a store that is none, or a PrefixStore.
        ValueError: a number out of range.

    Reading raises PrefixError for arrays with another codec behind teko, for shards in shards, and for other index
    codecs than bytes and crc32c; ChangedError for chunks that were overwritten in the meantime, where that shows;
    OverReadError if strict.

    >>> import numpy, zarr, teko.zarr
    >>> image = numpy.add.outer(numpy.arange(256), numpy.arange(256)).astype(numpy.uint16)
    >>> memory = zarr.storage.MemoryStore()
    >>> array = teko.zarr.create_array(memory, shape=image.shape, chunks=(128, 128), dtype=image.dtype)
    >>> array[:] = image
    >>> store = PrefixStore(memory, rate=0.01)
    >>> zarr.open_array(store, mode="r")[:].shape
    (256, 256)
    >>> whole = zarr.open_array(store.refined(), mode="r")
    >>> bool((whole[:] == image).all())
    True
    """

    def __init__(
        self,
        store: Store,
        rate: float | None = None,
        bytes_per_chunk: int | None = None,
        *,
        cache_bytes: int = 2**28,
        cache: Store | None = None,
        strict: bool = False,
        max_gap_bytes: int = 0,
    ) -> None:
        """Wrap a store."""
        if isinstance(store, PrefixStore):
            raise TypeError("the store is a PrefixStore already: its method refined gives one of another rate")
        if not isinstance(store, Store):
            raise TypeError(f"a zarr store is needed, such as zarr.storage.LocalStore(path), not {type(store)}")
        if cache_bytes < 0:
            raise ValueError(f"cache_bytes={cache_bytes} is out of range: it is 0 or more")
        if not 0 <= max_gap_bytes <= _LARGEST_GAP:
            raise ValueError(f"max_gap_bytes={max_gap_bytes} is out of range: it is 0 to {_LARGEST_GAP}")
        super().__init__(store)
        self._rate, self._bytes_per_chunk = _checked(rate, bytes_per_chunk)
        self._cache_bytes = cache_bytes
        self._cache = cache
        self._strict = strict
        self._max_gap_bytes = max_gap_bytes
        self._shared = _Shared(cache_bytes)

    @classmethod
    async def open(cls, *args: Any, **kwargs: Any) -> Self:
        """Make a store, as the class does, and open the one below."""
        store = cls(*args, **kwargs)
        await store._ensure_open()
        return store

    @property
    def stats(self) -> PrefixStats:
        """What has been asked for and received: a live object."""
        return self._shared.stats

    @property
    def rate(self) -> float | None:
        """Share of each chunk's raw size that is read."""
        return self._rate

    @property
    def bytes_per_chunk(self) -> int | None:
        """Most bytes that are read of each chunk, where they were given as such."""
        return self._bytes_per_chunk

    def refined(self, rate: float | None = None, *, bytes_per_chunk: int | None = None) -> Self:
        """Return a store of the same origin, cache and statistics, of another rate.

        Of chunks that are in the cache it fetches what is missing, and the 4 bytes before that: they make a request
        that begins where a chunk ends a valid one, and tell if the chunk is still the one that it was.

        Args:
            rate: the new rate.
            bytes_per_chunk: the same in bytes. With neither of them chunks are read whole.

        Raises:
            TypeError, ValueError: as the class does.
        """
        rate, bytes_per_chunk = _checked(rate, bytes_per_chunk)
        return self._like_this(_rate=rate, _bytes_per_chunk=bytes_per_chunk)

    def forget(self, path: str = "") -> None:
        """Drop what is known of the array or group at a path: first bytes, indexes of shards and metadata.

        It is for arrays that were overwritten. Stores that were refined from one another forget together; those in
        other processes do not. With a cache store it is not to be called on zarr's own event loop.
        """
        self._shared.forget(path)
        if self._cache is not None:
            sync(_delete_below(self._cache, path))

    def _like_this(self, **changes: Any) -> Self:
        other = object.__new__(type(self))
        other.__dict__.update(vars(self), **changes)
        return other

    # What makes it a store.

    def _with_store(self, store: Store) -> Self:
        shared = self._shared if store is self._store else _Shared(self._cache_bytes)
        return self._like_this(_store=store, _shared=shared)

    def with_read_only(self, read_only: bool = False) -> Self:
        """Return a store like this one, which never writes."""
        if not read_only:
            raise ValueError(_READ_ONLY)
        return self._like_this()

    def __eq__(self, value: object) -> bool:
        """Tell whether it reads the same bytes of an equal store."""
        return isinstance(value, PrefixStore) and self._options() == value._options()

    __hash__ = None  # type: ignore[assignment]  # as zarr's own stores

    def _options(self) -> tuple[object, ...]:
        return type(self), self._store, self._rate, self._bytes_per_chunk, self._strict

    def __getstate__(self) -> dict[str, Any]:
        """Return what goes to other processes: options and the layouts of arrays, no chunks."""
        state = vars(self).copy()
        # Others could not see what is put into a store in memory.
        if isinstance(self._cache, MemoryStore):
            state["_cache"] = None
        state["_shared"] = self._shared.layouts.copy()
        return state

    def __setstate__(self, state: dict[str, Any]) -> None:
        """Start with an empty cache."""
        shared = _Shared(state["_cache_bytes"])
        shared.layouts.update(state["_shared"])
        self.__dict__.update(state, _shared=shared)

    def __str__(self) -> str:
        """Name the store below."""
        return f"prefix-{self._store}"

    def __repr__(self) -> str:
        """Show how it was made."""
        budget = f"bytes_per_chunk={self._bytes_per_chunk}" if self._bytes_per_chunk else f"rate={self._rate}"
        return f"PrefixStore({self._store!r}, {budget})"

    # Reading.

    async def get(self, key: str, prototype: BufferPrototype, byte_range: ByteRequest | None = None) -> Buffer | None:
        """Read a value: a chunk is its first bytes, and a range of it a range of these."""
        if _is_document(key):
            return await self._get_document(key, prototype, byte_range)
        layout = await self._layout_of(key)
        if not layout.ours or self._is_passed(layout):
            return await self._pass(key, prototype, byte_range)
        wanted = self._wanted(layout, key)
        if layout.shard is not None:
            data = await self._get_of_shard(key, layout.shard, wanted, byte_range)
        elif byte_range is not None and wanted is None:
            return await self._pass(key, prototype, byte_range)
        else:
            (data,) = await self._read([_Piece(key)], wanted)
            data = _range_of(data, byte_range)
        return None if data is None else prototype.buffer.from_bytes(data)

    async def get_partial_values(
        self, prototype: BufferPrototype, key_ranges: Iterable[tuple[str, ByteRequest | None]]
    ) -> list[Buffer | None]:
        """Read several values, or ranges of them, at once."""
        return await asyncio.gather(*(self.get(key, prototype, byte_range) for key, byte_range in key_ranges))

    async def _get_many(
        self, requests: Iterable[tuple[str, BufferPrototype, ByteRequest | None]]
    ) -> AsyncGenerator[tuple[str, Buffer | None], None]:
        listed = list(requests)
        values = await asyncio.gather(*(self.get(*request) for request in listed))
        for request, value in zip(listed, values, strict=True):
            yield request[0], value

    async def get_ranges(
        self,
        key: str,
        byte_ranges: Sequence[ByteRequest | None],
        *,
        prototype: BufferPrototype,
        max_concurrency: int | None = None,
        max_gap_bytes: int | None = None,
        max_coalesced_bytes: int | None = None,
    ) -> AsyncIterator[Sequence[tuple[int, Buffer | None]]]:
        """Read several ranges of a value.

        In shards those that are inner chunks are cut, and requests are merged as this store's max_gap_bytes has it,
        or that of the caller where it is less.
        """
        try:
            layout = await self._layout_of(key)
            is_ours = layout.ours and not self._is_passed(layout)
            found = await self._get_several(key, layout, byte_ranges, max_gap_bytes) if is_ours else []
            if None in found:
                raise FileNotFoundError(key)
        except Exception as problem:
            raise ExceptionGroup(f"ranges of {key} could not be read", [problem]) from None
        if is_ours:
            yield [(place, prototype.buffer.from_bytes(data or b"")) for place, data in enumerate(found)]
            return
        given = {
            "max_concurrency": max_concurrency,
            "max_gap_bytes": max_gap_bytes,
            "max_coalesced_bytes": max_coalesced_bytes,
        }
        merging = {name: value for name, value in given.items() if value is not None}
        async for batch in self._store.get_ranges(key, byte_ranges, prototype=prototype, **merging):
            size = sum(0 if buffer is None else len(buffer) for _, buffer in batch)
            self.stats._add(requests=1, bytes_asked=size, bytes_received=size)
            yield batch

    @property
    def _supports_sync_io(self) -> bool:
        # Requests of other threads are waited for, which on an event loop would be in vain.
        return False

    def get_sync(
        self, key: str, *, prototype: BufferPrototype | None = None, byte_range: ByteRequest | None = None
    ) -> Buffer | None:
        """Read a value, from outside of zarr's event loop."""
        return sync(self.get(key, prototype or default_buffer_prototype(), byte_range))

    def get_ranges_sync(
        self, key: str, byte_ranges: Sequence[ByteRequest | None], *, prototype: BufferPrototype, **merging: int
    ) -> Sequence[tuple[int, Buffer | None]]:
        """Read several ranges of a value, from outside of zarr's event loop."""

        async def all_of_them() -> list[tuple[int, Buffer | None]]:
            batches = self.get_ranges(key, byte_ranges, prototype=prototype, **merging)
            return [pair async for batch in batches for pair in batch]

        found: list[tuple[int, Buffer | None]] = sync(all_of_them())
        return found

    async def getsize(self, key: str) -> int:
        """Return the size of what is stored, which is not cut."""
        size: int = await self._store.getsize(key)
        return size

    async def getsize_prefix(self, prefix: str) -> int:
        """Return the size of all that is stored below a path."""
        size: int = await self._store.getsize_prefix(prefix)
        return size

    # Metadata.

    async def _get_document(
        self, key: str, prototype: BufferPrototype, byte_range: ByteRequest | None
    ) -> Buffer | None:
        path, _, name = key.rpartition("/")
        if name == "zarr.json":
            data = await self._ask(key, None)
            if data is not None:
                data = self._marked(path, data)
            data = _range_of(data, byte_range)
            return None if data is None else prototype.buffer.from_bytes(data)
        buffer = await self._pass(key, prototype, byte_range)
        if name == ".zarray" and buffer is not None and byte_range is None:
            self._shared.learn(path, _FOREIGN)
            self._warn_of_old(path, buffer.to_bytes())
        return buffer

    def _warn_of_old(self, path: str, data: bytes) -> None:
        document = _parsed(data)
        codecs = [document.get("compressor"), *(document.get("filters") or [])]
        if self._is_cutting() and any(isinstance(codec, dict) and codec.get("id") == _CODEC for codec in codecs):
            warnings.warn(
                f"the array {path!r} is of zarr format 2, whose chunks are read whole: a copy in format 3 can be cut",
                stacklevel=2,
            )

    def _marked(self, path: str, data: bytes) -> bytes:
        """Learn the arrays that a document describes; return it with the codec told how much it gets."""
        document = _parsed(data)
        if document.get("node_type") == "array":
            layout = _layout_of_array(document)
            self._shared.learn(path, layout)
            if self._is_cutting() and layout.ours:
                self._refuse(layout, path)
        marks = self._mark(document, path)
        consolidated = document.get("consolidated_metadata")
        if document.get("node_type") == "group" and isinstance(consolidated, dict):
            for name, described in (consolidated.get("metadata") or {}).items():
                if described.get("node_type") == "array":
                    below = f"{path}/{name}".strip("/")
                    self._shared.learn(below, _layout_of_array(described))
                    marks |= self._mark(described, below)
        return json.dumps(document).encode() if marks else data

    def _mark(self, document: dict[str, Any], path: str) -> bool:
        layout = self._shared.layouts.get(path)
        if document.get("node_type") != "array" or not layout or not layout.ours or self._problem(layout):
            return False
        wanted = self._wanted(layout, path)
        if wanted is None:
            return False
        codecs = document["codecs"]
        if layout.shard is not None:
            codecs = next(codec for codec in codecs if _name_of(codec) == "sharding_indexed")["configuration"]["codecs"]
        place = next(place for place, codec in enumerate(codecs) if _name_of(codec) == _CODEC)
        codecs[place] = {"name": _CODEC, "configuration": {**_configuration_of(codecs[place]), "prefix": wanted}}
        return True

    async def _layout_of(self, key: str) -> _Layout:
        """Find the array that a key is a chunk of: by what passed already, or by its metadata."""
        known = self._shared.layouts
        for path in _parents(key):
            if layout := known.get(path):
                return layout
        for path in _array_paths(key):
            if path in known:
                continue
            (data,) = await self._read([_Piece(f"{path}/zarr.json".lstrip("/"))], None)
            document = _parsed(data or b"")
            layout = _layout_of_array(document) if document.get("node_type") == "array" else None
            self._shared.learn(path, layout)
            if layout:
                return layout
        return _FOREIGN

    def _is_cutting(self) -> bool:
        return self._rate is not None or self._bytes_per_chunk is not None

    def _is_passed(self, layout: _Layout) -> bool:
        return bool(layout.problem) and not self._is_cutting()

    def _problem(self, layout: _Layout) -> str:
        if not layout.problem and layout.raw is None and self._rate is not None:
            return "its chunks have no one size, of which there could be a share: give bytes_per_chunk"
        return layout.problem

    def _refuse(self, layout: _Layout, path: str) -> None:
        if problem := self._problem(layout):
            raise PrefixError(f"/{path} cannot be read by its first bytes: {problem}")

    def _wanted(self, layout: _Layout, key: str) -> int | None:
        """Return how many bytes are read of each chunk of an array, None for all of them."""
        if self._is_cutting():
            self._refuse(layout, key)
        if self._bytes_per_chunk is not None:
            return self._bytes_per_chunk
        if self._rate is None or layout.raw is None:
            return None
        return _HEADER + _WORD * max(1, math.ceil(math.floor(self._rate * layout.raw) / _WORD))

    # Shards.

    async def _get_of_shard(
        self, key: str, shard: _Shard, wanted: int | None, byte_range: ByteRequest | None
    ) -> bytes | None:
        ends = SuffixByteRequest(shard.index_size), RangeByteRequest(0, shard.index_size)
        if byte_range == ends[shard.at_start]:
            return await self._get_index(key, shard)
        if isinstance(byte_range, RangeByteRequest):
            (data,) = await self._get_inner_ranges(key, shard, wanted, [byte_range], 0)
            return data
        return _range_of(await self._get_whole_shard(key, shard, wanted), byte_range)

    def _kept_shard(self, key: str) -> bytes | None:
        """Return a shard that was read whole, and is in the cache."""
        kept = self._shared.peek(_Piece(key))
        return kept.data if kept is not None and kept.complete else None

    async def _get_index(self, key: str, shard: _Shard) -> bytes | None:
        whole = self._kept_shard(key)
        if whole is not None:
            self.stats._add(hits=1)
            return whole[: shard.index_size] if shard.at_start else whole[-shard.index_size :]
        (index,) = await self._read([shard.index(key)], None)
        return index

    async def _read_inner(self, pieces: list[_Piece], wanted: int | None, gap: int) -> list[bytes | None]:
        """Read the first bytes of inner chunks of one shard."""
        whole = self._kept_shard(pieces[0].key) if pieces else None
        if whole is None:
            return await self._read(pieces, wanted, gap)
        self.stats._add(hits=len(pieces))
        entries = [_Entry(whole[piece.start : piece.start + (piece.size or 0)], True) for piece in pieces]
        return [entry.first(wanted) for entry in entries]

    async def _get_several(
        self, key: str, layout: _Layout, byte_ranges: Sequence[ByteRequest | None], max_gap_bytes: int | None
    ) -> list[bytes | None]:
        """Read several ranges of a chunk or a shard."""
        requests = [request for request in byte_ranges if isinstance(request, RangeByteRequest)]
        if layout.shard is not None and len(requests) == len(byte_ranges):
            gap = self._max_gap_bytes if max_gap_bytes is None else min(max_gap_bytes, self._max_gap_bytes)
            return await self._get_inner_ranges(key, layout.shard, self._wanted(layout, key), requests, gap)
        prototype = default_buffer_prototype()
        buffers = await asyncio.gather(*(self.get(key, prototype, request) for request in byte_ranges))
        return [None if buffer is None else buffer.to_bytes() for buffer in buffers]

    async def _get_inner_ranges(
        self, key: str, shard: _Shard, wanted: int | None, requests: Sequence[RangeByteRequest], gap: int
    ) -> list[bytes | None]:
        """Read ranges of a shard: inner chunks are cut, others not."""
        index = await self._get_index(key, shard)
        if index is None:
            return [None] * len(requests)
        inner = _parsed_index(shard, index).spans
        found: dict[RangeByteRequest, bytes | None] = {}
        for request in requests:
            if (request.start, request.end) not in inner:
                found[request] = await self._ask(key, request)
        pieces = {
            request: _Piece(key, request.start, request.end - request.start)
            for request in requests
            if request not in found
        }
        found.update(zip(pieces, await self._read_inner(list(pieces.values()), wanted, gap), strict=True))
        return [found[request] for request in requests]

    async def _get_whole_shard(self, key: str, shard: _Shard, wanted: int | None) -> bytes | None:
        """Return a smaller shard, made of the first bytes of each inner chunk."""
        if wanted is None and await self._recall(shard.index(key)) is None:
            (whole,) = await self._read([_Piece(key)], None)
            return whole
        index = await self._get_index(key, shard)
        if index is None:
            return None
        pieces = [
            None if (offset, length) == (_EMPTY, _EMPTY) else _Piece(key, offset, length)
            for offset, length in _parsed_index(shard, index).places
        ]
        stored = [piece for piece in pieces if piece is not None]
        chunks = dict(zip(stored, await self._read_inner(stored, wanted, self._max_gap_bytes), strict=True))
        return shard.build([None if piece is None else chunks[piece] for piece in pieces])

    # The cache, and requests.

    async def _read(self, pieces: Sequence[_Piece], wanted: int | None, gap: int = 0) -> list[bytes | None]:
        """Return the first bytes of pieces, None for what does not exist; each is fetched once, whoever asks for it."""
        found: dict[_Piece, bytes | None] = {}
        missing = list(dict.fromkeys(pieces))
        while missing:
            hits, mine, others = self._shared.claim(missing, wanted)
            found.update(hits)
            if mine:
                entries = await self._lead(mine, wanted, gap)
                found.update({piece: _first(entry, wanted) for piece, entry in entries.items()})
            for piece, flight in others.items():
                try:
                    entry = await asyncio.wrap_future(flight)
                except _GaveUp:
                    continue
                if entry is None or entry.suffices(wanted):
                    found[piece] = _first(entry, wanted)
            self.stats._add(hits=len(hits) + sum(piece in found for piece in others))
            missing = [piece for piece in missing if piece not in found]
        return [found[piece] for piece in pieces]

    async def _lead(self, mine: dict[_Piece, _Flight], wanted: int | None, gap: int) -> dict[_Piece, _Entry | None]:
        try:
            entries = await self._fetch(list(mine), wanted, gap)
        except Exception as problem:
            self._shared.abandon(mine, problem)
            raise
        except BaseException:
            self._shared.abandon(mine, _GaveUp())
            raise
        self._shared.land(mine, entries)
        return entries

    async def _fetch(self, pieces: list[_Piece], wanted: int | None, gap: int) -> dict[_Piece, _Entry | None]:
        known = {piece: await self._recall(piece) or _Entry(b"", False) for piece in pieces}
        entries: dict[_Piece, _Entry | None] = {
            piece: entry for piece, entry in known.items() if entry.suffices(wanted)
        }
        absent = [piece for piece in pieces if piece not in entries]
        requests = [_request_for(piece, known[piece].data, wanted) for piece in absent]
        if absent and isinstance(requests[0], RangeByteRequest) and absent[0].size is not None:
            ranges = [request for request in requests if isinstance(request, RangeByteRequest)]
            answers = await self._ask_merged(absent[0].key, ranges, gap)
        else:
            answers = [await self._ask(piece.key, request) for piece, request in zip(absent, requests, strict=True)]
        for piece, answer in zip(absent, answers, strict=True):
            entry = None if answer is None else await self._joined(piece, known[piece].data, answer, wanted)
            if entry is not None and not entry.suffices(wanted) and entry.is_raw:
                entry = (await self._fetch_raw(piece, entry)) or entry
            entries[piece] = entry
            if entry is not None and self._cache is not None and not _is_document(piece.key):
                flag = b"\1" if entry.complete else b"\0"
                value = default_buffer_prototype().buffer.from_bytes(flag + entry.data)
                await self._cache.set(_cache_key(piece), value)
        return entries

    async def _fetch_raw(self, piece: _Piece, known: _Entry) -> _Entry | None:
        """Fetch the rest of a chunk of samples as they are."""
        answer = await self._ask(piece.key, _request_for(piece, known.data, None))
        return None if answer is None else await self._joined(piece, known.data, answer, None)

    async def _recall(self, piece: _Piece) -> _Entry | None:
        entry = self._shared.peek(piece)
        if entry is None and self._cache is not None and not _is_document(piece.key):
            value = await self._cache.get(_cache_key(piece), default_buffer_prototype())
            if value is not None and len(value) > 0:
                data = value.to_bytes()
                entry = _Entry(data[1:], data[0] == 1)
        return entry

    async def _joined(self, piece: _Piece, known: bytes, answer: bytes, wanted: int | None) -> _Entry:
        """Put what came behind what was known."""
        again = known[-_AGAIN:]
        if not answer.startswith(again):
            # It may be the whole of an object, whose server knows no ranges.
            if piece.size is not None or not answer.startswith(known):
                self._shared.forget(piece.key)
                if self._cache is not None:
                    await _delete_below(self._cache, piece.key)
                raise ChangedError(
                    f"{piece.key} has changed since its first bytes were read; these are forgotten now, and forget() "
                    "does it for a whole array; a snapshot of an Icechunk repository does not change"
                )
            self._count_over_read(len(known) - len(again))
            again = known
        data = known + answer[len(again) :]
        if piece.size is not None:
            return _Entry(data, len(data) >= piece.size)
        return _Entry(data, wanted is None or len(data) < wanted)

    async def _ask_merged(self, key: str, ranges: list[RangeByteRequest], gap: int) -> list[bytes | None]:
        """Read ranges of an object by as few requests as the gap between them allows."""
        order = sorted(range(len(ranges)), key=lambda place: ranges[place].start)
        merged: list[RangeByteRequest] = []
        merged_of: dict[int, int] = {}
        for place in order:
            span = ranges[place]
            if merged and span.start <= merged[-1].end + gap and span.end - merged[-1].start <= _LARGEST_REQUEST:
                merged[-1] = replace(merged[-1], end=max(span.end, merged[-1].end))
            else:
                merged.append(span)
            merged_of[place] = len(merged) - 1
        turn = asyncio.Semaphore(_AT_ONCE)

        async def ask(span: RangeByteRequest) -> bytes | None:
            async with turn:
                return await self._ask(key, span)

        answers = await asyncio.gather(*(ask(span) for span in merged))
        cut: list[bytes | None] = []
        for place, span in enumerate(ranges):
            answer, begin = answers[merged_of[place]], merged[merged_of[place]].start
            cut.append(None if answer is None else answer[span.start - begin : span.end - begin])
        return cut

    async def _pass(self, key: str, prototype: BufferPrototype, byte_range: ByteRequest | None) -> Buffer | None:
        buffer = await self._store.get(key, prototype, byte_range)
        size = 0 if buffer is None else len(buffer)
        asked = _size_of(byte_range)
        self.stats._add(requests=1, bytes_asked=size if asked is None else asked, bytes_received=size)
        return buffer

    async def _ask(self, key: str, request: ByteRequest | None) -> bytes | None:
        """Read of the store below, and count it."""
        buffer = await self._store.get(key, default_buffer_prototype(), request)
        data = None if buffer is None else buffer.to_bytes()
        sent = 0 if data is None else len(data)
        asked = _size_of(request)
        if data is not None and asked is not None and sent > asked:
            data = _range_of(data, request)
        kept = 0 if data is None else len(data)
        self.stats._add(requests=1, bytes_asked=kept if asked is None else asked, bytes_received=kept)
        self._count_over_read(sent - kept)
        return data

    def _count_over_read(self, count: int) -> None:
        self.stats._add(over_read=count)
        if count and self._strict:
            raise OverReadError(
                f"the store below sent {count} bytes more than were asked for: its server ignores ranges; "
                "strict=False lets that pass"
            )

    # Writing, which it refuses.

    @property
    def read_only(self) -> bool:
        """True."""
        return True

    @property
    def supports_writes(self) -> bool:
        """False."""
        return False

    @property
    def supports_deletes(self) -> bool:
        """False."""
        return False

    def _check_writable(self) -> None:
        raise ValueError(_READ_ONLY)

    async def set(self, key: str, value: Buffer) -> None:
        """Raise ValueError."""
        self._check_writable()

    async def set_if_not_exists(self, key: str, value: Buffer) -> None:
        """Raise ValueError."""
        self._check_writable()

    async def _set_many(self, values: Iterable[tuple[str, Buffer]]) -> None:
        self._check_writable()

    def set_sync(self, key: str, value: Buffer) -> None:
        """Raise ValueError."""
        self._check_writable()

    async def delete(self, key: str) -> None:
        """Raise ValueError."""
        self._check_writable()

    async def delete_dir(self, prefix: str) -> None:
        """Raise ValueError."""
        self._check_writable()

    def delete_sync(self, key: str) -> None:
        """Raise ValueError."""
        self._check_writable()

    async def clear(self) -> None:
        """Raise ValueError."""
        self._check_writable()


_READ_ONLY = (
    "store was opened in read-only mode and does not support writing: a PrefixStore reads only, so write to the store "
    "that it was made of"
)


def _checked(rate: float | None, bytes_per_chunk: int | None) -> tuple[float | None, int | None]:
    if rate is not None and bytes_per_chunk is not None:
        raise TypeError("rate and bytes_per_chunk are two ways to say the same: give one of them")
    if rate is not None and not 0 < rate <= 1:
        raise ValueError(f"rate={rate} is out of range: it is a share of the raw size, above 0 and up to 1")
    if bytes_per_chunk is None:
        return rate, None
    if bytes_per_chunk < _SMALLEST:
        raise ValueError(f"bytes_per_chunk={bytes_per_chunk} is too small: a chunk takes {_SMALLEST} bytes at least")
    return None, bytes_per_chunk - (bytes_per_chunk - _HEADER) % _WORD


def _is_document(key: str) -> bool:
    return key.rpartition("/")[2] in _DOCUMENTS


def _is_below(key: str, path: str) -> bool:
    return not path or key == path or key.startswith(f"{path}/")


def _parents(key: str) -> Iterator[str]:
    while key:
        key = key.rpartition("/")[0]
        yield key


def _array_paths(key: str) -> list[str]:
    """Return where the array may be that a key is a chunk of, the likeliest first."""
    parts = key.split("/")
    paths: list[str] = []
    while parts and _CHUNK_KEY.fullmatch(parts[-1]):
        # Keys of zarr 3 begin with a c; those of zarr 2, which it has kept, with a number.
        likely = parts.pop().startswith("c")
        paths.insert(0 if likely else len(paths), "/".join(parts))
    return paths


def _parsed(data: bytes) -> dict[str, Any]:
    """Return a document, an empty one if it is none."""
    try:
        document = json.loads(data)
    except ValueError:
        return {}
    return document if isinstance(document, dict) else {}


def _name_of(codec: Any) -> str:
    name = codec.get("name", "") if isinstance(codec, dict) else codec
    return str(name)


def _configuration_of(codec: Any) -> dict[str, Any]:
    return codec.get("configuration") or {} if isinstance(codec, dict) else {}


def _layout_of_array(document: dict[str, Any]) -> _Layout:
    """Describe an array by its metadata of zarr format 3."""
    codecs = document.get("codecs") or []
    names = [_name_of(codec) for codec in codecs]
    if _CODEC in names:
        problem = _behind(names)
        return _Layout(True, _raw_size(document, _outer_shape(document)), None, problem)
    if "sharding_indexed" not in names:
        return _FOREIGN
    configuration = _configuration_of(codecs[names.index("sharding_indexed")])
    inner = [_name_of(codec) for codec in configuration.get("codecs", [])]
    if _CODEC not in inner:
        return _layout_of_nested(configuration)
    problem = _behind(inner) or _behind_shards(names)
    outer, shape = _outer_shape(document), configuration.get("chunk_shape", [])
    if outer is None:
        return _Layout(True, problem=problem or "its shards differ in shape, for which there is no cure yet")
    order, checksum = _index_codecs(configuration.get("index_codecs"))
    if not order:
        problem = problem or "the index of its shards has other codecs than bytes and crc32c: write it with these"
    location = configuration.get("index_location", "end")
    count = math.prod(math.ceil(whole / part) for whole, part in zip(outer, shape, strict=True))
    return _Layout(True, _raw_size(document, shape), _Shard(count, location == "start", order, checksum), problem)


def _layout_of_nested(configuration: dict[str, Any]) -> _Layout:
    for codec in configuration.get("codecs", []):
        if _name_of(codec) == "sharding_indexed":
            inner = _configuration_of(codec)
            if _CODEC in map(_name_of, inner.get("codecs", [])) or _layout_of_nested(inner).ours:
                return _Layout(True, problem="it has shards in shards: write it with shards of one level")
    return _FOREIGN


def _behind(names: list[str]) -> str:
    others = names[names.index(_CODEC) + 1 :]
    if not others:
        return ""
    return (
        f"{', '.join(others)} behind teko would need its chunks whole: create the array by teko.zarr.create_array, or "
        "with compressors=None"
    )


def _behind_shards(names: list[str]) -> str:
    others = names[names.index("sharding_indexed") + 1 :]
    return f"{', '.join(others)} behind the shards would need them whole: write it without" if others else ""


def _outer_shape(document: dict[str, Any]) -> list[int] | None:
    grid = document.get("chunk_grid")
    if _name_of(grid) != "regular":
        return None
    shape = _configuration_of(grid).get("chunk_shape")
    return shape if isinstance(shape, list) else None


def _raw_size(document: dict[str, Any], shape: Sequence[int] | None) -> int | None:
    if shape is None:
        return None
    try:
        return math.prod(shape) * np.dtype(_name_of(document.get("data_type"))).itemsize
    except TypeError:
        return None


def _index_codecs(codecs: Any) -> tuple[str, bool]:
    """Return the byte order of an index, and whether it has a checksum; no order if it is written otherwise."""
    if codecs is None:
        return "<", True
    names = [_name_of(codec) for codec in codecs]
    if names not in (["bytes"], ["bytes", "crc32c"]):
        return "", False
    big = _configuration_of(codecs[0]).get("endian", "little") == "big"
    return ">" if big else "<", len(names) == 2


def _request_for(piece: _Piece, known: bytes, wanted: int | None) -> ByteRequest | None:
    """Return what to ask for to have the first bytes of a piece, some of which are known."""
    if piece.start < 0:
        return SuffixByteRequest(-piece.start)
    begin = piece.start + max(0, len(known) - _AGAIN)
    if piece.size is not None:
        return RangeByteRequest(begin, piece.start + (piece.size if wanted is None else min(wanted, piece.size)))
    if wanted is not None:
        return RangeByteRequest(begin, wanted)
    return OffsetByteRequest(begin) if begin else None


def _size_of(request: ByteRequest | None) -> int | None:
    """Return how many bytes a request asks for, None if that is all there are behind its start."""
    size: int | None = None
    if isinstance(request, RangeByteRequest):
        size = request.end - request.start
    elif isinstance(request, SuffixByteRequest):
        size = request.suffix
    return size


def _range_of(data: bytes | None, request: ByteRequest | None) -> bytes | None:
    if data is None or request is None:
        return data
    if isinstance(request, RangeByteRequest):
        return data[request.start : request.end]
    if isinstance(request, OffsetByteRequest):
        return data[request.offset :]
    if isinstance(request, SuffixByteRequest):
        return data[max(0, len(data) - request.suffix) :]
    raise ValueError(f"Unexpected byte_range, got {request}.")


def _cache_key(piece: _Piece) -> str:
    return f"{piece.key}/at{piece.start}"


async def _delete_below(store: Store, path: str) -> None:
    await store._ensure_open()
    await store.delete_dir(path)
