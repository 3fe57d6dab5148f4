// SPDX-License-Identifier: Apache-2.0
// The ends of a run that a step of the codec brings about.
#pragma once

#include "codec/status.hpp"

namespace teko {

// Ends the run, unless the step went well, by an exception that nobody catches: the integer 3 where files or streams
// are too short or take too little, 5 where an image has no place in a stream, and what the language throws where
// memory is refused.
void endUnlessOk(Status status);

} // namespace teko
