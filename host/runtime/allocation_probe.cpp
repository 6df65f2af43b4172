// The host learns a shader object's size from the library itself: every _create allocates its
// object with the global non-throwing operator new, which this host replaces with a version that
// notes the size requested on the calling thread and then allocates as usual.
#include <cstddef>
#include <new>

#include "allocation_probe.h"

namespace {
thread_local std::size_t lastNothrowRequest = 0;
}

// Weak, so a program that counts allocations with its own replacement keeps it.
__attribute__((weak)) void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    vkhost::noteNothrowAllocation(size);
    try {
        return ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}

__attribute__((weak)) void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return ::operator new[](size);
    } catch (...) {
        return nullptr;
    }
}

namespace vkhost {

void resetNothrowProbe() { lastNothrowRequest = 0; }
void noteNothrowAllocation(std::size_t size) { lastNothrowRequest = size; }
std::size_t lastNothrowAllocation() { return lastNothrowRequest; }

}  // namespace vkhost
