# SPDX-License-Identifier: Apache-2.0
"""The mode that measures beside other codecs."""

import datetime
from importlib import metadata
from pathlib import Path

from teko_bench import image_list, images, pictures, programs, rows, tables
from teko_bench.command_line import PEER_LIBRARIES, Request
from teko_bench.image_list import Image

ROUNDS, REPETITIONS = 5, 3
Head = list[tuple[str, str]]


def today() -> tuple[str, str]:
    return "date", datetime.datetime.now(datetime.UTC).date().isoformat()


def names(listed: list[Image]) -> tuple[str, str]:
    return "images", " ".join(image.name for image in listed)


def known(*command: str) -> list[str]:
    """Return the lines of a command; none where it is not there, or does not know."""
    try:
        return programs.quietly(*command).splitlines()
    except (FileNotFoundError, SystemExit):
        return []


def packages(debian: tuple[str, ...], python: tuple[str, ...] = ()) -> str:
    """Return the versions that are installed."""
    listed = known("dpkg-query", "-W", "-f=${Package} ${Version}\n", *debian)
    return ", ".join(listed + [f"{name} {metadata.version(name)}" for name in python])


def processor() -> str:
    return next((line.partition(":")[2].strip() for line in known("lscpu") if line.startswith("Model name:")), "")


def measure(program: Path, listed: list[Image], folder: Path) -> str:
    """Return what comparePeers prints: a process for each codec, image and direction, all of them in each round."""
    path = image_list.write(folder / "images.tsv", listed)
    codecs = [row[0] for row in rows.split(programs.quietly(program))]
    lines = []
    with (programs.BUILD / "peers.tsv").open("w") as file:
        for _ in range(ROUNDS):
            for image in listed:
                for codec in codecs:
                    for direction in ("encode", "decode"):
                        which = (path, image.name, codec, direction, folder / f"{codec}.coded", REPETITIONS)
                        lines.append(programs.quietly(*programs.pin(), program, *which))
                        file.write(lines[-1])
                        file.flush()
    return "".join(lines)


def peers(request: Request, folder: Path) -> None:
    program = programs.build("comparePeers") / "comparePeers"
    listed = images.given_or_made(request, folder)
    table = tables.peer_table(tables.peer_figures(measure(program, listed, folder)))
    head: Head = [today(), ("processor", processor()), ("command", request.command()), names(listed)]
    head.append(("libraries", packages(PEER_LIBRARIES)))
    head += [(codec, setting) for codec, setting in rows.split(programs.quietly(program))]
    rows.save(programs.DOCS / "benchmarks.tsv", table, head)
    rows.show(table)
    pictures.draw_speed()
