# SPDX-License-Identifier: Apache-2.0
"""What is refused, by which name, and the cure in the message."""

import pickle
import resource
import subprocess
import sys
import tracemalloc

import numpy as np
import pytest
from pictures import header, noise, waves

import teko

GREY = noise("grey8", 20, 30)
DEEP = noise("grey16", 20, 30)
COLOUR = noise("rgb8", 20, 30)
FILE = teko.encode(GREY)


def test_the_header_of_these_tests_is_that_of_files():
    assert FILE[:10] == header(30, 20)[:10]


@pytest.mark.parametrize(
    ("array", "cure"),
    [
        (GREY.astype(bool), r"bool.*astype\(numpy\.uint8\)"),
        (GREY.astype(np.float16), r"float16.*numpy\.rint.*uint16"),
        (GREY.astype(np.float32), r"float32.*numpy\.rint.*uint16"),
        (GREY.astype(np.float64), r"float64.*numpy\.rint.*uint16"),
        (GREY.astype(complex), "complex128.*real and imaginary"),
        (GREY.view(np.int8), r"int8.*view\(numpy\.uint8\)"),
        (GREY.astype(np.int32), r"int32.*astype\(numpy\.uint16\)"),
        (GREY.astype(np.uint32), r"uint32.*astype\(numpy\.uint16\)"),
        (GREY.astype(">i4"), r"i4.*astype\(numpy\.uint16\)"),
        (GREY.astype(np.int64), r"int64.*astype\(numpy\.uint16\)"),
        (GREY.astype(np.uint64), r"uint64.*astype\(numpy\.uint16\)"),
        (GREY.astype(object), "object.*only numbers"),
        (GREY.astype(str), "U.*only numbers"),
        (GREY.astype("M8[s]"), "datetime64.*only numbers"),
        (np.zeros((20, 30), [("a", "u1"), ("b", "u1")]), "only numbers"),
        (None, "object.*only numbers"),
        ("image.png", "U.*only numbers"),
        ([[1, 2], [3, 4]], r"int64.*astype\(numpy\.uint16\)"),
    ],
    ids=lambda value: str(getattr(value, "dtype", ""))[:12],
)
def test_samples_of_other_types(array, cure):
    for call in (teko.encode, lambda image: teko.psnr(image, image)):
        with pytest.raises(teko.ImageTypeError, match=r"uint8, uint16 and int16 can; .*") as caught:
            call(array)
        assert caught.match(cure)
        assert isinstance(caught.value, TypeError)
        assert isinstance(caught.value, teko.Error)


def test_the_cures_of_types_cure():
    signed = GREY.view(np.int8)
    cured = signed.view(np.uint8) ^ 128
    assert np.array_equal((teko.decode(teko.encode(cured)) ^ 128).view(np.int8), signed)
    with pytest.raises(teko.ImageTypeError, match=r"view\(numpy\.uint8\) \^ 128 .*the same brings them back"):
        teko.encode(signed)
    whole = DEEP.astype(np.int64)
    assert np.array_equal(teko.decode(teko.encode(whole.astype(np.uint16))), whole)
    shares = np.rint(DEEP / 65535 * 65535).astype(np.uint16)
    assert np.array_equal(teko.decode(teko.encode(shares)), DEEP)
    assert teko.decode(teko.encode((GREY > 99).astype(np.uint8))).max() == 1


def test_the_cures_of_shapes_cure():
    four = noise("grey8", 20, 30 * 4).reshape(20, 30, 4)
    coded = teko.encode(four[..., :3]), teko.encode(four[..., 3])
    assert np.array_equal(np.dstack([teko.decode(data) for data in coded]), four)
    deep = noise("grey16", 20, 90).reshape(20, 30, 3)
    channels = [teko.decode(teko.encode(deep[..., channel])) for channel in range(3)]
    assert np.array_equal(np.dstack(channels), deep)
    assert np.array_equal(teko.decode(teko.encode(GREY[..., np.newaxis][..., 0])), GREY)
    assert np.array_equal(teko.decode(teko.encode(np.pad(GREY[:1], ((0, 3), (0, 0)), "edge")))[:1], GREY[:1])


@pytest.mark.parametrize(
    ("shape", "dtype", "cure"),
    [
        ((), "u1", "reshape"),
        ((0,), "u1", "reshape"),
        ((600,), "u1", "reshape"),
        ((20, 30, 1), "u1", r"array\[\.\.\., 0\] has the shape"),
        ((20, 30, 1), "u2", r"array\[\.\.\., 0\] has the shape"),
        ((20, 30, 2), "u1", r"array\[\.\.\., 0\] and array\[\.\.\., 1\]"),
        ((20, 30, 4), "u1", r"array\[\.\.\., :3\]"),
        ((20, 30, 5), "u1", "each plane"),
        ((1, 20, 30), "u1", r"array\[0\]"),
        ((7, 20, 30), "u2", r"array\[0\]"),
        ((20, 30, 3), "u2", "uint16.*each channel"),
        ((3, 20, 30), "u2", "uint16.*each channel"),
        ((20, 30, 3), "i2", "int16.*each channel"),
        ((5, 20, 30, 3), "u1", r"array\[0\]"),
        ((1, 20, 30, 3), "u1", r"array\[0\]"),
        ((1, 1, 20, 30, 1), "u1", r"array\[0\]"),
    ],
)
def test_other_shapes(shape, dtype, cure):
    array = np.zeros(shape, dtype)
    for call in (teko.encode, lambda image: teko.psnr(image, image)):
        with pytest.raises(teko.ImageError, match=cure) as caught:
            call(array)
        assert isinstance(caught.value, ValueError)


@pytest.mark.parametrize("shape", [(65536, 4), (4, 65536), (65536, 4, 3), (50000, 50000), (2**31, 2**31), (2**33, 4)])
def test_too_large(shape):
    image = np.broadcast_to(np.uint8(1), shape)
    tracemalloc.start()
    try:
        with pytest.raises(teko.ImageError, match=r"too large.*tiles"):
            teko.encode(image)
        assert tracemalloc.get_traced_memory()[1] < 2**20
    finally:
        tracemalloc.stop()


@pytest.mark.parametrize("shape", [(1, 1), (1, 30), (30, 1), (1, 30, 3), (30, 1, 3), (3, 1, 30)])
def test_one_sample_wide_or_high(shape):
    with pytest.raises(teko.ImageError, match=r"2 at least, and 4 .*numpy\.pad"):
        teko.encode(np.zeros(shape, np.uint8))


def test_images_that_do_not_come_back():
    for shape in [(2, 30), (30, 3), (3, 3)]:
        with pytest.raises(teko.InexactError, match="exact=False"):
            teko.encode(noise("grey8", *shape))
    # A file that is cut promises nothing.
    assert len(teko.encode(noise("grey8", 3, 30), max_bytes=20)) == 20


@pytest.mark.parametrize(
    ("array", "bits"), [(GREY, 0), (GREY, 9), (GREY, -1), (GREY, 2**40), (DEEP, 17), (DEEP, 0), (COLOUR, 9)]
)
def test_bits_that_the_type_has_not(array, bits):
    for call in (teko.encode, lambda image, **options: teko.psnr(image, image, **options)):
        with pytest.raises(teko.ImageError, match=rf"bits={bits} .*1 to {8 * array.itemsize}"):
            call(array, bits=bits)


def test_bits_of_signed_samples():
    image = noise("signed16", 20, 30)
    assert teko.encode(image, bits=16) == teko.encode(image)
    with pytest.raises(teko.ImageError, match=r"bits=12 .*16 bits"):
        teko.encode(image, bits=12)
    with pytest.raises(teko.ImageError, match="never signed"):
        teko.decode(FILE, signed=True)


@pytest.mark.parametrize("call", [lambda **options: teko.encode(GREY, **options), lambda **o: teko.cut(FILE, **o)])
def test_budgets(call):
    with pytest.raises(TypeError, match="give one"):
        call(max_bytes=100, rate=0.5)
    for most in (13, 10, 0, -1, -(2**70)):
        with pytest.raises(ValueError, match=f"max_bytes={most} .*14"):
            call(max_bytes=most)
    for rate in (float("nan"), float("inf"), -float("inf"), -0.5, 0, 1.0001, 5):
        with pytest.raises(ValueError, match=f"rate={rate} .*above 0 and up to 1"):
            call(rate=rate)
    for rate in (1e-300, 1e-9, 0.01, 0.0233):
        with pytest.raises(ValueError, match=f"rate={rate} is too small.*14"):
            call(rate=rate)
    assert len(call(rate=0.0234)) == 14


@pytest.mark.parametrize("options", [{"max_bytes": 20.5}, {"max_bytes": "20"}, {"rate": "0.5"}, {"bits": 7.5}])
def test_options_of_other_types(options):
    with pytest.raises(TypeError):
        teko.encode(GREY, **options)


def test_cut_needs_a_budget():
    with pytest.raises(TypeError, match="max_bytes or rate"):
        teko.cut(FILE)


@pytest.mark.parametrize(
    "data", [b"", b"TK10", FILE[:9], b"TK11" + FILE[4:], b"\x89PNG\r\n\x1a\n" + bytes(40), bytes(40)]
)
def test_what_is_no_file(data):
    for call in (teko.decode, teko.info, lambda data: teko.cut(data, 100), lambda data: teko.cut(data, rate=0.5)):
        with pytest.raises(teko.DataError) as caught:
            call(data)
        assert isinstance(caught.value, ValueError)
        assert str(caught.value)


def test_an_unknown_kind():
    for kind in (0, 4, 255):
        for call in (teko.decode, teko.info, lambda data: teko.cut(data, 100)):
            with pytest.raises(teko.DataError):
                call(FILE[:4] + bytes([kind]) + FILE[5:])


def test_fewer_bytes_than_an_image_takes():
    for size in range(10, 14):
        for call in (teko.decode, lambda data: teko.cut(data, 100)):
            with pytest.raises(teko.DataError):
                call(FILE[:size])


def test_images_that_do_not_go_together():
    others = [DEEP, COLOUR, GREY[:-1], GREY.T, DEEP.view(np.int16)]
    for other in others:
        with pytest.raises(teko.ImageError, match="compared"):
            teko.psnr(GREY, other)
    with pytest.raises(teko.ImageError, match="compared"):
        teko.psnr(DEEP, DEEP.view(np.int16))
    with pytest.raises(teko.ImageTypeError):
        teko.psnr(GREY, GREY.astype(float))
    assert np.isinf(teko.psnr(DEEP, DEEP.astype(">u2")))


def test_max_pixels():
    assert np.array_equal(teko.decode(FILE, max_pixels=600), GREY)
    for most in (599, 1, 0):
        with pytest.raises(teko.LimitError, match=f"20 rows and 30 columns.*max_pixels={most};"):
            teko.decode(FILE, max_pixels=most)
    with pytest.raises(teko.LimitError):
        teko.decode(FILE, max_pixels=599, reduce=2)
    assert not issubclass(teko.LimitError, ValueError)


@pytest.mark.parametrize("kind", [1, 2, 3])
def test_a_header_alone_gets_no_memory(kind):
    data = header(65535, 32767, kind)
    assert teko.info(data).shape[:2] == (32767, 65535)
    tracemalloc.start()
    try:
        with pytest.raises(teko.LimitError, match=r"32767 rows and 65535 columns.*max_pixels=2147385345"):
            teko.decode(data)
        assert tracemalloc.get_traced_memory()[1] < 2**20
    finally:
        tracemalloc.stop()


def test_the_default_limit_grows_with_the_file():
    head = header(12000, 12000, 2, 16)
    with pytest.raises(teko.LimitError, match="1 GiB"):
        teko.decode(head + bytes(10**6))
    # An out that does not fit is the next thing to refuse.
    with pytest.raises(teko.ImageError, match="12000, 12000"):
        teko.decode(head + bytes(3 * 10**7), out=DEEP)


def test_sides_that_no_file_has():
    for kind in (1, 2, 3):
        with pytest.raises((teko.ImageError, teko.LimitError)):
            teko.decode(header(65535, 65535, kind))
        with pytest.raises((teko.ImageError, teko.LimitError)):
            teko.decode(header(65535, 65535, kind), max_pixels=2**40)


SCARCE = """
import resource, sys, numpy, teko
size = 700 * 2**20
resource.setrlimit(resource.RLIMIT_AS, (size, size))
data = bytes.fromhex(sys.argv[1])
for call in (
    lambda: teko.decode(data),
    lambda: teko.decode(data, max_pixels=2**31),
    lambda: teko.decode(data, max_pixels=2**31, reduce=5),
    lambda: teko.encode(numpy.broadcast_to(numpy.uint8(3), (30000, 30000))),
):
    try:
        print(len(call()))
    except (teko.Error, MemoryError) as error:
        print(type(error).__name__)
image = numpy.arange(10000, dtype=numpy.uint16).reshape(100, 100)
print(bool((teko.decode(teko.encode(image)) == image).all()))
"""


def test_no_memory_is_an_exception():
    assert resource.getrlimit(resource.RLIMIT_AS)[0] == resource.RLIM_INFINITY
    command = [sys.executable, "-X", "faulthandler", "-c", SCARCE, header(65535, 32767).hex()]
    environment = {"OPENBLAS_NUM_THREADS": "1"}
    run = subprocess.run(command, capture_output=True, text=True, timeout=100, env=environment)
    assert (run.returncode, run.stderr) == (0, "")
    assert run.stdout.split() == ["LimitError", "MemoryError", "MemoryError", "MemoryError", "True"]


ERRORS = ["DataError", "ImageError", "ImageTypeError", "IncompleteError", "InexactError", "LimitError"]


@pytest.mark.parametrize("name", [*ERRORS, "Error", "DamageWarning"])
def test_names(name):
    found = getattr(teko, name)
    assert (found.__module__, found.__name__) == ("teko", name)
    assert name in teko.__all__
    assert issubclass(found, UserWarning if name == "DamageWarning" else teko.Error)
    assert found.__doc__
    assert str(pickle.loads(pickle.dumps(found("a sentence")))) == "a sentence"


def test_info_travels():
    found = teko.info(FILE)
    assert pickle.loads(pickle.dumps(found)) == found
    assert hash(found) == hash(teko.info(FILE[:10]))
    with pytest.raises(AttributeError):
        found.width = 5


def test_a_refusal_leaves_no_trace():
    image = waves("grey8", 30, 40)
    wanted = teko.encode(image)
    for _ in range(3):
        with pytest.raises(teko.ImageError):
            teko.encode(image, bits=9)
        with pytest.raises(teko.DataError):
            teko.decode(wanted[:12])
        assert teko.encode(image) == wanted
