# SPDX-License-Identifier: Apache-2.0
"""``python -m teko``: arrays in .npy files to teko files and back."""

import os
import re
import stat
import subprocess
import sys

import numpy as np
import pytest
from pictures import KINDS, noise, waves

import teko
from teko.__main__ import main


class Folder:
    """A folder, and commands on the files in it."""

    def __init__(self, path, capsys):
        self.path, self.capsys = path, capsys

    def store(self, name, array):
        """Write an array."""
        np.save(self.path / name, array)

    def load(self, name):
        """Read an array."""
        return np.load(self.path / name)

    def read(self, name):
        """Read bytes."""
        return (self.path / name).read_bytes()

    def names(self):
        """List what there is, with hidden files."""
        return sorted(os.listdir(self.path))

    def run(self, command, source, target, *options):
        """Run a command in this process, and return its status and what it printed."""
        status = main([command, str(self.path / source), str(self.path / target), *options])
        printed = self.capsys.readouterr()
        return status, printed.out, printed.err


@pytest.fixture
def folder(tmp_path, capsys):
    """Return an empty folder."""
    return Folder(tmp_path, capsys)


def run_module(*arguments, **options):
    """Run it as users do."""
    command = [sys.executable, "-m", "teko", *map(str, arguments)]
    return subprocess.run(command, capture_output=True, text=True, timeout=100, **options)


def test_says_what_is_installed():
    run = run_module()
    assert (run.returncode, run.stderr) == (0, "")
    line = rf"teko {re.escape(teko.__version__)}, target (plain|portable|avx2|avx512|neon), self-check passed\n"
    assert re.fullmatch(line, run.stdout)


def test_a_self_check_that_fails_is_an_error(monkeypatch, capsys):
    monkeypatch.setattr(teko, "decode", lambda data: np.zeros((65, 90), np.uint8))
    assert main([]) == 1
    assert "self-check FAILED" in capsys.readouterr().out


def test_works_as_a_program(tmp_path):
    image = noise("rgb8", 21, 34)
    np.save(tmp_path / "image.npy", image)
    run = run_module("encode", "image.npy", "image.tk", cwd=tmp_path)
    assert (run.returncode, run.stdout, run.stderr) == (0, "", "")
    run = run_module("decode", "image.tk", "back.npy", cwd=tmp_path)
    assert (run.returncode, run.stdout, run.stderr) == (0, "", "")
    assert np.array_equal(np.load(tmp_path / "back.npy"), image)
    run = run_module("decode", "none.tk", "back.npy", cwd=tmp_path)
    assert (run.returncode, run.stdout) == (1, "")
    assert re.fullmatch(r"teko: .*none\.tk.*\n", run.stderr)


@pytest.mark.parametrize("kind", KINDS)
def test_there_and_back(folder, kind):
    image = noise(kind, 40, 51)
    folder.store("image.npy", image)
    signed = ["--signed"] if kind == "signed16" else []
    assert folder.run("encode", "image.npy", "image.tk") == (0, "", "")
    assert folder.run("decode", "image.tk", "back.npy", *signed) == (0, "", "")
    assert folder.read("image.tk") == teko.encode(image)
    assert folder.load("back.npy").dtype == image.dtype
    assert np.array_equal(folder.load("back.npy"), image)
    assert folder.names() == ["back.npy", "image.npy", "image.tk"]


def test_options(folder):
    image = waves("grey16", 90, 80) >> 4
    folder.store("image.npy", np.asfortranarray(image))
    assert folder.run("encode", "image.npy", "bits.tk", "--bits", "12") == (0, "", "")
    assert folder.read("bits.tk") == teko.encode(image, bits=12)
    assert folder.run("encode", "image.npy", "bytes.tk", "--max-bytes", "500") == (0, "", "")
    assert folder.read("bytes.tk") == teko.encode(image, max_bytes=500)
    assert folder.run("encode", "image.npy", "rate.tk", "--rate", "0.05") == (0, "", "")
    assert folder.read("rate.tk") == teko.encode(image, rate=0.05)
    assert folder.run("decode", "rate.tk", "rate.npy") == (0, "", "")
    assert np.array_equal(folder.load("rate.npy"), teko.decode(folder.read("rate.tk")))
    assert folder.run("decode", "bits.tk", "bits.npy", "--reduce", "2", "--complete", "--max-pixels", "7200") == (
        0,
        "",
        "",
    )
    assert np.array_equal(folder.load("bits.npy"), teko.decode(folder.read("bits.tk"), reduce=2))


FAILURES = {
    "no input": ("encode", "none.npy", [], r"none\.npy"),
    "no array": ("encode", "image.tk", [], "."),
    "pickled": ("encode", "object.npy", [], "(?i)object"),
    "floats": ("encode", "float.npy", [], "float64"),
    "bits": ("encode", "image.npy", ["--bits", "9"], "bits=9"),
    "budget": ("encode", "image.npy", ["--max-bytes", "13"], "max_bytes=13"),
    "rate": ("encode", "image.npy", ["--rate", "nan"], "rate=nan"),
    "inexact": ("encode", "small.npy", [], "sides of 2 and 3"),
    "no file": ("decode", "image.npy", [], "."),
    "empty": ("decode", "empty.tk", [], "short"),
    "cut": ("decode", "cut.tk", ["--complete"], "before its image is complete"),
    "reduce": ("decode", "image.tk", ["--reduce", "6"], "reduce=6"),
    "signed": ("decode", "image.tk", ["--signed"], "never signed"),
    "pixels": ("decode", "image.tk", ["--max-pixels", "5"], "max_pixels=5"),
    "a folder": ("decode", ".", [], "irectory"),
}


@pytest.mark.parametrize("name", FAILURES)
@pytest.mark.parametrize("existing", [None, b"kept"])
def test_failures_are_a_sentence_and_leave_the_output_alone(folder, name, existing):
    command, source, options, match = FAILURES[name]
    image = noise("grey8", 40, 51)
    folder.store("image.npy", image)
    folder.store("float.npy", image / 3)
    folder.store("small.npy", image[:3])
    np.save(folder.path / "object.npy", np.array([[{}]], object), allow_pickle=True)
    (folder.path / "image.tk").write_bytes(teko.encode(image))
    (folder.path / "cut.tk").write_bytes(teko.encode(image)[:-1])
    (folder.path / "empty.tk").write_bytes(b"")
    if existing is not None:
        (folder.path / "output").write_bytes(existing)
    before = folder.names()
    status, out, error = folder.run(command, source, "output", *options)
    assert (status, out) == (1, "")
    assert re.fullmatch(r"teko: .+\n", error)
    assert re.search(match, error)
    assert folder.names() == before
    assert existing is None or folder.read("output") == existing


def test_an_output_that_cannot_be_written(folder):
    folder.store("image.npy", noise("grey8", 40, 51))
    for target in ("none/image.tk", "."):
        status, _, error = folder.run("encode", "image.npy", target)
        assert status == 1
        assert re.fullmatch(r"teko: .+\n", error)
    assert folder.names() == ["image.npy"]


def test_half_a_file_is_taken_away(folder, monkeypatch):
    image = noise("grey8", 40, 51)
    (folder.path / "image.tk").write_bytes(teko.encode(image))
    (folder.path / "back.npy").write_bytes(b"kept")

    def save(file, _):
        file.write(b"half")
        raise OSError(28, "No space left on device")

    monkeypatch.setattr(np, "save", save)
    status, _, error = folder.run("decode", "image.tk", "back.npy")
    assert (status, error) == (1, "teko: [Errno 28] No space left on device\n")
    assert folder.names() == ["back.npy", "image.tk"]
    assert folder.read("back.npy") == b"kept"


def test_outputs_are_replaced_and_may_be_the_input(folder):
    image = noise("grey8", 40, 51)
    folder.store("image", image)
    os.rename(folder.path / "image.npy", folder.path / "image")
    assert folder.run("encode", "image", "image") == (0, "", "")
    assert folder.read("image") == teko.encode(image)
    assert folder.run("decode", "image", "image") == (0, "", "")
    assert np.array_equal(folder.load("image"), image)
    assert folder.names() == ["image"]


def test_outputs_have_the_usual_permissions(folder):
    folder.store("image.npy", noise("grey8", 40, 51))
    mask = os.umask(0o027)
    try:
        assert folder.run("encode", "image.npy", "image.tk") == (0, "", "")
        assert os.umask(0o027) == 0o027
    finally:
        os.umask(mask)
    assert stat.S_IMODE((folder.path / "image.tk").stat().st_mode) == 0o640


@pytest.mark.parametrize(
    "arguments",
    [
        ["code"],
        ["encode"],
        ["encode", "a"],
        ["decode", "a", "b", "--reduce", "x"],
        ["encode", "a", "b", "--max-bytes", "50", "--rate", "1"],
    ],
)
def test_other_command_lines_show_the_usage(arguments, capsys):
    with pytest.raises(SystemExit) as ended:
        main(arguments)
    assert ended.value.code == 2
    assert "usage: python -m teko" in capsys.readouterr().err


def test_damage_is_a_warning(folder):
    data = bytearray(teko.encode(noise("grey8", 40, 51)))
    data[10] = 255
    (folder.path / "image.tk").write_bytes(data)
    with pytest.warns(teko.DamageWarning):
        assert folder.run("decode", "image.tk", "back.npy")[0] == 0
    assert not folder.load("back.npy").any()
    assert folder.run("decode", "image.tk", "back.npy", "--complete")[0] == 1
