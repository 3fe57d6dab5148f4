// SPDX-License-Identifier: Apache-2.0
// Holds nothing: a library needs a source, and this one is there for its precompiled headers.
