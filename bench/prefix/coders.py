# SPDX-License-Identifier: Apache-2.0
"""Codecs as functions of an image that give a function of a number of bytes: it gives the raw bytes of the decoded image
and the bytes used, or None where the codec does not take the image, makes no file that small, or is not there."""
import math

import codestream
from image import run

try:
    import imagecodecs
    import numpy
except ImportError:  # as in the test of this table: a column without figures
    imagecodecs = None

SHARES = [1, 2, 5, 10, 20, 50]  # per cent of the lossless teko file
# Of annex K of the JPEG standard: luma, then chroma.
JPEG_STEPS = '''\
16 11 10 16 24 40 51 61
12 12 14 19 26 58 60 55
14 13 16 24 40 57 69 56
14 17 22 29 51 87 80 62
18 22 37 56 68 109 103 77
24 35 55 64 81 104 113 92
49 64 78 87 103 121 120 101
72 92 95 98 112 100 103 99
17 18 24 47 99 99 99 99
18 21 26 66 99 99 99 99
24 26 56 99 99 99 99 99
47 66 99 99 99 99 99 99
99 99 99 99 99 99 99 99
99 99 99 99 99 99 99 99
99 99 99 99 99 99 99 99
99 99 99 99 99 99 99 99'''
# A layer for each share and one halfway to the next; what is left for lossless is the twelfth.
LAYERS_AT_SHARES = sorted(SHARES + [math.sqrt(a * b) for a, b in zip(SHARES, SHARES[1:])])


def teko(image):
    """A cut lossless file. A file made for that size in one pass has to be the same."""
    def code(budget):
        cut = image.lossless[:budget]
        share = (budget + 0.5) / image.size  # the program rounds down
        if image.compressed('C', 'rate.tk', share) != cut:
            raise SystemExit(f'{image.name}: mode C does not write what a file cut to {budget} bytes holds')
        run(image.teko, 'D', image.folder / 'rate.tk', image.folder / 'cut.raw')
        return (image.folder / 'cut.raw').read_bytes(), len(cut)
    return code


def decodedByOpenJpeg(image, data):
    coded = image.folder / 'coded.j2k'
    coded.write_bytes(data)
    run('opj_decompress', '-i', coded, '-o', image.decoded)
    return image.rawOfAnymap()


def writtenByOpenJpeg(image, ratios, *options):
    coded = image.folder / 'coded.j2k'
    run('opj_compress', '-i', image.anymap, '-o', coded, '-r', ','.join(ratios), *options)
    return codestream.Codestream(coded.read_bytes())


def layered(image, sizes):
    """Lossless, with a layer for each size and one for the rest. The encoder ends layers a little below what it is
    asked for, in steps of its own: asked for more, it ends others above."""
    return writtenByOpenJpeg(image, [*map(image.ratio, sizes), '1'], '-p', 'LRCP', '-PLT')


def cutByPackets(shares, whole=lambda image: len(image.lossless)):
    """As many whole packets as there are bytes for, of a file with layers for these shares of the whole, in per cent."""
    def prepare(image):
        stream = layered(image, [whole(image) * share / 100 for share in shares])
        if decodedByOpenJpeg(image, stream.whole()) != image.raw.read_bytes():
            raise SystemExit(f'{image.name}: JPEG 2000 is not lossless')

        def code(budget):
            count, size = stream.wholePackets(budget)
            return (decodedByOpenJpeg(image, stream.firstPackets(count)), size) if count else None
        return code
    return prepare


def irreversible(image):
    """With the filters 9/7, made for the size: what is asked for is moved until the file is nearly as large."""
    def code(budget):
        best, target = None, budget
        for _ in range(4):
            data = writtenByOpenJpeg(image, [image.ratio(target)], '-I').whole()
            if len(data) <= budget and (best is None or len(data) > len(best)):
                best = data
            target = max(1, target + (0.9 if len(data) <= budget else 1.5) * (budget - len(data)))
        return (decodedByOpenJpeg(image, best), len(best)) if best else None
    return code


def htj2k(image):
    """Lossless, cut at any byte. OpenJPH writes one layer, its resolutions one after another. What a cut file decodes
    to may be out of range, where imagecodecs would wrap it: samples go through it signed, about zero, and are clipped
    here. That is what OpenJPH's own command makes of them."""
    if imagecodecs is None:
        return lambda budget: None
    samples, middle = image.samples(), 1 << image.bits - 1
    coded = imagecodecs.htj2k_encode((samples.astype(int) - middle).astype(numpy.int16), reversible=True)

    def decoded(data, **options):
        centred = imagecodecs.htj2k_decode(data, **options).astype(int)
        return numpy.clip(centred + middle, 0, 2 * middle - 1).astype(samples.dtype)

    if not numpy.array_equal(decoded(coded), samples):
        raise SystemExit(f'{image.name}: HTJ2K is not lossless')

    def code(budget):
        try:
            return decoded(coded[:budget], resilient=True).tobytes(), min(budget, len(coded))
        except imagecodecs.Htj2kError:
            return None
    return code


def jpegTables(scale):
    """The tables that cjpeg scales for a quality, for luma and for chroma. Its qualities are whole numbers, of which
    one may give a file a tenth larger than the one before; scales lie as close as it takes."""
    rows = [[max(1, min(32767, round(int(step) * scale))) for step in row.split()] for row in JPEG_STEPS.splitlines()]
    return '\n'.join(' '.join(map(str, row)) for row in rows)


def jpeg(image):
    """The smallest scale that fits, with chroma of full size or of half the sides, whichever comes out better."""
    coded, tables = image.folder / 'coded.jpg', image.folder / 'tables'

    def size(scale, sampling):
        tables.write_text(jpegTables(scale))
        run('cjpeg', '-quality', 50, '-qtables', tables, '-sample', sampling, '-optimize', '-progressive', '-outfile',
            coded, image.anymap)
        return coded.stat().st_size

    def best(budget, sampling):
        tooSmall, fits = 0.005, 255.0
        if size(fits, sampling) > budget:
            return None
        while fits / tooSmall > 1.002:
            scale = math.sqrt(fits * tooSmall)
            if size(scale, sampling) <= budget:
                fits = scale
            else:
                tooSmall = scale
        used = size(fits, sampling)
        run('djpeg', '-pnm', '-outfile', image.decoded, coded)
        return image.rawOfAnymap(), used

    def code(budget):
        if image.bits != 8:
            return None
        samplings = ['1x1', '2x2'] if image.pixelBytes == 3 else ['1x1']
        results = filter(None, (best(budget, sampling) for sampling in samplings))
        return max(results, key=lambda result: image.psnr(result[0]), default=None)
    return code


# By column. Another codec takes one more line.
CODECS = {
    'teko': teko,
    'JPEG 2000, layers at cuts': cutByPackets(LAYERS_AT_SHARES),
    'JPEG 2000, layers elsewhere': cutByPackets([share / 2 ** 0.25 for share in LAYERS_AT_SHARES]),
    'HTJ2K cut': htj2k,
    'JPEG 2000 9/7': irreversible,
    'JPEG': jpeg,
}
