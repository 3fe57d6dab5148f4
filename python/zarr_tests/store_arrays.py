# SPDX-License-Identifier: Apache-2.0
"""Arrays that the tests of PrefixStore put into stores, and what is stored of them."""

import numpy as np
import pytest
import zarr
from zarr.core.buffer import default_buffer_prototype
from zarr.core.sync import sync
from zarr.storage import MemoryStore

import teko.zarr

PROTOTYPE = default_buffer_prototype()
RAW = 128 * 128 * 2
SHARDS = pytest.mark.parametrize("shards", [None, (256, 256)], ids=["chunks", "shards"])


def smooth(shape=(512, 512), dtype="uint16", noise=20, seed=0):
    """Something like a photograph: smooth, with noise."""
    dtype = np.dtype(dtype)
    amplitude = np.iinfo(dtype).max / 4
    axes = np.meshgrid(*(np.linspace(0, 3 + place, side) for place, side in enumerate(shape)), indexing="ij")
    waves = sum(np.sin(3 * axis) for axis in axes) / len(shape)
    grain = np.random.default_rng(seed).normal(0, noise if dtype.itemsize == 2 else noise / 10, shape)
    return np.clip(amplitude * (1 + waves) + grain, 0, np.iinfo(dtype).max).astype(dtype)


IMAGE = smooth()


def write(store, image, chunks=(128, 128), shards=None, path=None, **options):
    """Put an image into a store."""
    array = teko.zarr.create_array(
        store, shape=image.shape, dtype=image.dtype, chunks=chunks, shards=shards, name=path, **options
    )
    array[...] = image


def read(store, path=None, selection=...):
    """Return an array, or a part of it."""
    return np.asarray(zarr.open_array(store, path=path, mode="r")[selection])


def stored(store):
    """Return the sizes of what a store in memory holds, by key."""
    return {key: len(value) for key, value in store._store_dict.items()}


def stored_chunks(store):
    """Return the same of chunks and shards alone."""
    return {key: size for key, size in stored(store).items() if not key.endswith("zarr.json")}


def filled(shards=None, image=IMAGE, **options):
    """Return a store in memory with an image of 16 chunks, or in shards."""
    store = MemoryStore()
    write(store, image, shards=shards, **options)
    return store


def get(store, key, byte_range=None):
    """Return the bytes of a value, or of a part of it."""
    value = sync(store.get(key, PROTOTYPE, byte_range))
    return None if value is None else value.to_bytes()


def prefix_size(rate, raw=RAW):
    """Return how many bytes a rate takes of a chunk."""
    return 10 + 4 * max(1, -(-int(rate * raw) // 4))


def chunk_sizes(store, shards):
    """Return the sizes of the chunks, or inner chunks, of an array in memory, and of all indexes together."""
    values = {key: value.to_bytes() for key, value in store._store_dict.items() if not key.endswith("zarr.json")}
    if shards is None:
        return [len(value) for value in values.values()], 0
    count = shards[0] // 128 * (shards[1] // 128)
    tables = [np.frombuffer(value[-16 * count - 4 : -4], "<u8").reshape(-1, 2) for value in values.values()]
    return [int(size) for table in tables for size in table[:, 1]], (16 * count + 4) * len(values)
