# SPDX-License-Identifier: Apache-2.0
"""The codec for Zarr 2."""

import json

import numcodecs
import numpy as np
import pytest
import zarr
from processes import run
from samples import inexact, waves
from zarr.storage import MemoryStore

import teko
from teko.numcodecs import Teko

GREY = waves((40, 60), np.uint16)


def stored(data, codec, store=None, **options):
    """Write an array of Zarr 2 as one chunk or more, and return it."""
    options = {"chunks": data.shape, **options}
    array = zarr.create_array(
        {} if store is None else store,
        shape=data.shape,
        dtype=data.dtype,
        zarr_format=2,
        compressors=codec,
        filters=None,
        **options,
    )
    array[:] = data
    return array


@pytest.mark.parametrize("order", ["C", "F"])
@pytest.mark.parametrize("dtype", ["|u1", "<u2", ">u2", "<i2", ">i2"])
def test_types_and_orders(dtype, order):
    samples = waves((70, 100), dtype)
    array = stored(samples, Teko(dtype=dtype), chunks=(32, 48), order=order)
    assert array[:].dtype == samples.dtype
    assert np.array_equal(array[:], samples)
    assert np.array_equal(array[30:40, ::7], samples[30:40, ::7])


@pytest.mark.parametrize(
    ("shape", "chunks", "colour"),
    [
        ((2, 3, 20, 30), (1, 1, 20, 30), None),
        ((2, 3, 20, 30), (2, 3, 20, 30), None),
        ((20, 30, 3), (20, 30, 3), "last"),
        ((4, 20, 30, 3), (2, 20, 30, 3), "last"),
        ((3, 20, 30), (3, 20, 30), "first"),
        ((2, 3, 20, 30), (1, 3, 20, 30), "first"),
    ],
)
def test_shapes(shape, chunks, colour):
    samples = waves(shape, np.uint8)
    assert np.array_equal(stored(samples, Teko(colour=colour), chunks=chunks)[:], samples)


def test_metadata():
    codec = Teko(bits=12, dtype="<u2", on_inexact="store_raw")
    config = json.loads(json.dumps(codec.get_config()))
    assert config == {"id": "teko", "bits": 12, "dtype": "<u2", "on_inexact": "store_raw"}
    assert numcodecs.get_codec(config) == codec
    assert eval(repr(codec)) == codec
    assert Teko().get_config() == {"id": "teko"}
    with pytest.raises(TypeError, match="quality"):
        numcodecs.get_codec({"id": "teko", "quality": 1})


def test_a_process_that_never_imports_it(tmp_path):
    stored(GREY, Teko(bits=16), tmp_path / "image")
    np.save(tmp_path / "expected.npy", GREY)
    done = run(
        "import sys, numpy, zarr; path, expected = sys.argv[1:]; assert 'teko' not in sys.modules; "
        "assert numpy.array_equal(zarr.open_array(path, mode='r')[:], numpy.load(expected))",
        tmp_path / "image",
        tmp_path / "expected.npy",
    )
    assert done.returncode == 0, done.stderr


@pytest.mark.parametrize("options", [{}, {"rate": 0.2}])
@pytest.mark.parametrize("kept", [3, 13, 14, 500, 959])
def test_a_cut_chunk_is_an_error(kept, options):
    codec = Teko(**options)
    data = codec.encode(GREY)
    with pytest.raises(teko.IncompleteError, match=f"{kept} "):
        codec.decode(data[:kept])


def test_chunks_of_fixed_size():
    codec = Teko(rate=0.2)
    assert len(codec.encode(GREY)) == 960
    assert len(codec.encode(np.zeros_like(GREY))) == 960
    assert not codec.decode(codec.encode(np.zeros_like(GREY))).any()
    store = MemoryStore()
    array = stored(GREY, codec, store, chunks=(20, 30))
    assert {len(store._store_dict[f"{row}.{column}"]) for row in (0, 1) for column in (0, 1)} == {240}
    assert array[:].shape == GREY.shape


@pytest.mark.parametrize("order", ["C", "F"])
def test_an_image_that_does_not_come_back(order):
    samples = np.asarray(inexact(), order=order)
    image = samples if order == "C" else samples.T
    assert image.flags.c_contiguous
    turned = np.asfortranarray(inexact().T) if order == "F" else samples
    with pytest.raises(teko.InexactError, match="store_raw"):
        Teko().encode(turned)
    store = MemoryStore()
    array = stored(turned, Teko(on_inexact="store_raw"), store, order=order)
    assert store._store_dict["0.0"].to_bytes().startswith(b"TKRW")
    assert np.array_equal(array[:], turned)


def test_raw_samples_of_16_bits(monkeypatch):
    def refuse(pixels, **options):
        raise teko.InexactError("built for it")

    monkeypatch.setattr("teko._chunks.encode", refuse)
    for dtype in ("<u2", ">u2", "<i2", ">i2"):
        samples = waves((20, 30), dtype)
        codec = Teko(dtype=dtype, on_inexact="store_raw")
        assert codec.encode(samples) == b"TKRW" + samples.astype(samples.dtype.newbyteorder("<")).tobytes()
        assert np.array_equal(stored(samples, codec)[:], samples)
        with pytest.raises(teko.IncompleteError):
            codec.decode(codec.encode(samples)[:-1])


def test_decoding_into_memory_of_the_callers():
    codec = Teko()
    out = np.empty_like(GREY)
    assert codec.decode(codec.encode(GREY), out=out) is out
    assert np.array_equal(out, GREY)


@pytest.mark.parametrize(
    ("samples", "codec", "error", "text"),
    [
        (GREY.astype(np.int16), Teko(), TypeError, r"Teko\(dtype='<i2'\)"),
        (GREY.astype(">u2"), Teko(), TypeError, r"Teko\(dtype='>u2'\)"),
        (GREY, Teko(dtype="<i2"), TypeError, r"Teko\(dtype='<u2'\)"),
        (GREY.astype(np.float32), Teko(), TypeError, "float32"),
        (GREY[:3], Teko(), ValueError, "sides of 4 at least"),
        (waves((2, 3, 8, 8), np.uint8), Teko(colour="first"), ValueError, "Zarr 2 could not put back"),
        (np.asfortranarray(waves((5, 8, 8), np.uint8)), Teko(), ValueError, "choose order='C'"),
    ],
)
def test_refused(samples, codec, error, text):
    with pytest.raises(error, match=text):
        codec.encode(samples)


def test_wrong_types_are_refused_at_once():
    with pytest.raises(teko.ImageTypeError, match="float32"):
        Teko(dtype="<f4")
