// Web texture sizes and texel layout, the light CDF tables, and what initShader uploads and
// binds (read back from the host's objects).
#include <gtest/gtest.h>

#include <cmath>

#include "ies_test_util.h"
#include "vyr_host.h"

namespace {

using iestest::lamp;
using iestest::parse;
using iestest::steps;

TEST(IESTextures, SizesFromTheAngleLists) {
    struct Row {
        std::vector<float> v, h;
        int wv, hh;
    };
    const Row rows[] = {
        // Worked example: Wv = 1 + 2·trunc(180·18/90) = 73, Hh = 1 + 2·trunc(360·16/360) = 33.
        {steps(0, 90, 5), steps(0, 360, 22.5f), 73, 33},
        {{0}, steps(0, 360, 22.5f), 2, 33},               // one vertical angle
        {steps(0, 90, 5), {0}, 73, 2},                    // axial
        {steps(0, 180, 10), steps(0, 90, 30), 37, 25},    // 1 + 2·18; 1 + 2·trunc(360·3/90) = 25
        {{0, 7, 90}, {0, 180}, 9, 5},                     // 1 + 2·trunc(180·2/90); 1 + 2·2
    };
    for (const Row& row : rows) {
        const auto p = parse(lamp(row.v, row.h, [](int, int) { return 1.0f; }));
        std::int32_t sizeW = 0, sizeH = 0;
        p->file.webTextureSize(sizeW, sizeH);  // known before generating
        EXPECT_EQ(sizeW, row.wv);
        EXPECT_EQ(sizeH, row.hh);
        std::int32_t wv = 0, hh = 0;
        p->file.generateTextureTypeC(wv, hh);
        EXPECT_EQ(wv, row.wv);
        EXPECT_EQ(hh, row.hh);
        EXPECT_EQ(p->file.webTexels().size(), static_cast<std::size_t>(wv * hh));
    }
}

TEST(IESTextures, TexelsAreRowsOfConstantPhi) {
    // 73 × 33: Δθ = 2.5, Δφ = 11.25; texel (i, j) at j·73 + i holds the sample at (i Δθ, j Δφ).
    const auto p = parse(lamp(steps(0, 90, 5), steps(0, 360, 22.5f),
                              [](int h, int v) { return 10.0f + v + 5.0f * h; }));
    std::int32_t wv = 0, hh = 0;
    p->file.generateTextureTypeC(wv, hh);
    const auto& t = p->file.webTexels();
    for (const auto& [i, j] : {std::pair{0, 0}, {5, 0}, {0, 7}, {18, 4}, {36, 32}, {40, 3}}) {
        EXPECT_EQ(t[static_cast<std::size_t>(j * wv + i)],
                  p->file.sampleDataNoSymmetry(i * 2.5, j * 11.25))
            << i << ", " << j;
    }
    EXPECT_EQ(t[40], 0.0f);  // θ = 100 lies past the last vertical angle
}

TEST(IESTextures, TypeBTexelsAreCentredOnZero) {
    // θ = i Δθ − 90, φ = j Δφ − 180.
    const auto p = parse(lamp(steps(-90, 90, 15), steps(0, 90, 15),
                              [](int h, int v) { return 20.0f + v + h; }, 2));
    ASSERT_EQ(p->file.data()->symmetryMode, 1);
    std::int32_t wv = 0, hh = 0;
    p->file.generateTextureTypeAB(wv, hh);
    EXPECT_EQ(wv, 25);  // 1 + 2·trunc(180·12/180)
    EXPECT_EQ(hh, 49);  // 1 + 2·trunc(360·6/90)
    const double dTheta = 180.0 / 24, dPhi = 360.0 / 48;
    for (const auto& [i, j] : {std::pair{0, 0}, {12, 12}, {3, 40}, {24, 6}}) {
        EXPECT_EQ(p->file.webTexels()[static_cast<std::size_t>(j * wv + i)],
                  p->file.sampleDataSingleSymmetryTypeAB(i * dTheta - 90.0, j * dPhi - 180.0));
    }
}

// V {0, 90}, one horizontal angle, candelas (100, 50): Wv = 1 + 2·trunc(180·1/90) = 5, Hh = 2.
// Axial samples at θ = 0, 45, 90, 135, 180: 100/100, catrom(100,100,50,50,½)/100 = 75/100,
// 50/100, 0, 0; both rows alike: texels {1, .75, .5, 0, 0, 1, .75, .5, 0, 0}.
std::unique_ptr<iestest::Parsed> tinyLamp() {
    return parse(lamp({0, 90}, {0}, [](int, int v) { return v == 0 ? 100.0f : 50.0f; }));
}

TEST(IESTextures, LightCdfReadsTheTexelsInRunsOfHh) {
    const auto p = tinyLamp();
    std::int32_t wv = 0, hh = 0;
    p->file.generateTextureTypeC(wv, hh);
    ASSERT_EQ(wv, 5);
    ASSERT_EQ(hh, 2);
    const std::vector<float> texels = {1, 0.75f, 0.5f, 0, 0, 1, 0.75f, 0.5f, 0, 0};
    for (std::size_t k = 0; k < texels.size(); ++k) {
        EXPECT_FLOAT_EQ(p->file.webTexels()[k], texels[k]) << k;
    }
    p->file.generateIESLightCDF(wv, hh);
    // Runs of Hh = 2: marginal = {1 + .75, .5 + 0, 0 + 1, .75 + .5, 0 + 0}.
    const std::vector<float> marginal = {1.75f, 0.5f, 1.0f, 1.25f, 0.0f};
    EXPECT_EQ(p->file.marginal(), marginal);
    const float total = 1e-5f + 4.5f;
    EXPECT_FLOAT_EQ(p->file.cdfTotal(), total);
    const auto& theta = p->file.thetaCdf();
    EXPECT_FLOAT_EQ(theta[0], 1.75f / total);
    EXPECT_FLOAT_EQ(theta[1], (1.75f + 0.5f) / total);
    EXPECT_FLOAT_EQ(theta[3], 4.5f / total);
    EXPECT_EQ(theta[4], theta[3]);  // marginal below 1e-5: a flat step
    const std::vector<float> phi = {1 / 1.75f, 1, 1, 1, 0, 1, 0.6f, 1, 0, 0};
    for (std::size_t k = 0; k < phi.size(); ++k) {
        EXPECT_FLOAT_EQ(p->file.phiCdf()[k], phi[k]) << k;  // last row all 0
    }
}

TEST(IESTextures, AllZeroTextureGivesAZeroThetaCdf) {
    const auto p = parse(lamp({0, 90}, {0}, [](int, int) { return 0.0f; }));
    std::int32_t wv = 0, hh = 0;
    p->file.generateTextureTypeC(wv, hh);  // max 0: every sample is non-finite or 0 → 0 here
    p->file.generateIESLightCDF(wv, hh);
    for (float c : p->file.thetaCdf()) EXPECT_EQ(c, 0.0f);
    for (float c : p->file.phiCdf()) EXPECT_EQ(c, 0.0f);
}

TEST(IESTextures, InitShaderUploadsAndBinds) {
    const auto p = tinyLamp();
    const vyr::ShaderHandle shader = vyr::host::createShader();
    const vyr::TextureHandle web = vyr::host::createTexture();
    const vyr::TextureHandle theta = vyr::host::createTexture();
    const vyr::TextureHandle phi = vyr::host::createTexture();
    p->file.init(web, theta, phi);
    p->file.initShader(shader, "webMap", "verticalRange", "horizontalRange", "photometricType",
                       "symmetry");
    const vyr::host::ShaderObject& s = *vyr::host::shaderOf(shader);
    auto get = [&](const char* name) {
        const auto value = s.uniform(name);
        EXPECT_TRUE(value.has_value()) << name;
        return value.value_or(vyr::host::UniformValue{0});
    };
    const auto thetaI = std::get<vyr::Vec3f>(get("thetaI"));
    EXPECT_EQ(thetaI.x, 4.0f);
    EXPECT_EQ(thetaI.y, 1.0f / 5.0f);
    EXPECT_EQ(thetaI.z, 3.1415927f / 5.0f);
    const auto phiI = std::get<vyr::Vec3f>(get("phiI"));
    EXPECT_EQ(phiI.x, 1.0f);
    EXPECT_EQ(phiI.y, 0.5f);
    EXPECT_EQ(phiI.z, 6.2831855f / 2.0f);
    EXPECT_EQ(std::get<float>(get("MxN")), 10.0f);
    const auto vRange = std::get<vyr::Vec2f>(get("verticalRange"));
    EXPECT_EQ(vRange.x, 0.0f);
    EXPECT_EQ(vRange.y, std::fmod(90.0f * 3.1415927f / 180.0f, 180.0f));
    const auto hRange = std::get<vyr::Vec2f>(get("horizontalRange"));
    EXPECT_EQ(hRange.y, 0.0f);
    EXPECT_EQ(std::get<int>(get("photometricType")), 1);
    EXPECT_EQ(std::get<int>(get("symmetry")), 3);

    const auto webBinding = std::get<vyr::host::TextureBinding>(get("webMap"));
    EXPECT_EQ(webBinding.dimensions, 2);
    EXPECT_EQ(webBinding.texture.id(), web.id());
    const auto thetaBinding = std::get<vyr::host::TextureBinding>(get("thetaCDF"));
    EXPECT_EQ(thetaBinding.dimensions, 1);
    EXPECT_EQ(thetaBinding.texture.id(), theta.id());
    EXPECT_EQ(std::get<vyr::host::TextureBinding>(get("phiCDF")).texture.id(), phi.id());

    const vyr::host::TextureObject& w = *vyr::host::textureOf(web);
    EXPECT_EQ(w.width(), 5);
    EXPECT_EQ(w.height(), 2);
    EXPECT_FLOAT_EQ(w.texel(1, 1).x, 0.75f);
    const vyr::TextureDescriptor& wd = w.descriptor();
    EXPECT_EQ(wd.dimension, 1);
    EXPECT_EQ(wd.format, 1);
    EXPECT_EQ(wd.reserved4[2], 1);
    EXPECT_EQ(wd.levels, 1);
    const vyr::host::TextureObject& t = *vyr::host::textureOf(theta);
    EXPECT_TRUE(t.oneDimensional());
    EXPECT_EQ(t.width(), 5);
    EXPECT_EQ(t.descriptor().reserved4[0], 0);
    EXPECT_FLOAT_EQ(t.texel(1, 0).x, 2.25f / (1e-5f + 4.5f));
    const vyr::host::TextureObject& f = *vyr::host::textureOf(phi);
    EXPECT_EQ(f.height(), 2);
    EXPECT_FLOAT_EQ(f.texel(1, 1).x, 0.6f);  // element 1·5 + 1 = 6 of the φ CDF

    for (const auto id : {shader.id(), web.id(), theta.id(), phi.id()}) {
        EXPECT_EQ(vyr::host::openEdits(id), 0) << id;
    }
}

TEST(IESTextures, InitShaderNeedsAShaderAndARecord) {
    IESFile unread;
    const vyr::ShaderHandle shader = vyr::host::createShader();
    unread.initShader(shader, "w", "v", "h", "t", "s");
    EXPECT_TRUE(vyr::host::shaderOf(shader)->uniforms().empty());
    const auto p = tinyLamp();
    p->file.initShader(vyr::ShaderHandle(), "w", "v", "h", "t", "s");  // empty handle: nothing
    EXPECT_TRUE(p->file.webTexels().empty());
}

TEST(IESTextures, SizesAreNotClampedAndZeroStepsAreNotGuarded) {
    // Vertical 1 and 1000: Wv = 1 − 2·trunc(−180/999) = 1, so Δθ = 180/0 = ∞ and θ₀ = 0·∞ is NaN.
    // Deliberate: NaN passes both range tests and the walk runs off the end, so the one texel
    // of each row is the last vertical sample: 1 cd of a 2 cd maximum.
    const auto wide = parse(lamp({1, 1000}, {0}, [](int, int v) { return v == 0 ? 2.0f : 1.0f; }));
    std::int32_t wv = 0, hh = 0;
    wide->file.generateTextureTypeC(wv, hh);
    EXPECT_EQ(wv, 1);
    EXPECT_EQ(hh, 2);
    ASSERT_EQ(wide->file.webTexels().size(), 2u);
    EXPECT_EQ(wide->file.webTexels()[0], 0.5f);
    EXPECT_EQ(wide->file.webTexels()[1], 0.5f);

    // Descending: 1 − 2·trunc((−180/−90)·1) = −3; no array of that size, and no tables.
    const auto down = parse(lamp({90, 0}, {0}, [](int, int) { return 1.0f; }));
    down->file.generateTextureTypeC(wv, hh);
    EXPECT_EQ(wv, -3);
    EXPECT_TRUE(down->file.webTexels().empty());
    down->file.generateIESLightCDF(wv, hh);
    EXPECT_TRUE(down->file.phiCdf().empty());

    // Equal ends give an infinite side; nearly equal ones a side no texture could have. Only the
    // sizes are asked for: hosts check them before generating.
    const float equal[] = {10, 10};
    EXPECT_EQ(IESFile::textureSide(equal, 2, 180.0), HUGE_VAL);
    const float fine[] = {0, 1e-6f, 2e-6f};
    EXPECT_GT(IESFile::textureSide(fine, 3, 180.0), 1e8);
    EXPECT_EQ(IESFile::textureSide(fine, 1, 180.0), 2.0);  // one angle
}

}  // namespace
