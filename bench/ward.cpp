// ns per call of the Ward material's slots, plain and with every map on, next to the floor of
// each: the transcendental and square-root calls and the host calls (light list, traces, random
// numbers, noise, texture look-ups) that the slot cannot avoid, measured in the same run with
// the same constant context. The table at the end prints slot / floor.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <string>

#include "material_presets.h"
#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"
#include "vyr/vyr.h"
#include "vyr_host.h"

namespace {

const vkhost::ShaderLibrary& library() {
    static const vkhost::ShaderLibrary lib;
    return lib;
}

const vyr::TextureHandle& mapTexture() {
    static const vyr::TextureHandle handle = [] {
        vyr::TextureHandle h = vyr::host::createTexture();
        const float texels[12] = {0.2f, 0.5f, 0.7f, 0.6f, 0.4f, 0.3f,
                                  0.5f, 0.5f, 0.5f, 0.9f, 0.1f, 0.4f};
        vyr::TextureDescriptor d;
        d.format = 3;
        d.width = 2;
        d.height = 2;
        d.data = texels;
        vyr::host::textureOf(h)->build(d);
        return h;
    }();
    return handle;
}

void configure(vkhost::ScriptedContext& ctx) {
    ctx.recording = false;
    ctx.rayResult = ctx.straightResult = {0.5f, 0.5f, 0.5f};
    ctx.glossyReflectionResult = ctx.glossyRefractionResult = {0.5f, 0.5f, 0.5f};
    ctx.randoms = {0.2f, 0.7f, 0.4f, 0.9f, 0.05f};
    ctx.setLights({{{0.0f, 0.6f, 0.8f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr}});
}

struct Setup {
    vkhost::ShaderPtr shader;
    vkhost::ScriptedContext ctx;
    vyr::ShadingState state;

    explicit Setup(bool mapped) : shader(library().create("vexa_kelo_Mtl_Ward")) {
        const vkhost::ShaderLayout layout = vkhost::declareLayout(shader.get());
        vkhost::ParameterBlock block("vexa_kelo_Mtl_Ward", layout, shader.get());
        for (const auto& [key, value] :
             mapped ? vkhost::wardFullyMapped(mapTexture()) : vkhost::wardPlain()) {
            block.set(key, value);
        }
        block.applyTo(shader.get());
        configure(ctx);
        state = vkhost::makeState();
        state.rayDir = {0.6f, 0.0f, -0.8f};
        state.rayOrigin = {-0.6f, 0.0f, 0.8f};
        state.tangent = {1.0f, 0.0f, 0.0f};
        state.bitangent = {0.0f, 1.0f, 0.0f};
        state.uv = {0.3f, 0.6f};
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

void runSlot(benchmark::State& bench, bool mapped, Slot slot) {
    Setup setup(mapped);
    const vyr::MaterialShader* m = setup.material();
    for (auto _ : bench) {
        vyr::ShadingState s = setup.state;
        switch (slot) {
            case Slot::Shade: m->shade(&setup.ctx, &s); break;
            case Slot::Evaluate: m->evaluateBsdf(&setup.ctx, &s); break;
            case Slot::Sample: m->sampleBsdf(&setup.ctx, &s); break;
        }
        benchmark::DoNotOptimize(s);
    }
}

// --- Floors: the unavoidable calls, on values the compiler cannot fold -----------------------

struct FloorCalls {
    int pow = 0, exp = 0, log = 0, sincos = 0, sqrt = 0;
    int lights = 0, glossyTraces = 0, random1 = 0, random2 = 0, noise4 = 0, lookups = 0;
};

void runFloor(benchmark::State& bench, const FloorCalls& c) {
    vkhost::ScriptedContext ctx;
    configure(ctx);
    const vyr::TextureHandle& map = mapTexture();
    float x = 0.37f;
    for (auto _ : bench) {
        benchmark::DoNotOptimize(x);
        float acc = 0.0f;
        for (int i = 0; i < c.pow; ++i) acc += std::pow(x, 2.3f + acc);
        for (int i = 0; i < c.exp; ++i) acc += std::exp(-x - acc);
        for (int i = 0; i < c.log; ++i) acc += std::log(x + acc);
        for (int i = 0; i < c.sincos; ++i) acc += std::sin(x + acc) + std::cos(x + acc);
        for (int i = 0; i < c.sqrt; ++i) acc += std::sqrt(x + acc);
        const vyr::Vec3f P{x, acc, 0.0f};
        for (int i = 0; i < c.lights; ++i) acc += ctx.lightSamples(&P)->factor;
        for (int i = 0; i < c.glossyTraces; ++i) {
            vyr::Vec3f scratch;
            acc += ctx.traceGlossyReflection(&scratch, &P, &P, x, x)->x;
        }
        for (int i = 0; i < c.random1; ++i) acc += ctx.random1();
        for (int i = 0; i < c.random2; ++i) {
            float u[2];
            acc += ctx.random2(u)[0];
        }
        for (int i = 0; i < c.noise4; ++i) {
            vyr::Vec4f q{0.0f, 0.0f, 0.0f, 0.0f};  // the shading point's
            benchmark::DoNotOptimize(q);
            acc += ctx.noise4(&q);
        }
        for (int i = 0; i < c.lookups; ++i) {
            vyr::Vec4f out{0.0f, 0.0f, 0.0f, 1.0f};
            vyr::Vec2f uv{0.3f, 0.6f};  // where the slots look up
            benchmark::DoNotOptimize(uv);
            map.get()->sample(&out, &uv);
            acc += out.x;
        }
        benchmark::DoNotOptimize(acc);
    }
}

// Plain: the reflectivity curve's pow, the lobe's exp and sqrt, the frame's normalisation, the
// light list and one glossy trace; sampling adds the lobe sampler's sin, cos, log and roots.
const FloorCalls kShadePlain{1, 1, 0, 0, 2, 1, 1, 0, 0, 0, 0};
const FloorCalls kEvaluatePlain{1, 1, 0, 0, 2, 0, 0, 0, 0, 0, 0};
const FloorCalls kSamplePlain{1, 0, 1, 1, 5, 0, 0, 1, 1, 0, 0};
// Fully mapped: plus both height maps (3 look-ups each), the amount map, 4 noise calls of the
// bump with its normalisation, the rotation's sin and cos, and 10 map groups (shade also reads
// the refraction glossiness and the emission and traces the transmission).
const FloorCalls kShadeMapped{1, 2, 0, 1, 6, 1, 2, 0, 0, 4, 19};
const FloorCalls kEvaluateMapped{1, 1, 0, 1, 6, 0, 0, 0, 0, 4, 17};
const FloorCalls kSampleMapped{1, 0, 1, 2, 9, 0, 0, 1, 1, 4, 17};

void BM_WardShade(benchmark::State& s) { runSlot(s, false, Slot::Shade); }
void BM_WardEvaluate(benchmark::State& s) { runSlot(s, false, Slot::Evaluate); }
void BM_WardSample(benchmark::State& s) { runSlot(s, false, Slot::Sample); }
void BM_WardMappedShade(benchmark::State& s) { runSlot(s, true, Slot::Shade); }
void BM_WardMappedEvaluate(benchmark::State& s) { runSlot(s, true, Slot::Evaluate); }
void BM_WardMappedSample(benchmark::State& s) { runSlot(s, true, Slot::Sample); }
void BM_Floor_WardShade(benchmark::State& s) { runFloor(s, kShadePlain); }
void BM_Floor_WardEvaluate(benchmark::State& s) { runFloor(s, kEvaluatePlain); }
void BM_Floor_WardSample(benchmark::State& s) { runFloor(s, kSamplePlain); }
void BM_Floor_WardMappedShade(benchmark::State& s) { runFloor(s, kShadeMapped); }
void BM_Floor_WardMappedEvaluate(benchmark::State& s) { runFloor(s, kEvaluateMapped); }
void BM_Floor_WardMappedSample(benchmark::State& s) { runFloor(s, kSampleMapped); }

BENCHMARK(BM_WardShade);
BENCHMARK(BM_WardEvaluate);
BENCHMARK(BM_WardSample);
BENCHMARK(BM_WardMappedShade);
BENCHMARK(BM_WardMappedEvaluate);
BENCHMARK(BM_WardMappedSample);
BENCHMARK(BM_Floor_WardShade);
BENCHMARK(BM_Floor_WardEvaluate);
BENCHMARK(BM_Floor_WardSample);
BENCHMARK(BM_Floor_WardMappedShade);
BENCHMARK(BM_Floor_WardMappedEvaluate);
BENCHMARK(BM_Floor_WardMappedSample);

// Collects ns per iteration so the ratios can be printed after the usual table.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> ns;
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            ns[run.benchmark_name()] = run.GetAdjustedRealTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\n%-22s %10s %10s %7s\n", "slot", "ns", "floor ns", "ratio");
    for (const auto& [name, ns] : reporter.ns) {
        if (name.rfind("BM_Floor_", 0) == 0) {
            continue;
        }
        const auto floor = reporter.ns.find("BM_Floor_" + name.substr(3));
        if (floor != reporter.ns.end()) {
            std::printf("%-22s %10.1f %10.1f %7.2f\n", name.substr(3).c_str(), ns, floor->second,
                        ns / floor->second);
        }
    }
    benchmark::Shutdown();
    return 0;
}
