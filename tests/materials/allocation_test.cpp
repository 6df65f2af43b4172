// No shading slot of a material allocates: global operator new is replaced in this program and
// counted while the slots run with a non-recording context.
#include "material_support.h"
#include "support/allocation_counter.h"
#include "support/ward_trees.h"

namespace materials_test {
namespace {

TEST(MaterialAllocations, ShadingSlotsAllocateNothing) {
    const vyr::TextureHandle map = constantTexture({0.5f, 0.4f, 0.3f});
    const Material materials[] = {
        makeMaterial("vexa_kelo_Mtl_Mirror", {{"u_tintColor", Vec3f{1, 1, 1}}}),
        makeMaterial("vexa_kelo_Mtl_Dielectric", {{"u_roughValue", 0.3f},
                                                  {"u_normal0MapEnable", true},
                                                  {"u_normal0Map", map},
                                                  {"u_normal0Transform", kIdentity},
                                                  {"u_procedureMapEnable", std::int32_t{1}},
                                                  {"u_normal1MapEnable", true},
                                                  {"u_normal1Map", map},
                                                  {"u_normal1Transform", kIdentity},
                                                  {"u_roughMapEnable", true},
                                                  {"u_roughMap", map},
                                                  {"u_roughTransform", kIdentity},
                                                  {"u_transmittanceMapEnable", true},
                                                  {"u_transmittanceMap", map},
                                                  {"u_transmittanceTransform", kIdentity},
                                                  {"u_falloffEnable", true},
                                                  {"u_absorptionCoef", Vec3f{1, 1, 1}}}),
        makeMaterial("vexa_kelo_Mtl_Glazing", {{"u_transmittanceMapEnable", true},
                                               {"u_transmittanceMap", map},
                                               {"u_transmittanceTransform", kIdentity}}),
        makeMaterial("vexa_kelo_Mtl_Metal", {{"u_roughMapEnable", true},
                                             {"u_roughMap", map},
                                             {"u_bumpMapEnable", true},
                                             {"u_bumpMap", map},
                                             {"u_normalMapEnable", true},
                                             {"u_normalMap", map},
                                             {"u_filmThickness", 150.0f},
                                             {"u_filmVariation", 0.2f},
                                             {"u_patinaCoverage", 0.5f},
                                             {"u_cutoutValue", 0.7f},
                                             {"u_brushMode", std::int32_t{2}},
                                             {"u_brushStreaks", 0.3f},
                                             {"u_reflectSamples", std::int32_t{4}}}),
        makeMaterial("vexa_kelo_Mtl_MetallicPaint", {{"u_baseColorMapEnable", true},
                                                     {"u_baseColorMap", map},
                                                     {"u_flakeDensity", 1.0f},
                                                     {"u_flakeSize", 0.5f},
                                                     {"u_pearlRatio", 0.5f},
                                                     {"u_coatRoughness", 0.3f},
                                                     {"u_peelAmount", 0.01f}}),
        makeMaterial("vexa_kelo_Mtl_Ward", vkhost::wardFullyMapped(map)),
    };
    // The Ward variants with every map and every tree on.
    std::vector<Material> variants;
    for (const char* name : vktest::kWardVariants) {
        Material m{library().create(name)};
        const vkhost::ShaderLayout layout = vkhost::declareLayout(m.object.get());
        vkhost::ParameterBlock block(name, layout, m.object.get());
        for (const auto& [key, value] : vkhost::wardFullyMapped(map)) {
            block.set(key, value);
        }
        for (const auto& [key, value] : vktest::treeValues(layout, map)) {
            block.set(key, value);
        }
        block.applyTo(m.object.get());
        variants.push_back(std::move(m));
    }
    vkhost::ScriptedContext ctx;
    ctx.recording = false;
    ctx.randoms = {0.3f, 0.7f, 0.1f};
    ctx.setLights({{{0.0f, 0.6f, 0.8f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr},
                   {{0.0f, -0.6f, -0.8f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr}});
    const Vec3f rays[] = {{0.6f, 0.0f, -0.8f}, {0.6f, 0.0f, 0.8f}};

    const auto run = [&](const Material& m) {
        for (const Vec3f& I : rays) {
            vyr::ShadingState s = stateWithRay(I);
            setRequest(s, true, true);
            s.bsdfDir = {0.0f, 0.6f, 0.8f};
            m->shade(&ctx, &s);
            m->shadow(&ctx, &s);
            m->evaluateBsdf(&ctx, &s);
            m->sampleBsdf(&ctx, &s);
            m->finishShading();
        }
    };

    const long allocations = vktest::allocationsDuring([&] {
        for (const Material& m : materials) {
            run(m);
        }
        for (const Material& m : variants) {
            run(m);
        }
    });
    EXPECT_EQ(allocations, 0);
}

}  // namespace
}  // namespace materials_test
