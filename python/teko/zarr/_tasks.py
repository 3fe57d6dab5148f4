# SPDX-License-Identifier: Apache-2.0
"""Requests at the same time."""

import asyncio
from collections.abc import Coroutine, Iterable
from typing import Any, TypeVar

T = TypeVar("T")


async def all_of(requests: Iterable[Coroutine[Any, Any, T]]) -> list[T]:
    """Return what all of them bring; where one fails, the others end before its error is raised."""
    tasks = [asyncio.ensure_future(request) for request in requests]
    try:
        return await asyncio.gather(*tasks)
    except BaseException:
        for task in tasks:
            task.cancel()
        await asyncio.gather(*tasks, return_exceptions=True)
        raise
