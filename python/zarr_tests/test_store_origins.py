# SPDX-License-Identifier: Apache-2.0
"""PrefixStore around each kind of store, on each pipeline that zarr has; servers' own logs are the witness."""

import numpy as np
import pytest
import zarr
from store_arrays import IMAGE, SHARDS, prefix_size, read, stored_chunks, write
from store_origins import ORIGINS, Counting, over_http, python_server
from zarr.storage import FsspecStore, LocalStore, MemoryStore

from teko.zarr import OverReadError, PrefixStore

SIZE = prefix_size(0.02)
PART = (slice(20, 300), slice(130, 140))
EVERY_KIND = pytest.mark.parametrize("origin", ORIGINS, ids=lambda origin: origin.__name__)


@EVERY_KIND
@pytest.mark.usefixtures("pipeline")
@SHARDS
@pytest.mark.filterwarnings("ignore::UserWarning")
def test_reads_from_each_kind_of_store(origin, shards, tmp_path):
    reference = MemoryStore()
    write(reference, IMAGE, shards=shards)
    whole = sum(stored_chunks(reference).values())
    coarse = read(PrefixStore(reference, 0.02))
    assert not np.array_equal(coarse, IMAGE)
    with origin(tmp_path, lambda store: write(store, IMAGE, shards=shards)) as inner:
        counting = Counting(inner)
        store = PrefixStore(counting, 0.02)
        assert np.array_equal(read(store, selection=PART), coarse[PART])
        index = 2 * (0 if shards is None else 68)
        assert counting.received(documents=False) == 3 * SIZE + index
        assert np.array_equal(read(store), coarse)
        assert counting.received(documents=False) == 16 * SIZE + 2 * index
        assert np.array_equal(read(store.refined(0.1)), read(PrefixStore(reference, 0.1)))
        assert np.array_equal(read(store.refined()), IMAGE)
        assert counting.received(documents=False) == whole + 2 * 4 * 16
        assert counting.received(documents=False) <= 1.005 * whole
        assert counting.others == []
        assert store.stats.over_read == 0


@SHARDS
def test_the_servers_log_says_the_same(shards, tmp_path):
    with over_http(tmp_path, lambda store: write(store, IMAGE, shards=shards)) as inner:
        store = PrefixStore(inner, 0.02)
        read(store)
        everything = inner.server_log()
    log = [entry for entry in everything if "/c/" in entry[1]]
    assert {method for method, *_ in everything} == {"GET"}
    assert {status for method, _, status, _ in log if method == "GET"} == {206}
    sent = sum(size for method, _, _, size in log if method == "GET")
    assert sent == 16 * SIZE + (0 if shards is None else 4 * 68)


def test_a_server_without_ranges(tmp_path):
    write(LocalStore(tmp_path), IMAGE)
    with python_server(tmp_path, has_ranges=False) as (address, log):
        store = PrefixStore(FsspecStore.from_url(address, read_only=True), 0.02)
        coarse = read(store)
        sent = sum(size for _, path, _, size in log() if "/c/" in path)
        assert store.stats.over_read == sent - 16 * SIZE > 0
        assert np.array_equal(coarse, read(PrefixStore(LocalStore(tmp_path), 0.02)))
        assert np.array_equal(read(store.refined()), IMAGE)
        with pytest.raises(OverReadError, match="its server ignores ranges"):
            read(PrefixStore(store._store, 0.02, strict=True))


@pytest.mark.filterwarnings("ignore::UserWarning")
def test_dask_and_xarray_read_through_it(tmp_path):
    from_zarr = pytest.importorskip("dask.array").from_zarr
    xarray = pytest.importorskip("xarray")
    memory = LocalStore(tmp_path / "array")
    group = zarr.create_group(memory)
    write(memory, IMAGE, path="image", dimension_names=("y", "x"))
    write(memory, IMAGE, path="sharded", shards=(256, 256), dimension_names=("y", "x"))
    assert sorted(group.array_keys()) == ["image", "sharded"]
    store = PrefixStore(memory, 0.02)
    coarse = read(store, "image")
    array = from_zarr(zarr.open_array(store, path="image", mode="r"))
    assert np.array_equal(array.compute(scheduler="threads"), coarse)
    assert np.array_equal(array.compute(scheduler="processes"), coarse)
    opened = xarray.open_zarr(store, consolidated=False)
    assert np.array_equal(opened["image"].values, coarse)
    assert np.array_equal(opened["sharded"].values, coarse)
