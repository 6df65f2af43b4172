// ns per call of the material slots, through the host interface, with a context that returns
// constants (one light sample, fixed traced colours, a short random sequence, no recording).
#include <benchmark/benchmark.h>

#include <string>

#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"
#include "vyr/vyr.h"

namespace {

const vkhost::ShaderLibrary& library() {
    static const vkhost::ShaderLibrary lib;
    return lib;
}

struct Setup {
    vkhost::ShaderPtr shader;
    vkhost::ScriptedContext ctx;
    vyr::ShadingState state;

    explicit Setup(const std::string& name) : shader(library().create(name)) {
        const vkhost::ShaderLayout layout = vkhost::declareLayout(shader.get());
        vkhost::ParameterBlock block(name, layout, shader.get());
        if (name == "vexa_kelo_Mtl_Mirror") {
            block.set("u_tintColor", vyr::Vec3f{0.9f, 0.9f, 0.9f});
        } else if (name == "vexa_kelo_Mtl_Dielectric") {
            block.set("u_roughValue", 0.1f);  // glossy sampling
        }
        block.applyTo(shader.get());
        ctx.recording = false;
        ctx.rayResult = {0.5f, 0.5f, 0.5f};
        ctx.straightResult = {0.5f, 0.5f, 0.5f};
        ctx.glossyReflectionResult = {0.5f, 0.5f, 0.5f};
        ctx.glossyRefractionResult = {0.5f, 0.5f, 0.5f};
        ctx.randoms = {0.2f, 0.7f, 0.4f, 0.9f, 0.05f};
        ctx.setLights({{{0.0f, 0.6f, 0.8f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr}});
        state = vkhost::makeState();
        state.rayDir = {0.6f, 0.0f, -0.8f};
        state.rayOrigin = {-0.6f, 0.0f, 0.8f};
        state.tangent = {1.0f, 0.0f, 0.0f};
        state.bitangent = {0.0f, 1.0f, 0.0f};
        state.bsdfDir = {0.0f, 0.6f, 0.8f};
        for (auto& r : state.lobeRequest) {
            r = 1;
        }
    }
    const vyr::MaterialShader* material() const {
        return static_cast<const vyr::MaterialShader*>(shader.get());
    }
};

enum class Slot { Shade, Evaluate, Sample };

void runSlot(benchmark::State& bench, const char* name, Slot slot) {
    Setup setup(name);
    const vyr::MaterialShader* m = setup.material();
    for (auto _ : bench) {
        vyr::ShadingState s = setup.state;
        switch (slot) {
            case Slot::Shade:
                m->shade(&setup.ctx, &s);
                break;
            case Slot::Evaluate:
                m->evaluateBsdf(&setup.ctx, &s);
                break;
            case Slot::Sample:
                m->sampleBsdf(&setup.ctx, &s);
                break;
        }
        benchmark::DoNotOptimize(s);
    }
}

void BM_MirrorShade(benchmark::State& s) {
    runSlot(s, "vexa_kelo_Mtl_Mirror", Slot::Shade);
}
void BM_MirrorEvaluate(benchmark::State& s) {
    runSlot(s, "vexa_kelo_Mtl_Mirror", Slot::Evaluate);
}
void BM_MirrorSample(benchmark::State& s) {
    runSlot(s, "vexa_kelo_Mtl_Mirror", Slot::Sample);
}
void BM_DielectricShade(benchmark::State& s) {
    runSlot(s, "vexa_kelo_Mtl_Dielectric", Slot::Shade);
}
void BM_DielectricEvaluate(benchmark::State& s) {
    runSlot(s, "vexa_kelo_Mtl_Dielectric", Slot::Evaluate);
}
void BM_DielectricSample(benchmark::State& s) {
    runSlot(s, "vexa_kelo_Mtl_Dielectric", Slot::Sample);
}
void BM_GlazingShade(benchmark::State& s) {
    runSlot(s, "vexa_kelo_Mtl_Glazing", Slot::Shade);
}
void BM_GlazingEvaluate(benchmark::State& s) {
    runSlot(s, "vexa_kelo_Mtl_Glazing", Slot::Evaluate);
}
void BM_GlazingSample(benchmark::State& s) {
    runSlot(s, "vexa_kelo_Mtl_Glazing", Slot::Sample);
}

BENCHMARK(BM_MirrorShade);
BENCHMARK(BM_MirrorEvaluate);
BENCHMARK(BM_MirrorSample);
BENCHMARK(BM_DielectricShade);
BENCHMARK(BM_DielectricEvaluate);
BENCHMARK(BM_DielectricSample);
BENCHMARK(BM_GlazingShade);
BENCHMARK(BM_GlazingEvaluate);
BENCHMARK(BM_GlazingSample);

}  // namespace
