#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Whether codestreams cut at packets are decoded with every packet that they keep.
usage: packetCuts.py ROOT ANYMAP FOLDER, the last for what it makes"""
import pathlib
import subprocess
import sys

root, anymap, folder = map(pathlib.Path, sys.argv[1:])
sys.path.insert(0, str(root / 'bench'))
from teko_bench.codestream import Codestream

coded = folder / 'packets.j2k'
decoded = folder / f'packets{anymap.suffix}'


def command(*words):
    subprocess.run(list(map(str, words)), check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def decode(data, *options):
    coded.write_bytes(data)
    decoded.unlink(missing_ok=True)
    command('opj_decompress', '-i', coded, '-o', decoded, *options)
    return decoded.read_bytes()


def raster(data, size):
    return data[-size:]


def error(one, other):
    return sum((a - b) ** 2 for a, b in zip(one, other))


command('opj_compress', '-i', anymap, '-o', coded, '-r', '40,20,10,5,1', '-PLT', '-SOP')
whole = coded.read_bytes()
stream = Codestream(whole)
packets, layers = len(stream.packets), stream.layers()
assert layers == 5 and packets % layers == 0, (layers, packets)
# Packets begin where the encoder marks their starts, and nowhere else.
for number, packet in enumerate(stream.packets):
    assert packet.startswith(b'\xff\x91\0\4' + number.to_bytes(2, 'big')), number
    assert packet.count(b'\xff\x91\0\4') == 1, number

command('opj_compress', '-i', anymap, '-o', coded, '-r', '40,20,10,5,1', '-PLT')
whole = coded.read_bytes()
stream = Codestream(whole)
original = anymap.read_bytes()
size = int.__mul__(*map(int, original.split(b'\n')[1].split())) * (3 if anymap.suffix == '.ppm' else 1)
# Cut where a layer ends, it is what the decoder itself makes of that many layers of the whole file.
perLayer = packets // layers
for layer in range(1, layers + 1):
    assert decode(stream.first_packets(layer * perLayer)) == decode(whole, '-l', layer), layer
assert raster(decode(stream.whole()), size) == raster(original, size)
# Packets that are there as empty ones stand for nothing. A packet more may round some samples the wrong way, but takes
# nothing away that was there.
before = None
for count in range(1, packets + 1, 4 if anymap.suffix == '.ppm' else 1):
    cut = decode(stream.first_packets(count))
    assert cut == decode(stream.assembled(stream.head, b''.join(stream.packets[:count]))), count
    now = error(raster(cut, size), raster(original, size))
    assert before is None or now <= 1.02 * before, (count, before, now)
    before = now
# As many packets as a budget holds, to the byte.
for end, count in ((stream.layer_ends()[1], 2 * perLayer), (stream.layer_ends()[1] - 1, 2 * perLayer - 1)):
    assert stream.whole_packets(end)[0] == count, (end, count)
