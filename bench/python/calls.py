#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What the Python package costs beyond the library that it calls.

usage: bench/python/calls.py IMAGES LIBRARY

IMAGES has a line for each image, as scripts/bench makes it, which is laid out to 24 megapixels; LIBRARY is libteko.so.
Calls take turns in nine rounds, and the medians of times and of the ratios within a round are shown. Then the memory of
encoding an array of 400 MB, and two threads that encode beside two processes."""
import concurrent.futures
import ctypes
import pathlib
import statistics
import subprocess
import sys
import time

import numpy
import teko
from teko import _core

ROUNDS = 9
HEIGHT, WIDTH = 4000, 6000


class Description(ctypes.Structure):
    """teko_image of packed samples."""
    _fields_ = [('struct_size', ctypes.c_size_t), *((name, ctypes.c_uint32) for name in (
        'kind', 'bits', 'width', 'height', 'is_signed', 'byte_order')), *((name, ctypes.c_ssize_t) for name in (
            'row_pitch', 'pixel_pitch', 'channel_pitch'))]

    def __init__(self, samples):
        kind = 3 if samples.ndim == 3 else samples.dtype.itemsize
        super().__init__(ctypes.sizeof(self), kind, 0, samples.shape[1], samples.shape[0])


class File(ctypes.Structure):
    """teko_buffer that the library fills."""
    _fields_ = [('struct_size', ctypes.c_size_t), ('data', ctypes.c_void_p), ('capacity', ctypes.c_size_t),
                ('size', ctypes.c_size_t)]


class Library:
    def __init__(self, path):
        self.calls = ctypes.CDLL(path)

    def encode(self, samples):
        file = File(ctypes.sizeof(File))
        if self.calls.teko_encode(ctypes.byref(Description(samples)), ctypes.c_void_p(samples.ctypes.data),
                                  ctypes.byref(file), None) != 0:
            raise SystemExit('the library does not encode')
        self.calls.teko_release(ctypes.byref(file), None)

    def decode(self, data, samples):
        out = numpy.empty_like(samples)
        if self.calls.teko_decode(data, ctypes.c_size_t(len(data)), ctypes.byref(Description(samples)),
                                  ctypes.c_void_p(out.ctypes.data), None, None) != 0:
            raise SystemExit('the library does not decode')


def show(*fields):
    print(*fields, sep='\t', flush=True)


def laidOut(line):
    """The name of an image, and its samples mirrored to its right and below until they are enough."""
    name, pixelBytes, _, width, height, raw = line.split('\t')
    kind, channels = ('<u2' if pixelBytes == '2' else 'u1'), ((3,) if pixelBytes == '3' else ())
    samples = numpy.fromfile(raw, kind).reshape(int(height), int(width), *channels)
    ends = [(0, max(0, HEIGHT - samples.shape[0])), (0, max(0, WIDTH - samples.shape[1]))] + [(0, 0)] * len(channels)
    return name, numpy.ascontiguousarray(numpy.pad(samples, ends, 'symmetric')[:HEIGHT, :WIDTH])


def seconds(call, *arguments):
    start = time.process_time()
    call(*arguments)
    return time.process_time() - start


def compare(name, what, ofLibrary, ofPackage):
    times = [(seconds(*ofLibrary), seconds(*ofPackage)) for _ in range(ROUNDS)]
    ratio = statistics.median(package / library for library, package in times)
    library, package = (1000 * statistics.median(column) for column in zip(*times))
    show(name, what, f'{library:.1f}', f'{package:.1f}', f'{ratio:.3f}')


def peak():
    """Of this program. What getrusage tells is at least that of the process that started it."""
    status = pathlib.Path('/proc/self/status').read_text()
    return 1024 * int(status.split('VmHWM:')[1].split()[0])


def showMemory():
    """In a process of its own, whose peak is not that of what came before."""
    rows = numpy.arange(20000, dtype=numpy.uint32)[:, None]
    samples = numpy.empty((20000, 10000), numpy.uint16)
    for column in range(0, 10000, 100):
        samples[:, column:column + 100] = (rows * (column + numpy.arange(100)) >> 12) % 4096
    before = peak()
    data = teko.encode(samples)
    _, bound = _core.encode_memory(samples)
    grown = peak() - before
    show('400 MB', 'encode', f'{bound / 1e6:.0f} MB bound', f'{grown / 1e6:.0f} MB grown',
         f'{(grown - bound) / samples.nbytes:+.3f} of the array beyond it, file {len(data) / 1e6:.0f} MB')


def encodeOften(samples, times):
    for _ in range(times):
        teko.encode(samples)


def encodeAtStart(path, times):
    """What a process of two does: tells that it is ready, waits for the start, encodes."""
    samples = numpy.load(path)
    teko.encode(samples)
    print('ready', flush=True)
    sys.stdin.readline()
    encodeOften(samples, int(times))
    print('done', flush=True)


def secondsOfThreads(samples, times):
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        start = time.perf_counter()
        for done in [pool.submit(encodeOften, samples, times) for _ in range(2)]:
            done.result()
        return time.perf_counter() - start


def secondsOfProcesses(path, times):
    workers = [subprocess.Popen([sys.executable, __file__, 'encodeAtStart', path, str(times)], text=True,
                                stdin=subprocess.PIPE, stdout=subprocess.PIPE) for _ in range(2)]
    for worker in workers:
        worker.stdout.readline()
    start = time.perf_counter()
    for worker in workers:
        worker.stdin.write('\n')
        worker.stdin.flush()
    for worker in workers:
        worker.stdout.readline()
    taken = time.perf_counter() - start
    for worker in workers:
        worker.wait()
    return taken


def compareThreads(name, samples, folder):
    path = folder / 'samples.npy'
    numpy.save(path, samples)
    times = [(secondsOfProcesses(path, 10), secondsOfThreads(samples, 10)) for _ in range(5)]
    ratio = statistics.median(processes / threads for processes, threads in times)
    processes, threads = (1000 * statistics.median(column) for column in zip(*times))
    show(name, 'two threads', f'{processes:.0f} (processes)', f'{threads:.0f}', f'{ratio:.3f} of their speed')


def main(imageList, library):
    called = Library(library)
    images = [laidOut(line) for line in pathlib.Path(imageList).read_text().splitlines()]
    show('image', 'call', 'library ms', 'Python ms', 'ratio')
    for name, samples in images:
        data = teko.encode(samples)
        compare(name, 'encode', (called.encode, samples), (teko.encode, samples))
        compare(name, 'decode', (called.decode, data, samples), (teko.decode, data))
    for name, samples in images:
        compareThreads(name, samples, pathlib.Path(imageList).parent)
    subprocess.run([sys.executable, __file__, 'showMemory'], check=True)


if sys.argv[1:] == ['showMemory']:
    showMemory()
elif sys.argv[1:2] == ['encodeAtStart']:
    encodeAtStart(*sys.argv[2:])
elif len(sys.argv) == 3:
    main(*sys.argv[1:])
else:
    raise SystemExit(__doc__)
