# SPDX-License-Identifier: Apache-2.0
"""Processes that never import teko read our arrays, by zarr, xarray and dask; and what they say without the package."""

import pathlib
import pickle

import numpy as np
import pytest
import xarray as xr
import zarr
from processes import run
from samples import waves
from zarr.storage import LocalStore

import teko.zarr

TRAPS = (pathlib.Path(__file__).parents[2] / "docs" / "zarr" / "README.md").read_text().split("## Traps")[1]

NEVER = "import sys; assert 'teko' not in sys.modules; "
READERS = {
    "zarr": "import zarr; found = zarr.open_array(path, mode='r')[:]",
    "group": "import zarr, os; found = zarr.open_group(os.path.dirname(path), mode='r')['image'][:]",
    "xarray": "import xarray, os; found = xarray.open_zarr(os.path.dirname(path), consolidated=False)['image'].values",
    "dask": "import dask.array; found = dask.array.from_zarr(path).compute()",
    "processes": (
        "import dask, dask.array\n"
        "if __name__ == '__main__':\n"
        "    found = dask.array.from_zarr(path).compute(scheduler='processes', num_workers=2)"
    ),
}


@pytest.mark.parametrize("shards", [None, (2, 64, 64)])
@pytest.mark.parametrize("reader", READERS)
def test_read_without_importing(reader, shards, tmp_path):
    samples = waves((2, 60, 100), np.int16)
    group = zarr.open_group(tmp_path, mode="w")
    teko.zarr.create_array(
        group.store, name="image", data=samples, chunks=(1, 32, 32), shards=shards, dimension_names=("z", "y", "x")
    )
    np.save(tmp_path / "expected.npy", samples)
    code = (
        f"{NEVER}import numpy; path, expected = sys.argv[1:]\n{READERS[reader]}\n"
        "if __name__ == '__main__':\n    assert numpy.array_equal(found, numpy.load(expected)), found"
    )
    done = run(code, tmp_path / "image", tmp_path / "expected.npy")
    assert done.returncode == 0, done.stderr


def test_written_without_importing(tmp_path):
    done = run(
        f"{NEVER}import numpy, zarr; zarr.create_array(sys.argv[1], data=numpy.ones((20, 30), 'uint8'), "
        "chunks=(20, 30), serializer={'name': 'teko', 'configuration': {'bits': 7}}, compressors=None)",
        tmp_path / "image",
    )
    assert done.returncode == 0, done.stderr
    assert zarr.open_array(tmp_path / "image").metadata.codecs == (teko.zarr.TekoCodec(bits=7),)


HIDDEN = "import pickle, sys, processes; processes.hide_teko(); import zarr; "
SENT = "No module named 'teko'"


def test_without_the_package_zarr_names_the_codec(tmp_path):
    teko.zarr.create_array(tmp_path / "image", data=waves((20, 30), np.uint8), chunks=(20, 30))
    done = run(f"{HIDDEN}print(zarr.open_array(sys.argv[1])[:])", tmp_path / "image")
    assert (done.returncode, done.stdout) == (1, "")
    said = done.stderr.splitlines()[-1]
    assert "UnknownCodecError" in said
    assert "'teko'" in said
    assert "`UnknownCodecError` that names `'teko'`" in TRAPS


@pytest.mark.parametrize("rate", [None, 0.1])
def test_without_the_package_nothing_opened_can_be_received(rate, tmp_path):
    samples = waves((20, 30), np.uint8)
    teko.zarr.create_array(tmp_path / "image", data=samples, chunks=(20, 30))
    store = LocalStore(tmp_path / "image")
    array = zarr.open_array(store if rate is None else teko.zarr.PrefixStore(store, rate), mode="r")
    (tmp_path / "array.pickle").write_bytes(pickle.dumps(array))
    receive = "print(pickle.load(open(sys.argv[1], 'rb'))[:].shape)"
    done = run(HIDDEN + receive, tmp_path / "array.pickle")
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr.splitlines()[-1].startswith(f"ModuleNotFoundError: {SENT}")
    assert f"`ModuleNotFoundError: {SENT}`" in TRAPS
    assert run(f"import pickle, sys; {receive}", tmp_path / "array.pickle").stdout == "(20, 30)\n"


def test_a_worker_of_dask_without_the_package_says_so(tmp_path):
    teko.zarr.create_array(tmp_path / "image", data=waves((20, 30), np.uint8), chunks=(20, 30))
    code = """
import sys, dask, dask.array, processes
if __name__ == "__main__":
    array = dask.array.from_zarr(sys.argv[1])
    with dask.config.set({"multiprocessing.initializer": INITIALIZER}):
        print(array.compute(scheduler="processes", num_workers=1).shape)
"""
    done = run(code.replace("INITIALIZER", "processes.hide_teko"), tmp_path / "image")
    assert (done.returncode, done.stdout) == (1, "")
    assert f"ModuleNotFoundError: {SENT}" in done.stderr
    assert run(code.replace("INITIALIZER", "None"), tmp_path / "image").stdout == "(20, 30)\n"


@pytest.mark.parametrize("lazy", [False, True])
def test_xarray_writes(lazy, tmp_path):
    samples = waves((3, 64, 96), np.uint16)
    image = xr.DataArray(samples, dims=("z", "y", "x"), name="image")
    if lazy:
        image = image.chunk(z=1, y=32, x=48)
    encoding = {"image": {"chunks": (1, 32, 48), **teko.zarr.codecs(bits=16)}}
    image.to_dataset().to_zarr(tmp_path / "all", encoding=encoding, zarr_format=3, consolidated=False)
    assert zarr.open_array(tmp_path / "all" / "image").metadata.codecs == (teko.zarr.TekoCodec(bits=16),)
    found = xr.open_zarr(tmp_path / "all", consolidated=False)["image"]
    assert found.dtype == np.uint16
    assert np.array_equal(found.values, samples)


def test_dask_writes(tmp_path):
    import dask.array

    samples = waves((2, 64, 96), np.uint16)
    array = teko.zarr.create_array(tmp_path / "image", shape=samples.shape, dtype=samples.dtype, chunks=(1, 32, 48))
    dask.array.from_array(samples, chunks=(1, 32, 48)).store(array, lock=False)
    assert np.array_equal(zarr.open_array(tmp_path / "image")[:], samples)
