// What the system should know of memory that was just allocated.
#pragma once

#include <cstddef>

namespace teko {

// It will be filled from end to end. Advice only: where it is not taken nothing changes. Takes pages for up to 4 MiB
// at once.
void adviseFilling(void* memory, std::size_t bytes);

} // namespace teko
