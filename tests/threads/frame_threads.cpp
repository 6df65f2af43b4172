// Many render threads shading through one shader object at once, each with its own state and
// context, as a host does. Run under ThreadSanitizer by `make test`.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"

namespace {

constexpr int kThreads = 8;
constexpr int kCallsPerThread = 2000;

TEST(FrameThreads, SimpleShadersShadeConcurrentlyOnOneObject) {
    const vkhost::ShaderLibrary library;
    const vkhost::ShaderPtr background = library.create("Background");
    const vkhost::ShaderPtr point = library.create("SimplePointLight");
    vkhost::ParameterBlock block("SimplePointLight", vkhost::declareLayout(point.get()),
                                 point.get());
    block.set("color", vyr::Vec3f{0.5f, 0.25f, 2.0f});
    block.applyTo(point.get());

    std::vector<int> mismatches(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            vkhost::ScriptedContext context;
            context.recording = false;
            context.shadowResult = {0.5f, 0.5f, 0.5f};
            vyr::ShadingState state = vkhost::makeState();
            for (int i = 0; i < kCallsPerThread; ++i) {
                static_cast<const vyr::EnvironmentShader*>(background.get())
                    ->shade(&context, &state);
                static_cast<const vyr::LightShader*>(point.get())->shade(&context, &state);
                mismatches[t] += state.lightColor.z != 2.0f || state.lightShadow.x != 0.5f ||
                                 state.outColor.x != 1.0f;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_EQ(mismatches[t], 0) << "thread " << t;
    }
}

}  // namespace
