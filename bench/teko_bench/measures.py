# SPDX-License-Identifier: Apache-2.0
"""What is measured on an image, and how far off it is on what a cut file decodes to.

Of integer samples. An error is that of the decoded image less that of the image itself.
"""

from typing import Any

import numpy as np
import numpy.typing as npt

Samples = npt.NDArray[Any]

BINS = 256


def mean_error(image: Samples, decoded: Samples) -> float:
    return float(decoded.mean() - image.mean())


def percentile99(samples: Samples) -> int:
    """Return the least sample that at least 99 % of all are not above."""
    return int(np.percentile(samples, 99, method="inverted_cdf"))


def percentile_error(image: Samples, decoded: Samples) -> int:
    return percentile99(decoded) - percentile99(image)


def shares(samples: Samples, least: int, most: int) -> npt.NDArray[np.float64]:
    """Return those of the samples in each of as many equal bins of the whole numbers from least to most.

    What lies outside counts in the first or the last.
    """
    clipped = np.clip(samples.astype(np.int64), least, most)
    bins = (clipped - least) * BINS // (most - least + 1)
    counts: npt.NDArray[np.float64] = np.bincount(bins.ravel(), minlength=BINS) / samples.size
    return counts


def histogram_distance(image: Samples, decoded: Samples) -> float:
    """Return the total variation distance of the histograms in equal bins of the image's range.

    It is half the sum of the absolute differences. 0: the same; 1: no bin in common.
    """
    least, most = int(image.min()), int(image.max())
    return float(abs(shares(image, least, most) - shares(decoded, least, most)).sum() / 2)


def deviation(samples: Samples) -> float:
    """Return the standard deviation, of all samples and not of a draw."""
    return float(samples.std())


def mean(values: list[float]) -> float:
    return sum(map(abs, values)) / len(values)


def worst(values: list[float]) -> float:
    return max(map(abs, values))
