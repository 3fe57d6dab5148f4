# SPDX-License-Identifier: Apache-2.0
"""Teko files in Pillow and in imageio."""

import io

import imageio.v3 as iio
import numpy as np
import pytest
from pictures import header, noise, waves
from PIL import Image, ImageFile, UnidentifiedImageError

import teko
import teko.imageio
import teko.pillow

MODES = {"L": "grey8", "I;16": "grey16", "RGB": "rgb8"}
GREY = waves("grey8", 120, 200)
DEEP = waves("grey16", 120, 200)
COLOUR = waves("rgb8", 120, 200)


def opened(data):
    """Open a file in memory with Pillow."""
    return Image.open(io.BytesIO(data))


def saved(image, **options):
    """Save with Pillow, in memory."""
    file = io.BytesIO()
    image.save(file, "TEKO", **options)
    return file.getvalue()


@pytest.mark.parametrize("mode", MODES)
@pytest.mark.parametrize("place", ["file", "path", "name"])
def test_pillow_opens_and_saves(mode, place, tmp_path):
    array = noise(MODES[mode], 31, 40)
    image = Image.fromarray(array)
    assert image.mode == mode
    path = tmp_path / "image.tk"
    target = {"file": io.BytesIO(), "path": path, "name": str(path)}[place]
    image.save(target, **({"format": "TEKO"} if place == "file" else {}))
    data = target.getvalue() if place == "file" else path.read_bytes()
    assert data == teko.encode(array)
    with Image.open(target) as found:
        assert (found.format, found.mode, found.size) == ("TEKO", mode, (40, 31))
        assert found.get_format_mimetype() == "image/x-teko"
        assert np.array_equal(np.asarray(found), array)
        found.load()
        assert found.copy().tobytes() == image.tobytes()


def test_pillow_saves_both_byte_orders():
    little = Image.fromarray(DEEP)
    big = Image.frombytes("I;16B", (200, 120), DEEP.astype(">u2").tobytes())
    assert saved(big) == saved(little) == teko.encode(DEEP)


def test_pillow_saves_what_it_has_opened():
    data = teko.encode(COLOUR)
    assert saved(opened(data)) == data
    assert saved(opened(data).crop((10, 20, 90, 100))) == teko.encode(COLOUR[20:100, 10:90])
    assert saved(opened(data).convert("L")) == teko.encode(np.asarray(Image.fromarray(COLOUR).convert("L")))


def test_pillow_hands_options_over():
    image = Image.fromarray(DEEP >> 4)
    assert saved(image, bits=12) == teko.encode(DEEP >> 4, bits=12)
    assert opened(saved(image, bits=12)).info["bits"] == 12
    assert saved(image, max_bytes=900) == teko.encode(DEEP >> 4, max_bytes=900)
    assert saved(image, rate=0.1) == teko.encode(DEEP >> 4, rate=0.1)
    small = Image.fromarray(noise("grey8", 3, 9))
    with pytest.raises(teko.InexactError):
        saved(small)
    assert saved(small, exact=False) == teko.encode(np.asarray(small), exact=False)
    with pytest.raises(ValueError, match="max_bytes=5"):
        saved(small, max_bytes=5)


@pytest.mark.parametrize("mode", ["1", "P", "LA", "RGBA", "CMYK", "YCbCr", "HSV", "LAB", "I", "F", "RGBX", "RGBa"])
def test_pillow_refuses_other_modes(mode, tmp_path):
    with pytest.raises(OSError, match=rf"mode {mode} .*L, I;16 and RGB; Image\.convert"):
        Image.new(mode, (20, 30)).save(tmp_path / "image.tk")
    assert list(tmp_path.iterdir()) == []


@pytest.mark.parametrize("array", [GREY, DEEP, COLOUR], ids=MODES)
def test_pillow_opens_files_that_were_cut(array, monkeypatch):
    data = teko.encode(array)
    for size in (14, 200, len(data) // 2, len(data) - 1):
        for truncated in (False, True):
            monkeypatch.setattr(ImageFile, "LOAD_TRUNCATED_IMAGES", truncated)
            assert np.array_equal(np.asarray(opened(data[:size])), teko.decode(data[:size]))


def test_pillow_warns_of_damage():
    data = teko.encode(GREY)
    with pytest.warns(teko.DamageWarning):
        opened(data[:10] + b"\xff" + data[11:]).load()


@pytest.mark.parametrize(
    "data", [b"TK10", b"TK10\x04" + bytes(20), b"TK11\x01\x08" + bytes(20), b"TK10\x00" + bytes(20)]
)
def test_pillow_does_not_identify_what_is_no_file(data):
    with pytest.raises(UnidentifiedImageError):
        opened(data)


def test_pillow_does_not_load_what_is_too_short():
    image = opened(teko.encode(GREY)[:12])
    assert image.size == (200, 120)
    with pytest.raises((OSError, teko.DataError)):
        image.load()


def test_pillow_guards_against_large_images(monkeypatch):
    with pytest.raises(Image.DecompressionBombError):
        opened(header(65535, 32767))
    monkeypatch.setattr(Image, "MAX_IMAGE_PIXELS", 120 * 200 - 1)
    with pytest.warns(Image.DecompressionBombWarning):
        opened(teko.encode(GREY))
    monkeypatch.setattr(Image, "MAX_IMAGE_PIXELS", None)
    assert opened(header(65535, 32767)).size == (65535, 32767)


@pytest.mark.parametrize("array", [GREY, DEEP, COLOUR], ids=MODES)
def test_pillow_drafts(array):
    data = teko.encode(array)
    for size, reduce in [
        ((200, 120), 0),
        ((101, 60), 0),
        ((100, 61), 0),
        ((100, 60), 1),
        ((99, 20), 1),
        ((50, 30), 2),
        ((1, 1), 5),
    ]:
        image = opened(data)
        mode, box = image.draft(None, size)
        wanted = teko.decode(data, reduce=reduce)
        assert (mode, image.size) == (image.mode, wanted.shape[1::-1])
        assert box == (0, 0, 200 / 2**reduce, 120 / 2**reduce)
        assert np.array_equal(np.asarray(image), wanted)


def test_pillow_drafts_in_other_orders():
    image = opened(teko.encode(COLOUR))
    assert image.draft("L", None) is None
    image.draft("L", (50, 30))
    assert (image.mode, image.size) == ("RGB", (50, 30))
    image.draft(None, (100, 60))
    assert image.size == (100, 60)
    image.load()
    assert image.draft(None, (25, 15)) is None
    assert image.size == (100, 60)


@pytest.mark.parametrize("array", [GREY, COLOUR], ids=["L", "RGB"])
@pytest.mark.parametrize("size", [(70, 70), (25, 25), (180, 110)])
def test_pillow_makes_thumbnails(array, size):
    image, whole = opened(teko.encode(array)), Image.fromarray(array)
    image.thumbnail(size)
    whole.thumbnail(size)
    assert image.size == whole.size
    assert teko.psnr(np.asarray(image), np.asarray(whole)) > 30


def test_pillow_still_opens_others():
    file = io.BytesIO()
    Image.fromarray(GREY).save(file, "PNG")
    assert opened(file.getvalue()).format == "PNG"


@pytest.mark.parametrize("array", [GREY, DEEP, COLOUR], ids=MODES)
def test_imageio_reads_and_writes(array, tmp_path):
    path = tmp_path / "image.tk"
    assert iio.imwrite(path, array) is None
    assert path.read_bytes() == teko.encode(array)
    assert iio.imwrite("<bytes>", array, extension=".tk") == teko.encode(array)
    iio.imwrite(path, [array])
    for read in (
        iio.imread(path),
        iio.imread(str(path), plugin="teko"),
        iio.imread(path.read_bytes(), extension=".tk"),
    ):
        assert read.dtype == array.dtype
        assert np.array_equal(read, array)
    with path.open("rb") as file:
        assert np.array_equal(iio.imread(file, extension=".tk"), array)


def test_imageio_describes():
    data = teko.encode(COLOUR)
    found = iio.improps(data, extension=".tk")
    assert (found.shape, found.dtype, found.is_batch) == ((120, 200, 3), np.uint8, False)
    batch = iio.improps(data, extension=".tk", index=...)
    assert (batch.shape, batch.n_images, batch.is_batch) == ((1, 120, 200, 3), 1, True)
    assert iio.immeta(data, extension=".tk") == {"bits": 8, "levels": 5}
    assert iio.immeta(teko.encode(DEEP >> 6, bits=10), extension=".tk")["bits"] == 10


def test_imageio_iterates_and_indexes():
    data = teko.encode(GREY)
    (only,) = iio.imiter(data, extension=".tk")
    assert np.array_equal(only, GREY)
    assert np.array_equal(iio.imread(data, extension=".tk", index=0), GREY)
    assert iio.imread(data, extension=".tk", index=...).shape == (1, 120, 200)
    for call in (iio.imread, iio.improps, iio.immeta):
        for index in (1, -1, 7):
            with pytest.raises(ValueError, match=f"index={index} .*one image"):
                call(data, extension=".tk", index=index)
    with iio.imopen(data, "r", extension=".tk") as file:
        assert np.array_equal(file.read(), file.read(index=0))
        assert file.properties().shape == (120, 200)


def test_imageio_hands_options_over(tmp_path):
    signed = waves("signed16", 120, 200)
    data = iio.imwrite("<bytes>", signed, extension=".tk")
    assert np.array_equal(iio.imread(data, extension=".tk", signed=True), signed)
    assert iio.imread(data, extension=".tk", reduce=2).shape == (30, 50)
    with pytest.raises(teko.LimitError):
        iio.imread(data, extension=".tk", max_pixels=99)
    with pytest.raises(teko.IncompleteError):
        iio.imread(data[:200], extension=".tk", complete=True)
    assert np.array_equal(iio.imread(data[:200], extension=".tk"), teko.decode(data[:200]))
    path = tmp_path / "image.tk"
    iio.imwrite(path, GREY, max_bytes=800)
    assert path.read_bytes() == teko.encode(GREY, max_bytes=800)
    iio.imwrite(path, DEEP >> 4, bits=12, rate=0.1)
    assert path.read_bytes() == teko.encode(DEEP >> 4, bits=12, rate=0.1)
    iio.imwrite(path, GREY[:3], exact=False)
    assert path.read_bytes() == teko.encode(GREY[:3], exact=False)


@pytest.mark.parametrize(
    ("images", "error", "match"),
    [
        ([GREY, GREY], ValueError, "one image, and these are 2"),
        ([], ValueError, "one image, and these are 0"),
        (GREY.astype(float), teko.ImageTypeError, "float64"),
        (np.zeros((20, 30, 4), np.uint8), teko.ImageError, r":3\]"),
        (np.zeros((2, 20, 30), np.uint8), teko.ImageError, r"array\[0\]"),
    ],
)
def test_imageio_refuses(images, error, match, tmp_path):
    path = tmp_path / "image.tk"
    iio.imwrite(path, COLOUR)
    with pytest.raises(error, match=match):
        iio.imwrite(path, images)
    assert np.array_equal(iio.imread(path), COLOUR)
    with pytest.raises(error, match=match):
        iio.imwrite("<bytes>", images, extension=".tk")


# The other readers that imageio tries are none of the package's.
@pytest.mark.filterwarnings("ignore::DeprecationWarning")
@pytest.mark.parametrize(
    "data",
    [b"", b"TK10", b"TK12" + bytes(30), b"TK10\x09" + bytes(30)],
    ids=["empty", "short", "another signature", "another kind"],
)
def test_imageio_does_not_read_what_is_no_file(data, tmp_path):
    path = tmp_path / "image.tk"
    path.write_bytes(data)
    with pytest.raises(OSError, match=r"image\.tk"):
        iio.imread(path)


def test_imageio_still_reads_and_writes_others(tmp_path):
    iio.imwrite(tmp_path / "image.png", GREY)
    assert (tmp_path / "image.png").read_bytes().startswith(b"\x89PNG")
    assert np.array_equal(iio.imread(tmp_path / "image.png"), GREY)
    with pytest.raises(OSError, match="teko"):
        iio.imwrite(tmp_path / "image.png", GREY, plugin="teko")
