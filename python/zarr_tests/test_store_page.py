# SPDX-License-Identifier: Apache-2.0
"""The code of docs/zarr/prefix-store.md runs as it stands there, and prints what stands there.

With TEKO_MAKE_PAGE=1 in the environment, what it prints is written into the page instead.
"""

import contextlib
import io
import os
import pathlib
import re

PAGE = pathlib.Path(__file__).parents[2] / "docs" / "zarr" / "prefix-store.md"
BLOCK = re.compile(r"```python\n(?P<code>.*?)```\n(?:```text\n(?P<printed>.*?)```\n)?", re.DOTALL)


def test_prints_what_stands_there(tmp_path):
    names, printed = {}, []
    page = PAGE.read_text()
    with contextlib.chdir(tmp_path):
        for block in BLOCK.finditer(page):
            with contextlib.redirect_stdout(io.StringIO()) as output:
                exec(compile(block["code"], str(PAGE), "exec"), names)
            printed.append((block["printed"] or "", output.getvalue()))
    assert len(printed) == 4
    if os.environ.get("TEKO_MAKE_PAGE") == "1":
        texts = iter(text for _, text in printed)
        PAGE.write_text(
            BLOCK.sub(
                lambda block: (
                    f"```python\n{block['code']}```\n" + (f"```text\n{text}```\n" if (text := next(texts)) else "")
                ),
                page,
            )
        )
        return
    for expected, text in printed:
        assert text == expected
