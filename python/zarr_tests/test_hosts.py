# SPDX-License-Identifier: Apache-2.0
"""Processes that never import teko read our arrays, by zarr, xarray and dask; and what they say without the package."""

import subprocess
import sys

import numpy as np
import pytest
import xarray as xr
import zarr
from samples import waves

import teko.zarr

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


def run(code, *arguments):
    """Run code in a process of its own."""
    return subprocess.run([sys.executable, "-c", code, *map(str, arguments)], capture_output=True, text=True)


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


def test_without_the_package_zarr_names_the_codec(tmp_path):
    teko.zarr.create_array(tmp_path / "image", data=waves((20, 30), np.uint8), chunks=(20, 30))
    hide = """
import importlib.metadata as metadata, sys
all_of = metadata.Distribution.entry_points.fget
none = metadata.EntryPoints()
metadata.Distribution.entry_points = property(lambda found: none if found.name == 'teko' else all_of(found))
import zarr
zarr.open_array(sys.argv[1])
"""
    done = run(hide, tmp_path / "image")
    assert done.returncode != 0
    assert "teko" in done.stderr.splitlines()[-1]
    assert "UnknownCodecError" in done.stderr or "KeyError" in done.stderr


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
