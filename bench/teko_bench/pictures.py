# SPDX-License-Identifier: Apache-2.0
"""The pictures in docs/, drawn from the tables beside them.

The same table gives the same bytes. Colours are those that the colour-blind tell apart, and differ in grey; lines have
their own marks and dashes besides.
"""

from __future__ import annotations

from collections.abc import Iterable
from pathlib import Path
from typing import Any

import matplotlib as mpl
import pandas as pd
from matplotlib.axes import Axes
from matplotlib.figure import Figure
from matplotlib.lines import Line2D

from teko_bench.command_line import Request
from teko_bench.programs import DOCS

mpl.rcParams.update(
    {
        "svg.hashsalt": "teko",
        "svg.fonttype": "none",
        "font.family": "sans-serif",
        "font.sans-serif": ["DejaVu Sans", "Arial"],
        "font.size": 11,
        "axes.titlesize": 12,
        "axes.spines.top": False,
        "axes.spines.right": False,
        "axes.axisbelow": True,
    }
)

KINDS = {"rgb8": "RGB", "grey8": "grey, 8 bits", "grey16": "grey, 16 bits"}
WIDTH, DOTS = 10.0, 72  # inches; points of a picture to an inch
OWN, OTHER, GENERAL = "#0072b2", "#b8b8b8", "#e3e3e3"
# By codec: colour, mark, dashes.
STYLES = {
    "teko": ("#0072b2", "o", "-"),
    "JPEG 2000, layers at cuts": ("#000000", "^", "-"),
    "JPEG 2000, layers elsewhere": ("#e69f00", "v", "--"),
    "HTJ2K cut": ("#d55e00", "s", "-."),
    "JPEG 2000 9/7": ("#009e73", "D", "--"),
    "JPEG": ("#cc79a7", "X", ":"),
}


def read(name: str) -> pd.DataFrame:
    """Return a table of docs/ without its head; n/a is no figure, inf is one."""
    return pd.read_csv(DOCS / f"{name}.tsv", sep="\t", comment="#", na_values="n/a", keep_default_na=False)


def save(figure: Figure, path: Path) -> None:
    """Write it without a date and without the name of what drew it."""
    nothing = dict.fromkeys(("Date", "Creator", "Format", "Type"))
    figure.savefig(path, metadata=nothing, dpi=DOTS, facecolor="white")


def draw_bars(axes: Axes, values: pd.Series[float], longest: float) -> None:
    """Draw a bar for each codec with its figure beside it, in the order given."""
    colours = [OWN if name == "teko" else GENERAL if name == "zstd" else OTHER for name in values.index]
    bars = axes.barh(range(len(values)), values, color=colours, edgecolor="#606060", linewidth=0.6, height=0.76)
    axes.bar_label(bars, [f"{value:.{0 if value >= 100 else 1}f}" for value in values], padding=3)
    axes.set_yticks(range(len(values)), values.index)
    axes.set_xlim(0, 1.2 * longest)
    axes.set_xticks([])
    axes.spines["bottom"].set_visible(False)
    axes.tick_params(axis="y", length=0)


BARS = {
    "encode MB/s": ("Encoding: MB of raw image a second, more is faster", False),
    "decode MB/s": ("Decoding: MB of raw image a second, more is faster", False),
    "bits/pixel": ("Size: bits a pixel, fewer is smaller", True),
}


def draw_speed(path: Path = DOCS / "benchmarks.svg") -> None:
    """Draw bars of speed and size, the best on top: a panel for each kind, a row of one scale for each column."""
    table = read("benchmarks")
    table = table[table["codec"] != "copy"].set_index("codec")
    figure = Figure(figsize=(WIDTH, 9.6))
    kinds = {kind: title for kind, title in KINDS.items() if kind in set(table["kind"])}
    grid = figure.subplots(len(BARS), len(kinds), squeeze=False)
    for row, (column, (title, ascending)) in zip(grid, BARS.items(), strict=True):
        speeds = [table[table["kind"] == kind][column] for kind in kinds]
        panels = [values.dropna().sort_values(ascending=ascending) for values in speeds]
        for axes, kind, values in zip(row, kinds.values(), panels, strict=True):
            draw_bars(axes, values, max(map(max, panels)))
            axes.set_ylim(max(map(len, panels)) - 0.4, -0.6)  # bars as thick where there are fewer
            axes.set_title(kind, loc="left")
        row[0].text(0, 1.17, title, transform=row[0].transAxes, fontsize=13, fontweight="bold")
    figure.subplots_adjust(0.09, 0.03, 0.99, 0.92, 0.42, 0.32)
    figure.text(0.99, 0.01, "zstd: a general compressor, on the raw bytes", ha="right", color="#404040")
    save(figure, path)


def draw_lines(axes: Axes, values: pd.Series[float], style: str, **options: Any) -> None:
    """Draw values by share of the bytes, which are on a logarithmic axis."""
    colour, mark, dashes = STYLES[style]
    axes.plot(values.index, values, color=colour, marker=mark, linestyle=dashes, linewidth=2, markersize=6, **options)


def shares_below(axes: Axes, shares: Iterable[int], label: str) -> None:
    """Put shares of the bytes on the axis below, each as far from its half as from its double."""
    axes.set_xscale("log")
    axes.set_xticks(list(shares), [str(share) for share in shares])
    axes.minorticks_off()
    axes.set_xlabel(label)
    axes.grid(color="#dddddd")


def draw_prefix(path: Path = DOCS / "prefix.svg") -> None:
    """Draw quality by share of the bytes, the means of each kind of image in a panel."""
    table = read("prefix")
    means = table[table["image"].str.startswith("mean of ")].set_index("% kept")
    figure = Figure(figsize=(WIDTH, 5.2))
    codecs = [name for name in STYLES if name in means.columns]
    kinds = [kind for kind in KINDS if kind in set(means["kind"])]
    for axes, kind in zip(figure.subplots(1, len(kinds), squeeze=False)[0], kinds, strict=True):
        of_kind = means[means["kind"] == kind]
        for codec in codecs:
            draw_lines(axes, of_kind[codec].replace(float("inf"), float("nan")), codec, label=codec)
        axes.set_title(f"{KINDS[kind]}, {of_kind['image'].iloc[0]}", loc="left")
        shares_below(axes, of_kind.index, "% of the lossless teko file")
    figure.axes[0].set_ylabel("PSNR, dB")
    handles, labels = figure.axes[0].get_legend_handles_labels()
    figure.legend(handles, labels, loc="upper center", ncols=3, frameon=False, handlelength=3.5)
    figure.subplots_adjust(0.065, 0.11, 0.99, 0.83, 0.17)
    save(figure, path)


MEAN_AND_WORST = ((1, "black"), (0.5, "white"))  # how strong a line is, and what its marks are filled with
# By column: title, and whether what codecs make of it is so far apart that it takes a logarithmic axis.
MEASURES = {
    "PSNR, dB": ("PSNR, dB: higher is better", False),
    "mean, % of SD": ("error of the mean, % of SD: lower is better", True),
    "99th percentile, % of SD": ("error of the 99th percentile, % of SD: lower is better", True),
    "histogram distance": ("distance of the histograms: lower is better", False),
}


def draw_statistics(path: Path = DOCS / "prefixStatistics.svg") -> None:
    """Draw what is measured on images that few bytes are kept of: a panel for each measure."""
    table = read("prefixStatistics")
    figure = Figure(figsize=(WIDTH, 8.4))
    codecs = table["codec"].unique()
    for axes, (measure, (title, is_logarithmic)) in zip(figure.subplots(2, 2).flat, MEASURES.items(), strict=True):
        for codec in codecs:
            rows = table[table["codec"] == codec].set_index("% of raw")
            style = codec.removesuffix(" for the size")
            mean, worst = (rows[rows["image"].str.startswith(f"{word} of ")][measure] for word in ("mean", "worst"))
            draw_lines(axes, mean, style, label=codec)
            draw_lines(axes, worst, style, alpha=0.5, markerfacecolor="white")
        if is_logarithmic:
            axes.set_yscale("log")
            axes.yaxis.set_major_formatter("{x:g}")
        axes.set_title(title, loc="left")
        shares_below(axes, rows.index.unique(), "% of the raw bytes")
    handles, labels = figure.axes[0].get_legend_handles_labels()
    handles += [Line2D([], [], color="black", marker="o", alpha=a, markerfacecolor=m) for a, m in MEAN_AND_WORST]
    labels += ["mean of the images", "the worst of them"]
    figure.legend(handles, labels, loc="upper center", ncols=3, frameon=False, handlelength=3.5)
    figure.subplots_adjust(0.065, 0.07, 0.99, 0.89, 0.15, 0.3)
    save(figure, path)


def draw(request: Request, folder: Path) -> None:
    draw_speed()
    draw_prefix()
    draw_statistics()
