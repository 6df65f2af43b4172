// Counting the global allocations a piece of code makes, to prove that shading allocates nothing.
// The header replaces the global allocation operators of the whole test program, so include it in
// exactly ONE source file of a program. The replacements allocate with malloc and count, on every
// thread, while a count is running; non-throwing ones are also noted for the host's size probe.
#pragma once

#include <atomic>
#include <cstdlib>
#include <new>

#include "allocation_probe.h"

namespace vktest {

namespace allocation_detail {
inline std::atomic<bool> counting{false};
inline std::atomic<long> allocations{0};

inline void* allocate(std::size_t size) {
    if (counting.load(std::memory_order_relaxed)) {
        allocations.fetch_add(1, std::memory_order_relaxed);
    }
    return std::malloc(size == 0 ? 1 : size);
}

// Out of line, so the compiler does not pair a malloc it sees with this free and complain.
[[gnu::noinline]] inline void release(void* memory) noexcept {
    std::free(memory);
}
}  // namespace allocation_detail

// The allocations made while `work` runs (from any thread).
template <class Work>
long allocationsDuring(Work&& work) {
    allocation_detail::allocations = 0;
    allocation_detail::counting = true;
    work();
    allocation_detail::counting = false;
    return allocation_detail::allocations.load();
}

}  // namespace vktest

void* operator new(std::size_t size) {
    if (void* const memory = vktest::allocation_detail::allocate(size)) {
        return memory;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    vkhost::noteNothrowAllocation(size);  // how the host learns a shader's object size
    return vktest::allocation_detail::allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return vktest::allocation_detail::allocate(size);
}
void operator delete(void* memory) noexcept {
    vktest::allocation_detail::release(memory);
}
void operator delete[](void* memory) noexcept {
    vktest::allocation_detail::release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    vktest::allocation_detail::release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    vktest::allocation_detail::release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    vktest::allocation_detail::release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    vktest::allocation_detail::release(memory);
}
