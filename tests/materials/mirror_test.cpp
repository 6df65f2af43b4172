// Mirror: exact behaviour of each slot on hand-filled states.
#include <limits>

#include "material_support.h"

namespace materials_test {
namespace {

using Call = vkhost::ScriptedContext::Call;

TEST(Mirror, DeclaresTintOnlyWithoutVaryings) {
    const Material m = makeMaterial("vexa_kelo_Mtl_Mirror");
    const vkhost::ShaderLayout layout = vkhost::declareLayout(m.object.get());
    EXPECT_EQ(layout.flags, 0x0D);
    EXPECT_TRUE(layout.varyings.empty());
    ASSERT_EQ(layout.parameters.size(), 1u);
    EXPECT_EQ(layout.parameters[0].name, "u_tintColor");
    EXPECT_EQ(layout.parameters[0].offset, 8u);
}

TEST(Mirror, DefaultIsBlackWithZeroSampleWeight) {
    const Material m = makeMaterial("vexa_kelo_Mtl_Mirror");
    vkhost::ScriptedContext ctx;
    ctx.rayResult = {5.0f, 5.0f, 5.0f};
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
    m->shade(&ctx, &s);
    EXPECT_EQ(s.outColor, (vyr::Vec4f{0.0f, 0.0f, 0.0f, 1.0f}));
    setRequest(s, true, false);
    m->sampleBsdf(&ctx, &s);
    EXPECT_EQ(s.bsdfWeight, (Vec3f{0.0f, 0.0f, 0.0f}));
    EXPECT_EQ(s.bsdfPdf, 1.0f);
    EXPECT_EQ(s.bsdfLobe, 4);
}

// Rows: incident direction, expected traced direction R, expected Fresnel factor F.
// Head-on: a = 1, F = 0.92 + 0.07999998 * 0^5 = 0.92.
// From behind at (0.6, 0, 0.8): s = +1, Nf = -N; R = I - 2(-0.8)(0,0,-1) = (0.6, 0, -0.8);
//   a = |0.8|, F = 0.92 + 0.07999998 * 0.2^5 = 0.92 + 0.0000256 = 0.9200256.
// Oblique front at (0.6, 0, -0.8): Nf = N; R = (0.6, 0, 0.8); same F.
// Grazing (1, 0, 0): s = 0, Nf = 0, R = I; a = 0, F = 0.92 + 0.07999998 = 1.0 exactly.
TEST(Mirror, ShadeTracesMirrorRayWithFresnelWeight) {
    struct Row {
        Vec3f I, R;
        float F;
    };
    const Row rows[] = {
        {{0.0f, 0.0f, -1.0f}, {0.0f, 0.0f, 1.0f}, 0.92f},
        {{0.6f, 0.0f, 0.8f}, {0.6f, 0.0f, -0.8f}, 0.9200256f},
        {{0.6f, 0.0f, -0.8f}, {0.6f, 0.0f, 0.8f}, 0.9200256f},
        {{1.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, 1.0f},
    };
    const Vec3f tint{0.5f, 0.25f, 1.0f};
    const Material m = makeMaterial("vexa_kelo_Mtl_Mirror", {{"u_tintColor", tint}});
    for (const Row& row : rows) {
        vkhost::ScriptedContext ctx;
        ctx.rayResult = {1.0f, 2.0f, 4.0f};
        vyr::ShadingState s = stateWithRay(row.I);
        s.position = {1.0f, 2.0f, 3.0f};
        m->shade(&ctx, &s);
        ASSERT_EQ(ctx.calls.size(), 1u);
        const auto& call = ctx.calls[0];
        EXPECT_EQ(call.call, Call::TraceRay);
        EXPECT_EQ(call.a, (Vec3f{1.0f, 2.0f, 3.0f}));
        expectVec(call.b, row.R, 1e-6f, "direction");
        // W = F * tint; importance: red 0.5F is not above max(0.25F, F), blue wins.
        EXPECT_NEAR(call.importance, row.F, 1e-6f);
        EXPECT_NEAR(s.outColor.x, 0.5f * row.F * 1.0f, 1e-6f);
        EXPECT_NEAR(s.outColor.y, 0.25f * row.F * 2.0f, 1e-6f);
        EXPECT_NEAR(s.outColor.z, 1.0f * row.F * 4.0f, 1e-6f);
        EXPECT_EQ(s.outColor.w, 1.0f);
    }
}

TEST(Mirror, GrazingFresnelIsExactlyOne) {
    const Material m = makeMaterial("vexa_kelo_Mtl_Mirror", {{"u_tintColor", Vec3f{1, 1, 1}}});
    vkhost::ScriptedContext ctx;
    ctx.rayResult = {1.0f, 1.0f, 1.0f};
    vyr::ShadingState s = stateWithRay({1.0f, 0.0f, 0.0f});
    m->shade(&ctx, &s);
    EXPECT_EQ(s.outColor.x, 1.0f);
}

// Sampling carries the bare tint: head-on cos = 1, weight = tint; from behind at
// (0.6, 0, 0.8): cos = -dot((0,0,-1), I) = 0.8, direction = I + 1.6 * (0,0,-1) = (0.6, 0, -0.8),
// weight = tint * (1 / 0.8) = tint * 1.25.
TEST(Mirror, SampleIsMirrorDirectionWithoutFresnel) {
    const Vec3f tint{0.5f, 0.25f, 1.0f};
    const Material m = makeMaterial("vexa_kelo_Mtl_Mirror", {{"u_tintColor", tint}});
    vkhost::ScriptedContext ctx;
    struct Row {
        Vec3f I, dir;
        float cos, scale;
    };
    const Row rows[] = {
        {{0.0f, 0.0f, -1.0f}, {0.0f, 0.0f, 1.0f}, 1.0f, 1.0f},
        {{0.6f, 0.0f, 0.8f}, {0.6f, 0.0f, -0.8f}, 0.8f, 1.25f},
    };
    for (const Row& row : rows) {
        vyr::ShadingState s = stateWithRay(row.I);
        s.lobeRequest[2] = 1;  // byte 402 alone decides
        m->sampleBsdf(&ctx, &s);
        EXPECT_EQ(s.bsdfLobe, 4);
        EXPECT_NEAR(s.bsdfCos, row.cos, 1e-6f);
        expectVec(s.bsdfDir, row.dir, 1e-6f);
        expectVec(s.bsdfWeight, tint * row.scale, 1e-6f);
        EXPECT_EQ(s.bsdfPdf, 1.0f);
    }
    EXPECT_TRUE(ctx.calls.empty());
}

TEST(Mirror, ClearRequestByteWritesOnlyTheLobe) {
    const Material m = makeMaterial("vexa_kelo_Mtl_Mirror", {{"u_tintColor", Vec3f{1, 1, 1}}});
    vkhost::ScriptedContext ctx;
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
    // Bytes 400, 401 and the transmission bytes set; 402 clear.
    s.lobeRequest[0] = s.lobeRequest[1] = s.lobeRequest[3] = 1;
    s.bsdfDir = {7.0f, 7.0f, 7.0f};
    s.bsdfWeight = {8.0f, 8.0f, 8.0f};
    s.bsdfCos = 9.0f;
    s.bsdfPdf = 10.0f;
    s.bsdfLobe = 99;
    vyr::ShadingState expected = s;
    expected.bsdfLobe = 0;
    m->sampleBsdf(&ctx, &s);
    EXPECT_TRUE(sameBytes(s, expected));
}

// Exactly grazing: s = 0, Nf = 0, cos = 0 and the weight 1/0: not guarded.
TEST(Mirror, GrazingSampleKeepsTheUnguardedDivision) {
    const Material m = makeMaterial("vexa_kelo_Mtl_Mirror", {{"u_tintColor", Vec3f{1, 1, 1}}});
    vkhost::ScriptedContext ctx;
    vyr::ShadingState s = stateWithRay({1.0f, 0.0f, 0.0f});
    s.lobeRequest[2] = 1;
    m->sampleBsdf(&ctx, &s);
    EXPECT_EQ(s.bsdfCos, 0.0f);
    EXPECT_TRUE(std::isinf(s.bsdfWeight.x));
    EXPECT_EQ(s.bsdfDir, (Vec3f{1.0f, 0.0f, 0.0f}));
    EXPECT_EQ(s.bsdfLobe, 4);
}

TEST(Mirror, EmptySlotsLeaveTheStateUnchanged) {
    const Material m = makeMaterial("vexa_kelo_Mtl_Mirror", {{"u_tintColor", Vec3f{1, 1, 1}}});
    vkhost::ScriptedContext ctx;
    vyr::ShadingState s = stateWithRay({0.6f, 0.0f, -0.8f});
    s.shadowTransmit = {0.3f, 0.3f, 0.3f};
    s.bsdfDir = {0.0f, 0.0f, 1.0f};
    const vyr::ShadingState before = s;
    m->shadow(&ctx, &s);
    m->evaluateBsdf(&ctx, &s);
    m->finishShading();
    EXPECT_TRUE(sameBytes(s, before));
    EXPECT_TRUE(ctx.calls.empty());
}

}  // namespace
}  // namespace materials_test
