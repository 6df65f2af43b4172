// Many render threads shade the same light and sky objects at once, each with its own context
// and state, and every thread must see exactly what one thread sees alone. Runs under
// ThreadSanitizer too, so any write into a shared object or hidden shared state shows.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"
#include "vyr_host.h"

namespace {

constexpr int kThreads = 8;
constexpr int kPoints = 400;

struct Shared {
    vkhost::ShaderPtr object;
    bool environment;
};

vyr::ShadingState pointState(int i) {
    vyr::ShadingState state = vkhost::makeState();
    const float z = -1.0f + 2.0f * static_cast<float>(i) / kPoints;
    const float side = std::sqrt(std::fmax(0.0f, 1.0f - z * z));
    const float phi = 0.37f * static_cast<float>(i);
    state.lightToPoint = {side * std::cos(phi), side * std::sin(phi), z};
    state.rayDir = state.lightToPoint;
    state.lightAxis = {0.0f, 0.0f, 1.0f};
    state.lightDistance = 1.0f + 0.01f * static_cast<float>(i);
    state.lightPosition = {0.0f, 0.0f, 5.0f};
    state.position = {0.1f * static_cast<float>(i), 0.0f, 0.0f};
    return state;
}

// lightColor, lightShadow and outColor of every point, one after the other.
std::vector<float> shadeAll(const std::vector<Shared>& shaders) {
    vkhost::ScriptedContext context;
    context.recording = false;
    context.shadowResult = {0.25f, 0.5f, 1.0f};
    std::vector<float> results;
    results.reserve(shaders.size() * kPoints * 10);
    for (const Shared& shader : shaders) {
        for (int i = 0; i < kPoints; ++i) {
            vyr::ShadingState state = pointState(i);
            if (shader.environment) {
                static_cast<const vyr::EnvironmentShader*>(shader.object.get())
                    ->shade(&context, &state);
            } else {
                static_cast<const vyr::LightShader*>(shader.object.get())->shade(&context, &state);
            }
            const float values[] = {state.lightColor.x,  state.lightColor.y,  state.lightColor.z,
                                    state.lightShadow.x, state.lightShadow.y, state.lightShadow.z,
                                    state.outColor.x,    state.outColor.y,    state.outColor.z,
                                    state.outColor.w};
            results.insert(results.end(), std::begin(values), std::end(values));
        }
    }
    return results;
}

TEST(LightsThreads, ConcurrentShadingMatchesOneThread) {
    static vkhost::ShaderLibrary library;
    std::vector<float> texels;
    for (int i = 0; i < 4 * 4 * 3; ++i) {
        texels.push_back(static_cast<float>(i % 7) / 7.0f);
    }
    vyr::TextureHandle map = vyr::host::createTexture();
    vyr::TextureDescriptor descriptor;
    descriptor.format = 3;
    descriptor.width = 4;
    descriptor.height = 4;
    descriptor.data = texels.data();
    ASSERT_EQ(map.get()->create(descriptor), 0);

    std::vector<Shared> shaders;
    for (const char* name :
         {"vexa_kelo_Lgt_Spot", "vexa_kelo_Lgt_PhotometricWeb", "vexa_kelo_Lgt_Sphere",
          "vexa_kelo_Lgt_Diffuse", "vexa_kelo_Lgt_Sky", "vexa_kelo_Env_Sky"}) {
        vkhost::ShaderPtr object = library.create(name);
        vkhost::ParameterBlock block(name, vkhost::declareLayout(object.get()), object.get());
        const bool environment = object->getShaderKind() == vyr::kEnvironmentKind;
        if (environment) {
            block.set("sun_direction", vyr::Vec3f{0.3f, 0.2f, 0.5f});
            block.set("haze", 1.5f);
        } else if (std::strcmp(name, "vexa_kelo_Lgt_Sky") != 0) {
            block.set("cast_shadows", true);
            block.set("useShadowColMap", true);
            block.set("shadowColMap", map);
        }
        if (std::strcmp(name, "vexa_kelo_Lgt_PhotometricWeb") == 0) {
            block.set("webMap", map);
        }
        if (std::strcmp(name, "vexa_kelo_Lgt_Spot") == 0) {
            block.set("falloff", -0.5f);
            block.set("hotspot", 0.5f);
        }
        block.applyTo(object.get());
        shaders.push_back({std::move(object), environment});
    }

    const std::vector<float> reference = shadeAll(shaders);
    std::vector<std::vector<float>> results(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] { results[t] = shadeAll(shaders); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int t = 0; t < kThreads; ++t) {
        ASSERT_EQ(results[t].size(), reference.size());
        // Bitwise, NaN included.
        EXPECT_EQ(
            std::memcmp(results[t].data(), reference.data(), reference.size() * sizeof(float)), 0)
            << "thread " << t;
    }
}

}  // namespace
