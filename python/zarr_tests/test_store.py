# SPDX-License-Identifier: Apache-2.0
"""What PrefixStore asks for, to the byte, and what it makes of it."""

import asyncio
import json
import pickle
import threading

import numpy as np
import pytest
import zarr
from store_origins import Careless, Counting, Slow, Strict, read, smooth, stored, write
from zarr.abc.store import OffsetByteRequest, RangeByteRequest, SuffixByteRequest
from zarr.codecs import BytesCodec, Crc32cCodec, ShardingCodec, ZstdCodec
from zarr.core.buffer import default_buffer_prototype
from zarr.core.sync import sync
from zarr.storage import LocalStore, MemoryStore

from teko.zarr import ChangedError, OverReadError, PrefixError, PrefixStore, TekoCodec

PROTOTYPE = default_buffer_prototype()
IMAGE = smooth()
SHARDS = pytest.mark.parametrize("shards", [None, (256, 256)], ids=["chunks", "shards"])
RAW = 128 * 128 * 2


def get(store, key, byte_range=None):
    value = sync(store.get(key, PROTOTYPE, byte_range))
    return None if value is None else value.to_bytes()


def prefix_size(rate, raw=RAW):
    return 10 + 4 * max(1, -(-int(rate * raw) // 4))


def filled(shards=None, image=IMAGE, **options):
    store = MemoryStore()
    write(store, image, shards=shards, **options)
    return store


def chunk_sizes(store, shards):
    """Sizes of the chunks, or inner chunks, of an array in memory, and of all indexes."""
    values = {key: value.to_bytes() for key, value in store._store_dict.items() if not key.endswith("zarr.json")}
    if shards is None:
        return [len(value) for value in values.values()], 0
    count = shards[0] // 128 * (shards[1] // 128)
    tables = [np.frombuffer(value[-16 * count - 4 : -4], "<u8").reshape(-1, 2) for value in values.values()]
    return [int(size) for table in tables for size in table[:, 1]], (16 * count + 4) * len(values)


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


def test_rounds_the_rate_up_to_words():
    counting = Counting(filled())
    read(PrefixStore(counting, 0.001), selection=(0, 0))  # 32.8 bytes, and so 8 words
    assert counting.log[-1] == ("c/0/0", RangeByteRequest(0, 42), 42)


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
    whole = sum(size for key, size in stored(memory).items() if not key.endswith("zarr.json"))
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
    sizes = [size for key, size in stored(memory).items() if not key.endswith("zarr.json")]
    assert counting.received(documents=False) == sum(sizes)


def test_marks_the_metadata():
    memory = MemoryStore()
    group = zarr.create_group(memory)
    write(memory, IMAGE, path="plain")
    write(memory, IMAGE, path="deep/sharded", shards=(256, 256))
    group.create_array("other", shape=(8, 8), chunks=(4, 4), dtype="float32")[:] = 3
    zarr.consolidate_metadata(memory)
    store = PrefixStore(memory, 0.02)
    plain = json.loads(get(store, "plain/zarr.json"))
    assert plain["codecs"] == [{"name": "teko", "configuration": {"prefix": prefix_size(0.02)}}]
    assert get(store, "other/zarr.json") == memory._store_dict["other/zarr.json"].to_bytes()
    found = json.loads(get(store, "zarr.json"))["consolidated_metadata"]["metadata"]
    assert found["plain"]["codecs"] == plain["codecs"]
    assert found["deep/sharded"]["codecs"][0]["configuration"]["codecs"] == plain["codecs"]
    assert found["other"] == json.loads(memory._store_dict["other/zarr.json"].to_bytes())
    assert np.array_equal(zarr.open_group(store, mode="r")["other"][:], np.full((8, 8), 3))
    assert get(store, "plain/zarr.json", RangeByteRequest(0, 5)) == get(store, "plain/zarr.json")[:5]


def test_knows_arrays_whose_metadata_it_has_not_seen():
    memory = MemoryStore()
    write(memory, IMAGE, path="0/1")
    store = PrefixStore(memory, bytes_per_chunk=100)
    assert len(get(store, "0/1/c/2/3")) == 98
    write(memory, IMAGE, path="old", chunk_key_encoding={"name": "v2", "separator": "."})
    assert len(get(store, "old/2.3")) == 98


def test_gives_ranges_of_first_bytes():
    memory = filled()
    store = PrefixStore(memory, bytes_per_chunk=98)
    first = memory._store_dict["c/0/0"].to_bytes()[:98]
    assert get(store, "c/0/0") == first
    assert get(store, "c/0/0", RangeByteRequest(5, 2000)) == first[5:]
    assert get(store, "c/0/0", OffsetByteRequest(90)) == first[90:]
    assert get(store, "c/0/0", SuffixByteRequest(3)) == first[-3:]
    assert get(store, "c/9/9") is None


@pytest.mark.parametrize("location", ["start", "end"])
@pytest.mark.parametrize("endian", ["little", "big"])
@pytest.mark.parametrize("checksum", [False, True])
def test_reads_indexes_as_the_metadata_say(location, endian, checksum):
    memory = MemoryStore()
    codecs = [BytesCodec(endian=endian), *([Crc32cCodec()] if checksum else [])]
    sharding = ShardingCodec(chunk_shape=(64, 64), codecs=[TekoCodec()], index_codecs=codecs, index_location=location)
    array = zarr.create_array(
        memory, shape=(256, 256), chunks=(128, 256), dtype="uint16", serializer=sharding, compressors=None
    )
    array[:64, :192] = IMAGE[:64, :192]  # inner chunks that are empty, and a shard that is not there
    counting = Counting(memory)
    store = PrefixStore(counting, 0.02)
    coarse = read(store)
    assert not coarse[128:].any()
    assert not coarse[:128, 192:].any()
    expected = 3 * prefix_size(0.02, 64 * 64 * 2) + 8 * 16 + 4 * checksum
    assert counting.received(documents=False) == expected
    assert np.array_equal(read(store, selection=(slice(10, 20), slice(60, 70))), coarse[10:20, 60:70])
    assert counting.received(documents=False) == expected
    assert np.array_equal(read(store.refined())[:64, :192], IMAGE[:64, :192])


def test_makes_valid_shards():
    store = PrefixStore(filled((512, 512)), 0.02)
    shard = get(store, "c/0/0")
    assert len(shard) == 16 * prefix_size(0.02) + 16 * 16 + 4
    copy = MemoryStore()
    sync(copy.set("zarr.json", PROTOTYPE.buffer.from_bytes(get(store, "zarr.json"))))
    sync(copy.set("c/0/0", PROTOTYPE.buffer.from_bytes(shard)))
    assert np.array_equal(read(copy), read(store))


def test_refuses_indexes_that_are_damaged():
    memory = filled((512, 512))
    shard = bytearray(memory._store_dict["c/0/0"].to_bytes())
    shard[-10] ^= 1
    memory._store_dict["c/0/0"] = PROTOTYPE.buffer.from_bytes(bytes(shard))
    with pytest.raises(PrefixError, match="the index of a shard is damaged"):
        read(PrefixStore(memory, 0.1))
    memory._store_dict["c/0/0"] = PROTOTYPE.buffer.from_bytes(b"short")
    with pytest.raises(PrefixError, match="the index of a shard has 5 bytes and not the 260"):
        read(PrefixStore(memory, 0.1))


def test_merges_requests_where_told():
    memory = filled((512, 512))
    requests = []
    for gap in (0, 2**14):
        counting = Counting(memory)
        read(PrefixStore(counting, 0.25, max_gap_bytes=gap))
        requests.append(len([key for key, *_ in counting.log if key == "c/0/0"]))
    assert requests[0] == 17
    assert requests[1] == 2


def test_ranges_over_several_inner_chunks_are_not_cut():
    memory = filled((256, 256))
    whole = memory._store_dict["c/0/0"].to_bytes()
    store = PrefixStore(memory, 0.01)
    assert get(store, "c/0/0", RangeByteRequest(0, 40000)) == whole[:40000]


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
    total = sum(size for key, size in stored(memory).items() if not key.endswith("zarr.json"))
    _, indexes = chunk_sizes(memory, shards)
    assert counting.received(documents=False) == total - 16 * (prefix_size(0.02) - 4) - indexes
    store.forget()
    assert not any(path.is_file() for path in tmp_path.rglob("*"))


def test_pickles_with_its_options():
    memory = filled()
    store = PrefixStore(memory, 0.02, cache_bytes=10**6, strict=True)
    array = zarr.open_array(store, mode="r")
    coarse = array[:]
    copy = pickle.loads(pickle.dumps(array))
    other = copy.store
    assert other == store
    assert other._origin.cache_bytes == 10**6
    assert other.stats.requests == 0
    assert np.array_equal(copy[:], coarse)
    # It knows the array, and has none of its chunks.
    assert other.stats.requests == 16
    assert len(pickle.dumps(PrefixStore(LocalStore("somewhere"), 0.02))) < 2000


def test_equality():
    memory = filled()
    store = PrefixStore(memory, 0.02)
    assert store == PrefixStore(memory, 0.02) == store.with_read_only(True)
    assert store != PrefixStore(memory, 0.03)
    assert store != PrefixStore(memory, bytes_per_chunk=100)
    assert store != memory
    assert store != PrefixStore(filled(image=IMAGE + 1), 0.02)
    assert repr(store).startswith("PrefixStore(MemoryStore(")
    assert "rate=0.02" in repr(store)
    assert str(store).startswith("prefix-memory://")


def test_keeps_its_options_around_other_stores():
    store = PrefixStore(filled(), 0.02)
    assert store._with_store(store._store).stats is store.stats
    moved = store._with_store(filled(image=IMAGE + 1))
    assert moved.rate == 0.02
    assert moved.stats is not store.stats
    with store as entered:
        assert entered.rate == 0.02


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
    with pytest.raises((OverReadError, ExceptionGroup), match=r"ignores ranges|could not be read"):
        read(strict)
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


def test_an_array_that_was_replaced():
    memory = filled()
    store = PrefixStore(memory, 0.02)
    read(store)
    memory._store_dict.clear()
    write(memory, IMAGE, chunks=(256, 256))
    assert np.array_equal(read(store), read(PrefixStore(memory, 0.02)))


@SHARDS
def test_chunks_that_are_stored_as_they_are_come_whole(shards):
    from samples import inexact

    image = np.tile(inexact(), (4, 4))
    memory = MemoryStore()
    write(memory, image, chunks=(64, 64), shards=shards and (128, 128), on_inexact="store_raw")
    store = PrefixStore(memory, 0.05)
    assert np.array_equal(read(store), image)
    requests = store.stats.requests
    assert np.array_equal(read(store.refined()), image)
    assert store.stats.requests <= requests + 3


def test_says_that_arrays_of_the_old_format_are_whole():
    memory = MemoryStore()
    document = {
        "zarr_format": 2,
        "shape": [8, 8],
        "chunks": [8, 8],
        "dtype": "|u1",
        "compressor": {"id": "teko"},
        "filters": None,
        "fill_value": 0,
        "order": "C",
    }
    sync(memory.set("old/.zarray", PROTOTYPE.buffer.from_bytes(json.dumps(document).encode())))
    sync(memory.set("old/0.0", PROTOTYPE.buffer.from_bytes(b"x" * 500)))
    store = PrefixStore(memory, bytes_per_chunk=14)
    with pytest.warns(UserWarning, match="'old' is of zarr format 2, whose chunks are read whole"):
        get(store, "old/.zarray")
    assert get(store, "old/0.0") == b"x" * 500


def test_sizes_are_those_of_what_is_stored():
    counting = Counting(filled())
    store = PrefixStore(counting, 0.02)
    assert sync(store.getsize("c/0/0")) == stored(counting._store)["c/0/0"]
    assert (
        sync(store.getsize_prefix("c")) == sum(stored(counting._store).values()) - stored(counting._store)["zarr.json"]
    )
    assert store.stats.requests == 0


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


def test_nothing_of_zarr_passes_by():
    """Whatever WrapperStore hands on has been looked at: what reads or writes is this store's own."""
    from zarr.abc.store import Store
    from zarr.storage import WrapperStore

    handed_on = {
        "__enter__", "__exit__", "_open", "_ensure_open", "_is_open", "is_empty", "exists", "supports_listing", "list",
        "list_prefix", "list_dir", "close", "supports_partial_writes", "supports_consolidated_metadata",
        "_get_bytes", "_get_bytes_sync", "_get_json", "_get_json_sync",
    }  # fmt: skip
    names = {name for name, value in [*vars(WrapperStore).items(), *vars(Store).items()] if callable(value)}
    names |= {name for name, value in vars(WrapperStore).items() if isinstance(value, (property, classmethod))}
    own = {name for part in PrefixStore.__mro__[: PrefixStore.__mro__.index(WrapperStore)] for name in vars(part)}
    own |= handed_on | {name for name in names if hasattr(object, name)}
    assert names - own - {"__class_getitem__", "_abc_impl", "__hash__"} == set()
