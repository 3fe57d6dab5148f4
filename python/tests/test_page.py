# SPDX-License-Identifier: Apache-2.0
"""The code of docs/python.md runs as it stands there, prints what stands there, and makes the pictures that are there.

With TEKO_MAKE_PAGE=1 in the environment, what it prints and the pictures are written into the page instead.
"""

import contextlib
import io
import os
import pathlib
import re
import shutil

import numpy as np
import pytest
from PIL import Image

DOCS = pathlib.Path(__file__).parents[2] / "docs"
PAGE = DOCS / "python.md"
BLOCK = re.compile(r"```python\n(?P<code>.*?)```\n(?:```text\n(?P<printed>.*?)```\n)?", re.DOTALL)
makes_page = os.environ.get("TEKO_MAKE_PAGE") == "1"


@pytest.fixture(scope="module")
def ran(tmp_path_factory: pytest.TempPathFactory) -> tuple[pathlib.Path, list[tuple[str | None, str]]]:
    """Run all blocks in turn: the folder that they ran in, and what each should print and has printed."""
    folder = tmp_path_factory.mktemp("page")
    names: dict[str, object] = {}
    results = []
    with contextlib.chdir(folder):
        for block in BLOCK.finditer(PAGE.read_text()):
            with contextlib.redirect_stdout(io.StringIO()) as printed:
                exec(compile(block["code"], str(PAGE), "exec"), names)
            results.append((block["printed"], printed.getvalue()))
    return folder, results


def test_prints_what_stands_there(ran: tuple[pathlib.Path, list[tuple[str | None, str]]]) -> None:
    _, results = ran
    assert len(results) >= 8
    if makes_page:
        printed = iter(results)
        PAGE.write_text(
            BLOCK.sub(
                lambda block: (
                    f"```python\n{block['code']}```\n"
                    + (f"```text\n{text}```\n" if (text := next(printed)[1].rstrip("\n") + "\n") != "\n" else "")
                ),
                PAGE.read_text(),
            )
        )
        return
    for expected, printed_text in results:
        assert printed_text.rstrip("\n") == (expected or "").rstrip("\n")


@pytest.mark.parametrize("page", ["README.md", "python/README.md"])
def test_code_of_readmes_runs(page: str) -> None:
    blocks = list(BLOCK.finditer((DOCS.parent / page).read_text()))
    assert len(blocks) == 1
    with contextlib.redirect_stdout(io.StringIO()):
        exec(compile(blocks[0]["code"], page, "exec"), {})


def test_makes_the_pictures_that_are_there(ran: tuple[pathlib.Path, list[tuple[str | None, str]]]) -> None:
    folder, _ = ran
    shown = re.findall(r"\(pictures/(.*?)\)", PAGE.read_text())
    assert shown == ["shares.png", "reduced.png"]
    for name in shown:
        if makes_page:
            shutil.copy(folder / name, DOCS / "pictures" / name)
        made, stored = Image.open(folder / name), Image.open(DOCS / "pictures" / name)
        assert np.array_equal(np.asarray(made), np.asarray(stored))
