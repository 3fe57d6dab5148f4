# SPDX-License-Identifier: Apache-2.0
"""Damaged files decode to something or are refused; no call keeps what it was given. Run as a program, it decodes."""

import faulthandler
import gc
import pathlib
import random
import struct
import subprocess
import sys
import warnings

import numpy as np
import pytest
from pictures import KINDS, noise, waves

import teko

FILES = 1000
MOST_PIXELS = 2**20


def flipped(data, chance):
    """Turn some bits behind the header over."""
    damaged = bytearray(data)
    for _ in range(chance.choice([1, 1, 2, 8, 40])):
        damaged[chance.randrange(10, len(data))] ^= 1 << chance.randrange(8)
    return damaged


def overwritten(data, chance):
    """Replace a run of bytes."""
    start = chance.randrange(10, len(data))
    size = min(chance.choice([1, 4, 30, 500]), len(data) - start)
    return data[:start] + chance.choice([bytes(size), b"\xff" * size, chance.randbytes(size)]) + data[start + size :]


def shortened(data, chance):
    """Turn bits over, and leave the end away."""
    return flipped(data, chance)[: chance.randrange(len(data) + 1)]


def moved(data, chance):
    """Put bytes in, or take some out."""
    place = chance.randrange(len(data))
    if chance.random() < 0.5:
        return data[:place] + chance.randbytes(chance.randrange(1, 9)) + data[place:]
    return data[:place] + data[place + chance.randrange(1, 9) :]


def misdescribed(data, chance):
    """Have the header or the top plane say something else."""
    damaged = bytearray(data)
    for _ in range(chance.choice([1, 1, 2])):
        damaged[chance.choice([4, 5, 6, 7, 8, 9, 10, 10])] = chance.choice(
            [0, 1, 2, 3, 4, 16, 255, chance.randrange(256)]
        )
    return damaged


def resized(data, chance):
    """Have the header give other sides, mostly small ones."""
    sides = [chance.choice([0, 1, 2, 3, 4, 5, 7, 64, 200, 900]) for _ in range(2)]
    return data[:6] + struct.pack("<HH", *sides) + data[10:]


DAMAGE = (flipped, overwritten, shortened, moved, misdescribed, resized)


def whole_files():
    """Return files of every kind."""
    shapes = [(40, 50), (5, 4), (4, 70), (33, 64)]
    return [teko.encode(make(kind, *shape)) for kind in KINDS for shape in shapes for make in (noise, waves)]


def damaged_files():
    """Yield files that something has happened to, the same ones each time."""
    chance = random.Random(20260101)
    files = whole_files()
    for number in range(FILES):
        yield bytes(DAMAGE[number % len(DAMAGE)](chance.choice(files), chance))


def outcome(data, **options):
    """Decode, and say in a word how it ended; whatever ends otherwise is an error."""
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        try:
            image = teko.decode(data, max_pixels=MOST_PIXELS, **options)
        except (teko.Error, ValueError):
            return "refused"
    found = teko.info(data)
    assert image.shape == found.reduced_shape(options.get("reduce", 0))
    assert image.dtype == found.dtype
    assert [warning.category for warning in caught] in ([], [teko.DamageWarning])
    assert np.array_equal(image, image.copy())
    return "warned" if caught else "decoded"


def judge():
    """Decode all damaged files, and print how many ended in which way."""
    faulthandler.dump_traceback_later(100, exit=True)
    ends = {"decoded": 0, "warned": 0, "refused": 0}
    for data in damaged_files():
        ends[outcome(data)] += 1
        outcome(data, reduce=1)
        try:
            kept = teko.cut(data, max(14, len(data) * 3 // 4))
        except teko.DataError:
            continue
        assert data.startswith(kept)
        outcome(kept)
    print(*ends.values())


def test_damaged_files_decode_or_are_refused():
    command = [sys.executable, "-X", "faulthandler", __file__]
    run = subprocess.run(command, capture_output=True, text=True, timeout=200)
    assert (run.returncode, run.stderr) == (0, "")
    ends = [int(count) for count in run.stdout.split()]
    assert sum(ends) == FILES
    assert min(ends) >= FILES // 25


def test_the_damage_is_done():
    damaged = list(damaged_files())
    assert len(set(damaged)) > FILES * 0.97
    assert len(set(damaged).intersection(whole_files())) < FILES * 0.03
    for place, value in [(4, 0), (4, 2), (5, 255), (10, 255), (10, 16)]:
        assert sum(data[place : place + 1] == bytes([value]) for data in damaged) > 0


def attempts(image, data, out, broken):
    """Yield calls that succeed and calls that fail, each in a way of its own."""
    yield lambda: teko.encode(image)
    yield lambda: teko.encode(image, rate=0.2)
    yield lambda: teko.encode(image, max_bytes=5)
    yield lambda: teko.encode(image, bits=40)
    yield lambda: teko.encode(image[:3])
    yield lambda: teko.encode(image[:1])
    yield lambda: teko.encode(np.broadcast_to(image[0], image.shape))
    yield lambda: teko.encode(image[..., np.newaxis])
    yield lambda: teko.decode(data)
    yield lambda: teko.decode(data, out=out)
    yield lambda: teko.decode(data, out=out[:-1])
    yield lambda: teko.decode(data, out=np.lib.stride_tricks.as_strided(out, out.shape, (1, 1)))
    yield lambda: teko.decode(data, reduce=1)
    yield lambda: teko.decode(data, reduce=6)
    yield lambda: teko.decode(data, max_pixels=5)
    yield lambda: teko.decode(memoryview(data)[:-9], complete=True)
    yield lambda: teko.decode(memoryview(data)[::-1])
    yield lambda: teko.decode(broken)
    yield lambda: teko.info(data)
    yield lambda: teko.info(broken)
    yield lambda: teko.cut(data, 100)
    yield lambda: teko.cut(broken, 100)
    yield lambda: teko.psnr(image, out)
    yield lambda: teko.psnr(image, out[:-1])


def tried(attempt):
    """Make a call, and let it fail."""
    try:
        attempt()
    except (teko.Error, ValueError, TypeError, BufferError) as error:
        return type(error)
    return None


def objects():
    """Make what the calls are given."""
    image = waves("grey8", 300, 400)
    data = bytearray(teko.encode(image))
    return image, data, np.empty_like(image), bytearray(b"TK10") + bytes([9] * 30)


def resident():
    """Bytes of memory that the process holds."""
    pages = int(pathlib.Path("/proc/self/statm").read_text().split()[1])
    return pages * 4096


def test_calls_give_back_what_they_were_given():
    given = objects()
    image, data, out, broken = given
    counts = [sys.getrefcount(thing) for thing in given]
    ends = [tried(attempt) for attempt in attempts(*given)]
    assert ends.count(None) == 9
    for attempt in attempts(*given):
        tried(attempt)
        # A buffer that is held cannot change its size.
        for buffer in (data, broken):
            buffer.append(0)
            buffer.pop()
    del attempt, buffer
    gc.collect()
    assert [sys.getrefcount(thing) for thing in given] == counts
    image.resize((10, 10), refcheck=False)
    out.resize((10, 10), refcheck=False)


def test_results_belong_to_the_caller_alone():
    image, data, out, _ = objects()
    coded, found = teko.encode(image), teko.decode(data)
    assert sys.getrefcount(coded) == 2
    assert sys.getrefcount(found) == 2
    assert found.flags.owndata
    assert found.flags.writeable
    del data[:]
    assert np.array_equal(found, image)
    references = sys.getrefcount(out)
    teko.decode(coded, out=out)
    assert sys.getrefcount(out) == references


@pytest.mark.skipif(not pathlib.Path("/proc/self/statm").exists(), reason="no account of memory here")
def test_memory_does_not_grow():
    given = objects()
    rounds = 200
    for _ in range(20):
        for attempt in attempts(*given):
            tried(attempt)
    gc.collect()
    before, alive = resident(), len(gc.get_objects())
    for _ in range(rounds):
        for attempt in attempts(*given):
            tried(attempt)
    gc.collect()
    assert len(gc.get_objects()) - alive < rounds
    # A file of an image here takes 40 kB and more.
    assert resident() - before < rounds * 10_000


if __name__ == "__main__":
    judge()
