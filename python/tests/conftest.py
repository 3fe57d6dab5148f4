# SPDX-License-Identifier: Apache-2.0
"""How the tests run: the same examples each time, and more of them with --hypothesis-profile=thorough."""

import hypothesis

hypothesis.settings.register_profile("default", derandomize=True, deadline=None, max_examples=60, database=None)
hypothesis.settings.register_profile("thorough", deadline=None, max_examples=1000)
hypothesis.settings.load_profile("default")
