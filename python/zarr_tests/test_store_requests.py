# SPDX-License-Identifier: Apache-2.0
"""What PrefixStore asks for, to the byte, and what it gives."""

import asyncio

import numpy as np
import pytest
from samples import inexact
from store_arrays import (
    IMAGE,
    PROTOTYPE,
    RAW,
    SHARDS,
    chunk_sizes,
    filled,
    get,
    prefix_size,
    read,
    stored,
    stored_chunks,
    write,
)
from store_origins import Counting, Strict
from zarr.abc.store import OffsetByteRequest, RangeByteRequest, SuffixByteRequest
from zarr.core.sync import sync
from zarr.storage import MemoryStore

from teko.zarr import PrefixStore


@SHARDS
@pytest.mark.parametrize("rate", [0.002, 0.02, 0.1, 1.0])
def test_asks_for_the_predicted_bytes(shards, rate):
    memory = filled(shards)
    counting = Counting(memory)
    store = PrefixStore(counting, rate)
    coarse = read(store)
    sizes, indexes = chunk_sizes(memory, shards)
    assert len(sizes) == 16
    expected = sum(min(prefix_size(rate), size) for size in sizes) + indexes
    assert counting.received(documents=False) == expected
    assert counting.others == []
    document = stored(memory)["zarr.json"]
    assert store.stats.bytes_received == counting.received() == expected + document
    assert store.stats.requests == len(counting.log)
    assert store.stats.over_read == 0
    assert np.array_equal(coarse, IMAGE) == (rate == 1)


@SHARDS
def test_asks_for_the_predicted_bytes_of_a_part(shards):
    counting = Counting(filled(shards))
    store = PrefixStore(counting, 0.02)
    part = read(store, selection=(slice(10, 120), slice(140, 400)))
    index = 0 if shards is None else 2 * 68
    assert counting.received(documents=False) == 3 * prefix_size(0.02) + index
    assert np.array_equal(part, read(PrefixStore(filled(), 0.02))[10:120, 140:400])


def test_rounds_the_rate_down_to_bytes_and_up_to_words():
    counting = Counting(filled())
    read(PrefixStore(counting, 0.001), selection=(0, 0))  # 32.8 bytes, and so 8 words
    assert prefix_size(0.001) == 42
    assert counting.log[-1] == ("c/0/0", RangeByteRequest(0, 42), 42)


@SHARDS
def test_a_rate_of_1_is_a_bound(shards):
    noise = np.random.default_rng(3).integers(0, 2**16, IMAGE.shape, "uint16")
    memory = filled(shards, noise)
    sizes, indexes = chunk_sizes(memory, shards)
    assert min(sizes) > prefix_size(1) >= RAW + 10
    counting = Counting(memory)
    store = PrefixStore(counting, 1)
    assert not np.array_equal(read(store), noise)
    assert counting.received(documents=False) == 16 * prefix_size(1) + indexes
    assert np.array_equal(read(store.refined()), noise)


@pytest.mark.parametrize(("given", "asked"), [(14, 14), (17, 14), (18, 18), (1001, 998)])
def test_rounds_bytes_per_chunk_down_to_words(given, asked):
    counting = Counting(filled())
    store = PrefixStore(counting, bytes_per_chunk=given)
    read(store, selection=(0, 0))
    assert counting.log[-1] == ("c/0/0", RangeByteRequest(0, asked), asked)
    assert store.bytes_per_chunk == asked


@SHARDS
def test_fetches_what_is_missing(shards):
    memory = filled(shards)
    counting = Counting(memory)
    store = PrefixStore(counting, 0.02)
    errors = []
    for refined in (store, store.refined(0.1), store.refined()):
        errors.append(np.abs(read(refined).astype(int) - IMAGE).mean())
    assert errors[0] > errors[1] > errors[2] == 0
    whole = sum(stored_chunks(memory).values())
    # Each of two refinements repeats 4 bytes of each of 16 chunks.
    assert counting.received(documents=False) == whole + 2 * 4 * 16
    assert counting.received(documents=False) < 1.005 * whole
    before = len(counting.log)
    assert np.array_equal(read(store.refined()), IMAGE)
    assert [entry for entry in counting.log[before:] if not entry[0].endswith("zarr.json") and entry[2]] == []
    assert store.stats.hits > 0


@SHARDS
def test_refines_where_chunks_end(shards):
    # Chunks of exactly the bytes that are read first: the next request begins where they end.
    size = prefix_size(0.05)
    memory = filled(shards, max_bytes=size)
    store = PrefixStore(Strict(memory), 0.05)
    first = read(store)
    for refined in (store.refined(0.2), store.refined()):
        assert np.array_equal(read(refined), first)


@SHARDS
def test_whole_chunks_pass_and_are_kept(shards):
    memory = filled(shards)
    counting = Counting(memory)
    store = PrefixStore(counting)
    assert get(store, "zarr.json") == memory._store_dict["zarr.json"].to_bytes()
    for _ in range(2):
        assert np.array_equal(read(store), IMAGE)
    assert counting.received(documents=False) == sum(stored_chunks(memory).values())


@SHARDS
def test_chunks_that_are_stored_as_they_are_come_whole(shards):
    image = np.tile(inexact(), (4, 4))
    memory = MemoryStore()
    write(memory, image, chunks=(64, 64), shards=shards and (128, 128), on_inexact="store_raw")
    store = PrefixStore(memory, 0.05)
    assert np.array_equal(read(store), image)
    requests = store.stats.requests
    assert np.array_equal(read(store.refined()), image)
    assert store.stats.requests <= requests + 3


def test_gives_ranges_of_first_bytes():
    memory = filled()
    store = PrefixStore(memory, bytes_per_chunk=98)
    first = memory._store_dict["c/0/0"].to_bytes()[:98]
    assert get(store, "c/0/0") == first
    assert get(store, "c/0/0", RangeByteRequest(5, 2000)) == first[5:]
    assert get(store, "c/0/0", OffsetByteRequest(90)) == first[90:]
    assert get(store, "c/0/0", SuffixByteRequest(3)) == first[-3:]
    assert get(store, "c/9/9") is None


def test_ranges_over_several_inner_chunks_are_not_cut():
    memory = filled((256, 256))
    whole = memory._store_dict["c/0/0"].to_bytes()
    store = PrefixStore(memory, 0.01)
    assert get(store, "c/0/0", RangeByteRequest(0, 40000)) == whole[:40000]


def test_merges_requests_where_told():
    memory = filled((512, 512))
    requests = []
    for gap in (0, 2**14):
        counting = Counting(memory)
        read(PrefixStore(counting, 0.25, max_gap_bytes=gap))
        requests.append(len([key for key, *_ in counting.log if key == "c/0/0"]))
    assert requests[0] == 17
    assert requests[1] == 2


@pytest.mark.skipif(not hasattr(MemoryStore, "get_ranges"), reason="zarr 3.1 has no get_ranges")
def test_gives_several_ranges_at_once():
    counting = Counting(filled((512, 512)))
    store = PrefixStore(counting, 0.02)
    index = np.frombuffer(get(store, "c/0/0", SuffixByteRequest(260))[:-4], "<u8").reshape(-1, 2).tolist()
    ranges = [RangeByteRequest(start, start + size) for start, size in index[:5]]
    found = dict(store.get_ranges_sync("c/0/0", ranges, prototype=PROTOTYPE, max_gap_bytes=2**20))
    assert [len(found[place]) for place in range(5)] == [prefix_size(0.02)] * 5
    assert counting.received() < 6 * prefix_size(0.02) + 2000
    with pytest.raises(ExceptionGroup) as caught:
        store.get_ranges_sync("c/7/7", ranges, prototype=PROTOTYPE)
    assert caught.group_contains(FileNotFoundError)


def test_reads_many_at_once():
    memory = filled()
    store = PrefixStore(memory, bytes_per_chunk=98)
    pairs = [("c/0/0", None), ("c/0/1", RangeByteRequest(0, 10)), ("c/9/9", None)]
    values = sync(store.get_partial_values(PROTOTYPE, pairs))
    assert [value and len(value) for value in values] == [98, 10, None]

    async def many():
        requests = [(key, PROTOTYPE, byte_range) for key, byte_range in pairs]
        return {key: value and len(value) async for key, value in store._get_many(requests)}

    assert sync(many()) == {"c/0/0": 98, "c/0/1": 10, "c/9/9": None}
    assert len(store.get_sync("c/0/0")) == 98


class Failing(Counting):
    """Fails at the third request for chunks, and is slow, so that others are on their way then."""

    asked = 0

    async def get(self, key, prototype, byte_range=None):
        if not key.endswith("zarr.json") and not isinstance(byte_range, SuffixByteRequest):
            self.asked += 1
            if self.asked == 3:
                raise OSError("the line is down")
            await asyncio.sleep(0.02)
        return await super().get(key, prototype, byte_range)


async def _partial_values(store):
    return await store.get_partial_values(PROTOTYPE, [(f"c/{place // 4}/{place % 4}", None) for place in range(16)])


async def _many(store):
    requests = [(f"c/{place // 4}/{place % 4}", PROTOTYPE, None) for place in range(16)]
    return [value async for value in store._get_many(requests)]


async def _shard(store):
    return await store.get("c/0/0", PROTOTYPE)


@pytest.mark.parametrize(("ask", "shards"), [(_partial_values, None), (_many, None), (_shard, (512, 512))])
def test_after_an_error_nothing_is_asked_for(ask, shards):
    failing = Failing(filled(shards))
    store = PrefixStore(failing, 0.02)

    async def run():
        await store.get("zarr.json", PROTOTYPE)
        with pytest.raises(OSError, match="the line is down"):
            await ask(store)
        before = failing.asked, list(failing.log)
        await asyncio.sleep(0.2)
        assert (failing.asked, failing.log) == before

    asyncio.run(run())


def test_sizes_are_those_of_what_is_stored():
    counting = Counting(filled())
    store = PrefixStore(counting, 0.02)
    assert sync(store.getsize("c/0/0")) == stored(counting._store)["c/0/0"]
    assert sync(store.getsize_prefix("c")) == sum(stored_chunks(counting._store).values())
    assert store.stats.requests == 0
