# SPDX-License-Identifier: Apache-2.0
"""A zarr store that reads the first bytes of each chunk: the whole array, coarser."""

import json
import warnings
from collections.abc import AsyncGenerator, AsyncIterator, Iterable, Sequence
from typing import Any, Self

from zarr.abc.store import ByteRequest, RangeByteRequest, Store
from zarr.core.buffer import Buffer, BufferPrototype, default_buffer_prototype
from zarr.core.sync import sync

from teko.zarr._budget import Budget
from teko.zarr._cache import PrefixStats
from teko.zarr._layout import (
    FOREIGN,
    Layout,
    array_paths,
    arrays_below,
    is_array,
    is_document,
    is_ours_of_old,
    layout_of_array,
    mark,
    parsed,
)
from teko.zarr._origin import Origin
from teko.zarr._pieces import Piece, range_of
from teko.zarr._read_only import ReadOnlyStore
from teko.zarr._shards import ShardReader
from teko.zarr._tasks import all_of

_LARGEST_GAP = 2**14


class PrefixStore(ReadOnlyStore):
    """A zarr store, read only, that gives the first bytes of each teko chunk of another one.

    Arrays that are opened through it have their shape and type, and approximate values, for a share of the bytes. It
    goes around any store of zarr's, and works in shards and outside. Arrays without our codec pass as they are, and
    so does everything if neither rate nor bytes_per_chunk is given. It can be pickled, by itself and in arrays; its
    cache stays behind. Threads and event loops may share it.

    Args:
        store: where the arrays are.
        rate: of each chunk, or inner chunk of a shard, as a share of its raw size, above 0 and up to 1. Of n raw bytes
            it reads the 10 of the header and rate * n more, rounded down to bytes and then up to words of 4; no fewer
            than 14. 1 is a bound like others: chunks of noise can be longer, and no rate at all means whole.
        bytes_per_chunk: the same in bytes, 14 at least, rounded down to 10 and a number of words.
        cache_bytes: most bytes of chunks that are kept in memory. What was used least recently goes first; prefixes
            and complete chunks have half of the room each for sure.
        cache: another zarr store, for this alone, where first bytes are kept as well. It is not bounded. Processes
            may share it, and it outlives them. Where it cannot be written there is a warning, and reading goes on.
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
        self._budget = Budget.of(rate, bytes_per_chunk)
        self._origin = Origin(store, cache_bytes, cache, strict)
        self._max_gap_bytes = max_gap_bytes

    @classmethod
    async def open(cls, *args: Any, **kwargs: Any) -> Self:
        """Make a store, as the class does, and open the one below."""
        store = cls(*args, **kwargs)
        await store._ensure_open()
        return store

    @property
    def stats(self) -> PrefixStats:
        """What has been asked for and received: a live object."""
        return self._origin.shared.stats

    @property
    def rate(self) -> float | None:
        """Share of each chunk's raw size that is read."""
        return self._budget.rate

    @property
    def bytes_per_chunk(self) -> int | None:
        """Most bytes that are read of each chunk, where they were given as such."""
        return self._budget.bytes_per_chunk

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
        return self._like_this(_budget=Budget.of(rate, bytes_per_chunk))

    def forget(self, path: str = "") -> None:
        """Drop what is known of the array or group at a path: first bytes, indexes of shards and metadata.

        It is for arrays that were overwritten. Stores that were refined from one another forget together; those in
        other processes do not. With a cache store it is not to be called on zarr's own event loop.
        """
        self._origin.shared.forget(path)
        if self._origin.lasting.store is not None:
            sync(self._origin.lasting.forget(path))

    def _like_this(self, **changes: Any) -> Self:
        other = object.__new__(type(self))
        other.__dict__.update(vars(self), **changes)
        return other

    # What makes it a store.

    def _with_store(self, store: Store) -> Self:
        return self._like_this(_store=store, _origin=self._origin.around(store))

    def with_read_only(self, read_only: bool = False) -> Self:
        """Return a store like this one, which never writes."""
        if not read_only:
            self._check_writable()
        return self._like_this()

    def __eq__(self, value: object) -> bool:
        """Tell whether it reads the same bytes of an equal store."""
        return isinstance(value, PrefixStore) and self._options() == value._options()

    __hash__ = None  # type: ignore[assignment]  # as zarr's own stores

    def _options(self) -> tuple[object, ...]:
        return type(self), self._store, self._budget, self._origin.strict

    def __str__(self) -> str:
        """Name the store below."""
        return f"prefix-{self._store}"

    def __repr__(self) -> str:
        """Show how it was made."""
        budget = f"bytes_per_chunk={self.bytes_per_chunk}" if self.bytes_per_chunk else f"rate={self.rate}"
        return f"PrefixStore({self._store!r}, {budget})"

    # Reading.

    async def get(self, key: str, prototype: BufferPrototype, byte_range: ByteRequest | None = None) -> Buffer | None:
        """Read a value: a chunk is its first bytes, and a range of it a range of these."""
        if is_document(key):
            return await self._get_document(key, prototype, byte_range)
        layout = await self._layout_of(key)
        if self._is_passed(layout):
            return await self._origin.pass_on(key, prototype, byte_range)
        wanted = self._wanted(layout, key)
        if layout.shard is not None:
            data = await ShardReader(self._origin, key, layout.shard, wanted, self._max_gap_bytes).get(byte_range)
        elif byte_range is not None and wanted is None:
            return await self._origin.pass_on(key, prototype, byte_range)
        else:
            (data,) = await self._origin.read([Piece(key)], wanted)
            data = range_of(data, byte_range)
        return None if data is None else prototype.buffer.from_bytes(data)

    async def get_partial_values(
        self, prototype: BufferPrototype, key_ranges: Iterable[tuple[str, ByteRequest | None]]
    ) -> list[Buffer | None]:
        """Read several values, or ranges of them, at once."""
        return await all_of(self.get(key, prototype, byte_range) for key, byte_range in key_ranges)

    async def _get_many(
        self, requests: Iterable[tuple[str, BufferPrototype, ByteRequest | None]]
    ) -> AsyncGenerator[tuple[str, Buffer | None], None]:
        listed = list(requests)
        values = await all_of(self.get(*request) for request in listed)
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
        merging = {
            "max_concurrency": max_concurrency,
            "max_gap_bytes": max_gap_bytes,
            "max_coalesced_bytes": max_coalesced_bytes,
        }
        try:
            layout = await self._layout_of(key)
            is_passed = self._is_passed(layout)
            found = [] if is_passed else await self._get_several(key, layout, byte_ranges, max_gap_bytes)
            if None in found:
                raise FileNotFoundError(key)
        except Exception as problem:
            raise ExceptionGroup(f"ranges of {key} could not be read", [problem]) from None
        if not is_passed:
            yield [(place, prototype.buffer.from_bytes(data or b"")) for place, data in enumerate(found)]
            return
        given = {name: value for name, value in merging.items() if value is not None}
        async for batch in self._store.get_ranges(key, byte_ranges, prototype=prototype, **given):
            size = sum(0 if buffer is None else len(buffer) for _, buffer in batch)
            self._origin.shared.count(requests=1, bytes_asked=size, bytes_received=size)
            yield batch

    async def _get_several(
        self, key: str, layout: Layout, byte_ranges: Sequence[ByteRequest | None], max_gap_bytes: int | None
    ) -> list[bytes | None]:
        """Read several ranges of a chunk or a shard."""
        requests = [request for request in byte_ranges if isinstance(request, RangeByteRequest)]
        if layout.shard is not None and len(requests) == len(byte_ranges):
            gap = self._max_gap_bytes if max_gap_bytes is None else min(max_gap_bytes, self._max_gap_bytes)
            reader = ShardReader(self._origin, key, layout.shard, self._wanted(layout, key), gap)
            return await reader.get_ranges(requests)
        prototype = default_buffer_prototype()
        buffers = await all_of(self.get(key, prototype, request) for request in byte_ranges)
        return [None if buffer is None else buffer.to_bytes() for buffer in buffers]

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
            data = await self._origin.ask(key, None)
            if data is not None:
                data = range_of(self._marked(path, data), byte_range)
            return None if data is None else prototype.buffer.from_bytes(data)
        buffer = await self._origin.pass_on(key, prototype, byte_range)
        if name == ".zarray" and buffer is not None and byte_range is None:
            self._origin.shared.learn(path, FOREIGN)
            if self._budget.cuts and is_ours_of_old(parsed(buffer.to_bytes())):
                warnings.warn(
                    f"the array {path!r} is of zarr format 2, whose chunks are read whole: a copy in format 3 can be "
                    "cut",
                    stacklevel=2,
                )
        return buffer

    def _marked(self, path: str, data: bytes) -> bytes:
        """Learn the arrays that a document describes; return it with the codec told how much it gets."""
        document = parsed(data)
        marks = [
            self._mark(described, f"{path}/{name}".strip("/")) for name, described in arrays_below(document).items()
        ]
        if is_array(document):
            marks.append(self._mark(document, path))
            self._budget.check(layout_of_array(document), path)
        return json.dumps(document).encode() if any(marks) else data

    def _mark(self, document: dict[str, Any], path: str) -> bool:
        """Learn an array, and tell its codec how much it gets; return whether it was told."""
        layout = layout_of_array(document)
        self._origin.shared.learn(path, layout)
        wanted = None if self._budget.problem(layout) else self._budget.wanted(layout)
        if not layout.ours or wanted is None:
            return False
        mark(document, wanted)
        return True

    async def _layout_of(self, key: str) -> Layout:
        """Find the array that a key is a chunk of: by what passed already, or by its metadata."""
        if layout := self._origin.shared.layout_above(key):
            return layout
        known = self._origin.shared.layouts
        for path in array_paths(key):
            if path in known:
                continue
            (data,) = await self._origin.read([Piece(f"{path}/zarr.json".lstrip("/"))], None)
            document = parsed(data or b"")
            layout = layout_of_array(document) if is_array(document) else None
            self._origin.shared.learn(path, layout)
            if layout:
                return layout
        return FOREIGN

    def _is_passed(self, layout: Layout) -> bool:
        """Tell whether chunks of an array are none of this store's business."""
        return not layout.ours or (bool(layout.problem) and not self._budget.cuts)

    def _wanted(self, layout: Layout, key: str) -> int | None:
        self._budget.check(layout, key)
        return self._budget.wanted(layout)
