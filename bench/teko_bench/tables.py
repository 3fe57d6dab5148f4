# SPDX-License-Identifier: Apache-2.0
"""What is summed up of measured figures.

Each function takes a frame or lines of them, and returns the rows of a table, its head first.
"""

from __future__ import annotations

import io
from collections.abc import Iterable
from typing import Any

import pandas as pd

Table = list[list[str]]
FIGURES = ["kind", "image", "stage", "MB/s", "ns/sample", "cycles/sample", "samples"]
PEER_FIGURES = ["codec", "image", "kind", "direction", "raw", "coded", "pixels", "peak", "nanoseconds"]
YARDSTICK = "OpenJPEG"


def fixed(values: Iterable[float], decimals: int) -> list[str]:
    return [f"{value:.{decimals}f}" for value in values]


def table(head: str, *columns: Iterable[object]) -> Table:
    """Return rows of columns below their names, which commas separate."""
    return [head.split(","), *([str(field) for field in row] for row in zip(*columns, strict=True))]


def stage_figures(text: str) -> pd.DataFrame:
    """Return what the program stages prints, or end where an image did not come back."""
    results = pd.read_csv(io.StringIO(text))
    failed = results[results["error_occurred"].eq(True)]  # an empty field, where nothing occurred
    if len(failed):
        raise SystemExit("\n".join(f"{row['name']}: {row['error_message']}" for _, row in failed.iterrows()))
    results[FIGURES[:3]] = results["name"].str.split("/", expand=True)[[0, 1, 2]]
    return results[FIGURES]


def stage_table(figures: pd.DataFrame) -> Table:
    """Return a row for each kind and stage: total bytes by total time over its images."""
    time = figures["ns/sample"] * figures["samples"]
    parts = figures.assign(
        time=time, cycles=figures["cycles/sample"] * figures["samples"], bytes=figures["MB/s"] * time / 1e3
    )
    sums = parts.groupby(["kind", "stage"], sort=False)[["time", "cycles", "bytes", "samples"]].sum().reset_index()
    return table(
        "kind,stage,MB/s,ns/sample,cycles/sample",
        sums["kind"],
        sums["stage"],
        fixed(1e3 * sums["bytes"] / sums["time"], 1),
        fixed(sums["time"] / sums["samples"], 3),
        fixed(sums["cycles"] / sums["samples"], 2),
    )


def by_image(figures: pd.DataFrame, column: str, how: str = "median") -> pd.DataFrame:
    """Return that of the rounds: a row for each image, in their order, and a column for each stage."""
    order = figures["image"].unique()
    return figures.groupby(["image", "stage"])[column].agg(how).unstack("stage").loc[order]


def rate_table(figures: pd.DataFrame) -> Table:
    """Return medians of whole and cut speeds, and of how many times as fast the cut one was in its round."""
    speeds = by_image(figures, "MB/s")
    rounds = figures.set_index(["image", "stage", "round"])["MB/s"].unstack("stage")
    columns: list[Iterable[str]] = []
    for way in ("wholeEncode", "wholeDecode"):
        ratios = (rounds[f"{way}AtRate"] / rounds[way]).groupby("image").median().loc[speeds.index]
        columns += [fixed(speeds[way], 1), fixed(speeds[f"{way}AtRate"], 1), fixed(ratios, 2)]
    kinds = figures.drop_duplicates("image")["kind"]
    head = "kind,image,encode MB/s,cut to 5 %,times,decode MB/s,cut to 5 %,times"
    return table(head, kinds, speeds.index, *columns)


def size_table(figures: pd.DataFrame) -> Table:
    """Return medians and least of nanoseconds per sample, by image and what it grew to, NAME@4 and so on.

    After the sizes of an image a row divides the most of each column by the least.
    """
    parts = []
    for stage in ("wholeEncode", "wholeDecode"):
        parts += [by_image(figures, "ns/sample", how)[stage] for how in ("median", "min")]
    times = pd.concat(parts, axis=1)
    firsts = figures.drop_duplicates("image").set_index("image")
    megapixels = firsts["samples"] / 1e6 / firsts["kind"].map({"rgb8": 3}).fillna(1)
    rows = table("image,megapixels,encode ns/sample,least,decode ns/sample,least")
    for image, sizes in times.groupby(times.index.str.replace(r"@\d+$", "", regex=True), sort=False):
        rows += [[str(name), f"{megapixels[name]:.1f}", *fixed(sizes.loc[name], 3)] for name in sizes.index]
        rows.append([str(image), "most/least", *fixed(sizes.max() / sizes.min(), 2)])
    return rows


def shape_table(figures: pd.DataFrame) -> Table:
    """Return nanoseconds per sample of images and of the same in other shapes, NAME@SHAPE, by those of the image."""
    times = by_image(figures, "ns/sample")
    images = times.index.str.replace("@.*", "", regex=True)
    columns: list[Iterable[str]] = []
    for stage in ("wholeEncode", "wholeDecode"):
        own = times[stage].loc[images].to_numpy()
        columns += [fixed(times[stage], 2), fixed(times[stage] / own, 1)]
    shapes = [name.partition("@")[2] or "itself" for name in times.index]
    return table("image,shape,encode ns/sample,times,decode ns/sample,times", images, shapes, *columns)


def peer_figures(text: str) -> pd.DataFrame:
    """Return what comparePeers prints, a row for each repetition; without figures where a codec takes no such image."""
    rows: list[list[Any]] = []
    for line in text.splitlines():
        names, figures = line.split("\t")[:4], line.split("\t")[4:]
        if figures == ["n/a"]:
            rows.append([*names, *[None] * 5])
        else:
            rows += [[*names, *map(float, figures[:4]), float(time)] for time in figures[4:]]
    return pd.DataFrame(rows, columns=PEER_FIGURES)


def peer_row(own: list[Any], yardstick: list[Any]) -> list[str]:
    """Return the fields of a codec behind its name, of what is known of it and of the yardstick both ways."""
    speeds = [1e3 * way.raw / way.time for way in own]
    ratios = [f"{speed * way.time / way.raw / 1e3:.2f}" for speed, way in zip(speeds, yardstick, strict=False)]
    bits = f"{8 * own[0].coded / own[0].pixels:.3f}"
    return [bits, *fixed(speeds, 1), *(ratios or ["n/a"] * 2), *fixed((way.peak / 1024 for way in own), 1)]


def peer_table(figures: pd.DataFrame) -> Table:
    """Return a row for each kind of image and codec: the medians of the images' times, summed up.

    The rows "all" are for codecs that take every image; n/a where a codec does not take all of a kind.
    """
    both = pd.concat([figures, figures.assign(kind="all")])
    each = both.dropna().groupby(["kind", "codec", "direction", "image"])
    images = each.agg({"nanoseconds": "median", "raw": "last", "coded": "last", "pixels": "last", "peak": "max"})
    sums = images.groupby(["kind", "codec", "direction"]).agg(
        time=("nanoseconds", "sum"),
        raw=("raw", "sum"),
        coded=("coded", "sum"),
        pixels=("pixels", "sum"),
        peak=("peak", "max"),
        images=("raw", "size"),
    )
    known: dict[Any, Any] = {row.Index: row for row in sums.itertuples()}
    wanted = both.groupby("kind")["image"].nunique()

    def ways_of(kind: str, codec: str) -> list[Any]:
        ways = [known.get((kind, codec, direction)) for direction in ("encode", "decode")]
        return [way for way in ways if way and way.images == wanted[kind]]

    rows = table(
        f"kind,codec,bits/pixel,encode MB/s,decode MB/s,encode/{YARDSTICK},decode/{YARDSTICK},encode peak MiB,"
        "decode peak MiB"
    )
    for kind in both["kind"].unique():
        for codec in figures["codec"].unique():
            own = ways_of(kind, codec)
            rows.append([kind, codec, *(peer_row(own, ways_of(kind, YARDSTICK)) if own else ["n/a"] * 7)])
    return rows


def command_table(runs: pd.DataFrame) -> Table:
    """Return a row for each kind of image, codec and direction: total bytes by total time, and the highest peak."""
    groups = runs.groupby(["kind", "codec", "direction"], sort=False)
    sums = groups.agg({"bytes": "sum", "ms": "sum", "peak KiB": "max"}).reset_index()
    return table(
        "kind,codec,direction,MB/s,ms,peak MiB",
        sums["kind"],
        sums["codec"],
        sums["direction"],
        fixed(sums["bytes"] / sums["ms"] / 1e3, 1),
        fixed(sums["ms"], 1),
        fixed(sums["peak KiB"] / 1024, 1),
    )
