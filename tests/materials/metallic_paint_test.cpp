// The MetallicPaint through the host interface: declarations, the coat's transmission and colour,
// the flop, flakes, presets, reciprocity, sampling against evaluation, a chi-square test of the
// sampler and the white furnace.
#include "materials/metal/flakes.h"
#include "materials/metal/ggx.h"
#include "materials/metal/optics.h"
#include "materials/metal/presets.h"
#include "materials/metal/thin_film.h"
#include "metal_support.h"
#include "support/chi_square.h"

namespace materials_test {
namespace {

constexpr const char* kPaint = "vexa_kelo_Mtl_MetallicPaint";
constexpr double kPiD = 3.14159265358979323846;
constexpr Vec3f kUp{0.0f, 0.0f, 1.0f};
constexpr float kF0 = 0.04f;  // a 1.5 coat head-on: ((1.5 - 1) / (1.5 + 1))^2
// With the host's noise at 0.5 the cells are not warped: this uv is 0.05 cells from the centre
// of cell (2, 2) at the default flake size 0.002, so a density of 1 puts a flake there.
constexpr vyr::Vec2f kOnFlake{0.0051f, 0.0051f};
// The corner of a cell: never on a flake.
constexpr vyr::Vec2f kOffFlake{0.0001f, 0.0001f};

TEST(MetallicPaintDeclarations, CatalogFlagsAndPlaces) {
    const Material m = makeMaterial(kPaint);
    const vkhost::ShaderLayout layout = vkhost::declareLayout(m.object.get());
    EXPECT_EQ(layout.flags, 0x0D);
    EXPECT_EQ(layout.varyings.size(), 3u);
    ASSERT_EQ(layout.parameters.size(), 24u);
    const std::pair<const char*, std::size_t> places[] = {
        {"u_preset", 8},       {"u_baseColorMapEnable", 12}, {"u_baseColorMap", 16},
        {"u_baseColor", 72},   {"u_flopColor", 84},          {"u_flakeMetal", 100},
        {"u_flakeDensity", 116}, {"u_pearlRatio", 132},      {"u_pearlColor", 140},
        {"u_coatWeight", 152}, {"u_coatColor", 156},         {"u_coatRoughness", 172},
        {"u_peelAmount", 176}, {"u_seed", 184},
    };
    for (const auto& [name, offset] : places) {
        const vkhost::Declaration* d = layout.find(name);
        ASSERT_NE(d, nullptr) << name;
        EXPECT_EQ(d->offset, offset) << name;
    }
}

TEST(MetallicPaintShadow, LeavesTheStateAlone) {
    const Material m = makeMaterial(kPaint);
    RandomContext ctx;
    vyr::ShadingState s = viewState(polar(0.3, 0.1));
    s.shadowTransmit = {0.25f, 0.5f, 0.75f};
    const vyr::ShadingState before = s;
    m->shadow(&ctx, &s);
    EXPECT_TRUE(sameBytes(s, before));
}

// Head-on (N.h = 1) the pigment is the face colour, seen through the coat there and back:
// (1 - F0)^2 C base / pi; with the light and the view far apart (N.h small) it tends to the flop.
TEST(MetallicPaintPigment, CoatTransmissionColourAndFlop) {
    struct Row {
        const char* what;
        Vec3f coatColor;
        float coatWeight;
        Vec3f V, L;
        Vec3f expected;  // times 1/pi
    };
    const float t = (1.0f - kF0) * (1.0f - kF0);
    const Vec3f base{0.6f, 0.3f, 0.1f};
    const Row rows[] = {
        {"clear coat head-on", {1, 1, 1}, 1.0f, kUp, kUp, {t * 0.6f, t * 0.3f, t * 0.1f}},
        {"tinted coat head-on", {0.5f, 0.25f, 1.0f}, 1.0f, kUp, kUp,
         {t * 0.3f, t * 0.075f, t * 0.1f}},
        {"no coat", {0.5f, 0.25f, 1.0f}, 0.0f, kUp, kUp, base},
    };
    RandomContext ctx;
    for (const Row& r : rows) {
        const Material m = makeMaterial(kPaint, {{"u_baseColor", base},
                                                 {"u_flopColor", Vec3f{0.0f, 0.0f, 0.0f}},
                                                 {"u_flakeDensity", 0.0f},
                                                 {"u_coatColor", r.coatColor},
                                                 {"u_coatWeight", r.coatWeight}});
        const Vec3f v = evaluate(m, ctx, r.V, r.L);
        const float k = static_cast<float>(1.0 / kPiD);
        expectVec(v, {k * r.expected.x, k * r.expected.y, k * r.expected.z}, 1e-5f, r.what);
    }
    // Away from the highlight the flop colour takes over.
    const Material m = makeMaterial(kPaint, {{"u_baseColor", Vec3f{1, 0, 0}},
                                             {"u_flopColor", Vec3f{0, 0, 1}},
                                             {"u_flakeDensity", 0.0f}});
    const Vec3f near = evaluate(m, ctx, polar(0.3, 0.0), polar(0.3, kPiD));  // N.h = 1
    const Vec3f far = evaluate(m, ctx, polar(1.3, 0.0), polar(1.3, 0.0));    // N.h = cos 1.3
    EXPECT_GT(near.x, 10.0f * near.z);
    EXPECT_GT(far.z, 5.0f * far.x);
}

// Flakes: density 0 asks the host for nothing, density 1 covers pi 0.45^2 of the surface, and a
// flake's sparkle outshines the pigment by orders of magnitude in its own mirror direction.
TEST(MetallicPaintFlakes, CoverageCallsAndSparkle) {
    RandomContext ctx;
    ctx.hashedNoise2 = true;
    const Material none = makeMaterial(kPaint, {{"u_flakeDensity", 0.0f}});
    evaluate(none, ctx, kUp, polar(0.4, 1.0));
    EXPECT_EQ(ctx.randomOfCalls, 0);

    for (const float density : {1.0f, 0.5f}) {
        int on = 0;
        const int n = 200;
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) {
                const vyr::Vec2f uv{0.00137f * static_cast<float>(i), 0.00171f * static_cast<float>(j)};
                on += vexakelo::metal::findFlake(&ctx, uv, 0.002f, density, 0.2f, 0.0f, 0).present;
            }
        }
        EXPECT_NEAR(static_cast<double>(on) / (n * n), density * kPiD * 0.45 * 0.45, 0.02)
            << "density " << density;
    }

    // The flake's own mirror configuration: V and L symmetric about its normal.
    RandomContext flat;
    const vexakelo::metal::Flake f =
        vexakelo::metal::findFlake(&flat, kOnFlake, 0.002f, 1.0f, 0.2f, 0.0f, 0);
    ASSERT_TRUE(f.present);
    const Vec3f m = f.normal;
    const Vec3f V = polar(0.35, 0.5);
    const float vm = V.x * m.x + V.y * m.y + V.z * m.z;
    const Vec3f L{2 * vm * m.x - V.x, 2 * vm * m.y - V.y, 2 * vm * m.z - V.z};
    const Material flakes = makeMaterial(kPaint, {{"u_flakeDensity", 1.0f}});
    const Vec3f sparkle = evaluate(flakes, flat, V, L, kOnFlake);
    const Vec3f pigment = evaluate(flakes, flat, V, L, kOffFlake);
    EXPECT_GT(sparkle.y, 100.0f * pigment.y);
}

// A preset is the same paint as its values typed in, and ids outside the table are custom.
TEST(MetallicPaintPresets, ReachableByTheirIds) {
    RandomContext ctx;
    ctx.hashedNoise2 = true;
    const Vec3f V = polar(0.4, 0.2), L = polar(0.7, 2.5);
    const vyr::Vec2f uvs[] = {kOnFlake, kOffFlake, {0.3137f, 0.731f}, {0.0049f, 0.0123f}};
    for (int id = 1; id < vexakelo::metal::kPaintPresetCount; ++id) {
        const vexakelo::metal::PaintLook& p = vexakelo::metal::kPaintPresets[id];
        const Material preset = makeMaterial(kPaint, {{"u_preset", std::int32_t{id}}});
        const Material typed = makeMaterial(kPaint, {{"u_baseColor", p.base},
                                                     {"u_flopColor", p.flop},
                                                     {"u_flopFalloff", p.flopFalloff},
                                                     {"u_flakeMetal", std::int32_t{p.flakeMetal}},
                                                     {"u_flakeColor", p.flakeColor},
                                                     {"u_flakeDensity", p.flakeDensity},
                                                     {"u_pearlRatio", p.pearlRatio},
                                                     {"u_pearlThickness", p.pearlThickness},
                                                     {"u_pearlColor", p.pearlColor},
                                                     {"u_coatColor", p.coatColor}});
        for (const vyr::Vec2f uv : uvs) {
            EXPECT_EQ(evaluate(preset, ctx, V, L, uv), evaluate(typed, ctx, V, L, uv)) << id;
        }
    }
    const Material custom = makeMaterial(kPaint);
    for (const int id : {-1, 0, 99}) {
        const Material m = makeMaterial(kPaint, {{"u_preset", std::int32_t{id}}});
        EXPECT_EQ(evaluate(m, ctx, V, L, uvs[2]), evaluate(custom, ctx, V, L, uvs[2])) << id;
    }
}

// The paint variants the statistical tests run over: off and on a flake, smooth and rough coat,
// a tinted coat with orange peel, a pearl flake.
struct PaintCase {
    const char* what;
    vyr::Vec2f uv;
    float coatRoughness;
    float peel;
    float pearl;
};
const PaintCase kCases[] = {
    {"pigment under a smooth coat", kOffFlake, 0.0f, 0.0f, 0.0f},
    {"pigment under a rough coat", kOffFlake, 0.4f, 0.0f, 0.0f},
    {"flake under a smooth coat", kOnFlake, 0.0f, 0.0f, 0.0f},
    {"flake under a rough coat", kOnFlake, 0.3f, 0.0f, 0.0f},
    {"flake under a peeled coat", kOnFlake, 0.3f, 0.02f, 0.0f},
    {"pearl flake", kOnFlake, 0.2f, 0.0f, 1.0f},
};

Material paintFor(const PaintCase& c) {
    return makeMaterial(kPaint, {{"u_flakeDensity", 1.0f},
                                 {"u_flakeRoughness", 0.4f},
                                 {"u_coatRoughness", c.coatRoughness},
                                 {"u_coatColor", Vec3f{0.9f, 0.8f, 0.7f}},
                                 {"u_peelAmount", c.peel},
                                 {"u_pearlRatio", c.pearl}});
}

TEST(MetallicPaintBsdf, ReciprocityAndSampleAgreesWithEvaluate) {
    RandomContext ctx;
    ctx.hashedNoise2 = true;
    const Vec3f dirs[] = {polar(0.2, 0.3), polar(0.9, 2.0), polar(1.3, -1.0), polar(0.5, 4.0)};
    int checked = 0;
    for (const PaintCase& c : kCases) {
        const Material m = paintFor(c);
        for (const Vec3f& V : dirs) {
            for (const Vec3f& L : dirs) {
                const Vec3f a = evaluate(m, ctx, V, L, c.uv);
                const Vec3f b = evaluate(m, ctx, L, V, c.uv);
                expectVec(a, b, 1e-5f * std::fmax(1.0f, a.y), c.what);
            }
            for (int i = 0; i < 40; ++i) {
                vyr::ShadingState s = viewState(V, c.uv);
                m->sampleBsdf(&ctx, &s);
                if (s.bsdfLobe == 0 || s.bsdfLobe == 32) {
                    continue;
                }
                const Vec3f e = evaluate(m, ctx, V, s.bsdfDir, c.uv);
                expectVec({s.bsdfWeight.x * s.bsdfPdf, s.bsdfWeight.y * s.bsdfPdf,
                           s.bsdfWeight.z * s.bsdfPdf},
                          e, 1e-4f * std::fmax(1.0f, e.y), c.what);
                ++checked;
            }
        }
    }
    EXPECT_GT(checked, 400);
}

// The density the sampler should follow, put together from the lobes: the coat chosen by its
// Fresnel F_c(V), the flake by (1 - F_c) times its luminous reflectance facing V, the pigment by
// (1 - F_c) times the base's luminance; each lobe's own density from the lobe functions. The
// flake's normal is found the way the material finds it, with the same host noise and random.
double paintDensity(const PaintCase& c, const vexakelo::metal::Flake& flake, Vec3f V, Vec3f L) {
    namespace mt = vexakelo::metal;
    const float Fc = mt::dielectricFresnel(V.z, 1.5f);
    const bool smooth = c.coatRoughness < 0.03f;
    double wCoat = Fc, wFlake = 0.0, wPigment = 0.0;
    const Vec3f m = flake.normal;
    const auto toFlake = [&](Vec3f d) {
        // Any frame about m will do for an isotropic lobe.
        const Vec3f t = vexakelo::normalize(vexakelo::cross(Vec3f{0, 1, 0}, m));
        const Vec3f b = vexakelo::cross(m, t);
        return Vec3f{vexakelo::dot(d, t), vexakelo::dot(d, b), vexakelo::dot(d, m)};
    };
    if (flake.present) {
        const float mv = vexakelo::dot(V, m);
        const mt::ConductorIor mica{{1.58f, 1.58f, 1.58f}, {0.0f, 0.0f, 0.0f}};
        const Vec3f F = flake.pearl ? mt::airyReflectance(mv, 100.0f, 2.5f, mica)
                                    : mt::conductorFresnel(mv, mt::kMetalPresets[mt::kAluminium]);
        wFlake = (1.0f - Fc) * mt::luminance(F);
    } else {
        wPigment = (1.0f - Fc) * mt::luminance({0.6f, 0.03f, 0.03f});
    }
    const double total = wCoat + wFlake + wPigment;
    double pdf = 0.0;
    if (!smooth) {
        const float a = c.coatRoughness * c.coatRoughness;
        pdf += wCoat / total * mt::ggxReflectionPdf({a, a}, V, L);
    }
    if (wFlake > 0.0 && L.z > 0.0f) {
        pdf += wFlake / total * mt::ggxReflectionPdf({0.16f, 0.16f}, toFlake(V), toFlake(L));
    }
    if (wPigment > 0.0 && L.z > 0.0f) {
        pdf += wPigment / total * L.z / kPiD;
    }
    return pdf;
}

// The sampler against that density. The mirror of a smooth coat is a delta: its samples are
// left out and the density's integral is the rest.
TEST(MetallicPaintSampling, ChiSquareAgainstTheLobeDensity) {
    std::vector<PaintCase> cases;
    for (const PaintCase& c : kCases) {
        if (c.peel == 0.0f) {
            cases.push_back(c);
        }
    }
    const double significance = vktest::sidakSignificance(0.01, 2 * static_cast<int>(cases.size()));
    vktest::ChiSquareConfig config;
    config.samples = kStatSamples / 2;
    config.integrationSteps = 24;
    for (const PaintCase& c : cases) {
        const Material m = paintFor(c);
        for (const double theta : {0.3, 1.2}) {
            RandomContext ctx(19u);
            ctx.hashedNoise2 = true;
            const Vec3f V = polar(theta, 0.9);
            const auto sample = [&]() -> std::optional<vyr::Vec3f> {
                vyr::ShadingState s = viewState(V, c.uv);
                setRequest(s, true, false);
                m->sampleBsdf(&ctx, &s);
                if (s.bsdfLobe == 0 || s.bsdfLobe == 32) {
                    return std::nullopt;
                }
                return s.bsdfDir;
            };
            RandomContext hashes;
            hashes.hashedNoise2 = true;
            const vexakelo::metal::Flake flake =
                vexakelo::metal::findFlake(&hashes, c.uv, 0.002f, 1.0f, 0.2f, c.pearl, 0);
            const auto pdf = [&](vyr::Vec3f L) { return paintDensity(c, flake, V, L); };
            const vktest::ChiSquareResult res = vktest::chiSquareTest(sample, pdf, config);
            EXPECT_GT(res.pValue, significance)
                << c.what << " theta " << theta << ": chi2 " << res.statistic << " dof " << res.dof;
            EXPECT_NEAR(res.sampledFraction, res.pdfIntegral, 0.01) << c.what;
        }
    }
}

// White furnace off a flake: white pigment under a smooth 1.5 coat reflects
// F_c + (1 - F_c)(1 - 0.0918), 0.0918 being the coat's cosine-weighted mean reflectance, so
// .912/.916/.961 at view cosines 1/.5/.1; on a flake and under a rough coat it never exceeds 1.
TEST(MetallicPaintEnergy, WhiteFurnace) {
    const float mus[3] = {1.0f, 0.5f, 0.1f};
    const double expected[3] = {0.912, 0.916, 0.961};
    const int n = kStatSamples / 5;
    RandomContext ctx(23u);
    const Material white = makeMaterial(kPaint, {{"u_baseColor", Vec3f{1, 1, 1}},
                                                 {"u_flopColor", Vec3f{1, 1, 1}},
                                                 {"u_flakeDensity", 0.0f}});
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(albedo(white, ctx, polar(std::acos(static_cast<double>(mus[i])), 0.2), n),
                    expected[i], 0.004)
            << "mu " << mus[i];
    }
    const Material flake = makeMaterial(kPaint, {{"u_flakeDensity", 1.0f},
                                                 {"u_flakeMetal", std::int32_t{0}},
                                                 {"u_flakeColor", Vec3f{1, 1, 1}},
                                                 {"u_flakeRoughness", 0.6f},
                                                 {"u_coatRoughness", 0.5f}});
    for (const float mu : mus) {
        double sum = 0.0;
        for (int i = 0; i < n; ++i) {
            vyr::ShadingState s = viewState(polar(std::acos(static_cast<double>(mu)), 0.2), kOnFlake);
            setRequest(s, true, false);
            flake->sampleBsdf(&ctx, &s);
            if (s.bsdfLobe != 0) {
                sum += static_cast<double>(s.bsdfWeight.y) * s.bsdfCos;
            }
        }
        EXPECT_LE(sum / n, 1.005) << "flake, mu " << mu;
    }
}

// shade: a smooth coat traces its mirror with the coat's Fresnel; on a flake a second ray
// samples the flake; orange peel moves the mirror.
TEST(MetallicPaintShade, CoatAndFlakeTraces) {
    const Vec3f V = polar(0.5, 0.0);
    {
        RandomContext ctx;
        ctx.rayResult = {1.0f, 1.0f, 1.0f};
        const Material m = makeMaterial(kPaint, {{"u_flakeDensity", 0.0f},
                                                 {"u_baseColor", Vec3f{0, 0, 0}},
                                                 {"u_flopColor", Vec3f{0, 0, 0}}});
        vyr::ShadingState s = viewState(V);
        m->shade(&ctx, &s);
        EXPECT_EQ(ctx.traceRays, 1);
        const float F = vexakelo::metal::dielectricFresnel(V.z, 1.5f);
        EXPECT_NEAR(s.outColor.y, F, 1e-6f);
    }
    {
        RandomContext ctx;
        const Material m = makeMaterial(kPaint, {{"u_flakeDensity", 1.0f}});
        vyr::ShadingState s = viewState(V, kOnFlake);
        m->shade(&ctx, &s);
        EXPECT_EQ(ctx.traceRays, 2);
    }
}

}  // namespace
}  // namespace materials_test
