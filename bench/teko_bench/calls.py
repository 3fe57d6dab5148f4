#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What the Python package costs beyond the library that it calls.

usage: python3 -m teko_bench.calls IMAGES LIBRARY

The images of a list are laid out to 24 megapixels; LIBRARY is libteko.so.
Calls take turns in nine rounds, and the medians of times and of the ratios within a round are shown. Then the memory of
encoding an array of 400 MB, and two threads that encode beside two processes.
"""

import concurrent.futures
import ctypes
import statistics
import subprocess
import sys
import time
from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np

import teko
from teko import _core
from teko_bench import image_list
from teko_bench.image_list import Image
from teko_bench.measures import Samples
from teko_bench.rows import put

ROUNDS = 9
HEIGHT, WIDTH = 4000, 6000


class Description(ctypes.Structure):
    """teko_image of packed samples."""

    _fields_ = [
        ("struct_size", ctypes.c_size_t),
        *((name, ctypes.c_uint32) for name in ("kind", "bits", "width", "height", "is_signed", "byte_order")),
        *((name, ctypes.c_ssize_t) for name in ("row_pitch", "pixel_pitch", "channel_pitch")),
    ]

    def __init__(self, samples: Samples) -> None:
        kind = 3 if samples.ndim == 3 else samples.dtype.itemsize
        super().__init__(ctypes.sizeof(self), kind, 0, samples.shape[1], samples.shape[0])


class File(ctypes.Structure):
    """teko_buffer that the library fills."""

    _fields_ = [
        ("struct_size", ctypes.c_size_t),
        ("data", ctypes.c_void_p),
        ("capacity", ctypes.c_size_t),
        ("size", ctypes.c_size_t),
    ]


class Library:
    def __init__(self, path: str) -> None:
        self.calls = ctypes.CDLL(path)

    def encode(self, samples: Samples) -> None:
        file = File(ctypes.sizeof(File))
        samples_at, image = ctypes.c_void_p(samples.ctypes.data), ctypes.byref(Description(samples))
        if self.calls.teko_encode(image, samples_at, ctypes.byref(file), None) != 0:
            raise SystemExit("the library does not encode")
        self.calls.teko_release(ctypes.byref(file), None)

    def decode(self, data: bytes, samples: Samples) -> None:
        out = np.empty_like(samples)
        samples_at, image = ctypes.c_void_p(out.ctypes.data), ctypes.byref(Description(samples))
        if self.calls.teko_decode(data, ctypes.c_size_t(len(data)), image, samples_at, None, None) != 0:
            raise SystemExit("the library does not decode")


def laid_out(image: Image) -> Samples:
    """Return the samples of an image, mirrored to its right and below until they are enough."""
    samples = image.samples()
    ends = [(0, max(0, size - side)) for size, side in zip((HEIGHT, WIDTH), samples.shape[:2], strict=True)]
    mirrored = np.pad(samples, [*ends, (0, 0)][: samples.ndim], "symmetric")
    return np.ascontiguousarray(mirrored[:HEIGHT, :WIDTH])


def seconds(call: Callable[..., object], *arguments: object) -> float:
    start = time.process_time()
    call(*arguments)
    return time.process_time() - start


def compare(name: str, what: str, of_library: tuple[Any, ...], of_package: tuple[Any, ...]) -> None:
    times = [(seconds(*of_library), seconds(*of_package)) for _ in range(ROUNDS)]
    ratio = statistics.median(package / library for library, package in times)
    library, package = (1000 * statistics.median(column) for column in zip(*times, strict=True))
    put(name, what, f"{library:.1f}", f"{package:.1f}", f"{ratio:.3f}")


def peak() -> int:
    """Return that of this program. What getrusage tells is at least that of the process that started it."""
    status = Path("/proc/self/status").read_text()
    return 1024 * int(status.split("VmHWM:")[1].split()[0])


def show_memory() -> None:
    """Run in a process of its own, whose peak is not that of what came before."""
    rows = np.arange(20000, dtype=np.uint32)[:, None]
    samples = np.empty((20000, 10000), np.uint16)
    for column in range(0, 10000, 100):
        samples[:, column : column + 100] = (rows * (column + np.arange(100)) >> 12) % 4096
    before = peak()
    data = teko.encode(samples)
    _, bound = _core.encode_memory(samples)
    grown = peak() - before
    beyond = f"{(grown - bound) / samples.nbytes:+.3f} of the array beyond it, file {len(data) / 1e6:.0f} MB"
    put("400 MB", "encode", f"{bound / 1e6:.0f} MB bound", f"{grown / 1e6:.0f} MB grown", beyond)


def encode_often(samples: Samples, times: int) -> None:
    for _ in range(times):
        teko.encode(samples)


def encode_at_start(path: str, times: str) -> None:
    """Do what a process of two does: tell that it is ready, wait for the start, encode."""
    samples = np.load(path)
    teko.encode(samples)
    print("ready", flush=True)
    sys.stdin.readline()
    encode_often(samples, int(times))
    print("done", flush=True)


def seconds_of_threads(samples: Samples, times: int) -> float:
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        start = time.perf_counter()
        for done in [pool.submit(encode_often, samples, times) for _ in range(2)]:
            done.result()
        return time.perf_counter() - start


def started(*arguments: object) -> subprocess.Popen[str]:
    """Start a process that does one of the other two things that this program can do."""
    words = [sys.executable, "-m", "teko_bench.calls", *map(str, arguments)]
    return subprocess.Popen(words, text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE)


def seconds_of_processes(path: Path, times: int) -> float:
    workers = [started("encode_at_start", path, times) for _ in range(2)]
    outputs = [worker.stdout for worker in workers if worker.stdout]
    for output in outputs:
        output.readline()
    start = time.perf_counter()
    for worker in workers:
        if worker.stdin:
            worker.stdin.write("\n")
            worker.stdin.flush()
    for output in outputs:
        output.readline()
    taken = time.perf_counter() - start
    for worker in workers:
        worker.communicate()
    return taken


def compare_threads(name: str, samples: Samples, folder: Path) -> None:
    path = folder / "samples.npy"
    np.save(path, samples)
    times = [(seconds_of_processes(path, 10), seconds_of_threads(samples, 10)) for _ in range(5)]
    ratio = statistics.median(processes / threads for processes, threads in times)
    processes, threads = (1000 * statistics.median(column) for column in zip(*times, strict=True))
    put(name, "two threads", f"{processes:.0f} (processes)", f"{threads:.0f}", f"{ratio:.3f} of their speed")


def main(path: Path, library: str) -> None:
    called = Library(library)
    images = [(image.name, laid_out(image)) for image in image_list.read(path)]
    put("image", "call", "library ms", "Python ms", "ratio")
    for name, samples in images:
        data = teko.encode(samples)
        compare(name, "encode", (called.encode, samples), (teko.encode, samples))
        compare(name, "decode", (called.decode, data, samples), (teko.decode, data))
    for name, samples in images:
        compare_threads(name, samples, path.parent)
    print(started("show_memory").communicate()[0], end="")


if __name__ == "__main__":
    match sys.argv[1:]:
        case ["show_memory"]:
            show_memory()
        case ["encode_at_start", samples, times]:
            encode_at_start(samples, times)
        case [listed, library]:
            main(Path(listed), library)
        case _:
            raise SystemExit(__doc__)
