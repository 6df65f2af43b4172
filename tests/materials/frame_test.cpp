// The shared material routines. They are hidden inside the library, so this file compiles their
// source into the test directly.
#include <limits>

#include "material_support.h"
#include "materials/material_frame.cpp"

namespace materials_test {
namespace {

using namespace vexakelo;

void expectOrthonormal(const ShadingFrame& f, Vec3f unitN) {
    EXPECT_NEAR(length(f.T), 1.0f, 1e-6f);
    EXPECT_NEAR(length(f.B), 1.0f, 1e-6f);
    EXPECT_NEAR(dot(f.T, unitN), 0.0f, 1e-6f);
    EXPECT_NEAR(dot(f.B, unitN), 0.0f, 1e-6f);
    EXPECT_NEAR(dot(f.T, f.B), 0.0f, 1e-6f);
    // Right-handed: T x B along N.
    EXPECT_GT(dot(cross(f.T, f.B), unitN), 0.999f);
}

// Rows: tangent, bitangent, normal, expected T.
//  a tangent in the plane is kept;
//  a tilted tangent loses its normal part: (1, 0, 1) -> (1, 0, 0);
//  a zero tangent falls back to B turned a quarter: B x N = (0,1,0) x (0,0,1) = (1, 0, 0);
//  a tangent parallel to N and a zero bitangent fall back to world x projected: (1, 0, 0);
//  with N = x the world-x fallback is replaced by y: (0, 1, 0);
//  a NaN tangent is treated as zero.
TEST(ShadingFrameRoutine, AlwaysOrthonormalWithFallbacks) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    struct Row {
        Vec3f t, b, n, T;
    };
    const Row rows[] = {
        {{0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 1.0f}, {0.0f, 1.0f, 0.0f}},
        {{1.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 1.0f}, {1.0f, 0.0f, 0.0f}},
        {{0.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}, {1.0f, 0.0f, 0.0f}},
        {{0.0f, 0.0f, 3.0f}, {0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 1.0f}, {1.0f, 0.0f, 0.0f}},
        {{2.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}},
        {{nan, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 1.0f}, {1.0f, 0.0f, 0.0f}},
    };
    for (const Row& row : rows) {
        const ShadingFrame f = orthonormalFrame({row.t, row.b, row.n}, kFrameOrthogonalise);
        expectVec(f.T, row.T, 1e-6f);
        expectOrthonormal(f, row.n);
        EXPECT_EQ(f.N, row.n);
    }
}

// Without the unit-normal bit N keeps its length; with it (mode 3) N is normalised; a zero
// normal stays zero and T, B are built about +z.
TEST(ShadingFrameRoutine, NormalLengthFollowsTheMode) {
    const ShadingFrame keep =
        orthonormalFrame({{1.0f, 0.0f, 0.0f}, {}, {0.0f, 0.0f, 2.0f}}, kFrameOrthogonalise);
    EXPECT_EQ(keep.N, (Vec3f{0.0f, 0.0f, 2.0f}));
    expectOrthonormal(keep, {0.0f, 0.0f, 1.0f});
    const ShadingFrame unit =
        orthonormalFrame({{1.0f, 0.0f, 0.0f}, {}, {0.0f, 0.0f, 2.0f}}, kFrameFull);
    EXPECT_EQ(unit.N, (Vec3f{0.0f, 0.0f, 1.0f}));
    const ShadingFrame zero =
        orthonormalFrame({{0.0f, 0.0f, 0.0f}, {}, {0.0f, 0.0f, 0.0f}}, kFrameFull);
    EXPECT_EQ(zero.N, (Vec3f{0.0f, 0.0f, 0.0f}));
    expectOrthonormal(zero, {0.0f, 0.0f, 1.0f});
}

// The varying is taken to world space through localFrame's first three columns: a surface whose
// frame maps x to y, y to -x and z to z turns the tangent (1, 0, 0) into (0, 1, 0).
TEST(ShadingFrameRoutine, TangentGoesThroughLocalFrame) {
    vyr::ShadingState s = vkhost::makeState();
    float m[16] = {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    std::memcpy(s.localFrame, m, sizeof m);
    s.tangent = {1.0f, 0.0f, 0.0f};
    const MaterialFrame f = copyFrame(s);
    const ShadingFrame frame = surfaceFrame(s.normal, f, kFrameFull);
    expectVec(frame.T, {0.0f, 1.0f, 0.0f}, 0.0f);
    expectVec(frame.B, {-1.0f, 0.0f, 0.0f}, 0.0f);
}

// Importance: red only when strictly above both, then green only when strictly above blue.
TEST(MaterialFrame, ImportanceTieRules) {
    struct Row {
        Vec3f w;
        float expected;
    };
    const Row rows[] = {
        {{3.0f, 2.0f, 1.0f}, 3.0f}, {{2.0f, 2.0f, 1.0f}, 2.0f}, {{1.0f, 3.0f, 2.0f}, 3.0f},
        {{1.0f, 2.0f, 2.0f}, 2.0f}, {{0.0f, 0.0f, 0.0f}, 0.0f}, {{-1.0f, -2.0f, -3.0f}, -1.0f},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(importanceOf(row.w), row.expected);
    }
}

// The six colours are summed left to right and alpha is exactly 1 whatever the parts' alphas:
// 1e8 + 1 - 1e8 in single precision left to right is (1e8 + 1) - 1e8 = 0, not 1.
TEST(MaterialFrame, SumIsLeftToRightWithAlphaOne) {
    Contributions c;
    clearContributions(c);
    for (const Vec4f& v : c.color) {
        EXPECT_EQ(v, (Vec4f{0.0f, 0.0f, 0.0f, 1.0f}));
    }
    c.color[0] = {1e8f, 0.0f, 0.0f, 0.25f};
    c.color[1] = {1.0f, 0.0f, 0.0f, 0.0f};
    c.color[2] = {-1e8f, 2.0f, 0.0f, 7.0f};
    c.color[5] = {0.0f, 0.0f, 3.0f, 0.0f};
    EXPECT_EQ(sumContributions(c), (Vec4f{0.0f, 2.0f, 3.0f, 1.0f}));
}

// u' = m0 u + m3 v + m6, v' = m1 u + m4 v + m7; m2, m5, m8 unused.
TEST(MaterialFrame, UvTransformAndEmptyTexture) {
    const vyr::Mat3f m{{2.0f, 3.0f, 99.0f, 5.0f, 7.0f, 99.0f, 11.0f, 13.0f, 99.0f}};
    const Vec2f t = applyUvTransform(m, {1.0f, 10.0f});
    EXPECT_EQ(t.x, 2.0f + 50.0f + 11.0f);
    EXPECT_EQ(t.y, 3.0f + 70.0f + 13.0f);
    EXPECT_EQ(sampleTexture(vyr::TextureHandle{}, {0.5f, 0.5f}), (Vec4f{0.0f, 0.0f, 0.0f, 1.0f}));
}

// Height bump with a map whose heights change along u: texels (0.5, 0, 0) then (0, 0, 0) on a
// 2x1 texture. Rather than the filtered value, check the rule: a constant map and an empty
// handle leave N; a changing map moves N along T only, by amount * 3.33 * du.
TEST(MaterialFrame, HeightBumpRule) {
    const ShadingFrame f{{1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}};
    EXPECT_EQ(heightMapBump(f, vyr::TextureHandle{}, kIdentity, 1.0f, 1.0f, {0.3f, 0.3f}), f.N);
    EXPECT_EQ(heightMapBump(f, constantTexture({1, 2, 3}), kIdentity, 1.0f, 1.0f, {0.3f, 0.3f}),
              f.N);

    const float texels[6] = {0.5f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
    const vyr::TextureHandle ramp = rgbTexture(2, 1, texels);
    Vec4f a, b;
    const Vec2f uv{0.5f, 0.5f};
    const Vec2f uv1{0.501f, 0.5f};
    vyr::host::textureOf(ramp)->sample(&a, &uv);
    vyr::host::textureOf(ramp)->sample(&b, &uv1);
    const float du = (a.x + a.y + a.z) - (b.x + b.y + b.z);
    ASSERT_NE(du, 0.0f);
    const Vec3f n = heightMapBump(f, ramp, kIdentity, 2.0f, 1.0f, uv);
    EXPECT_NEAR(n.x, 2.0f * 3.33f * du, 1e-6f);
    EXPECT_EQ(n.y, 0.0f);
    EXPECT_EQ(n.z, 1.0f);
}

}  // namespace
}  // namespace materials_test
