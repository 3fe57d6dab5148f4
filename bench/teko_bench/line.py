# SPDX-License-Identifier: Apache-2.0
"""A large array read over a narrow line: all of it by its first bytes, then more, then whole, and the same in zstd.

usage: python3 -m teko_bench.line FOLDER [--side 20480] [--megabits 100] [--rounds 3]

Makes the mosaic of examples/mosaic.py in FOLDER where it is not there, in chunks and in shards of teko and in chunks of
zstd, and serves it through a line between two network namespaces: by nginx, whose log says what was sent, and by moto's
server of S3. Needs root, nginx, and ip and tc of iproute2. Prints a table of tab-separated columns.
"""

import argparse
import contextlib
import functools
import math
import shutil
import statistics
import subprocess
import sys
import time
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import numpy as np
import numpy.typing as npt
import zarr
from zarr.storage import FsspecStore, LocalStore
from zarr.testing.store import LatencyStore

from teko.zarr import PrefixStore, codecs
from teko_bench.command_line import ROOT
from teko_bench.rows import put

sys.path.insert(0, str(ROOT / "python" / "zarr_tests"))
from shaped_line import shaped_line
from store_origins import bucket_maker, moto_server, nginx

RATE = 0.02
CHUNK, SHARD = 1024, 4096

Places = dict[str, Path]
Samples = npt.NDArray[Any]


def show(*fields: object) -> None:
    put(*(f"{field:.4g}" if isinstance(field, float) else field for field in fields))


def make(folder: Path, side: int) -> Places:
    """Return the arrays, made where they are not there: the finest level of the mosaic, also in shards and in zstd."""
    made = folder / "made"
    if not made.exists() or made.read_text() != str(side):
        for name in ("mosaic", "shards", "zstd"):
            shutil.rmtree(folder / name, ignore_errors=True)
        command = [ROOT / "examples" / "mosaic.py", folder / "mosaic", "--side", side, "--report", folder / "report"]
        subprocess.run([sys.executable, *map(str, command)], check=True, stdout=subprocess.DEVNULL)
        chunked = zarr.open_array(LocalStore(folder / "mosaic"), path="0", mode="r")
        for name, options in {"shards": {"shards": (SHARD, SHARD), **codecs()}, "zstd": {}}.items():
            options = {"shape": chunked.shape, "dtype": chunked.dtype, "chunks": (CHUNK, CHUNK), **options}
            copy = zarr.create_array(LocalStore(folder / name), **options)
            for y in range(0, side, SHARD):
                copy[y : y + SHARD] = chunked[y : y + SHARD]
        made.write_text(str(side))
    return {"chunks": folder / "mosaic" / "0", "shards": folder / "shards", "zstd": folder / "zstd"}


def objects(place: Path) -> list[Path]:
    """Return the files of the chunks or shards of an array."""
    return [file for file in (place / "c").rglob("*") if file.is_file()]


def stored_size(place: Path) -> int:
    return sum(file.stat().st_size for file in objects(place))


def sizes_of(place: Path, inner: int) -> list[int]:
    """Return the sizes of the chunks of an array, which in shards are the inner ones."""
    if not inner:
        return [file.stat().st_size for file in objects(place)]
    sizes = []
    for file in objects(place):
        index = np.frombuffer(file.read_bytes()[-4 - 16 * inner : -4], "<u8").reshape(-1, 2)
        sizes += [int(size) for _, size in index if size != 2**64 - 1]
    return sizes


def predicted(place: Path, rate: float) -> int:
    """Return what is to be sent of all chunks: the first bytes of each, and of shards their indexes."""
    metadata = zarr.open_array(LocalStore(place), mode="r")
    inner = (SHARD // CHUNK) ** 2 if metadata.shards else 0
    first = 10 + 4 * math.ceil(int(rate * 2 * CHUNK**2) / 4)
    indexes = len(objects(place)) * (16 * inner + 4) if inner else 0
    return sum(min(first, size) for size in sizes_of(place, inner)) + indexes


class Road:
    """One way to a folder of arrays, and what witnesses there are of what came."""

    def __init__(self, name: str, store_of: Callable[[str], Any], line: Any, log: Callable[[], Any] | None) -> None:
        self.name, self.store_of, self._line, self._log = name, store_of, line, log

    def measured(self, read: Callable[[], Samples]) -> tuple[float, int | str, int, Samples]:
        """Return seconds, bytes that the server sent as chunks, bytes on the line, and what was read."""
        sent, received = self._sent(), self._line.received()
        start = time.perf_counter()
        result = read()
        seconds = time.perf_counter() - start
        return seconds, self._sent() - sent if self._log else "", self._line.received() - received, result

    def _sent(self) -> int:
        return sum(size for _, path, _, size in self._log() if "/c/" in path) if self._log else 0


def whole(store: Any) -> Samples:
    return np.asarray(zarr.open_array(store, mode="r")[:])


def read_all(road: Road, layout: str, place: Path, rounds: int) -> float:
    """Read at 2 %, and go on from there to 10 % and to the whole; return the median time of the first."""
    raw = zarr.open_array(LocalStore(place), mode="r").nbytes
    expected = predicted(place, RATE)
    times = []
    for _ in range(rounds):
        store = PrefixStore(road.store_of(layout), RATE)
        seconds, sent, on_line, _ = road.measured(functools.partial(whole, store))
        times.append(seconds)
        show(road.name, layout, "2 %", seconds, expected, sent, store.stats.bytes_received, on_line, expected / raw)
    image: Samples = np.empty(0)
    for name, step in (("then 10 %", store.refined(0.1)), ("then all", store.refined())):
        before = store.stats.bytes_received
        seconds, sent, on_line, image = road.measured(functools.partial(whole, step))
        show(road.name, layout, name, seconds, "", sent, store.stats.bytes_received - before, on_line, "")
    total, received = stored_size(place), store.stats.bytes_received
    show(road.name, layout, "all three", "", total, "", received, "", received / total)
    if not np.array_equal(image, zarr.open_array(LocalStore(place), mode="r")[:]):
        raise SystemExit("the array did not come back")
    return statistics.median(times)


def read_plain(road: Road, layout: str, place: Path) -> float:
    raw = zarr.open_array(LocalStore(place), mode="r").nbytes
    seconds, sent, on_line, _ = road.measured(lambda: whole(road.store_of(layout)))
    total = stored_size(place)
    show(road.name, layout, "whole", seconds, total, sent, "", on_line, total / raw)
    return seconds


@contextlib.contextmanager
def by_nginx(folder: Path, places: Places, line: Any) -> Iterator[Road]:
    with nginx(folder, folder, line.address, line.far) as (address, log):
        url = {name: f"{address}/{place.relative_to(folder)}" for name, place in places.items()}
        yield Road("nginx", lambda name: FsspecStore.from_url(url[name], read_only=True), line, log)


@contextlib.contextmanager
def by_moto(places: Places, line: Any) -> Iterator[Road]:
    with moto_server(line.address, line.far) as address:
        stores = {}
        for name, place in places.items():
            stores[name] = bucket_maker(address)
            target = stores[name]()
            for file in [place / "zarr.json", *objects(place)]:
                target.store.put(str(file.relative_to(place)), file)
        yield Road("S3", lambda name: stores[name](read_only=True), line, None)


def measure_road(road: Road, places: Places, rounds: int) -> None:
    first = {layout: read_all(road, layout, places[layout], rounds) for layout in ("chunks", "shards")}
    plain = {layout: read_plain(road, layout, places[layout]) for layout in ("chunks", "zstd")}
    for layout, seconds in first.items():
        show(road.name, layout, "zstd whole / teko 2 %, times sooner", plain["zstd"] / seconds)


def measure_latency(places: Places) -> None:
    """Each request takes 50 ms more; nothing else limits."""
    for layout in ("chunks", "shards"):
        inner = LatencyStore(LocalStore(places[layout], read_only=True), get_latency=0.05)
        start = time.perf_counter()
        whole(PrefixStore(inner, RATE))
        show("latency of 50 ms", layout, "2 %", time.perf_counter() - start)
    inner = LatencyStore(LocalStore(places["zstd"], read_only=True), get_latency=0.05)
    start = time.perf_counter()
    whole(inner)
    show("latency of 50 ms", "zstd", "whole", time.perf_counter() - start)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--side", type=int, default=20480)
    parser.add_argument("--megabits", type=int, default=100)
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    folder = options.folder.resolve()
    folder.mkdir(parents=True, exist_ok=True)
    places = make(folder, options.side)
    show("road", "layout", "read", "seconds", "predicted", "sent", "received", "on the line", "share")
    measure_latency(places)
    with shaped_line(options.megabits) as line, by_nginx(folder, places, line) as road:
        measure_road(road, places, options.rounds)
    with shaped_line(options.megabits) as line, by_moto(places, line) as road:
        measure_road(road, places, options.rounds)


if __name__ == "__main__":
    main()
