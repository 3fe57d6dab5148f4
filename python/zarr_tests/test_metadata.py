# SPDX-License-Identifier: Apache-2.0
"""What stands in zarr.json, and what is refused before anything is written."""

import json
import pathlib
import types

import jsonschema
import numpy as np
import pytest
import zarr
from samples import waves
from zarr.storage import MemoryStore

import teko
import teko.zarr
from teko.zarr import TekoCodec

REGISTRY = pathlib.Path(__file__).parents[2] / "docs" / "zarr" / "codec"
SCHEMA = json.loads((REGISTRY / "schema.json").read_text())

CONFIGURATIONS = [
    {},
    {"bits": 12},
    {"colour": "first"},
    {"colour": "last", "rate": 0.25},
    {"max_bytes": 14},
    {"rate": 1.0},
    {"on_inexact": "store_raw", "bits": 7},
    {"prefix": 4106},
]


@pytest.mark.parametrize("configuration", CONFIGURATIONS)
def test_there_and_back(configuration):
    codec = TekoCodec(**configuration)
    metadata = codec.to_dict()
    assert metadata == ({"name": "teko", "configuration": configuration} if configuration else {"name": "teko"})
    assert TekoCodec.from_dict(json.loads(json.dumps(metadata))) == codec
    jsonschema.validate(metadata, SCHEMA)


def test_what_is_the_default_is_not_written():
    assert TekoCodec(on_inexact="raise", bits=None).to_dict() == {"name": "teko"}
    assert TekoCodec.from_dict({"name": "teko", "configuration": {"on_inexact": "raise"}}) == TekoCodec()


@pytest.mark.parametrize(
    ("configuration", "error", "text"),
    [
        ({"quality": 90}, ValueError, "has no quality, but bits, colour"),
        ({"bits": 0}, ValueError, "bits=0 is out of range"),
        ({"bits": 17}, ValueError, "bits=17 is out of range"),
        ({"bits": 8.0}, TypeError, "bits is a whole number"),
        ({"bits": True}, TypeError, "bits is a whole number"),
        ({"colour": "middle"}, ValueError, "colour='middle'"),
        ({"rate": 0}, ValueError, "rate=0 is out of range"),
        ({"rate": 1.5}, ValueError, "rate=1.5 is out of range"),
        ({"rate": "1"}, TypeError, "rate is a number"),
        ({"max_bytes": 13}, ValueError, "14 bytes at least"),
        ({"max_bytes": 100, "rate": 0.5}, TypeError, "give one of them"),
        ({"on_inexact": "ignore"}, ValueError, "on_inexact='ignore'"),
        ({"on_inexact": "store_raw", "rate": 0.5}, ValueError, "on_inexact is for chunks that are exact"),
        ({"prefix": 0}, ValueError, "prefix=0"),
    ],
)
def test_wrong_configurations(configuration, error, text):
    metadata = {"name": "teko", "configuration": configuration}
    with pytest.raises(error, match=text):
        TekoCodec.from_dict(metadata)
    # To a schema 8.0 is a whole number.
    if configuration.get("bits") != 8.0:
        with pytest.raises(jsonschema.ValidationError):
            jsonschema.validate(metadata, SCHEMA)


def test_metadata_of_another_codec():
    with pytest.raises(ValueError, match="'gzip'"):
        TekoCodec.from_dict({"name": "gzip"})


REFUSED = [
    ({"dtype": "float32"}, TypeError, "float32; .*scale_offset and cast_value.*numpy.rint"),
    ({"dtype": "float64"}, TypeError, "float64; .*scale_offset and cast_value"),
    ({"dtype": "bool"}, TypeError, r"bool; array.astype\('uint8'\)"),
    ({"dtype": "int8"}, TypeError, r"int8; array.view\('uint8'\) \^ 128"),
    ({"dtype": "int32"}, TypeError, r"int32; .*astype\('int16'\)"),
    ({"dtype": "uint32"}, TypeError, r"uint32; .*astype\('uint16'\)"),
    ({"dtype": "complex64"}, TypeError, "complex64; .*real and imaginary"),
    ({"dtype": "uint16", "colour": "last", "chunks": (64, 64, 3)}, TypeError, "uint8, not of uint16; leave it out"),
    ({"chunks": (2, 64, 3)}, ValueError, "colour='last' codes its last axis"),
    ({"chunks": (64, 3)}, ValueError, "sides of 4 at least; "),
    ({"chunks": (1, 3, 64)}, ValueError, "sides of 4 at least; choose chunks that are larger"),
    ({"chunks": (64,)}, ValueError, "images|no image"),
    ({"chunks": (65536, 4)}, ValueError, "too large: .*65536 rows and 4 columns"),
    ({"chunks": (4, 65536)}, ValueError, "too large: .*4 rows and 65536 columns"),
    ({"chunks": (16384, 4, 4)}, ValueError, "too large: .*smaller chunks"),
    ({"chunks": (60000, 60000)}, ValueError, r"2\^31 - 1 samples"),
    ({"chunks": (3, 64, 64), "colour": "last"}, ValueError, r"\(3, 64, 64\); colour='first' fits"),
    ({"chunks": (64, 64, 3), "colour": "first"}, ValueError, r"\(64, 64, 3\); colour='last' fits"),
    ({"chunks": (64, 64, 1), "colour": "last"}, ValueError, "the whole axis of the colours"),
    ({"bits": 9}, ValueError, "bits=9 is out of range: samples of uint8 have 1 to 8"),
    ({"dtype": "int16", "bits": 12}, ValueError, "signed"),
    ({"chunks": (8, 8), "rate": 0.2}, ValueError, "rate=0.2 is too small: .*leaves 12 bytes"),
]


@pytest.mark.parametrize(("options", "error", "text"), REFUSED)
@pytest.mark.parametrize("sharded", [False, True])
def test_refused_at_creation(options, error, text, sharded):
    options = {"dtype": "uint8", "chunks": (64, 64), **options}
    shape, store = options["chunks"], MemoryStore()
    if sharded:
        options["shards"] = shape
    with pytest.raises(error, match=text) as found:
        teko.zarr.create_array(store, shape=shape, **options)
    assert isinstance(found.value, (teko.Error, ValueError))
    assert store._store_dict == {}


def test_the_cures_of_the_page_cure():
    shares = waves((20, 30), np.uint16) / np.float64(65535)
    with pytest.raises(teko.ImageTypeError, match=r"numpy\.rint\(array \* 65535\)\.astype\('uint16'\)"):
        teko.zarr.create_array({}, data=shares, chunks=shares.shape)
    scaled = teko.zarr.create_array({}, data=np.rint(shares * 65535).astype("uint16"), chunks=shares.shape)
    assert np.array_equal(scaled[:] / 65535, shares)
    flat = waves((3, 64), np.uint8)
    with pytest.raises(teko.ImageError, match="choose chunks that are larger"):
        teko.zarr.create_array({}, data=flat, chunks=(3, 64))
    assert np.array_equal(teko.zarr.create_array({}, data=flat, chunks=(4, 64))[:], flat)


@pytest.mark.parametrize(("options", "error", "text"), REFUSED)
def test_refused_by_zarr_itself(options, error, text):
    options = {"dtype": "uint8", "chunks": (64, 64), **options}
    store, place = MemoryStore(), {name: options.pop(name) for name in ("dtype", "chunks")}
    with pytest.raises(error, match=text):
        zarr.create_array(store, shape=place["chunks"], serializer=TekoCodec(**options), compressors=None, **place)
    assert store._store_dict == {}


@pytest.mark.parametrize(
    ("chunks", "colour"), [((2, 64), None), ((1, 64, 64), "last"), ((64, 64, 3), None), ((16384, 4, 4), None)]
)
def test_chunks_within_shards_are_refused_by_zarr_itself(chunks, colour):
    # Zarr 3.1 judges them when they are written, later ones at creation.
    store = MemoryStore()
    with pytest.raises(teko.ImageError):
        zarr.create_array(
            store,
            data=np.ones(chunks, np.uint8),
            chunks=chunks,
            shards=chunks,
            serializer=TekoCodec(colour=colour),
            compressors=None,
        )
    assert not [key for key in store._store_dict if key != "zarr.json"]


def test_chunks_of_several_shapes():
    edges = {"chunk_shapes": ((16, 20), 30)}
    dtype = zarr.dtype.parse_dtype("uint8", zarr_format=3)
    TekoCodec().validate(shape=(36, 60), dtype=dtype, chunk_grid=types.SimpleNamespace(**edges))
    for wrong in [((16, 2, 16), 30), ((16, 70000), 30), ((16, 20), 3)]:
        grid = types.SimpleNamespace(chunk_shapes=wrong)
        with pytest.raises(teko.ImageError):
            TekoCodec().validate(shape=(36, 60), dtype=dtype, chunk_grid=grid)


def test_arrays_may_be_smaller_than_chunks_and_larger_than_images():
    for shape in [(1, 1), (3, 2), (100000, 70000)]:
        array = teko.zarr.create_array({}, shape=shape, dtype="uint8", chunks=(64, 64))
        array[-1:, -1:] = 9
        assert array[-1, -1] == 9
    smaller = teko.zarr.create_array({}, shape=(100, 100), dtype="uint8", chunks=(64, 64))
    smaller.resize((70, 3))
    assert smaller.shape == (70, 3)


def test_what_create_array_sets():
    array = teko.zarr.create_array(
        {}, shape=(64, 64), dtype="uint8", chunks=(32, 32), attributes={"a": 1}, dimension_names=("y", "x")
    )
    assert array.metadata.codecs == (TekoCodec(),)
    assert dict(array.attrs) == {"a": 1}
    assert array.metadata.dimension_names == ("y", "x")
    sharded = teko.zarr.create_array({}, shape=(64, 64), dtype="uint8", chunks=(32, 32), shards=(64, 64), bits=5)
    (sharding,) = sharded.metadata.codecs
    assert tuple(sharding.codecs) == (TekoCodec(bits=5),)
    for option in ({"compressors": None}, {"serializer": "auto"}, {"zarr_format": 2}):
        with pytest.raises(TypeError, match=r"teko\.zarr\.create_array|Zarr 3"):
            teko.zarr.create_array({}, shape=(64, 64), dtype="uint8", chunks=(32, 32), **option)


def test_zarr_puts_a_compressor_behind():
    samples = waves((40, 60), np.uint16)
    array = zarr.create_array({}, data=samples, chunks=(20, 30), serializer=TekoCodec())
    assert [type(codec).__name__ for codec in array.metadata.codecs] == ["TekoCodec", "ZstdCodec"]
    assert np.array_equal(array[:], samples)
    ours = zarr.create_array({}, data=samples, chunks=(20, 30), **teko.zarr.codecs())
    assert ours.metadata.codecs == (TekoCodec(),)


def test_the_registry_finds_it():
    assert zarr.registry.get_codec_class("teko") is TekoCodec


def test_the_samples_of_the_registry():
    found = sorted((REGISTRY / "sample_data").glob("*.zarr"))
    assert [path.name for path in found] == ["grey16.zarr", "raw.zarr", "rgb8_fixed.zarr", "signed16_shards.zarr"]
    for path in found:
        metadata = json.loads((path / "zarr.json").read_text())
        (codec,) = metadata["codecs"]
        if codec["name"] == "sharding_indexed":
            (codec,) = codec["configuration"]["codecs"]
        jsonschema.validate(codec, SCHEMA)
        array = zarr.open_array(str(path), mode="r")
        expected = np.load(path.with_suffix(".npy"))
        assert array.dtype == expected.dtype
        assert np.array_equal(array[:], expected), path.name


def test_the_page_of_the_registry_names_all_that_there_is():
    page = (REGISTRY / "README.md").read_text()
    for name in SCHEMA["properties"]["configuration"]["properties"]:
        assert f"- `{name}`" in page
    for line in page.split("```json\n")[1:]:
        for codec in json.loads(line.split("```")[0])["codecs"]:
            if codec["name"] == "teko":
                jsonschema.validate(codec, SCHEMA)
                TekoCodec.from_dict(codec)
