# SPDX-License-Identifier: Apache-2.0
"""A line of a given width between two network namespaces, for servers that are to be far away."""

import contextlib
import itertools
import os
import pathlib
import shutil
import subprocess
from dataclasses import dataclass

_numbers = itertools.count()


@dataclass(frozen=True)
class Line:
    """Two ends of a line.

    Attributes:
        address: of the far end, where a server listens that was started by `far`.
        far: what goes in front of a command so that it runs at the far end.
    """

    address: str
    far: tuple[str, ...]
    _near: str

    def received(self):
        """Return how many bytes have come through the line, all headers with them: the near end's own counter."""
        return int(pathlib.Path(f"/sys/class/net/{self._near}/statistics/rx_bytes").read_text())


def _run(*words):
    subprocess.run([str(word) for word in words], check=True, capture_output=True)


def can_be_made():
    """Tell whether this process may make network namespaces, and has ip and tc of iproute2."""
    if not (shutil.which("ip") and shutil.which("tc")):
        return False
    name = f"teko{os.getpid()}"
    made = subprocess.run(["ip", "netns", "add", name], capture_output=True).returncode == 0
    return made and subprocess.run(["ip", "netns", "delete", name], capture_output=True).returncode == 0


@contextlib.contextmanager
def shaped_line(megabits):
    """Make a line that carries so many megabits a second either way; where it can be made."""
    number = next(_numbers)
    name = f"teko{os.getpid()}x{number}"
    near, far = f"{name}a"[-15:], f"{name}b"[-15:]
    network = f"10.213.{(os.getpid() + number) % 250}"
    _run("ip", "netns", "add", name)
    try:
        _run("ip", "link", "add", near, "type", "veth", "peer", "name", far, "netns", name)
        _run("ip", "address", "add", f"{network}.1/30", "dev", near)
        _run("ip", "link", "set", near, "up")
        for words in (("address", "add", f"{network}.2/30", "dev", far), ("link", "set", far, "up")):
            _run("ip", "-n", name, *words)
        shape = ("root", "tbf", "rate", f"{megabits}mbit", "burst", "128kb", "latency", "50ms")
        _run("tc", "qdisc", "add", "dev", near, *shape)
        _run("tc", "-n", name, "qdisc", "add", "dev", far, *shape)
        yield Line(f"{network}.2", ("ip", "netns", "exec", name), near)
    finally:
        _run("ip", "netns", "delete", name)
