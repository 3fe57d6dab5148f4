# SPDX-License-Identifier: Apache-2.0
"""Chunks that were cut, chunks of a fixed size, and those that would not come back."""

import asyncio

import google_crc32c
import numpy as np
import pytest
import zarr
from samples import inexact, psnr, waves
from zarr.core.array_spec import ArrayConfig, ArraySpec
from zarr.core.buffer import default_buffer_prototype
from zarr.dtype import parse_dtype
from zarr.storage import MemoryStore

import teko
import teko.zarr
from teko.zarr import TekoCodec

GREY = waves((64, 96), np.uint16)


def described(array):
    """Return what zarr tells a codec of a chunk."""
    dtype = parse_dtype(array.dtype, zarr_format=3)
    prototype = default_buffer_prototype()
    return ArraySpec(array.shape, dtype, dtype.default_scalar(), ArrayConfig.from_dict({}), prototype)


def buffer_of(data):
    """Return bytes as zarr hands them over."""
    return default_buffer_prototype().buffer.from_bytes(data)


def stored(store):
    """Return the only chunk of a store, with its key."""
    ((key, value),) = [item for item in store._store_dict.items() if item[0] != "zarr.json"]
    return key, value.to_bytes()


def put(store, data):
    """Put other bytes in the place of the only chunk."""
    store._store_dict[stored(store)[0]] = buffer_of(data)


@pytest.mark.parametrize("codec", [TekoCodec(), TekoCodec(rate=0.2), TekoCodec(on_inexact="store_raw")])
def test_sync_and_async_are_the_same(codec):
    chunk = described(GREY)
    samples = chunk.prototype.nd_buffer.from_numpy_array(GREY)
    sync = codec._encode_sync(samples, chunk)
    (other,) = asyncio.run(_listed(codec.encode([(samples, chunk)])))
    assert sync.to_bytes() == other.to_bytes()
    (decoded,) = asyncio.run(_listed(codec.decode([(other, chunk)])))
    assert np.array_equal(codec._decode_sync(sync, chunk).as_numpy_array(), decoded.as_numpy_array())


async def _listed(results):
    return list(await results)


@pytest.mark.parametrize("kept", [0, 1, 9, 13, 14, 1000, -4, -1])
def test_a_cut_chunk_is_an_error(kept, pipeline):
    store = MemoryStore()
    array = teko.zarr.create_array(store, data=GREY, chunks=GREY.shape)
    _, data = stored(store)
    put(store, data[:kept])
    with pytest.raises(teko.IncompleteError, match=f"{len(data[:kept])} bytes.*; write or copy it again"):
        array[:]


@pytest.mark.parametrize("options", [{"rate": 0.1}, {"max_bytes": 1228}])
@pytest.mark.parametrize("kept", [13, 14, 1000, 1227])
def test_a_cut_chunk_of_fixed_size_is_an_error(options, kept, pipeline):
    store = MemoryStore()
    array = teko.zarr.create_array(store, data=GREY, chunks=GREY.shape, **options)
    _, data = stored(store)
    assert len(data) == 1228
    put(store, data[:kept])
    with pytest.raises(teko.IncompleteError, match=f"{kept} .*bytes.*; write or copy it again"):
        array[:]


@pytest.mark.parametrize("options", [{}, {"rate": 0.2}])
def test_what_is_left_of_a_cut_chunk_is_an_approximation(options):
    samples = waves((128, 96), np.uint16)
    store = MemoryStore()
    teko.zarr.create_array(store, data=samples, chunks=(64, 96), **options)
    whole = store._store_dict["c/0/0"].to_bytes()
    store._store_dict["c/0/0"] = buffer_of(whole[:1001])
    with pytest.raises(teko.IncompleteError, match=r"teko\.decode gives an approximation"):
        zarr.open_array(store)[:]
    coarse = zarr.open_array(teko.zarr.PrefixStore(store, bytes_per_chunk=1001), mode="r")[:]
    assert psnr(samples, coarse) > 25
    assert np.array_equal(teko.decode(whole[:1001]), coarse[:64])
    with pytest.raises(teko.IncompleteError, match=r"1001 .*bytes"):
        zarr.open_array(teko.zarr.PrefixStore(store, bytes_per_chunk=1006), mode="r")[:]


def test_a_cut_chunk_within_a_shard_is_an_error(pipeline):
    store = MemoryStore()
    array = teko.zarr.create_array(store, data=GREY, chunks=(32, 32), shards=GREY.shape)
    key, data = stored(store)
    first = data.index(b"TK10")
    damaged = bytearray(data)
    index = np.frombuffer(data[-(6 * 16 + 4) : -4], "<u8").reshape(-1, 2).copy()
    place = int(np.flatnonzero(index[:, 0] == first)[0])
    index[place, 1] -= 8
    damaged[-(6 * 16 + 4) : -4] = index.tobytes()
    damaged[-4:] = google_crc32c.value(index.tobytes()).to_bytes(4, "little")
    store._store_dict[key] = buffer_of(bytes(damaged))
    with pytest.raises(teko.IncompleteError, match="a chunk was cut"):
        array[:]


@pytest.mark.parametrize("data", [b"", b"GIF89a, not this one", bytes(100)])
def test_bytes_that_are_no_chunk(data):
    store = MemoryStore()
    array = teko.zarr.create_array(store, data=GREY, chunks=GREY.shape)
    put(store, data)
    with pytest.raises(teko.DataError):
        array[:]


def test_a_file_of_another_image():
    store = MemoryStore()
    array = teko.zarr.create_array(store, data=GREY, chunks=GREY.shape)
    for other in (GREY[:60], GREY.T, (GREY >> 8).astype(np.uint8)):
        put(store, teko.encode(other))
        with pytest.raises(teko.DataError, match=r"the array's metadata ask for one of uint16 of shape \(64, 96\)"):
            array[:]


@pytest.mark.parametrize("options", [{}, {"rate": 0.5}])
def test_with_a_prefix_a_cut_chunk_is_an_approximation(options, pipeline):
    samples = waves((64, 96), np.int16)
    chunk = described(samples)
    data = TekoCodec(**options).encode_chunk(samples)
    quality = []
    for prefix in (14, 200, 1000, 4000):
        codec = TekoCodec(prefix=prefix, **options)
        assert not codec.is_fixed_size
        found = codec._decode_sync(buffer_of(data[:prefix]), chunk).as_numpy_array()
        assert found.dtype == np.int16
        quality.append(psnr(samples, found))
        with pytest.raises(teko.IncompleteError):
            codec._decode_sync(buffer_of(data[: prefix - 1]), chunk)
    assert quality == sorted(quality)
    assert quality[-1] > 30
    # The whole is exact whatever was asked for.
    whole = TekoCodec().encode_chunk(samples)
    for prefix in (14, len(whole), len(whole) + 1):
        codec = TekoCodec(prefix=prefix)
        assert np.array_equal(codec._decode_sync(buffer_of(whole), chunk).as_numpy_array(), samples)


def test_with_a_prefix_nothing_is_written():
    chunk = described(GREY)
    with pytest.raises(ValueError, match="cannot be written"):
        TekoCodec(prefix=100)._encode_sync(chunk.prototype.nd_buffer.from_numpy_array(GREY), chunk)


@pytest.mark.parametrize("shards", [None, (128, 128)])
@pytest.mark.parametrize("options", [{"rate": 0.05}, {"max_bytes": 409}])
def test_chunks_of_fixed_size(shards, options, pipeline):
    samples = waves((256, 256), np.uint16)
    samples[:64, :64] = 3
    store = MemoryStore()
    array = teko.zarr.create_array(store, data=samples, chunks=(64, 64), shards=shards, **options)
    sizes = {len(value) for key, value in store._store_dict.items() if key != "zarr.json"}
    assert sizes == ({409} if shards is None else {4 * 409 + 4 * 16 + 4})
    codec = TekoCodec(**options)
    assert codec.is_fixed_size
    assert codec.compute_encoded_size(8192, described(samples[:64, :64])) == 409
    found = array[:]
    assert np.array_equal(found[:64, :64], samples[:64, :64])
    assert psnr(samples, found) > 25
    array[64:128, 0:64] = 5
    again = array[:]
    assert (again[64:128, 0:64] == 5).all()
    assert np.array_equal(again[:64], found[:64])
    assert np.array_equal(again[128:], found[128:])


def test_zeros_behind_a_complete_file():
    samples = np.full((64, 64), 200, np.uint8)
    store = MemoryStore()
    array = teko.zarr.create_array(store, data=samples, chunks=(64, 64), max_bytes=9000)
    _, data = stored(store)
    whole = teko.encode(samples)
    assert data == whole.ljust(9000, b"\0")
    assert np.array_equal(array[:], samples)
    # More bytes than any file of these samples needs.
    noise = np.random.default_rng(1).integers(0, 256, (64, 64), np.uint8)
    array[:] = noise
    assert np.array_equal(array[:], noise)


def test_sizes_differ_without_a_budget():
    assert not TekoCodec().is_fixed_size
    with pytest.raises(NotImplementedError):
        TekoCodec().compute_encoded_size(1, described(GREY))


@pytest.mark.parametrize("colour", [None, "last", "first"])
def test_an_image_that_does_not_come_back(colour, pipeline):
    samples = inexact(colour is not None)
    if colour == "first":
        samples = np.moveaxis(samples, -1, 0)
    with pytest.raises(teko.InexactError, match="on_inexact='store_raw'"):
        teko.zarr.create_array({}, data=samples, chunks=samples.shape, colour=colour)
    store = MemoryStore()
    array = teko.zarr.create_array(store, data=samples, chunks=samples.shape, colour=colour, on_inexact="store_raw")
    assert stored(store)[1] == b"TKRW" + samples.tobytes()
    assert np.array_equal(array[:], samples)
    array[:] = samples // 2
    assert stored(store)[1].startswith(b"TK10")
    # A budget promises nothing, and does not refuse them.
    array = teko.zarr.create_array({}, data=samples, chunks=samples.shape, colour=colour, rate=0.5)
    assert array[:].shape == samples.shape


@pytest.mark.parametrize("dtype", ["<u2", ">u2", "<i2", ">i2"])
def test_samples_as_they_are(dtype, monkeypatch):
    def refuse(pixels, **options):
        raise teko.InexactError("built for it")

    monkeypatch.setattr("teko._chunks.encode", refuse)
    samples = waves((2, 20, 30), dtype)[:, ::2]
    store = MemoryStore()
    array = teko.zarr.create_array(store, data=samples, chunks=samples.shape, on_inexact="store_raw")
    _, data = stored(store)
    assert data == b"TKRW" + samples.astype(samples.dtype.newbyteorder("<")).tobytes()
    assert np.array_equal(array[:], samples)
    put(store, data[:-2])
    with pytest.raises(teko.IncompleteError, match=f"{len(data) - 2} of its {len(data)} bytes"):
        array[:]
    with pytest.raises(teko.IncompleteError, match="without a prefix"):
        TekoCodec(prefix=100)._decode_sync(buffer_of(data[:100]), described(samples))


def test_damage_is_an_error():
    store = MemoryStore()
    array = teko.zarr.create_array(store, data=GREY, chunks=GREY.shape)
    _, data = stored(store)
    put(store, data[:10] + b"\xff" * (len(data) - 10))
    with pytest.raises(teko.DataError):
        array[:]


def test_missing_chunks_are_the_fill_value(pipeline):
    array = teko.zarr.create_array({}, shape=(64, 64), dtype="int16", chunks=(32, 32), fill_value=-5)
    assert (array[:] == -5).all()
    assert zarr.open_array(array.store, mode="r").fill_value == -5
