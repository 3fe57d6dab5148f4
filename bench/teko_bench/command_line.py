# SPDX-License-Identifier: Apache-2.0
"""What scripts/bench is asked for, and what that needs.

usage: python3 -m teko_bench.command_line ARGUMENT...

Prints the environment that the mode runs in and the Debian packages that it needs. Any Python 3.8 will do for that, and
no more than its standard library.
"""

from __future__ import annotations

import argparse
import dataclasses
import re
import sys
from pathlib import Path
from typing import NoReturn

ROOT = Path(__file__).resolve().parents[2]
COMPILER = ("g++", "cmake", "ninja-build")
PROGRAMS = (*COMPILER, "pkg-config", "libbenchmark-dev")
PEER_LIBRARIES = ("libopenjp2-7-dev", "libcharls-dev", "libjxl-dev", "libpng-dev", "libwebp-dev", "libzstd-dev")
PREFIX_TOOLS = ("libopenjp2-tools", "libjpeg-turbo-progs")
STATISTICS_TOOLS = ("libopenjp2-tools",)


@dataclasses.dataclass(frozen=True)
class Mode:
    """The module whose function of the mode's name does it; what that needs, and what it says of itself."""

    module: str
    help: str
    packages: tuple[str, ...] = PROGRAMS
    environment: str = "bench"


MODES = {
    "stages": Mode("speed", ""),
    "against": Mode(
        "revisions",
        "the whole codec of this tree and of another revision, in turn in one process; status 1 if slower. REV is "
        "baseline for the revision in bench/baseline, which is that of the gate in CI",
        (*PROGRAMS, "git"),
    ),
    "peers": Mode(
        "peers", "beside other codecs; writes docs/benchmarks.tsv and docs/benchmarks.svg", (*PROGRAMS, *PEER_LIBRARIES)
    ),
    "commands": Mode(
        "commands",
        "teko and the commands of other codecs on files: time on the wall and peak memory",
        (*PROGRAMS, "libopenjp2-tools", "libjxl-tools", "hyperfine", "time"),
    ),
    "memory": Mode(
        "commands",
        "peak memory of modes c, d and D beyond the planes, against their limits; status 1 if above",
        (*PROGRAMS, "time"),
    ),
    "sizes": Mode(
        "speed",
        "time per sample of an image and of what it is mirrored to, up to 256 times or 134 megapixels (a made one "
        "without any: from 0.4 to 100), each run with fresh memory",
    ),
    "shapes": Mode(
        "speed",
        "time per sample of strips, towers, tiles and, beside grey of 16 bits, an image of the highest top plane; and "
        "how many times that of the image that they are laid out with it is",
    ),
    "library": Mode(
        "revisions",
        "the library beside the codec that it is built on, on these images and on one of 24 megapixels; and two "
        "threads that encode through it beside two processes",
    ),
    "python": Mode(
        "packages",
        "the Python package beside the library that it calls, on these images laid out to 24 megapixels; two of its "
        "threads beside two processes; the memory of encoding 400 MB",
        environment="test",
    ),
    "scale": Mode(
        "packages",
        "examples/mosaic.py, an array of 839 MB, with one and two processes of Dask and of Cubed beside loops",
        COMPILER,
        "zarr",
    ),
    "line": Mode(
        "packages",
        "that array over a line of 100 Mbit/s between two network namespaces, its first bytes beside all of it in "
        "zstd; needs root",
        (*COMPILER, "nginx-light", "iproute2"),
        "zarr",
    ),
    "rate": Mode("speed", "files cut to 5 %% of the raw size against whole ones"),
    "prefix": Mode(
        "parts",
        "quality of cut files and of files made for a size, beside JPEG 2000, HTJ2K and JPEG, also of images that "
        "packages of Python ship; writes docs/prefix.tsv and docs/prefix.svg. JPEG 2000 wants sides of 32 or more",
        (*PROGRAMS, *PREFIX_TOOLS),
        "prefix",
    ),
    "statistics": Mode(
        "parts",
        "the mean, the 99th percentile and the histogram of grey images of 16 bits that 1 to 10 %% of the raw bytes "
        "are kept of, beside HTJ2K and JPEG 2000, also of images that packages of Python ship; writes "
        "docs/prefixStatistics.tsv and docs/prefixStatistics.svg. Without any image these alone",
        (*COMPILER, *STATISTICS_TOOLS),
        "statistics",
    ),
    "draw": Mode("pictures", "nothing is measured: draws the three pictures in docs/ anew from the tables there", ()),
}


@dataclasses.dataclass(frozen=True)
class Request:
    mode: str
    revision: str | None = None
    seconds: int = 60
    folder: Path | None = None
    images: tuple[Path, ...] = ()

    def needs(self) -> list[str]:
        """Return the environment, then the packages."""
        mode = MODES[self.mode]
        return [mode.environment, *mode.packages, *(["netpbm"] if self.images else [])]

    def command(self) -> str:
        """Return what the head of a table says it was made by, wherever the images are."""
        return f"scripts/bench --{self.mode}" + (" --images DIR" if self.folder else "")


def refuse(sentence: str) -> NoReturn:
    sys.stderr.write(f"scripts/bench: {sentence}\n")
    raise SystemExit(1)


# What options ask for behind them.
WANTED = {"--against": "a revision", "--seconds": "a number", "--images": "a folder with a manifest.tsv"}


class Parser(argparse.ArgumentParser):
    def error(self, message: str) -> NoReturn:
        for option, wanted in WANTED.items():
            if message == f"argument {option}: expected one argument":
                refuse(f"{option} needs {wanted}.")
        refuse(f"{message}; --help shows how.")


def parser() -> Parser:
    result = Parser(
        prog="scripts/bench",
        usage="scripts/bench [MODE] [--images DIR] [IMAGE...]",
        description="Measures speed and memory, on one processor, from memory to memory where nothing else is said; "
        "and quality by bytes. Without a mode: every stage and the whole codec, by kind of image.",
        allow_abbrev=False,
        add_help=False,
    )
    modes = result.add_argument_group("modes").add_mutually_exclusive_group()
    for name, mode in MODES.items():
        if name == "against":
            modes.add_argument("--against", metavar="REV", dest="revision", help=mode.help)
        elif name != "stages":
            modes.add_argument(f"--{name}", action="store_const", const=name, dest="mode", help=mode.help)
    others = result.add_argument_group("others")
    others.add_argument(
        "--seconds", default="60", metavar="N", help="processor time for all of --against or --library, 60 by default"
    )
    others.add_argument(
        "--images",
        metavar="DIR",
        dest="folder",
        help="raw images as described by DIR/manifest.tsv, with the columns "
        "name, bytes_per_pixel, bits_per_sample, width, height, file",
    )
    others.add_argument("--help", action="help", help="shows this")
    others.add_argument(
        "images", nargs="*", metavar="IMAGE", help="a PGM, PPM or PNG. Without any image, samples of all kinds are made"
    )
    return result


def read(arguments: list[str]) -> Request:
    """Return what is asked for, or refuse it."""
    options, unknown = parser().parse_known_intermixed_args(arguments)
    if unknown:
        refuse(f"there is no option '{unknown[0]}'; --help shows them.")
    if options.revision == "":
        refuse(f"--against needs {WANTED['--against']}.")
    if not re.fullmatch("[1-9][0-9]*", options.seconds):
        refuse(f"--seconds needs {WANTED['--seconds']}.")
    if options.folder is not None and not (Path(options.folder) / "manifest.tsv").is_file():
        refuse(f"--images needs {WANTED['--images']}.")
    for image in options.images:
        if not Path(image).is_file():
            refuse(f"there is no image '{image}'.")
    if options.revision and not (ROOT / ".git").exists():
        refuse("this needs a clone of the project by git, and there is no .git here.")
    return Request(
        "against" if options.revision else options.mode or "stages",
        options.revision,
        int(options.seconds),
        Path(options.folder).resolve() if options.folder is not None else None,
        tuple(Path(image).resolve() for image in options.images),
    )


if __name__ == "__main__":
    print(*read(sys.argv[1:]).needs())
