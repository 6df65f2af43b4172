// Statistical checks of the Ward samplers: the directions sampleBsdf produces, binned over the
// sphere, against the density it reports, for the glossy-only sampler and the mixed one,
// isotropic and anisotropic, at several roughnesses and views. The Dielectric's glossy
// reflection sampler is checked the same way against its microfacet density.
#include <cmath>
#include <cstdio>
#include <optional>
#include <random>

#include "material_support.h"
#include "materials/ward/ward_lobe.h"
#include "support/chi_square.h"

namespace materials_test {
namespace {

constexpr int kSamples = 200000;
constexpr std::uint32_t kSeed = 20261123u;
constexpr double kFamilySignificance = 0.01;
constexpr int kTests = 8;  // chi-square cases asserted in this file, for the Sidak correction

const double kSignificance = vktest::sidakSignificance(kFamilySignificance, kTests);

vktest::ChiSquareConfig config() {
    vktest::ChiSquareConfig c;
    c.samples = kSamples;
    c.integrationSteps = 24;  // narrow anisotropic lobes need a fine rule inside each bin
    return c;
}

// A context whose random numbers are a seeded uniform sequence, long enough for every draw.
vkhost::ScriptedContext seededContext(int draws) {
    vkhost::ScriptedContext ctx;
    ctx.recording = false;
    std::mt19937 rng(kSeed);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    ctx.randoms.resize(draws);
    for (float& r : ctx.randoms) {
        r = uniform(rng);
    }
    return ctx;
}

vyr::ShadingState viewAt(float degrees, bool glossyOnly) {
    const float a = degrees * 3.14159265f / 180.0f;
    // Off the normal in the xz plane, between the anisotropy axes' plane and one of them.
    vyr::ShadingState s = stateWithRay({std::sin(a) * 0.8f, std::sin(a) * 0.6f, -std::cos(a)});
    setRequest(s, !glossyOnly, false);
    return s;
}

// A chi-square sampler over sampleBsdf from `base`; it also keeps in `worst` the largest relative
// gap between the reciprocal density the slot reports and `density` at the sampled direction.
template <class Density>
auto reportingSampler(const Material& m, const vyr::ShadingState& base,
                      vkhost::ScriptedContext& ctx, Density density, double& worst) {
    return [&m, base, &ctx, density, &worst]() -> std::optional<Vec3f> {
        vyr::ShadingState s = base;
        m->sampleBsdf(&ctx, &s);
        if (s.bsdfLobe == 0) {
            return std::nullopt;
        }
        worst = std::fmax(worst, std::fabs(1.0 / s.bsdfPdf / density(s.bsdfDir) - 1.0));
        return s.bsdfDir;
    };
}

struct Case {
    float roughness, anisotropy, view;
};

// The glossy-only sampler (request bytes clear) against the lobe density it reports as 1/pdf.
// The reported density must also equal the lobe's density at the sampled direction.
TEST(WardStatistics, GlossyOnlySamplerMatchesItsDensity) {
    const Case cases[] = {{0.05f, 1.0f, 30.0f}, {0.2f, 1.0f, 60.0f}, {0.5f, 1.0f, 10.0f},
                          {0.2f, 0.3f, 45.0f},  {0.5f, 2.0f, 70.0f}};
    for (const Case& c : cases) {
        const Material m = makeMaterial("vexa_kelo_Mtl_Ward", {{"u_roughValue", c.roughness},
                                                               {"u_anisotropyValue", c.anisotropy}});
        const vyr::ShadingState base = viewAt(c.view, true);
        const Vec3f D = base.rayDir;
        const float ax = c.roughness, ay = c.anisotropy * c.roughness;
        vkhost::ScriptedContext ctx = seededContext(2 * kSamples);
        double worstDensity = 0.0;
        const auto lobe = [&](Vec3f L) { return vexakelo::wardLobePdf(D, L, ax, ay); };
        const auto sample = reportingSampler(m, base, ctx, lobe, worstDensity);
        const auto pdf = [&](Vec3f L) { return L.z > 0.0f ? lobe(L) : 0.0f; };
        const vktest::ChiSquareResult r = vktest::chiSquareTest(sample, pdf, config());
        std::printf("[ measure  ] glossy only, a %.2f x %.2f, view %.0f: chi2 %.1f / %d, p %.3g, "
                    "sampled %.4f, density over the hemisphere %.4f\n",
                    ax, ay, c.view, r.statistic, r.dof, r.pValue, r.sampledFraction,
                    r.pdfIntegral);
        EXPECT_GT(r.pValue, kSignificance) << ax << " x " << ay << " at " << c.view;
        EXPECT_LT(worstDensity, 1e-3) << "reported density against the lobe's";
        // What is rejected below the horizon is exactly what the density misses.
        EXPECT_NEAR(r.sampledFraction, r.pdfIntegral, 0.01);
    }
}

// The mixed sampler draws from (1 - p) lobe + p cos/pi with p = 0.5 when both colours are set;
// its reported reciprocal density is that mixture's.
TEST(WardStatistics, MixedSamplerMatchesTheMixture) {
    const Case cases[] = {{0.1f, 1.0f, 40.0f}, {0.3f, 0.5f, 20.0f}, {0.3f, 1.0f, 75.0f}};
    for (const Case& c : cases) {
        const Material m = makeMaterial("vexa_kelo_Mtl_Ward",
                                        {{"u_roughValue", c.roughness},
                                         {"u_anisotropyValue", c.anisotropy},
                                         {"u_diffuseColor", Vec3f{0.5f, 0.5f, 0.5f}},
                                         {"u_brdf90Reflectivity", 0.5f}});
        const vyr::ShadingState base = viewAt(c.view, false);
        const Vec3f D = base.rayDir;
        const float ax = c.roughness, ay = c.anisotropy * c.roughness;
        const auto mixture = [&](Vec3f L) {
            return 0.5f * vexakelo::wardLobePdf(D, L, ax, ay) + L.z * 0.5f * 0.3183099f;
        };
        vkhost::ScriptedContext ctx = seededContext(3 * kSamples + 1);
        double worstDensity = 0.0;
        const auto sample = reportingSampler(m, base, ctx, mixture, worstDensity);
        const auto pdf = [&](Vec3f L) { return L.z > 0.0f ? mixture(L) : 0.0f; };
        const vktest::ChiSquareResult r = vktest::chiSquareTest(sample, pdf, config());
        std::printf("[ measure  ] mixed, a %.2f x %.2f, view %.0f: chi2 %.1f / %d, p %.3g, "
                    "sampled %.4f\n",
                    ax, ay, c.view, r.statistic, r.dof, r.pValue, r.sampledFraction);
        EXPECT_GT(r.pValue, kSignificance);
        EXPECT_LT(worstDensity, 1e-3);
    }
}

// The harness's own sensitivity: the same samples judged against a lobe 20 % rougher fail.
TEST(WardStatistics, ChiSquareDetectsAWrongRoughness) {
    const Material m = makeMaterial("vexa_kelo_Mtl_Ward", {{"u_roughValue", 0.2f}});
    const vyr::ShadingState base = viewAt(30.0f, true);
    vkhost::ScriptedContext ctx = seededContext(2 * kSamples);
    const auto sample = [&]() -> std::optional<Vec3f> {
        vyr::ShadingState s = base;
        m->sampleBsdf(&ctx, &s);
        return s.bsdfLobe == 0 ? std::nullopt : std::optional<Vec3f>(s.bsdfDir);
    };
    const auto pdf = [&](Vec3f L) {
        return L.z > 0.0f ? vexakelo::wardLobePdf(base.rayDir, L, 0.24f, 0.24f) : 0.0f;
    };
    EXPECT_LT(vktest::chiSquareTest(sample, pdf, config()).pValue, 1e-6);
}

}  // namespace
}  // namespace materials_test
