// ns per `shade` of each Ward variant with its trees switched on, next to the base Ward material
// with the same base parameters (the same switches, each map reading the same bitmap), through
// the host interface with a constant, non-recording context. The difference is what the trees
// cost over one bitmap look-up per map.
#include <benchmark/benchmark.h>

#include <string>

#include "material_presets.h"
#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"
#include "tests/support/ward_trees.h"
#include "vyr/vyr.h"
#include "vyr_host.h"

namespace {

const vkhost::ShaderLibrary& library() {
    static const vkhost::ShaderLibrary lib;
    return lib;
}

// A small RGB bitmap with some variation, shared by every map and every bitmap node.
const vyr::TextureHandle& bitmap() {
    static const vyr::TextureHandle handle = [] {
        static float texels[4 * 4 * 3];
        for (int i = 0; i < 4 * 4 * 3; ++i) {
            texels[i] = 0.2f + 0.05f * static_cast<float>(i % 11);
        }
        vyr::TextureHandle h = vyr::host::createTexture();
        vyr::TextureDescriptor d;
        d.format = 3;
        d.width = 4;
        d.height = 4;
        d.data = texels;
        vyr::host::textureOf(h)->build(d);
        return h;
    }();
    return handle;
}

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
            p.emplace_back(base + "Map", bitmap());
            p.emplace_back(base + "Transform", kIdentity3);
        }
    }
    return p;
}

struct Setup {
    vkhost::ShaderPtr shader;
    vkhost::ScriptedContext ctx;
    vyr::ShadingState state;

    Setup(const std::string& name, const vkhost::ShaderLayout& variant, bool trees)
        : shader(library().create(name)) {
        const vkhost::ShaderLayout layout = vkhost::declareLayout(shader.get());
        vkhost::ParameterBlock block(name, layout, shader.get());
        for (const auto& [key, value] : baseParameters(variant)) {
            block.set(key, value);
        }
        if (trees) {
            for (const auto& [key, value] : vktest::treeValues(layout, bitmap())) {
                block.set(key, value);
            }
        }
        block.applyTo(shader.get());
        ctx.recording = false;
        ctx.glossyReflectionResult = {0.5f, 0.5f, 0.5f};
        ctx.glossyRefractionResult = {0.5f, 0.5f, 0.5f};
        ctx.randoms = {0.2f, 0.7f, 0.4f, 0.9f, 0.05f};
        ctx.setLights({{{0.0f, 0.6f, 0.8f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr}});
        state = vkhost::makeState();
        state.rayDir = {0.6f, 0.0f, -0.8f};
        state.rayOrigin = {-0.6f, 0.0f, 0.8f};
        state.tangent = {1.0f, 0.0f, 0.0f};
        state.bitangent = {0.0f, 1.0f, 0.0f};
        state.uv = {0.37f, 0.61f};
    }
};

void shade(benchmark::State& bench, const std::string& name, const std::string& variant) {
    const vkhost::ShaderPtr probe = library().create(variant);
    const vkhost::ShaderLayout layout = vkhost::declareLayout(probe.get());
    Setup setup(name, layout, name == variant);
    const auto* m = static_cast<const vyr::MaterialShader*>(setup.shader.get());
    for (auto _ : bench) {
        vyr::ShadingState s = setup.state;
        m->shade(&setup.ctx, &s);
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
