# SPDX-License-Identifier: Apache-2.0
"""Builds the programs that measure, and runs them and others."""

import os
import shlex
import shutil
import subprocess
import sys
from collections.abc import Mapping
from pathlib import Path

from teko_bench import rows
from teko_bench.command_line import ROOT

BUILD = ROOT / "build" / "bench"
DOCS = ROOT / "docs"
# Memory stays with a process from run to run, that of the first image as that of the others: else the C library would
# give it back to the system until it has learned what sizes are asked for. Pieces above 32 MiB, the most that can be
# set, are new each time.
KEPT_MEMORY = {"MALLOC_MMAP_THRESHOLD_": "33554432", "MALLOC_TRIM_THRESHOLD_": "1073741824"}
# Memory from the system for every run, as in a process that codes one image: else small images would get memory that
# the run before left in the caches, and large ones would not.
FRESH_MEMORY = {"MALLOC_MMAP_THRESHOLD_": "131072"}


def pin() -> list[str]:
    """Return what keeps a command on one processor, the second if there is one: interrupts prefer the first."""
    return ["taskset", "-c", "1"] if shutil.which("taskset") and len(os.sched_getaffinity(0)) > 1 else []


def quietly(*command: object, memory: Mapping[str, str] | None = None) -> str:
    """Run a command and return its standard output; what it says beside that is shown only if it fails."""
    words, environment = list(map(str, command)), {**os.environ, **(memory or {})}
    done = subprocess.run(words, capture_output=True, text=True, errors="replace", env=environment)
    if done.returncode != 0:
        raise SystemExit(f"{shlex.join(words)}: {done.stdout}{done.stderr}")
    return done.stdout


def table_of(module: str, *arguments: object) -> list[list[str]]:
    """Run a module of this package in a process of its own and return the table that it prints, also kept in a file."""
    words = [sys.executable, "-m", f"teko_bench.{module}", *map(str, arguments)]
    BUILD.mkdir(parents=True, exist_ok=True)
    path = BUILD / f"{module}.tsv"
    with path.open("w") as file:
        done = subprocess.run(words, stdout=file)
    if done.returncode != 0:
        raise SystemExit(done.returncode)
    return rows.split(path.read_text())


def configure(source: Path, build: Path, *definitions: str) -> None:
    options = ["-DTEKO_BUILD_BENCHMARKS=ON", "-DTEKO_BUILD_TESTS=OFF", *definitions]
    quietly("cmake", "--preset", "release", "-S", source, "-B", build, *options)


def build_in(build: Path, *targets: str) -> None:
    quietly("cmake", "--build", build, "--target", *targets, "--", "-j", str(len(os.sched_getaffinity(0))))


def build(*targets: str) -> Path:
    """Build programs of this tree and return the folder that they are in."""
    configure(ROOT, BUILD)
    build_in(BUILD, *targets)
    return BUILD / "bench"
