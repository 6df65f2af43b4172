// Cost of one shade call of each light and of the sky environment, single-threaded, and the
// shading throughput with every core on the same shared objects (items per second).
// Lights run with shadows on and their shadow-colour maps bound, the web light with a web map,
// the sky with haze and a low sun; points sweep the sphere of directions.
#include <benchmark/benchmark.h>

#include <cmath>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"
#include "vyr_host.h"

namespace {

constexpr int kPoints = 1024;

struct Setup {
    vkhost::ShaderLibrary library;
    std::vector<float> texels;
    vyr::TextureHandle map;
    std::map<std::string, vkhost::ShaderPtr> shaders;
    std::vector<vyr::ShadingState> states;

    Setup() {
        for (int i = 0; i < 64 * 64 * 3; ++i) {
            texels.push_back(static_cast<float>(i % 13) / 13.0f);
        }
        map = vyr::host::createTexture();
        vyr::TextureDescriptor descriptor;
        descriptor.format = 3;
        descriptor.width = 64;
        descriptor.height = 64;
        descriptor.data = texels.data();
        map.get()->create(descriptor);

        for (const char* name :
             {"vexa_kelo_Lgt_Spot", "vexa_kelo_Lgt_PhotometricWeb", "vexa_kelo_Lgt_Sphere",
              "vexa_kelo_Lgt_Diffuse", "vexa_kelo_Lgt_Sky", "vexa_kelo_Env_Sky"}) {
            vkhost::ShaderPtr object = library.create(name);
            vkhost::ParameterBlock block(name, vkhost::declareLayout(object.get()), object.get());
            const std::string key = name;
            if (key == "vexa_kelo_Env_Sky") {
                block.set("sun_direction", vyr::Vec3f{0.4f, 0.3f, 0.25f});
                block.set("haze", 1.0f);
            } else if (key != "vexa_kelo_Lgt_Sky") {
                block.set("cast_shadows", true);
                block.set("useShadowColMap", true);
                block.set("shadowColMap", map);
            }
            if (key == "vexa_kelo_Lgt_PhotometricWeb") {
                block.set("webMap", map);
            }
            if (key == "vexa_kelo_Lgt_Spot") {
                block.set("hotspot", 0.9f);
                block.set("falloff", -0.9f);
            }
            block.applyTo(object.get());
            shaders.emplace(key, std::move(object));
        }

        for (int i = 0; i < kPoints; ++i) {
            vyr::ShadingState state = vkhost::makeState();
            const float z = -1.0f + 2.0f * (static_cast<float>(i) + 0.5f) / kPoints;
            const float side = std::sqrt(1.0f - z * z);
            const float phi = 2.3999632f * static_cast<float>(i);  // golden-angle spiral
            state.lightToPoint = {side * std::cos(phi), side * std::sin(phi), z};
            state.rayDir = state.lightToPoint;
            state.lightAxis = {0.0f, 0.0f, 1.0f};
            state.lightDistance = 3.0f;
            state.lightPosition = {0.0f, 0.0f, 3.0f};
            states.push_back(state);
        }
    }
};

Setup& setup() {
    static Setup shared;
    return shared;
}

void BM_Shade(benchmark::State& bench, const char* name) {
    Setup& s = setup();
    const vyr::IShaderBase* const object = s.shaders.at(name).get();
    const bool environment = s.shaders.at(name)->getShaderKind() == vyr::kEnvironmentKind;
    vkhost::ScriptedContext context;
    context.recording = false;
    context.shadowResult = {0.5f, 0.75f, 1.0f};
    std::vector<vyr::ShadingState> states = s.states;  // each thread shades its own records
    std::size_t i = 0;
    for (auto _ : bench) {
        vyr::ShadingState& state = states[i];
        if (environment) {
            static_cast<const vyr::EnvironmentShader*>(object)->shade(&context, &state);
        } else {
            static_cast<const vyr::LightShader*>(object)->shade(&context, &state);
        }
        benchmark::DoNotOptimize(state);
        i = (i + 1) % kPoints;
    }
    bench.SetItemsProcessed(bench.iterations());
}

const int kCores = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));

#define LIGHT_BENCH(Name)                     \
    BENCHMARK_CAPTURE(BM_Shade, Name, #Name); \
    BENCHMARK_CAPTURE(BM_Shade, Name##_all_cores, #Name)->Threads(kCores)->UseRealTime();

LIGHT_BENCH(vexa_kelo_Lgt_Spot)
LIGHT_BENCH(vexa_kelo_Lgt_PhotometricWeb)
LIGHT_BENCH(vexa_kelo_Lgt_Sphere)
LIGHT_BENCH(vexa_kelo_Lgt_Diffuse)
LIGHT_BENCH(vexa_kelo_Lgt_Sky)
LIGHT_BENCH(vexa_kelo_Env_Sky)

}  // namespace
