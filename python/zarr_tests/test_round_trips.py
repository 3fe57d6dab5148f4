# SPDX-License-Identifier: Apache-2.0
"""What goes in comes out: types, orders, strides, shapes and shards, in both pipelines."""

import concurrent.futures
import math
import pickle

import numpy as np
import pytest
import zarr
from conftest import BATCHED, FUSED, HAS_FUSED, pipeline_named
from hypothesis import given
from hypothesis import strategies as st
from samples import waves
from zarr.storage import MemoryStore

import teko.zarr

DTYPES = ["|u1", "<u2", ">u2", "<i2", ">i2"]
PIPELINES = [BATCHED, FUSED] if HAS_FUSED else [BATCHED]


def laid_out(array, layout):
    """Return an array of the same samples that lies in memory in another way."""
    if layout == "transposed":
        return np.ascontiguousarray(array.T).T
    if layout == "steps":
        wide = np.zeros((*array.shape[:-1], 2 * array.shape[-1]), array.dtype)
        wide[..., ::2] = array
        return wide[..., ::2]
    if layout == "backwards":
        return np.ascontiguousarray(array[::-1])[::-1]
    return array


@st.composite
def arrays(draw):
    """Draw an array, the shape of its chunks and of its shards, and the axis of its colours."""
    colour = draw(st.sampled_from([None, None, "first", "last"]))
    dtype = "|u1" if colour else draw(st.sampled_from(DTYPES))
    leading = draw(st.lists(st.integers(1, 3), max_size=2))
    sides = [draw(st.integers(4, 20)), draw(st.integers(4, 20))]
    chunk = [*leading, *{None: sides, "first": [3, *sides], "last": [*sides, 3]}[colour]]
    counts = [draw(st.integers(1, 2)) for _ in chunk]
    trims = [draw(st.integers(0, 3)) for _ in chunk]
    shape = [max(1, side * count - trim) for side, count, trim in zip(chunk, counts, trims, strict=True)]
    shards = [side * draw(st.integers(1, 2)) for side in chunk] if draw(st.booleans()) else None
    samples = waves(tuple(shape), dtype, seed=draw(st.integers(0, 99)))
    layout = draw(st.sampled_from(["plain", "transposed", "steps", "backwards"]))
    return laid_out(samples, layout), tuple(chunk), tuple(shards) if shards else None, colour


@given(arrays(), st.sampled_from(PIPELINES))
def test_any_array(drawn, pipeline):
    samples, chunks, shards, colour = drawn
    with pipeline_named(pipeline):
        array = teko.zarr.create_array({}, data=samples, chunks=chunks, shards=shards, colour=colour)
        found = array[:]
    assert found.dtype == samples.dtype
    assert np.array_equal(found, samples)


@pytest.mark.parametrize("dtype", DTYPES)
@pytest.mark.parametrize("shards", [None, (2, 64, 96)])
def test_written_and_read_in_parts(dtype, shards, pipeline):
    samples = waves((2, 70, 100), dtype)
    store = MemoryStore()
    array = teko.zarr.create_array(
        store, shape=samples.shape, dtype=dtype, chunks=(1, 32, 48), shards=shards, fill_value=7
    )
    array[0, 5:50, 10:] = samples[0, 5:50, 10:]
    array[1] = samples[1]
    expected = np.full_like(samples, 7)
    expected[0, 5:50, 10:] = samples[0, 5:50, 10:]
    expected[1] = samples[1]
    again = zarr.open_array(store, mode="r")
    assert np.array_equal(again[:], expected)
    assert np.array_equal(again[:, 33:40, 47:49], expected[:, 33:40, 47:49])
    assert np.array_equal(again.oindex[[1, 0], [3, 69]], expected[np.ix_([1, 0], [3, 69])])


@pytest.mark.parametrize(
    ("chunk", "colour", "image"),
    [
        ((20, 30), None, (20, 30)),
        ((1, 1, 1, 20, 30), None, (20, 30)),
        ((20, 30, 1), None, (20, 30)),
        ((4, 20, 30), None, (80, 30)),
        ((2, 3, 20, 30), None, (120, 30)),
        ((20, 30, 3), "last", (20, 30, 3)),
        ((2, 1, 20, 30, 3), "last", (40, 30, 3)),
        ((3, 20, 30), "first", (20, 30, 3)),
        ((1, 3, 1, 20, 30), "first", (20, 30, 3)),
        ((5, 3, 20, 30), "first", (100, 30, 3)),
        ((3, 4, 3), "last", None),
        ((3, 5, 4), "first", (5, 4, 3)),
        ((16383, 4, 4), None, (65532, 4)),
        ((16384, 4, 4), None, None),
    ],
)
def test_a_chunk_is_one_image(chunk, colour, image):
    samples = waves(chunk, np.uint8)
    store = MemoryStore()
    if image is None:
        with pytest.raises(teko.ImageError):
            teko.zarr.create_array(store, data=samples, chunks=chunk, colour=colour)
        return
    teko.zarr.create_array(store, data=samples, chunks=chunk, colour=colour)
    (data,) = [value.to_bytes() for key, value in store._store_dict.items() if key != "zarr.json"]
    planes = np.moveaxis(samples.reshape(-1, 3, *chunk[-2:]), 1, -1) if colour == "first" else samples
    assert data == teko.encode(planes.reshape(image))


def test_planes_are_not_copied(monkeypatch):
    seen = []
    encode = teko._codec.encode
    monkeypatch.setattr(
        "teko._chunks.encode", lambda pixels, **options: seen.append(pixels) or encode(pixels, **options)
    )
    codec = teko.zarr.TekoCodec()
    whole = waves((4, 20, 60), np.uint16)
    for chunk in (whole, whole[:, :, ::2], whole[1:3, :, 5:20], whole[:1, 3:9, ::3]):
        codec.encode_chunk(chunk)
        assert np.shares_memory(seen.pop(), whole)


def test_signed_samples_have_their_sign_bit_flipped():
    samples = waves((20, 30), np.int16)
    store = MemoryStore()
    teko.zarr.create_array(store, data=samples, chunks=samples.shape)
    data = store._store_dict["c/0/0"].to_bytes()
    assert np.array_equal(teko.decode(data), samples.view(np.uint16) ^ 0x8000)


def test_bits_are_kept():
    store = MemoryStore()
    samples = waves((20, 30), np.uint16) >> 4
    teko.zarr.create_array(store, data=samples, chunks=samples.shape, bits=12)
    assert teko.info(store._store_dict["c/0/0"].to_bytes()).bits == 12
    assert zarr.open_array(store).metadata.to_dict()["codecs"] == ({"name": "teko", "configuration": {"bits": 12}},)


def test_transposed_in_front():
    samples = waves((20, 30, 5), np.uint16)
    transpose = zarr.codecs.TransposeCodec(order=(2, 0, 1))
    array = teko.zarr.create_array({}, data=samples, chunks=(20, 30, 5), filters=[transpose])
    assert np.array_equal(array[:], samples)


def test_threads_and_processes():
    samples = waves((8, 64, 64), np.uint16)
    store = MemoryStore()
    array = teko.zarr.create_array(store, data=samples, chunks=(1, 64, 64))
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        planes = list(pool.map(lambda plane: array[plane], range(8)))
    assert np.array_equal(np.stack(planes), samples)
    codec = array.metadata.codecs[0]
    assert pickle.loads(pickle.dumps(codec)) == codec
    assert hash(codec) == hash(pickle.loads(pickle.dumps(codec)))


@pytest.mark.skipif(not hasattr(zarr.codecs, "ScaleOffset"), reason="not in zarr")
def test_floats_through_codecs_in_front():
    pytest.importorskip("cast_value_rs")
    samples = waves((20, 30), np.uint16).astype(np.float32) / 2 - 1000
    front = [
        zarr.codecs.ScaleOffset(offset=-1000.0, scale=2.0),
        zarr.codecs.CastValue(data_type="uint16", rounding="nearest-even"),
    ]
    array = teko.zarr.create_array({}, data=samples, chunks=samples.shape, filters=front)
    assert np.array_equal(array[:], samples)


def test_raw_size_and_size_of_files():
    samples = waves((256, 256), np.uint16) >> 4 << 4
    store = MemoryStore()
    teko.zarr.create_array(store, data=samples, chunks=(128, 128))
    stored = sum(len(value) for key, value in store._store_dict.items() if key != "zarr.json")
    assert stored < math.prod(samples.shape) * 2
