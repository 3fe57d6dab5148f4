# SPDX-License-Identifier: Apache-2.0
"""JPEG 2000 codestreams, taken apart into packets and put together again with fewer of them.

They have one tile-part, in the order layer, resolution, component, position.
"""

from __future__ import annotations

import struct
from collections.abc import Iterator

START_OF_TILE_PART, START_OF_DATA, CODING_STYLE, PACKET_LENGTHS, COMMENT = 0xFF90, 0xFF93, 0xFF52, 0xFF58, 0xFF64
TILE_PART_HEADER = 12 + 2  # the start of the tile-part and the start of its data
END = b"\xff\xd9"
EMPTY_PACKET = b"\0"


def number(layout: str, data: bytes, at: int) -> int:
    return int(struct.unpack_from(layout, data, at)[0])


def segments(data: bytes, at: int, last: int) -> Iterator[tuple[int, bytes]]:
    """Give marker and bytes of each segment up to the marker last."""
    while (marker := number(">H", data, at)) != last:
        size = 2 + number(">H", data, at + 2)
        yield marker, data[at : at + size]
        at += size


def packet_lengths(segment: bytes) -> Iterator[int]:
    """Give the lengths in a segment that lists them: seven bits a byte, the highest bit set in all but the last."""
    value = 0
    for byte in segment[5:]:
        value = value << 7 | byte & 127
        if byte < 128:
            yield value
            value = 0


class Codestream:
    """Without comments and lists of packet lengths, which a decoder does not need and which count for no size here."""

    def __init__(self, data: bytes) -> None:
        main = list(segments(data, 2, START_OF_TILE_PART))
        at = 2 + sum(len(segment) for _, segment in main)
        self.head = data[:2] + b"".join(segment for marker, segment in main if marker != COMMENT)
        self.tile_part = data[at : at + 12]
        end = at + number(">I", self.tile_part, 6)
        tile = list(segments(data, at + 12, START_OF_DATA))
        at += TILE_PART_HEADER + sum(len(segment) for _, segment in tile)
        lengths = [length for _, segment in tile for length in packet_lengths(segment)]
        if any(marker != PACKET_LENGTHS for marker, _ in tile) or data[end:] != END:
            raise ValueError("a codestream of one tile-part with nothing but packet lengths in its header was expected")
        if lengths and sum(lengths) != end - at:
            raise ValueError("the packet lengths are not those of the data")
        self.packets: list[bytes] = []
        self.data = data[at:end]
        for length in lengths:
            self.packets.append(data[at : at + length])
            at += length

    def layers(self) -> int:
        return number(">H", self.head, self.coding_style() + 6)

    def coding_style(self) -> int:
        return self.head.index(struct.pack(">H", CODING_STYLE))

    def size(self, data_bytes: int) -> int:
        return len(self.head) + TILE_PART_HEADER + data_bytes + len(END)

    def layer_ends(self) -> list[int]:
        """Return the size of the codestream that ends with each layer."""
        per_layer = len(self.packets) // self.layers()
        sizes = [sum(map(len, self.packets[: (layer + 1) * per_layer])) for layer in range(self.layers())]
        return [self.size(size) for size in sizes]

    def whole_packets(self, budget: int) -> tuple[int, int]:
        """Return how many of the first packets make a codestream of at most budget bytes, and its size."""
        count, size = 0, self.size(0)
        while count < len(self.packets) and size + len(self.packets[count]) <= budget:
            size += len(self.packets[count])
            count += 1
        return count, size

    def assembled(self, head: bytes, data: bytes) -> bytes:
        tile_part = self.tile_part[:6] + struct.pack(">I", TILE_PART_HEADER + len(data)) + self.tile_part[10:]
        return head + tile_part + struct.pack(">H", START_OF_DATA) + data + END

    def whole(self) -> bytes:
        return self.assembled(self.head, self.data)

    def first_packets(self, count: int) -> bytes:
        """Return it with the layers that the first count packets begin and no others.

        Packets that the last of them then lacks are there as empty ones, so that every decoder has a complete
        codestream.
        """
        per_layer = len(self.packets) // self.layers()
        layers = -(-count // per_layer)
        at = self.coding_style() + 6
        head = self.head[:at] + struct.pack(">H", layers) + self.head[at + 2 :]
        return self.assembled(head, b"".join(self.packets[:count]) + EMPTY_PACKET * (layers * per_layer - count))
