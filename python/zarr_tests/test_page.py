# SPDX-License-Identifier: Apache-2.0
"""The code of docs/zarr/README.md runs as it stands there, and prints what stands there."""

import contextlib
import io
import pathlib
import re

PAGE = pathlib.Path(__file__).parents[2] / "docs" / "zarr" / "README.md"
BLOCK = re.compile(r"```python\n(?P<code>.*?)```\n(?:```text\n(?P<printed>.*?)```\n)?", re.DOTALL)


def test_prints_what_stands_there(tmp_path):
    names = {}
    blocks = list(BLOCK.finditer(PAGE.read_text()))
    assert len(blocks) >= 4
    with contextlib.chdir(tmp_path):
        for block in blocks:
            with contextlib.redirect_stdout(io.StringIO()) as printed:
                exec(compile(block["code"], str(PAGE), "exec"), names)
            assert printed.getvalue() == (block["printed"] or "")
