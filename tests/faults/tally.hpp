// SPDX-License-Identifier: Apache-2.0
// Counts how the runs ended, for the table that faultTests prints when it is through.
#pragma once

#include "stage.hpp"

#include <string>

namespace teko {

void countEnd(const Scene& scene, const std::string& fault, const std::string& end);

} // namespace teko
