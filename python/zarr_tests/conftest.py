# SPDX-License-Identifier: Apache-2.0
"""How the tests run: the same examples each time; warnings are errors where they are of our making."""

import contextlib

import hypothesis
import pytest
import zarr

hypothesis.settings.register_profile("default", derandomize=True, deadline=None, max_examples=40, database=None)
hypothesis.settings.register_profile("thorough", deadline=None, max_examples=1000)
hypothesis.settings.load_profile("default")

BATCHED = "zarr.core.codec_pipeline.BatchedCodecPipeline"
FUSED = "zarr.core.codec_pipeline.FusedCodecPipeline"
HAS_FUSED = hasattr(zarr.core.codec_pipeline, "FusedCodecPipeline")


@contextlib.contextmanager
def pipeline_named(name):
    """Let arrays that are opened meanwhile use a pipeline."""
    with zarr.config.set({"codec_pipeline.path": name}):
        yield


@pytest.fixture(params=[BATCHED, pytest.param(FUSED, marks=pytest.mark.skipif(not HAS_FUSED, reason="not in zarr"))])
def pipeline(request):
    """Each pipeline that zarr has."""
    with pipeline_named(request.param):
        yield request.param
