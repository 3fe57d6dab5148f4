# SPDX-License-Identifier: Apache-2.0
"""What scripts/bench --statistics measures is what its definitions say."""

import fractions
import importlib
import itertools
import math
import pathlib
import shutil
import sys
from typing import Any

import numpy as np
import numpy.typing as npt
import pytest

import teko

sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "bench"))
measures: Any = importlib.import_module("teko_bench.measures")
statistics: Any = importlib.import_module("teko_bench.prefix_statistics")

Samples = npt.NDArray[np.uint16]


def samples(*values: int) -> Samples:
    return np.array(values, np.uint16)


def draws(number: int, most: int) -> Samples:
    return np.random.default_rng(number).integers(0, most + 1, (7, 40 + number), np.uint16)


def distance_by_counting(image: Samples, other: Samples) -> float:
    """Return half of the differences of 256 shares, counted one sample at a time."""
    least, most = int(image.min()), int(image.max())
    width = fractions.Fraction(most + 1 - least, 256)
    counts = [[0] * 256, [0] * 256]
    for which, array in enumerate((image, other)):
        for sample in array.ravel().tolist():
            counts[which][min(255, max(0, (sample - least) // width))] += 1
    return sum(abs(a - b) for a, b in zip(*counts, strict=True)) / image.size / 2


def test_mean_error_has_the_sign_of_what_was_added() -> None:
    image = samples(10, 20, 30, 40)
    assert measures.mean_error(image, samples(10, 20, 30, 41)) == 0.25
    assert measures.mean_error(image, samples(6, 20, 30, 40)) == -1
    assert measures.mean_error(image, samples(40, 30, 20, 10)) == 0


@pytest.mark.parametrize(("zeros", "sevens", "percentile"), [(99, 1, 0), (198, 2, 0), (98, 2, 7), (197, 3, 7)])
def test_percentile_is_the_least_sample_that_99_in_100_do_not_exceed(zeros: int, sevens: int, percentile: int) -> None:
    array = samples(*[7] * sevens, *[0] * zeros)
    assert measures.percentile99(array) == percentile
    assert measures.percentile_error(samples(*[3] * 100), array) == percentile - 3


@pytest.mark.parametrize("number", range(8))
def test_percentile_of_draws(number: int) -> None:
    array = draws(number, 999)
    fitting = [s for s in array.ravel().tolist() if 100 * int((array <= s).sum()) >= 99 * array.size]
    assert measures.percentile99(array) == min(fitting)


def test_distance_of_histograms() -> None:
    image = samples(0, 0, 255, 255)
    assert measures.histogram_distance(image, image[::-1]) == 0
    assert measures.histogram_distance(image, samples(0, 0, 0, 255)) == 0.25
    assert measures.histogram_distance(image, samples(1, 1, 254, 254)) == 1


def test_distance_does_not_see_what_stays_in_a_bin() -> None:
    image = np.arange(100, 100 + 512, dtype=np.uint16)
    assert measures.histogram_distance(image, image ^ 1) == 0
    assert measures.histogram_distance(image, image + 1) == 1 / 512 * (0.5 + 0.5)


def test_what_leaves_the_range_counts_at_its_ends() -> None:
    image = samples(100, 100, 355, 355)
    assert measures.histogram_distance(image, samples(0, 100, 355, 65535)) == 0
    assert measures.histogram_distance(image, samples(0, 100, 100, 65535)) == 0.25


def test_distance_of_an_even_image() -> None:
    assert measures.histogram_distance(samples(5, 5), samples(4, 6)) == 0


@pytest.mark.parametrize(("number", "most"), list(itertools.product(range(4), (40, 255, 700, 65535))))
def test_distance_of_draws(number: int, most: int) -> None:
    image = draws(number, most)
    other = np.roll(image, 1) // 2 + image // 2
    assert measures.histogram_distance(image, other) == pytest.approx(distance_by_counting(image, other), abs=1e-12)


def test_deviation_is_that_of_all_samples() -> None:
    assert measures.deviation(samples(1, 3)) == 1


def test_summaries_are_of_absolute_values() -> None:
    assert measures.mean([1.0, -3.0]) == 2
    assert measures.worst([1.0, -3.0]) == 3


def test_figures_are_in_levels_and_in_per_cent_of_the_deviation() -> None:
    image = np.tile(samples(100, 300), (10, 1))
    figures = statistics.figures_of(12, image, (image - 50).tobytes())
    assert figures[1:5] == [-50, -50, -50, -50]
    assert figures[0] == pytest.approx(20 * math.log10(4095 / 50))
    assert figures[5] == 0.5  # the lower half was at the end already
    even = np.full((5, 5), 7, np.uint16)
    assert statistics.figures_of(12, even, (even + 1).tobytes())[1:] == [1, None, 1, None, 0]


def test_decibels_of_an_image_that_is_kept_exactly_are_in_no_mean() -> None:
    of, other = (1, "teko"), (10, "teko")
    images = [
        {of: [30.0, 0.5, 1.0, 2, 4.0, 0.25], other: [40.0, 0, 0, 0, 0, 0]},
        {of: [50.0, -0.5, -3.0, -2, -4.0, 0.75], other: [60.0, 0, 0, 0, 0, 0]},
        {of: [90.0, 0.0, -2.0, 0, 1.0, 0.5], other: [math.inf, 0, 0, 0, 0, 0]},
    ]
    assert statistics.summary_of(images, of, measures.mean, measures.mean) == [40, None, 2, None, 3, 0.5]
    assert statistics.summary_of(images, of, min, measures.worst) == [30, None, 3, None, 4, 0.75]
    assert statistics.summary_of(images[2:], of, min, measures.worst) == [None, None, 2, None, 1, 0.5]
    images[1][of][2] = None
    assert statistics.summary_of(images, of, min, measures.worst)[2] is None


def test_comparisons_count_images(capsys: pytest.CaptureFixture[str]) -> None:
    nearer, same, farther = [[30.0, -1, 0, 2, -2, 0.2], [20.0, 2, 0, -2, 2, 0.4], [math.inf, -3, 0, -5, 0, 0.9]]
    images = [
        {
            (share, name): farther if name == "teko" else nearer
            for share in statistics.SHARES
            for name in statistics.CODECS
        },
        dict.fromkeys(itertools.product(statistics.SHARES, statistics.CODECS), same),
    ]
    images[0][1, "HTJ2K cut"] = [None] * 6
    statistics.show_comparisons(images)
    lines = {(row[0], row[3], row[5]): row[7:] for row in (x.split("\t") for x in capsys.readouterr().out.splitlines())}
    assert lines["better than teko of 2", "2", "HTJ2K cut"] == ["0", "1", "0", "1", "0", "1"]
    assert lines["worse than teko of 2", "2", "HTJ2K cut"] == ["1", "0", "0", "0", "1", "0"]
    assert (
        lines["better than teko of 2", "1", "HTJ2K cut"] == lines["worse than teko of 2", "1", "HTJ2K cut"] == ["0"] * 6
    )


@pytest.mark.skipif(not shutil.which("opj_compress") or not shutil.which("opj_decompress"), reason="no OpenJPEG here")
def test_table(tmp_path: pathlib.Path, capsys: pytest.CaptureFixture[str]) -> None:
    rows, columns = np.mgrid[:160, :192]
    image = (2000 + 900 * np.sin(rows / 9) * np.cos(columns / 7) + draws(9, 60)[0, :1]).astype("<u2")
    (tmp_path / "waves.raw").write_bytes(image.tobytes())
    shape = f"12\t192\t160\t{tmp_path / 'waves.raw'}\n"
    (tmp_path / "list").write_text(f"waves\t2\t{shape}grey\t1\t{shape}")
    statistics.main(tmp_path / "list")
    head, *table = [line.split("\t") for line in capsys.readouterr().out.splitlines()]
    of_image = [dict(zip(head, row, strict=True)) for row in table if row[0] == "waves"]
    of_mean = [dict(zip(head, row, strict=True)) for row in table if row[0] == "mean of 1"]
    assert len(of_image) == len(of_mean) == 16
    assert len(table) == 16 + 2 * 16 + 2 * 12
    data = teko.encode(image)
    for figures, mean in zip(of_image, of_mean, strict=True):
        allowed = image.nbytes * int(figures["% of raw"]) // 100
        assert int(figures["bytes"]) == allowed
        if figures["bytes used"] == "n/a":
            continue
        assert int(figures["bytes used"]) <= allowed
        assert mean["histogram distance"] == figures["histogram distance"]
        if figures["codec"] == "teko":
            assert int(figures["bytes used"]) == allowed
            assert figures["PSNR, dB"] == f"{teko.psnr(image, teko.decode(data[:allowed]), bits=12):.2f}"
