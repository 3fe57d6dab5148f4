# SPDX-License-Identifier: Apache-2.0
"""What the metadata of an array say of its chunks: the codecs, the sizes, and how shards are divided."""

import functools
import json
import math
import re
from collections.abc import Iterator, Sequence
from dataclasses import dataclass
from typing import Any

import google_crc32c
import numpy as np

from teko.zarr._codec import NAME
from teko.zarr._errors import PrefixError
from teko.zarr._pieces import Piece

EMPTY = 2**64 - 1  # offset and length of an inner chunk that is not stored
SHARDING = "sharding_indexed"
_DOCUMENTS = ("zarr.json", ".zarray", ".zgroup", ".zattrs", ".zmetadata")
_CHUNK_KEY = re.compile(r"c(?:\.\d+)*|\d+(?:\.\d+)*")


@dataclass(frozen=True)
class Shard:
    """How the chunks of an array are divided, and where the index of that is.

    Attributes:
        count: of inner chunks, those that are empty among them.
        at_start: whether the index comes first, and not last.
        order: of bytes in the index, "<" or ">".
        checksum: whether 4 bytes of it follow the index.
    """

    count: int
    at_start: bool
    order: str
    checksum: bool

    @property
    def index_size(self) -> int:
        """Bytes of the index."""
        return 16 * self.count + (4 if self.checksum else 0)

    def index(self, key: str) -> Piece:
        """Return where the index of a shard is."""
        return Piece(key, 0 if self.at_start else -self.index_size, self.index_size, is_index=True)

    def index_of(self, whole: bytes) -> bytes:
        """Return the index of a shard."""
        return whole[: self.index_size] if self.at_start else whole[-self.index_size :]

    def build(self, chunks: Sequence[bytes | None]) -> bytes:
        """Return a shard of these inner chunks, None for those that are empty."""
        offset = self.index_size if self.at_start else 0
        table = []
        for chunk in chunks:
            table += [EMPTY, EMPTY] if chunk is None else [offset, len(chunk)]
            offset += 0 if chunk is None else len(chunk)
        index = np.array(table, f"{self.order}u8").tobytes()
        if self.checksum:
            index += google_crc32c.value(index).to_bytes(4, "little")
        body = b"".join(chunk for chunk in chunks if chunk is not None)
        return index + body if self.at_start else body + index


@dataclass(frozen=True)
class Index:
    """Where the inner chunks of a shard are.

    Attributes:
        places: offset and length of each.
        spans: start and end of those that are stored.
    """

    places: tuple[tuple[int, int], ...]
    spans: frozenset[tuple[int, int]]


# Readers of inner chunks come one by one, each with the same index.
@functools.lru_cache(maxsize=64)
def parsed_index(shard: Shard, data: bytes) -> Index:
    """Read an index; raise PrefixError if it is damaged."""
    if len(data) != shard.index_size:
        raise PrefixError(f"the index of a shard has {len(data)} bytes and not the {shard.index_size} of the metadata")
    if shard.checksum and google_crc32c.value(data[:-4]) != int.from_bytes(data[-4:], "little"):
        raise PrefixError("the index of a shard is damaged: its checksum is another")
    table = np.frombuffer(data, f"{shard.order}u8", 2 * shard.count).tolist()
    places = tuple(zip(table[::2], table[1::2], strict=True))
    return Index(places, frozenset((start, start + size) for start, size in places if start != EMPTY))


@dataclass(frozen=True)
class Layout:
    """What there is to know of an array for reading its chunks in part.

    Attributes:
        ours: whether its chunks are teko files.
        raw: bytes of a chunk, or of an inner chunk, before encoding; None if they differ.
        shard: how chunks are divided further, if they are.
        problem: why there is nothing to be cut, if so.
    """

    ours: bool
    raw: int | None = None
    shard: Shard | None = None
    problem: str = ""


FOREIGN = Layout(ours=False)


def is_document(key: str) -> bool:
    """Tell whether a key is one of metadata."""
    return key.rpartition("/")[2] in _DOCUMENTS


def parents(key: str) -> Iterator[str]:
    """Yield the paths above a key, the nearest first."""
    while key:
        key = key.rpartition("/")[0]
        yield key


def array_paths(key: str) -> list[str]:
    """Return where the array may be that a key is a chunk of, the likeliest first."""
    parts = key.split("/")
    paths: list[str] = []
    while parts and _CHUNK_KEY.fullmatch(parts[-1]):
        # Keys of zarr 3 begin with a c; those of zarr 2, which it has kept, with a number.
        likely = parts.pop().startswith("c")
        paths.insert(0 if likely else len(paths), "/".join(parts))
    return paths


def parsed(data: bytes) -> dict[str, Any]:
    """Return a document, an empty one if it is none."""
    try:
        document = json.loads(data)
    except ValueError:
        return {}
    return document if isinstance(document, dict) else {}


def is_array(document: dict[str, Any]) -> bool:
    """Tell whether a document of zarr format 3 describes an array."""
    return document.get("node_type") == "array"


def arrays_below(document: dict[str, Any]) -> dict[str, dict[str, Any]]:
    """Return the arrays that a group's document describes, by their names: consolidated metadata."""
    consolidated = document.get("consolidated_metadata")
    if document.get("node_type") != "group" or not isinstance(consolidated, dict):
        return {}
    return {name: found for name, found in (consolidated.get("metadata") or {}).items() if is_array(found)}


def layout_of_array(document: dict[str, Any]) -> Layout:
    """Describe an array by its metadata of zarr format 3."""
    codecs = document.get("codecs") or []
    names = [_name_of(codec) for codec in codecs]
    if NAME in names:
        return Layout(True, _raw_size(document, _outer_shape(document)), None, _behind(names))
    if SHARDING not in names:
        return FOREIGN
    configuration = _configuration_of(codecs[names.index(SHARDING)])
    inner = [_name_of(codec) for codec in configuration.get("codecs", [])]
    if NAME not in inner:
        return _layout_of_nested(configuration)
    problem = _behind(inner) or _behind_shards(names)
    outer, shape = _outer_shape(document), configuration.get("chunk_shape", [])
    if outer is None:
        return Layout(True, problem=problem or "its shards differ in shape, for which there is no cure yet")
    order, checksum = _index_codecs(configuration.get("index_codecs"))
    if not order:
        problem = problem or "the index of its shards has other codecs than bytes and crc32c: write it with these"
    location = configuration.get("index_location", "end")
    count = math.prod(math.ceil(whole / part) for whole, part in zip(outer, shape, strict=True))
    return Layout(True, _raw_size(document, shape), Shard(count, location == "start", order, checksum), problem)


def mark(document: dict[str, Any], prefix: int) -> None:
    """Tell the codec of an array that is ours how many bytes of each chunk it gets."""
    codecs = document["codecs"]
    for codec in codecs:
        if _name_of(codec) == SHARDING:
            codecs = codec["configuration"]["codecs"]
    place = [_name_of(codec) for codec in codecs].index(NAME)
    codecs[place] = {"name": NAME, "configuration": {**_configuration_of(codecs[place]), "prefix": prefix}}


def is_ours_of_old(document: dict[str, Any]) -> bool:
    """Tell whether the metadata of an array of zarr format 2 name the codec."""
    codecs = [document.get("compressor"), *(document.get("filters") or [])]
    return any(isinstance(codec, dict) and codec.get("id") == NAME for codec in codecs)


def _name_of(codec: Any) -> str:
    name = codec.get("name", "") if isinstance(codec, dict) else codec
    return str(name)


def _configuration_of(codec: Any) -> dict[str, Any]:
    return codec.get("configuration") or {} if isinstance(codec, dict) else {}


def _layout_of_nested(configuration: dict[str, Any]) -> Layout:
    for codec in configuration.get("codecs", []):
        if _name_of(codec) == SHARDING:
            inner = _configuration_of(codec)
            if NAME in map(_name_of, inner.get("codecs", [])) or _layout_of_nested(inner).ours:
                return Layout(True, problem="it has shards in shards: write it with shards of one level")
    return FOREIGN


def _behind(names: list[str]) -> str:
    others = names[names.index(NAME) + 1 :]
    if not others:
        return ""
    return (
        f"{', '.join(others)} behind teko would need its chunks whole: create the array by teko.zarr.create_array, or "
        "with compressors=None"
    )


def _behind_shards(names: list[str]) -> str:
    others = names[names.index(SHARDING) + 1 :]
    return f"{', '.join(others)} behind the shards would need them whole: write it without" if others else ""


def _outer_shape(document: dict[str, Any]) -> list[int] | None:
    grid = document.get("chunk_grid")
    if _name_of(grid) != "regular":
        return None
    shape = _configuration_of(grid).get("chunk_shape")
    return shape if isinstance(shape, list) else None


def _raw_size(document: dict[str, Any], shape: Sequence[int] | None) -> int | None:
    if shape is None:
        return None
    try:
        return math.prod(shape) * np.dtype(_name_of(document.get("data_type"))).itemsize
    except TypeError:
        return None


def _index_codecs(codecs: Any) -> tuple[str, bool]:
    """Return the byte order of an index, and whether it has a checksum; no order if it is written otherwise."""
    if codecs is None:
        return "<", True
    names = [_name_of(codec) for codec in codecs]
    if names not in (["bytes"], ["bytes", "crc32c"]):
        return "", False
    big = _configuration_of(codecs[0]).get("endian", "little") == "big"
    return ">" if big else "<", len(names) == 2
