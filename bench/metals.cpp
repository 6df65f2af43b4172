// ns per call of the Metal's and the MetallicPaint's slots, through the host interface, with a
// context that returns constants (one light sample, fixed traced colours, a short random
// sequence, no recording). Each material runs plain and with its costly features on, so the
// price of a feature reads as the difference.
#include <benchmark/benchmark.h>

#include "bench/bench_support.h"

namespace {

using Values = std::vector<std::pair<const char*, vkhost::ParamValue>>;

const Values kPlainMetal = {};
// Circular brushing with streaks, an anodised film with noise, a patina and a cutout.
const Values kFullMetal = {{"u_anisotropyValue", 0.8f},   {"u_brushMode", std::int32_t{1}},
                           {"u_brushStreaks", 0.4f},      {"u_streakTilt", 0.05f},
                           {"u_preset", std::int32_t{8}}, {"u_filmThickness", 80.0f},
                           {"u_filmVariation", 0.3f},     {"u_patinaCoverage", 0.4f},
                           {"u_cutoutValue", 0.9f}};
// Off a flake under a smooth coat, and on a flake under a rough peeled coat.
const Values kPlainPaint = {{"u_flakeDensity", 0.0f}};
const Values kFullPaint = {{"u_flakeDensity", 1.0f}, {"u_flakeSize", 0.5f},
                           {"u_coatRoughness", 0.2f}, {"u_peelAmount", 0.01f},
                           {"u_coatColor", vyr::Vec3f{0.9f, 0.8f, 0.7f}}};

enum class Slot { Shade, Shadow, Evaluate, Sample };

void runSlot(benchmark::State& bench, const char* name, const Values& values, Slot slot) {
    const vkhost::ShaderPtr shader =
        vkbench::makeShader(name, vkhost::ParameterList(values.begin(), values.end()));
    vkhost::ScriptedContext ctx;
    vkbench::configureContext(ctx);
    vyr::ShadingState s = vkbench::materialState();
    s.bsdfDir = {-0.5f, 0.1f, 0.86f};
    const auto* m = static_cast<const vyr::MaterialShader*>(shader.get());
    for (auto _ : bench) {
        benchmark::DoNotOptimize(s);
        switch (slot) {
            case Slot::Shade: m->shade(&ctx, &s); break;
            case Slot::Shadow: m->shadow(&ctx, &s); break;
            case Slot::Evaluate: m->evaluateBsdf(&ctx, &s); break;
            case Slot::Sample: m->sampleBsdf(&ctx, &s); break;
        }
        benchmark::DoNotOptimize(s);
    }
}

constexpr const char* kMetal = "vexa_kelo_Mtl_Metal";
constexpr const char* kPaint = "vexa_kelo_Mtl_MetallicPaint";

void BM_MetalShade(benchmark::State& s) { runSlot(s, kMetal, kPlainMetal, Slot::Shade); }
void BM_MetalShadow(benchmark::State& s) { runSlot(s, kMetal, kPlainMetal, Slot::Shadow); }
void BM_MetalEvaluate(benchmark::State& s) { runSlot(s, kMetal, kPlainMetal, Slot::Evaluate); }
void BM_MetalSample(benchmark::State& s) { runSlot(s, kMetal, kPlainMetal, Slot::Sample); }
void BM_MetalAllFeaturesShade(benchmark::State& s) { runSlot(s, kMetal, kFullMetal, Slot::Shade); }
void BM_MetalAllFeaturesEvaluate(benchmark::State& s) {
    runSlot(s, kMetal, kFullMetal, Slot::Evaluate);
}
void BM_MetalAllFeaturesSample(benchmark::State& s) {
    runSlot(s, kMetal, kFullMetal, Slot::Sample);
}
void BM_PaintShade(benchmark::State& s) { runSlot(s, kPaint, kPlainPaint, Slot::Shade); }
void BM_PaintEvaluate(benchmark::State& s) { runSlot(s, kPaint, kPlainPaint, Slot::Evaluate); }
void BM_PaintSample(benchmark::State& s) { runSlot(s, kPaint, kPlainPaint, Slot::Sample); }
void BM_PaintFlakeRoughCoatShade(benchmark::State& s) {
    runSlot(s, kPaint, kFullPaint, Slot::Shade);
}
void BM_PaintFlakeRoughCoatEvaluate(benchmark::State& s) {
    runSlot(s, kPaint, kFullPaint, Slot::Evaluate);
}
void BM_PaintFlakeRoughCoatSample(benchmark::State& s) {
    runSlot(s, kPaint, kFullPaint, Slot::Sample);
}

BENCHMARK(BM_MetalShade);
BENCHMARK(BM_MetalShadow);
BENCHMARK(BM_MetalEvaluate);
BENCHMARK(BM_MetalSample);
BENCHMARK(BM_MetalAllFeaturesShade);
BENCHMARK(BM_MetalAllFeaturesEvaluate);
BENCHMARK(BM_MetalAllFeaturesSample);
BENCHMARK(BM_PaintShade);
BENCHMARK(BM_PaintEvaluate);
BENCHMARK(BM_PaintSample);
BENCHMARK(BM_PaintFlakeRoughCoatShade);
BENCHMARK(BM_PaintFlakeRoughCoatEvaluate);
BENCHMARK(BM_PaintFlakeRoughCoatSample);

}  // namespace
