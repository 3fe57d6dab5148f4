# SPDX-License-Identifier: Apache-2.0
"""The modes that measure commands on files: their time beside those of other codecs, and the memory of teko."""

import json
import shlex
from pathlib import Path

import pandas as pd

from teko_bench import images, programs, rows, tables
from teko_bench.command_line import Request
from teko_bench.image_list import Image

MIB = 2**20
KINDS = ("rgb8", "grey8", "grey16")


def peak_of(folder: Path, *command: object) -> int:
    """Return the peak memory of a command in KiB. It is a child of time, which is small, and not of this program."""
    report = folder / "peak"
    programs.quietly("/usr/bin/time", "-f", "%M", "-o", report, *command)
    return int(report.read_text().split()[-1])


def seconds_of(folder: Path, *command: object) -> float:
    """Return the median of nine runs."""
    report, words = folder / "time.json", shlex.join(map(str, command))
    programs.quietly(*programs.pin(), "hyperfine", "-N", "--warmup", 2, "--runs", 9, "--export-json", report, words)
    return float(json.loads(report.read_text())["results"][0]["median"])


def check_same(image: Image, path: Path) -> None:
    if image.raw_of_anymap(path) != image.raw.read_bytes():
        raise SystemExit(f"{image.name} did not come back")


def commands_on(image: Image, teko: Path, folder: Path) -> list[tuple[object, ...]]:
    """Return a row for each codec and direction."""
    exact, full, out = (folder / f"{name}{image.suffix}" for name in ("exact", "full", "out"))
    image.write_anymap(exact, image.peak)
    image.write_anymap(full, 65535 if image.pixel_bytes == 2 else 255)  # what cjxl keeps lossless
    files = {name: folder / f"coded.{name}" for name in ("tk", "j2k", "jxl")}
    found: list[tuple[object, ...]] = []

    def measure(codec: str, direction: str, *command: object) -> None:
        times = 1e3 * seconds_of(folder, *command)
        found.append((image.kind, image.size, codec, direction, round(times, 3), peak_of(folder, *command)))

    measure("teko", "encode", teko, "c", image.raw, *image.shape, files["tk"])
    measure("teko", "decode", teko, "d", files["tk"], out)
    if out.read_bytes() != image.raw.read_bytes():  # a raw file
        raise SystemExit(f"{image.name} did not come back")
    measure("opj", "encode", "opj_compress", "-i", exact, "-o", files["j2k"])
    measure("opj", "decode", "opj_decompress", "-i", files["j2k"], "-o", out)
    check_same(image, out)
    measure("cjxl/djxl", "encode", "cjxl", full, files["jxl"], "-e", 1, "-d", 0, "--num_threads=0")
    measure("cjxl/djxl", "decode", "djxl", files["jxl"], out, "--num_threads=0")
    check_same(image, out)
    return found


def commands(request: Request, folder: Path) -> None:
    programs.build("teko")
    found = []
    for image in images.given_or_made(request, folder):
        found += commands_on(image, programs.BUILD / "teko", folder)
    rows.save(programs.BUILD / "commands.tsv", found)
    columns = ["kind", "bytes", "codec", "direction", "ms", "peak KiB"]
    rows.show(tables.command_table(pd.DataFrame(found, columns=columns)))


def limit_of(mode: str, plane: int, coded: int) -> float:
    """Return what a mode may take beyond the planes."""
    if mode == "c":
        return 1.5 * coded + 8 * MIB
    return plane / 4 + 4 * MIB + (coded if mode == "D" else 0)


def verdict(mode: str, image: Image, coded: int, grown: int) -> list[str]:
    """Return the row of a mode whose run took so many bytes more than one on a tiny image."""
    plane = image.pixels * (4 if image.pixel_bytes == 2 else 2)
    planes = plane * (3 if image.pixel_bytes == 3 else 1)
    beyond, limit = grown - planes, limit_of(mode, plane, coded)
    figures = [f"{value / MIB:.1f}" for value in (planes, coded, beyond, limit)]
    return [image.kind, mode, *figures, "within" if beyond <= limit else "ABOVE"]


def memory(request: Request, folder: Path) -> int:
    programs.build("teko")
    teko = programs.BUILD / "teko"

    def peak(mode: str, image: Image) -> int:
        coded = folder / f"{image.name}.tk"
        if mode == "c":
            return peak_of(folder, teko, "c", image.raw, *image.shape, coded)
        return peak_of(folder, teko, mode, coded, folder / "out")

    table = [["kind", "mode", "planes MiB", "coded MiB", "beyond MiB", "limit MiB", "verdict"]]
    for kind in KINDS:
        tiny, large = (images.sample(folder, kind, *sides) for sides in ((16, 16), (6000, 4000)))
        for mode in ("c", "d", "D"):
            base, top = peak(mode, tiny), peak(mode, large)
            coded = (folder / f"{large.name}.tk").stat().st_size
            table.append(verdict(mode, large, coded, 1024 * (top - base)))
        large.raw.unlink()
    rows.save(programs.BUILD / "memory.tsv", table[1:])
    rows.show(table)
    return int(any(row[-1] == "ABOVE" for row in table))
