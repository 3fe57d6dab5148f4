# SPDX-License-Identifier: Apache-2.0
"""PrefixStore as an object: pickled, compared, around other stores; and nothing of zarr passes it by."""

import pickle

import numpy as np
import zarr
from store_arrays import IMAGE, filled
from zarr.abc.store import Store
from zarr.storage import LocalStore, WrapperStore

from teko.zarr import PrefixStore


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


def test_nothing_of_zarr_passes_by():
    """Whatever WrapperStore hands on has been looked at: what reads or writes is this store's own."""
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
