// Many render threads shading through one object of each material at once: every thread must
// get, call for call, the bytes a single thread got (the shading slots only read the object).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "parameters.h"
#include "scripted_context.h"
#include "support/busy_context.h"
#include "shader_library.h"
#include "support/ward_trees.h"
#include "vyr/vyr.h"

namespace {

constexpr int kThreads = 8;
constexpr int kRays = 300;

vyr::ShadingState rayState(int i) {
    vyr::ShadingState s = vkhost::makeState();
    const float a = 0.013f * static_cast<float>(i);
    const float sinT = std::sin(a), cosT = std::cos(a);
    // Alternately from outside and from inside.
    s.rayDir = {sinT * std::cos(3.0f * a), sinT * std::sin(3.0f * a), i % 2 == 0 ? -cosT : cosT};
    s.rayOrigin = {0.0f, 0.0f, i % 2 == 0 ? 1.0f : -1.0f};
    s.tangent = {1.0f, 0.0f, 0.0f};
    s.bitangent = {0.0f, 1.0f, 0.0f};
    s.uv = {0.1f * static_cast<float>(i), 0.2f};
    s.bsdfDir = {0.0f, 0.6f, 0.8f};
    for (int k = 0; k < 6; ++k) {
        s.lobeRequest[k] = static_cast<std::uint8_t>((i + k) % 3 != 0);
    }
    return s;
}

// All four slots for every ray; the states after each call, in order.
std::vector<vyr::ShadingState> run(const vyr::MaterialShader* m) {
    vkhost::ScriptedContext ctx;
    vktest::fillWithAnswers(ctx);
    std::vector<vyr::ShadingState> out;
    out.reserve(4 * kRays);
    for (int i = 0; i < kRays; ++i) {
        vyr::ShadingState s = rayState(i);
        m->shade(&ctx, &s);
        out.push_back(s);
        m->shadow(&ctx, &s);
        out.push_back(s);
        m->evaluateBsdf(&ctx, &s);
        out.push_back(s);
        m->sampleBsdf(&ctx, &s);
        out.push_back(s);
    }
    return out;
}

TEST(MaterialsThreads, ConcurrentShadingMatchesSingleThread) {
    const vkhost::ShaderLibrary library;
    for (const std::string name :
         {"vexa_kelo_Mtl_Mirror", "vexa_kelo_Mtl_Dielectric", "vexa_kelo_Mtl_Glazing",
          "vexa_kelo_Mtl_Ward", "vexa_kelo_Mtl_Ward_120b7820", "vexa_kelo_Mtl_Ward_33632204",
          "vexa_kelo_Mtl_Ward_5592d496", "vexa_kelo_Mtl_Ward_5ba0bfff",
          "vexa_kelo_Mtl_Ward_82261344", "vexa_kelo_Mtl_Ward_aa598cb4",
          "vexa_kelo_Mtl_Ward_b9aac246", "vexa_kelo_Mtl_Ward_ccb3a2e6",
          "vexa_kelo_Mtl_Ward_f05db29e"}) {
        const vkhost::ShaderPtr shader = library.create(name);
        const vkhost::ShaderLayout layout = vkhost::declareLayout(shader.get());
        vkhost::ParameterBlock block(name, layout, shader.get());
        if (name == "vexa_kelo_Mtl_Mirror") {
            block.set("u_tintColor", vyr::Vec3f{0.9f, 0.8f, 0.7f});
        } else if (name == "vexa_kelo_Mtl_Dielectric") {
            block.set("u_roughValue", 0.3f);
            block.set("u_procedureMapEnable", std::int32_t{1});
            block.set("u_falloffEnable", true);
            block.set("u_absorptionCoef", vyr::Vec3f{0.5f, 0.25f, 0.1f});
        } else if (name == "vexa_kelo_Mtl_Metal") {
            // Every per-call feature: brushing noise, film, patina noise, cutout, several traces.
            block.set("u_anisotropyValue", 0.7f);
            block.set("u_brushMode", std::int32_t{1});
            block.set("u_brushStreaks", 0.4f);
            block.set("u_streakTilt", 0.1f);
            block.set("u_filmThickness", 120.0f);
            block.set("u_filmVariation", 0.3f);
            block.set("u_patinaCoverage", 0.4f);
            block.set("u_cutoutValue", 0.8f);
            block.set("u_reflectSamples", std::int32_t{3});
        } else if (name == "vexa_kelo_Mtl_MetallicPaint") {
            block.set("u_preset", std::int32_t{4});
            block.set("u_flakeDensity", 1.0f);
            block.set("u_flakeSize", 0.05f);
            block.set("u_coatRoughness", 0.2f);
            block.set("u_peelAmount", 0.02f);
        } else if (name == "vexa_kelo_Mtl_Ward") {
            // Both sampling branches, translucency, the noise bump and fade mode 4.
            block.set("u_diffuseColor", vyr::Vec3f{0.6f, 0.4f, 0.2f});
            block.set("u_roughValue", 0.2f);
            block.set("u_anisotropyValue", 0.5f);
            block.set("u_anisoRotationValue", 0.1f);
            block.set("u_brdfCurvePower", 2.0f);
            block.set("u_transparency", true);
            block.set("u_transparencyValue", 0.4f);
            block.set("u_translucencyValue", 0.5f);
            block.set("u_procedureMapEnable", std::int32_t{1});
            block.set("u_procedureMapAmount", 0.05f);
            block.set("u_imageFadeEnable", std::int32_t{4});
            block.set("u_imageFade", 0.5f);
        } else if (name.rfind("vexa_kelo_Mtl_Ward_", 0) == 0) {
            // Every tree switched on, every node doing something.
            block.set("u_diffuseColor", vyr::Vec3f{0.6f, 0.4f, 0.2f});
            block.set("u_brdf90Reflectivity", 0.5f);
            block.set("u_normal0Amount", 0.3f);
            for (const char* key : vktest::kTreeSwitches) {
                block.set(key, true);
            }
            for (const auto& [key, value] : vktest::treeValues(layout, vyr::TextureHandle{})) {
                block.set(key, value);
            }
        }
        block.applyTo(shader.get());
        const auto* material = static_cast<const vyr::MaterialShader*>(shader.get());

        const std::vector<vyr::ShadingState> reference = run(material);
        std::vector<std::vector<vyr::ShadingState>> results(kThreads);
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] { results[t] = run(material); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        for (int t = 0; t < kThreads; ++t) {
            ASSERT_EQ(results[t].size(), reference.size());
            for (std::size_t k = 0; k < reference.size(); ++k) {
                ASSERT_EQ(std::memcmp(&results[t][k], &reference[k], sizeof(vyr::ShadingState)), 0)
                    << name << " thread " << t << " call " << k;
            }
        }
    }
}

}  // namespace
