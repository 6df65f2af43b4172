// Rays and shading calls per second for the gallery scene (every exported shader's tile), with
// one render thread and with every core (the ratio of the two is the renderer's scaling), for
// the low-discrepancy sampler and the uniform one (the earlier renderer) side by side.
#include <benchmark/benchmark.h>
#include <tbb/task_arena.h>

#include <memory>
#include <thread>
#include <vector>

#include "render/gallery.h"
#include "render/indirect_filter.h"
#include "render/renderer.h"
#include "render/scene.h"
#include "shader_library.h"

namespace {

constexpr int kTileSize = 96;
constexpr int kSpp = 4;

struct GalleryScenes {
    vkhost::ShaderLibrary library;
    std::vector<std::unique_ptr<vkrender::Scene>> scenes;
    std::vector<std::unique_ptr<vkrender::Renderer>> renderers;

    GalleryScenes() {
        const std::string dir = vkrender::defaultScenesDir();
        for (const std::string& name : library.shaderNames()) {
            scenes.push_back(std::make_unique<vkrender::Scene>(vkrender::parseScene(
                vkrender::galleryScene(library, name, nullptr), name, dir, library)));
            renderers.push_back(std::make_unique<vkrender::Renderer>(*scenes.back()));
        }
    }
};

void BM_GalleryRender(benchmark::State& state) {
    static GalleryScenes gallery;
    vkrender::RenderOptions options;
    options.width = options.height = kTileSize;
    options.spp = kSpp;
    options.threads = static_cast<int>(state.range(0));
    options.sampler =
        state.range(1) == 0 ? vkrender::Sampler::LowDiscrepancy : vkrender::Sampler::Uniform;
    double rays = 0.0;
    double calls = 0.0;
    for (auto _ : state) {
        for (const auto& renderer : gallery.renderers) {
            vkrender::RenderStats stats;
            benchmark::DoNotOptimize(renderer->render(options, &stats));
            rays += static_cast<double>(stats.rays);
            calls += static_cast<double>(stats.shadingCalls);
        }
    }
    state.counters["rays/s"] = benchmark::Counter(rays, benchmark::Counter::kIsRate);
    state.counters["shading/s"] = benchmark::Counter(calls, benchmark::Counter::kIsRate);
    state.counters["threads"] = static_cast<double>(
        options.threads > 0 ? options.threads : std::thread::hardware_concurrency());
}

// An example scene at a quarter of its size and its own samples, the low-discrepancy sampler.
void BM_SceneRender(benchmark::State& state, const char* file) {
    static vkhost::ShaderLibrary library;
    const vkrender::Scene scene = vkrender::loadScene(vkrender::defaultScenesDir() + "/" + file, library);
    const vkrender::Renderer renderer(scene);
    vkrender::RenderOptions options;
    options.width = scene.settings.width / 4;
    options.height = scene.settings.height / 4;
    options.spp = scene.settings.spp;
    options.threads = static_cast<int>(state.range(0));
    double rays = 0.0;
    for (auto _ : state) {
        vkrender::RenderStats stats;
        benchmark::DoNotOptimize(renderer.render(options, &stats));
        rays += static_cast<double>(stats.rays);
    }
    state.counters["rays/s"] = benchmark::Counter(rays, benchmark::Counter::kIsRate);
}
BENCHMARK_CAPTURE(BM_SceneRender, materials, "materials.json")
    ->Arg(1)
    ->Arg(0)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// The first-hit noise filter on a 256 x 256 tile whose every pixel saw scenery, one thread.
void BM_IndirectFilter(benchmark::State& state) {
    constexpr int kSize = 256;
    vkrender::IndirectFilterBuffers buffers(kSize, kSize);
    for (int i = 0; i < kSize * kSize; ++i) {
        for (std::uint32_t s = 0; s < 16; ++s) {
            vkrender::FirstHit hit;
            hit.scenery = true;
            hit.object = static_cast<unsigned>(i % kSize / 64);
            hit.distance = 4.0f + 0.01f * static_cast<float>(i / kSize);
            hit.normal = {0.0f, 0.0f, 1.0f};
            hit.albedo = {0.5f, 0.5f, 0.5f};
            const float l = 0.1f * static_cast<float>((i * 7 + s * 13) % 17);
            hit.noisy = {l, l, l};
            buffers.add(static_cast<std::size_t>(i), s, hit);
        }
    }
    const std::vector<std::uint32_t> taken(kSize * kSize, 16);
    tbb::task_arena arena(1);
    for (auto _ : state) {
        arena.execute([&] { benchmark::DoNotOptimize(buffers.correction(taken)); });
    }
}
BENCHMARK(BM_IndirectFilter)->Unit(benchmark::kMillisecond);

// Arguments: threads (0: every core), sampler (0: low-discrepancy, 1: uniform).
BENCHMARK(BM_GalleryRender)
    ->Args({1, 0})
    ->Args({0, 0})
    ->Args({1, 1})
    ->Args({0, 1})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
