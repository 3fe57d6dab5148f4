# SPDX-License-Identifier: Apache-2.0
"""What PrefixStore keeps, for whom, and for how long."""

import asyncio
import errno
import threading

import numpy as np
import pytest
from store_arrays import (
    IMAGE,
    PROTOTYPE,
    SHARDS,
    chunk_sizes,
    filled,
    get,
    prefix_size,
    read,
    smooth,
    stored_chunks,
    write,
)
from store_origins import Counting, Slow
from zarr.core.sync import sync
from zarr.storage import LocalStore, MemoryStore

from teko.zarr import PrefixStore


@SHARDS
def test_readers_at_the_same_time_fetch_once(shards):
    slow = Slow(filled(shards))
    store = PrefixStore(slow, 0.02)
    key = "c/0/0"

    async def many():
        return await asyncio.gather(*(store.get(key, PROTOTYPE) for _ in range(50)))

    sync(store.get("zarr.json", PROTOTYPE))
    values = {value.to_bytes() for value in sync(many())}
    assert len(values) == 1
    assert len([name for name, *_ in slow.log if name == key]) == (1 if shards is None else 5)
    assert store.stats.hits >= 49


def test_threads_and_event_loops_fetch_once():
    slow = Slow(filled())
    store = PrefixStore(slow, 0.02)
    values = []

    def own_loop():
        values.append(asyncio.run(store.get("c/1/1", PROTOTYPE)).to_bytes())

    threads = [threading.Thread(target=own_loop) for _ in range(50)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(values) == 50
    assert len(set(values)) == 1
    assert [name for name, *_ in slow.log] == ["zarr.json", "c/1/1"]


def test_a_reader_that_gives_up_leaves_no_one_waiting():
    store = PrefixStore(Slow(filled()), 0.02)

    async def run():
        await store.get("zarr.json", PROTOTYPE)
        first = asyncio.create_task(store.get("c/0/0", PROTOTYPE))
        await asyncio.sleep(0.01)
        second = asyncio.create_task(store.get("c/0/0", PROTOTYPE))
        third = asyncio.create_task(store.get("c/0/0", PROTOTYPE))
        await asyncio.sleep(0.01)
        first.cancel()
        third.cancel()
        return len(await asyncio.wait_for(second, 5))

    assert asyncio.run(run()) == prefix_size(0.02)


def test_one_who_waits_and_gives_up_disturbs_nobody():
    store = PrefixStore(Slow(filled()), 0.02)

    async def run():
        await store.get("zarr.json", PROTOTYPE)
        tasks = [asyncio.create_task(store.get("c/0/0", PROTOTYPE)) for _ in range(3)]
        await asyncio.sleep(0.01)
        tasks[1].cancel()
        return [len(await asyncio.wait_for(tasks[place], 5)) for place in (0, 2)]

    assert asyncio.run(run()) == [prefix_size(0.02)] * 2


def test_readers_at_the_same_time_fail_together():
    class Failing(Slow):
        async def get(self, key, prototype, byte_range=None):
            value = await super().get(key, prototype, byte_range)
            if key.startswith("c/"):
                raise OSError("the line is down")
            return value

    failing = Failing(filled())
    store = PrefixStore(failing, 0.02)

    async def many():
        return await asyncio.gather(*(store.get("c/0/0", PROTOTYPE) for _ in range(9)), return_exceptions=True)

    sync(store.get("zarr.json", PROTOTYPE))
    assert [type(found) for found in sync(many())] == [OSError] * 9
    assert len(failing.log) == 2


def test_drops_what_was_used_least_recently():
    size = prefix_size(0.02)
    counting = Counting(filled())
    store = PrefixStore(counting, 0.02, cache_bytes=2500)
    get(store, "zarr.json")
    held = 2500 // size
    keys = [f"c/0/{place}" for place in range(4)] + [f"c/1/{place}" for place in range(4)]
    for key in keys[:held]:
        get(store, key)
    get(store, keys[0])
    assert store.stats.hits == 1
    assert store.stats.evictions == 0
    get(store, keys[held])
    assert store.stats.evictions == 1
    before = len(counting.log)
    get(store, keys[0])
    assert len(counting.log) == before
    get(store, keys[1])
    assert len(counting.log) == before + 1


@pytest.mark.parametrize("shards", [None, (256, 256), (128, 128)])
def test_refines_an_array_larger_than_the_cache_without_asking_twice(shards):
    memory = filled(shards)
    sizes, indexes = chunk_sizes(memory, shards)
    room = 2 * (indexes + 16 * prefix_size(0.1))
    assert room < sum(sizes) / 2
    store = PrefixStore(Counting(memory), 0.02, cache_bytes=room)
    for step in (store, store.refined(0.1), store.refined()):
        image = read(step)
    assert np.array_equal(image, IMAGE)
    assert store.stats.evictions > 0
    assert store._store.received(documents=False) == sum(sizes) + indexes + 2 * 4 * 16


@SHARDS
def test_works_without_a_cache(shards):
    store = PrefixStore(filled(shards), 0.02, cache_bytes=0)
    assert np.array_equal(read(store), read(PrefixStore(filled(shards), 0.02)))
    assert np.array_equal(read(store.refined()), IMAGE)


@SHARDS
def test_keeps_first_bytes_in_a_store(shards, tmp_path):
    memory = filled(shards)
    coarse = read(PrefixStore(memory, 0.02, cache=LocalStore(tmp_path)))
    counting = Counting(memory)
    store = PrefixStore(counting, 0.02, cache=LocalStore(tmp_path))
    assert np.array_equal(read(store), coarse)
    assert counting.received(documents=False) == 0
    assert np.array_equal(read(store.refined()), IMAGE)
    total = sum(stored_chunks(memory).values())
    _, indexes = chunk_sizes(memory, shards)
    assert counting.received(documents=False) == total - 16 * (prefix_size(0.02) - 4) - indexes
    store.forget()
    assert not any(path.is_file() for path in tmp_path.rglob("*"))


@pytest.mark.parametrize("cached", [False, True], ids=["memory", "lasting"])
@pytest.mark.parametrize(
    ("before", "after"),
    [
        ({}, {"chunks": (256, 256)}),
        ({"shards": (512, 512)}, {"shards": (256, 256)}),
        ({"shards": (256, 256)}, {}),
    ],
    ids=["chunks", "shards", "no shards"],
)
def test_an_array_that_was_replaced(before, after, cached):
    lasting = MemoryStore() if cached else None
    memory = MemoryStore()
    write(memory, IMAGE, **before)
    store = PrefixStore(memory, cache=lasting)
    read(store)
    memory._store_dict.clear()
    other = smooth(noise=40, seed=5)
    write(memory, other, **after)
    assert np.array_equal(read(store), other)
    assert np.array_equal(read(PrefixStore(memory, cache=lasting)), other)


@SHARDS
def test_what_is_forgotten_on_its_way_is_not_kept(shards):
    lasting = MemoryStore()
    store = PrefixStore(Slow(filled(shards)), 0.02, cache=lasting)

    async def run():
        await store.get("zarr.json", PROTOTYPE)
        reading = asyncio.create_task(store.get("c/0/0", PROTOTYPE))
        await asyncio.sleep(0.01)
        await asyncio.to_thread(store.forget, "c")
        if shards is not None:
            await asyncio.sleep(0.06)
            await asyncio.to_thread(store.forget, "c")
        await reading

    asyncio.run(run())
    assert not lasting._store_dict


@SHARDS
def test_a_cache_that_is_full_does_no_harm(shards):
    class Full(MemoryStore):
        async def set(self, key, value, byte_range=None):
            raise OSError(errno.ENOSPC, "No space left on device")

    memory = filled(shards)
    store = PrefixStore(memory, 0.02, cache=Full())
    with pytest.warns(UserWarning, match=r"the cache could not keep the first bytes of c/\d/\d: .*No space left"):
        coarse = read(store)
    assert np.array_equal(coarse, read(PrefixStore(memory, 0.02)))
