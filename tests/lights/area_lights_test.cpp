// The sphere and diffuse lights: their shared parameters with the one differing default, the
// cosine and distance terms, and the six-face look-up of the shadow-colour map.
#include "light_support.h"

namespace lights_test {
namespace {

using Call = vkhost::ScriptedContext::Call;

TEST(AreaLights, ShareOneLayoutAndDifferInTheShadowDefault) {
    HostShader diffuse("vexa_kelo_Lgt_Diffuse");
    HostShader sphere("vexa_kelo_Lgt_Sphere");
    const auto& a = diffuse.layout().parameters;
    const auto& b = sphere.layout().parameters;
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i) {
        EXPECT_EQ(a[i].name, b[i].name);
        EXPECT_EQ(a[i].offset, b[i].offset);
        EXPECT_EQ(a[i].type, b[i].type);
    }
    EXPECT_EQ(std::get<bool>(diffuse.get("cast_shadows")), false);
    EXPECT_EQ(std::get<bool>(sphere.get("cast_shadows")), true);
}

TEST(DiffuseLight, CosineOverDistanceWithoutShadows) {
    struct Row {
        const char* what;
        vyr::Vec3f toPoint;
        float distance;
        vyr::Vec3f expected;
    };
    // Axis (0, 0, 1), integratedColor (1, 2, 4): lightColor = colour * c / D.
    const Row rows[] = {
        // c = 0.8, D = 4: g = 0.2.
        {"new diffuse light, no shadows", {0.6f, 0.0f, 0.8f}, 2.0f, {0.2f, 0.4f, 0.8f}},
        {"behind the emitter: c clamped to 0", {0.6f, 0.0f, -0.8f}, 2.0f, {0.0f, 0.0f, 0.0f}},
        // A lightToPoint longer than 1 gives c = 1.5, clamped to 1: g = 1 / 4.
        {"c clamped to 1", {0.0f, 0.0f, 1.5f}, 2.0f, {0.25f, 0.5f, 1.0f}},
        {"zero distance is not guarded", {0.0f, 0.0f, 1.0f}, 0.0f, {INFINITY, INFINITY, INFINITY}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        HostShader diffuse("vexa_kelo_Lgt_Diffuse");
        diffuse.set("integratedColor", vyr::Vec3f{1.0f, 2.0f, 4.0f});
        vkhost::ScriptedContext context;
        vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, row.toPoint, row.distance);
        diffuse.shade(context, state);
        expectVec(state.lightColor, row.expected);
        EXPECT_EQ(state.lightShadow, (vyr::Vec3f{7.0f, 8.0f, 9.0f}));
        EXPECT_EQ(context.count(Call::TraceShadow), 0u);
    }
}

TEST(DiffuseLight, BehindTheEmitterWithShadowsStillTraces) {
    HostShader diffuse("vexa_kelo_Lgt_Diffuse");
    diffuse.set("cast_shadows", true);
    vkhost::ScriptedContext context;
    context.shadowResult = {0.5f, 0.5f, 0.5f};
    vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, -1.0f}, 1.0f);
    diffuse.shade(context, state);
    EXPECT_EQ(state.lightColor, (vyr::Vec3f{0.0f, 0.0f, 0.0f}));
    EXPECT_EQ(state.lightShadow, (vyr::Vec3f{1.0f, 1.0f, 1.0f}));
    EXPECT_EQ(context.count(Call::TraceShadow), 1u);
}

TEST(DiffuseLight, ShadowsFoldIntoTheColor) {
    HostShader diffuse("vexa_kelo_Lgt_Diffuse");
    diffuse.set("cast_shadows", true)
        .set("color", vyr::Vec3f{1.0f, 2.0f, 4.0f})
        .set("intensity", 2.0f)
        .set("shadowCol", vyr::Vec3f{0.0f, 0.0f, 1.0f});
    vkhost::ScriptedContext context;
    context.shadowResult = {0.5f, 0.5f, 0.5f};
    vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, {0.6f, 0.0f, 0.8f}, 2.0f);
    diffuse.shade(context, state);
    // s = 0.5, a = 0.4995: B = 0.5 L + 0.5 S = (0.5, 1, 2.5); g = 0.8 / 4 = 0.2;
    // lightColor = B * (0.2 * 2) = (0.2, 0.4, 1).
    expectVec(state.lightColor, {0.2f, 0.4f, 1.0f});
    EXPECT_EQ(state.lightShadow, (vyr::Vec3f{1.0f, 1.0f, 1.0f}));
}

TEST(SphereLight, OmnidirectionalOverDistance) {
    struct Row {
        const char* what;
        bool shadows;
        vyr::Vec3f expected;
    };
    // The axis points away from the point: the sphere does not read it. D = 2^2 * 0.5 = 2.
    const Row rows[] = {
        // integratedColor (1, 2, 4) * (1 / 2).
        {"shadows off", false, {0.5f, 1.0f, 2.0f}},
        // clear path: B = color (4, 2, 1); lightColor = B * (3 / 2).
        {"shadows on, clear path", true, {6.0f, 3.0f, 1.5f}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        HostShader sphere("vexa_kelo_Lgt_Sphere");
        sphere.set("cast_shadows", row.shadows)
            .set("integratedColor", vyr::Vec3f{1.0f, 2.0f, 4.0f})
            .set("color", vyr::Vec3f{4.0f, 2.0f, 1.0f})
            .set("intensity", 3.0f)
            .set("squareUnitsMultiplier", 0.5f);
        vkhost::ScriptedContext context;
        vyr::ShadingState state = lightState({0.0f, 0.0f, -1.0f}, {0.0f, 0.0f, 1.0f}, 2.0f);
        sphere.shade(context, state);
        expectVec(state.lightColor, row.expected);
        EXPECT_EQ(context.count(Call::TraceShadow), row.shadows ? 1u : 0u);
    }
}

TEST(AreaLights, EmptyShadowMapGivesBlack) {
    for (const char* name : {"vexa_kelo_Lgt_Sphere", "vexa_kelo_Lgt_Diffuse"}) {
        SCOPED_TRACE(name);
        HostShader light(name);
        light.set("cast_shadows", true)
            .set("shadowCol", vyr::Vec3f{0.25f, 0.5f, 4.0f})
            .set("useShadowColMap", true);
        vkhost::ScriptedContext context;
        context.shadowResult = {0.0f, 0.0f, 0.0f};
        vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 1.0f}, 1.0f);
        light.shade(context, state);
        EXPECT_EQ(state.lightColor, (vyr::Vec3f{0.0f, 0.0f, 0.0f}));
    }
}

TEST(AreaLights, ShadowMapColorReachesTheLight) {
    // Blocked, density 1: B = S, the map's single texel; sphere lightColor = S * (1 / 1).
    HostShader sphere("vexa_kelo_Lgt_Sphere");
    sphere.set("useShadowColMap", true)
        .set("shadowColMap", rgbTexture(1, 1, {0.125f, 0.25f, 0.5f}));
    vkhost::ScriptedContext context;
    context.shadowResult = {0.0f, 0.0f, 0.0f};
    vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, {0.6f, 0.8f, 0.0f}, 1.0f);
    sphere.shade(context, state);
    expectVec(state.lightColor, {0.125f, 0.25f, 0.5f});
}

TEST(AreaLights, SixFaceLookUpAndItsTies) {
    struct Row {
        const char* what;
        vyr::Vec3f d;
        vyr::Vec2f uv;  // (u, 1 - w) with u = -0.5 p.x / p.z + 0.5, w = 0.5 p.y / p.z + 0.5
    };
    const Row rows[] = {
        // face 0, p = (d.z, d.y, -d.x) = (0.25, 0.5, -1): u = 0.625, w = 0.25.
        {"+x", {1.0f, 0.5f, 0.25f}, {0.625f, 0.75f}},
        // face 1, p = (-d.z, d.y, d.x) = (-0.25, 0.5, -1): u = 0.375, w = 0.25.
        {"-x", {-1.0f, 0.5f, 0.25f}, {0.375f, 0.75f}},
        // face 2, p = (d.x, d.z, -d.y) = (0.5, 0.25, -1): u = 0.75, w = 0.375.
        {"+y", {0.5f, 1.0f, 0.25f}, {0.75f, 0.625f}},
        // face 3, p = (d.x, -d.z, d.y) = (0.5, -0.25, -1): u = 0.75, w = 0.625.
        {"-y", {0.5f, -1.0f, 0.25f}, {0.75f, 0.375f}},
        // face 4, p = (-d.x, d.y, -d.z) = (-0.5, 0.25, -1): u = 0.25, w = 0.375.
        {"+z", {0.5f, 0.25f, 1.0f}, {0.25f, 0.625f}},
        // face 5, p = d = (0.5, 0.25, -1): u = 0.75, w = 0.375.
        {"-z", {0.5f, 0.25f, -1.0f}, {0.75f, 0.625f}},
        // |x| = |y| goes to y: face 2, p = (1, 0.5, -1): u = 1, w = 0.25 (face 0 would give
        // (0.75, 1)).
        {"x = y tie", {1.0f, 1.0f, 0.5f}, {1.0f, 0.75f}},
        // |x| = |z| goes to z: face 4, p = (-1, 0.5, -1): u = 0, w = 0.25.
        {"x = z tie", {1.0f, 0.5f, 1.0f}, {0.0f, 0.75f}},
        // |y| = |z| goes to z: face 4, p = (-0.5, 1, -1): u = 0.25, w = 0.
        {"y = z tie", {0.5f, 1.0f, 1.0f}, {0.25f, 1.0f}},
        // all equal: face 4, p = (-1, 1, -1): u = 0, w = 0.
        {"x = y = z tie", {1.0f, 1.0f, 1.0f}, {0.0f, 1.0f}},
        // along an axis: face 3, p = (d.x, -d.z, d.y) = (-0, -0, -1): the centre.
        {"-y axis", {-0.0f, -1.0f, 0.0f}, {0.5f, 0.5f}},
    };
    for (const char* name : {"vexa_kelo_Lgt_Sphere", "vexa_kelo_Lgt_Diffuse"}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(std::string(name) + ": " + row.what);
            ProbeTexture probe;
            HostShader light(name);
            light.set("cast_shadows", true)
                .set("useShadowColMap", true)
                .set("shadowColMap", probe.handle());
            vkhost::ScriptedContext context;
            context.shadowResult = {0.0f, 0.0f, 0.0f};
            vyr::ShadingState state = lightState(row.d, row.d, 1.0f);
            light.shade(context, state);
            ASSERT_EQ(probe.calls, 1);
            EXPECT_EQ(probe.last.x, row.uv.x);
            EXPECT_EQ(probe.last.y, row.uv.y);
        }
    }
}

}  // namespace
}  // namespace lights_test
