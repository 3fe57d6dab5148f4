# SPDX-License-Identifier: Apache-2.0
"""The code of docs/zarr/*.md runs as it stands there, and prints what stands there.

With TEKO_MAKE_PAGE=1 in the environment, what it prints is written into the pages instead.
"""

import contextlib
import io
import os
import pathlib
import re

import pytest

DOCS = pathlib.Path(__file__).parents[2] / "docs" / "zarr"
BLOCK = re.compile(r"```python\n(?P<code>.*?)```\n(?:```text\n(?P<printed>.*?)```\n)?", re.DOTALL)


def run(block, names):
    """Run a block of code; return what it prints."""
    with contextlib.redirect_stdout(io.StringIO()) as printed:
        exec(compile(block["code"], "page", "exec"), names)
    return printed.getvalue()


@pytest.mark.parametrize(("name", "count"), [("README.md", 4), ("prefix-store.md", 4)])
def test_prints_what_stands_there(name, count, tmp_path):
    names = {}
    page = (DOCS / name).read_text()
    with contextlib.chdir(tmp_path):
        results = [(block, run(block, names)) for block in BLOCK.finditer(page)]
    assert len(results) == count
    if os.environ.get("TEKO_MAKE_PAGE") == "1":
        for block, printed in results:
            made = f"```python\n{block['code']}```\n" + (f"```text\n{printed}```\n" if printed else "")
            page = page.replace(block[0], made)
        (DOCS / name).write_text(page)
        return
    for block, printed in results:
        assert printed == (block["printed"] or "")
