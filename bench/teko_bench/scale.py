# SPDX-License-Identifier: Apache-2.0
"""What examples/mosaic.py takes with more workers, and what engines cost beyond the work itself.

usage: python3 -m teko_bench.scale FOLDER [--side 20480] [--rounds 3]

Runs it as a loop without an engine, as two such loops side by side, with one and with two processes of Dask, and with
two of Cubed, in turn, as many rounds as asked for. Prints the median seconds of each step, the share that two workers
reach of the speed of two independent loops, and the memory of the process that asks and of the largest worker: a table
of tab-separated columns.
"""

import argparse
import contextlib
import json
import os
import shutil
import statistics
import subprocess
import sys
import threading
import time
from pathlib import Path
from typing import Any

import psutil

from teko_bench.command_line import ROOT

EXAMPLE = ROOT / "examples" / "mosaic.py"
sys.path.insert(0, str(EXAMPLE.parent))
from mosaic import KEEP_MEMORY  # noqa: E402

# The loops and Cubed get what the example gives to the workers of Dask.
ENVIRONMENT = {**os.environ, **{name: str(value) for name, value in KEEP_MEMORY.items()}}
RUNS: dict[str, list[tuple[str, ...]]] = {
    "loop": [("--engine", "loop")],
    "two loops": [("--engine", "loop")] * 2,
    "Dask, 1": [("--engine", "dask", "--workers", "1")],
    "Dask, 2": [("--engine", "dask", "--workers", "2")],
    "Cubed, 2": [("--engine", "cubed", "--workers", "2")],
}


class Memory(threading.Thread):
    """Watches how much the children of a process have in memory, each for itself."""

    def __init__(self, process: int) -> None:
        super().__init__(daemon=True)
        self.largest = 0
        self._process = psutil.Process(process)

    def run(self) -> None:
        with contextlib.suppress(psutil.NoSuchProcess):
            while self._process.status() != psutil.STATUS_ZOMBIE:
                for child in self._process.children(recursive=True):
                    with contextlib.suppress(psutil.Error):
                        self.largest = max(self.largest, child.memory_info().rss)
                time.sleep(0.1)


def run(folder: Path, side: int, variants: list[tuple[str, ...]]) -> list[dict[str, Any]]:
    """Run the example in each variant at the same time; return their reports."""
    started = []
    for number, variant in enumerate(variants):
        place = folder / str(number)
        options = [*variant, "--side", str(side), "--report", folder / f"report{number}"]
        command = [sys.executable, *map(str, (EXAMPLE, place, *options))]
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL, env=ENVIRONMENT)
        memory = Memory(process.pid)
        memory.start()
        started.append((process, memory, folder / f"report{number}"))
    reports = []
    for process, memory, report in started:
        if process.wait() != 0:
            for other, *_ in started:
                other.kill()
            raise SystemExit("the example failed")
        memory.join()
        reports.append({**json.loads((report / "report.json").read_text()), "worker": memory.largest})
    for number in range(len(variants)):
        shutil.rmtree(folder / str(number))
    return reports


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--side", type=int, default=20480)
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    options.folder.mkdir(parents=True, exist_ok=True)
    found: dict[str, list[list[dict[str, Any]]]] = {name: [] for name in RUNS}
    for _ in range(options.rounds):
        for name, variants in RUNS.items():
            found[name].append(run(options.folder, options.side, variants))
    steps = list(found["loop"][0][0]["seconds"])
    print("run", *steps, "all", "MB it grew by", "MB of a worker", sep="\t")
    total = {}
    for name, rounds in found.items():
        # Of two that run side by side, the later one ends a step, and the round.
        times = [[max(one["seconds"][step] for one in reports) for step in steps] for reports in rounds]
        total[name] = [max(sum(one["seconds"].values()) for one in reports) for reports in rounds]
        medians = [statistics.median(column) for column in zip(*times, strict=True)]
        reports = [one for reports in rounds for one in reports]
        growth, worker = (max(one[what] for one in reports) / 1e6 for what in ("clientGrowth", "worker"))
        figures = [*medians, statistics.median(total[name]), growth, worker]
        print(name, *(f"{figure:.1f}" for figure in figures), sep="\t", flush=True)
    for engine in ("Dask, 2", "Cubed, 2"):
        # Two loops side by side do twice the work.
        shares = [two / (2 * one) for two, one in zip(total["two loops"], total[engine], strict=True)]
        print(f"{engine}: share of two loops' speed", *(f"{share:.2f}" for share in sorted(shares)), sep="\t")


if __name__ == "__main__":
    main()
