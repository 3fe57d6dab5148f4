# SPDX-License-Identifier: Apache-2.0
"""What goes wrong, by name."""


class Error(Exception):
    """Base of all exceptions that this package defines."""


class ImageError(Error, ValueError):
    """An array that no teko file can hold, by its shape, or by two arrays that do not go together."""


class ImageTypeError(Error, TypeError):
    """Samples of a type that no teko file can hold."""


class InexactError(Error):
    """An image that would not come back as it was, though its file would be complete.

    Images with a side of 2 or 3 samples are such, and images of 8 bits a sample that somebody has built for it.
    """


class DataError(Error, ValueError):
    """Bytes that are no teko file, or too few of one, or that contradict themselves."""


class IncompleteError(DataError):
    """A file that ends before its image is complete."""


class LimitError(Error):
    """An image that is larger than the caller allows."""


class DamageWarning(UserWarning):
    """A file that says what no encoder writes. What was decoded is what the rules for such files make of it."""
