# SPDX-License-Identifier: Apache-2.0
"""The modes that measure with the program stages: the stages, sizes, shapes and rates."""

from pathlib import Path

import pandas as pd

from teko_bench import image_list, images, programs, rows, tables
from teko_bench.command_line import ROOT, Request
from teko_bench.image_list import Image


def figures_of(listed: list[Image], folder: Path, pattern: str, memory: dict[str, str], rounds: int) -> pd.DataFrame:
    """Return the figures of as many rounds, all images one after another in each."""
    program = programs.build("stages") / "stages"
    path = image_list.write(folder / "images.tsv", listed)
    options = [f"--benchmark_filter={pattern}", "--benchmark_format=csv"]
    parts = []
    for number in range(rounds):
        text = programs.quietly(*programs.pin(), program, path, *options, memory=memory)
        parts.append(tables.stage_figures(text).assign(round=number))
    return pd.concat(parts)


def save(figures: pd.DataFrame, name: str) -> Path:
    path = programs.BUILD / f"{name}.tsv"
    figures[tables.FIGURES].to_csv(path, sep="\t", header=False, index=False)
    return path


def stages(request: Request, folder: Path) -> None:
    listed = images.given_or_made(request, folder)
    figures = figures_of(listed, folder, "-AtRate", programs.KEPT_MEMORY, 1)
    rows.show(tables.stage_table(figures))
    print(f"\nImage by image: {save(figures, 'stages').relative_to(ROOT)}")


def sizes(request: Request, folder: Path) -> None:
    listed = images.given_or_made(request, folder, ("grey8", 768, 512))
    listed += [larger for image in listed for larger in images.grown(image, folder)]
    figures = figures_of(listed, folder, "whole(Encode|Decode)/", programs.FRESH_MEMORY, 9)
    save(figures, "sizes")
    rows.show(tables.size_table(figures))


def shapes(request: Request, folder: Path) -> None:
    listed = images.given_or_made(request, folder, ("rgb8", 768, 512))
    listed += [shape for image in listed for shape in images.shaped(image, folder)]
    figures = figures_of(listed, folder, "whole(Encode|Decode)/", programs.KEPT_MEMORY, 3)
    save(figures, "shapes")
    rows.show(tables.shape_table(figures))


def rate(request: Request, folder: Path) -> None:
    figures = figures_of(images.given_or_made(request, folder), folder, "whole", programs.KEPT_MEMORY, 9)
    save(figures, "rate")
    rows.show(tables.rate_table(figures))
