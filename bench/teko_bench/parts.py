# SPDX-License-Identifier: Apache-2.0
"""The modes that look at what a part of a file is worth."""

from pathlib import Path

from teko_bench import image_list, images, packaged_images, pictures, programs, rows
from teko_bench.command_line import PREFIX_TOOLS, STATISTICS_TOOLS, Request
from teko_bench.peers import names, packages, today


def prefix(request: Request, folder: Path) -> None:
    programs.build("teko")
    listed = images.given_or_made(request, folder) + packaged_images.of_8_bits(folder)
    path = image_list.write(folder / "images.tsv", listed)
    table = programs.table_of("prefix", path, programs.BUILD / "teko")
    tools = packages(PREFIX_TOOLS, ("imagecodecs", "scikit-image"))
    head = [today(), ("command", request.command()), names(listed), ("tools", tools)]
    rows.save(programs.DOCS / "prefix.tsv", table, head)
    pictures.draw_prefix()
    codecs = (len(table[0]) - 4) // 2
    rows.show(row[: 4 + codecs] for row in table if row is table[0] or row[1].startswith("mean of "))


def statistics(request: Request, folder: Path) -> None:
    listed = images.given(request, folder) + packaged_images.of_more_bits(folder)
    path = image_list.write(folder / "images.tsv", listed)
    table = programs.table_of("prefix_statistics", path)
    tools = packages(STATISTICS_TOOLS, ("astropy", "imagecodecs", "matplotlib", "nibabel", "pydicom"))
    deep = [image for image in listed if image.pixel_bytes == 2]
    head = [today(), ("command", request.command()), names(deep), ("tools", tools)]
    rows.save(programs.DOCS / "prefixStatistics.tsv", table, head)
    pictures.draw_statistics()
    summed = [row for row in table if row is table[0] or " of " in row[0]]
    rows.show([row[at] for at in (0, 3, 5, 7, 9, 11, 12)] for row in summed)
