// Ward material: exact behaviour of each slot on hand-filled states, values derived by hand from
// the lobe e / (4 pi ax ay sqrt(cos_o cos_i)) with e = exp(-(hT^2/ax^2 + hB^2/ay^2) / hN^2), the
// reflectivity curve, the energy split and the transmission rules.
#include <cmath>

#include "material_support.h"
#include "materials/ward/ward_lobe.h"

namespace materials_test {
namespace {

using Call = vkhost::ScriptedContext::Call;
constexpr const char* kWard = "vexa_kelo_Mtl_Ward";
constexpr float kInvPiF = 0.3183099f;

// A state looking straight down at the z = 0 plane (tangent x, bitangent y).
vyr::ShadingState headOn() {
    return stateWithRay({0.0f, 0.0f, -1.0f});
}

vyr::ShadingState evaluated(const Material& m, vyr::ShadingState s, Vec3f L) {
    vkhost::ScriptedContext ctx;
    s.bsdfDir = L;
    m->evaluateBsdf(&ctx, &s);
    return s;
}

Vec3f tilted(float degrees, bool alongB) {
    const float a = degrees * 3.14159265f / 180.0f;
    return alongB ? Vec3f{0.0f, std::sin(a), std::cos(a)} : Vec3f{std::sin(a), 0.0f, std::cos(a)};
}

Vec3f rgbOf(const vyr::Vec4f& c) {
    return {c.x, c.y, c.z};
}

// --- Curves ---------------------------------------------------------------------------------

// The glossiness curve's ends, its three pieces and both jumps, which are kept.
TEST(WardCurves, GlossinessToRoughnessPieces) {
    using vexakelo::glossinessToRoughness;
    const struct {
        float g, alpha;
    } rows[] = {
        {1.0f, 0.0505339f},       // t = 0: the first piece's constant
        {0.0f, 1.0f},             // t = 1: (1 - 0.9) 3 + 0.7
        {0.75f, 0.06358415f},     // first piece
        {0.5f, 0.1990925f},       // t = 0.5 lies on the cubic ...
        {0.5001f, 0.2153934f},    // ... just below it the quadratic: a jump of 0.016
        {0.1001f, 0.6987981f},    // the cubic just below t = 0.9 ...
        {0.0999f, 0.7003f},       // ... the line just above
        {-3.0f, 1.0f},            // clamped
        {7.0f, 0.0505339f},
    };
    for (const auto& row : rows) {
        EXPECT_NEAR(glossinessToRoughness(row.g), row.alpha, 2e-6f) << "g = " << row.g;
    }
}

TEST(WardCurves, RefractGlossySpread) {
    using vexakelo::refractGlossySpread;
    EXPECT_EQ(refractGlossySpread(0.0f), 1.0f);
    EXPECT_EQ(refractGlossySpread(-0.01f), 1.0f);
    EXPECT_EQ(refractGlossySpread(0.995f), 0.0001f);
    EXPECT_NEAR(refractGlossySpread(0.5f), 0.8082f * std::exp(-2.478f), 1e-6f);  // 0.06778
    EXPECT_EQ(refractGlossySpread(-1.0f), 1.0f);    // 0.8082 e^4.956 clamped
    EXPECT_EQ(refractGlossySpread(3.0f), 0.0001f);  // 2.8e-7 clamped
}

// --- evaluateBsdf -----------------------------------------------------------------------------

// Defaults: R = r90 = 1 at every angle, so Cd = 0 and Cs = 1, ax = ay = 0.01. Head-on with L = N:
// e = 1, value = 1 / (4 pi 1e-4) = 795.775. Tilting L by 2 degrees along T puts the half vector
// 1 degree off: e = exp(-(tan 1deg / 0.01)^2) and value 37.8196; the diffuse colour is gone.
TEST(WardEvaluate, DefaultsArePureGlossyReflector) {
    const Material m = makeMaterial(kWard, {{"u_diffuseColor", Vec3f{0.8f, 0.8f, 0.8f}}});
    const vyr::ShadingState a = evaluated(m, headOn(), {0.0f, 0.0f, 1.0f});
    expectVec(a.bsdfWeight, {795.7747f, 795.7747f, 795.7747f}, 0.01f);
    EXPECT_EQ(a.bsdfCos, 1.0f);
    const vyr::ShadingState b = evaluated(m, headOn(), tilted(2.0f, false));
    EXPECT_NEAR(b.bsdfWeight.x, 37.81962f, 2e-3f);
    EXPECT_NEAR(b.bsdfCos, std::cos(2.0f * 3.14159265f / 180.0f), 1e-6f);
}

// Anisotropy 0.5: ay = 0.005, so head-on the peak doubles (1591.55) and the same 2-degree tilt
// gives 75.639 along T but 0.0081121 along B. A rotation of a quarter turn swaps the axes.
TEST(WardEvaluate, AnisotropyAndRotation) {
    const Material m = makeMaterial(kWard, {{"u_anisotropyValue", 0.5f}});
    EXPECT_NEAR(evaluated(m, headOn(), {0, 0, 1}).bsdfWeight.x, 1591.549f, 0.02f);
    EXPECT_NEAR(evaluated(m, headOn(), tilted(2.0f, false)).bsdfWeight.x, 75.63923f, 4e-3f);
    EXPECT_NEAR(evaluated(m, headOn(), tilted(2.0f, true)).bsdfWeight.x, 0.00811206f, 2e-6f);

    const Material r =
        makeMaterial(kWard, {{"u_anisotropyValue", 0.5f}, {"u_anisoRotationValue", 0.25f}});
    EXPECT_NEAR(evaluated(r, headOn(), tilted(2.0f, true)).bsdfWeight.x, 75.63923f, 4e-3f);
    EXPECT_NEAR(evaluated(r, headOn(), tilted(2.0f, false)).bsdfWeight.x, 0.00811206f, 2e-6f);

    // Anisotropy 0 divides by zero in the exponent: not guarded, nothing finite comes out.
    const Material d = makeMaterial(kWard, {{"u_anisotropyValue", 0.0f}});
    EXPECT_FALSE(std::isfinite(evaluated(d, headOn(), tilted(2.0f, true)).bsdfWeight.x));
}

// The constant is a roughness, the map a glossiness: 0.2 as the constant gives ax = 0.2 (peak
// 1/(4 pi 0.04) = 1.98944); 0.25 through the map gives ax = 0.273147 (peak 1.06659); a map
// value of 1 gives 0.0505339 (31.1619). The map's amount scales the glossiness first.
TEST(WardEvaluate, RoughnessConstantAgainstMap) {
    const Vec3f L{0.0f, 0.0f, 1.0f};
    EXPECT_NEAR(evaluated(makeMaterial(kWard, {{"u_roughValue", 0.2f}}), headOn(), L).bsdfWeight.x,
                1.989437f, 1e-5f);
    const auto mapped = [&](float value, float amount) {
        return makeMaterial(kWard, {{"u_roughValue", 0.2f},
                                    {"u_roughMapEnable", true},
                                    {"u_roughMap", constantTexture({value, 0.0f, 0.0f})},
                                    {"u_roughAmount", amount}});
    };
    EXPECT_NEAR(evaluated(mapped(0.25f, 1.0f), headOn(), L).bsdfWeight.x, 1.066588f, 1e-4f);
    EXPECT_NEAR(evaluated(mapped(0.5f, 0.5f), headOn(), L).bsdfWeight.x, 1.066588f, 1e-4f);
    EXPECT_NEAR(evaluated(mapped(1.0f, 1.0f), headOn(), L).bsdfWeight.x, 31.16194f, 2e-3f);
}

// Curve power 1, r00 = 0.1, r90 = 1: R = (1 - c) 0.9 + 0.1, so 0.1 head-on and 0.55 at 60
// degrees; power 2 at 60 degrees: 0.325. Roughness 1 keeps the lobe flat: at L = N and view
// V, value = Cd/pi + Cs k e with Cd = (1 - R) 0.5, Cs = R. Read through the glossy-only sample's
// complement: evaluate minus the diffuse part.
TEST(WardEvaluate, ReflectivityCurve) {
    const struct {
        float power, degrees, R;
    } rows[] = {{1.0f, 0.0f, 0.1f}, {1.0f, 60.0f, 0.55f}, {2.0f, 60.0f, 0.325f}, {0.0f, 60.0f, 1.0f}};
    for (const auto& row : rows) {
        const Material m = makeMaterial(kWard, {{"u_brdfCurvePower", row.power},
                                                {"u_roughValue", 1.0f},
                                                {"u_diffuseColor", Vec3f{0.5f, 0.5f, 0.5f}}});
        const float a = row.degrees * 3.14159265f / 180.0f;
        const vyr::ShadingState s =
            evaluated(m, stateWithRay({std::sin(a), 0.0f, -std::cos(a)}), {0.0f, 0.0f, 1.0f});
        // H = (sin a, 0, 1 + cos a); e = exp(-tan^2(a/2)), k = 1 / (4 pi sqrt(cos a)).
        const double e = std::exp(-std::pow(std::tan(a / 2.0), 2.0));
        const double k = 1.0 / (4.0 * 3.14159265358979 * std::sqrt(std::cos(a)));
        const double expected = (1.0 - row.R) * 0.5 / 3.14159265358979 + row.R * k * e;
        EXPECT_NEAR(s.bsdfWeight.x, expected, 1e-5) << row.power << " at " << row.degrees;
    }
}

// Metal with R = 0.5 (power 0, r90 0.5) and a white specular: l = lum(1, 1, 1) R = 0.5, so
// Cs = 0.5 Cd and Cd' = (1 - 0.5)(1 - 0.5) Cd: the diffuse is scaled by both factors. Head-on
// at roughness 1 (k = 1/(4 pi)): value = Cd (0.25/pi + 0.5/(4 pi)) = 0.1193662 Cd.
TEST(WardEvaluate, MetalScalesDiffuseTwice) {
    const Vec3f Cd{0.4f, 0.6f, 0.8f};
    const Material m = makeMaterial(kWard, {{"u_isMetal", true},
                                            {"u_brdf90Reflectivity", 0.5f},
                                            {"u_roughValue", 1.0f},
                                            {"u_diffuseColor", Cd}});
    const vyr::ShadingState s = evaluated(m, headOn(), {0.0f, 0.0f, 1.0f});
    expectVec(s.bsdfWeight, Cd * 0.1193662f, 2e-6f);
}

// Light below, view on the wrong side, or a cosine factor that is not positive give 0 and 0.
TEST(WardEvaluate, WrongSidesGiveZero) {
    const Material m = makeMaterial(kWard, {{"u_diffuseColor", Vec3f{1, 1, 1}}});
    const vyr::ShadingState below = evaluated(m, headOn(), {0.0f, 0.6f, -0.8f});
    EXPECT_EQ(below.bsdfWeight, (Vec3f{0, 0, 0}));
    EXPECT_EQ(below.bsdfCos, 0.0f);
    const vyr::ShadingState behind = evaluated(m, stateWithRay({0.0f, 0.0f, 1.0f}), {0, 0, 1});
    EXPECT_EQ(behind.bsdfWeight, (Vec3f{0, 0, 0}));
}

// A height ramp along u (2 x 1 texels: heights 0 and 3) tilts the frame; the cosine factor
// follows the bumped normal only with u_cosineUsesBump, and the lobe value never changes.
TEST(WardEvaluate, CosineUsesBumpChangesOnlyTheCosine) {
    const float ramp[6] = {0.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f};
    const auto make = [&](bool flag) {
        return makeMaterial(kWard, {{"u_roughValue", 0.5f},
                                    {"u_diffuseColor", Vec3f{0.5f, 0.5f, 0.5f}},
                                    {"u_brdf90Reflectivity", 0.5f},
                                    {"u_normal0MapEnable", true},
                                    {"u_normal0Map", rgbTexture(2, 1, ramp)},
                                    {"u_normal0Transform", kIdentity},
                                    {"u_normal0Amount", 0.5f},
                                    {"u_cosineUsesBump", flag}});
    };
    vyr::ShadingState s = headOn();
    s.uv = {0.5f, 0.5f};
    const Vec3f L{0.6f, 0.0f, 0.8f};
    const vyr::ShadingState plain = evaluated(make(false), s, L);
    const vyr::ShadingState bumped = evaluated(make(true), s, L);
    EXPECT_EQ(plain.bsdfWeight, bumped.bsdfWeight);
    EXPECT_FLOAT_EQ(plain.bsdfCos, 0.8f);
    // The ramp rises along +u (du = -0.006), so the normal leans towards -T, away from L:
    // N = (-0.00999, 0, 1) normalised, N.L = 0.79397.
    EXPECT_NEAR(bumped.bsdfCos, 0.79397f, 1e-4f);
}

// --- shadow -----------------------------------------------------------------------------------

// Cutout: exactly 1 stays opaque, anything else passes 1 - c, even above 1; an enabled map with
// no texture reads 0 and passes everything. The amount scales the value first.
TEST(WardShadow, CutoutRule) {
    const struct {
        bool texture;
        float value, amount, pass;
    } rows[] = {{true, 1.0f, 1.0f, 0.0f},  {true, 0.25f, 1.0f, 0.75f}, {true, 1.5f, 1.0f, -0.5f},
                {true, 0.5f, 2.0f, 0.0f},  {false, 0.0f, 1.0f, 1.0f}};
    for (const auto& row : rows) {
        const Material m =
            row.texture ? makeMaterial(kWard, {{"u_cutoutMapEnable", true},
                                               {"u_cutoutMap", constantTexture({row.value, 0, 0})},
                                               {"u_cutoutAmount", row.amount}})
                        : makeMaterial(kWard, {{"u_cutoutMapEnable", true}});
        vkhost::ScriptedContext ctx;
        vyr::ShadingState s = headOn();
        m->shadow(&ctx, &s);
        EXPECT_EQ(s.shadowTransmit, (Vec3f{row.pass, row.pass, row.pass}))
            << row.value << " x " << row.amount;
    }
    // Without the switch the surface is opaque.
    vkhost::ScriptedContext ctx;
    vyr::ShadingState s = headOn();
    makeMaterial(kWard)->shadow(&ctx, &s);
    EXPECT_EQ(s.shadowTransmit, (Vec3f{0, 0, 0}));
}

// Transparency 0.6, translucency 0.25, raw diffuse (0.2, 0.4, 0.8), R = 0.5 at every angle:
// Tt = 0.6 + 0.4 d = (0.68, 0.76, 0.92). A shadow ray arriving on the front passes
// (1 - R) 0.6 Tt = 0.3 Tt; from behind (1 - R) 0.6 (1 - 0.25) Tt = 0.225 Tt.
// The transmission replaces the cutout's result.
TEST(WardShadow, TransmissionForBothSides) {
    const Material m = makeMaterial(kWard, {{"u_transparency", true},
                                            {"u_transparencyValue", 0.6f},
                                            {"u_translucencyValue", 0.25f},
                                            {"u_brdf90Reflectivity", 0.5f},
                                            {"u_diffuseColor", Vec3f{0.2f, 0.4f, 0.8f}},
                                            {"u_cutoutMapEnable", true}});
    const Vec3f Tt{0.68f, 0.76f, 0.92f};
    vkhost::ScriptedContext ctx;
    vyr::ShadingState front = headOn();
    m->shadow(&ctx, &front);
    expectVec(front.shadowTransmit, Tt * 0.3f, 1e-6f);
    vyr::ShadingState back = stateWithRay({0.0f, 0.6f, 0.8f});
    m->shadow(&ctx, &back);
    expectVec(back.shadowTransmit, Tt * 0.225f, 1e-6f);
}

// --- shade ------------------------------------------------------------------------------------

// Diffuse (0.5, 0.25, 1), R = 0.5, roughness 1, head-on view. A white light of factor 2 at L = N:
// c0 = (1 - R) Cd / pi * 1 * 2 = Cd / pi, c1 = R / (4 pi) * 2 = 0.0795775. The reflection is
// traced along N with glossiness 0.3 and importance 0.5, and returns 0.2: c3 = 0.1. Emission
// (0.1, 0.2, 0.3) x 2. No transmission, no translucency.
TEST(WardShade, LightInFrontReflectionAndEmission) {
    const Vec3f Cd{0.5f, 0.25f, 1.0f};
    const Material m = makeMaterial(kWard, {{"u_diffuseColor", Cd},
                                            {"u_brdf90Reflectivity", 0.5f},
                                            {"u_roughValue", 1.0f},
                                            {"u_reflectGlossyValue", 0.3f},
                                            {"u_additionalColor", Vec3f{0.1f, 0.2f, 0.3f}},
                                            {"u_additionalAmount", 2.0f}});
    vkhost::ScriptedContext ctx;
    ctx.setLights({{{0.0f, 0.0f, 1.0f}, 2.0f, {1.0f, 1.0f, 1.0f}, nullptr}});
    ctx.glossyReflectionResult = {0.2f, 0.2f, 0.2f};
    vyr::ShadingState s = headOn();
    m->shade(&ctx, &s);
    const Vec3f expected = Cd * kInvPiF + Vec3f{0.0795775f, 0.0795775f, 0.0795775f} +
                           Vec3f{0.1f, 0.1f, 0.1f} + Vec3f{0.2f, 0.4f, 0.6f};
    expectVec(rgbOf(s.outColor), expected, 2e-6f);
    EXPECT_EQ(s.outColor.w, 1.0f);
    const auto* r = findCall(ctx, Call::TraceGlossyReflection);
    ASSERT_NE(r, nullptr);
    expectVec(r->b, {0.0f, 0.0f, 1.0f}, 1e-7f);
    EXPECT_EQ(r->glossiness, 0.3f);
    EXPECT_EQ(r->importance, 0.5f);
    EXPECT_EQ(ctx.count(Call::TraceGlossyRefraction), 0u);
}

// Only highlights: the context sees no glossy-reflection call at all, the rest is unchanged.
TEST(WardShade, HighlightOnlySkipsTheReflectionTrace) {
    const Material m = makeMaterial(kWard, {{"u_reflectionHighlightOnly", true}});
    vkhost::ScriptedContext ctx;
    ctx.glossyReflectionResult = {1.0f, 1.0f, 1.0f};
    vyr::ShadingState s = headOn();
    m->shade(&ctx, &s);
    EXPECT_EQ(ctx.count(Call::TraceGlossyReflection), 0u);
    EXPECT_EQ(rgbOf(s.outColor), (Vec3f{0, 0, 0}));
}

// Transparent with translucency: a light behind the surface (factor 1, L = -N) lights it through
// Cd(flag 0) = tau sigma (1 - R) Cd = 0.6 * 0.25 * 0.5 Cd = 0.075 Cd, over pi. The transmission
// Ct = 0.3 Tt is traced once, straight through at normal incidence (index 1 to 1), with its
// importance; without transparency nothing is traced or lit from behind.
TEST(WardShade, TranslucencyAndTransmission) {
    const Vec3f Cd{0.2f, 0.4f, 0.8f};
    const auto make = [&](bool transparent) {
        return makeMaterial(kWard, {{"u_transparency", transparent},
                                    {"u_transparencyValue", 0.6f},
                                    {"u_translucencyValue", 0.25f},
                                    {"u_brdf90Reflectivity", 0.5f},
                                    {"u_diffuseColor", Cd},
                                    {"u_ior", 1.0f},
                                    {"u_specularColor", Vec3f{0, 0, 0}}});
    };
    vkhost::ScriptedContext ctx;
    ctx.setLights({{{0.0f, 0.0f, -1.0f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr}});
    ctx.glossyRefractionResult = {1.0f, 1.0f, 1.0f};
    vyr::ShadingState s = headOn();
    s.incidentIor = 1.0f;
    make(true)->shade(&ctx, &s);
    const Vec3f Ct = Vec3f{0.68f, 0.76f, 0.92f} * 0.3f;
    expectVec(rgbOf(s.outColor), Cd * (0.075f * kInvPiF) + Ct, 2e-6f);
    const auto* t = findCall(ctx, Call::TraceGlossyRefraction);
    ASSERT_NE(t, nullptr);
    expectVec(t->b, {0.0f, 0.0f, -1.0f}, 1e-6f);
    EXPECT_FLOAT_EQ(t->importance, Ct.z);
    EXPECT_EQ(t->glossiness, 0.0f);

    ctx.clear();
    vyr::ShadingState o = headOn();
    make(false)->shade(&ctx, &o);
    EXPECT_EQ(ctx.count(Call::TraceGlossyRefraction), 0u);
    EXPECT_EQ(rgbOf(o.outColor), (Vec3f{0, 0, 0}));
}

// u_transparencyFade fades the transmission towards grazing view: weight (1 - f + f cos).
TEST(WardShade, TransparencyFadeTowardsGrazing) {
    const Material m = makeMaterial(kWard, {{"u_transparency", true},
                                            {"u_transparencyValue", 1.0f},
                                            {"u_brdf90Reflectivity", 0.0f},
                                            {"u_transparencyFade", 1.0f},
                                            {"u_ior", 1.0f}});
    vkhost::ScriptedContext ctx;
    ctx.glossyRefractionResult = {1.0f, 1.0f, 1.0f};
    vyr::ShadingState s = stateWithRay({0.6f, 0.0f, -0.8f});
    s.incidentIor = 1.0f;
    m->shade(&ctx, &s);
    expectVec(rgbOf(s.outColor), {0.8f, 0.8f, 0.8f}, 1e-6f);
}

// The mapped refraction glossiness goes through the spread curve; the constant does not.
TEST(WardShade, RefractionGlossinessConstantAgainstMap) {
    const auto glossinessFor = [](std::initializer_list<std::pair<const char*, ParamValue>> p) {
        Material m{library().create(kWard)};
        const vkhost::ShaderLayout layout = vkhost::declareLayout(m.object.get());
        vkhost::ParameterBlock block(kWard, layout, m.object.get());
        block.set("u_transparency", true);
        block.set("u_transparencyValue", 1.0f);
        block.set("u_brdf90Reflectivity", 0.0f);
        for (const auto& [key, value] : p) {
            block.set(key, value);
        }
        block.applyTo(m.object.get());
        vkhost::ScriptedContext ctx;
        vyr::ShadingState s = headOn();
        m->shade(&ctx, &s);
        return findCall(ctx, Call::TraceGlossyRefraction)->glossiness;
    };
    EXPECT_EQ(glossinessFor({{"u_refractGlossyValue", 0.5f}}), 0.5f);
    EXPECT_NEAR(glossinessFor({{"u_refractGlossyValue", 0.9f},
                               {"u_refractGlossyMapEnable", true},
                               {"u_refractGlossyMap", constantTexture({0.25f, 0, 0})},
                               {"u_refractGlossyAmount", 2.0f}}),
                0.8082f * std::exp(-4.956f * 0.5f), 1e-6f);
}

// Image fade: mode 1 blends the map by its alpha times the fade, mode 3 towards the fade colour
// whether or not a map is on. Head-on, R = 0 (r90 0): value = Cd / pi.
TEST(WardShade, ImageFadeModes) {
    const Vec3f base{0.2f, 0.4f, 0.6f};
    const auto diffuseOf = [&](std::int32_t mode, bool map) {
        const Material m =
            makeMaterial(kWard, {{"u_diffuseColor", base},
                                 {"u_brdf90Reflectivity", 0.0f},
                                 {"u_diffuseMapEnable", map},
                                 {"u_diffuseMap", constantTexture({1.0f, 0.5f, 0.0f})},
                                 {"u_diffuseAmount", 0.5f},
                                 {"u_imageFadeEnable", mode},
                                 {"u_imageFade", 0.25f},
                                 {"u_imageFadeColor", Vec3f{1.0f, 1.0f, 1.0f}}});
        return evaluated(m, headOn(), {0, 0, 1}).bsdfWeight * 3.14159265f;
    };
    // Mode 0 with the map: the map times the amount, (0.5, 0.25, 0).
    expectVec(diffuseOf(0, true), {0.5f, 0.25f, 0.0f}, 1e-6f);
    // Mode 1: alpha 1 times fade 0.25 -> 0.25 map + 0.75 base.
    expectVec(diffuseOf(1, true), {0.275f, 0.3625f, 0.45f}, 1e-6f);
    // Mode 3: 0.25 Cd + 0.75 white, with and without the map.
    expectVec(diffuseOf(3, true), {0.875f, 0.8125f, 0.75f}, 1e-6f);
    expectVec(diffuseOf(3, false), {0.8f, 0.85f, 0.9f}, 1e-6f);
}

// --- sampleBsdf -------------------------------------------------------------------------------

// Glossy only (request bytes 400 and 401 clear): head-on with u1 = 0, u2 = 0.5 and ax = ay = 0.5:
// phi = 0, cos^2 theta_h = 1 / (ln 2 / 4 + 1), H in the xz plane, L = D - 2 (D.H) H. The value
// carries no diffuse term and the pdf field holds the reciprocal density.
TEST(WardSample, GlossyOnlyMode) {
    const Material m = makeMaterial(kWard, {{"u_roughValue", 0.5f},
                                            {"u_brdf90Reflectivity", 0.5f},
                                            {"u_diffuseColor", Vec3f{1, 1, 1}}});
    vkhost::ScriptedContext ctx;
    ctx.randoms = {0.0f, 0.5f};
    vyr::ShadingState s = headOn();
    setRequest(s, false, false);
    m->sampleBsdf(&ctx, &s);
    ASSERT_EQ(s.bsdfLobe, 4);
    const double c2 = 1.0 / (std::log(2.0) / 4.0 + 1.0);
    const double ct = std::sqrt(c2), st = std::sqrt(1.0 - c2);
    // D = (0,0,-1), d = -ct: L = (2 ct st, 0, 2 c2 - 1).
    expectVec(s.bsdfDir, {float(2 * ct * st), 0.0f, float(2 * c2 - 1)}, 1e-6f);
    const double n = 4.0 * 3.14159265358979 * 0.25;
    const double k = 1.0 / (std::sqrt(2 * c2 - 1) * n);
    EXPECT_NEAR(s.bsdfWeight.x, 0.5 * k * 0.5, 1e-5);
    EXPECT_NEAR(s.bsdfPdf, 1.0 / (0.5 / (n * ct * c2 * ct)), 1e-4);
    EXPECT_NEAR(s.bsdfCos, 2 * c2 - 1, 1e-6);
}

// Mixed mode picks the branch from the colours: no specular -> always the hemisphere (p = 1, so
// even xi = 0.99 takes it, with density cos/pi); no diffuse -> always the lobe (p = 0).
TEST(WardSample, BranchChoiceFromColours) {
    // Cs = 0, Cd > 0: cosine-weighted, u1 = 0.36, u2 = 0: L = (0.6, 0, 0.8), P = 0.8/pi.
    const Material diffuseOnly = makeMaterial(
        kWard, {{"u_diffuseColor", Vec3f{1, 1, 1}}, {"u_specularColor", Vec3f{0, 0, 0}},
                {"u_brdf90Reflectivity", 0.5f}});
    vkhost::ScriptedContext ctx;
    ctx.randoms = {0.99f, 0.36f, 0.0f};
    vyr::ShadingState s = headOn();
    setRequest(s, true, false);
    diffuseOnly->sampleBsdf(&ctx, &s);
    ASSERT_EQ(s.bsdfLobe, 2);
    expectVec(s.bsdfDir, {0.6f, 0.0f, 0.8f}, 1e-6f);
    EXPECT_NEAR(s.bsdfPdf, 3.14159265f / 0.8f, 1e-5f);
    expectVec(s.bsdfWeight, {0.5f * kInvPiF, 0.5f * kInvPiF, 0.5f * kInvPiF}, 1e-7f);

    // Defaults (Cd = 0): xi = 0.01 > 0 takes the lobe; its reciprocal pdf is the lobe's own.
    const Material glossy = makeMaterial(kWard, {{"u_roughValue", 0.5f}});
    ctx.randoms = {0.01f, 0.0f, 0.5f};
    vyr::ShadingState g = headOn();
    setRequest(g, true, false);
    glossy->sampleBsdf(&ctx, &g);
    ASSERT_EQ(g.bsdfLobe, 2);
    const double c2 = 1.0 / (std::log(2.0) / 4.0 + 1.0);
    const double n = 4.0 * 3.14159265358979 * 0.25;
    EXPECT_NEAR(g.bsdfPdf, (n * c2 * c2) / 0.5, 1e-4);
}

// Seen from behind there is no sample; the ray's request bytes do not matter.
TEST(WardSample, NoSampleFromBehind) {
    const Material m = makeMaterial(kWard);
    vkhost::ScriptedContext ctx;
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, 1.0f});
    s.bsdfDir = {9, 9, 9};
    setRequest(s, true, true);
    m->sampleBsdf(&ctx, &s);
    EXPECT_EQ(s.bsdfLobe, 0);
    EXPECT_EQ(s.bsdfDir, (Vec3f{9, 9, 9}));
    EXPECT_EQ(ctx.count(Call::Random1), 0u);
}

}  // namespace
}  // namespace materials_test
