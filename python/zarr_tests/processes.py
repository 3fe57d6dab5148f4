# SPDX-License-Identifier: Apache-2.0
"""Code in processes of its own, and what a machine is like on which the package is not installed."""

import importlib.abc
import importlib.metadata
import os
import pathlib
import subprocess
import sys


def run(code, *arguments):
    """Run code in a process of its own, which can import what stands beside this file."""
    command = [sys.executable, "-c", code, *map(str, arguments)]
    environment = {**os.environ, "PYTHONPATH": str(pathlib.Path(__file__).parent)}
    return subprocess.run(command, capture_output=True, text=True, env=environment)


class _Missing(importlib.abc.MetaPathFinder):
    """Finds no module of the package, and lets nobody else look for it."""

    def find_spec(self, name, path=None, target=None):
        if name.partition(".")[0] == "teko":
            raise ModuleNotFoundError(f"No module named {name!r}", name=name)
        return None


def hide_teko():
    """Hide the package from this process: its modules, and the entry points by which others find its codecs."""
    sys.meta_path.insert(0, _Missing())
    all_of = importlib.metadata.Distribution.entry_points.fget
    none = importlib.metadata.EntryPoints()
    importlib.metadata.Distribution.entry_points = property(
        lambda found: none if found.name == "teko" else all_of(found)
    )
