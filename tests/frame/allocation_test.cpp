// Shading allocates nothing: the global allocator of this program counts every allocation made
// while shading calls run.
#include <gtest/gtest.h>

#include "scripted_context.h"
#include "shader_library.h"
#include "support/allocation_counter.h"

namespace {

TEST(Allocation, SimpleShadersShadeWithoutAllocating) {
    const vkhost::ShaderLibrary library;
    const vkhost::ShaderPtr background = library.create("Background");
    const vkhost::ShaderPtr ambient = library.create("SimpleAmbientLight");
    const vkhost::ShaderPtr point = library.create("SimplePointLight");
    vkhost::ScriptedContext context;
    context.recording = false;
    vyr::ShadingState state = vkhost::makeState();

    // The counter sees allocations at all (a new-expression could be elided).
    ASSERT_EQ(vktest::allocationsDuring([] { ::operator delete(::operator new(4)); }), 1);

    const long shading = vktest::allocationsDuring([&] {
        for (int i = 0; i < 100; ++i) {
            static_cast<const vyr::EnvironmentShader*>(background.get())->shade(&context, &state);
            static_cast<const vyr::LightShader*>(ambient.get())->shade(&context, &state);
            static_cast<const vyr::LightShader*>(point.get())->shade(&context, &state);
        }
    });
    EXPECT_EQ(shading, 0);
}

}  // namespace
