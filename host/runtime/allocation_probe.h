#pragma once

#include <cstddef>

namespace vkhost {

// The size of the last non-throwing global allocation on this thread (0 after a reset).
void resetNothrowProbe();
std::size_t lastNothrowAllocation();

}  // namespace vkhost
