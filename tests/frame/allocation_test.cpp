// Shading allocates nothing: the global allocator of this program counts every allocation made
// while shading calls run.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "scripted_context.h"
#include "shader_library.h"

namespace {
std::atomic<bool> counting{false};
std::atomic<long> allocations{0};
}  // namespace

void* operator new(std::size_t size) {
    if (counting.load(std::memory_order_relaxed)) {
        allocations.fetch_add(1, std::memory_order_relaxed);
    }
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace {

TEST(Allocation, SimpleShadersShadeWithoutAllocating) {
    const vkhost::ShaderLibrary library;
    const vkhost::ShaderPtr background = library.create("Background");
    const vkhost::ShaderPtr ambient = library.create("SimpleAmbientLight");
    const vkhost::ShaderPtr point = library.create("SimplePointLight");
    vkhost::ScriptedContext context;
    context.recording = false;
    vyr::ShadingState state = vkhost::makeState();

    // The counter sees allocations at all.
    counting = true;
    ::operator delete(::operator new(4));  // a new-expression could be elided
    counting = false;
    ASSERT_EQ(allocations.exchange(0), 1);

    counting = true;
    for (int i = 0; i < 100; ++i) {
        static_cast<const vyr::EnvironmentShader*>(background.get())->shade(&context, &state);
        static_cast<const vyr::LightShader*>(ambient.get())->shade(&context, &state);
        static_cast<const vyr::LightShader*>(point.get())->shade(&context, &state);
    }
    counting = false;
    EXPECT_EQ(allocations.load(), 0);
}

}  // namespace
