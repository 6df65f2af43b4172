// VexaKeloOceanHelper: the spectrum, evolution, transform, sign correction and normals by hand,
// then the whole map through a host texture and shader: repeatability, unit normals, the
// descriptor, the binding and the edit bracket.
#include "helpers/ocean_helper.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdlib>
#include <random>
#include <tuple>
#include <variant>
#include <vector>

#include "descriptor_positions.h"
#include "helpers/classic_random.h"
#include "vyr_host.h"

namespace {

using Model = VexaKeloOceanHelper::WaveModel;
constexpr int kN = Model::kWidth;
constexpr std::size_t kTexels = static_cast<std::size_t>(Model::kWidth) * Model::kHeight;

// Element (i, j) of an interleaved complex array.
std::size_t at(int i, int j) {
    return 2 * (static_cast<std::size_t>(j) * kN + i);
}

std::vector<float> normalsOf(const VexaKeloOceanHelper& helper) {
    const float* n = helper.model().normals();
    return {n, n + 3 * kTexels};
}

TEST(ClassicRandom, IsTheClassic15BitSequence) {
    // x = x * 214013 + 2531011: from 1, x = 2745024 and 2745024 >> 16 = 41; the well-known
    // sequence of the classic generator seeded with 1 follows.
    vexakelo::ClassicRandom random(1);
    for (const int expected : {41, 18467, 6334, 26500, 19169, 15724, 11478, 29358}) {
        EXPECT_EQ(random.next(), expected);
    }
}

TEST(OceanSpectrum, PhillipsByHand) {
    // wind (10, 0), g = 10: L = 100 / 10 = 10; ratio 0.01: l = 0.1; A = 2.
    VexaKeloOceanHelper helper(2.0f, 10.0f, 0.01f, 0.0f, {10.0f, 0.0f});
    helper.generateNormalMap();  // no texture: only the model is filled
    const Model& model = helper.model();
    struct Row {
        float kx, ky, expected;
    };
    const Row rows[] = {
        // k = (4, 0): exp(-1/40^2 - 0.4^2) = exp(-0.160625) = 0.8516113; / 4^4 x A x 1^2
        {4.0f, 0.0f, 0.00665321379f},
        // k = (3, 4): kappa 5, d = 0.6: exp(-1/2500 - 0.25) / 625 x 2 x 0.36
        {3.0f, 4.0f, 0.000896819702f},
        {0.0f, 0.0f, 0.0f},   // no wave vector
        {-4.0f, 0.0f, 0.0f},  // against the wind
        {0.0f, 4.0f, 0.0f},   // across the wind: d = 0 is removed too
        {-3.0f, 4.0f, 0.0f},  // d = -0.6
    };
    for (const Row& r : rows) {
        EXPECT_NEAR(model.phillips(r.kx, r.ky), r.expected, 1e-6f * r.expected + 1e-30f)
            << r.kx << "," << r.ky;
    }
}

TEST(OceanSpectrum, WavesAgainstTheWindAreRemoved) {
    // Wind along +y: k_y = 2j - 512 <= 0 (j <= 256) must be zero, the rest carries waves.
    VexaKeloOceanHelper helper(0.0005f, 9.81f, 0.001f, 0.0f, {0.0f, 5.0f});
    helper.generateNormalMap();
    const float* h0 = helper.model().initialSpectrum();
    std::size_t nonZeroDownwind = 0;
    for (int j = 0; j < kN; ++j) {
        for (int i = 0; i < kN; ++i) {
            const bool zero = h0[at(i, j)] == 0.0f && h0[at(i, j) + 1] == 0.0f;
            if (j <= 256) {
                ASSERT_TRUE(zero) << i << "," << j;
            } else {
                nonZeroDownwind += zero ? 0 : 1;
            }
        }
    }
    EXPECT_EQ(nonZeroDownwind, static_cast<std::size_t>(255) * kN);
}

TEST(OceanSpectrum, EvolutionRotatesEachValue) {
    // g = 8 at (i, j) = (257, 256): k = (2, 0), omega = sqrt(2 x 8) = 4; t = pi/8 gives a
    // quarter turn, h = (-im, re). At t = 0, h = h0.
    VexaKeloOceanHelper helper(0.0005f, 8.0f, 0.001f, 0.0f, {3.0f, 0.0f});
    helper.generateNormalMap();
    Model& model = helper.model();
    const float* h0 = model.initialSpectrum();
    model.evolve(0.0f);
    for (std::size_t k = 0; k < 2 * kTexels; ++k) {
        ASSERT_EQ(model.spectrum()[k], h0[k]);
    }
    model.evolve(3.14159265f / 8.0f);
    const std::size_t k = at(257, 256);
    ASSERT_NE(h0[k], 0.0f);
    const float tolerance = 1e-6f * (std::fabs(h0[k]) + std::fabs(h0[k + 1]));
    EXPECT_NEAR(model.spectrum()[k], -h0[k + 1], tolerance);
    EXPECT_NEAR(model.spectrum()[k + 1], h0[k], tolerance);
}

TEST(OceanTransform, MatchesADirectDft) {
    std::mt19937 engine(7);
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    for (const std::size_t count : {1u, 2u, 4u, 8u, 16u, 64u}) {
        std::vector<float> data(2 * count);
        for (float& v : data) {
            v = value(engine);
        }
        const std::vector<float> input = data;
        Model::transform(data.data(), count);
        // X[k] = sum_n x[n] exp(+2 pi i n k / count), no normalisation.
        for (std::size_t k = 0; k < count; ++k) {
            std::complex<double> sum = 0.0;
            for (std::size_t n = 0; n < count; ++n) {
                const double angle = 2.0 * 3.14159265358979323846 * double(n * k) / double(count);
                sum +=
                    std::complex<double>(input[2 * n], input[2 * n + 1]) * std::polar(1.0, angle);
            }
            EXPECT_NEAR(data[2 * k], sum.real(), 2e-5) << count << " k=" << k;
            EXPECT_NEAR(data[2 * k + 1], sum.imag(), 2e-5) << count << " k=" << k;
        }
    }
}

TEST(OceanTransform, LeavesOtherLengthsAlone) {
    for (const std::size_t count : {0u, 3u, 6u, 12u}) {
        std::vector<float> data(2 * count + 2, 0.25f);
        data[0] = 1.0f;
        const std::vector<float> before = data;
        Model::transform(data.data(), count);
        EXPECT_EQ(data, before) << count;
    }
}

TEST(OceanNormals, SignsAndWrapAroundByHand) {
    VexaKeloOceanHelper helper;
    Model& model = helper.model();
    float* h = model.spectrum();

    // Sign correction: every (i + j) odd element negated, both parts.
    std::fill(h, h + 2 * kTexels, 1.0f);
    model.correctSigns();
    for (const auto& [i, j, sign] : {std::tuple{0, 0, 1.0f},
                                     {1, 0, -1.0f},
                                     {0, 1, -1.0f},
                                     {1, 1, 1.0f},
                                     {511, 0, -1.0f},
                                     {511, 511, 1.0f}}) {
        EXPECT_EQ(h[at(i, j)], sign) << i << "," << j;
        EXPECT_EQ(h[at(i, j) + 1], sign) << i << "," << j;
    }

    // Flat water: n = (0, 0, -1), stored (0.5, 0.5, 0).
    std::fill(h, h + 2 * kTexels, 0.0f);
    model.computeNormals();
    EXPECT_EQ(model.normals()[0], 0.5f);
    EXPECT_EQ(model.normals()[1], 0.5f);
    EXPECT_EQ(model.normals()[2], 0.0f);

    // One bump of a = 0.0078125 = |dz| at (511, 0) and one at (0, 511). Texel (0, 0) sees both
    // only through wrap-around: dx = h(1,0) - h(511,0) = -a, dy = h(0,1) - h(0,511) = -a, so
    // n = (-1, -1, -1)/sqrt(3), stored 0.5 - 0.5/sqrt(3) = 0.21132487 in each channel.
    // Texel (510, 0): dx = h(511,0) - h(509,0) = a, dy = 0: n = (1, 0, -1)/sqrt(2), stored
    // (0.85355339, 0.5, 0.14644661). If dz were integer-divided to 0, n would be (±1, 0, 0).
    const float a = 0.0078125f;
    h[at(511, 0)] = a;
    h[at(0, 511)] = a;
    h[at(0, 511) + 1] = 100.0f;  // imaginary parts are ignored
    model.computeNormals();
    const auto normal = [&](int i, int j) { return &model.normals()[3 * (j * kN + i)]; };
    for (int c = 0; c < 3; ++c) {
        EXPECT_NEAR(normal(0, 0)[c], 0.21132487f, 1e-6f) << c;
    }
    EXPECT_NEAR(normal(510, 0)[0], 0.85355339f, 1e-6f);
    EXPECT_NEAR(normal(510, 0)[1], 0.5f, 1e-6f);
    EXPECT_NEAR(normal(510, 0)[2], 0.14644661f, 1e-6f);
    // Texel (0, 510): dy = h(0,511) - h(0,509) = a: the bump seen along the row direction.
    EXPECT_NEAR(normal(0, 510)[0], 0.5f, 1e-6f);
    EXPECT_NEAR(normal(0, 510)[1], 0.85355339f, 1e-6f);
}

struct HostMap {
    vyr::TextureHandle texture = vyr::host::createTexture();
    vyr::ShaderHandle shader = vyr::host::createShader();
};

TEST(OceanHelper, MapIsRepeatableAndLeavesTheProcessRandAlone) {
    VexaKeloOceanHelper helper;
    std::srand(99);
    const int expectedRand = std::rand();
    std::srand(99);
    helper.generateNormalMap();
    EXPECT_EQ(std::rand(), expectedRand);
    const std::vector<float> first = normalsOf(helper);
    helper.generateNormalMap();
    EXPECT_EQ(normalsOf(helper), first);
    VexaKeloOceanHelper other;
    other.generateNormalMap();
    EXPECT_EQ(normalsOf(other), first);
}

TEST(OceanHelper, SteepnessIsTheAmplifier) {
    VexaKeloOceanHelper steep;
    VexaKeloOceanHelper amplified;
    steep.setSteepness(0.002f);
    amplified.setAmplifier(0.002f);
    EXPECT_EQ(steep.amplifier(), 0.002f);
    EXPECT_EQ(amplified.amplifier(), 0.002f);
    steep.generateNormalMap();
    amplified.generateNormalMap();
    EXPECT_EQ(normalsOf(steep), normalsOf(amplified));
    // And the amplifier matters: a different one gives a different map.
    amplified.setAmplifier(0.004f);
    amplified.generateNormalMap();
    EXPECT_NE(normalsOf(steep), normalsOf(amplified));
}

TEST(OceanHelper, BindsAUnitNormalTextureAsWaveNormal) {
    HostMap host;
    VexaKeloOceanHelper helper(0.001f, 9.81f, 0.001f, 1.5f, {6.0f, -2.0f});
    helper.setTexture(host.texture);
    helper.initializeShader(host.shader.get());

    const auto bound = vyr::host::shaderOf(host.shader)->uniform("wave_normal");
    ASSERT_TRUE(bound.has_value());
    const auto* binding = std::get_if<vyr::host::TextureBinding>(&*bound);
    ASSERT_NE(binding, nullptr);
    EXPECT_EQ(binding->dimensions, 2);
    EXPECT_EQ(binding->texture.id(), host.texture.id());
    EXPECT_EQ(vyr::host::openEdits(host.texture.id()), 0);

    const vyr::host::TextureObject* map = vyr::host::textureOf(host.texture);
    ASSERT_NE(map, nullptr);
    const vyr::TextureDescriptor& d = map->descriptor();
    const std::array<std::int32_t, 10> expected = {1, 1, 3, 0, 0, 0, 1, 512, 512, 0};
    EXPECT_EQ(leadingPositions(d), expected);
    for (const std::uint64_t word : d.reserved12) {
        EXPECT_EQ(word, 0u);
    }
    EXPECT_EQ(d.range.x, 0.0f);
    EXPECT_EQ(d.range.y, 1.0f);
    EXPECT_EQ(d.range.z, 0.0f);
    EXPECT_EQ(d.range.w, 1.0f);
    EXPECT_EQ(d.flag, 0);

    // Decoded normals are unit length and point down (dz < 0); the map is not flat.
    ASSERT_EQ(map->width(), 512);
    ASSERT_EQ(map->height(), 512);
    float minX = 1.0f, maxX = 0.0f;
    for (int y = 0; y < 512; ++y) {
        for (int x = 0; x < 512; ++x) {
            const vyr::Vec4f t = map->texel(x, y);
            const float nx = 2.0f * t.x - 1.0f, ny = 2.0f * t.y - 1.0f, nz = 2.0f * t.z - 1.0f;
            ASSERT_NEAR(std::sqrt(nx * nx + ny * ny + nz * nz), 1.0f, 1e-5f) << x << "," << y;
            ASSERT_LT(nz, 0.0f);
            minX = std::fmin(minX, t.x);
            maxX = std::fmax(maxX, t.x);
        }
    }
    EXPECT_LT(minX, 0.45f);
    EXPECT_GT(maxX, 0.55f);
}

TEST(OceanHelper, NullShaderAndEmptyTextureAreHarmless) {
    VexaKeloOceanHelper helper;
    helper.initializeShader(nullptr);  // does nothing
    EXPECT_FALSE(helper.texture().isValid());
    const vyr::TextureHandle& handle = helper.generateNormalMap();
    EXPECT_EQ(&handle, &helper.texture());
    EXPECT_FALSE(handle.isValid());
}

TEST(OceanHelper, CopiesShareOneModel) {
    auto* original = new VexaKeloOceanHelper(0.001f, 9.81f, 0.002f, 0.5f, {1.0f, 2.0f});
    VexaKeloOceanHelper copy(*original);
    VexaKeloOceanHelper assigned;
    assigned = copy;
    EXPECT_EQ(&copy.model(), &original->model());
    EXPECT_EQ(&assigned.model(), &original->model());
    EXPECT_EQ(assigned.ratio(), 0.002f);
    EXPECT_EQ(assigned.time(), 0.5f);
    assigned = assigned;  // self-assignment keeps the model
    delete original;      // the copies keep the model alive (the sanitizer build checks this)
    copy.generateNormalMap();
    EXPECT_EQ(normalsOf(assigned), normalsOf(copy));
}

}  // namespace
