# SPDX-License-Identifier: Apache-2.0
"""Images that packages of the registry of Python ship, as raw files.

All are lossless there; docs/images.md has where they come from, and their terms.
"""

from collections.abc import Callable
from pathlib import Path
from typing import Any

import numpy as np
import numpy.typing as npt

from teko_bench.image_list import Image
from teko_bench.images import store

Read = Callable[[], npt.NDArray[Any]]
COLOURS = ("astronaut", "chelsea", "coffee", "ihc")
GREYS = ("brick", "camera", "cell", "clock_motion", "coins", "grass", "gravel", "text")


def of_8_bits(folder: Path) -> list[Image]:
    import skimage

    data = Path(skimage.__file__).parent / "data"
    return [store(folder, name, skimage.io.imread(data / f"{name}.png")) for name in (*COLOURS, *GREYS)]


def deep_images() -> dict[str, Read]:
    """Return how those of more than 8 bits are read."""
    import astropy
    import matplotlib
    import nibabel
    import pydicom
    from astropy.io import fits

    of_astropy = Path(astropy.__file__).parent / "io" / "fits"
    of_matplotlib = Path(matplotlib.get_data_path()) / "sample_data"
    of_nibabel = Path(nibabel.__file__).parent
    of_pydicom = Path(pydicom.__file__).parent / "data" / "test_files"

    def dicom(path: Path) -> Read:
        return lambda: np.asarray(pydicom.dcmread(path).pixel_array)

    def of_fits(path: Path, part: int) -> Read:
        def read() -> npt.NDArray[Any]:
            with fits.open(path) as parts:
                return np.array(parts[part].data)

        return read

    def brain() -> npt.NDArray[Any]:
        """Return the middle of 24 slices, of the first of two volumes: its first axis to the right, its second up."""
        volumes = nibabel.load(of_nibabel / "tests" / "data" / "example4d.nii.gz").dataobj
        samples: npt.NDArray[Any] = np.asanyarray(volumes.get_unscaled())[:, ::-1, 12, 0].T
        return samples

    return {
        "jacksboro": lambda: np.load(of_matplotlib / "jacksboro_fault_dem.npz")["elevation"],
        "m13": of_fits(of_astropy / "hdu/compressed/tests/data/m13.fits", 0),
        "ngc1316": of_fits(of_astropy / "tests/data/comp.fits", 1),
        "abdomen": dicom(of_pydicom / "examples_overlay.dcm"),
        "ct_small": dicom(of_pydicom / "CT_small.dcm"),
        "head": dicom(of_pydicom / "J2K_pixelrep_mismatch.dcm"),
        "brain": brain,
        "vessels": dicom(of_nibabel / "nicom/tests/data/slicethickness_empty_string.dcm"),
    }


def of_more_bits(folder: Path) -> list[Image]:
    images = []
    for name, read in deep_images().items():
        samples = read().astype(int)
        samples -= min(0, samples.min())  # raw files have no negative samples
        images.append(store(folder, name, samples, int(samples.max()).bit_length()))
    return images
