# SPDX-License-Identifier: Apache-2.0
"""``python -m teko``: what is installed, and arrays in .npy files to teko files and back."""

import argparse
import os
import sys
import tempfile
from collections.abc import Callable
from pathlib import Path
from typing import BinaryIO

import numpy as np

import teko
from teko import _core
from teko._arrays import Array


def _self_check() -> bool:
    """Code one image of each kind, whole and cut."""
    rows, columns = np.indices((65, 90))
    grey = (rows * columns % 251).astype(np.uint8)
    colour = np.stack([grey, grey[::-1], grey[:, ::-1]], axis=-1)
    images: list[Array] = [grey, grey.astype(np.uint16) * 257, colour]
    for image in images:
        data = teko.encode(image)
        if not np.array_equal(teko.decode(data), image) or teko.psnr(image, teko.decode(data[: len(data) // 2])) < 15:
            return False
    return True


def _show(_: argparse.Namespace) -> int:
    passed = _self_check()
    print(f"teko {teko.__version__}, target {_core.target()}, self-check {'passed' if passed else 'FAILED'}")
    return 0 if passed else 1


def _write(path: Path, write: Callable[[BinaryIO], object]) -> None:
    """Write a file beside its place, and rename it: there is never half of one under its name."""
    descriptor, name = tempfile.mkstemp(prefix=f".{path.name}.", suffix=".part", dir=path.parent)
    try:
        with os.fdopen(descriptor, "wb") as file:
            write(file)
        mask = os.umask(0)
        os.umask(mask)
        os.chmod(name, 0o666 & ~mask)
        os.replace(name, path)
    except BaseException:
        os.unlink(name)
        raise


def _encode(arguments: argparse.Namespace) -> int:
    image = np.load(arguments.input, mmap_mode="r", allow_pickle=False)
    data = teko.encode(image, bits=arguments.bits, max_bytes=arguments.max_bytes, rate=arguments.rate)
    _write(arguments.output, lambda file: file.write(data))
    return 0


def _decode(arguments: argparse.Namespace) -> int:
    data = arguments.input.read_bytes()
    image = teko.decode(
        data,
        reduce=arguments.reduce,
        complete=arguments.complete,
        signed=arguments.signed,
        max_pixels=arguments.max_pixels,
    )
    _write(arguments.output, lambda file: np.save(file, image))
    return 0


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="python -m teko", description=__doc__)
    parser.set_defaults(run=_show)
    commands = parser.add_subparsers(title="commands; without one, what is installed is shown and checked")

    encode = commands.add_parser("encode", help="an array in a .npy file to a teko file")
    encode.add_argument("input", type=Path, help=".npy: uint8, uint16, int16 (h, w); uint8 (h, w, 3), (3, h, w)")
    encode.add_argument("output", type=Path)
    encode.add_argument("--bits", type=int, help="significant bits of a sample")
    size = encode.add_mutually_exclusive_group()
    size.add_argument("--max-bytes", type=int, help="the most bytes of the file")
    size.add_argument("--rate", type=float, help="the same as a share of the raw size, up to 1")
    encode.set_defaults(run=_encode)

    decode = commands.add_parser("decode", help="a teko file, or the first bytes of one, to an array in a .npy file")
    decode.add_argument("input", type=Path)
    decode.add_argument("output", type=Path, help=".npy")
    decode.add_argument("--reduce", type=int, default=0, help="how often the sides are halved, up to 5 times")
    decode.add_argument("--signed", action="store_true", help="samples were encoded from int16")
    decode.add_argument("--complete", action="store_true", help="refuse a file that was cut")
    decode.add_argument("--max-pixels", type=int, help="the most pixels of the image")
    decode.set_defaults(run=_decode)
    return parser


def main(arguments: list[str] | None = None) -> int:
    """Run a command line, and return its status: 0, or 1 after a sentence on standard error."""
    parsed = _parser().parse_args(arguments)
    try:
        status: int = parsed.run(parsed)
    except (teko.Error, ValueError, TypeError, OSError, MemoryError) as error:
        print(f"teko: {error}", file=sys.stderr)
        return 1
    return status


if __name__ == "__main__":
    sys.exit(main())
