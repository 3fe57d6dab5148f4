# SPDX-License-Identifier: Apache-2.0
"""Arrays behind a narrow line between network namespaces: the line's own counter is one more witness of what came."""

import numpy as np
import pytest
from shaped_line import can_be_made, shaped_line
from store_arrays import read, smooth, write
from store_origins import NGINX, bucket_maker, moto_server, nginx
from zarr.storage import FsspecStore, LocalStore

from teko.zarr import PrefixStore

IMAGE = smooth((2048, 2048))
CHUNK, SHARD = (512, 512), (1024, 1024)
FIRST = 10 + 4 * -(-2 * 2 * 512 * 512 // 400)  # of each chunk, at 2 %
INDEXES = {None: 0, SHARD: 4 * (4 * 16 + 4)}
LAYOUTS = pytest.mark.parametrize("shards", INDEXES, ids=["chunks", "shards"])
# Headers of 16 to 24 requests and their answers, of packets, and three documents.
MOST_AROUND = 40_000


@pytest.fixture(scope="module")
def line():
    if not can_be_made():
        pytest.skip("network namespaces need root, and ip and tc of iproute2")
    with shaped_line(100) as made:
        yield made


@pytest.mark.skipif(not NGINX, reason="nginx is not installed")
@LAYOUTS
def test_the_line_carries_what_was_predicted_of_nginx(shards, line, tmp_path):
    write(LocalStore(tmp_path / "array"), IMAGE, CHUNK, shards)
    with nginx(tmp_path / "array", tmp_path, line.address, line.far) as (address, log):
        before = line.received()
        store = PrefixStore(FsspecStore.from_url(address, read_only=True), 0.02)
        coarse = read(store)
        on_line = line.received() - before
        sent = sum(size for _, path, _, size in log() if "/c/" in path)
        assert sent == 16 * FIRST + INDEXES[shards]
        assert sent < on_line < sent + MOST_AROUND
        assert sent <= 0.021 * IMAGE.nbytes
        assert np.array_equal(read(store.refined()), IMAGE)
        assert np.array_equal(coarse, read(PrefixStore(LocalStore(tmp_path / "array"), 0.02)))


@LAYOUTS
def test_the_line_carries_what_was_predicted_of_s3(shards, line):
    with moto_server(line.address, line.far) as address:
        store_of = bucket_maker(address)
        write(store_of(), IMAGE, CHUNK, shards)
        before = line.received()
        store = PrefixStore(store_of(read_only=True), 0.02)
        read(store)
        on_line = line.received() - before
        predicted = 16 * FIRST + INDEXES[shards]
        assert predicted < on_line < predicted + MOST_AROUND
        assert np.array_equal(read(store.refined(0.1).refined()), IMAGE)
