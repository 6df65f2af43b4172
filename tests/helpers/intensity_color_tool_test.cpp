// IntensityColorTool: radiation constants, Planck's law, the colour-matching table against
// published colorimetry, the RGB matrix, kelvin2RGB's normalisation, floor, tint and its 0.9 case.
#include "photometry/intensity_color_tool.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using Tool = IntensityColorTool;

vyr::Vec2f chromaticity(const vyr::Vec3f& xyz) {
    const float sum = xyz.x + xyz.y + xyz.z;
    return {xyz.x / sum, xyz.y / sum};
}

TEST(IntensityColorTool, RadiationConstants) {
    // c1 = 2 h c^2 1e18: 299792458^2 = 8.9875517873681764e16; x 6.6260689633e-34 = 5.95521379e-17;
    // x 2 = 1.19104276e-16; x 1e18 = 119.104276.
    EXPECT_NEAR(Tool::c1(), 119.10427590866344, 1e-12);
    // c2 = h c / k 1e9: 6.6260689633e-34 x 299792458 = 1.98644e-25; / 1.380650424e-23 = 0.0143877
    // metre kelvins = 14387751.36 nanometre kelvins.
    EXPECT_NEAR(Tool::c2(), 14387751.35874089, 1e-6);
}

TEST(IntensityColorTool, BlackBodyFollowsPlancksLaw) {
    // With c2 w u = ln 2 the denominator exp(ln 2) - 1 is 1, leaving w^5 c1:
    // (1/500)^5 x 119.1042759 = 119.1042759 / 3.125e13 = 3.81133683e-12.
    const double w = 1.0 / 500.0;
    const double u = std::log(2.0) / (Tool::c2() * w);
    EXPECT_NEAR(Tool::BlackBody(u, w), 3.81133683e-12, 1e-19);
    // Hotter is brighter at every wavelength, and Wien: at 1000 K, 700 nm outshines 400 nm.
    EXPECT_GT(Tool::BlackBody(1.0 / 6000.0, w), Tool::BlackBody(1.0 / 5000.0, w));
    EXPECT_GT(Tool::BlackBody(1.0 / 1000.0, 1.0 / 700.0),
              Tool::BlackBody(1.0 / 1000.0, 1.0 / 400.0));
}

TEST(IntensityColorTool, TableIsTheCie1931Observer) {
    // Rows at 380, 390, ..., 780 nm.
    for (int row = 0; row < Tool::kCieRows; ++row) {
        EXPECT_EQ(Tool::CIE2XYZ[row].w, 380.0f + 10.0f * row);
    }
    // The three functions have equal areas (equal-energy white sits at x = y = 1/3), and the
    // area of y-bar is 106.857 nm, so the 10 nm sums are near 10.686.
    float sx = 0.0f, sy = 0.0f, sz = 0.0f;
    for (const vyr::Vec4f& row : Tool::CIE2XYZ) {
        sx += row.x;
        sy += row.y;
        sz += row.z;
    }
    EXPECT_NEAR(sy, 10.686f, 0.002f);
    EXPECT_NEAR(sx / sy, 1.0f, 0.001f);
    EXPECT_NEAR(sz / sy, 1.0f, 0.001f);
}

TEST(IntensityColorTool, BlackBodyChromaticityLiesOnThePlanckianLocus) {
    // Published Planckian-locus chromaticities (CIE 1931); 10 nm sampling is good to ~2e-4.
    struct Row {
        double kelvin;
        float x, y;
    };
    const Row rows[] = {
        {1000.0, 0.6528f, 0.3444f},
        {2856.0, 0.4476f, 0.4074f},  // CIE illuminant A
        {6500.0, 0.3135f, 0.3236f},
    };
    for (const Row& r : rows) {
        const vyr::Vec2f xy = chromaticity(Tool::BlackBodyXYZ(r.kelvin));
        EXPECT_NEAR(xy.x, r.x, 5e-4f) << r.kelvin;
        EXPECT_NEAR(xy.y, r.y, 5e-4f) << r.kelvin;
    }
}

TEST(IntensityColorTool, ZeroKelvinReadsAs6500) {
    const vyr::Vec3f zero = Tool::BlackBodyXYZ(0.0);
    const vyr::Vec3f d65ish = Tool::BlackBodyXYZ(6500.0);
    EXPECT_EQ(zero.x, d65ish.x);
    EXPECT_EQ(zero.y, d65ish.y);
    EXPECT_EQ(zero.z, d65ish.z);
}

TEST(IntensityColorTool, MatrixMapsD65WhiteToOne) {
    // The sRGB matrix takes the D65 white (0.95047, 1, 1.08883) to (1, 1, 1): row sums
    // 3.240479 x 0.95047 - 1.537150 - 0.498535 x 1.08883 = 1.0000082, and so on.
    const vyr::Vec3f rgb = Tool::DefaultConvertXYZtoRGB({0.95047f, 1.0f, 1.08883f});
    EXPECT_NEAR(rgb.x, 1.0f, 1e-4f);
    EXPECT_NEAR(rgb.y, 1.0f, 1e-4f);
    EXPECT_NEAR(rgb.z, 1.0f, 1e-4f);
    // Pure Y = 1 gives the matrix's middle column.
    const vyr::Vec3f column = Tool::DefaultConvertXYZtoRGB({0.0f, 1.0f, 0.0f});
    EXPECT_EQ(column.x, -1.537150f);
    EXPECT_EQ(column.y, 1.875992f);
    EXPECT_EQ(column.z, -0.204043f);
}

TEST(IntensityColorTool, Kelvin2RgbAt6500IsNearWhiteWithUnitLuminance) {
    const vyr::Vec3f c = Tool::kelvin2RGB(6500.0f, 1.0f, {1.0f, 1.0f, 1.0f});
    EXPECT_NEAR(c.y, 1.0f, 0.03f);
    EXPECT_NEAR(c.x, 1.0f, 0.06f);
    EXPECT_NEAR(c.z, 1.0f, 0.06f);
    // Y is normalised to 1, and Y of linear sRGB is 0.2126 R + 0.7152 G + 0.0722 B.
    EXPECT_NEAR(0.2126f * c.x + 0.7152f * c.y + 0.0722f * c.z, 1.0f, 2e-4f);
}

TEST(IntensityColorTool, Kelvin2RgbAt1000IsRedWithFlooredBlue) {
    const vyr::Vec3f c = Tool::kelvin2RGB(1000.0f, 1.0f, {1.0f, 1.0f, 1.0f});
    EXPECT_GT(c.x, 4.0f);
    EXPECT_GT(c.x, 10.0f * c.y);
    EXPECT_EQ(c.z, 1e-6f);  // the matrix gives a negative blue
    // The floor comes before the tint: 1e-6 x 2.
    const vyr::Vec3f tinted = Tool::kelvin2RGB(1000.0f, 1.0f, {1.0f, 0.5f, 2.0f});
    EXPECT_EQ(tinted.z, 1e-6f * 2.0f);
    EXPECT_EQ(tinted.y, c.y * 0.5f);
    EXPECT_EQ(tinted.x, c.x);
}

TEST(IntensityColorTool, ScaleOfExactlyPointNineIsOne) {
    const vyr::Vec3f white{1.0f, 1.0f, 1.0f};
    const vyr::Vec3f base = Tool::kelvin2RGB(4000.0f, 1.0f, white);  // all channels positive
    ASSERT_GT(base.z, 0.1f);
    struct Row {
        float scale;
        float expectedFactor;  // of the unscaled colour
    };
    const Row rows[] = {
        {0.9f, 1.0f},  // the substitution
        {std::nextafter(0.9f, 0.0f), std::nextafter(0.9f, 0.0f)},
        {std::nextafter(0.9f, 1.0f), std::nextafter(0.9f, 1.0f)},
        {0.8f, 0.8f},
        {0.95f, 0.95f},
        {1.0f, 1.0f},
        {2.0f, 2.0f},
    };
    for (const Row& r : rows) {
        const vyr::Vec3f c = Tool::kelvin2RGB(4000.0f, r.scale, white);
        EXPECT_NEAR(c.x, base.x * r.expectedFactor, 2e-6f * base.x) << r.scale;
        EXPECT_NEAR(c.y, base.y * r.expectedFactor, 2e-6f * base.y) << r.scale;
        EXPECT_NEAR(c.z, base.z * r.expectedFactor, 2e-6f * base.z) << r.scale;
    }
    const vyr::Vec3f exact = Tool::kelvin2RGB(4000.0f, 0.9f, white);
    EXPECT_EQ(exact.x, base.x);
    EXPECT_EQ(exact.y, base.y);
    EXPECT_EQ(exact.z, base.z);
}

TEST(IntensityColorTool, UnitsAndProducts) {
    EXPECT_EQ(Tool::lx2cd(100.0, 2.0), 400.0);  // 100 lx x 2 m x 2 m
    EXPECT_EQ(Tool::lx2cd(0.5, 10.0), 50.0);
    const vyr::Vec3f m = Tool::mixColor({1.0f, 2.0f, 3.0f}, {4.0f, 0.5f, -1.0f});
    EXPECT_EQ(m.x, 4.0f);
    EXPECT_EQ(m.y, 1.0f);
    EXPECT_EQ(m.z, -3.0f);
    // Assignment exists and copies nothing (there is nothing to copy).
    Tool a;
    const Tool b;
    EXPECT_EQ(&(a = b), &a);
}

}  // namespace
