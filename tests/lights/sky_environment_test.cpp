// The daylight sky environment: the model's values where they can be worked out by hand, and
// the rules around it (depth limit, multiplier, horizon hold, sun fade, ground, axes, units).
#include "light_support.h"

namespace lights_test {
namespace {

vyr::Vec4f skyColor(HostShader& sky, vyr::Vec3f view, int depth = 0, int limit = 5) {
    vkhost::ScriptedContext context;
    vyr::ShadingState state = vkhost::makeState();
    state.rayDir = view;
    state.traceDepth = depth;
    state.traceDepthLimit = limit;
    state.outColor = {9.0f, 9.0f, 9.0f, 9.0f};
    sky.shade(context, state);
    return state.outColor;
}

void expectRelative(const vyr::Vec4f& actual, const vyr::Vec4f& expected, float tolerance) {
    EXPECT_NEAR(actual.x, expected.x, std::fabs(expected.x) * tolerance);
    EXPECT_NEAR(actual.y, expected.y, std::fabs(expected.y) * tolerance);
    EXPECT_NEAR(actual.z, expected.z, std::fabs(expected.z) * tolerance);
    EXPECT_NEAR(actual.w, expected.w, std::fabs(expected.w) * tolerance);
}

// Sun and view at the zenith, haze 0 (T = 2), default units:
//   theta_s = 0, chi = (0.4444444 - 2/120) 3.141593 = 1.3439035, tan(chi) = 4.3314760;
//   Yz = 4.3314760 ((4.0453 2 - 4.971) 1000) - 0.431 + 2.4192 = 4.3314760 3119.6 + 1.9882
//      = 13514.461 (the 1000 on the tangent term only);
//   every Perez ratio is 1 (view = sun = zenith), so Y = Yz,
//   x = 2 0.003948 + 0.258852 = 0.266748, y = 2 0.005158 + 0.266881 = 0.277197;
//   X = x / y Y = 13005.030, Z = (1 - x - y) / y Y = 22234.503;
//   RGB = 3.141593 M (X, Y, Z) = (32303.619, 42993.025, 67460.058);
//   times 0.00066666701: (21.535757, 28.662031, 44.973395), alpha 0.
constexpr vyr::Vec4f kZenith{21.535757f, 28.662031f, 44.973395f, 0.0f};
// Its luminance, the ground's scale: 0.3 R + 0.59 G + 0.11 B = 28.318399.
constexpr float kZenithLuminance = 28.318399f;

TEST(SkyEnvironment, ZenithSunAtTheZenith) {
    struct Row {
        const char* what;
        vyr::Vec3f sun, view;
        bool yIsUp;
    };
    const Row rows[] = {
        {"z up", {0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 1.0f}, false},
        {"sun of any length", {0.0f, 0.0f, 250.0f}, {0.0f, 0.0f, 1.0f}, false},
        {"y up swaps y and z", {0.0f, 1.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        HostShader sky("vexa_kelo_Env_Sky");
        sky.set("sun_direction", row.sun).set("y_is_up", row.yIsUp);
        expectRelative(skyColor(sky, row.view), kZenith, 2e-6f);
    }
}

TEST(SkyEnvironment, BehindTheSunWithHaze) {
    // Sun at 30 degrees (0.8660254, 0, 0.5), view (-0.6, 0, 0.8), haze 2 (T = 4):
    //   theta_s = 1.0471976, chi = (0.4444444 - 4/120) (3.141593 - 2.0943951) = 0.4305146,
    //   Yz = tan(chi) ((4.0453 4 - 4.971) 1000) - 0.862 + 2.4192 = 5149.775;
    //   dot(v, s) = -0.5196152 + 0.4 = -0.1196152: the luminance clamps it to 0 (acos = pi/2),
    //   FY = 0.8050325, Y = 4145.736; the chromaticity keeps it: gamma = 1.6906987;
    //   x distribution A = -0.019257 4 - (0.29 - 0.09 sqrt(0.5)) = -0.3033884 (sun-height term),
    //   Fx = 0.9808445, xz = 0.2517893, x = 0.2469662; Fy = 1.0055581, yz = 0.2626068,
    //   y = 0.2640664; X = 3877.2685, Z = 7676.5897;
    //   RGB times 0.00066666701 = (4.9503421, 9.0954282, 15.677714).
    HostShader sky("vexa_kelo_Env_Sky");
    sky.set("sun_direction", vyr::Vec3f{0.8660254f, 0.0f, 0.5f}).set("haze", 2.0f);
    expectRelative(skyColor(sky, {-0.6f, 0.0f, 0.8f}), {4.9503421f, 9.0954282f, 15.677714f, 0.0f},
                   2e-5f);
}

TEST(SkyEnvironment, CosineAboveOneIsFoldedBack) {
    // The view is used as given: (0, 0, 1.5) against the zenith sun has dot 1.5, folded to
    // 2 - 1.5 = 0.5 in both distributions (an unfolded acos(1.5) would be NaN). T = 2:
    //   FY = (1 + A exp(B / 1.5)) (1 + C exp(D pi/3) + E 0.25) / ((1 + A exp(B)) (1 + C + E))
    //      = 0.1179021, Y = 13514.461 FY = 1593.3838;
    //   Fx = 0.8549696, x = 0.266748 Fx = 0.2280614; Fy = 0.8308293, y = 0.277197 Fy = 0.2303034;
    //   X = 1577.8726, Z = 3747.3732; RGB times 0.00066666701 = (1.6648673, 3.3879356, 7.8001272).
    HostShader sky("vexa_kelo_Env_Sky");
    expectRelative(skyColor(sky, {0.0f, 0.0f, 1.5f}), {1.6648673f, 3.3879356f, 7.8001272f, 0.0f},
                   2e-5f);
}

TEST(SkyEnvironment, DepthLimitAndMultiplierGiveTransparentBlack) {
    struct Row {
        const char* what;
        int depth, limit;
        float multiplier;
    };
    const Row rows[] = {
        {"depth at the limit", 5, 5, 1.0f},           {"depth past the limit", 9, 5, 1.0f},
        {"signed comparison: limit -1", 0, -1, 1.0f}, {"multiplier 0", 0, 5, 0.0f},
        {"negative multiplier", 0, 5, -2.0f},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        HostShader sky("vexa_kelo_Env_Sky");
        sky.set("multiplier", row.multiplier);
        EXPECT_EQ(skyColor(sky, {0.0f, 0.0f, 1.0f}, row.depth, row.limit),
                  (vyr::Vec4f{0.0f, 0.0f, 0.0f, 0.0f}));
    }
    HostShader sky("vexa_kelo_Env_Sky");
    expectRelative(skyColor(sky, {0.0f, 0.0f, 1.0f}, 4, 5), kZenith, 2e-6f);
}

TEST(SkyEnvironment, GroundBelowTheHorizon) {
    HostShader sky("vexa_kelo_Env_Sky");
    {
        SCOPED_TRACE("straight down: the view is held at (0, 0, 0.001) / sqrt(1.0000001e-6),");
        SCOPED_TRACE("the zenith, so pure ground = 28.318399 (0.2, 0.2, 0.2, 1)");
        const vyr::Vec4f down = skyColor(sky, {0.0f, 0.0f, -1.0f});
        const float l = kZenithLuminance;
        expectRelative(down, {0.2f * l, 0.2f * l, 0.2f * l, l}, 2e-6f);
    }
    // A view just below the horizon and the same direction held above it, by the hold's own
    // arithmetic: (0.6, 0, 0.001) / sqrt(0.36 + 1.0000001e-6), whose z stays above 0.001.
    const vyr::Vec3f below{0.6f, 0.0f, -0.005f};
    const float root = std::sqrt(0.6f * 0.6f + 0.0f * 0.0f + 1.0000001e-6f);
    const vyr::Vec4f C = skyColor(sky, {0.6f / root, 0.0f / root, 0.001f / root});
    EXPECT_EQ(C.w, 0.0f);
    const float l = 0.3f * C.x + 0.59f * C.y + 0.11f * C.z;
    {
        SCOPED_TRACE("in the band: t = 0.005 / 0.01 = 0.5, w = 0.25 (3 - 1) = 0.5");
        const vyr::Vec4f blended = skyColor(sky, below);
        expectRelative(blended,
                       {0.5f * C.x + 0.5f * 0.2f * l, 0.5f * C.y + 0.5f * 0.2f * l,
                        0.5f * C.z + 0.5f * 0.2f * l, 0.5f * l},
                       1e-6f);
    }
    {
        SCOPED_TRACE("blur 0: pure ground at once");
        HostShader sharp("vexa_kelo_Env_Sky");
        sharp.set("horizon_blur", 0.0f);
        expectRelative(skyColor(sharp, below), {0.2f * l, 0.2f * l, 0.2f * l, l}, 1e-6f);
    }
    {
        SCOPED_TRACE("exactly at the horizon the band starts: w = 0, the sky with alpha 0");
        const vyr::Vec4f horizon = skyColor(sky, {1.0f, 0.0f, 0.0f});
        EXPECT_EQ(horizon.w, 0.0f);
        EXPECT_GT(horizon.x, 0.0f);
        HostShader sharp("vexa_kelo_Env_Sky");
        sharp.set("horizon_blur", 0.0f);
        const vyr::Vec4f ground = skyColor(sharp, {1.0f, 0.0f, 0.0f});
        const float lh = 0.3f * horizon.x + 0.59f * horizon.y + 0.11f * horizon.z;
        expectRelative(ground, {0.2f * lh, 0.2f * lh, 0.2f * lh, lh}, 1e-6f);
    }
}

TEST(SkyEnvironment, SunBelowTheHorizonIsHeldAndFaded) {
    // Sun (0.8, 0, -0.6): fade 1 - 0.6 = 0.4, held at (0.8, 0, 0.001) / sqrt(0.64 + 1.0000001e-6).
    const float root = std::sqrt(0.8f * 0.8f + 0.0f * 0.0f + 1.0000001e-6f);
    HostShader low("vexa_kelo_Env_Sky");
    low.set("sun_direction", vyr::Vec3f{0.8f, 0.0f, -0.6f});
    HostShader held("vexa_kelo_Env_Sky");
    held.set("sun_direction", vyr::Vec3f{0.8f / root, 0.0f, 0.001f / root});
    for (const vyr::Vec3f view : {vyr::Vec3f{0.0f, 0.0f, 1.0f}, vyr::Vec3f{0.0f, 0.6f, 0.8f}}) {
        const vyr::Vec4f reference = skyColor(held, view);
        expectRelative(skyColor(low, view),
                       {0.4f * reference.x, 0.4f * reference.y, 0.4f * reference.z, 0.0f}, 1e-5f);
    }
    // Straight down the fade is 0: black, alpha 0.
    HostShader night("vexa_kelo_Env_Sky");
    night.set("sun_direction", vyr::Vec3f{0.0f, 0.0f, -1.0f});
    const vyr::Vec4f black = skyColor(night, {0.0f, 0.6f, 0.8f});
    EXPECT_EQ(black, (vyr::Vec4f{0.0f, 0.0f, 0.0f, 0.0f}));
}

TEST(SkyEnvironment, ParametersAroundTheModel) {
    const vyr::Vec3f view{0.0f, 0.6f, 0.8f};
    HostShader plain("vexa_kelo_Env_Sky");
    plain.set("sun_direction", vyr::Vec3f{0.3f, 0.4f, 0.5f});
    const vyr::Vec4f base = skyColor(plain, view);
    {
        SCOPED_TRACE("multiplier 2 doubles exactly");
        HostShader sky("vexa_kelo_Env_Sky");
        sky.set("sun_direction", vyr::Vec3f{0.3f, 0.4f, 0.5f}).set("multiplier", 2.0f);
        const vyr::Vec4f c = skyColor(sky, view);
        EXPECT_EQ(c, (vyr::Vec4f{2.0f * base.x, 2.0f * base.y, 2.0f * base.z, 0.0f}));
    }
    {
        SCOPED_TRACE("saturation changes nothing; haze below 0 is turbidity 2 as haze 0");
        HostShader sky("vexa_kelo_Env_Sky");
        sky.set("sun_direction", vyr::Vec3f{0.3f, 0.4f, 0.5f})
            .set("saturation", 0.0f)
            .set("haze", -1.5f);
        EXPECT_EQ(skyColor(sky, view), base);
    }
    {
        SCOPED_TRACE("a non-positive horizon_height changes nothing");
        HostShader sky("vexa_kelo_Env_Sky");
        sky.set("sun_direction", vyr::Vec3f{0.3f, 0.4f, 0.5f}).set("horizon_height", -1.0f);
        EXPECT_EQ(skyColor(sky, view), base);
    }
    {
        SCOPED_TRACE("a negative unit factor becomes 1.25e-5 on every channel");
        HostShader sky("vexa_kelo_Env_Sky");
        sky.set("sun_direction", vyr::Vec3f{0.3f, 0.4f, 0.5f})
            .set("rgb_unit_conversion", vyr::Vec4f{-1.0f, 7.0f, 7.0f, 7.0f});
        // 1.25e-5 / 0.00066666701 = 0.01875 of the default.
        expectRelative(skyColor(sky, view),
                       {0.01875f * base.x, 0.01875f * base.y, 0.01875f * base.z, 0.0f}, 1e-6f);
    }
    {
        SCOPED_TRACE("horizon_height 1 lifts the horizon by 0.1: a level view sees ground");
        HostShader sky("vexa_kelo_Env_Sky");
        sky.set("sun_direction", vyr::Vec3f{0.3f, 0.4f, 0.5f}).set("horizon_height", 1.0f);
        // z0 = -0.1 / sqrt(1.01) = -0.0995: t = 9.95, clamped to 1: ground l (0.2, 0.2, 0.2, 1).
        const vyr::Vec4f c = skyColor(sky, {1.0f, 0.0f, 0.0f});
        EXPECT_GT(c.w, 0.0f);
        EXPECT_EQ(c.x, c.w * 0.2f);
        EXPECT_EQ(c.y, c.x);
        EXPECT_EQ(c.z, c.x);
    }
}

}  // namespace
}  // namespace lights_test
