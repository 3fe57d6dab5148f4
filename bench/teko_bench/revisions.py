# SPDX-License-Identifier: Apache-2.0
"""The modes that compare two shared objects in one process: another revision, and the library."""

import contextlib
import os
import shutil
import subprocess
from collections.abc import Iterator, Mapping
from pathlib import Path

from teko_bench import image_list, images, programs, rows
from teko_bench.command_line import ROOT, Request

OTHER = ROOT / "build" / "against"
# Nothing of one revision may take the place of the same name in another.
OBJECT_OPTIONS = (
    "-DCMAKE_POSITION_INDEPENDENT_CODE=ON",
    "-DCMAKE_CXX_VISIBILITY_PRESET=hidden",
    "-DCMAKE_CXX_FLAGS=-fno-gnu-unique",
)


def build_object(source: Path, build: Path) -> Path:
    """Build the codec of a tree as a shared object."""
    programs.configure(source, build, *OBJECT_OPTIONS)
    programs.build_in(build, "codecObject")
    return build / "bench" / "libcodecObject.so"


def lend_object(source: Path) -> None:
    """Give our shared object to a tree without one: it calls that tree's bench/memoryCodec.hpp."""
    if (source / "bench" / "codecObject.cpp").exists():
        return
    for name in ("codecObject.cpp", "codecObject.hpp"):
        shutil.copy(ROOT / "bench" / name, source / "bench")
    paragraphs = (ROOT / "bench" / "CMakeLists.txt").read_text().split("\n\n")
    with (source / "bench" / "CMakeLists.txt").open("a") as file:
        file.writelines(f"{paragraph}\n" for paragraph in paragraphs if "codecObject" in paragraph)


@contextlib.contextmanager
def tree_of(revision: str) -> Iterator[Path]:
    """Give a tree of that revision, for as long as it is needed."""
    source = OTHER / "source"
    remove = ("git", "worktree", "remove", "--force", source)
    programs.quietly("git", "worktree", "prune")
    if source.exists():
        programs.quietly(*remove)
    programs.quietly("git", "worktree", "add", "--quiet", "--detach", source, revision)
    try:
        yield source
    finally:
        programs.quietly(*remove)


def verdicts(program: Path, *arguments: object, memory: Mapping[str, str]) -> int:
    """Show what compareObjects prints and return its status, 1 for slower."""
    words = list(map(str, (*programs.pin(), program, *arguments)))
    done = subprocess.run(words, stdout=subprocess.PIPE, text=True, env={**os.environ, **memory})
    rows.show(rows.split(done.stdout))
    return done.returncode


def against(request: Request, folder: Path) -> int:
    revision = request.revision or ""
    if revision == "baseline":
        revision = (ROOT / "bench" / "baseline").read_text().split()[0]
    program = programs.build("compareObjects") / "compareObjects"
    new = build_object(ROOT, OTHER / "new")
    with tree_of(revision) as source:
        lend_object(source)
        old = build_object(source, OTHER / "old")
        listed = image_list.write(folder / "images.tsv", images.given_or_made(request, folder))
        return verdicts(program, listed, old, new, request.seconds, memory={})


def library(request: Request, folder: Path) -> int:
    built = programs.build("compareObjects", "codecObject", "libraryObject", "libraryThreads")
    made = [images.sample(folder, kind, 6000, 4000) for kind in ("rgb8", "grey16")]
    listed = image_list.write(folder / "images.tsv", images.given_or_made(request, folder) + made)
    objects = built / "libcodecObject.so", built / "liblibraryObject.so"
    status = verdicts(built / "compareObjects", listed, *objects, request.seconds, memory=programs.KEPT_MEMORY)
    threads = programs.quietly(built / "libraryThreads", listed, memory=programs.KEPT_MEMORY)
    rows.show(rows.split(threads))
    return status
