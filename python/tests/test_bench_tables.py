# SPDX-License-Identifier: Apache-2.0
"""What scripts/bench makes of figures, images and arguments."""

import pathlib
import shutil
import subprocess
import sys

import numpy as np
import pytest

pd = pytest.importorskip("pandas")
sys.path.insert(0, str(pathlib.Path(__file__).parents[2] / "bench"))
pytest.importorskip("teko_bench", reason="not beside the sources")

from teko_bench import (  # noqa: E402
    command_line,
    commands,
    image_list,
    images,
    pictures,
    programs,
    revisions,
    rows,
    tables,
)
from teko_bench.command_line import Request  # noqa: E402
from teko_bench.image_list import Image  # noqa: E402

GRADIENT = np.arange(6, dtype=np.uint8).reshape(2, 3)


def figures(*listed: tuple[str, str, int, float]) -> "pd.DataFrame":
    """Return rows of image, stage, round and nanoseconds per sample; a sample takes a byte."""
    rounds = [("grey8", image, stage, 1e3 / time, time, 2 * time, 1e6, number) for image, stage, number, time in listed]
    return pd.DataFrame(rounds, columns=[*tables.FIGURES, "round"])


def csv(*lines: str) -> str:
    head = 'name,iterations,cpu_time,error_occurred,error_message,"MB/s","cycles/sample","ns/sample","samples"'
    return "\n".join([head, *lines]) + "\n"


def test_figures_are_read_by_the_names_of_columns() -> None:
    text = csv('"grey8/a, b/wholeEncode",3,1.5,,,100,20,10,4000', '"rgb8/c@4/code",3,1.5,,,50,2,1,12')
    read = tables.stage_figures(text)
    assert list(read.columns) == tables.FIGURES
    assert read.to_numpy().tolist() == [
        ["grey8", "a, b", "wholeEncode", 100, 10, 20, 4000],
        ["rgb8", "c@4", "code", 50, 1, 2, 12],
    ]


def test_an_error_of_one_image_ends_it() -> None:
    text = csv('"grey8/a/whole",3,1.5,,,100,20,10,4000', '"grey8/b/whole",,,true,"did not come back",,,,')
    with pytest.raises(SystemExit, match="grey8/b/whole: did not come back"):
        tables.stage_figures(text)


def test_stages_are_total_bytes_by_total_time() -> None:
    table = pd.DataFrame(
        [("rgb8", "a", "x", 100.0, 10.0, 30.0, 3000), ("rgb8", "b", "x", 1000.0, 1.0, 3.0, 1000)],
        columns=tables.FIGURES,
    )
    assert tables.stage_table(table)[1:] == [["rgb8", "x", "129.0", "7.750", "23.25"]]


def test_rates_are_medians_of_rounds_and_of_their_ratios() -> None:
    times = [(10.0, 5.0), (40.0, 10.0), (20.0, 8.0)]
    listed = [
        ("b", f"{way}{cut}", number, time)
        for way in ("wholeEncode", "wholeDecode")
        for number, pair in enumerate(times)
        for cut, time in zip(("", "AtRate"), pair, strict=True)
    ]
    table = tables.rate_table(figures(*listed, *(("a", *rest) for _, *rest in listed)))
    assert [row[1] for row in table[1:]] == ["b", "a"]  # in the order of the list
    assert table[1] == ["grey8", "b", "50.0", "125.0", "2.50", "50.0", "125.0", "2.50"]


def test_sizes_end_with_most_by_least() -> None:
    listed = [
        (image, stage, number, time + number)
        for image, time in (("b", 2.0), ("b@4", 3.0), ("a", 8.0))
        for stage in ("wholeEncode", "wholeDecode")
        for number in (0, 1, 4)
    ]
    table = tables.size_table(figures(*listed))
    assert table[1:4] == [
        ["b", "1.0", "3.000", "2.000", "3.000", "2.000"],
        ["b@4", "1.0", "4.000", "3.000", "4.000", "3.000"],
        ["b", "most/least", "1.33", "1.50", "1.33", "1.50"],
    ]
    assert [row[1] for row in table[4:]] == ["1.0", "most/least"]


def test_shapes_are_beside_their_image() -> None:
    listed = [("a", 4.0), ("b", 1.0), ("a@8x6", 2.0), ("b@8x6", 3.0)]
    table = tables.shape_table(
        figures(*((image, stage, 0, time) for image, time in listed for stage in ("wholeEncode", "wholeDecode")))
    )
    assert [row[:4] for row in table[1:]] == [
        ["a", "itself", "4.00", "1.0"],
        ["b", "itself", "1.00", "1.0"],
        ["a", "8x6", "2.00", "0.5"],
        ["b", "8x6", "3.00", "3.0"],
    ]


def peer_lines() -> str:
    lines = []
    for peak, times in ((2048, "5\t1000\t2000"), (1024, "1500\t9000\t9000")):
        for image, kind in (("a", "rgb8"), ("b", "grey8")):
            for direction in ("encode", "decode"):
                lines += [f"teko\t{image}\t{kind}\t{direction}\t3000\t500\t1000\t{peak}\t{times}"]
                lines += [f"OpenJPEG\t{image}\t{kind}\t{direction}\t3000\t250\t1000\t{peak}\t17500\t17500\t17500"]
                taken = f"3000\t125\t1000\t{peak}\t1750" if kind == "rgb8" else "n/a"
                lines += [f"WebP\t{image}\t{kind}\t{direction}\t{taken}"]
    return "\n".join(lines) + "\n"


def test_peers_are_medians_of_all_repetitions_summed_up() -> None:
    table = tables.peer_table(tables.peer_figures(peer_lines()))
    by_name = {tuple(row[:2]): row[2:] for row in table[1:]}
    assert list(by_name) == [
        (kind, codec) for kind in ("rgb8", "grey8", "all") for codec in ("teko", "OpenJPEG", "WebP")
    ]
    assert by_name["rgb8", "teko"] == ["4.000", "1714.3", "1714.3", "10.00", "10.00", "2.0", "2.0"]
    assert by_name["all", "teko"] == by_name["grey8", "teko"] == by_name["rgb8", "teko"]
    assert by_name["rgb8", "WebP"][0] == "1.000"
    assert by_name["grey8", "WebP"] == by_name["all", "WebP"] == ["n/a"] * 7


def test_peers_without_the_yardstick_have_no_ratio() -> None:
    lines = [line for line in peer_lines().splitlines() if not line.startswith("OpenJPEG")]
    table = tables.peer_table(tables.peer_figures("\n".join(lines)))
    assert table[1] == ["rgb8", "teko", "4.000", "1714.3", "1714.3", "n/a", "n/a", "2.0", "2.0"]


def test_commands_are_total_bytes_by_total_time_and_the_highest_peak() -> None:
    runs = [("rgb8", 3000000, "teko", "encode", 1.0, 1024), ("rgb8", 1000000, "teko", "encode", 3.0, 512)]
    frame = pd.DataFrame(runs, columns=["kind", "bytes", "codec", "direction", "ms", "peak KiB"])
    assert tables.command_table(frame)[1:] == [["rgb8", "teko", "encode", "1000.0", "4.0", "1.0"]]


@pytest.mark.parametrize(
    ("mode", "pixel_bytes", "limit"),
    [("c", 1, 15e6 + (8 << 20)), ("d", 1, 5e5 + (4 << 20)), ("d", 2, 1e6 + (4 << 20)), ("D", 3, 105e5 + (4 << 20))],
)
def test_memory_is_within_its_limit_up_to_it(mode: str, pixel_bytes: int, limit: float) -> None:
    image = Image("a", pixel_bytes, 16 if pixel_bytes == 2 else 8, 1000, 1000, pathlib.Path("a"))
    planes = {1: 2, 2: 4, 3: 6}[pixel_bytes] * 1000000
    assert commands.verdict(mode, image, 10000000, int(planes + limit))[-1] == "within"
    assert commands.verdict(mode, image, 10000000, int(planes + limit) + 1)[-1] == "ABOVE"


def test_a_manifest_is_read_by_the_names_of_its_columns(tmp_path: pathlib.Path) -> None:
    columns = ["file", "note", "height", "width", "bits_per_sample", "bytes_per_pixel", "name"]
    fields = ["deep/a.raw", '"not closed', "2", "3", "12", "2", "a b"]
    (tmp_path / "manifest.tsv").write_text("\t".join(columns) + "\n" + "\t".join(fields) + "\n")
    image = Image("a b", 2, 12, 3, 2, tmp_path / "deep" / "a.raw")
    assert image_list.of_manifest(tmp_path) == [image]
    assert image_list.read(image_list.write(tmp_path / "list", [image, image])) == [image, image]


def test_a_head_is_left_out_where_rows_are_read(tmp_path: pathlib.Path) -> None:
    rows.save(tmp_path / "new" / "table", [["a", "b"], [1, "c d"]], [("date", "today"), ("images", "x y")])
    text = (tmp_path / "new" / "table").read_text()
    assert text == "# date: today\n# images: x y\na\tb\n1\tc d\n"
    assert rows.split(text) == [["a", "b"], ["1", "c d"]]


def test_columns_are_as_wide_as_they_have_to_be() -> None:
    assert rows.columns([["a", "bcd", "e"], ["long", "", 5], ["x"]]) == "a     bcd  e\nlong       5\nx\n"
    assert rows.columns([]) == ""


def anymap(samples: "np.typing.NDArray[np.uint16]", peak: int) -> bytes:
    head = f"P{6 if samples.ndim == 3 else 5}\n{samples.shape[1]} {samples.shape[0]}\n{peak}\n"
    return head.encode() + samples.astype(">u2" if peak > 255 else "u1").tobytes()


@pytest.mark.skipif(not shutil.which("pamtopnm") or not shutil.which("pnmtopng"), reason="no netpbm here")
@pytest.mark.parametrize("as_png", [False, True])
@pytest.mark.parametrize(
    ("samples", "peak", "bits", "expected"),
    [
        (GRADIENT, 255, 8, GRADIENT),
        (GRADIENT // 2, 3, 8, GRADIENT // 2 * 85),
        (GRADIENT % 2, 1, 8, GRADIENT % 2 * 255),
        (GRADIENT.astype(np.uint16) * 13000, 65535, 16, GRADIENT.astype(np.uint16) * 13000),
        (np.dstack([GRADIENT] * 3) * [1, 2, 3], 255, 8, np.dstack([GRADIENT] * 3) * [1, 2, 3]),
        (np.dstack([GRADIENT] * 3) * [257, 0, 514], 65535, 8, np.dstack([GRADIENT] * 3) * [1, 0, 2]),
    ],
)
def test_an_image_of_each_kind_is_added(
    tmp_path: pathlib.Path,
    samples: "np.typing.NDArray[np.uint16]",
    peak: int,
    bits: int,
    expected: "np.typing.NDArray[np.uint16]",
    as_png: bool,
) -> None:
    path = tmp_path / "an image.pnm"
    path.write_bytes(anymap(samples, peak))
    if as_png:
        path.write_bytes(subprocess.run(["pnmtopng", path], check=True, capture_output=True).stdout)
    image = images.read_user_image(path, tmp_path)
    assert (image.name, image.bits, image.width, image.height) == ("an_image.pnm", bits, 3, 2)
    assert image.pixel_bytes == (3 if samples.ndim == 3 else 2 if bits > 8 else 1)
    assert np.array_equal(image.samples(), expected)


@pytest.mark.skipif(not shutil.which("pamtopnm"), reason="no netpbm here")
def test_bits_are_those_of_the_greatest_sample_declared(tmp_path: pathlib.Path) -> None:
    for peak, bits in ((256, 9), (4095, 12), (4096, 13)):
        (tmp_path / "a.pgm").write_bytes(anymap(GRADIENT.astype(np.uint16), peak))
        assert images.read_user_image(tmp_path / "a.pgm", tmp_path).bits == bits
    (tmp_path / "a.pgm").write_bytes(b"no image")
    with pytest.raises(SystemExit, match=r"a\.pgm"):
        images.read_user_image(tmp_path / "a.pgm", tmp_path)


def test_an_anymap_of_an_image_is_read_as_it_was(tmp_path: pathlib.Path) -> None:
    image = images.store(tmp_path, "a", np.array([[1, 256, 4095]], np.uint16), 12)
    image.write_anymap(tmp_path / "a.pgm", image.peak)
    assert (tmp_path / "a.pgm").read_bytes() == b"P5\n3 1\n4095\n\0\1\1\0\x0f\xff"
    assert image.raw_of_anymap(tmp_path / "a.pgm") == image.raw.read_bytes() == b"\1\0\0\1\xff\x0f"


def test_grey_is_what_netpbm_makes_of_colours() -> None:
    colours = np.array([[[255, 255, 255], [255, 0, 0], [0, 255, 0], [0, 0, 255], [1, 2, 3], [128, 128, 128]]], np.uint8)
    assert images.grey(colours, 255).tolist() == [[255, 77, 149, 29, 2, 128]]
    assert images.grey(colours, 4095).tolist() == [[4095, 1224, 2402, 469, 29, 2056]]


def test_what_an_image_grows_to_is_mirrored(tmp_path: pathlib.Path) -> None:
    image = images.store(tmp_path, "a", GRADIENT)
    sizes = images.grown(image, tmp_path)
    assert [(size.name, size.width, size.height) for size in sizes] == [
        ("a@4", 6, 4),
        ("a@16", 12, 8),
        ("a@64", 24, 16),
        ("a@256", 48, 32),
    ]
    assert np.array_equal(sizes[0].samples(), np.pad(GRADIENT, ((0, 2), (0, 3)), "symmetric"))
    assert np.array_equal(sizes[1].samples()[:, ::-1], sizes[1].samples())
    wide = images.store(tmp_path, "wide", np.zeros((2, 20000), np.uint8))
    assert [size.width for size in images.grown(wide, tmp_path)] == [40000]


def test_shapes_repeat_the_image_and_end_with_the_extreme_one(tmp_path: pathlib.Path) -> None:
    image = images.store(tmp_path, "a", GRADIENT.astype(np.uint16) * 500, 12)
    shapes = {shape.name.partition("@")[2]: shape for shape in images.shaped(image, tmp_path)}
    assert list(shapes) == [*images.SHAPES, "extreme"]
    assert (shapes["5x50000"].width, shapes["5x50000"].height) == (5, 50000)
    assert np.array_equal(shapes["64x64"].samples()[62:, 60:], image.samples()[:, [0, 1, 2, 0]])
    extreme = shapes["extreme"].samples()
    assert (extreme.shape, shapes["extreme"].bits) == ((320, 320), 16)
    assert np.array_equal(extreme, extreme.T)
    assert set(np.unique(extreme)) == {0, 65535}


def test_a_tree_without_a_shared_object_gets_ours_once(tmp_path: pathlib.Path) -> None:
    (tmp_path / "bench").mkdir()
    listed = tmp_path / "bench" / "CMakeLists.txt"
    listed.write_text("add_library(before)\n")
    for _ in range(2):
        revisions.lend_object(tmp_path)
    assert (tmp_path / "bench" / "codecObject.hpp").exists()
    text = listed.read_text()
    assert text.startswith("add_library(before)\nadd_library(codecObject MODULE")
    assert text.count("codecObject.cpp") == 1
    assert "libraryObject" not in text


def test_what_compare_objects_ends_with_is_the_status(
    tmp_path: pathlib.Path, capsys: pytest.CaptureFixture[str]
) -> None:
    program = tmp_path / "program"
    program.write_text('#!/bin/sh\nprintf "kind\\tverdict\\n$1\\tSLOWER\\n"\nexit $2\n')
    program.chmod(0o755)
    for status in (0, 1, 2):
        assert revisions.verdicts(program, "grey8", status, memory={}) == status
        assert capsys.readouterr().out == "kind   verdict\ngrey8  SLOWER\n"


def test_arguments(tmp_path: pathlib.Path, monkeypatch: pytest.MonkeyPatch) -> None:
    (tmp_path / "a.pgm").write_bytes(b"")
    (tmp_path / "manifest.tsv").write_text("")
    monkeypatch.chdir(tmp_path)
    assert command_line.read([]) == Request("stages")
    assert command_line.read(["--rate", "a.pgm", "--images", "."]).folder == tmp_path.resolve()
    mixed = command_line.read(["a.pgm", "--against", "HEAD", "--seconds", "5", "a.pgm"])
    assert mixed == Request("against", "HEAD", 5, None, (tmp_path.resolve() / "a.pgm",) * 2)
    assert mixed.needs()[0] == "bench"
    assert mixed.needs()[-1] == "netpbm"
    assert "netpbm" not in command_line.read(["--rate"]).needs()
    assert command_line.read(["--prefix", "--images", "."]).command() == "scripts/bench --prefix --images DIR"
    for mode in command_line.MODES.keys() - {"stages", "against"}:
        assert command_line.read([f"--{mode}"]).mode == mode


@pytest.mark.parametrize(
    ("arguments", "sentence"),
    [
        (["--nonsense"], "there is no option '--nonsense'; --help shows them."),
        (["--rat"], "there is no option '--rat'; --help shows them."),
        (["nonsense.pgm"], "there is no image 'nonsense.pgm'."),
        (["--against"], "--against needs a revision."),
        (["--against", ""], "--against needs a revision."),
        (["--seconds"], "--seconds needs a number."),
        (["--seconds", "05"], "--seconds needs a number."),
        (["--images", "/"], "--images needs a folder with a manifest.tsv."),
        (["--rate", "--sizes"], "argument --sizes: not allowed with argument --rate; --help shows how."),
    ],
)
def test_refusals(arguments: list[str], sentence: str, capsys: pytest.CaptureFixture[str]) -> None:
    with pytest.raises(SystemExit) as end:
        command_line.read(arguments)
    assert end.value.code == 1
    assert capsys.readouterr().err == f"scripts/bench: {sentence}\n"


def test_the_pictures_are_those_of_the_tables(tmp_path: pathlib.Path) -> None:
    for draw, name in (
        (pictures.draw_speed, "benchmarks"),
        (pictures.draw_prefix, "prefix"),
        (pictures.draw_statistics, "prefixStatistics"),
    ):
        draw(tmp_path / f"{name}.svg")
        drawn, kept = ((folder / f"{name}.svg").read_bytes() for folder in (tmp_path, programs.DOCS))
        assert drawn == kept, name
        assert len(kept) < 100_000
