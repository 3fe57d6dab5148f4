# SPDX-License-Identifier: Apache-2.0
"""The first bytes of a file are an image; budgets are kept; sides are halved."""

import hypothesis.strategies as st
import numpy as np
import pytest
from hypothesis import given
from pictures import KINDS, dtype_of, noise, shape_of, waves

import teko

HEADER = 10
SHORTEST = 14
WORD = 4

kinds = st.sampled_from(KINDS)


def used(size):
    """Say how many of so many bytes a decoder of a cut file uses."""
    return HEADER + (size - HEADER) // WORD * WORD


def budget_of(image, rate):
    """Return the most bytes at a rate, as a product of single precision."""
    return int(np.float32(rate) * np.float32(image.nbytes))


@pytest.mark.parametrize("kind", KINDS)
@pytest.mark.parametrize(("height", "width"), [(13, 10), (4, 29), (2, 3)])
def test_every_prefix_is_an_image(kind, height, width):
    image = waves(kind, height, width)
    data = teko.encode(image, exact=False)
    before = None
    for size in range(len(data) + 1):
        part = data[:size]
        if size < SHORTEST:
            with pytest.raises(teko.DataError) as caught:
                teko.decode(part)
            assert not isinstance(caught.value, teko.IncompleteError)
            continue
        found = teko.decode(part, signed=kind == "signed16")
        assert (found.shape, found.dtype) == (image.shape, image.dtype)
        if size < len(data):
            with pytest.raises(teko.IncompleteError, match=f" {size} bytes"):
                teko.decode(part, complete=True)
            if used(size) != size:
                assert np.array_equal(found, before), size
        before = found
    assert np.array_equal(before, teko.decode(data, complete=True, signed=kind == "signed16"))
    assert np.array_equal(before, image) == (height >= 4)


@pytest.mark.parametrize("kind", KINDS)
def test_info_needs_ten_bytes(kind):
    image = waves(kind, 70, 90)
    data = teko.encode(image)
    for size in range(HEADER):
        with pytest.raises(teko.DataError):
            teko.info(data[:size])
    dtype = np.dtype(np.uint16 if image.itemsize == 2 else np.uint8)
    wanted = teko.Info(90, 70, 3 if kind == "rgb8" else 1, dtype, 8 * image.itemsize, 5)
    for size in range(HEADER, HEADER + 12):
        assert teko.info(data[:size]) == wanted
    assert (wanted.shape, wanted.nbytes) == (image.shape, image.nbytes)


@pytest.mark.parametrize(("bits", "kind"), [(1, "grey8"), (5, "grey8"), (8, "rgb8"), (1, "grey16"), (12, "grey16")])
def test_bits_are_kept_and_bound_what_a_part_decodes_to(bits, kind):
    image = waves(kind, 40, 50) >> (8 * dtype_of(kind).itemsize - bits)
    data = teko.encode(image, bits=bits)
    assert teko.info(data).bits == bits
    assert [place for place in range(len(data)) if data[place] != teko.encode(image)[place]] in ([], [5])
    for size in range(SHORTEST, len(data), 7):
        assert teko.decode(data[:size]).max() < 2**bits
    assert np.array_equal(teko.decode(data), image)


@pytest.mark.parametrize("kind", KINDS)
def test_more_bytes_are_better(kind):
    image = waves(kind, 45, 52)
    data = teko.encode(image)
    best = 0.0
    for size in range(SHORTEST, len(data), WORD):
        quality = teko.psnr(image, teko.decode(data[:size], signed=kind == "signed16"))
        assert quality > best - 0.5, size
        best = max(best, quality)
    assert best > 48
    halves = [teko.decode(data[: len(data) // 2**fold], signed=kind == "signed16") for fold in range(5)]
    quality = [teko.psnr(image, half) for half in halves]
    assert quality == sorted(quality, reverse=True)
    assert quality[3] > 25


@given(kinds, st.integers(4, 40), st.integers(4, 40), st.data())
def test_cut_keeps_what_a_decoder_uses(kind, height, width, data):
    coded = teko.encode(waves(kind, height, width))
    size = data.draw(st.integers(SHORTEST, len(coded) + 20))
    kept = teko.cut(coded, size)
    assert kept == coded[: len(coded) if size >= len(coded) else used(size)]
    assert np.array_equal(teko.decode(kept), teko.decode(coded[:size]))
    assert teko.cut(kept, size) == kept
    assert teko.cut(coded, max_bytes=size) == kept
    if size < len(coded):
        assert teko.cut(coded[:size], len(coded)) == kept


def test_what_follows_a_file_is_ignored():
    coded = teko.encode(waves("grey8", 30, 40))
    assert np.array_equal(teko.decode(coded + b"more", complete=True), teko.decode(coded))


@given(kinds, st.integers(4, 40), st.integers(4, 40), st.data())
def test_a_budget_of_bytes_cuts_the_whole_file(kind, height, width, data):
    image = noise(kind, height, width, seed=height * width)
    whole = teko.encode(image)
    most = data.draw(st.integers(SHORTEST, len(whole) + 20))
    assert teko.encode(image, max_bytes=most) == whole[:most]


@given(kinds, st.integers(4, 60), st.integers(4, 60), st.floats(1e-3, 1))
def test_a_rate_is_kept(kind, height, width, rate):
    image = waves(kind, height, width)
    most = budget_of(image, rate)
    whole = teko.encode(image)
    if most < SHORTEST:
        with pytest.raises(ValueError, match="rate="):
            teko.encode(image, rate=rate)
        with pytest.raises(ValueError, match="rate="):
            teko.cut(whole, rate=rate)
        return
    coded = teko.encode(image, rate=rate)
    assert len(coded) <= most
    assert whole.startswith(coded)
    # A reader takes words: of the last one a file of a rate may have no more than the bits that count.
    assert len(coded) == min(most, len(whole)) or len(whole) - len(coded) < WORD
    assert teko.cut(whole, rate=rate) == teko.cut(whole, most)


def test_budgets_beyond_any_file_give_the_whole():
    image = waves("grey8", 30, 40)
    whole = teko.encode(image)
    for most in (len(whole), 10**6, 2**40, 2**63, 2**64, 10**30):
        assert teko.encode(image, max_bytes=most) == whole
        assert teko.cut(whole, most) == whole


def test_budgets_are_numbers_of_numpy_too():
    image = waves("grey8", 30, 40)
    whole = teko.encode(image)
    assert teko.encode(image, max_bytes=np.int64(200)) == whole[:200]
    assert teko.encode(image, rate=np.float32(0.25)) == whole[:300]
    assert teko.cut(whole, np.uint16(200)) == whole[:198]
    assert teko.encode(image, bits=np.int32(8)) == whole
    assert teko.decode(whole, reduce=np.int64(1)).shape == (15, 20)


@given(kinds, st.integers(0, 200), st.integers(0, 200).filter(lambda side: side != 1), st.data())
def test_halved_sides_are_rounded_up(kind, height, width, data):
    height = 2 if height == 1 else height
    image = np.zeros(shape_of(kind, height, width), dtype_of(kind))
    coded = teko.encode(image, exact=False)
    found = teko.info(coded)
    assert 0 <= found.levels <= 5
    for reduce in range(found.levels + 1):
        reduced = found.reduced_shape(reduce)
        assert reduced[:2] == (-(-height // 2**reduce), -(-width // 2**reduce))
        part = coded[: data.draw(st.integers(SHORTEST, len(coded)))]
        assert teko.decode(part, reduce=reduce).shape == reduced
        assert teko.decode(part, reduce=reduce).dtype == found.dtype
    for reduce in (found.levels + 1, 6, 99, 2**32, -1):
        with pytest.raises(ValueError, match=f"reduce={reduce} .*{found.levels} levels"):
            teko.decode(coded, reduce=reduce)


@pytest.mark.parametrize("kind", KINDS)
@pytest.mark.parametrize("reduce", range(1, 4))
def test_halved_sides_show_the_same_image(kind, reduce):
    image = waves(kind, 99, 130, grain=0)
    coded = teko.encode(image)
    assert teko.info(coded).levels == 5
    found = teko.decode(coded, reduce=reduce, signed=kind == "signed16")
    every = image[:: 2**reduce, :: 2**reduce]
    assert found.shape == every.shape
    assert teko.psnr(every, found) > 25
    assert np.array_equal(found, teko.decode(coded + b"more", reduce=reduce, signed=kind == "signed16"))
    assert teko.psnr(found, teko.decode(coded[: len(coded) // 2], reduce=reduce, signed=kind == "signed16")) > 35


def test_no_halving_is_the_image():
    image = noise("rgb8", 40, 50)
    assert np.array_equal(teko.decode(teko.encode(image), reduce=0), image)


@pytest.mark.parametrize("kind", KINDS)
def test_even_tone_stays_even(kind):
    image = np.full(shape_of(kind, 64, 96), 90, dtype_of(kind))
    for reduce in range(6):
        found = teko.decode(teko.encode(image), reduce=reduce, signed=kind == "signed16").astype(int)
        assert np.ptp(found) <= 4
        assert abs(found - 90).max() <= 4
