# SPDX-License-Identifier: Apache-2.0
"""Does what scripts/bench is asked for, in the environment of that mode."""

import importlib
import os
import signal
import sys
import tempfile
from pathlib import Path

from teko_bench import command_line


def main() -> int:
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, lambda ended, _: sys.exit(128 + ended))  # what is temporary goes then, too
    request = command_line.read(sys.argv[1:])
    os.chdir(command_line.ROOT)
    measure = getattr(importlib.import_module(f"teko_bench.{command_line.MODES[request.mode].module}"), request.mode)
    with tempfile.TemporaryDirectory() as folder:
        return int(measure(request, Path(folder)) or 0)


sys.exit(main())
