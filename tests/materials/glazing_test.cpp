// Glazing: exact behaviour of each slot on hand-filled states.
#include <cmath>

#include "material_support.h"

namespace materials_test {
namespace {

using Call = vkhost::ScriptedContext::Call;
constexpr const char* kName = "vexa_kelo_Mtl_Glazing";

// Defaults: Fg = 0.1^2 / 1 = 0.01. Reflection Wr = 0.01, traced along the mirror direction with
// importance 0.01; transmission Wt = 0.99, straight on along I with importance 0.99.
// Colour = 0.01 * 1 + 0.99 * 2 = 1.99. Shadow = 0.99.
TEST(Glazing, DefaultsReflectOnePercent) {
    const Material m = makeMaterial(kName);
    vkhost::ScriptedContext ctx;
    ctx.rayResult = {1.0f, 1.0f, 1.0f};
    ctx.straightResult = {2.0f, 2.0f, 2.0f};
    vyr::ShadingState s = stateWithRay({0.6f, 0.0f, -0.8f});
    m->shade(&ctx, &s);
    EXPECT_NEAR(s.outColor.x, 1.99f, 1e-6f);
    EXPECT_EQ(s.outColor.w, 1.0f);
    const auto* r = findCall(ctx, Call::TraceRay);
    ASSERT_NE(r, nullptr);
    expectVec(r->b, {0.6f, 0.0f, 0.8f}, 1e-6f);
    EXPECT_NEAR(r->importance, 0.01f, 1e-8f);
    const auto* t = findCall(ctx, Call::TraceStraight);
    ASSERT_NE(t, nullptr);
    EXPECT_EQ(t->b, (Vec3f{0.6f, 0.0f, -0.8f}));  // never bent
    EXPECT_NEAR(t->importance, 0.99f, 1e-6f);

    m->shadow(&ctx, &s);
    expectVec(s.shadowTransmit, {0.99f, 0.99f, 0.99f}, 1e-6f);
}

// "u_level" = 2: Fg = 0.01 / 2 = 0.005, shadow 0.995. With the map (0.25, 0.64, 1) at amount 1
// the transmission colour is replaced by its square root (0.5, 0.8, 1), so
// Wt = 0.995 * (0.5, 0.8, 1); traced colour 1, reflection traced black.
TEST(Glazing, LevelHalvesReflectionAndRootsTheMap) {
    const Material m =
        makeMaterial(kName, {{"u_level", 2.0f},
                             {"u_refractColor", Vec3f{0.1f, 0.1f, 0.1f}},
                             {"u_transmittanceMapEnable", true},
                             {"u_transmittanceMap", constantTexture({0.25f, 0.64f, 1.0f})},
                             {"u_transmittanceTransform", kIdentity}});
    vkhost::ScriptedContext ctx;
    ctx.straightResult = {1.0f, 1.0f, 1.0f};
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
    m->shade(&ctx, &s);
    expectVec({s.outColor.x, s.outColor.y, s.outColor.z}, {0.995f * 0.5f, 0.995f * 0.8f, 0.995f},
              1e-6f);
    EXPECT_NEAR(findCall(ctx, Call::TraceRay)->importance, 0.005f, 1e-8f);
    m->shadow(&ctx, &s);
    // The shadow ignores the map: (1 - 0.005) * refract colour 0.1.
    expectVec(s.shadowTransmit, {0.0995f, 0.0995f, 0.0995f}, 1e-7f);
}

TEST(Glazing, BlackTransmissionSkipsTheStraightTrace) {
    const Material m = makeMaterial(kName, {{"u_refractColor", Vec3f{0, 0, 0}}});
    vkhost::ScriptedContext ctx;
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
    m->shade(&ctx, &s);
    EXPECT_EQ(ctx.count(Call::TraceStraight), 0u);
    EXPECT_EQ(ctx.count(Call::TraceRay), 1u);
}

// Sampling, I = (0.6, 0, -0.8), Fg = 0.01:
//  reflection only: cos 0.8, dir (0.6, 0, 0.8), weight (0.01 / 0.8) * reflectColor, lobe 4.
//  both, xi = 0.005 <= 0.01: mirror with k = 1, weight 1.25 * reflectColor.
//  both, xi = 0.5: straight through, dir = I, cos = Nf.I = -0.8, weight (1 / -0.8) = -1.25,
//  lobe 32. transmission only: k = 0.99, weight 0.99 / -0.8 = -1.2375.
TEST(Glazing, SamplesMirrorOrStraightPassage) {
    const Vec3f reflectColor{1.0f, 0.5f, 0.25f};
    const Material m = makeMaterial(kName, {{"u_reflectColor", reflectColor}});
    struct Row {
        bool reflect, transmit;
        float xi;
        int lobe;
        Vec3f dir;
        float cos;
        Vec3f weight;
    };
    const Vec3f I{0.6f, 0.0f, -0.8f};
    const Row rows[] = {
        {true, false, 0.0f, 4, {0.6f, 0.0f, 0.8f}, 0.8f, reflectColor * 0.0125f},
        {true, true, 0.005f, 4, {0.6f, 0.0f, 0.8f}, 0.8f, reflectColor * 1.25f},
        {true, true, 0.5f, 32, I, -0.8f, {-1.25f, -1.25f, -1.25f}},
        {false, true, 0.0f, 32, I, -0.8f, {-1.2375f, -1.2375f, -1.2375f}},
    };
    for (const Row& row : rows) {
        vkhost::ScriptedContext ctx;
        ctx.randoms = {row.xi};
        vyr::ShadingState s = stateWithRay(I);
        setRequest(s, row.reflect, row.transmit);
        m->sampleBsdf(&ctx, &s);
        EXPECT_EQ(s.bsdfLobe, row.lobe);
        expectVec(s.bsdfDir, row.dir, 1e-6f);
        if (row.lobe == 32) {
            EXPECT_EQ(s.bsdfDir, I);
        }
        EXPECT_NEAR(s.bsdfCos, row.cos, 1e-6f);
        expectVec(s.bsdfWeight, row.weight, 1e-5f);
        EXPECT_EQ(s.bsdfPdf, 1.0f);
    }
}

// Evaluate, V = L = N, alpha^2 = 0.0001: Hr = (0,0,1), D = 1 / (3.141593 * 0.0001) = 3183.099,
// G1(1) = 2 / (sqrt(1 + 0.0001 tan(1)^2) + 1) = 0.999939, fr = G1^2 D / 4 = 795.678;
// the transmission is gated off (Ht.wi * wi.z = -1); value = 0.01 * 795.678 = 7.95678.
// The grey value ignores both colours. A view on the far side of the light gives 0.
TEST(Glazing, EvaluateIsGreyMicrofacetValue) {
    const Material m = makeMaterial(kName, {{"u_reflectColor", Vec3f{0.1f, 0.2f, 0.3f}}});
    vkhost::ScriptedContext ctx;
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
    s.bsdfDir = {0.0f, 0.0f, 1.0f};
    m->evaluateBsdf(&ctx, &s);
    EXPECT_NEAR(s.bsdfWeight.x, 7.95678f, 1e-3f);
    EXPECT_EQ(s.bsdfWeight.x, s.bsdfWeight.y);
    EXPECT_EQ(s.bsdfWeight.x, s.bsdfWeight.z);
    EXPECT_EQ(s.bsdfCos, 1.0f);

    s.bsdfDir = {0.6f, 0.0f, -0.8f};
    m->evaluateBsdf(&ctx, &s);
    EXPECT_EQ(s.bsdfWeight.x, 0.0f);
    EXPECT_NEAR(s.bsdfCos, 0.8f, 1e-6f);
    EXPECT_TRUE(ctx.calls.empty());
}

// Highlights use "u_rough" directly as alpha^2 and Fg for the Fresnel weight: with the
// Dielectric's light at elevation 0.25 (fade 1) and alpha^2 = 0.5 its reflected term is
// 0.268558 (0.1 * fr = 0.0268558 there), so here Fg * fr = 0.01 * 0.268558 = 0.00268558.
TEST(Glazing, HighlightUsesConstantShare) {
    const Material m = makeMaterial(kName, {{"u_rough", 0.5f},
                                            {"u_reflectColor", Vec3f{0, 0, 0}},
                                            {"u_refractColor", Vec3f{0, 0, 0}}});
    vkhost::ScriptedContext ctx;
    ctx.setLights({{{std::sqrt(1.0f - 0.0625f), 0.0f, 0.25f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr}});
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
    m->shade(&ctx, &s);
    EXPECT_NEAR(s.outColor.x, 0.00268558f, 1e-7f);
    EXPECT_EQ(ctx.count(Call::TraceRay), 0u);
    EXPECT_EQ(ctx.count(Call::TraceStraight), 0u);
}

}  // namespace
}  // namespace materials_test
