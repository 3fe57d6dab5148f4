# SPDX-License-Identifier: Apache-2.0
"""Calls on different threads run at the same time, and give what they give alone."""

import sys
import threading
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest
from pictures import KINDS, noise, waves

import teko

LARGE = waves("grey16", 1200, 1600)
FILE = teko.encode(LARGE)


def round_trips(seed):
    """Code images of all kinds, whole and in part."""
    results = []
    for number in range(6):
        kind = KINDS[(seed + number) % len(KINDS)]
        image = noise(kind, 60 + seed, 50 + 7 * number, seed)
        data = teko.encode(image)
        assert np.array_equal(teko.decode(data, signed=kind == "signed16", complete=True), image)
        results.append((data, teko.decode(data[: len(data) // 3]).tobytes(), teko.encode(image, rate=0.3)))
    return results


def test_threads_do_not_disturb_each_other():
    alone = [round_trips(seed) for seed in range(4)]
    with ThreadPoolExecutor(2) as threads:
        assert list(threads.map(round_trips, [0, 1, 2, 3] * 2)) == alone * 2


def test_threads_share_an_image_and_a_file():
    image = waves("rgb8", 120, 160)
    data = bytearray(teko.encode(image))
    with ThreadPoolExecutor(2) as threads:
        files = [threads.submit(teko.encode, image) for _ in range(8)]
        images = [threads.submit(teko.decode, data) for _ in range(8)]
    assert all(file.result() == data for file in files)
    assert all(np.array_equal(found.result(), image) for found in images)


def runs_beside(call):
    """Tell whether another thread of Python got to run before a call returned.

    The interpreter does not switch threads by itself here: the other one waits for a call that lets go of the lock.
    """
    gate, ran = threading.Event(), []

    def other():
        gate.wait()
        ran.append(True)

    thread = threading.Thread(target=other)
    interval = sys.getswitchinterval()
    thread.start()
    try:
        sys.setswitchinterval(1000)
        gate.set()
        call()
        return bool(ran)
    finally:
        sys.setswitchinterval(interval)
        thread.join()


def hold():
    """Hold the lock for as long as coding takes."""
    sum(range(3_000_000))


CALLS = {
    "encode": lambda: teko.encode(LARGE),
    "encode to a rate": lambda: teko.encode(LARGE, rate=0.3),
    "decode": lambda: teko.decode(FILE),
    "decode into": lambda: teko.decode(FILE, out=np.empty_like(LARGE)),
    "psnr": lambda: teko.psnr(LARGE, LARGE),
}


@pytest.mark.parametrize("name", CALLS)
def test_the_lock_is_free_while_coding(name):
    # On a busy machine the other thread may wake too late, now and then.
    assert any(runs_beside(CALLS[name]) for _ in range(50))


@pytest.mark.skipif(not getattr(sys, "_is_gil_enabled", lambda: True)(), reason="there is no lock")
def test_a_call_that_keeps_the_lock_is_seen():
    assert not any(runs_beside(hold) for _ in range(5))
