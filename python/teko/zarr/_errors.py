# SPDX-License-Identifier: Apache-2.0
"""What goes wrong when arrays are read by their first bytes, by name."""

from teko._errors import Error


class PrefixError(Error, ValueError):
    """An array of which no first bytes can be read as a whole: the message says why, and what to do about it."""


class ChangedError(Error):
    """A chunk that was overwritten after its first bytes had been read."""


class OverReadError(Error):
    """A server that sends more than it is asked for, and a store that was told to be strict."""
