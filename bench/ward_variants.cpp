// ns per `shade` of each Ward variant with its trees switched on, next to the base Ward material
// with the same base parameters (the same switches, each map reading the same bitmap), through
// the host interface with a constant, non-recording context. The difference is what the trees
// cost over one bitmap look-up per map.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/bench_support.h"
#include "tests/support/ward_trees.h"

namespace {

const vyr::Mat3f kIdentity3{{1, 0, 0, 0, 1, 0, 0, 0, 1}};

// The switches and base maps of the maps `variant` feeds from trees.
vkhost::ParameterList baseParameters(const vkhost::ShaderLayout& variant) {
    vkhost::ParameterList p = vkhost::wardPlain();
    p.emplace_back("u_normal0Amount", 0.3f);
    const struct {
        const char* prefix;
        const char* base;
    } maps[] = {{"_ward_diffuse_color_", "u_diffuse"},
                {"_ward_normal0_map_", "u_normal0"},
                {"_ward_cutout_map_", "u_cutout"}};
    for (const auto& m : maps) {
        bool fed = false;
        for (const auto& d : variant.parameters) {
            fed = fed || d.name.rfind(m.prefix, 0) == 0;
        }
        if (fed) {
            const std::string base = m.base;
            p.emplace_back(base + "MapEnable", true);
            p.emplace_back(base + "Map", vkbench::bitmap());
            p.emplace_back(base + "Transform", kIdentity3);
        }
    }
    return p;
}

void shade(benchmark::State& bench, const std::string& name, const std::string& variant) {
    const vkhost::ShaderPtr probe = vkbench::library().create(variant);
    const vkhost::ShaderLayout layout = vkhost::declareLayout(probe.get());
    vkhost::ParameterList values = baseParameters(layout);
    if (name == variant) {
        for (const auto& value : vktest::treeValues(layout, vkbench::bitmap())) {
            values.push_back(value);
        }
    }
    const vkhost::ShaderPtr shader = vkbench::makeShader(name, values);
    vkhost::ScriptedContext ctx;
    vkbench::configureContext(ctx);
    vyr::ShadingState s = vkbench::materialState();
    s.uv = {0.37f, 0.61f};
    const auto* m = static_cast<const vyr::MaterialShader*>(shader.get());
    for (auto _ : bench) {
        benchmark::DoNotOptimize(s);
        m->shade(&ctx, &s);
        benchmark::DoNotOptimize(s);
    }
}

const bool kRegistered = [] {
    for (const char* variant : vktest::kWardVariants) {
        const std::string v = variant;
        const std::string tag = v.substr(v.rfind('_') + 1);
        benchmark::RegisterBenchmark(("WardShade/" + tag + "/trees").c_str(),
                                     [v](benchmark::State& s) { shade(s, v, v); });
        benchmark::RegisterBenchmark(
            ("WardShade/" + tag + "/base").c_str(),
            [v](benchmark::State& s) { shade(s, "vexa_kelo_Mtl_Ward", v); });
    }
    return true;
}();

}  // namespace
