# SPDX-License-Identifier: Apache-2.0
"""JPEG 2000 codestreams of one tile-part in the order layer, resolution, component, position: taken apart into packets,
and put together again with fewer of them."""
import struct

START_OF_TILE_PART, START_OF_DATA, CODING_STYLE, PACKET_LENGTHS, COMMENT = 0xFF90, 0xFF93, 0xFF52, 0xFF58, 0xFF64
TILE_PART_HEADER = 12 + 2  # the start of the tile-part and the start of its data
END = b'\xff\xd9'
EMPTY_PACKET = b'\0'


def segments(data, at, last):
    """Marker and bytes of each segment up to the marker last."""
    while (marker := struct.unpack_from('>H', data, at)[0]) != last:
        size = 2 + struct.unpack_from('>H', data, at + 2)[0]
        yield marker, data[at:at + size]
        at += size


def packetLengths(segment):
    """The lengths in a segment that lists them: seven bits a byte, the highest bit set in all but the last."""
    value = 0
    for byte in segment[5:]:
        value = value << 7 | byte & 127
        if byte < 128:
            yield value
            value = 0


class Codestream:
    """Without comments and lists of packet lengths, which a decoder does not need and which count for no size here."""

    def __init__(self, data):
        main = list(segments(data, 2, START_OF_TILE_PART))
        at = 2 + sum(len(segment) for _, segment in main)
        self.head = data[:2] + b''.join(segment for marker, segment in main if marker != COMMENT)
        self.tilePart = data[at:at + 12]
        end = at + struct.unpack_from('>I', self.tilePart, 6)[0]
        tile = list(segments(data, at + 12, START_OF_DATA))
        at += TILE_PART_HEADER + sum(len(segment) for _, segment in tile)
        lengths = [length for _, segment in tile for length in packetLengths(segment)]
        if any(marker != PACKET_LENGTHS for marker, _ in tile) or data[end:] != END:
            raise ValueError('a codestream of one tile-part with nothing but packet lengths in its header was expected')
        if lengths and sum(lengths) != end - at:
            raise ValueError('the packet lengths are not those of the data')
        self.packets, self.data = [], data[at:end]
        for length in lengths:
            self.packets.append(data[at:at + length])
            at += length

    def layers(self):
        return struct.unpack_from('>H', self.head, self.codingStyle() + 6)[0]

    def codingStyle(self):
        return self.head.index(struct.pack('>H', CODING_STYLE))

    def size(self, dataBytes):
        return len(self.head) + TILE_PART_HEADER + dataBytes + len(END)

    def layerEnds(self):
        """The size of the codestream that ends with each layer."""
        perLayer = len(self.packets) // self.layers()
        sizes = [sum(map(len, self.packets[:(layer + 1) * perLayer])) for layer in range(self.layers())]
        return [self.size(size) for size in sizes]

    def wholePackets(self, budget):
        """How many of the first packets make a codestream of at most budget bytes, and its size."""
        count, size = 0, self.size(0)
        while count < len(self.packets) and size + len(self.packets[count]) <= budget:
            size += len(self.packets[count])
            count += 1
        return count, size

    def assembled(self, head, data):
        tilePart = self.tilePart[:6] + struct.pack('>I', TILE_PART_HEADER + len(data)) + self.tilePart[10:]
        return head + tilePart + struct.pack('>H', START_OF_DATA) + data + END

    def whole(self):
        return self.assembled(self.head, self.data)

    def firstPackets(self, count):
        """With the layers that the first count packets begin and no others. Packets that the last of them then lacks
        are there as empty ones, so that every decoder has a complete codestream."""
        perLayer = len(self.packets) // self.layers()
        layers = -(-count // perLayer)
        at = self.codingStyle() + 6
        head = self.head[:at] + struct.pack('>H', layers) + self.head[at + 2:]
        return self.assembled(head, b''.join(self.packets[:count]) + EMPTY_PACKET * (layers * perLayer - count))
