# SPDX-License-Identifier: Apache-2.0
"""Refusing to write."""

from collections.abc import Iterable

from zarr.abc.store import Store
from zarr.core.buffer import Buffer
from zarr.storage import WrapperStore


class ReadOnlyStore(WrapperStore[Store]):
    """A store around another one that writes nothing: whatever would is a ValueError."""

    @property
    def read_only(self) -> bool:
        """True."""
        return True

    @property
    def supports_writes(self) -> bool:
        """False."""
        return False

    @property
    def supports_deletes(self) -> bool:
        """False."""
        return False

    def _check_writable(self) -> None:
        raise ValueError(
            "store was opened in read-only mode and does not support writing: a PrefixStore reads only, so write to "
            "the store that it was made of"
        )

    async def set(self, key: str, value: Buffer) -> None:
        """Raise ValueError."""
        self._check_writable()

    async def set_if_not_exists(self, key: str, value: Buffer) -> None:
        """Raise ValueError."""
        self._check_writable()

    async def _set_many(self, values: Iterable[tuple[str, Buffer]]) -> None:
        self._check_writable()

    def set_sync(self, key: str, value: Buffer) -> None:
        """Raise ValueError."""
        self._check_writable()

    async def delete(self, key: str) -> None:
        """Raise ValueError."""
        self._check_writable()

    async def delete_dir(self, prefix: str) -> None:
        """Raise ValueError."""
        self._check_writable()

    def delete_sync(self, key: str) -> None:
        """Raise ValueError."""
        self._check_writable()

    async def clear(self) -> None:
        """Raise ValueError."""
        self._check_writable()
