// The renderer's samplers: the Sobol' points are nets at every power of two, each direction
// sampler draws from the density it reports (chi-square against its histogram, the density
// integrating to one), the power heuristic's weights of two strategies sum to one, a white
// surface under a uniform dome converges to the exact value, and adaptive images repeat bit for
// bit whatever the number of threads.
#include "render/sampling.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <optional>
#include <random>
#include <set>

#include "render/light_sampling.h"
#include "render/renderer.h"
#include "render/scene.h"
#include "shader_library.h"
#include "support/chi_square.h"

namespace {

using vkrender::Vec3f;
using vkrender::operator+;
using vkrender::operator-;
using vkrender::operator*;

// Statistics: a fixed seed per test, a family-wise significance of 1% over the samplers below.
constexpr std::uint32_t kSeed = 20241;
constexpr int kSamples = 200000;
constexpr int kSamplerTests = 7;
const double kSignificance = vktest::sidakSignificance(0.01, kSamplerTests);

TEST(Sobol, EveryPowerOfTwoRunOfAPairIsANet) {
    // 2^m consecutive samples from an aligned start put one point in every elementary interval
    // of area 2^-m, for every split of m into x and y bits: the stratification that makes
    // low-discrepancy samples converge faster. The scramble and the shuffle must keep it.
    for (const std::uint32_t seed : {1u, 77u, 0xdeadbeefu}) {
        for (const std::uint32_t pair : {0u, 1u, 9u}) {
            for (const int m : {2, 4, 6}) {
                const std::uint32_t n = 1u << m;
                for (const std::uint32_t start : {0u, n, 5 * n}) {
                    for (int xBits = 0; xBits <= m; ++xBits) {
                        std::set<std::uint32_t> cells;
                        for (std::uint32_t i = start; i < start + n; ++i) {
                            float u[2];
                            vkrender::scrambledSobol2(seed, i, pair, u);
                            const auto cx = static_cast<std::uint32_t>(u[0] * (1u << xBits));
                            const auto cy = static_cast<std::uint32_t>(u[1] * (1u << (m - xBits)));
                            cells.insert(cx << 16 | cy);
                        }
                        EXPECT_EQ(cells.size(), n) << "seed " << seed << " pair " << pair << " m "
                                                   << m << " start " << start;
                    }
                }
            }
        }
    }
}

TEST(Sobol, ScramblesAreBijectionsThatKeepTheHighBitsOrder) {
    // Owen's scramble flips each bit by the bits above it: values that share their top k bits
    // still share them after the scramble, and no two values meet.
    std::set<std::uint32_t> seen;
    for (std::uint32_t x = 0; x < 4096; ++x) {
        const std::uint32_t v = x << 20;
        const std::uint32_t s = vkrender::nestedUniformScramble(v, 12345u);
        EXPECT_TRUE(seen.insert(s >> 20).second);
        EXPECT_EQ(vkrender::nestedUniformScramble(v | 0xfffffu, 12345u) >> 20, s >> 20);
    }
    // The second dimension by hand: indices 1, 2, 3 give 1/2, 3/4, 1/4.
    EXPECT_EQ(vkrender::sobolDimension1(1), 0x80000000u);
    EXPECT_EQ(vkrender::sobolDimension1(2), 0xc0000000u);
    EXPECT_EQ(vkrender::sobolDimension1(3), 0x40000000u);
}

TEST(Sobol, PairsOfOneSampleAreIndependentAndSequencesDifferPerPixel) {
    // Correlation between the first values of two pairs over many pixels, and across pixels of
    // one pair: both near zero (1/sqrt(n) is 0.01 here).
    constexpr int kPixels = 10000;
    double sumXY = 0.0;
    double sumXZ = 0.0;
    for (int p = 0; p < kPixels; ++p) {
        vkrender::SampleSequence a;
        a.beginPixel(kSeed, static_cast<std::uint64_t>(p));
        const float x = a.next1();
        float pair[2];
        a.next2(pair);  // dimensions 2 and 3: the next pair
        vkrender::SampleSequence b;
        b.beginPixel(kSeed, static_cast<std::uint64_t>(p) + 1);
        const float z = b.next1();
        sumXY += (x - 0.5) * (pair[0] - 0.5);
        sumXZ += (x - 0.5) * (z - 0.5);
    }
    EXPECT_LT(std::fabs(sumXY / kPixels * 12.0), 0.05);
    EXPECT_LT(std::fabs(sumXZ / kPixels * 12.0), 0.05);
}

// Runs the chi-square test of `sample` against `pdf` and checks the density integrates to one.
void expectMatches(const char* name, const std::function<std::optional<Vec3f>()>& sample,
                   const std::function<float(Vec3f)>& pdf, double integral = 1.0) {
    vktest::ChiSquareConfig config;
    config.samples = kSamples;
    // The densities below step at edges inside the bins; a fine rule integrates them.
    config.integrationSteps = 48;
    const vktest::ChiSquareResult r = vktest::chiSquareTest(sample, pdf, config);
    EXPECT_NEAR(r.pdfIntegral, integral, 0.01) << name;
    EXPECT_GT(r.pValue, kSignificance) << name << ": chi2 " << r.statistic << ", dof " << r.dof;
}

class DirectionSamplers : public ::testing::Test {
protected:
    std::mt19937 rng{kSeed};
    std::uniform_real_distribution<float> uniform{0.0f, 1.0f};
    float u() { return std::min(uniform(rng), 0x1.fffffep-1f); }
};

TEST_F(DirectionSamplers, CosineHemisphere) {
    expectMatches(
        "cosine", [&]() -> std::optional<Vec3f> { return vkrender::cosineHemisphere(u(), u()); },
        [](Vec3f d) { return std::max(0.0f, d.z) / vkrender::kPiF; });
}

TEST_F(DirectionSamplers, SphereConeFromOutsideAndEveryDirectionFromInside) {
    // A sphere of radius 1 whose centre is 1 / sin(36 deg) up the z axis fills a cone of half
    // angle 36 degrees (a bin edge of the histogram): density 1 / (2 pi (1 - cos 36)) inside
    // it, nothing outside.
    const float sin36 = std::sin(36.0f * vkrender::kPiF / 180.0f);
    const Vec3f centre{0.0f, 0.0f, 1.0f / sin36};
    const float cosMax = std::sqrt(1.0f - sin36 * sin36);
    const float cone = 2.0f * vkrender::kPiF * (1.0f - cosMax);
    EXPECT_NEAR(vkrender::sphereSolidAngle({0.0f, 0.0f, 0.0f}, centre, 1.0f), cone, 1e-5f);
    expectMatches(
        "sphere cone",
        [&]() -> std::optional<Vec3f> {
            const vkrender::SphereSample s =
                vkrender::sampleSphere({0.0f, 0.0f, 0.0f}, centre, 1.0f, u(), u());
            // The point is on the sphere, along the direction.
            EXPECT_NEAR(vkrender::length(s.point - centre), 1.0f, 1e-4f);
            return s.direction;
        },
        [&](Vec3f d) { return d.z >= cosMax ? 1.0f / cone : 0.0f; });
    expectMatches(
        "inside a sphere",
        [&]() -> std::optional<Vec3f> {
            return vkrender::sampleSphere({0.0f, 0.0f, 1.2f}, centre, 1.0f, u(), u()).direction;
        },
        [](Vec3f) { return 1.0f / (4.0f * vkrender::kPiF); });
}

TEST_F(DirectionSamplers, SphericalRectangleIsUniformOverItsSolidAngle) {
    // A 2 x 1 rectangle 0.8 above the origin, off centre. Uniform by solid angle means a patch
    // of the rectangle gets the samples in proportion to the solid angle it fills, which for
    // the patch [x0, x1] x [y0, y1] is F(x1, y1) - F(x0, y1) - F(x1, y0) + F(x0, y0) with
    // F(x, y) = atan(x y / (h sqrt(x^2 + y^2 + h^2))). The histogram is taken over 8 x 4
    // patches of the rectangle, where a direction histogram would cut its outline.
    const float h = 0.8f;
    const Vec3f corner{-0.5f, -0.3f, h};
    const Vec3f edgeU{2.0f, 0.0f, 0.0f};
    const Vec3f edgeV{0.0f, 1.0f, 0.0f};
    const auto F = [&](double x, double y) {
        return std::atan(x * y / (h * std::sqrt(x * x + y * y + double(h) * h)));
    };
    const auto patch = [&](double x0, double x1, double y0, double y1) {
        return F(x1, y1) - F(x0, y1) - F(x1, y0) + F(x0, y0);
    };
    const vkrender::SphericalRectangle rect({0.0f, 0.0f, 0.0f}, corner, edgeU, edgeV);
    ASSERT_TRUE(rect.valid);
    const double whole = patch(-0.5, 1.5, -0.3, 0.7);
    EXPECT_NEAR(rect.solidAngle, whole, 1e-5);
    constexpr int kX = 8;
    constexpr int kY = 4;
    std::vector<double> observed(kX * kY, 0.0);
    for (int i = 0; i < kSamples; ++i) {
        const Vec3f q = rect.sample(u(), u());
        ASSERT_NEAR(q.z, h, 1e-5f);
        const int cx = std::clamp(static_cast<int>((q.x + 0.5f) / 2.0f * kX), 0, kX - 1);
        const int cy = std::clamp(static_cast<int>((q.y + 0.3f) / 1.0f * kY), 0, kY - 1);
        observed[cy * kX + cx] += 1.0;
    }
    double statistic = 0.0;
    for (int cy = 0; cy < kY; ++cy) {
        for (int cx = 0; cx < kX; ++cx) {
            const double x0 = -0.5 + 2.0 * cx / kX;
            const double y0 = -0.3 + 1.0 * cy / kY;
            const double expected = kSamples * patch(x0, x0 + 2.0 / kX, y0, y0 + 1.0 / kY) / whole;
            const double diff = observed[cy * kX + cx] - expected;
            statistic += diff * diff / expected;
        }
    }
    const double p = vktest::upperGammaQ(0.5 * (kX * kY - 1), 0.5 * statistic);
    EXPECT_GT(p, kSignificance) << "chi2 " << statistic;
    // Edges that are not perpendicular are left to area sampling.
    EXPECT_FALSE(vkrender::SphericalRectangle({}, corner, edgeU, {0.5f, 1.0f, 0.0f}).valid);
}

TEST_F(DirectionSamplers, DomeMixtureOfNormalAndZenith) {
    // The normal leans 60 degrees off the zenith: half the samples round each.
    const Vec3f up{0.0f, 0.0f, 1.0f};
    const Vec3f n{std::sin(1.0472f), 0.0f, std::cos(1.0472f)};
    expectMatches(
        "dome",
        [&]() -> std::optional<Vec3f> { return vkrender::sampleDome(up, n, 0.5f, u(), u()); },
        [&](Vec3f d) { return vkrender::domePdf(d, up, n, 0.5f); });
}

TEST_F(DirectionSamplers, EnvironmentTableFollowsItsValues) {
    // A table with a bright band, a dark patch and zeros: the sampler follows the values, and a
    // cell of value zero is never drawn.
    constexpr int kW = 16;
    constexpr int kH = 8;
    std::vector<float> values(kW * kH, 1.0f);
    for (int c = 0; c < kW; ++c)
        values[2 * kW + c] = 20.0f;
    for (int r = 5; r < 8; ++r)
        for (int c = 3; c < 9; ++c)
            values[r * kW + c] = 0.0f;
    const vkrender::DirectionTable table(kW, kH, values);
    expectMatches(
        "table", [&]() -> std::optional<Vec3f> { return table.sample(u(), u()); },
        [&](Vec3f d) { return table.pdf(d); });
}

TEST(MultipleImportance, PowerHeuristicWeightsOfTwoStrategiesSumToOne) {
    // By hand: densities 1 and 2 give 1/5 and 4/5; a zero density gives its strategy nothing.
    EXPECT_FLOAT_EQ(vkrender::powerHeuristic(1.0f, 2.0f), 0.2f);
    EXPECT_FLOAT_EQ(vkrender::powerHeuristic(2.0f, 1.0f), 0.8f);
    EXPECT_EQ(vkrender::powerHeuristic(0.0f, 3.0f), 0.0f);
    EXPECT_EQ(vkrender::powerHeuristic(3.0f, 0.0f), 1.0f);
    for (const float a : {1e-6f, 0.01f, 0.3f, 1.0f, 7.0f, 1e4f}) {
        for (const float b : {1e-5f, 0.2f, 1.0f, 50.0f}) {
            EXPECT_NEAR(vkrender::powerHeuristic(a, b) + vkrender::powerHeuristic(b, a), 1.0f,
                        1e-6f);
        }
    }
}

// A white host-scenery sphere under a uniform dome of radiance 1 and nothing else: a point whose
// normal makes the angle theta with the zenith sees the upper hemisphere's part above its own
// horizon, so it reflects exactly (1 + cos theta) / 2. Nothing reflects back (the sphere is
// convex, below is black), so the image is known pixel by pixel.
vkimage::Image furnace(vkrender::Sampler sampler, int spp, int threads, bool adaptive = true) {
    const vkhost::ShaderLibrary library;
    const std::string text = R"({
      "camera": {"position": [0, -5, 0], "look_at": [0, 0, 0], "up": [0, 0, 1], "fov": 30},
      "render": {"max_depth": 3},
      "objects": [{"type": "sphere", "center": [0, 0, 0], "radius": 1,
                   "material": {"diffuse": [1, 1, 1]}}],
      "lights": [{"shader": "vexa_kelo_Lgt_Sky", "params": {"intensity": [1, 1, 1]}}]
    })";
    const vkrender::Scene scene = vkrender::parseScene(text, "furnace", "", library);
    const vkrender::Renderer renderer(scene);
    vkrender::RenderOptions options;
    options.width = options.height = 32;
    options.spp = spp;
    options.threads = threads;
    options.seed = 3;
    options.maxDepth = 3;
    options.sampler = sampler;
    options.adaptive = adaptive;
    return renderer.render(options);
}

// RMSE over the pixels whose centre sees the sphere well inside its outline.
double furnaceError(const vkimage::Image& image) {
    const float halfHeight = std::tan(0.5f * 30.0f * vkrender::kPiF / 180.0f);
    double squares = 0.0;
    int count = 0;
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            const float sx = (2.0f * (x + 0.5f) / image.width - 1.0f) * halfHeight;
            const float sy = (1.0f - 2.0f * (y + 0.5f) / image.height) * halfHeight;
            const Vec3f dir = vkrender::normalize({sx, 1.0f, sy});
            const float t = vkrender::intersectSphere({0.0f, -5.0f, 0.0f}, dir, {0, 0, 0}, 1.0f);
            if (!(t > 0.0f))
                continue;
            const Vec3f n = Vec3f{0.0f, -5.0f, 0.0f} + t * dir;
            if (-vkrender::dot(n, dir) < 0.5f)
                continue;
            const double e = image.at(x, y).x - 0.5 * (1.0 + n.z);
            squares += e * e;
            ++count;
        }
    }
    return std::sqrt(squares / count);
}

TEST(WhiteFurnace, AWhiteSphereUnderAUniformDomeConvergesToTheExactValue) {
    for (const vkrender::Sampler sampler :
         {vkrender::Sampler::LowDiscrepancy, vkrender::Sampler::Uniform}) {
        const double coarse = furnaceError(furnace(sampler, 4, 2));
        const double fine = furnaceError(furnace(sampler, 64, 2));
        // Unbiased: the error shrinks with the samples, about 4 times for 16 times as many
        // (a bias would stay), as far as the exact value's variation within a pixel allows.
        EXPECT_LT(fine, 0.35 * coarse) << static_cast<int>(sampler);
    }
    EXPECT_LT(furnaceError(furnace(vkrender::Sampler::LowDiscrepancy, 64, 2)), 0.02);
    // The low-discrepancy sampler with MIS is the better one at equal samples.
    EXPECT_LT(furnaceError(furnace(vkrender::Sampler::LowDiscrepancy, 16, 2)),
              0.5 * furnaceError(furnace(vkrender::Sampler::Uniform, 16, 2)));
}

TEST(Determinism, AdaptiveImagesRepeatBitForBitWhateverTheThreadCount) {
    // The second pass's sample counts depend on the first pass's image only, never on which
    // thread rendered which tile.
    const vkimage::Image a = furnace(vkrender::Sampler::LowDiscrepancy, 8, 1);
    const vkimage::Image b = furnace(vkrender::Sampler::LowDiscrepancy, 8, 2);
    const vkimage::Image c = furnace(vkrender::Sampler::LowDiscrepancy, 8, 3);
    ASSERT_EQ(a.pixels.size(), b.pixels.size());
    for (std::size_t i = 0; i < a.pixels.size(); ++i) {
        ASSERT_EQ(a.pixels[i].x, b.pixels[i].x) << "pixel " << i;
        ASSERT_EQ(a.pixels[i].x, c.pixels[i].x) << "pixel " << i;
    }
}

}  // namespace
