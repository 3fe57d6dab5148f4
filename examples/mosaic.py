#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""A mosaic that no process ever holds: written by tasks, reduced level by level, and looked at by its first bytes.

usage: examples/mosaic.py PLACE [--side 20480] [--workers 2] [--scheduler ADDRESS] [--engine dask | cubed | loop] ...

Makes an OME-Zarr 0.5 image of 16 bits at PLACE, a folder or an address that fsspec knows: each task writes a few chunks
of the finest level, and then those of one coarser level after the other. Then statistics and a map of what is in focus
are computed from the first 1 %, 5 % and 100 % of the bytes of the finest level. Tasks get and give numbers, never
samples: these go between a worker and the store. Leaves report.json and focus.png in the folder of --report.
"""

import argparse
import itertools
import json
import os
import sys
import tempfile
import time
from collections.abc import Callable, Iterator, Sequence
from contextlib import AbstractContextManager, contextmanager
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Protocol

# Processes are what runs side by side here; numpy reads this when it is loaded.
os.environ.setdefault("OMP_NUM_THREADS", "1")
os.environ.setdefault("OPENBLAS_NUM_THREADS", "1")

import numpy as np
import zarr
from PIL import Image

import teko.zarr

BLOCK = 128  # side of the squares of which the focus is measured
BIN = 64  # values that a bin of the histograms holds
BINS = 2**16 // BIN
MICROMETRES = 0.325  # between two samples of the finest level

# ---- Where samples come from: a function of their place, so that a task that runs twice writes the same.


def lattice_values(rows: np.ndarray, columns: np.ndarray, seed: int) -> np.ndarray:
    """Return a number from -1 to 1 for each crossing: its place, mixed as SplitMix64 does (Steele et al., 2014)."""
    mixed = (rows.astype(np.uint64)[:, None] << np.uint64(32)) ^ columns.astype(np.uint64)
    mixed += np.uint64(seed * 0x9E3779B97F4A7C15 % 2**64)
    for shift, factor in ((30, 0xBF58476D1CE4E5B9), (27, 0x94D049BB133111EB)):
        mixed = (mixed ^ (mixed >> np.uint64(shift))) * np.uint64(factor)
    return ((mixed ^ (mixed >> np.uint64(31))) >> np.uint64(40)).astype(np.float32) / 2**23 - 1


def octave(rows: slice, columns: slice, spacing: int, seed: int) -> np.ndarray:
    """Return a smooth surface through random values `spacing` samples apart."""

    def weights(span: slice) -> tuple[np.ndarray, np.ndarray]:
        place = np.arange(span.start, span.stop) / spacing
        first = int(place[0])
        left = place.astype(int) - first
        share = place % 1
        share = share * share * (3 - 2 * share)
        matrix = np.zeros((len(place), left[-1] + 2), np.float32)
        matrix[np.arange(len(place)), left] = 1 - share
        matrix[np.arange(len(place)), left + 1] = share
        return matrix, np.arange(first, first + matrix.shape[1])

    down, crossings_down = weights(rows)
    along, crossings_along = weights(columns)
    return down @ lattice_values(crossings_down, crossings_along, seed) @ along.T


def texture(rows: slice, columns: slice) -> np.ndarray:
    """Something like a tissue: forms of all sizes, the fine ones here and there in focus, and the noise of a camera."""
    coarse = sum(octave(rows, columns, 2**level, level) * 1.4 ** (level - 9) for level in range(5, 12))
    fine = sum(octave(rows, columns, 2**level, level) * 1.4 ** (level - 4) for level in range(2, 5))
    focus = np.clip(0.5 + octave(rows, columns, 1500, 11), 0, 1)
    light = 12000 + 2500 * coarse + 2500 * focus * fine
    grain = np.random.default_rng((rows.start, columns.start)).standard_normal(light.shape, np.float32)
    return np.clip(light + grain * np.sqrt(np.maximum(light, 0)) / 3, 0, 65535).astype(np.uint16)


def loaded(path: str) -> np.ndarray:
    """Return an image as 16 bits of grey: an .npy file without reading it, another one decoded.

    Raises ValueError for what is no grey image of 8 or 16 bits.
    """
    if path.endswith(".npy"):
        image = np.load(path, mmap_mode="r")
    else:
        with Image.open(path) as opened:
            image = np.asarray(opened)
    if image.ndim != 2 or image.dtype.kind != "u" or image.dtype.itemsize > 2:
        raise ValueError(f"{path} is no grey image of 8 or 16 bits")
    return image if image.dtype.itemsize == 2 else image.astype(np.uint16) * 257


def samples(rows: slice, columns: slice, images: Sequence[str]) -> np.ndarray:
    """Return a part of the mosaic: of texture, or of one of the images, mirrored at its edges."""
    if not images:
        return texture(rows, columns)
    image = loaded(images[(7 * rows.start // 1024 + 3 * columns.start // 1024) % len(images)])

    def mirrored(span: slice, side: int) -> np.ndarray:
        place = np.arange(span.start, span.stop) % (2 * side)
        return np.minimum(place, 2 * side - 1 - place)

    part = image[np.ix_(mirrored(rows, image.shape[0]), mirrored(columns, image.shape[1]))]
    return part.astype(np.uint16, copy=False)


# ---- What is done to one chunk. Each returns numbers only, as many as `width` says, so that any engine can run it.


def region_of(array: zarr.Array, number: int) -> tuple[slice, slice]:
    """Return the rows and columns of what is written as one object: a chunk, or a shard of several."""
    unit = array.shards or array.chunks
    row, column = divmod(number, -(-array.shape[1] // unit[1]))
    starts = (row * unit[0], column * unit[1])
    rows, columns = (slice(s, min(s + u, n)) for s, u, n in zip(starts, unit, array.shape, strict=True))
    return rows, columns


def number_of_regions(array: zarr.Array) -> int:
    unit = array.shards or array.chunks
    return -(-array.shape[0] // unit[0]) * -(-array.shape[1] // unit[1])


class Job(Protocol):
    """What a task does, by the number of its region."""

    @property
    def width(self) -> int: ...

    def __call__(self, number: int) -> np.ndarray: ...


@dataclass(frozen=True)
class Write:
    """Writes a region of the finest level."""

    array: zarr.Array
    images: tuple[str, ...]
    width: int = 1

    def __call__(self, number: int) -> np.ndarray:
        region = region_of(self.array, number)
        self.array[region] = samples(*region, self.images)
        return np.ones(1)


@dataclass(frozen=True)
class Halve:
    """Writes a region of a level: the mean of each two by two samples of the level below."""

    fine: zarr.Array
    coarse: zarr.Array
    width: int = 1

    def __call__(self, number: int) -> np.ndarray:
        region = region_of(self.coarse, number)
        below = self.fine[tuple(slice(2 * span.start, 2 * span.stop) for span in region)].astype(np.uint32)
        sums = below[::2, ::2] + below[1::2, ::2] + below[::2, 1::2] + below[1::2, 1::2]
        self.coarse[region] = ((sums + 2) >> 2).astype(np.uint16)
        return np.ones(1)


@dataclass(frozen=True)
class Look:
    """Measures a region through a PrefixStore: bytes, requests, moments, a histogram, and the focus of its blocks."""

    array: zarr.Array

    @property
    def blocks(self) -> int:
        """Blocks of a region, with those that it lacks at the edge."""
        unit = self.array.shards or self.array.chunks
        return -(-unit[0] // BLOCK) * -(-unit[1] // BLOCK)

    @property
    def width(self) -> int:
        return 5 + BINS + self.blocks

    def __call__(self, number: int) -> np.ndarray:
        stats = self.array.store.stats
        before = stats.bytes_received, stats.requests
        image = self.array[region_of(self.array, number)]
        moved = stats.bytes_received - before[0], stats.requests - before[1]
        wide = image.astype(np.float64)
        histogram = np.bincount((image // BIN).ravel(), minlength=BINS)
        focus = np.full(self.blocks, np.nan)
        found = [focus_of(wide[y : y + BLOCK, x : x + BLOCK]) for y, x in block_corners(image.shape)]
        focus[: len(found)] = found
        return np.concatenate([[*moved, wide.size, wide.sum(), (wide**2).sum()], histogram, focus])


def block_corners(shape: tuple[int, ...]) -> list[tuple[int, int]]:
    return [(y, x) for y in range(0, shape[0], BLOCK) for x in range(0, shape[1], BLOCK)]


def focus_of(block: np.ndarray) -> float:
    """Return the energy of the Laplacian (Subbarao, Choi, Nikzad, 1993), a measure of what is sharp."""
    laplacian = block[:-2, 1:-1] + block[2:, 1:-1] + block[1:-1, :-2] + block[1:-1, 2:] - 4 * block[1:-1, 1:-1]
    return float((laplacian**2).mean())


# ---- Engines: each runs a job for every region and returns one row of numbers for each.

Engine = Callable[[Job, int], np.ndarray]

# Dask has its workers give freed memory back at once, and then every array of some size costs new pages, which doubles
# the time of a look at a chunk. With these, glibc keeps blocks of up to 256 MiB for the next array.
KEEP_MEMORY = {"MALLOC_TRIM_THRESHOLD_": 2**28, "MALLOC_MMAP_THRESHOLD_": 2**28}


def several(job: Job, numbers: range) -> np.ndarray:
    """Do a few regions in one task, so that a scheduler has fewer tasks to think of."""
    return np.stack([job(number) for number in numbers])


def batches(count: int, size: int) -> list[range]:
    return [range(first, min(first + size, count)) for first in range(0, count, size)]


@contextmanager
def loop(_: argparse.Namespace) -> Iterator[Engine]:
    """Run one after the other in this process: what engines are measured by."""
    yield lambda job, count: several(job, range(count))


@contextmanager
def dask(options: argparse.Namespace) -> Iterator[Engine]:
    """Start Dask with processes on this machine, or take what stands behind an address."""
    import dask
    from distributed import Client, as_completed

    settings = {
        "distributed.nanny.pre-spawn-environ": {
            **dask.config.get("distributed.nanny.pre-spawn-environ"),
            **KEEP_MEMORY,
        },
        # It looks at a worker's stack every 10 ms, which takes 4 % of the worker's time.
        "distributed.worker.profile.enabled": False,
    }
    local = {"n_workers": options.workers, "threads_per_worker": 1, "dashboard_address": None}
    with (
        dask.config.set(settings),
        Client(options.scheduler) if options.scheduler else Client(**local) as client,
    ):
        client.run(find, options.place)

        def run(job: Job, count: int) -> np.ndarray:
            tasks = batches(count, options.batch)
            futures = client.map(several, [job] * len(tasks), tasks, pure=False, retries=3)
            numbers = dict(zip([future.key for future in futures], tasks, strict=True))
            rows = np.empty((count, job.width))
            for future, found in as_completed(futures, with_results=True):
                rows[numbers[future.key]] = found
            return rows

        yield run


@contextmanager
def cubed(options: argparse.Namespace) -> Iterator[Engine]:
    """Start Cubed with processes on this machine; numbers go from task to task by a store of its own."""
    import cubed as engine

    processes = {"executor_name": "processes", "executor_options": {"max_workers": options.workers}}
    with tempfile.TemporaryDirectory() as folder:
        spec = engine.Spec(work_dir=folder, allowed_mem="1GB", **processes)

        def run(job: Job, count: int) -> np.ndarray:
            tasks = batches(count, options.batch)
            chunks = (tuple(map(len, tasks)), (job.width,))

            def of_block(_: np.ndarray, block_id: tuple[int, ...]) -> np.ndarray:
                return several(job, tasks[block_id[0]])

            return np.asarray(engine.map_blocks(of_block, dtype=np.float64, chunks=chunks, spec=spec).compute())

        yield run


ENGINES: dict[str, Callable[[argparse.Namespace], AbstractContextManager[Engine]]] = {
    "dask": dask,
    "cubed": cubed,
    "loop": loop,
}

# ---- The image: levels and what is said of them.


def create_levels(options: argparse.Namespace) -> list[zarr.Array]:
    """Create the arrays of an OME-Zarr image of format 0.5, each of half the sides of the one before.

    The last one has no more than a chunk, or an odd side.
    """
    sides = [options.side]
    while sides[-1] > options.chunk and sides[-1] % 2 == 0:
        sides.append(sides[-1] // 2)
    datasets = [
        {
            "path": str(level),
            "coordinateTransformations": [
                {"type": "scale", "scale": [MICROMETRES * 2**level] * 2},
                # The middle of the first sample lies in the middle of those that it is the mean of.
                {"type": "translation", "translation": [MICROMETRES * (2**level - 1) / 2] * 2},
            ],
        }
        for level in range(len(sides))
    ]
    axes = [{"name": name, "type": "space", "unit": "micrometer"} for name in "yx"]
    multiscales = [{"name": "mosaic", "axes": axes, "datasets": datasets, "type": "mean"}]
    attributes = {"ome": {"version": "0.5", "multiscales": multiscales}}
    group = zarr.create_group(options.place, attributes=attributes, overwrite=True)
    shards = (options.shard,) * 2 if options.shard else None
    return [
        teko.zarr.create_array(
            group.store,
            name=str(level),
            shape=(side, side),
            dtype="uint16",
            chunks=(options.chunk,) * 2,
            shards=shards,
            dimension_names=("y", "x"),
        )
        for level, side in enumerate(sides)
    ]


def percentile(histogram: np.ndarray, share: float) -> float:
    """Return the value below which a share of the samples lies, as if they were even within a bin."""
    below = np.concatenate([[0], np.cumsum(histogram)]) / histogram.sum()
    return float(np.interp(share, below, BIN * np.arange(BINS + 1)))


def rank_correlation(first: np.ndarray, second: np.ndarray) -> float:
    """Return Spearman's: how far two maps agree on what is sharper than what."""

    def ranks(values: np.ndarray) -> np.ndarray:
        ordered = np.sort(values)
        # The mean of the ranks that equal values take.
        return np.searchsorted(ordered, values, "left") + np.searchsorted(ordered, values, "right")

    return float(np.corrcoef(ranks(first), ranks(second))[0, 1])


def summary(rows: np.ndarray) -> tuple[dict[str, Any], np.ndarray]:
    """Join what the regions say: statistics of the whole, and the focus of each block."""
    moved, requests, count, total, squares = rows[:, :5].sum(axis=0)
    histogram = rows[:, 5 : 5 + BINS].sum(axis=0)
    mean = total / count
    return {
        "bytes": int(moved),
        "requests": int(requests),
        "mean": mean,
        "deviation": float(np.sqrt(squares / count - mean**2)),
        "percentile1": percentile(histogram, 0.01),
        "percentile99": percentile(histogram, 0.99),
    }, rows[:, 5 + BINS :]


def focus_map(array: zarr.Array, focus: np.ndarray) -> np.ndarray:
    """Put the blocks of all regions where they belong."""
    whole = np.zeros([-(-side // BLOCK) for side in array.shape])
    for number, values in enumerate(focus):
        rows, columns = region_of(array, number)
        shape = (rows.stop - rows.start, columns.stop - columns.start)
        for (y, x), value in zip(block_corners(shape), values, strict=False):
            whole[(rows.start + y) // BLOCK, (columns.start + x) // BLOCK] = value
    return whole


def picture(overview: np.ndarray, maps: Sequence[np.ndarray]) -> Image.Image:
    """Put the coarsest level and the maps side by side, each from its darkest to its brightest."""
    side = 480
    parts = []
    for values in (overview.astype(float), *(np.log1p(one) for one in maps)):
        low, high = np.percentile(values, (1, 99))
        grey = np.clip((values - low) / max(high - low, 1e-9) * 255, 0, 255).astype(np.uint8)
        parts.append(np.asarray(Image.fromarray(grey).resize((side, side), Image.Resampling.NEAREST)))
        parts.append(np.full((side, 8), 255, np.uint8))
    return Image.fromarray(np.hstack(parts[:-1]))


# ---- The run.


@contextmanager
def timed(report: dict[str, Any], step: str) -> Iterator[None]:
    start = time.perf_counter()
    yield
    report["seconds"][step] = time.perf_counter() - start
    print(f"{step:12} {report['seconds'][step]:8.1f} s", flush=True)


def find(place: str) -> None:
    """Load what tasks need, before the clock runs, and see that the image is where they look for it."""
    zarr.open_array(place, path="0", mode="r")


def peak_memory() -> int:
    """Return the most bytes that this process has had in memory so far, 0 where the system does not say."""
    try:
        lines = Path("/proc/self/status").read_text().splitlines()
    except OSError:
        return 0
    return sum(1024 * int(line.split()[1]) for line in lines if line.startswith("VmHWM"))


def look(levels: Sequence[zarr.Array], run: Engine, options: argparse.Namespace, report: dict[str, Any]) -> None:
    """Measure the finest level at each rate, and draw what is in focus."""
    finest = levels[0]
    maps = []
    for rate in options.rates:
        # At 1 a chunk that is longer than its samples would be cut.
        store = teko.zarr.PrefixStore(finest.store, rate=None if rate == 1 else rate)
        array = zarr.open_array(store, path=finest.path, mode="r")
        with timed(report, f"look {rate:g}"):
            rows = run(Look(array), number_of_regions(array))
        found, focus = summary(rows)
        maps.append(focus_map(array, focus))
        report["rates"].append({"rate": rate, **found})
    for found, one in zip(report["rates"], maps, strict=True):
        found["focusCorrelation"] = rank_correlation(one.ravel(), maps[-1].ravel())
        print(
            f"rate {found['rate']:<5g} {found['bytes']:13,} bytes, {found['bytes'] / report['raw']:6.2%} of raw,"
            f" {found['requests']} requests; mean {found['mean']:.2f}, deviation {found['deviation']:.2f},"
            f" 1st and 99th percentile {found['percentile1']:.0f} and {found['percentile99']:.0f};"
            f" focus {found['focusCorrelation']:.3f}"
        )
    picture(np.asarray(levels[-1][:]), maps).save(options.report / "focus.png")


def main() -> None:
    options = arguments()
    options.report.mkdir(parents=True, exist_ok=True)
    report: dict[str, Any] = {"engine": options.engine, "seconds": {}, "rates": []}
    levels = create_levels(options)
    with ENGINES[options.engine](options) as run:
        report["raw"] = levels[0].nbytes
        before = peak_memory()
        print(f"{options.side} x {options.side} samples of 16 bits, {levels[0].nbytes:,} bytes, {len(levels)} levels")
        with timed(report, "write"):
            run(Write(levels[0], tuple(options.images)), number_of_regions(levels[0]))
        with timed(report, "pyramid"):
            for fine, coarse in itertools.pairwise(levels):
                run(Halve(fine, coarse), number_of_regions(coarse))
        look(levels, run, options, report)
        report["clientGrowth"] = peak_memory() - before
        print(f"This process, which sees the coarsest level alone, grew by {report['clientGrowth'] / 1e6:.0f} MB.")
    (options.report / "report.json").write_text(json.dumps(report, indent=2) + "\n")


def arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("place", help="folder or address of the image; what is there is replaced")
    parser.add_argument("--side", type=int, default=20480, help="rows and columns of the mosaic")
    parser.add_argument("--chunk", type=int, default=1024, help="rows and columns of a chunk")
    parser.add_argument("--shard", type=int, help="rows and columns of a shard: an object, and a task, for many chunks")
    parser.add_argument("--images", nargs="+", default=[], help="grey images, of 8 or 16 bits; where workers see them")
    parser.add_argument("--rates", type=float, nargs="+", default=[0.01, 0.05, 1], help="shares of the raw bytes")
    parser.add_argument("--engine", choices=ENGINES, default="dask", help="what runs the tasks")
    parser.add_argument("--batch", type=int, default=8, help="regions for one task")
    parser.add_argument("--workers", type=int, default=2, help="processes on this machine")
    parser.add_argument("--scheduler", help="address of a scheduler of Dask, in place of processes on this machine")
    parser.add_argument("--report", type=Path, default=Path("build/mosaic"), help="folder of report.json and focus.png")
    options = parser.parse_args()
    if options.scheduler and options.engine != "dask":
        parser.error("a scheduler's address is for the engine dask")
    for name, side in (("side", options.side), ("chunk", options.chunk), ("shard", options.shard or BLOCK)):
        if side < BLOCK or side % BLOCK:
            parser.error(f"--{name} is to be a multiple of {BLOCK}, the side of the squares whose focus is measured")
    try:
        for path in options.images:
            loaded(path)
    except (OSError, ValueError) as problem:
        parser.error(str(problem))
    # Workers may run in other folders.
    options.images = [str(Path(path).resolve()) for path in options.images]
    options.place = options.place if "://" in options.place else str(Path(options.place).resolve())
    return options


if __name__ == "__main__":
    sys.exit(main())
