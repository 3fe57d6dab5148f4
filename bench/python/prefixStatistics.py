#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What is measured on an image of which few bytes are kept: teko beside HTJ2K and JPEG 2000.

usage: bench/python/prefixStatistics.py IMAGES

IMAGES has a line for each image, as scripts/bench makes it; those in grey of 16 bits are taken. Prints a table, fields
separated by tabs: for each image, share of the raw bytes and codec the bytes that it used, the peak signal-to-noise
ratio over the declared bits, and the errors of the mean, of the 99th percentile and of the histogram, as measures.py has
them; then by share and codec the mean and the worst, of absolute values, and in how many images the others come nearer
than teko or less near. n/a: the codec makes no file that small, or
nothing to sum up. inf: exact; an image that any codec keeps so does not count in the means of decibels."""
import math
import operator
import pathlib
import sys
import tempfile

import measures
import numpy
import teko

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / 'prefix'))
import coders  # noqa: E402
from image import Image  # noqa: E402

SHARES = [1, 2, 5, 10]  # per cent of the raw bytes
# A layer for each share and one halfway to the next.
LAYERS = sorted(SHARES + [math.sqrt(a * b) for a, b in zip(SHARES, SHARES[1:])])
COLUMNS = ['PSNR, dB', 'mean, levels', 'mean, % of SD', '99th percentile, levels', '99th percentile, % of SD',
           'histogram distance']
DECIMALS = [2, 3, 3, 0, 2, 4]


def tekoCut(image):
    """A lossless file, cut. A file made for that size in one pass has to be the same."""
    samples = image.samples()
    data = teko.encode(samples, bits=image.bits)
    if not numpy.array_equal(teko.decode(data, complete=True), samples):
        raise SystemExit(f'{image.name}: teko is not lossless')

    def code(budget):
        part = data[:budget]
        if teko.encode(samples, bits=image.bits, max_bytes=budget) != part:
            raise SystemExit(f'{image.name}: a file made for {budget} bytes is not what a cut file holds')
        return teko.decode(part).tobytes(), len(part)
    return code


CODECS = {
    'teko': tekoCut,
    'JPEG 2000, layers at cuts': coders.cutByPackets(LAYERS, lambda image: image.size),
    'HTJ2K cut': coders.htj2k,
    'JPEG 2000 9/7 for the size': coders.irreversible,
}


def figuresOf(image, samples, raw):
    """By column. An image of one level has no deviation to take a share of."""
    decoded = numpy.frombuffer(raw, '<u2').reshape(samples.shape)
    deviation = measures.deviation(samples)
    ofMean, ofPercentile = measures.meanError(samples, decoded), measures.percentileError(samples, decoded)
    meanShare, percentileShare = (100 * error / deviation if deviation else None for error in (ofMean, ofPercentile))
    return [teko.psnr(samples, decoded, bits=image.bits), ofMean, meanShare, ofPercentile, percentileShare,
            measures.histogramDistance(samples, decoded)]


def formatted(values):
    return ['n/a' if value is None else f'{value:.{decimals}f}' for value, decimals in zip(values, DECIMALS)]


def show(*fields):
    print(*fields, sep='\t', flush=True)


def showImage(image):
    """Its rows; the figures by share and codec."""
    samples = image.samples()
    codes = {name: prepare(image) for name, prepare in CODECS.items()}
    rows = {}
    for share in SHARES:
        budget = image.size * share // 100
        for name, code in codes.items():
            raw, used = code(budget) or (None, 'n/a')
            figures = figuresOf(image, samples, raw) if raw else [None] * len(COLUMNS)
            show(image.name, image.bits, f'{measures.deviation(samples):.2f}', share, budget, name, used,
                 *formatted(figures))
            rows[share, name] = figures
    return rows


def isExact(image):
    """Whether a codec keeps it exactly with one of the shares. It has no place in a mean of decibels."""
    return any(figures[0] == math.inf for figures in image.values())


def summaryOf(images, of, ofDecibels, ofErrors):
    """By column: decibels one way, errors the other; none where a codec lacks one, nor of levels of several images."""
    values = []
    for at, name in enumerate(COLUMNS):
        column = [image[of][at] for image in images if at > 0 or not isExact(image)]
        summary = ofDecibels if at == 0 else ofErrors
        values.append(None if 'levels' in name or None in column or not column else summary(column))
    return values


def showSummary(images):
    for word, ofDecibels, ofErrors in (('mean', measures.mean, measures.mean), ('worst', min, measures.worst)):
        for share in SHARES:
            for name in CODECS:
                show(f'{word} of {len(images)}', 'n/a', 'n/a', share, 'n/a', name, 'n/a',
                     *formatted(summaryOf(images, (share, name), ofDecibels, ofErrors)))


def losses(figures):
    """By column, the smaller the better."""
    return [None if value is None else -value if at == 0 else abs(value) for at, value in enumerate(figures)]


def showComparisons(images):
    """In how many images a codec comes nearer than teko, and in how many less near."""
    for word, order in (('better', operator.lt), ('worse', operator.gt)):
        for share in SHARES:
            for name in list(CODECS)[1:]:
                pairs = [zip(losses(image[share, name]), losses(image[share, 'teko'])) for image in images]
                counts = [sum(other is not None and order(other, own) for other, own in column)
                          for column in zip(*pairs)]
                show(f'{word} than teko of {len(images)}', 'n/a', 'n/a', share, 'n/a', name, 'n/a', *counts)


def main(imageList):
    images = []
    show('image', 'bits', 'SD', '% of raw', 'bytes', 'codec', 'bytes used', *COLUMNS)
    for line in pathlib.Path(imageList).read_text().splitlines():
        if line.split('\t')[1] == '2':
            with tempfile.TemporaryDirectory() as folder:
                images.append(showImage(Image(line, None, pathlib.Path(folder))))
    showSummary(images)
    showComparisons(images)


if __name__ == '__main__':
    if len(sys.argv) != 2:
        raise SystemExit(__doc__)
    main(sys.argv[1])
