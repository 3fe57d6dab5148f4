# SPDX-License-Identifier: Apache-2.0
"""Tables as rows of fields: printed in columns, or in files with tabs between the fields."""

from __future__ import annotations

from collections.abc import Iterable, Sequence
from pathlib import Path

Rows = Iterable[Sequence[object]]


def text(rows: Rows) -> str:
    """Return rows with tabs between their fields."""
    return "".join("\t".join(map(str, row)) + "\n" for row in rows)


def put(*fields: object) -> None:
    """Print a row with tabs between its fields, at once."""
    print(*fields, sep="\t", flush=True)


def columns(rows: Rows) -> str:
    """Return rows in columns as wide as they have to be, two spaces apart."""
    table = [list(map(str, row)) for row in rows]
    count = max(map(len, table), default=0)
    widths = [max(len(row[at]) for row in table if at < len(row)) for at in range(count)]
    return "".join("  ".join(map(str.ljust, row, widths)).rstrip() + "\n" for row in table)


def show(rows: Rows) -> None:
    print(columns(rows), end="", flush=True)


def split(text: str) -> list[list[str]]:
    """Return the rows of a text with tabs, without those that begin as comments do."""
    return [line.split("\t") for line in text.splitlines() if not line.startswith("#")]


def save(path: Path, rows: Rows, head: Iterable[tuple[str, str]] = ()) -> None:
    """Write rows behind comments that say what they were measured with."""
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text("".join(f"# {name}: {value}\n" for name, value in head) + text(rows))
