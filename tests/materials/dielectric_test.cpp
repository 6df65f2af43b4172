// Dielectric: exact behaviour of each slot on hand-filled states. Default parameters unless a
// row says otherwise: reflectance 0.1, ior 1.52, roughness value 0.0004, colours white.
#include <cmath>

#include "material_support.h"

namespace materials_test {
namespace {

using Call = vkhost::ScriptedContext::Call;
constexpr const char* kName = "vexa_kelo_Mtl_Dielectric";

// Head-on entering: c = 1, F = 0.1 + 0.9 * 0^5 = 0.1; Wr = 0.1, Wt = 0.9.
// Refraction: eta = 1/1.52, a = 1, k = 1, T = eta*I + (eta - 1)*N = (0, 0, -1).
// Colour = 0.1 * 1 + 0.9 * 2 = 1.9, alpha 1.
TEST(Dielectric, HeadOnSplitsByFresnel) {
    const Material m = makeMaterial(kName, {{"u_glossyValue", 0.25f}});
    vkhost::ScriptedContext ctx;
    ctx.glossyReflectionResult = {1.0f, 1.0f, 1.0f};
    ctx.glossyRefractionResult = {2.0f, 2.0f, 2.0f};
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
    m->shade(&ctx, &s);
    EXPECT_NEAR(s.outColor.x, 1.9f, 1e-6f);
    EXPECT_NEAR(s.outColor.z, 1.9f, 1e-6f);
    EXPECT_EQ(s.outColor.w, 1.0f);

    const auto* r = findCall(ctx, Call::TraceGlossyReflection);
    ASSERT_NE(r, nullptr);
    expectVec(r->b, {0.0f, 0.0f, 1.0f}, 1e-7f);
    EXPECT_EQ(r->glossiness, 0.25f);
    EXPECT_NEAR(r->importance, 0.1f, 1e-7f);
    const auto* t = findCall(ctx, Call::TraceGlossyRefraction);
    ASSERT_NE(t, nullptr);
    expectVec(t->b, {0.0f, 0.0f, -1.0f}, 1e-6f);
    EXPECT_EQ(t->glossiness, 0.25f);
    EXPECT_NEAR(t->importance, 0.9f, 1e-6f);
}

// Leaving beyond the critical angle: I = (0.8, 0, 0.6) inside, Nf = (0, 0, -1), c = 0.6,
// F = 0.1 + 0.9 * 0.4^5 = 0.109216, Wt = 0.890784. k = (0.36 - 1) * 1.52^2 + 1 = -0.478656:
// no refraction, so Wt goes along the mirror direction I - 2(-0.6)(0,0,-1) = (0.8, 0, -0.6), and
// a leaving ray traces no reflection.
TEST(Dielectric, TotalInternalReflectionWhileLeaving) {
    const Material m = makeMaterial(kName);
    vkhost::ScriptedContext ctx;
    ctx.glossyReflectionResult = {100.0f, 100.0f, 100.0f};
    ctx.glossyRefractionResult = {1.0f, 2.0f, 3.0f};
    vyr::ShadingState s = stateWithRay({0.8f, 0.0f, 0.6f});
    m->shade(&ctx, &s);
    EXPECT_EQ(ctx.count(Call::TraceGlossyReflection), 0u);
    const auto* t = findCall(ctx, Call::TraceGlossyRefraction);
    ASSERT_NE(t, nullptr);
    expectVec(t->b, {0.8f, 0.0f, -0.6f}, 1e-6f);
    EXPECT_NEAR(s.outColor.x, 0.890784f, 1e-6f);
    EXPECT_NEAR(s.outColor.y, 2.0f * 0.890784f, 2e-6f);
    EXPECT_NEAR(s.outColor.z, 3.0f * 0.890784f, 3e-6f);
}

TEST(Dielectric, BlackColoursSkipTheirTraces) {
    struct Row {
        Vec3f reflect, refract;
        std::size_t reflections, refractions;
    };
    const Row rows[] = {
        {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}, 0u, 1u},
        {{1.0f, 1.0f, 1.0f}, {0.0f, 0.0f, 0.0f}, 1u, 0u},
        {{0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}, 0u, 0u},
    };
    for (const Row& row : rows) {
        const Material m =
            makeMaterial(kName, {{"u_reflectColor", row.reflect}, {"u_refractColor", row.refract}});
        vkhost::ScriptedContext ctx;
        vyr::ShadingState s = stateWithRay({0.6f, 0.0f, -0.8f});
        m->shade(&ctx, &s);
        EXPECT_EQ(ctx.count(Call::TraceGlossyReflection), row.reflections);
        EXPECT_EQ(ctx.count(Call::TraceGlossyRefraction), row.refractions);
        EXPECT_EQ(ctx.count(Call::TraceRay), 0u);
    }
}

// Shadow: T = (1 - F) * refractColor = 0.9 head-on; a leaving ray (dot(N, I) > 0) is attenuated
// by 10^(-d * coef) with d = |O - P| = 2: coef (1, 0.5, 0) gives 0.9 * (0.01, 0.1, 1). The map
// and the falloff switch are ignored here.
TEST(Dielectric, ShadowAttenuatesOnlyLeavingRays) {
    struct Row {
        Vec3f I;
        Vec3f coef;
        Vec3f expected;
    };
    const Row rows[] = {
        {{0.0f, 0.0f, -1.0f}, {0.0f, 0.0f, 0.0f}, {0.9f, 0.9f, 0.9f}},
        {{0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 0.0f}, {0.9f, 0.9f, 0.9f}},
        {{0.0f, 0.0f, -1.0f}, {1.0f, 0.5f, 0.0f}, {0.9f, 0.9f, 0.9f}},
        {{0.0f, 0.0f, 1.0f}, {1.0f, 0.5f, 0.0f}, {0.009f, 0.09f, 0.9f}},
    };
    const vyr::TextureHandle map = constantTexture({0.5f, 0.5f, 0.5f});
    for (const Row& row : rows) {
        const Material m = makeMaterial(kName, {{"u_absorptionCoef", row.coef},
                                                {"u_transmittanceMapEnable", true},
                                                {"u_transmittanceMap", map},
                                                {"u_transmittanceTransform", kIdentity},
                                                {"u_falloffEnable", true}});
        vkhost::ScriptedContext ctx;
        vyr::ShadingState s = stateWithRay(row.I);
        s.rayOrigin = {0.0f, 0.0f, row.I.z > 0.0f ? -2.0f : 2.0f};
        m->shadow(&ctx, &s);
        expectVec(s.shadowTransmit, row.expected, 1e-6f);
        EXPECT_TRUE(ctx.calls.empty());
    }
}

// Leaving head-on (I = (0,0,1)): eta = 1.52, k = 1, T = 1.52 I + 0.52 * (0,0,-1) = (0,0,1);
// Wt = 0.9, traced colour 1, path length d = |O - P| = 0.5.
// Plain coefficient (1, 0.5, 0.25): 0.9 * 10^(-0.5 * coef) = 0.9 * (0.316228, 0.562341, 0.749894).
// Map e^-1 everywhere: sigma = -ln(e^-1) / coef = (1, 2, 4): 0.9 * (10^-0.5, 10^-1, 10^-2).
// Entering rays are not attenuated.
TEST(Dielectric, FalloffMixesNaturalLogAndPowerOfTen) {
    const vyr::TextureHandle map = constantTexture({0.36787944f, 0.36787944f, 0.36787944f});
    struct Row {
        bool useMap;
        float Iz;
        Vec3f expected;
    };
    const Row rows[] = {
        {false, 1.0f, {0.9f * 0.316228f, 0.9f * 0.562341f, 0.9f * 0.749894f}},
        {true, 1.0f, {0.9f * 0.316228f, 0.9f * 0.1f, 0.9f * 0.01f}},
        {true, -1.0f, {0.9f, 0.9f, 0.9f}},
    };
    for (const Row& row : rows) {
        const Material m = makeMaterial(kName, {{"u_absorptionCoef", Vec3f{1.0f, 0.5f, 0.25f}},
                                                {"u_transmittanceMapEnable", row.useMap},
                                                {"u_transmittanceMap", map},
                                                {"u_transmittanceTransform", kIdentity},
                                                {"u_falloffEnable", true},
                                                {"u_reflectColor", Vec3f{0, 0, 0}}});
        vkhost::ScriptedContext ctx;
        ctx.glossyRefractionResult = {1.0f, 1.0f, 1.0f};
        vyr::ShadingState s = stateWithRay({0.0f, 0.0f, row.Iz});
        s.rayOrigin = {0.0f, 0.0f, -0.5f * row.Iz};
        m->shade(&ctx, &s);
        EXPECT_NEAR(s.outColor.x, row.expected.x, 2e-6f);
        EXPECT_NEAR(s.outColor.y, row.expected.y, 2e-6f);
        EXPECT_NEAR(s.outColor.z, row.expected.z, 2e-6f);
    }
}

// Highlights, entering head-on (V = N, F = 0.1), one white light of factor 1, roughness value
// 0.5 taken as alpha^2 by shade, no traces (colours black). With L = (sqrt(1 - c^2), 0, c):
//   h = normalise(L + V), D = a2 / (3.141593 * h.z^4 * (a2 + tan^2)^2),
//   G = G1(1) * G1(c), G1(x) = 2 / (1 + sqrt(1 + 0.5 tan(x)^2)), fr = G D / (4c);
//   c = 0.15: fade t = 0.5 -> 0.5; 0.1 * fr = 0.0418914 -> 0.0209457.
//   c = 0.25: fade 1; 0.1 * fr = 0.0268558.
//   c = 0: fade 0; c = -0.5 (below): 0.
// (Computed in double precision with the formulas above.)
TEST(Dielectric, HighlightsFadeWithLightElevation) {
    const Material m = makeMaterial(kName, {{"u_roughValue", 0.5f},
                                            {"u_reflectColor", Vec3f{0, 0, 0}},
                                            {"u_refractColor", Vec3f{0, 0, 0}}});
    struct Row {
        float c, expected;
    };
    const Row rows[] = {{0.15f, 0.0209457f}, {0.25f, 0.0268558f}, {0.0f, 0.0f}, {-0.5f, 0.0f}};
    for (const Row& row : rows) {
        vkhost::ScriptedContext ctx;
        ctx.setLights(
            {{{std::sqrt(1.0f - row.c * row.c), 0.0f, row.c}, 1.0f, {1.0f, 2.0f, 0.5f}, nullptr}});
        vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
        m->shade(&ctx, &s);
        EXPECT_NEAR(s.outColor.x, row.expected, 2e-6f) << row.c;
        EXPECT_NEAR(s.outColor.y, 2.0f * row.expected, 4e-6f) << row.c;
        EXPECT_NEAR(s.outColor.z, 0.5f * row.expected, 1e-6f) << row.c;
        EXPECT_EQ(ctx.count(Call::LightSamples), 1u);
    }
}

// The transmitted highlight, seen from inside: I = (0,0,1) leaving, Nf = (0,0,-1), V = (0,0,-1),
// nI = 1.52, nT = 1, light outside at L = (0.6, 0, 0.8) (fade 1), alpha^2 = 0.5.
//   ht = normalise(1.52 V + L) = (0.640184, 0, -0.768221), h.V = 0.768221, h.L = -0.230466,
//   ft = G1(1) G1(-0.8) D(0.768221) |h.V h.L| / (0.8 * (1.52 h.V + h.L)^2) = 0.0580078;
//   the reflected term is gated off (h.L cosL < 0), so the highlight is 0.9 * ft = 0.0522070.
TEST(Dielectric, TransmittedHighlightFromInside) {
    const Material m = makeMaterial(kName, {{"u_roughValue", 0.5f},
                                            {"u_reflectColor", Vec3f{0, 0, 0}},
                                            {"u_refractColor", Vec3f{0, 0, 0}}});
    vkhost::ScriptedContext ctx;
    ctx.setLights({{{0.6f, 0.0f, 0.8f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr}});
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, 1.0f});
    m->shade(&ctx, &s);
    EXPECT_NEAR(s.outColor.x, 0.0522070f, 2e-6f);
}

// Sampling rows (default roughness 0.0004 < 0.01: specular, lobe 32, cosine and pdf 1).
//  head-on, reflection only: dir (0,0,1), weight F = 0.1.
//  head-on, both, xi = 0.05 <= 0.1: reflect, weight 1.   xi = 0.5: refract, dir (0,0,-1), weight 1.
//  head-on, transmission only: weight 0.9.
//  I = (0.8, 0, -0.6), transmission only: V = (-0.8, 0, 0.6), cm = 0.6, eta = 1/1.52 unsquared:
//    k = (0.36 - 1) * 0.657895 + 1 = 0.578947, T = (0.6 * 0.657895 - 0.760886) m - 0.657895 V
//    = (0.526316, 0, -0.760886) -> normalised (0.568880, 0, -0.822420) (true Snell: x = 0.526316);
//    F = 0.109216, weight 0.890784.
// Entering rays write ior 1.52 into exitIor.
TEST(Dielectric, SpecularSamplesAndTheIndexWrittenBack) {
    const Material m = makeMaterial(kName);
    struct Row {
        Vec3f I;
        bool reflect, transmit;
        float xi;
        Vec3f dir;
        float weight;
    };
    const Row rows[] = {
        {{0.0f, 0.0f, -1.0f}, true, false, 0.0f, {0.0f, 0.0f, 1.0f}, 0.1f},
        {{0.0f, 0.0f, -1.0f}, true, true, 0.05f, {0.0f, 0.0f, 1.0f}, 1.0f},
        {{0.0f, 0.0f, -1.0f}, true, true, 0.5f, {0.0f, 0.0f, -1.0f}, 1.0f},
        {{0.0f, 0.0f, -1.0f}, false, true, 0.0f, {0.0f, 0.0f, -1.0f}, 0.9f},
        {{0.8f, 0.0f, -0.6f}, false, true, 0.0f, {0.568880f, 0.0f, -0.822420f}, 0.890784f},
    };
    for (const Row& row : rows) {
        vkhost::ScriptedContext ctx;
        ctx.randoms = {row.xi};
        vyr::ShadingState s = stateWithRay(row.I);
        s.exitIor = 1.0f;
        setRequest(s, row.reflect, row.transmit);
        m->sampleBsdf(&ctx, &s);
        EXPECT_EQ(s.bsdfLobe, 32);
        expectVec(s.bsdfDir, row.dir, 2e-6f);
        expectVec(s.bsdfWeight, {row.weight, row.weight, row.weight}, 1e-6f);
        EXPECT_EQ(s.bsdfCos, 1.0f);
        EXPECT_EQ(s.bsdfPdf, 1.0f);
        EXPECT_EQ(s.exitIor, 1.52f);
        EXPECT_EQ(ctx.count(Call::Random1), row.reflect && row.transmit ? 1u : 0u);
        EXPECT_EQ(ctx.count(Call::Random2), 0u);
    }
}

// Leaving rays are always specular, keep exitIor, and may reflect back inside.
//  I = (0,0,1) leaving, reflection only, roughness 0.3: V local (0,0,1) about Nf = (0,0,-1),
//    dir = Nf = (0,0,-1), weight 0.1, lobe 32, exitIor stays 1.33.
//  I = (0.9, 0, 0.43589) leaving into n_beyond = 1: eta = 1.52 unsquared, cm^2 = 0.19,
//    k = (0.19 - 1) * 1.52 + 1 = -0.2312 < 0: transmission only gives lobe 0 (nothing else
//    written); both lobes with xi = 0.9 > F = 0.1515 reflect at weight 1.
TEST(Dielectric, LeavingSamples) {
    const Material m = makeMaterial(kName, {{"u_roughValue", 0.3f}});
    {
        vkhost::ScriptedContext ctx;
        vyr::ShadingState s = stateWithRay({0.0f, 0.0f, 1.0f});
        s.exitIor = 1.33f;
        setRequest(s, true, false);
        m->sampleBsdf(&ctx, &s);
        EXPECT_EQ(s.bsdfLobe, 32);
        expectVec(s.bsdfDir, {0.0f, 0.0f, -1.0f}, 1e-6f);
        expectVec(s.bsdfWeight, {0.1f, 0.1f, 0.1f}, 1e-7f);
        EXPECT_EQ(s.exitIor, 1.33f);
        EXPECT_EQ(ctx.count(Call::Random2), 0u);
    }
    const Vec3f grazing{0.9f, 0.0f, std::sqrt(0.19f)};
    {
        vkhost::ScriptedContext ctx;
        vyr::ShadingState s = stateWithRay(grazing);
        setRequest(s, false, true);
        s.bsdfDir = {7.0f, 7.0f, 7.0f};
        vyr::ShadingState expected = s;
        expected.bsdfLobe = 0;
        m->sampleBsdf(&ctx, &s);
        EXPECT_TRUE(sameBytes(s, expected));
    }
    {
        vkhost::ScriptedContext ctx;
        ctx.randoms = {0.9f};
        vyr::ShadingState s = stateWithRay(grazing);
        setRequest(s, true, true);
        m->sampleBsdf(&ctx, &s);
        EXPECT_EQ(s.bsdfLobe, 32);
        expectVec(s.bsdfWeight, {1.0f, 1.0f, 1.0f}, 0.0f);
        // Mirror inside: (0.9, 0, 0.43589) -> (0.9, 0, -0.43589).
        expectVec(s.bsdfDir, {0.9f, 0.0f, -std::sqrt(0.19f)}, 1e-6f);
    }
}

// Glossy (roughness 0.3 >= 0.01, entering): xi1 = 0 gives m = N, so head-on cm = 1 and the
// reflection goes straight back. Weight F * g with g = G1(1)^2 * 1 / (1 * 1), alpha^2 = 0.3^2:
//   G1(1) = 2 / (1 + sqrt(1 + 0.09 * tan(1)^2)) = 2 / (1 + sqrt(1.218297)) = 0.950677,
//   g = 0.903786, weight = 0.0903786, lobe 16.
// (With shade's unsquared alpha^2 = 0.3 it would be 0.0741; with tan of the angle, 0.1.)
TEST(Dielectric, GlossySampleSquaresRoughnessAndTakesTanOfCosine) {
    const Material m = makeMaterial(kName, {{"u_roughValue", 0.3f}});
    vkhost::ScriptedContext ctx;
    ctx.randoms = {0.0f, 0.25f};
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
    setRequest(s, true, false);
    m->sampleBsdf(&ctx, &s);
    EXPECT_EQ(s.bsdfLobe, 16);
    expectVec(s.bsdfDir, {0.0f, 0.0f, 1.0f}, 1e-6f);
    expectVec(s.bsdfWeight, {0.0903786f, 0.0903786f, 0.0903786f}, 1e-6f);
    EXPECT_EQ(ctx.count(Call::Random2), 1u);
    EXPECT_EQ(s.exitIor, 1.52f);
}

TEST(Dielectric, NoRequestWritesOnlyTheLobe) {
    const Material m = makeMaterial(kName);
    vkhost::ScriptedContext ctx;
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
    s.bsdfLobe = 5;
    vyr::ShadingState expected = s;
    expected.bsdfLobe = 0;
    m->sampleBsdf(&ctx, &s);
    EXPECT_TRUE(sameBytes(s, expected));
    EXPECT_TRUE(ctx.calls.empty());
}

// Evaluate, head-on view and mirror light (V = L = N), roughness 0.3 squared to alpha^2 = 0.09:
//   hr = (0,0,1), D(1) = 0.09 / (3.141593 * 0.09^2) = 3.536776, G = 0.950677^2 = 0.903786,
//   fr = G D / 4 = 0.799122; ht = normalise(V + 1.52 L) = (0,0,1), h.V = h.L = 1:
//   ft = G D * 1 * 1.52^2 / (1 * 2.52^2) = 3.196489 * 0.363819 = 1.162945 (the formula has no
//   side test, so a light on the viewer's side also gets a transmission value);
//   value = 0.1 * 0.799122 + 0.9 * 1.162945 = 1.126563; cosine |cosL| = 1.
TEST(Dielectric, EvaluateBothLobes) {
    const Material m = makeMaterial(kName, {{"u_roughValue", 0.3f}});
    vkhost::ScriptedContext ctx;
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
    s.bsdfDir = {0.0f, 0.0f, 1.0f};
    m->evaluateBsdf(&ctx, &s);
    EXPECT_NEAR(s.bsdfWeight.x, 1.126563f, 2e-5f);
    EXPECT_EQ(s.bsdfWeight.x, s.bsdfWeight.z);
    EXPECT_EQ(s.bsdfCos, 1.0f);
}

// The normal maps move the normal that everything else uses: a height map whose heights differ
// tilts N by (amount * 3.33) * (du T + dv B). A constant map has du = dv = 0 and changes nothing,
// a zero-amount procedural bump changes nothing but queries the noise four times at the
// tiling-scaled shading point.
TEST(Dielectric, PerturbationsReachTheNormal) {
    vkhost::ScriptedContext ctx;
    ctx.glossyReflectionResult = {1.0f, 1.0f, 1.0f};
    const Material flat =
        makeMaterial(kName, {{"u_normal0MapEnable", true},
                             {"u_normal0Map", constantTexture({0.2f, 0.2f, 0.2f})},
                             {"u_normal0Transform", kIdentity},
                             {"u_normal0Amount", 1.0f}});
    vyr::ShadingState s = stateWithRay({0.0f, 0.0f, -1.0f});
    flat->shade(&ctx, &s);
    expectVec(findCall(ctx, Call::TraceGlossyReflection)->b, {0.0f, 0.0f, 1.0f}, 1e-7f);

    ctx.clear();
    const Material noisy = makeMaterial(kName, {{"u_procedureMapEnable", std::int32_t{1}},
                                                {"u_procedureMapTiling", Vec3f{2.0f, 3.0f, 4.0f}}});
    s = stateWithRay({0.0f, 0.0f, -1.0f});
    s.position = {1.0f, 1.0f, 1.0f};
    noisy->shade(&ctx, &s);
    ASSERT_EQ(ctx.count(Call::Noise4), 4u);
    expectVec(findCall(ctx, Call::Noise4)->a, {2.0f, 3.0f, 4.0f}, 0.0f);

    ctx.clear();
    const Material other = makeMaterial(kName, {{"u_procedureMapEnable", std::int32_t{2}}});
    other->shade(&ctx, &s);
    EXPECT_EQ(ctx.count(Call::Noise4), 0u);
}

}  // namespace
}  // namespace materials_test
