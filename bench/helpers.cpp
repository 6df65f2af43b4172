// Speed of the texture helpers and the colour tool: a whole ocean normal map, its transform
// alone, a landscape mask, and one kelvin2RGB.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "helpers/landscape_helper.h"
#include "helpers/ocean_helper.h"
#include "photometry/intensity_color_tool.h"
#include "vyr_host.h"

namespace {

void OceanGenerateNormalMap(benchmark::State& state) {
    VexaKeloOceanHelper helper;
    helper.setTexture(vyr::host::createTexture());
    for (auto _ : state) {
        benchmark::DoNotOptimize(helper.generateNormalMap());
    }
}
BENCHMARK(OceanGenerateNormalMap)->Unit(benchmark::kMillisecond);

// The 262,144-point in-place transform alone, on a fixed spectrum copied in each time (the copy
// is outside the timing).
void OceanTransform(benchmark::State& state) {
    VexaKeloOceanHelper helper;
    helper.generateNormalMap();
    const std::size_t count = 512 * 512;
    std::vector<float> spectrum(helper.model().spectrum(), helper.model().spectrum() + 2 * count);
    std::vector<float> work(2 * count);
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(work.data(), spectrum.data(), sizeof(float) * work.size());
        state.ResumeTiming();
        VexaKeloOceanHelper::WaveModel::transform(work.data(), count);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(OceanTransform)->Unit(benchmark::kMillisecond);

void LandscapeInitializeShader(benchmark::State& state) {
    VexaKeloLandScapeHelper helper(7, 0.4f, 0.5f, {1.0f, 1.0f, 1.0f, 1.0f});
    helper.setTexture(vyr::host::createTexture());
    const vyr::ShaderHandle shader = vyr::host::createShader();
    for (auto _ : state) {
        helper.initializeShader(shader.get());
        benchmark::DoNotOptimize(helper.pixels());
    }
}
BENCHMARK(LandscapeInitializeShader)->Unit(benchmark::kMillisecond);

// Generation only: the 513 x 513 diamond-square, cut and mask, without the texture upload.
void LandscapeGenerate(benchmark::State& state) {
    std::vector<std::uint32_t> pixels(512 * 512);
    VexaKeloLandScapeHelper::Generator generator;
    generator.pixels = pixels.data();
    generator.gridSize = VexaKeloLandScapeHelper::Generator::gridSizeFor(512, 512);
    generator.roughness = 0.4f;
    generator.seed = 7;
    for (auto _ : state) {
        generator.generate();
        benchmark::DoNotOptimize(pixels.data());
    }
}
BENCHMARK(LandscapeGenerate)->Unit(benchmark::kMillisecond);

void Kelvin2Rgb(benchmark::State& state) {
    float kelvin = 1000.0f;
    for (auto _ : state) {
        benchmark::DoNotOptimize(IntensityColorTool::kelvin2RGB(kelvin, 1.0f, {1.0f, 1.0f, 1.0f}));
        kelvin = kelvin < 12000.0f ? kelvin + 7.0f : 1000.0f;
    }
}
BENCHMARK(Kelvin2Rgb)->Unit(benchmark::kNanosecond);

}  // namespace
