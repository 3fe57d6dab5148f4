# SPDX-License-Identifier: Apache-2.0
"""What is measured on an image, and how far off it is on what a cut file decodes to.

Of integer samples. An error is that of the decoded image less that of the image itself."""
import numpy

BINS = 256


def meanError(image, decoded):
    return float(decoded.mean() - image.mean())


def percentile99(samples):
    """The least sample that at least 99 % of all are not above."""
    return int(numpy.percentile(samples, 99, method='inverted_cdf'))


def percentileError(image, decoded):
    return percentile99(decoded) - percentile99(image)


def shares(samples, least, most):
    """Of the samples in each of as many equal bins of the whole numbers from least to most. What lies outside counts in
    the first or the last."""
    clipped = numpy.clip(samples.astype(numpy.int64), least, most)
    bins = (clipped - least) * BINS // (most - least + 1)
    return numpy.bincount(bins.ravel(), minlength=BINS) / samples.size


def histogramDistance(image, decoded):
    """The total variation distance of the histograms in equal bins of the image's range: half the sum of the absolute
    differences. 0: the same; 1: no bin in common."""
    least, most = int(image.min()), int(image.max())
    return float(abs(shares(image, least, most) - shares(decoded, least, most)).sum() / 2)


def deviation(samples):
    """The standard deviation, of all samples and not of a draw."""
    return float(samples.std())


def mean(values):
    return sum(map(abs, values)) / len(values)


def worst(values):
    return max(map(abs, values))
