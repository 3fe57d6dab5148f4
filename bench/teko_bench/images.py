# SPDX-License-Identifier: Apache-2.0
"""The images that a mode measures: those given, or made ones, and what is laid out with them."""

import re
import shutil
import subprocess
from pathlib import Path
from typing import Any

import numpy as np
import numpy.typing as npt

from teko_bench import image_list, programs
from teko_bench.command_line import Request
from teko_bench.image_list import Image

Samples = npt.NDArray[Any]
MADE = programs.BUILD / "made"
MOST_PIXELS, LONGEST_SIDE = 1 << 27, 65535


def store(folder: Path, name: str, samples: Samples, bits: int = 8) -> Image:
    """Write samples as a raw file."""
    height, width = samples.shape[:2]
    pixel_bytes = 3 if samples.ndim == 3 else 2 if bits > 8 else 1
    image = Image(name, pixel_bytes, bits, width, height, folder / f"{name}.raw")
    samples.astype("<u2" if pixel_bytes == 2 else "u1").tofile(image.raw)
    return image


def read_anymap(data: bytes) -> tuple[Samples, int]:
    """Return the samples of a binary PGM or PPM without comments, and the greatest that it declares."""
    found = re.match(rb"P([56])\s+(\d+)\s+(\d+)\s+(\d+)\s", data)
    if not found:
        raise ValueError("not a binary PGM or PPM")
    magic, width, height, peak = map(int, found.groups())
    shape = (height, width, 3) if magic == 6 else (height, width)
    return np.frombuffer(data, ">u2" if peak > 255 else "u1", offset=found.end()).reshape(shape), peak


def read_user_image(path: Path, folder: Path) -> Image:
    """Return what netpbm reads of a file, with 8 bits where it is in colour or has fewer."""

    def converted(*command: str, data: bytes | None = None) -> bytes:
        done = subprocess.run(command, input=data, capture_output=True)
        if done.returncode != 0:
            raise SystemExit(f"{path}: {done.stderr.decode(errors='replace')}")
        return done.stdout

    with path.open("rb") as file:
        is_png = file.read(4) == b"\x89PNG"
    data = converted("pngtopnm" if is_png else "pamtopnm", str(path))
    if data.startswith(b"P4"):
        data = converted("pamdepth", "255", data=data)
    samples, peak = read_anymap(data)
    if peak < 255 or (samples.ndim == 3 and peak > 255):
        samples, peak = read_anymap(converted("pamdepth", "255", data=data))
    return store(folder, re.sub(r"[^A-Za-z0-9._-]", "_", path.name), samples, peak.bit_length())


def grey(colours: Samples, peak: int) -> npt.NDArray[np.uint16]:
    """Return the luma of colours of 8 bits, rescaled to a peak: what ppmtopgm makes of them, behind pamdepth."""
    if peak == 255:
        red, green, blue = np.moveaxis(colours.astype(np.uint32), 2, 0)
        return np.asarray((77 * red + 150 * green + 29 * blue + 128) >> 8, np.uint16)
    red, green, blue = np.moveaxis((colours.astype(np.uint32) * peak + 127) // 255, 2, 0)
    return np.asarray(0.2989 * red + 0.5866 * green + 0.1145 * blue + 0.5, np.uint16)


def sample(folder: Path, kind: str, width: int, height: int) -> Image:
    """Return a made image. The colours are kept for the next time."""
    kept = MADE / f"sample{width}x{height}.ppm"
    if not kept.exists() or not kept.stat().st_size:
        programs.build("makeSample")
        MADE.mkdir(parents=True, exist_ok=True)
        fresh = folder / kept.name
        with fresh.open("wb") as file:
            subprocess.run([programs.BUILD / "makeSample", str(width), str(height)], stdout=file, check=True)
        shutil.move(fresh, kept)
    colours, _ = read_anymap(kept.read_bytes())
    name = f"{kind}-{width}x{height}"
    if kind == "rgb8":
        return store(folder, name, colours)
    return store(folder, name, grey(colours, 4095 if kind == "grey16" else 255), 12 if kind == "grey16" else 8)


def given(request: Request, folder: Path) -> list[Image]:
    """Return the images that were asked for."""
    listed = image_list.of_manifest(request.folder) if request.folder else []
    return listed + [read_user_image(path, folder) for path in request.images]


def given_or_made(request: Request, folder: Path, *made: tuple[str, int, int]) -> list[Image]:
    """Return the images that were asked for; without any these made ones, or one of each kind."""
    made = made or tuple((kind, 1536, 1024) for kind in ("rgb8", "grey8", "grey16"))
    return given(request, folder) or [sample(folder, *shape) for shape in made]


def grown(image: Image, folder: Path) -> list[Image]:
    """Return the same detail on 4, 16, 64 and 256 times as many samples, as far as sides and memory allow."""
    samples, larger = image.samples(), []
    for times in (2, 4, 8, 16):
        if times * max(image.width, image.height) > LONGEST_SIDE or times**2 * image.pixels > MOST_PIXELS:
            break
        samples = np.concatenate([samples, samples[:, ::-1]], axis=1)
        samples = np.concatenate([samples, samples[::-1]])
        larger.append(store(folder, f"{image.name}@{times**2}", samples, image.bits))
    return larger


WIDE = ((65535, 9), (60000, 8), (40000, 20), (52000, 12))
HIGH = ((8, 60000), (20, 40000), (12, 52000), (6, 50000), (5, 50000))
SHAPES = {f"{width}x{height}": (width, height) for width, height in ((1000, 1000), (64, 64), *WIDE, *HIGH)}
SHAPES["tiles"] = (2560, 1600)  # 1000 of 64 x 64


def tiled(samples: Samples, width: int, height: int) -> Samples:
    """Return the image again and again, so that the detail is the same."""
    rows, columns = np.arange(height) % samples.shape[0], np.arange(width) % samples.shape[1]
    return samples[np.ix_(rows, columns)]


def shaped(image: Image, folder: Path) -> list[Image]:
    """Return the image laid out in other shapes, and to be coded in tiles; beside grey of 16 bits the extreme image."""
    samples = image.samples()
    shapes = [
        store(folder, f"{image.name}@{name}", tiled(samples, *sides), image.bits) for name, sides in SHAPES.items()
    ]
    if image.pixel_bytes == 2:
        shapes.append(store(folder, f"{image.name}@extreme", extreme(), 16))
    return shapes


def filtered(x: npt.NDArray[np.float64]) -> npt.NDArray[np.float64]:
    """Return the filter of the format without its roundings, on each row."""
    last = x.shape[1] - 1

    def at(places: npt.NDArray[np.int_]) -> npt.NDArray[np.float64]:
        mirrored = abs(places)
        return x[:, np.where(mirrored > last, 2 * last - mirrored, mirrored)]

    x = x.copy()
    odd, even = np.arange(1, last + 1, 2), np.arange(0, last + 1, 2)
    x[:, odd] -= (9 * (at(odd - 1) + at(odd + 1)) - at(odd - 3) - at(odd + 3)) / 16
    x[:, even] = (x[:, even] + (at(even - 1) + at(even + 1)) / 4) * 152 / 128
    return x


def extreme(side: int = 320) -> npt.NDArray[np.uint16]:
    """Return an image of 16 bits whose highest coefficient is as large as one can get.

    All samples are 0 or 65535, by the signs of the weights that the detail of level 5 in the middle has.
    """
    units = np.eye(side)
    for _ in range(4):
        units = filtered(units)[:, ::2]
    # What a unit at each place gives to detail 4 of level 5, the fifth.
    is_positive = filtered(units)[:, 9] > 0
    return np.where(is_positive[:, None] == is_positive, 65535, 0).astype(np.uint16)
