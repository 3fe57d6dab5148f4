# SPDX-License-Identifier: Apache-2.0
"""A program of a user's, for the type checker and to be run: the whole surface, with every argument."""

import mmap
import tempfile
from pathlib import Path

import numpy as np
import numpy.typing as npt

import teko


def narrowed(image: npt.NDArray[np.uint16]) -> npt.NDArray[np.uint16]:
    data: bytes = teko.encode(image, bits=12, exact=True)
    found: teko.Info = teko.info(data)
    shape: tuple[int, ...] = found.reduced_shape(1)
    small: npt.NDArray[np.uint16] = teko.decode(data, reduce=1, max_pixels=found.width * found.height)
    assert small.shape == shape
    return small


def measured(image: npt.NDArray[np.uint16], rate: float) -> float:
    data: bytes = teko.encode(image, rate=rate)
    assert data == teko.cut(teko.encode(image, max_bytes=10**6), rate=rate)[: len(data)]
    out = np.empty_like(image)
    teko.decode(memoryview(data), out=out, complete=False)
    decibels: float = teko.psnr(image, out, bits=12)
    return decibels


def mapped(path: Path) -> npt.NDArray[np.int16]:
    with path.open("rb") as file, mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as data:
        image: npt.NDArray[np.int16] = teko.decode(data, signed=True, complete=True)
    return image


def main() -> None:
    image = np.add.outer(np.arange(40, dtype=np.uint16), np.arange(60, dtype=np.uint16))
    assert narrowed(image).shape == (20, 30)
    assert measured(image, 0.2) > 30
    signed = image.astype(np.int16) - 50
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "signed.tk"
        path.write_bytes(teko.encode(signed))
        assert np.array_equal(mapped(path), signed)
    try:
        teko.info(b"not a file")
    except teko.DataError as error:
        print(f"teko {teko.__version__}: {error}")


if __name__ == "__main__":
    main()
