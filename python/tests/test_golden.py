# SPDX-License-Identifier: Apache-2.0
"""Stored images and files: the package writes and reads them byte for byte as every other part of the project does."""

import math
import warnings

import numpy as np
import pytest
from stored import FIXTURES, GOLDEN, digest, names, raw_bytes, raw_image, table

import teko

ENCODED = GOLDEN / "encode.tsv"
CUT = GOLDEN / "cut.tsv"
COMPARED = GOLDEN / "compare.tsv"
FILES = FIXTURES / "files.tsv"

SHORTEST = 14

# Damage that contradicts itself: top planes that no image has, and an image one sample wide.
SEEN_DAMAGE = {
    "damaged_topPlane255",
    "damaged_topPlane200",
    "damaged_topPlane40",
    "damaged_topPlane14",
    "damaged_oneSampleWide",
    "damaged_wrapsAlongARow",
    "damaged_wrapsDownAColumn",
    "damaged_wrapsBothWays",
}


def decoded(data):
    """Decode, and return the SHA-256 of the samples and the warnings."""
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        image = teko.decode(data)
    return digest(raw_bytes(image)), caught


def expected(row):
    """SHA-256 of the samples of a file that decodes."""
    return digest(raw_bytes(raw_image(row["image"], row))) if row["decoded"] == "raw" else row["decoded"]


def test_the_tables_are_complete():
    assert [len(table(path)) for path in (ENCODED, CUT, COMPARED, FILES)] == [482, 186, 7, 58]


@pytest.mark.parametrize("name", names(ENCODED, "image"))
def test_whole_files_are_the_same(name):
    for row in table(ENCODED, image=name, mode="c"):
        image, bits = raw_image(name, row), int(row["bits/pixel"])
        data = teko.encode(image, bits=bits, exact=False)
        assert digest(data) == row["codedSha256"]
        assert decoded(data) == (expected(row), [])
        if row["decoded"] == "raw":
            assert teko.encode(image, bits=bits) == data
        else:
            with pytest.raises(teko.InexactError):
                teko.encode(image, bits=bits)


@pytest.mark.parametrize("name", names(ENCODED, "image"))
def test_files_of_a_rate_are_the_same(name):
    for row in table(ENCODED, image=name, mode="C"):
        image, rate = raw_image(name, row), float(row["rate"])
        options = {"bits": int(row["bits/pixel"]), "rate": rate, "exact": False}
        if rate == 0 or int(row["codedBytes"]) < 14:
            assert row["decoded"] == "abnormal"
            with pytest.raises(ValueError, match=r"rate=.*14|out of range"):
                teko.encode(image, **options)
            continue
        data = teko.encode(image, **options)
        assert digest(data) == row["codedSha256"], rate
        assert decoded(data) == (expected(row), []), rate


@pytest.mark.parametrize("name", names(CUT, "image"))
def test_prefixes_decode_to_the_same(name):
    whole = (GOLDEN / "coded" / f"{name}.tk").read_bytes()
    for row in table(CUT, image=name):
        data = whole[: int(row["bytes"])]
        if len(data) < SHORTEST:
            with pytest.raises(teko.DataError):
                teko.decode(data)
            continue
        assert decoded(data) == (expected(row), []), len(data)


# One comparison is of 4 bytes a pixel, which is no kind that files have.
@pytest.mark.parametrize(
    "row",
    [row for row in table(COMPARED) if row["bytes/pixel"] in "123"],
    ids=lambda row: "-".join([row["first"], row["second"], row["bits/pixel"]]),
)
def test_psnr_is_the_same(row):
    image, other, bits = raw_image(row["first"], row), raw_image(row["second"], row), int(row["bits/pixel"])
    if bits > 8 * image.itemsize:
        with pytest.raises(teko.ImageError, match="bits=33"):
            teko.psnr(image, other, bits=bits)
        return
    assert f"PSNR={teko.psnr(image, other, bits=bits):.6f}" == row["figures"].split()[-1]


@pytest.mark.parametrize("row", table(FILES), ids=lambda row: row["file"])
def test_files_of_earlier_versions_decode_as_they_did(row):
    data = (FIXTURES / "coded" / f"{row['file']}.tk").read_bytes()
    assert digest(data) == row["codedSha256"]
    # An unknown kind makes an empty output elsewhere.
    if row["decoded"] in ("abnormal", "refused", digest(b"")) and row["mode"] != "c":
        with pytest.raises(teko.DataError) as caught:
            teko.decode(data)
        assert not isinstance(caught.value, teko.IncompleteError)
        return
    found, caught = decoded(data)
    if row["decoded"] != "raw":
        assert found == row["decoded"]
    if row["mode"] != "-" or row["file"] == "damaged_bytesBehind":
        assert caught == []
    if row["file"] in SEEN_DAMAGE:
        assert [warning.category for warning in caught] == [teko.DamageWarning]
        with pytest.raises(teko.DataError):
            teko.decode(data, complete=True)


@pytest.mark.parametrize("row", table(FILES, mode="c", decoded="raw"), ids=lambda row: row["file"])
def test_files_of_earlier_versions_are_what_their_samples_encode_to(row):
    data = (FIXTURES / "coded" / f"{row['file']}.tk").read_bytes()
    found = teko.info(data)
    assert (found.width, found.height) == (int(row["xsize"]), int(row["ysize"]))
    assert found.bits == int(row["bits/pixel"]) or row["bytes/pixel"] != "1"
    assert teko.encode(teko.decode(data, complete=True), bits=found.bits) == data


def test_warnings_point_at_the_caller():
    data = (FIXTURES / "coded" / "damaged_topPlane255.tk").read_bytes()
    with pytest.warns(teko.DamageWarning) as caught:
        image = teko.decode(data)
    assert [warning.filename for warning in caught] == [__file__]
    assert not image.any()
    assert math.isinf(teko.psnr(image, np.zeros_like(image)))
