# SPDX-License-Identifier: Apache-2.0
"""The modes that measure the Python packages."""

from pathlib import Path

from teko_bench import image_list, images, programs, rows
from teko_bench.command_line import Request


def python(request: Request, folder: Path) -> None:
    programs.build("teko_shared")
    path = image_list.write(folder / "images.tsv", images.given_or_made(request, folder))
    rows.show(programs.table_of("calls", path, programs.BUILD / "libteko.so"))


def scale(request: Request, folder: Path) -> None:
    rows.show(programs.table_of("scale", folder / "scale"))


def line(request: Request, folder: Path) -> None:
    rows.show(programs.table_of("line", folder / "line"))
