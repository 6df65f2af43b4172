// The spot light and the shadow-colour blend it shares with the other coloured-shadow lights.
#include "light_support.h"

namespace lights_test {
namespace {

using Call = vkhost::ScriptedContext::Call;

// The point sits at cosine c off the axis (0, 0, -1): lightToPoint = (sqrt(1 - c^2), 0, -c), so
// dot(axis, lightToPoint) = 0 + 0 + c exactly.
vyr::ShadingState spotState(float c, float distance) {
    const float side = std::sqrt(std::fmax(0.0f, 1.0f - c * c));
    return lightState({0.0f, 0.0f, -1.0f}, {side, 0.0f, -c}, distance);
}

struct ConeRow {
    const char* what;
    float hotspot, falloff, decay, c;
    float f;  // expected cone factor
};

TEST(SpotLight, ConeFactorWithoutShadows) {
    // integratedColor (1, 1, 1) at distance 1: lightColor = (1/1) * (f * 1) = f.
    const ConeRow rows[] = {
        {"hard edge inside: powf(0.9, 1)", 0.5f, 0.5f, 1.0f, 0.9f, 0.9f},
        {"hard edge exactly on the falloff cone gets nothing", 0.5f, 0.5f, 1.0f, 0.5f, 0.0f},
        {"hard edge just inside gets the full powf", 0.5f, 0.5f, 1.0f, 0.5000001f, 0.5000001f},
        // t = (0.75 - 0.5) / (1 - 0.5) = 0.5; f = 0.75 * (3 - 1) * 0.5 * 0.5 = 0.375.
        {"smooth edge halfway", 1.0f, 0.5f, 1.0f, 0.75f, 0.375f},
        // t = (0.625 - 0.5) / 0.5 = 0.25; f = 0.625 * 2.5 * 0.0625 = 0.09765625.
        {"smooth edge a quarter in", 1.0f, 0.5f, 1.0f, 0.625f, 0.09765625f},
        {"decay 0 is flat inside the cone", 0.5f, 0.5f, 0.0f, 0.9f, 1.0f},
        {"decay 2: 0.75^2", 0.5f, 0.5f, 2.0f, 0.75f, 0.5625f},
        {"decay -1: 1/0.8 = 1.25 clamped to 1", 0.5f, 0.5f, -1.0f, 0.8f, 1.0f},
        {"outside the cone", 0.5f, 0.5f, 1.0f, 0.3f, 0.0f},
        {"c = 0 is not behind: falloff -0.5, powf(0, 0) = 1", -0.5f, -0.5f, 0.0f, 0.0f, 1.0f},
    };
    for (const ConeRow& row : rows) {
        SCOPED_TRACE(row.what);
        HostShader spot("vexa_kelo_Lgt_Spot");
        spot.set("cast_shadows", false)
            .set("hotspot", row.hotspot)
            .set("falloff", row.falloff)
            .set("decay", row.decay);
        vkhost::ScriptedContext context;
        vyr::ShadingState state = spotState(row.c, 1.0f);
        spot.shade(context, state);
        expectVec(state.lightColor, {row.f, row.f, row.f});
        // Without shadows lightShadow is the host's and no shadow ray is traced.
        EXPECT_EQ(state.lightShadow, (vyr::Vec3f{7.0f, 8.0f, 9.0f}));
        EXPECT_EQ(context.count(Call::TraceShadow), 0u);
    }
}

TEST(SpotLight, DistanceTermAndIntegratedColor) {
    struct Row {
        float distance, multiplier;
        vyr::Vec3f expected;
    };
    // integratedColor (0.5, 1, 2), f = powf(1, 1) = 1: lightColor = (1/D) * colour with
    // D = distance^2 * multiplier.
    const Row rows[] = {
        {2.0f, 1.0f, {0.125f, 0.25f, 0.5f}},           // D = 4
        {2.0f, 0.25f, {0.5f, 1.0f, 2.0f}},             // D = 1
        {1.0f, 4.0f, {0.125f, 0.25f, 0.5f}},           // multiplier 4 = twice the distance
        {0.0f, 1.0f, {INFINITY, INFINITY, INFINITY}},  // no guard on a zero distance
    };
    for (const Row& row : rows) {
        HostShader spot("vexa_kelo_Lgt_Spot");
        spot.set("cast_shadows", false)
            .set("integratedColor", vyr::Vec3f{0.5f, 1.0f, 2.0f})
            .set("squareUnitsMultiplier", row.multiplier)
            .set("color", vyr::Vec3f{9.0f, 9.0f, 9.0f})  // not used without shadows
            .set("intensity", 9.0f);
        vkhost::ScriptedContext context;
        vyr::ShadingState state = spotState(1.0f, row.distance);
        spot.shade(context, state);
        expectVec(state.lightColor, row.expected);
    }
}

TEST(SpotLight, BehindTheLightIsBlackAndTracesNothing) {
    HostShader spot("vexa_kelo_Lgt_Spot");
    spot.set("falloff", -1.0f).set("hotspot", -1.0f);  // the cone would take everything
    vkhost::ScriptedContext context;
    vyr::ShadingState state = spotState(-0.1f, 1.0f);
    spot.shade(context, state);
    EXPECT_EQ(state.lightColor, (vyr::Vec3f{0.0f, 0.0f, 0.0f}));
    EXPECT_EQ(state.lightShadow, (vyr::Vec3f{7.0f, 8.0f, 9.0f}));
    EXPECT_EQ(context.count(Call::TraceShadow), 0u);
}

TEST(SpotLight, ClearPathGivesColorTimesIntensityAndFoldsTheShadow) {
    HostShader spot("vexa_kelo_Lgt_Spot");
    spot.set("color", vyr::Vec3f{0.5f, 1.0f, 2.0f})
        .set("intensity", 3.0f)
        .set("shadowCol", vyr::Vec3f{5.0f, 5.0f, 5.0f});
    vkhost::ScriptedContext context;  // traceShadow answers (1, 1, 1)
    vyr::ShadingState state = spotState(1.0f, 2.0f);
    state.position = {1.0f, 2.0f, 3.0f};
    spot.shade(context, state);
    // s = 0, a = 0: B = colour; lightColor = B * (1 * 3 / 4).
    expectVec(state.lightColor, {0.375f, 0.75f, 1.5f});
    EXPECT_EQ(state.lightShadow, (vyr::Vec3f{1.0f, 1.0f, 1.0f}));
    ASSERT_EQ(context.count(Call::TraceShadow), 1u);
    EXPECT_EQ(context.calls[0].a, (vyr::Vec3f{1.0f, 2.0f, 3.0f}));  // from the point
    EXPECT_EQ(context.calls[0].b, state.lightPosition);             // to the light
}

struct BlendRow {
    const char* what;
    vyr::Vec3f T;
    float density;
    bool affect;
    vyr::Vec3f expected;
};

TEST(ShadowColorBlend, ThreeRegimesChosenByTheAverageAppliedPerChannel) {
    // Through the spot at f = 1, intensity 1, D = 1, so lightColor is the blend itself.
    // L = "color" = (0.5, 1, 2), S = "shadowCol" = (0.25, 0.5, 4).
    const BlendRow rows[] = {
        // s = (1, 0.5, 0), a = 1.5 * 0.333 = 0.4995: (1 - s) L + s S
        //   = (0 + 0.25, 0.5 + 0.25, 2 + 0).
        {"linear", {0.0f, 0.5f, 1.0f}, 1.0f, false, {0.25f, 0.75f, 2.0f}},
        // ((1 - s) + s S) L = ((0 + 0.25) 0.5, (0.5 + 0.25) 1, (1 + 0) 2).
        {"linear, tinted", {0.0f, 0.5f, 1.0f}, 1.0f, true, {0.125f, 0.75f, 2.0f}},
        // s = (2, 2, 1), a = 5 * 0.333 = 1.665 > 1: s S = (0.5, 1, 4); the light colour drops out.
        {"deep", {0.5f, 0.5f, 0.75f}, 4.0f, false, {0.5f, 1.0f, 4.0f}},
        // s L S = (2 0.5 0.25, 2 1 0.5, 1 2 4).
        {"deep, tinted", {0.5f, 0.5f, 0.75f}, 4.0f, true, {0.25f, 1.0f, 8.0f}},
        // T above 1: s = (-1, -0.5, 0), a < 0: s S + L = (-0.25 + 0.5, -0.25 + 1, 0 + 2).
        {"negative", {2.0f, 1.5f, 1.0f}, 1.0f, false, {0.25f, 0.75f, 2.0f}},
        // (s S + 1) L = (0.75 0.5, 0.75 1, 1 2).
        {"negative, tinted", {2.0f, 1.5f, 1.0f}, 1.0f, true, {0.375f, 0.75f, 2.0f}},
        // s = (2, 0, 0), a = 0.666: each channel its own s; red (1 - 2) 0.5 + 2 0.25 = 0.
        {"own s per channel", {0.0f, 1.0f, 1.0f}, 2.0f, false, {0.0f, 1.0f, 2.0f}},
        // Fully blocked, density 1: s = 1, a = 0.999: the shadow colour itself.
        {"blocked", {0.0f, 0.0f, 0.0f}, 1.0f, false, {0.25f, 0.5f, 4.0f}},
        // NaN transmittance: a is NaN, not >= 0: the negative regime, s S + L, all NaN.
        {"NaN", {NAN, NAN, NAN}, 1.0f, false, {NAN, NAN, NAN}},
    };
    for (const BlendRow& row : rows) {
        SCOPED_TRACE(row.what);
        HostShader spot("vexa_kelo_Lgt_Spot");
        spot.set("color", vyr::Vec3f{0.5f, 1.0f, 2.0f})
            .set("shadowCol", vyr::Vec3f{0.25f, 0.5f, 4.0f})
            .set("shadowDensity", row.density)
            .set("lightAffectShadowCol", row.affect);
        vkhost::ScriptedContext context;
        context.shadowResult = row.T;
        vyr::ShadingState state = spotState(1.0f, 1.0f);
        spot.shade(context, state);
        if (std::isnan(row.expected.x)) {
            EXPECT_TRUE(std::isnan(state.lightColor.x) && std::isnan(state.lightColor.z));
        } else {
            expectVec(state.lightColor, row.expected);
        }
        EXPECT_EQ(state.lightShadow, (vyr::Vec3f{1.0f, 1.0f, 1.0f}));
    }
}

TEST(ShadowColorBlend, AverageUsesPoint333NotAThird) {
    // Blocked, density 1.001: s = 1.001 per channel, sum 3.003, a = 3.003 * 0.333 = 0.99999 <= 1,
    // so the linear regime: (1 - 1.001) * 1 + 1.001 * 0 = -0.001. With a true third a would be
    // 1.001 and the deep regime would give s S = 0.
    HostShader spot("vexa_kelo_Lgt_Spot");
    spot.set("color", vyr::Vec3f{1.0f, 1.0f, 1.0f}).set("shadowDensity", 1.001f);
    vkhost::ScriptedContext context;
    context.shadowResult = {0.0f, 0.0f, 0.0f};
    vyr::ShadingState state = spotState(1.0f, 1.0f);
    spot.shade(context, state);
    expectVec(state.lightColor, {-0.001f, -0.001f, -0.001f}, 1e-7f);
}

TEST(SpotLight, ShadowColorMap) {
    // Blocked, density 1: lightColor = S * (1 * 1 / 1) = the shadow colour.
    vkhost::ScriptedContext context;
    context.shadowResult = {0.0f, 0.0f, 0.0f};
    {
        SCOPED_TRACE("an empty map gives black, not shadowCol");
        HostShader spot("vexa_kelo_Lgt_Spot");
        spot.set("shadowCol", vyr::Vec3f{0.25f, 0.5f, 4.0f}).set("useShadowColMap", true);
        vyr::ShadingState state = spotState(1.0f, 1.0f);
        spot.shade(context, state);
        EXPECT_EQ(state.lightColor, (vyr::Vec3f{0.0f, 0.0f, 0.0f}));
    }
    {
        SCOPED_TRACE("a one-texel map gives its colour everywhere");
        HostShader spot("vexa_kelo_Lgt_Spot");
        spot.set("useShadowColMap", true)
            .set("shadowColMap", rgbTexture(1, 1, {0.125f, 0.25f, 0.5f}));
        vyr::ShadingState state = spotState(1.0f, 1.0f);
        spot.shade(context, state);
        expectVec(state.lightColor, {0.125f, 0.25f, 0.5f});
    }
    {
        SCOPED_TRACE("the map is ignored while useShadowColMap is off");
        HostShader spot("vexa_kelo_Lgt_Spot");
        spot.set("shadowCol", vyr::Vec3f{0.25f, 0.5f, 4.0f})
            .set("shadowColMap", rgbTexture(1, 1, {0.125f, 0.25f, 0.5f}));
        vyr::ShadingState state = spotState(1.0f, 1.0f);
        spot.shade(context, state);
        expectVec(state.lightColor, {0.25f, 0.5f, 4.0f});
    }
}

TEST(SpotLight, ShadowColorMapProjection) {
    // k = 0.5 / tan(0.5) = 0.9152439; u = -k d.x / d.z + 0.5, v = 1 - (k d.y / d.z + 0.5).
    const float k = 0.9152439f;
    struct Row {
        vyr::Vec3f d;
        vyr::Vec2f uv;
    };
    const Row rows[] = {
        {{0.0f, 0.0f, -1.0f}, {0.5f, 0.5f}},        // along the axis: the centre
        {{0.25f / k, 0.0f, -1.0f}, {0.75f, 0.5f}},  // -k (0.25/k) / -1 + 0.5
        {{0.0f, 0.25f / k, -1.0f}, {0.5f, 0.75f}},  // 1 - (0.25 / -1 + 0.5)
        {{-0.5f / k, -0.5f / k, -2.0f}, {0.25f, 0.25f}},
    };
    for (const Row& row : rows) {
        ProbeTexture probe;
        HostShader spot("vexa_kelo_Lgt_Spot");
        spot.set("useShadowColMap", true).set("shadowColMap", probe.handle());
        spot.set("lightAffectShadowCol", false);
        vkhost::ScriptedContext context;
        context.shadowResult = {0.0f, 0.0f, 0.0f};
        // Axis along d so the cone passes it; the projection reads lightToPoint as it is.
        vyr::ShadingState state = lightState(row.d, row.d, 1.0f);
        state.lightAxis = {0.0f, 0.0f, -1.0f};
        spot.shade(context, state);
        ASSERT_EQ(probe.calls, 1);
        EXPECT_NEAR(probe.last.x, row.uv.x, 1e-6f);
        EXPECT_NEAR(probe.last.y, row.uv.y, 1e-6f);
    }
    // d.z = 0 is not guarded: the host's texture receives u = -k / 0 + 0.5 = -infinity.
    ProbeTexture probe;
    HostShader spot("vexa_kelo_Lgt_Spot");
    spot.set("useShadowColMap", true).set("shadowColMap", probe.handle());
    vkhost::ScriptedContext context;
    vyr::ShadingState state = lightState({0.0f, 0.0f, -1.0f}, {1.0f, 0.0f, 0.0f}, 1.0f);
    spot.shade(context, state);
    ASSERT_EQ(probe.calls, 1);
    EXPECT_EQ(probe.last.x, -INFINITY);
}

}  // namespace
}  // namespace lights_test
