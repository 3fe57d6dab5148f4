# SPDX-License-Identifier: Apache-2.0
"""Arrays that lie in memory in every way that strides allow."""

import hypothesis.strategies as st
import numpy as np

GUARD = 23


class Layout:
    """A place in memory for an image: a view of bytes, and which of them belong to it."""

    def __init__(self, shape, dtype, order, steps, gaps, is_flipped, shift):
        self.shape, self.dtype = shape, np.dtype(dtype)
        strides, span = [0] * len(shape), self.dtype.itemsize
        for axis in order:
            strides[axis] = span * steps[axis] + gaps[axis]
            span = strides[axis] * max(shape[axis], 1)
        self.size = span + 2 * GUARD + shift
        self.offset = GUARD + shift
        for axis, side in enumerate(shape):
            if is_flipped[axis] and side:
                self.offset += strides[axis] * (side - 1)
                strides[axis] = -strides[axis]
        self.strides = tuple(strides)

    def __repr__(self):
        return f"Layout({self.shape}, {self.dtype.str}, strides={self.strides}, offset={self.offset})"

    def bytes(self):
        """Return memory that holds a pattern."""
        return (np.arange(self.size) * 37 % 251).astype(np.uint8)

    def view(self, memory):
        """Return the image in memory."""
        return np.ndarray(self.shape, self.dtype, memory, self.offset, self.strides)

    def outside(self):
        """Return which bytes are none of the image's."""
        mask = np.ones(self.size, np.bool_)
        itemsize = self.dtype.itemsize
        np.ndarray((*self.shape, itemsize), np.bool_, mask, self.offset, (*self.strides, 1))[...] = False
        return mask

    def holding(self, image):
        """Return an array here that is equal to an image."""
        array = self.view(self.bytes())
        array[...] = image
        return array


@st.composite
def layouts(draw, shape, dtype):
    """Layouts of a shape: axes in any order, cropped, in steps, backwards, of either byte order, at odd addresses."""
    axes = len(shape)

    def for_each_axis(choices):
        return draw(st.lists(choices, min_size=axes, max_size=axes))

    return Layout(
        shape,
        np.dtype(dtype).newbyteorder(draw(st.sampled_from("<>"))),
        draw(st.permutations(range(axes))),
        for_each_axis(st.integers(1, 3)),
        for_each_axis(st.sampled_from([0, 0, 1, 2, 5])),
        for_each_axis(st.booleans()),
        draw(st.integers(0, 1)),
    )
