// Every shading slot next to its floor, in one run. A slot's floor is the work its formulas
// cannot avoid on a typical call — its transcendental and square-root calls and its calls into
// the host (light list, traces, random numbers, noise, texture look-ups) — run on values the
// compiler cannot fold, with the same constant context the slot runs with. The table at the end
// prints ns per call, the floor and their ratio. Rows name the calls they count.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "bench/bench_support.h"
#include "tests/support/ward_trees.h"

namespace {

using vkbench::configureContext;
using vkbench::library;
using vkbench::materialState;

vyr::ShadingState lightState() {
    vyr::ShadingState s = vkhost::makeState();
    s.lightToPoint = {0.3f, 0.2f, -0.932738f};
    s.rayDir = {0.3f, 0.2f, 0.932738f};
    s.lightAxis = {0.0f, 0.0f, -1.0f};
    s.lightDistance = 3.0f;
    s.lightPosition = {0.0f, 0.0f, 3.0f};
    s.traceDepthLimit = 8;
    return s;
}

enum class Slot { Shade, Shadow, Evaluate, Sample };

// The calls a floor makes.
struct Floor {
    int pow = 0, exp = 0, log = 0, sincos = 0, tan = 0, acos = 0, atan2 = 0, sqrt = 0, div = 0;
    int lights = 0, shadows = 0, rays = 0, glossy = 0, random1 = 0, random2 = 0, noise4 = 0,
        noise2 = 0, randomOf = 0, lookups = 0;
};

// a + n b, field by field: floors composed from the floors of their parts.
constexpr Floor plus(Floor a, const Floor& b, int n = 1) {
    a.pow += n * b.pow, a.exp += n * b.exp, a.log += n * b.log, a.sincos += n * b.sincos;
    a.tan += n * b.tan, a.acos += n * b.acos, a.atan2 += n * b.atan2, a.sqrt += n * b.sqrt;
    a.div += n * b.div, a.lights += n * b.lights, a.shadows += n * b.shadows;
    a.rays += n * b.rays, a.glossy += n * b.glossy, a.random1 += n * b.random1;
    a.random2 += n * b.random2, a.noise4 += n * b.noise4, a.noise2 += n * b.noise2;
    a.randomOf += n * b.randomOf, a.lookups += n * b.lookups;
    return a;
}

struct Row {
    std::string label;
    std::string shader;
    Slot slot;
    vkhost::ParameterList params;
    bool light;
    Floor floor;
};

void runSlot(benchmark::State& bench, const Row& row) {
    const vkhost::ShaderPtr shader = vkbench::makeShader(row.shader, row.params);
    vkhost::ScriptedContext ctx;
    configureContext(ctx);
    const vyr::ShadingState base = row.light ? lightState() : materialState();
    const auto* m = static_cast<const vyr::MaterialShader*>(shader.get());
    const int kind = shader->getShaderKind();
    const auto shade = [&](vyr::ShadingState* s) {
        if (kind == vyr::kMaterialKind) {
            m->shade(&ctx, s);
        } else if (kind == vyr::kLightKind) {
            static_cast<const vyr::LightShader*>(shader.get())->shade(&ctx, s);
        } else {
            static_cast<const vyr::EnvironmentShader*>(shader.get())->shade(&ctx, s);
        }
    };
    // One state for every call: the slots write only outputs (the Dielectric's sample also the
    // exit index, the same value each time), and a fresh 512-byte copy per call would cost more
    // than some slots.
    vyr::ShadingState s = base;
    for (auto _ : bench) {
        benchmark::DoNotOptimize(s);
        switch (row.slot) {
            case Slot::Shade: shade(&s); break;
            case Slot::Shadow: m->shadow(&ctx, &s); break;
            case Slot::Evaluate: m->evaluateBsdf(&ctx, &s); break;
            case Slot::Sample: m->sampleBsdf(&ctx, &s); break;
        }
        benchmark::DoNotOptimize(s);
    }
}

// The calls take their arguments from x, not from each other, so the processor may overlap
// them as it overlaps a slot's independent steps: the floor is what the calls cost at best.
void runFloor(benchmark::State& bench, const Floor& c) {
    vkhost::ScriptedContext ctx;
    configureContext(ctx);
    const vyr::Texture* const map = vkbench::bitmap().get();
    float x = 0.37f;
    for (auto _ : bench) {
        benchmark::DoNotOptimize(x);
        float acc = 0.0f;
        float k = 0.0f;  // a different argument for each call of a kind
        for (int i = 0; i < c.pow; ++i, k += 0.01f) acc += std::pow(x + k, 2.3f);
        for (int i = 0; i < c.exp; ++i, k += 0.01f) acc += std::exp(-x - k);
        for (int i = 0; i < c.log; ++i, k += 0.01f) acc += std::log(x + k);
        for (int i = 0; i < c.sincos; ++i, k += 0.01f) acc += std::sin(x + k) + std::cos(x + k);
        for (int i = 0; i < c.tan; ++i, k += 0.01f) acc += std::tan(x + k);
        for (int i = 0; i < c.acos; ++i, k += 0.01f) acc += std::acos(x + k);
        for (int i = 0; i < c.atan2; ++i, k += 0.01f) acc += std::atan2(x, 1.0f + k);
        for (int i = 0; i < c.sqrt; ++i, k += 0.01f) acc += std::sqrt(x + k);
        for (int i = 0; i < c.div; ++i, k += 0.01f) acc += x / (1.0f + k);
        const vyr::Vec3f P{x, x, 0.0f};
        for (int i = 0; i < c.lights; ++i) acc += ctx.lightSamples(&P)->factor;
        for (int i = 0; i < c.shadows; ++i) {
            vyr::Vec3f scratch;
            acc += ctx.traceShadow(&scratch, &P, &P)->x;
        }
        for (int i = 0; i < c.rays; ++i) {
            vyr::Vec3f scratch;
            acc += ctx.traceRay(&scratch, &P, &P, x)->x;
        }
        for (int i = 0; i < c.glossy; ++i) {
            vyr::Vec3f scratch;
            acc += ctx.traceGlossyReflection(&scratch, &P, &P, x, x)->x;
        }
        for (int i = 0; i < c.random1; ++i) acc += ctx.random1();
        for (int i = 0; i < c.random2; ++i) {
            float u[2];
            acc += ctx.random2(u)[0];
        }
        for (int i = 0; i < c.noise4; ++i) {
            const vyr::Vec4f q{x, x, 0.0f, 0.0f};
            acc += ctx.noise4(&q);
        }
        for (int i = 0; i < c.noise2; ++i) {
            const vyr::Vec2f q{x, x};
            acc += ctx.noise2(&q);
        }
        for (int i = 0; i < c.randomOf; ++i, k += 0.01f) acc += ctx.randomOf(x + k);
        for (int i = 0; i < c.lookups; ++i) {
            vyr::Vec4f out{0.0f, 0.0f, 0.0f, 1.0f};
            const vyr::Vec2f uv{x - 0.07f, 0.6f};  // (0.3, 0.6), where the slots look up
            map->sample(&out, &uv);
            acc += out.x;
        }
        benchmark::DoNotOptimize(acc);
    }
}

std::vector<Row> rows() {
    const vyr::TextureHandle& map = vkbench::bitmap();
    const vkhost::ParameterList shadowMap = {
        {"cast_shadows", true}, {"useShadowColMap", true}, {"shadowColMap", map}};
    auto with = [](vkhost::ParameterList a, const vkhost::ParameterList& b) {
        a.insert(a.end(), b.begin(), b.end());
        return a;
    };
    const vkhost::ParameterList wardMapped = vkhost::wardFullyMapped(map);

    // The variants' shade with every tree on (tests/support/ward_trees.h gives each node a working
    // value: fractal noise of 2.5 levels, so 3 octaves): the plain Ward's floor, the height bump's
    // renormalisation when a tree feeds the first map, and per evaluation of a node its calls. A
    // tree on the first map is evaluated three times, for the bump's three heights.
    constexpr Floor kWardPlainShade{.pow = 1, .exp = 1, .sqrt = 3, .div = 10, .lights = 1,
                                    .glossy = 1};
    constexpr Floor kBump{.sqrt = 2, .div = 6};
    constexpr Floor kNoiseNode{.div = 6, .noise4 = 3};
    constexpr Floor kBitmapNode{.lookups = 1};
    constexpr Floor kTileNode{.div = 4, .noise2 = 1, .randomOf = 4};
    const auto nodes = [&](int noise, int bitmaps, int tiles) {
        return plus(plus(plus(Floor{}, kNoiseNode, noise), kBitmapNode, bitmaps), kTileNode, tiles);
    };
    const struct {
        const char* tag;
        Floor diffuse, normal;  // per evaluation
    } trees[] = {
        {"120b7820", nodes(1, 0, 0), {}},
        {"33632204", nodes(3, 4, 0), nodes(3, 4, 0)},
        {"5592d496", nodes(1, 2, 0), nodes(0, 1, 0)},
        {"5ba0bfff", {}, nodes(1, 0, 0)},
        {"82261344", nodes(1, 2, 0), {}},
        {"aa598cb4", nodes(1, 2, 0), nodes(1, 2, 0)},
        {"b9aac246", nodes(1, 4, 2), nodes(0, 1, 0)},
        {"ccb3a2e6", nodes(1, 2, 0), {}},
        {"f05db29e", nodes(0, 2, 1), nodes(0, 1, 0)},
    };
    std::vector<Row> variants;
    for (const auto& t : trees) {
        const std::string name = std::string("vexa_kelo_Mtl_Ward_") + t.tag;
        if (!library().hasShader(name)) {
            continue;
        }
        const vkhost::ShaderPtr probe = library().create(name);
        vkhost::ParameterList p = vkhost::wardPlain();
        p.emplace_back("u_normal0Amount", 0.3f);
        for (const char* on : vktest::kTreeSwitches) {
            p.emplace_back(on, true);
        }
        for (const auto& value : vktest::treeValues(vkhost::declareLayout(probe.get()), map)) {
            p.push_back(value);
        }
        const bool bumped = t.normal.noise4 + t.normal.lookups + t.normal.randomOf > 0;
        Floor f = plus(plus(kWardPlainShade, t.diffuse), t.normal, 3);
        if (bumped) {
            f = plus(f, kBump);
        }
        variants.push_back({std::string("Mtl_Ward_") + t.tag + ".shade", name, Slot::Shade, p,
                            false, f});
    }

    // clang-format off
    std::vector<Row> table = {
        // Environments and simple lights: a copy, or one shadow trace.
        {"Background", "Background", Slot::Shade, {}, true, {}},
        {"SimpleAmbientLight", "SimpleAmbientLight", Slot::Shade, {}, true, {}},
        {"SimplePointLight", "SimplePointLight", Slot::Shade, {}, true, {.shadows = 1}},
        // Sky: acos of the sun, of the view-sun angle twice; tan of chi; 12 exp and 6 pow in the
        // three Perez ratios, 3 pow of the sun polynomials; the sun's length and sqrt(s.z).
        {"Env_Sky", "vexa_kelo_Env_Sky", Slot::Shade, {{"haze", 1.0f}}, true,
         {.pow = 9, .exp = 12, .tan = 1, .acos = 3, .sqrt = 2, .div = 6}},
        // Lights with shadows and a projected or face shadow-colour map.
        {"Lgt_Spot", "vexa_kelo_Lgt_Spot",
         Slot::Shade, with(shadowMap, {{"hotspot", 0.99f}, {"falloff", 0.5f}}), true,
         {.pow = 1, .div = 4, .shadows = 1, .lookups = 1}},
        {"Lgt_PhotometricWeb", "vexa_kelo_Lgt_PhotometricWeb", Slot::Shade,
         with(shadowMap, {{"webMap", map}}), true,
         {.acos = 1, .atan2 = 1, .div = 4, .shadows = 1, .lookups = 2}},
        {"Lgt_Sphere", "vexa_kelo_Lgt_Sphere", Slot::Shade, shadowMap, true,
         {.div = 3, .shadows = 1, .lookups = 1}},
        {"Lgt_Diffuse", "vexa_kelo_Lgt_Diffuse", Slot::Shade, shadowMap, true,
         {.div = 3, .shadows = 1, .lookups = 1}},
        {"Lgt_Sky", "vexa_kelo_Lgt_Sky", Slot::Shade, {{"cast_shadows", true}}, true,
         {.shadows = 1}},
        // Mirror: the Fresnel power and one trace; the sample divides by the cosine.
        {"Mtl_Mirror.shade", "vexa_kelo_Mtl_Mirror", Slot::Shade, {}, false,
         {.pow = 1, .rays = 1}},
        {"Mtl_Mirror.sample", "vexa_kelo_Mtl_Mirror", Slot::Sample, {}, false, {.div = 1}},
        // Dielectric at roughness 0.1: the frame's two normalisations (2 roots, 6 divisions),
        // Schlick's power, the refraction root, per light the two half vectors (a root and 3
        // divisions each), a G1 pair (tan, root, division each) and D, two glossy traces. The
        // evaluation adds the transmitted G1 pair; the sample draws the microfacet normal (an
        // arctangent, sin and cos of two angles) and weighs it with a G1 pair.
        {"Mtl_Dielectric.shade", "vexa_kelo_Mtl_Dielectric", Slot::Shade,
         {{"u_roughValue", 0.1f}}, false,
         {.pow = 1, .tan = 2, .sqrt = 7, .div = 18, .lights = 1, .glossy = 2}},
        {"Mtl_Dielectric.shadow", "vexa_kelo_Mtl_Dielectric", Slot::Shadow,
         {{"u_roughValue", 0.1f}}, false, {.pow = 1}},
        {"Mtl_Dielectric.evaluate", "vexa_kelo_Mtl_Dielectric", Slot::Evaluate,
         {{"u_roughValue", 0.1f}}, false, {.pow = 1, .tan = 4, .sqrt = 8, .div = 22}},
        {"Mtl_Dielectric.sample", "vexa_kelo_Mtl_Dielectric", Slot::Sample,
         {{"u_roughValue", 0.1f}}, false,
         {.pow = 1, .sincos = 2, .tan = 3, .sqrt = 6, .div = 12, .random1 = 1, .random2 = 1}},
        // Glazing: no frame in shade; per light the two half vectors, a G1 pair and D, one mirror
        // and one straight trace. The evaluation builds the full frame first.
        {"Mtl_Glazing.shade", "vexa_kelo_Mtl_Glazing", Slot::Shade, {}, false,
         {.tan = 2, .sqrt = 4, .div = 12, .lights = 1, .rays = 2}},
        {"Mtl_Glazing.evaluate", "vexa_kelo_Mtl_Glazing", Slot::Evaluate, {}, false,
         {.tan = 2, .sqrt = 7, .div = 21}},
        {"Mtl_Glazing.sample", "vexa_kelo_Mtl_Glazing", Slot::Sample, {}, false,
         {.div = 2, .random1 = 1}},
        // Ward, plain: the frame's two normalisations (2 roots, 6 divisions), the reflectivity
        // power, per light the lobe's exp, root and 4 divisions, the light list and the glossy
        // trace; sampling adds the half-vector sampler's sin, cos, log, roots and divisions.
        {"Mtl_Ward.shade", "vexa_kelo_Mtl_Ward", Slot::Shade, vkhost::wardPlain(), false,
         {.pow = 1, .exp = 1, .sqrt = 3, .div = 10, .lights = 1, .glossy = 1}},
        {"Mtl_Ward.shadow", "vexa_kelo_Mtl_Ward", Slot::Shadow, vkhost::wardPlain(), false, {}},
        {"Mtl_Ward.evaluate", "vexa_kelo_Mtl_Ward", Slot::Evaluate, vkhost::wardPlain(), false,
         {.pow = 1, .exp = 1, .sqrt = 3, .div = 10}},
        {"Mtl_Ward.sample", "vexa_kelo_Mtl_Ward", Slot::Sample, vkhost::wardPlain(), false,
         {.pow = 1, .log = 1, .sincos = 1, .sqrt = 6, .div = 14, .random1 = 1, .random2 = 1}},
        // Ward, every map on: both height maps (3 look-ups each) and the amount map, the noise
        // bump (4 noise calls), each followed by a renormalisation of the frame (2 roots and 6
        // divisions), the rotation's sin and cos, 10 map groups; shade adds the refraction
        // glossiness, the emission map, the refraction's root and the transmission trace.
        {"Mtl_Ward.mapped.shade", "vexa_kelo_Mtl_Ward", Slot::Shade, wardMapped, false,
         {.pow = 1, .exp = 2, .sincos = 1, .sqrt = 10, .div = 28, .lights = 1, .glossy = 2,
          .noise4 = 4, .lookups = 19}},
        {"Mtl_Ward.mapped.shadow", "vexa_kelo_Mtl_Ward", Slot::Shadow, wardMapped, false,
         {.pow = 1, .lookups = 5}},
        {"Mtl_Ward.mapped.evaluate", "vexa_kelo_Mtl_Ward", Slot::Evaluate, wardMapped, false,
         {.pow = 1, .exp = 1, .sincos = 1, .sqrt = 10, .div = 28, .noise4 = 4, .lookups = 17}},
        {"Mtl_Ward.mapped.sample", "vexa_kelo_Mtl_Ward", Slot::Sample, wardMapped, false,
         {.pow = 1, .log = 1, .sincos = 2, .sqrt = 13, .div = 32, .random1 = 1, .random2 = 1,
          .noise4 = 4, .lookups = 17}},
        // Metal, aluminium at roughness 0.3, one light and one traced sample: the frame's two
        // normalisations; per light the half vector, D, the two Lambdas of G2 and the exact
        // conductor Fresnel per channel (a complex root: 3 roots, and 2 divisions); the traced
        // sample draws a visible normal (4 roots, sin and cos, a normalisation), weighs it by
        // G2 / G1 and the Fresnel again.
        {"Mtl_Metal.shade", "vexa_kelo_Mtl_Metal", Slot::Shade, {}, false,
         {.sincos = 1, .sqrt = 29, .div = 33, .lights = 1, .rays = 1, .random2 = 1}},
        {"Mtl_Metal.evaluate", "vexa_kelo_Mtl_Metal", Slot::Evaluate, {}, false,
         {.sqrt = 15, .div = 18}},
        {"Mtl_Metal.sample", "vexa_kelo_Mtl_Metal", Slot::Sample, {}, false,
         {.sincos = 1, .sqrt = 19, .div = 21, .random2 = 1}},
        // MetallicPaint off a flake under a smooth coat: the frame, the coat's dielectric Fresnel
        // towards the viewer and the light (a root and 3 divisions each) with the refracted
        // cosines, the coat colour's absorption (a power per channel), the pigment's flop power
        // on the normalised half vector, one mirror trace of the coat.
        {"Mtl_MetallicPaint.shade", "vexa_kelo_Mtl_MetallicPaint", Slot::Shade,
         {{"u_flakeDensity", 0.0f}}, false,
         {.pow = 4, .sqrt = 7, .div = 18, .lights = 1, .rays = 1}},
        {"Mtl_MetallicPaint.evaluate", "vexa_kelo_Mtl_MetallicPaint", Slot::Evaluate,
         {{"u_flakeDensity", 0.0f}}, false, {.pow = 4, .sqrt = 7, .div = 18}},
        {"Mtl_MetallicPaint.sample", "vexa_kelo_Mtl_MetallicPaint", Slot::Sample,
         {{"u_flakeDensity", 0.0f}}, false,
         {.pow = 4, .sincos = 1, .sqrt = 8, .div = 18, .random1 = 1, .random2 = 1}},
    };
    // clang-format on
    table.insert(table.end(), variants.begin(), variants.end());
    return table;
}

// Collects CPU ns per iteration (steadier than wall time on a busy machine) so the ratios can
// be printed after the usual table.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> ns;
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            // With --benchmark_repetitions the median stands for the row.
            if (run.run_type == Run::RT_Aggregate) {
                if (run.aggregate_name == "median") {
                    ns[run.run_name.str()] = run.GetAdjustedCPUTime();
                }
            } else {
                ns[run.benchmark_name()] = run.GetAdjustedCPUTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

}  // namespace

int main(int argc, char** argv) {
    const std::vector<Row> table = rows();
    for (const Row& row : table) {
        if (!library().hasShader(row.shader)) {
            continue;
        }
        benchmark::RegisterBenchmark(row.label.c_str(),
                                     [&row](benchmark::State& s) { runSlot(s, row); });
        benchmark::RegisterBenchmark(("floor/" + row.label).c_str(),
                                     [&row](benchmark::State& s) { runFloor(s, row.floor); });
    }
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\n%-28s %10s %10s %7s\n", "slot", "ns", "floor ns", "ratio");
    for (const Row& row : table) {
        const auto slot = reporter.ns.find(row.label);
        const auto floor = reporter.ns.find("floor/" + row.label);
        if (slot != reporter.ns.end() && floor != reporter.ns.end()) {
            std::printf("%-28s %10.1f %10.1f %7.2f\n", row.label.c_str(), slot->second,
                        floor->second, slot->second / floor->second);
        }
    }
    benchmark::Shutdown();
    return 0;
}
