# SPDX-License-Identifier: Apache-2.0
"""What the tests share."""

import pathlib

import pytest

GOLDEN = pathlib.Path(__file__).parents[2] / "tests" / "golden"


@pytest.fixture(scope="session")
def golden() -> pathlib.Path:
    """Folder of the stored files that every part of the project is tested with."""
    return GOLDEN
