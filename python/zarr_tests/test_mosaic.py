# SPDX-License-Identifier: Apache-2.0
"""examples/mosaic.py as a user runs it, on real schedulers and workers, and with a worker that is killed."""

import contextlib
import hashlib
import importlib.util
import itertools
import json
import pathlib
import subprocess
import sys
import time

import numpy as np
import psutil
import pytest
import zarr
from store_origins import free_port

import teko.zarr

EXAMPLE = pathlib.Path(__file__).parents[2] / "examples" / "mosaic.py"
SIDE, CHUNK = 2048, 256
SMALL = ("--side", str(SIDE), "--chunk", str(CHUNK))
RATES = (0.01, 0.05, 1)

pytest.importorskip("distributed")


def command(place, *options):
    return [sys.executable, str(EXAMPLE), str(place), *SMALL, "--report", str(place) + ".report", *options]


def run(place, *options):
    """Run the example; return its report."""
    subprocess.run(command(place, *options), check=True, timeout=300)
    return json.loads((pathlib.Path(str(place) + ".report") / "report.json").read_text())


def files(place):
    """Return a hash of everything below a folder that is an object of the store."""
    found = [file for file in place.rglob("*") if file.is_file() and file.suffix != ".partial"]
    return {str(file.relative_to(place)): hashlib.sha256(file.read_bytes()).hexdigest() for file in found}


@pytest.fixture(scope="module")
def example():
    spec = importlib.util.spec_from_file_location("mosaic", EXAMPLE)
    module = importlib.util.module_from_spec(spec)
    sys.modules["mosaic"] = module
    spec.loader.exec_module(module)
    return module


@pytest.fixture(scope="module")
def done(tmp_path_factory):
    """Return the mosaic made by Dask's processes on this machine, and its report."""
    place = tmp_path_factory.mktemp("mosaic") / "image.zarr"
    return place, run(place)


def test_every_chunk_is_the_texture_of_its_place(done, example):
    array = zarr.open_array(done[0], path="0", mode="r")
    for number in range(example.number_of_regions(array)):
        region = example.region_of(array, number)
        assert np.array_equal(array[region], example.texture(*region))


def test_each_level_is_the_mean_of_the_finer_one(done):
    levels = [zarr.open_array(done[0], path=str(level), mode="r")[:] for level in range(4)]
    assert [level.shape[0] for level in levels] == [2048, 1024, 512, 256]
    for fine, coarse in itertools.pairwise(levels):
        means = fine.reshape(len(coarse), 2, len(coarse), 2).mean(axis=(1, 3))
        assert np.array_equal(coarse, np.floor(means + 0.5).astype(np.uint16))


def test_the_image_is_valid_ome_zarr(done):
    v05 = pytest.importorskip("ome_zarr_models.v05")
    image = v05.Image.from_zarr(zarr.open_group(done[0], mode="r"))
    scales = [dataset.coordinateTransformations[0].scale for dataset in image.ome_attributes.multiscales[0].datasets]
    assert [list(scale) for scale in scales] == [[0.325 * 2**level] * 2 for level in range(4)]


def test_each_rate_moves_the_predicted_bytes(done):
    place, report = done
    sizes = [file.stat().st_size for file in (place / "0" / "c").rglob("*") if file.is_file()]
    raw = 2 * CHUNK**2
    for rate, found in zip(RATES, report["rates"], strict=True):
        first = 10 + 4 * -(-int(rate * raw) // 4)
        assert found["bytes"] == sum(min(first, size) for size in sizes)
        assert found["requests"] == len(sizes) == (SIDE // CHUNK) ** 2


def test_statistics_are_those_of_the_samples(done):
    place, report = done
    image = zarr.open_array(place, path="0", mode="r")[:].astype(float)
    exact = report["rates"][-1]
    assert exact["mean"] == pytest.approx(image.mean(), abs=1e-6)
    assert exact["deviation"] == pytest.approx(image.std(), abs=1e-4)
    assert exact["percentile99"] == pytest.approx(np.percentile(image, 99), abs=64)
    for coarse in report["rates"][:-1]:
        assert coarse["mean"] == pytest.approx(exact["mean"], rel=0.005)
        assert coarse["focusCorrelation"] > 0.8


def test_the_map_is_sharp_where_the_texture_is(done, example):
    array = zarr.open_array(done[0], path="0", mode="r")
    job = example.Look(zarr.open_array(teko.zarr.PrefixStore(array.store), path="0", mode="r"))
    _, focus = example.summary(np.array([job(number) for number in range(example.number_of_regions(array))]))
    found = example.focus_map(array, focus)
    texture = example.octave(slice(0, SIDE), slice(0, SIDE), 1500, 11).reshape(16, 128, 16, 128).mean(axis=(1, 3))
    assert example.rank_correlation(found.ravel(), texture.ravel()) > 0.8


def test_the_focus_is_the_energy_of_the_laplacian(done, example):
    array = zarr.open_array(done[0], path="0", mode="r")
    job = example.Look(zarr.open_array(teko.zarr.PrefixStore(array.store, rate=1), path="0", mode="r"))
    rows = np.array([job(number) for number in range(4)])
    focus = example.summary(rows)[1]
    image = array[:CHUNK, :CHUNK].astype(float)
    laplacian = sum(np.roll(image, shift, axis) for shift in (1, -1) for axis in (0, 1)) - 4 * image
    inner = laplacian[1:127, 1:127]
    assert focus[0][0] == pytest.approx((inner**2).mean())
    assert example.focus_map(array, np.vstack([focus, np.zeros((60, focus.shape[1]))]))[0, 1] == focus[0][1]


def test_cubed_writes_the_same_files_and_finds_the_same(done, tmp_path):
    pytest.importorskip("cubed")
    report = run(tmp_path / "image.zarr", "--engine", "cubed")
    assert files(tmp_path / "image.zarr") == files(done[0])
    assert report["rates"] == done[1]["rates"]


@contextlib.contextmanager
def scheduler_and_workers(folder, count):
    """Run Dask's own commands; yield the address of the scheduler when all are there."""
    distributed = pytest.importorskip("distributed")
    address = f"tcp://127.0.0.1:{free_port()}"
    dask = [sys.executable, "-m", "distributed.cli.dask_scheduler", "--no-dashboard", "--host", address]
    worker = [sys.executable, "-m", "distributed.cli.dask_worker", address, "--nthreads", "1", "--no-dashboard"]
    with (folder / "cluster.log").open("w") as log:
        processes = [subprocess.Popen(dask, stdout=log, stderr=log, cwd=folder)]
        processes += [subprocess.Popen(worker, stdout=log, stderr=log, cwd=folder) for _ in range(count)]
        try:
            with distributed.Client(address, timeout=60) as client:
                client.wait_for_workers(count, timeout=60)
            yield address
        finally:
            for process in reversed(processes):
                process.terminate()
            for process in processes:
                process.wait(20)


def test_a_scheduler_elsewhere_does_the_same(done, tmp_path):
    with scheduler_and_workers(tmp_path, 2) as address:
        report = run(tmp_path / "image.zarr", "--scheduler", address)
    assert files(tmp_path / "image.zarr") == files(done[0])
    assert report["rates"] == done[1]["rates"]


def test_with_shards_these_are_the_objects(done, tmp_path):
    report = run(tmp_path / "image.zarr", "--shard", str(4 * CHUNK))
    sharded, chunked = (zarr.open_array(place, path="0", mode="r") for place in (tmp_path / "image.zarr", done[0]))
    assert sharded.shards == (4 * CHUNK,) * 2
    assert len(list((tmp_path / "image.zarr" / "0" / "c").glob("*/*"))) == 4
    assert sharded[:].mean() == pytest.approx(chunked[:].mean(), rel=0.01)
    index = 4 * (16 * 16 + 4)
    assert [found["bytes"] - index for found in report["rates"][:2]] == [
        found["bytes"] for found in done[1]["rates"][:2]
    ]


def test_images_are_laid_end_to_end(tmp_path):
    image = np.random.default_rng(3).integers(0, 65536, (300, 200)).astype(np.uint16)
    np.save(tmp_path / "image.npy", image)
    run(tmp_path / "image.zarr", "--engine", "loop", "--images", str(tmp_path / "image.npy"))
    mosaic = zarr.open_array(tmp_path / "image.zarr", path="0", mode="r")[:]
    assert np.array_equal(mosaic[:300, :200], image)
    assert np.array_equal(mosaic[300:600, 200:400], image[::-1, ::-1])


@pytest.mark.parametrize(
    ("options", "message"),
    [
        (("--chunk", "192"), "--chunk is to be a multiple of 128"),
        (("--side", "514"), "--side is to be a multiple of 128"),
        (("--images", "nowhere.png"), "nowhere.png"),
        (("--engine", "loop", "--scheduler", "tcp://127.0.0.1:1"), "for the engine dask"),
    ],
)
def test_what_cannot_be_is_said_before_anything_is_written(options, message, tmp_path):
    ended = subprocess.run(command(tmp_path / "image.zarr", *options), capture_output=True, text=True, timeout=60)
    assert ended.returncode == 2
    assert message in ended.stderr
    assert not (tmp_path / "image.zarr").exists()


def test_a_killed_worker_costs_no_chunk_and_leaves_no_half_one(done, tmp_path):
    place = tmp_path / "image.zarr"
    chunks = (SIDE // CHUNK) ** 2
    with (tmp_path / "log").open("w") as log:
        process = subprocess.Popen(command(place, "--batch", "1"), stdout=log, stderr=log)
    client = psutil.Process(process.pid)
    try:
        wait_for_chunks(place / "0" / "c", 0.4 * chunks)
        workers = [child for child in client.children() if "spawn_main" in " ".join(child.cmdline())]
        workers[0].kill()
        for other in (client, *workers[1:]):
            other.suspend()
        written = [file for file in (place / "0" / "c").rglob("*") if file.is_file() and file.suffix != ".partial"]
        assert len(workers) == 2
        assert 0.4 * chunks <= len(written) < chunks
        for file in written:
            assert teko.decode(file.read_bytes(), complete=True).shape == (CHUNK, CHUNK)
        for other in (client, *workers[1:]):
            other.resume()
        assert process.wait(300) == 0
    finally:
        process.kill()
        process.wait()
    assert files(place) == files(done[0])


def wait_for_chunks(folder, count):
    for _ in range(12000):
        if sum(1 for file in folder.rglob("*") if file.is_file() and file.suffix != ".partial") >= count:
            return
        time.sleep(0.005)
    raise TimeoutError("the mosaic is not being written")
