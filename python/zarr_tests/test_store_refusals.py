# SPDX-License-Identifier: Apache-2.0
"""What PrefixStore refuses, with the cure in the message; damage, changes, and servers that ignore ranges."""

import numpy as np
import pytest
import zarr
from store_arrays import IMAGE, PROTOTYPE, SHARDS, filled, read, smooth, stored, write
from store_origins import Careless
from zarr.codecs import BytesCodec, Crc32cCodec, ShardingCodec, ZstdCodec
from zarr.core.sync import sync
from zarr.storage import MemoryStore

from teko.zarr import ChangedError, OverReadError, PrefixError, PrefixStore, TekoCodec


@pytest.mark.parametrize("behind", [ZstdCodec(), Crc32cCodec()], ids=["zstd", "crc32c"])
def test_refuses_codecs_behind(behind):
    memory = MemoryStore()
    array = zarr.create_array(
        memory, shape=(64, 64), chunks=(32, 32), dtype="uint8", serializer=TekoCodec(), compressors=[behind]
    )
    array[:] = 7
    name = behind.to_dict()["name"]
    with pytest.raises(PrefixError, match=rf"{name} behind teko .* create the array by teko.zarr.create_array"):
        zarr.open_array(PrefixStore(memory, 0.1), mode="r")
    assert (read(PrefixStore(memory)) == 7).all()
    assert (read(PrefixStore(memory).refined()) == 7).all()


def test_refuses_codecs_behind_in_groups_where_they_are_read():
    memory = MemoryStore()
    group = zarr.create_group(memory)
    group.create_array("bad", shape=(64, 64), chunks=(32, 32), dtype="uint8", serializer=TekoCodec())[:] = 7
    write(memory, IMAGE, path="good")
    zarr.consolidate_metadata(memory)
    opened = zarr.open_group(PrefixStore(memory, 0.1), mode="r")
    assert opened["good"][:].shape == IMAGE.shape
    with pytest.raises(PrefixError, match=r"bad/c/0/0 .* zstd behind teko"):
        opened["bad"][:]


def test_refuses_shards_in_shards():
    memory = MemoryStore()
    inner = ShardingCodec(chunk_shape=(32, 32), codecs=[TekoCodec()])
    outer = ShardingCodec(chunk_shape=(64, 64), codecs=[inner])
    zarr.create_array(memory, shape=(128, 128), chunks=(128, 128), dtype="uint8", serializer=outer, compressors=None)
    with pytest.raises(PrefixError, match="shards in shards: write it with shards of one level"):
        zarr.open_array(PrefixStore(memory, 0.1), mode="r")


def test_refuses_codecs_around_shards_and_indexes():
    for arguments, sentence in [
        ({"compressors": [Crc32cCodec()]}, "crc32c behind the shards"),
        ({"index": [BytesCodec(), Crc32cCodec(), Crc32cCodec()]}, "other codecs than bytes and crc32c"),
    ]:
        memory = MemoryStore()
        index = arguments.get("index", [BytesCodec(), Crc32cCodec()])
        sharding = ShardingCodec(chunk_shape=(32, 32), codecs=[TekoCodec()], index_codecs=index)
        zarr.create_array(
            memory,
            shape=(64, 64),
            chunks=(64, 64),
            dtype="uint8",
            serializer=sharding,
            compressors=arguments.get("compressors"),
        )
        with pytest.raises(PrefixError, match=sentence):
            zarr.open_array(PrefixStore(memory, 0.1), mode="r")


@pytest.mark.parametrize(
    ("arguments", "error", "sentence"),
    [
        ({"rate": 0.1, "bytes_per_chunk": 100}, TypeError, "two ways to say the same"),
        ({"rate": 0}, ValueError, "rate=0 is out of range"),
        ({"rate": 1.01}, ValueError, "rate=1.01 is out of range"),
        ({"rate": float("nan")}, ValueError, "rate=nan is out of range"),
        ({"bytes_per_chunk": 13}, ValueError, "bytes_per_chunk=13 is too small"),
        ({"cache_bytes": -1}, ValueError, "cache_bytes=-1 is out of range"),
        ({"max_gap_bytes": 16385}, ValueError, "max_gap_bytes=16385 is out of range"),
    ],
)
def test_refuses_options(arguments, error, sentence):
    with pytest.raises(error, match=sentence):
        PrefixStore(MemoryStore(), **arguments)
    refinable = {name: value for name, value in arguments.items() if name in ("rate", "bytes_per_chunk")}
    if refinable:
        with pytest.raises(error, match=sentence):
            PrefixStore(MemoryStore()).refined(**refinable)


def test_refuses_what_is_no_store():
    with pytest.raises(TypeError, match="a zarr store is needed"):
        PrefixStore("somewhere")
    with pytest.raises(TypeError, match="refined"):
        PrefixStore(PrefixStore(MemoryStore()))


def test_refuses_to_write():
    memory = filled()
    before = stored(memory)
    store = PrefixStore(memory, 0.02)
    value = PROTOTYPE.buffer.from_bytes(b"data")
    calls = [
        lambda: sync(store.set("a", value)),
        lambda: sync(store.set_if_not_exists("a", value)),
        lambda: sync(store._set_many([("a", value)])),
        lambda: sync(store.delete("zarr.json")),
        lambda: sync(store.delete_dir("")),
        lambda: sync(store.clear()),
        lambda: store.set_sync("a", value),
        lambda: store.delete_sync("zarr.json"),
        lambda: store.with_read_only(False),
    ]
    for call in calls:
        with pytest.raises(ValueError, match="read-only mode and does not support writing: a PrefixStore reads only"):
            call()
    assert stored(memory) == before
    assert store.read_only
    assert not store.supports_writes
    assert not store.supports_deletes
    with pytest.raises(ValueError, match=r"cannot be written|read-only"):
        zarr.open_array(store, mode="r")[:] = 1


def test_refuses_indexes_that_are_damaged():
    memory = filled((512, 512))
    shard = bytearray(memory._store_dict["c/0/0"].to_bytes())
    shard[-10] ^= 1
    memory._store_dict["c/0/0"] = PROTOTYPE.buffer.from_bytes(bytes(shard))
    with pytest.raises(PrefixError, match="the index of a shard is damaged"):
        read(PrefixStore(memory, 0.1))


@pytest.mark.parametrize("location", ["start", "end"])
@pytest.mark.parametrize("cached", [False, True], ids=["memory", "lasting"])
def test_refuses_shards_that_are_too_short_each_time(location, cached):
    memory = MemoryStore()
    sharding = ShardingCodec(chunk_shape=(32, 32), codecs=[TekoCodec()], index_location=location)
    zarr.create_array(memory, shape=(128, 128), chunks=(128, 128), dtype="uint8", serializer=sharding, compressors=None)
    zarr.open_array(memory)[:] = 7
    shard = memory._store_dict["c/0/0"]
    memory._store_dict["c/0/0"] = PROTOTYPE.buffer.from_bytes(b"short")
    store = PrefixStore(memory, 0.1, cache=MemoryStore() if cached else None)
    for _ in range(3):
        with pytest.raises(PrefixError, match="the index of a shard has 5 bytes and not the 260"):
            read(store)
    memory._store_dict["c/0/0"] = shard
    assert (read(store) == 7).all()


@SHARDS
def test_a_server_that_ignores_ranges(shards):
    memory = filled(shards)
    store = PrefixStore(Careless(memory), 0.02)
    assert np.array_equal(read(store), read(PrefixStore(memory, 0.02)))
    assert store.stats.over_read > 100_000
    part = (slice(0, 20), slice(0, 20))
    assert np.array_equal(read(store.refined(), selection=part), IMAGE[part])
    assert np.array_equal(read(store.refined()), IMAGE)
    strict = PrefixStore(Careless(memory), 0.02, strict=True)
    with pytest.raises((OverReadError, ExceptionGroup)) as caught:
        read(strict)
    # Newer versions of zarr read shards by get_ranges, whose errors come in groups.
    problems = getattr(caught.value, "exceptions", [caught.value])
    assert [type(problem) for problem in problems] == [OverReadError]
    assert "ignores ranges; serve the array by one" in str(problems[0])
    assert np.array_equal(read(PrefixStore(memory, 0.02, strict=True)), read(store))


@SHARDS
def test_a_chunk_that_was_overwritten(shards):
    memory = filled(shards)
    store = PrefixStore(memory, 0.02)
    read(store)
    other = smooth(noise=40, seed=5)
    zarr.open_array(memory, mode="r+")[:] = other
    with pytest.raises(ChangedError, match=r"c/\d/\d has changed since .* forget"):
        read(store.refined())
    store.forget()
    assert np.array_equal(read(store.refined()), other)
    assert np.array_equal(read(store), read(PrefixStore(memory, 0.02)))
