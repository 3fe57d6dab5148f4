# SPDX-License-Identifier: Apache-2.0
"""What scripts/bench does: the programs in bench/ measure, and this arranges, sums up and draws."""
