# SPDX-License-Identifier: Apache-2.0
"""What PrefixStore learns of metadata and indexes, and what it makes of them."""

import json

import numpy as np
import pytest
import zarr
from store_arrays import IMAGE, PROTOTYPE, filled, get, prefix_size, read, write
from store_origins import Counting
from zarr.abc.store import RangeByteRequest
from zarr.codecs import BytesCodec, Crc32cCodec, ShardingCodec
from zarr.core.sync import sync
from zarr.storage import MemoryStore

from teko.zarr import PrefixStore, TekoCodec


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
