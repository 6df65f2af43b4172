// The Metal through the host interface: declarations, Fresnel values derived by hand, the artist
// mode, presets, thin film, brushing, patina and cutout, reciprocity, sampling against
// evaluation, a chi-square test of the sampler and the white furnace.
#include <complex>
#include <cstdio>

#include "materials/metal/ggx.h"
#include "materials/metal/optics.h"
#include "materials/metal/presets.h"
#include "materials/metal/thin_film.h"
#include "metal_support.h"
#include "support/chi_square.h"

namespace materials_test {
namespace {

constexpr const char* kMetal = "vexa_kelo_Mtl_Metal";
constexpr double kPiD = 3.14159265358979323846;
constexpr Vec3f kUp{0.0f, 0.0f, 1.0f};

// The lobe's widths for roughness r and anisotropy a: alpha = r^2 shared so that the mean square
// stays r^4, narrow along the brushing direction (x).
vexakelo::metal::Ggx alphas(float r, float a) {
    const float beta = r * r * std::sqrt(2.0f / (1.0f + (1.0f - a) * (1.0f - a)));
    return {std::fmax(0.001f, (1.0f - a) * beta), std::fmax(0.001f, beta)};
}

// D at the normal, 1 / (pi ax ay): the value at V = L = N is F D / 4 (G2 = 1 there).
double peakD(float r) {
    const double alpha = static_cast<double>(r) * r;
    return 1.0 / (kPiD * alpha * alpha);
}

TEST(MetalDeclarations, CatalogFlagsVaryingsAndPlaces) {
    const Material m = makeMaterial(kMetal);
    const vkhost::ShaderLayout layout = vkhost::declareLayout(m.object.get());
    EXPECT_EQ(layout.flags, 0x0F);
    ASSERT_EQ(layout.varyings.size(), 3u);
    EXPECT_EQ(layout.varyings[2].name, "uv");
    ASSERT_EQ(layout.parameters.size(), 76u);
    // Group starts and the places where padding could slip.
    const std::pair<const char*, std::size_t> places[] = {
        {"u_preset", 8},          {"u_reflectivityMap", 16},     {"u_reflectivityColor", 72},
        {"u_tintColor", 156},     {"u_roughMap", 176},           {"u_roughValue", 232},
        {"u_brushMode", 364},     {"u_brushCenter", 368},        {"u_perlageSize", 392},
        {"u_bumpUVScale", 456},   {"u_normalFlipY", 520},        {"u_filmMapEnable", 521},
        {"u_filmMap", 528},       {"u_filmThickness", 584},      {"u_patinaOctaves", 676},
        {"u_patinaColor", 744},   {"u_cutoutValue", 816},        {"u_reflectSamples", 828},
        {"u_reflectionHighlightOnly", 832}, {"u_patinaRoughness", 836},
    };
    for (const auto& [name, offset] : places) {
        const vkhost::Declaration* d = layout.find(name);
        ASSERT_NE(d, nullptr) << name;
        EXPECT_EQ(d->offset, offset) << name;
    }
    EXPECT_EQ(layout.parameters.back().name, "u_patinaRoughness");
}

// Reflectance of gold and aluminium from the Born and Wolf form of the conductor equations
// (a^2 + b^2 = sqrt((n^2 - k^2 - sin^2)^2 + 4 n^2 k^2), ...), evaluated by hand in double
// precision: a different route from the complex amplitudes the library takes.
TEST(MetalFresnel, MeasuredPresetsAtNormalAndSixtyDegrees) {
    struct Row {
        int preset;
        float mu;
        Vec3f expected;
    };
    const Row rows[] = {
        {1, 1.0f, {0.95640f, 0.79161f, 0.40808f}},
        {1, 0.5f, {0.95149f, 0.79233f, 0.43956f}},
        {4, 1.0f, {0.90560f, 0.91538f, 0.92188f}},
        {4, 0.5f, {0.88826f, 0.90034f, 0.90914f}},
    };
    for (const Row& r : rows) {
        const Vec3f F = vexakelo::metal::conductorFresnel(
            r.mu, vexakelo::metal::kMetalPresets[r.preset]);
        expectVec(F, r.expected, 2e-4f, "preset");
    }
}

TEST(MetalFresnel, DefaultMetalHeadOn) {
    // Aluminium, r = 0.3: F(1) D(N) / 4 with D = 1 / (pi 0.09^2).
    const Material m = makeMaterial(kMetal);
    RandomContext ctx;
    expectVec(evaluate(m, ctx, kUp, kUp), {8.897f, 8.993f, 9.057f}, 0.005f, "default");
}

// Every preset id reaches its own measured index: head-on the value is
// F0 D / 4 with F0 = ((n - 1)^2 + k^2) / ((n + 1)^2 + k^2); ids outside 1-11 are the artist mode.
TEST(MetalPresets, ReachableByTheirIds) {
    RandomContext ctx;
    const float r = 0.5f;
    const double scale = peakD(r) / 4.0;
    for (int id = -1; id <= 12; ++id) {
        const Material m = makeMaterial(kMetal, {{"u_preset", std::int32_t{id}},
                                                 {"u_roughValue", r},
                                                 {"u_reflectivityColor", Vec3f{0.2f, 0.4f, 0.6f}}});
        const Vec3f v = evaluate(m, ctx, kUp, kUp);
        Vec3f f0{0.2f, 0.4f, 0.6f};
        if (id >= 1 && id <= 11) {
            const auto& p = vexakelo::metal::kMetalPresets[id];
            const auto head = [](float n, float k) {
                return ((n - 1) * (n - 1) + k * k) / ((n + 1) * (n + 1) + k * k);
            };
            f0 = {head(p.eta.x, p.kappa.x), head(p.eta.y, p.kappa.y), head(p.eta.z, p.kappa.z)};
        }
        const float s = static_cast<float>(scale);
        expectVec(v, {f0.x * s, f0.y * s, f0.z * s}, 1e-3f * s, ("id " + std::to_string(id)).c_str());
    }
}

// The artist mode gives back its own reflectivity at normal incidence, whatever the edge tint,
// and the edge tint bends the curve: at 80 degrees a tint of 1 is more saturated than a tint of 0.
TEST(MetalArtistMode, ReproducesItsReflectivityHeadOn) {
    const Vec3f colours[] = {{0.95f, 0.64f, 0.54f}, {0.05f, 0.5f, 0.98f}, {0.0f, 0.3f, 0.99f}};
    const Vec3f tints[] = {{1.0f, 1.0f, 1.0f}, {0.0f, 0.0f, 0.0f}, {0.9f, 0.5f, 0.2f}};
    for (const Vec3f& c : colours) {
        for (const Vec3f& g : tints) {
            const Vec3f F = vexakelo::metal::conductorFresnel(
                1.0f, vexakelo::metal::artistConductor(c, g));
            expectVec(F, {c.x, c.y, std::fmin(c.z, 0.99f)}, 2e-4f, "artist");
        }
    }
    const auto at80 = [](Vec3f tint) {
        return vexakelo::metal::conductorFresnel(
            0.1736f, vexakelo::metal::artistConductor({0.3f, 0.3f, 0.3f}, tint));
    };
    EXPECT_GT(at80({1, 1, 1}).x, at80({0, 0, 0}).x + 0.05f);
}

// |r|^2 of the exact Airy sum of one film at one wavelength (nm), in double precision.
double monochromaticFilm(double mu, double d, double eta2, std::complex<double> n3, double lambda) {
    const double s2 = 1.0 - mu * mu;
    const double u2 = std::sqrt(eta2 * eta2 - s2);
    const std::complex<double> u3 = std::sqrt(n3 * n3 - s2);
    const std::complex<double> phase = std::exp(std::complex<double>(0.0, 4.0 * kPiD * d * u2 / lambda));
    double R = 0.0;
    for (int pol = 0; pol < 2; ++pol) {
        const std::complex<double> r12 = pol == 0 ? (mu - u2) / (mu + u2)
                                                   : (eta2 * eta2 * mu - u2) / (eta2 * eta2 * mu + u2);
        const std::complex<double> r23 = pol == 0 ? (u2 - u3) / (u2 + u3)
                                                   : (n3 * n3 * u2 - eta2 * eta2 * u3) /
                                                         (n3 * n3 * u2 + eta2 * eta2 * u3);
        R += std::norm((r12 + r23 * phase) / (1.0 + r12 * r23 * phase));
    }
    return R / 2.0;
}

// Anodised titanium: the colour-matched film stays close to the exact single-wavelength Airy
// reflectance at 650/550/450 nm (the spectral integration only softens it), a 1 nm film is the
// bare metal within 0.01, and a titania layer on mica is plain mica when 1 nm thin.
TEST(MetalThinFilm, TitaniumUnderAnOxideFilm) {
    const auto& ti = vexakelo::metal::kMetalPresets[8];
    const float eta[3] = {ti.eta.x, ti.eta.y, ti.eta.z};
    const float kappa[3] = {ti.kappa.x, ti.kappa.y, ti.kappa.z};
    const double lambda[3] = {650.0, 550.0, 450.0};
    for (const float d : {50.0f, 100.0f, 250.0f}) {
        const Vec3f F = vexakelo::metal::airyReflectance(1.0f, d, 1.8f, ti);
        const float got[3] = {F.x, F.y, F.z};
        for (int c = 0; c < 3; ++c) {
            const double exact = monochromaticFilm(1.0, d, 1.8, {eta[c], kappa[c]}, lambda[c]);
            EXPECT_NEAR(got[c], exact, d < 200.0f ? 0.02 : 0.08) << d << " nm, channel " << c;
        }
    }
    // Blue-violet at 50 nm, its complement (a warm-to-blue rise) at 100 nm.
    const Vec3f f50 = vexakelo::metal::airyReflectance(1.0f, 50.0f, 1.8f, ti);
    const Vec3f f100 = vexakelo::metal::airyReflectance(1.0f, 100.0f, 1.8f, ti);
    expectVec(f50, {0.318f, 0.208f, 0.155f}, 0.005f, "50 nm");
    expectVec(f100, {0.386f, 0.498f, 0.575f}, 0.005f, "100 nm");
    expectVec(vexakelo::metal::airyReflectance(0.6f, 1.0f, 1.8f, ti),
              vexakelo::metal::conductorFresnel(0.6f, ti), 0.01f, "1 nm");
    const vexakelo::metal::ConductorIor mica{{1.58f, 1.58f, 1.58f}, {0.0f, 0.0f, 0.0f}};
    expectVec(vexakelo::metal::airyReflectance(1.0f, 1.0f, 2.5f, mica), {0.051f, 0.051f, 0.051f},
              0.002f, "pearl");
}

// A film of thickness 0 is exactly the bare metal, bit for bit, at any weight and index.
TEST(MetalThinFilm, ZeroThicknessIsTheBareMetal) {
    RandomContext ctx;
    const Material bare = makeMaterial(kMetal, {{"u_preset", std::int32_t{8}}});
    const Material zero = makeMaterial(kMetal, {{"u_preset", std::int32_t{8}},
                                                {"u_filmThickness", 0.0f},
                                                {"u_filmWeight", 1.0f},
                                                {"u_filmIor", 2.4f},
                                                {"u_filmVariation", 1.0f}});
    const Vec3f V = polar(0.6, 0.2);
    const Vec3f L = polar(0.5, 2.9);
    EXPECT_EQ(evaluate(bare, ctx, V, L), evaluate(zero, ctx, V, L));
    EXPECT_EQ(ctx.noiseCalls, 0);
}

// f(V, L) = f(L, V) across the features that shape the lobe.
TEST(MetalBsdf, Reciprocity) {
    RandomContext ctx;
    ctx.noise4Result = 0.3f;
    ctx.noise2Result = 0.7f;
    const Material materials[] = {
        makeMaterial(kMetal),
        makeMaterial(kMetal, {{"u_anisotropyValue", 0.8f}, {"u_anisoRotationValue", 0.1f}}),
        makeMaterial(kMetal, {{"u_preset", std::int32_t{8}}, {"u_filmThickness", 180.0f}}),
        makeMaterial(kMetal, {{"u_brushMode", std::int32_t{1}},
                              {"u_anisotropyValue", 0.9f},
                              {"u_brushStreaks", 0.5f},
                              {"u_streakTilt", 0.2f}}),
        makeMaterial(kMetal, {{"u_patinaCoverage", 0.5f}, {"u_patinaRoughness", 0.8f}}),
    };
    const Vec3f dirs[] = {polar(0.2, 0.3), polar(0.9, 2.0), polar(1.3, -1.0), polar(0.5, 4.0)};
    for (const Material& m : materials) {
        for (const Vec3f& V : dirs) {
            for (const Vec3f& L : dirs) {
                const Vec3f a = evaluate(m, ctx, V, L);
                const Vec3f b = evaluate(m, ctx, L, V);
                expectVec(a, b, 1e-5f * std::fmax(1.0f, a.y), "reciprocity");
            }
        }
    }
}

// What sampleBsdf reports agrees with evaluateBsdf: weight * pdf is the value, the cosine is the
// same, and the lobe flag names the lobe.
TEST(MetalBsdf, SampleAgreesWithEvaluate) {
    const Material materials[] = {
        makeMaterial(kMetal, {{"u_anisotropyValue", 0.6f}, {"u_roughValue", 0.5f}}),
        makeMaterial(kMetal, {{"u_patinaCoverage", 0.5f}, {"u_patinaRoughness", 0.5f}}),
        makeMaterial(kMetal, {{"u_preset", std::int32_t{8}}, {"u_filmThickness", 90.0f}}),
    };
    RandomContext ctx;
    int checked = 0;
    for (const Material& m : materials) {
        for (const double theta : {0.1, 0.7, 1.3}) {
            const Vec3f V = polar(theta, 0.4);
            for (int i = 0; i < 50; ++i) {
                vyr::ShadingState s = viewState(V);
                setRequest(s, true, false);
                m->sampleBsdf(&ctx, &s);
                if (s.bsdfLobe == 0) {
                    continue;
                }
                EXPECT_TRUE(s.bsdfLobe == 16 || s.bsdfLobe == 2);
                vyr::ShadingState e = viewState(V);
                e.bsdfDir = s.bsdfDir;
                m->evaluateBsdf(&ctx, &e);
                const Vec3f product{s.bsdfWeight.x * s.bsdfPdf, s.bsdfWeight.y * s.bsdfPdf,
                                    s.bsdfWeight.z * s.bsdfPdf};
                expectVec(product, e.bsdfWeight, 1e-4f * std::fmax(1.0f, e.bsdfWeight.y),
                          "weight * pdf");
                EXPECT_NEAR(s.bsdfCos, e.bsdfCos, 1e-6f);
                ++checked;
            }
        }
    }
    EXPECT_GT(checked, 300);
}

// The visible-normal sampler draws from the density it reports: alpha {0.05, 0.3, 1} x
// anisotropy {0, 0.8} x view cosine {1, 0.5, 0.1}, and a patina mix of both lobes.
TEST(MetalSampling, ChiSquareAgainstTheLobeDensity) {
    struct Case {
        float alpha, a, mu;
        bool patina;
    };
    std::vector<Case> cases;
    for (const float alpha : {0.05f, 0.3f, 1.0f}) {
        for (const float a : {0.0f, 0.8f}) {
            for (const float mu : {1.0f, 0.5f, 0.1f}) {
                cases.push_back({alpha, a, mu, false});
            }
        }
    }
    cases.push_back({0.3f, 0.5f, 0.6f, true});
    const double significance = vktest::sidakSignificance(0.01, static_cast<int>(cases.size()));
    vktest::ChiSquareConfig config;
    config.samples = kStatSamples;

    for (const Case& k : cases) {
        const float r = std::sqrt(k.alpha);
        const Material m =
            k.patina ? makeMaterial(kMetal, {{"u_roughValue", r},
                                             {"u_anisotropyValue", k.a},
                                             {"u_patinaCoverage", 0.5f},
                                             {"u_patinaColor", Vec3f{0.5f, 0.5f, 0.5f}}})
                     : makeMaterial(kMetal, {{"u_roughValue", r}, {"u_anisotropyValue", k.a}});
        RandomContext ctx(11u);
        const Vec3f V = polar(std::acos(static_cast<double>(k.mu)), 0.7);
        const vexakelo::metal::Ggx g = alphas(r, k.a);
        // Patina: the noise stands at 0.5, the mask at 0.5; the lobes are chosen in proportion
        // to the metal's luminous reflectance facing the viewer and the oxide's albedo.
        double pGlossy = 1.0;
        if (k.patina) {
            const float wg = 0.5f * vexakelo::metal::luminance(vexakelo::metal::conductorFresnel(
                                        V.z, vexakelo::metal::kMetalPresets[4]));
            const float wd = 0.5f * 0.5f;
            pGlossy = wg / (wg + wd);
        }
        const auto sample = [&]() -> std::optional<vyr::Vec3f> {
            vyr::ShadingState s = viewState(V);
            setRequest(s, true, false);
            m->sampleBsdf(&ctx, &s);
            if (s.bsdfLobe == 0) {
                return std::nullopt;
            }
            return s.bsdfDir;
        };
        const auto pdf = [&](vyr::Vec3f L) {
            const double glossy = vexakelo::metal::ggxReflectionPdf(g, V, L);
            const double diffuse = L.z > 0.0f ? L.z / kPiD : 0.0;
            return pGlossy * glossy + (1.0 - pGlossy) * diffuse;
        };
        // The narrowest lobe spans a few degrees of an 18-degree bin: a finer quadrature.
        config.integrationSteps = k.alpha < 0.1f ? 160 : 24;
        const vktest::ChiSquareResult res = vktest::chiSquareTest(sample, pdf, config);
        EXPECT_GT(res.pValue, significance)
            << "alpha " << k.alpha << " a " << k.a << " mu " << k.mu << " patina " << k.patina
            << ": chi2 " << res.statistic << " dof " << res.dof;
        // What the sampler produced is what the density integrates to (the rest fell below
        // the horizon and was returned as no sample).
        EXPECT_NEAR(res.sampledFraction, res.pdfIntegral, 0.01) << "alpha " << k.alpha;
    }
}

// White furnace: weight * cosine averages to the directional albedo, never above 1. With
// F in [0.99, 1] it is the single-scattering albedo E_ss of the lobe, known from numerical
// integration: alpha .1 -> .988/.969/.884, .25 -> .916/.858/.893, .5 -> .689/.699/.861,
// 1 -> .306/.452/.761 at view cosines 1/.5/.1. The energy lost at high roughness is printed.
TEST(MetalEnergy, WhiteFurnace) {
    struct Row {
        float alpha;
        float ess[3];
    };
    const Row rows[] = {{0.1f, {0.988f, 0.969f, 0.884f}},
                        {0.25f, {0.916f, 0.858f, 0.893f}},
                        {0.5f, {0.689f, 0.699f, 0.861f}},
                        {1.0f, {0.306f, 0.452f, 0.761f}}};
    const float mus[3] = {1.0f, 0.5f, 0.1f};
    const int n = kStatSamples / 5;
    RandomContext ctx(3u);
    for (const Row& row : rows) {
        const Material m = makeMaterial(kMetal, {{"u_preset", std::int32_t{0}},
                                                 {"u_reflectivityColor", Vec3f{0.99f, 0.99f, 0.99f}},
                                                 {"u_edgeTintColor", Vec3f{1.0f, 1.0f, 1.0f}},
                                                 {"u_roughValue", std::sqrt(row.alpha)}});
        for (int i = 0; i < 3; ++i) {
            const double E = albedo(m, ctx, polar(std::acos(static_cast<double>(mus[i])), 0.3), n);
            EXPECT_LE(E, row.ess[i] + 0.005) << "alpha " << row.alpha << " mu " << mus[i];
            EXPECT_GE(E, 0.99 * row.ess[i] - 0.005) << "alpha " << row.alpha << " mu " << mus[i];
            if (row.alpha == 1.0f) {
                std::printf("[ energy   ] alpha 1, mu %.1f: albedo %.3f, %.1f%% lost\n", mus[i], E,
                            100.0 * (1.0 - E));
            }
        }
    }
    // The oxide on its own: a white rough matte layer reflects at most everything (head-on
    // 1 / (1 + 0.288 sigma) of it, the share the rough model keeps).
    for (const float sigma : {0.0f, 0.5f, 1.0f}) {
        const Material m = makeMaterial(kMetal, {{"u_patinaCoverage", 1.0f},
                                                 {"u_patinaColor", Vec3f{1.0f, 1.0f, 1.0f}},
                                                 {"u_patinaRoughness", sigma}});
        for (const float mu : mus) {
            const double E = albedo(m, ctx, polar(std::acos(static_cast<double>(mu)), 0.3), n);
            EXPECT_LE(E, 1.005) << "patina sigma " << sigma << " mu " << mu;
            EXPECT_GE(E, 0.75) << "patina sigma " << sigma << " mu " << mu;
        }
    }
}

// The brushing direction turns the lobe: narrow along the lines, so a light tilted along them
// from a head-on view sees less than one tilted across them.
TEST(MetalBrushing, LinesCirclesRaysAndRotation) {
    struct Row {
        const char* what;
        std::int32_t mode;
        float rotation;
        vyr::Vec2f uv;
        double alongPhi;  // azimuth of the brushing direction at uv
    };
    const Row rows[] = {
        {"tangent", 0, 0.0f, {0.3f, 0.4f}, 0.0},
        {"rotated a quarter", 0, 0.25f, {0.3f, 0.4f}, kPiD / 2},
        {"circular right of the centre", 1, 0.0f, {0.8f, 0.5f}, kPiD / 2},
        {"circular above the centre", 1, 0.0f, {0.5f, 0.9f}, 0.0},
        {"radial right of the centre", 2, 0.0f, {0.8f, 0.5f}, 0.0},
        {"perlage spot", 3, 0.0f, {0.06f, 0.025f}, kPiD / 2},
    };
    RandomContext ctx;
    for (const Row& r : rows) {
        const Material m = makeMaterial(kMetal, {{"u_anisotropyValue", 0.8f},
                                                 {"u_brushMode", r.mode},
                                                 {"u_anisoRotationValue", r.rotation}});
        const Vec3f along = evaluate(m, ctx, kUp, polar(0.15, r.alongPhi), r.uv);
        const Vec3f across = evaluate(m, ctx, kUp, polar(0.15, r.alongPhi + kPiD / 2), r.uv);
        EXPECT_LT(along.y * 2.0f, across.y) << r.what;
    }
}

TEST(MetalPatina, MaskCoverageAndNoiseCalls) {
    const Vec3f rho{0.22f, 0.45f, 0.38f};
    RandomContext ctx;
    // Coverage 0: no noise, the bare metal.
    const Material none = makeMaterial(kMetal, {{"u_patinaCoverage", 0.0f}});
    evaluate(none, ctx, kUp, polar(0.5, 1.0));
    EXPECT_EQ(ctx.noiseCalls, 0);
    // Coverage 1: all oxide, c rho / pi with c the opacity, and still no noise.
    const Material full =
        makeMaterial(kMetal, {{"u_patinaCoverage", 1.0f}, {"u_cutoutValue", 0.5f}});
    const Vec3f v = evaluate(full, ctx, polar(0.3, 0.0), polar(0.5, 1.0));
    const float k = 0.5f / static_cast<float>(kPiD);
    expectVec(v, {k * rho.x, k * rho.y, k * rho.z}, 1e-6f, "full patina");
    EXPECT_EQ(ctx.noiseCalls, 0);
    // In between: fractal noise of the given octaves; with the noise at its mean the mask is
    // one half at coverage one half.
    const Material half = makeMaterial(kMetal, {{"u_patinaCoverage", 0.5f},
                                                {"u_patinaOctaves", std::int32_t{3}},
                                                {"u_patinaRoughness", 0.0f}});
    const Vec3f V = polar(0.3, 0.0), L = polar(0.5, 1.0);
    const Vec3f mixed = evaluate(half, ctx, V, L);
    EXPECT_EQ(ctx.noiseCalls, 3);
    const Vec3f metalOnly = evaluate(none, ctx, V, L);
    const float d = 0.5f / static_cast<float>(kPiD);
    expectVec(mixed, {0.5f * metalOnly.x + d * rho.x, 0.5f * metalOnly.y + d * rho.y,
                      0.5f * metalOnly.z + d * rho.z},
              1e-4f, "half patina");
}

// Only the cutout lets light through: shadow, shade and sampling.
TEST(MetalCutout, ShadowShadeAndSample) {
    struct Row {
        const char* what;
        float value;
        float threshold;
        bool emptyMap;  // map enabled with no texture: opacity 0
        float passes;
    };
    const Row rows[] = {
        {"opaque", 1.0f, 0.0f, false, 0.0f},
        {"partial", 0.3f, 0.0f, false, 0.7f},
        {"threshold above", 0.6f, 0.5f, false, 0.0f},
        {"threshold below", 0.4f, 0.5f, false, 1.0f},
        {"empty map", 1.0f, 0.0f, true, 1.0f},
    };
    for (const Row& r : rows) {
        const Material m = makeMaterial(kMetal, {{"u_cutoutValue", r.value},
                                                 {"u_cutoutThreshold", r.threshold},
                                                 {"u_cutoutMapEnable", r.emptyMap}});
        RandomContext ctx;
        vyr::ShadingState s = viewState(polar(0.4, 0.2));
        m->shadow(&ctx, &s);
        expectVec(s.shadowTransmit, {r.passes, r.passes, r.passes}, 1e-6f, r.what);
    }
    // Opacity 0: shade is the straight trace alone, every sample is the passage.
    const Material open = makeMaterial(kMetal, {{"u_cutoutValue", 0.0f}});
    RandomContext ctx;
    ctx.setLight(polar(0.3, 1.0));
    ctx.straightResult = {0.25f, 0.5f, 0.75f};
    vyr::ShadingState s = viewState(polar(0.4, 0.2));
    open->shade(&ctx, &s);
    EXPECT_EQ(ctx.traceRays, 0);
    EXPECT_EQ(ctx.traceStraights, 1);
    expectVec({s.outColor.x, s.outColor.y, s.outColor.z}, {0.25f, 0.5f, 0.75f}, 1e-6f, "open");
    open->sampleBsdf(&ctx, &s);
    EXPECT_EQ(s.bsdfLobe, 32);
    EXPECT_EQ(s.bsdfDir, s.rayDir);
    EXPECT_NEAR(s.bsdfWeight.x * s.bsdfCos, 1.0f, 1e-6f);
    setRequest(s, true, false);
    open->sampleBsdf(&ctx, &s);
    EXPECT_EQ(s.bsdfLobe, 0);
}

// shade: the lights' highlight is f cos factor colour; K traced samples average to the same
// weights as one; highlight-only and a black reflectance trace nothing.
TEST(MetalShade, HighlightsAndTracedReflections) {
    const Vec3f V = polar(0.5, 0.0);
    const Vec3f L = polar(0.5, kPiD);  // the mirror direction
    RandomContext ctx;
    ctx.setLight(L, 2.0f, {1.0f, 0.5f, 0.25f});
    ctx.rayResult = {0.0f, 0.0f, 0.0f};
    const Material m = makeMaterial(kMetal);
    vyr::ShadingState s = viewState(V);
    m->shade(&ctx, &s);
    const Vec3f f = evaluate(m, ctx, V, L);
    const float k = 2.0f * L.z;
    expectVec({s.outColor.x, s.outColor.y, s.outColor.z}, {k * f.x, k * f.y * 0.5f, k * f.z * 0.25f},
              1e-4f * k * f.x, "highlight");
    EXPECT_EQ(s.outColor.w, 1.0f);
    EXPECT_EQ(ctx.traceRays, 1);

    const auto traces = [&](const Material& mr) {
        RandomContext c2;
        vyr::ShadingState s2 = viewState(V);
        mr->shade(&c2, &s2);
        return c2.traceRays;
    };
    EXPECT_EQ(traces(makeMaterial(kMetal, {{"u_reflectSamples", std::int32_t{4}}})), 4);
    EXPECT_EQ(traces(makeMaterial(kMetal, {{"u_reflectSamples", std::int32_t{50}}})), 8);
    EXPECT_EQ(traces(makeMaterial(kMetal, {{"u_reflectionHighlightOnly", true}})), 0);
    EXPECT_EQ(traces(makeMaterial(kMetal, {{"u_preset", std::int32_t{0}},
                                           {"u_reflectivityColor", Vec3f{0, 0, 0}}})),
              0)
        << "a black reflectance traces nothing";
    // A white environment seen through K samples: the traced share is the albedo estimate.
    const Material eight = makeMaterial(kMetal, {{"u_reflectSamples", std::int32_t{8}}});
    RandomContext white;
    double sum = 0.0;
    const int n = 4000;
    for (int i = 0; i < n; ++i) {
        vyr::ShadingState s3 = viewState(V);
        eight->shade(&white, &s3);
        sum += s3.outColor.y;
    }
    RandomContext c4(5u);
    EXPECT_NEAR(sum / n, albedo(eight, c4, V, 100000), 0.01);
}

// Degenerate inputs give finite numbers or zeros, never NaN.
TEST(MetalEdgeCases, FullAnisotropyAndGrazingRays) {
    const Material m = makeMaterial(kMetal, {{"u_anisotropyValue", 1.0f}, {"u_roughValue", 0.0f}});
    RandomContext ctx;
    ctx.setLight(polar(kPiD / 2, 1.0));
    const Vec3f dirs[] = {kUp, polar(kPiD / 2, 0.0), polar(kPiD / 2, 1.0), polar(1.2, 0.5)};
    for (const Vec3f& V : dirs) {
        for (const Vec3f& L : dirs) {
            const Vec3f v = evaluate(m, ctx, V, L);
            EXPECT_TRUE(std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z));
        }
        vyr::ShadingState s = viewState(V);
        m->shade(&ctx, &s);
        EXPECT_TRUE(std::isfinite(s.outColor.x) && std::isfinite(s.outColor.z));
        m->sampleBsdf(&ctx, &s);
        if (s.bsdfLobe != 0) {
            EXPECT_TRUE(std::isfinite(s.bsdfWeight.x) && std::isfinite(s.bsdfPdf));
        }
    }
}

}  // namespace
}  // namespace materials_test
