#pragma once

#include <cstddef>

namespace vkhost {

// The size of the last non-throwing global allocation on this thread (0 after a reset).
void resetNothrowProbe();
std::size_t lastNothrowAllocation();

// Records a non-throwing allocation. The host's own operator new calls it; a program that
// replaces the non-throwing operator new with its own must call it too.
void noteNothrowAllocation(std::size_t size);

}  // namespace vkhost
