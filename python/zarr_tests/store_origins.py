# SPDX-License-Identifier: Apache-2.0
"""Stores that the tests read from: one that counts, one that dawdles, and one of each kind that there is."""

import asyncio
import contextlib
import functools
import http.server
import itertools
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import threading
import time
import urllib.request

import pytest
from zarr.abc.store import RangeByteRequest
from zarr.storage import FsspecStore, LocalStore, MemoryStore, ObjectStore, WrapperStore, ZipStore

_numbers = itertools.count()
NGINX = shutil.which("nginx") or shutil.which("/usr/sbin/nginx")


class Counting(WrapperStore):
    """Notes what it is asked for, and what it gives."""

    def __init__(self, store):
        super().__init__(store)
        self.log = []
        self.others = []

    async def get(self, key, prototype, byte_range=None):
        value = await super().get(key, prototype, byte_range)
        self.log.append((key, byte_range, 0 if value is None else len(value)))
        return value

    async def exists(self, key):
        self.others.append(key)
        return await super().exists(key)

    async def getsize(self, key):
        self.others.append(key)
        return await self._store.getsize(key)

    def received(self, documents=True):
        return sum(size for key, _, size in self.log if documents or not key.endswith("zarr.json"))


class Slow(Counting):
    """Answers late, so that requests meet."""

    async def get(self, key, prototype, byte_range=None):
        await asyncio.sleep(0.05)
        return await super().get(key, prototype, byte_range)


class Careless(Counting):
    """Ignores ranges, as some servers do."""

    async def get(self, key, prototype, byte_range=None):
        return await super().get(key, prototype, None)


class Strict(Counting):
    """Refuses ranges that begin where the value ends, or later: what the contract of stores allows."""

    async def get(self, key, prototype, byte_range=None):
        whole = await self._store.get(key, prototype)
        start = getattr(byte_range, "start", getattr(byte_range, "offset", 0))
        if whole is not None and byte_range is not None and start >= len(whole):
            raise ValueError("the range begins behind the end")
        if isinstance(byte_range, RangeByteRequest) and byte_range.start >= byte_range.end:
            raise ValueError("the range is empty")
        return await super().get(key, prototype, byte_range)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def _await(server, host, port, turns):
    """Return when a server answers; raise if it has ended, or does not answer in time."""
    for _ in range(turns):
        if server.poll() is not None:
            raise RuntimeError(f"{server.args} ended with status {server.returncode} before it answered")
        with contextlib.suppress(OSError), socket.create_connection((host, port), 1):
            return
        time.sleep(0.05)
    raise RuntimeError(f"{server.args} does not answer at {host}:{port}")


_NGINX_CONFIGURATION = """
daemon off; master_process off; pid {folder}/nginx.pid; error_log {folder}/error.log;
events {{}}
http {{
    log_format sent '$request_method $uri $status $body_bytes_sent';
    access_log {folder}/access.log sent;
    client_body_temp_path {folder}/body; proxy_temp_path {folder}/proxy; fastcgi_temp_path {folder}/fastcgi;
    uwsgi_temp_path {folder}/uwsgi; scgi_temp_path {folder}/scgi;
    server {{ listen {host}:{port}; root {root}; }}
}}
"""


@contextlib.contextmanager
def nginx(root, folder, host="127.0.0.1", at=()):
    """Serve a folder; yield the address, and what the access log says: (method, path, status, bytes).

    `at` goes in front of the command, so that the server may run in another network namespace.
    """
    port = free_port()
    configuration = folder / "nginx.conf"
    configuration.write_text(_NGINX_CONFIGURATION.format(folder=folder, root=root, host=host, port=port))
    server = subprocess.Popen([*at, NGINX, "-e", folder / "error.log", "-c", configuration, "-p", folder])

    def log():
        time.sleep(0.2)  # nginx writes a line after the client has the answer, and nothing tells that it was the last
        lines = (folder / "access.log").read_text().split("\n")[:-1]
        return [(method, path, int(status), int(size)) for method, path, status, size in map(str.split, lines)]

    try:
        _await(server, host, port, 100)
        yield f"http://{host}:{port}", log
    finally:
        server.terminate()
        server.wait(10)


class _Handler(http.server.SimpleHTTPRequestHandler):
    """Files as they are, and ranges unless the server has none."""

    protocol_version = "HTTP/1.1"

    def do_GET(self):
        file = pathlib.Path(self.translate_path(self.path))
        data = file.read_bytes() if file.is_file() else None
        asked = re.fullmatch(r"bytes=(\d*)-(\d*)", self.headers.get("Range", ""))
        status = 404 if data is None else 200
        if data is not None and asked and self.server.has_ranges:
            start = int(asked[1]) if asked[1] else max(0, len(data) - int(asked[2]))
            end = int(asked[2]) + 1 if asked[1] and asked[2] else len(data)
            status, data = (206, data[start:end]) if start < len(data) else (416, b"")
        self.send_response(status)
        self.send_header("Content-Length", str(len(data or b"")))
        self.end_headers()
        self.wfile.write(data or b"")
        self.server.log.append((self.command, self.path, status, len(data or b"")))

    def log_message(self, *args):
        pass


@contextlib.contextmanager
def python_server(root, has_ranges=True):
    """Serve a folder by Python's own server."""
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(_Handler, directory=str(root)))
    server.has_ranges, server.log = has_ranges, []
    threading.Thread(target=server.serve_forever, daemon=True).start()
    try:
        yield f"http://127.0.0.1:{server.server_port}", lambda: list(server.log)
    finally:
        server.shutdown()
        server.server_close()


# Of each kind a context manager: it is given a folder and a function that fills a store, and yields the filled store.


@contextlib.contextmanager
def memory(folder, fill):
    store = MemoryStore()
    fill(store)
    yield store


@contextlib.contextmanager
def local(folder, fill):
    fill(LocalStore(folder / "array"))
    yield LocalStore(folder / "array", read_only=True)


@contextlib.contextmanager
def zipped(folder, fill):
    with ZipStore(folder / "array.zip", mode="w") as store:
        fill(store)
    store = ZipStore(folder / "array.zip", mode="r")
    yield store
    store.close()


@contextlib.contextmanager
def over_http(folder, fill):
    pytest.importorskip("aiohttp")
    fill(LocalStore(folder / "array"))
    server = nginx(folder / "array", folder) if NGINX else python_server(folder / "array")
    with server as (address, log):
        store = FsspecStore.from_url(address, read_only=True)
        store.server_log = log
        yield store


@contextlib.contextmanager
def obstore_local(folder, fill):
    obstore = pytest.importorskip("obstore")
    fill(LocalStore(folder / "array"))
    yield ObjectStore(obstore.store.LocalStore(folder / "array"), read_only=True)


@contextlib.contextmanager
def moto_server(host="127.0.0.1", at=()):
    """Run moto's server of S3 in a process of its own; yield its address.

    `at` goes in front of the command, so that the server may run in another network namespace.
    """
    pytest.importorskip("moto.server")
    port = free_port()
    command = [*at, sys.executable, "-m", "moto.server", "-H", host, "-p", str(port)]
    server = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        _await(server, host, port, 400)
        yield f"http://{host}:{port}"
    finally:
        server.terminate()
        server.wait(10)


def bucket_maker(address):
    """Create a bucket on a server of S3; return what makes stores of it."""
    obstore = pytest.importorskip("obstore")
    bucket = f"arrays{next(_numbers)}"
    urllib.request.urlopen(urllib.request.Request(f"{address}/{bucket}", method="PUT")).close()
    options = {
        "endpoint": address,
        "access_key_id": "test",
        "secret_access_key": "test",
        "region": "us-east-1",
        "client_options": {"allow_http": True},
    }
    return lambda **kwargs: ObjectStore(obstore.store.S3Store(bucket, **options), **kwargs)


@contextlib.contextmanager
def obstore_s3(folder, fill):
    with moto_server() as address:
        store_of = bucket_maker(address)
        fill(store_of())
        yield store_of(read_only=True)


@contextlib.contextmanager
def icechunk_snapshot(folder, fill):
    icechunk = pytest.importorskip("icechunk")
    repository = icechunk.Repository.create(icechunk.local_filesystem_storage(str(folder / "repository")))
    session = repository.writable_session("main")
    fill(session.store)
    session.commit("an array")
    yield repository.readonly_session("main").store


ORIGINS = [memory, local, zipped, over_http, obstore_local, obstore_s3, icechunk_snapshot]
