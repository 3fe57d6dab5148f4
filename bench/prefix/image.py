# SPDX-License-Identifier: Apache-2.0
"""An image to measure with: its raw file, the same as a PGM or PPM, and how near to it is what a codec makes of it."""
import array
import functools
import pathlib
import re
import subprocess

KINDS = {1: 'grey8', 2: 'grey16', 3: 'rgb8'}


def run(*command):
    result = subprocess.run([str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if result.returncode != 0:
        raise SystemExit(f'{" ".join(map(str, command))}: {result.stdout}{result.stderr}')
    return result.stdout


class Image:
    def __init__(self, line, teko, folder):
        self.name, *numbers, raw = line.rstrip('\n').split('\t')
        self.pixelBytes, self.bits, self.width, self.height = map(int, numbers)
        if (self.pixelBytes == 2) != (self.bits > 8):
            raise SystemExit(f'{self.name}: bytes and bits of its samples do not go together in a PGM')
        self.kind, self.raw, self.teko, self.folder = KINDS[self.pixelBytes], pathlib.Path(raw), teko, folder
        self.size = self.pixelBytes * self.width * self.height
        self.anymap = folder / ('image.ppm' if self.pixelBytes == 3 else 'image.pgm')
        self.decoded = folder / ('decoded' + self.anymap.suffix)
        head = f'P{6 if self.pixelBytes == 3 else 5}\n{self.width} {self.height}\n{(1 << self.bits) - 1}\n'
        self.anymap.write_bytes(head.encode() + self.swapped(self.raw.read_bytes()))

    @functools.cached_property
    def lossless(self):
        return self.compressed('c', 'lossless.tk')

    def shape(self):
        return self.pixelBytes, self.bits, self.width, self.height

    def samples(self):
        """As an array, for codecs that take such."""
        import numpy
        channels = (3,) if self.pixelBytes == 3 else ()
        kind = '<u2' if self.pixelBytes == 2 else 'u1'
        return numpy.fromfile(self.raw, kind).reshape(self.height, self.width, *channels)

    def swapped(self, raster):
        """Anymaps have the most significant byte first, raw files the least."""
        if self.pixelBytes != 2:
            return raster
        samples = array.array('H', raster)
        samples.byteswap()
        return samples.tobytes()

    def compressed(self, mode, name, *share):
        run(self.teko, mode, self.raw, *self.shape(), self.folder / name, *share)
        return (self.folder / name).read_bytes()

    def psnr(self, raw):
        """The peak signal-to-noise ratio of raw bytes."""
        (self.folder / 'back.raw').write_bytes(raw)
        line = run(self.teko, 'm', self.raw, *self.shape(), self.folder / 'back.raw')
        return float(re.search(r'PSNR=(\S+)', line)[1])

    def rawOfAnymap(self):
        """What a command has decoded."""
        return self.swapped(self.decoded.read_bytes()[-self.size:])

    def ratio(self, size):
        """What opj_compress takes: how many times the size goes into the bits of the raw image."""
        samples = self.width * self.height * (3 if self.pixelBytes == 3 else 1)
        return f'{max(1, samples * self.bits / 8 / size):.6f}'
