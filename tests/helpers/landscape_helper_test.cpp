// VexaKeloLandScapeHelper: the grid size, the diamond-square order on a 5 x 5 grid by hand, the
// else-if cut, the mask layout, then the whole mask through a host texture and shader.
#include "helpers/landscape_helper.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <variant>
#include <vector>

#include "descriptor_positions.h"
#include "vyr_host.h"

namespace {

using Helper = VexaKeloLandScapeHelper;
using Generator = Helper::Generator;
constexpr int kS = 513;
constexpr std::size_t kPixels = static_cast<std::size_t>(Helper::kSize) * Helper::kSize;

std::vector<float> grownGrid(int seed, float roughness) {
    Generator g;
    g.gridSize = kS;
    g.seed = seed;
    g.roughness = roughness;
    std::vector<float> grid(static_cast<std::size_t>(kS) * kS);
    EXPECT_TRUE(g.diamondSquare(grid.data()));
    return grid;
}

std::vector<std::uint32_t> maskOf(const Helper& helper) {
    return {helper.pixels(), helper.pixels() + kPixels};
}

TEST(LandscapeGenerator, GridSizeIsThePowerOfTwoAboveThePlusOne) {
    EXPECT_EQ(Generator::gridSizeFor(512, 512), 513);
    EXPECT_EQ(Generator::gridSizeFor(300, 200), 513);
    EXPECT_EQ(Generator::gridSizeFor(200, 300), 513);
    EXPECT_EQ(Generator::gridSizeFor(513, 1), 1025);
    EXPECT_EQ(Generator::gridSizeFor(2, 2), 3);
}

TEST(LandscapeGenerator, RejectsSidesThatAreNotPowersOfTwo) {
    for (const int size : {2, 4, 514}) {  // n = 1, 3, 513
        Generator g;
        g.gridSize = size;
        std::vector<float> grid(static_cast<std::size_t>(size) * size, 7.0f);
        EXPECT_FALSE(g.diamondSquare(grid.data())) << size;
        EXPECT_TRUE(std::all_of(grid.begin(), grid.end(), [](float v) { return v == 7.0f; }));
    }
}

TEST(LandscapeGenerator, DiamondSquareOrderOnAFiveByFiveGrid) {
    // Seed 1 draws 41, 18467, 6334, 26500, ... so r = draw / 32767 - 0.5 is -0.49874875,
    // 0.06358534, -0.30669576, ...; roughness 0 keeps the amplitude at 1.
    // Level h = 2: centre (2,2) = 0 + r1 = -0.49874875; diamond (2,0) = ((C + 0) + 0) + C = 2C,
    // x 0.25 + r2 = -0.18578903, copied to (2,4); (0,2) = 2C x 0.25 + r3 = -0.55607015, copied
    // to (4,2). Level h = 1: centres (1,1), (3,1), (1,3), (3,3) take r4..r7, then the diamonds
    // row by row, x from 1 on even rows and from 0 on odd rows, r8..r15, wrapping modulo 4.
    // clang-format off
    const float expected[5][5] = {  // [y][x]
        {0.0f, 0.266592562f, -0.185789034f, 0.105141982f, 0.0f},
        {0.0509487242f, -0.00141149759f, -0.553664923f, -0.225142658f, 0.0509487242f},
        {-0.556070149f, 0.0123161077f, -0.498748749f, -0.224454105f, -0.556070149f},
        {-0.323017418f, -0.330278933f, -0.564674437f, -0.459860504f, -0.323017418f},
        {0.0f, 0.266592562f, -0.185789034f, 0.105141982f, 0.0f},
    };
    // clang-format on
    Generator g;
    g.gridSize = 5;
    g.seed = 1;
    g.roughness = 0.0f;
    g.amplitude = 1.0f;
    float grid[25];
    ASSERT_TRUE(g.diamondSquare(grid));
    for (int y = 0; y < 5; ++y) {
        for (int x = 0; x < 5; ++x) {
            EXPECT_FLOAT_EQ(grid[y * 5 + x], expected[y][x]) << x << "," << y;
        }
    }
}

TEST(LandscapeGenerator, FieldTilesAndIsRepeatable) {
    const std::vector<float> grid = grownGrid(Helper::kDefaultSeed, 0.3f);
    for (int i = 0; i < kS; ++i) {
        ASSERT_EQ(grid[i], grid[static_cast<std::size_t>(512) * kS + i]) << "column " << i;
        ASSERT_EQ(grid[static_cast<std::size_t>(i) * kS],
                  grid[static_cast<std::size_t>(i) * kS + 512])
            << "row " << i;
    }
    EXPECT_EQ(grid[0], 0.0f);
    EXPECT_EQ(grownGrid(Helper::kDefaultSeed, 0.3f), grid);
    EXPECT_NE(grownGrid(Helper::kDefaultSeed + 1, 0.3f), grid);
    EXPECT_NE(grownGrid(Helper::kDefaultSeed, 0.6f), grid);
}

// A host can make the mask without a shader or a texture, and run the generator record with
// the helper's settings: both give the pixels initializeShader makes.
TEST(LandscapeGenerator, GenerateWithoutAShaderAndTheHelpersDefaults) {
    Helper bound;
    bound.initializeShader(nullptr);
    Helper alone;
    alone.generate();
    const std::size_t count = static_cast<std::size_t>(Helper::kSize) * Helper::kSize;
    EXPECT_TRUE(std::equal(bound.pixels(), bound.pixels() + count, alone.pixels()));

    std::vector<std::uint32_t> pixels(count);
    Helper::Generator g = Helper::Generator::helperDefaults(pixels.data());
    EXPECT_EQ(g.roughness, 0.3f);
    EXPECT_EQ(g.gridSize, 513);
    g.generate();
    EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), alone.pixels()));
    // The record's own default roughness is the generator's 0.5, not the helper's.
    EXPECT_EQ(Helper::Generator{}.roughness, 0.5f);
}

TEST(LandscapeGenerator, CutScansWithElseIf) {
    struct Row {
        float values[9];
        float percentage;
        float expectedCut;
    };
    const Row rows[] = {
        // min -1, max 3: cut = 4 x 0.25 - 1 = 0.
        {{0.5f, -1.0f, 3.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f}, 0.25f, 0.0f},
        // 0 raises max first, so it is never tested against min: min = 1, max = 1, cut = 1.
        {{0.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f}, 0.0f, 1.0f},
        // Rising values all raise max: min keeps its start of 2, cut = (1.5 - 2) x 0 + 2 = 2.
        {{-1.0f, -0.5f, 0.0f, 0.25f, 0.5f, 0.75f, 1.0f, 1.25f, 1.5f}, 0.0f, 2.0f},
        // Same field, percentage 1: cut = -0.5 + 2 = 1.5, the maximum.
        {{-1.0f, -0.5f, 0.0f, 0.25f, 0.5f, 0.75f, 1.0f, 1.25f, 1.5f}, 1.0f, 1.5f},
    };
    for (const Row& r : rows) {
        Generator g;
        g.gridSize = 3;
        g.percentage = r.percentage;
        EXPECT_EQ(g.findCut(r.values), r.expectedCut);
        EXPECT_EQ(g.cut, r.expectedCut);
    }
}

TEST(LandscapeGenerator, MaskTakesRowsAndLeavesTheLastRowAndColumnOut) {
    // A 3 x 3 grid whose last row and column are all low, written into a 2 x 2 mask with the
    // cut at 0: only grid (x, y) for x, y < 2 count, white where the value is at or below it.
    // clang-format off
    const float grid[9] = {
         1.0f, -1.0f, -5.0f,   // y = 0
         0.0f,  2.0f, -5.0f,   // y = 1
        -5.0f, -5.0f, -5.0f,   // y = 2
    };
    // clang-format on
    std::uint32_t pixels[4] = {7, 7, 7, 7};
    Generator g;
    g.gridSize = 3;
    g.width = g.height = 2;
    g.pixels = pixels;
    g.cut = 0.0f;
    g.writePixels(grid);
    EXPECT_EQ(pixels[0], 0x00000000u);  // (0,0) = 1 above
    EXPECT_EQ(pixels[1], 0xFFFFFFFFu);  // (1,0) = -1
    EXPECT_EQ(pixels[2], 0xFFFFFFFFu);  // (0,1) = 0, at the cut
    EXPECT_EQ(pixels[3], 0x00000000u);  // (1,1) = 2
}

TEST(LandscapeHelper, DefaultsAndRepeatability) {
    Helper fallback;
    EXPECT_EQ(fallback.seed(), 1327828458);
    EXPECT_EQ(fallback.roughness(), 0.3f);
    EXPECT_EQ(fallback.name(), "landscapeMap");

    Helper a(42, 0.4f, 0.5f, {1.0f, 0.0f, 0.0f, 1.0f});
    Helper b(42, 0.4f, 0.5f, {1.0f, 0.0f, 0.0f, 1.0f});
    Helper c(43, 0.4f, 0.5f, {1.0f, 0.0f, 0.0f, 1.0f});
    std::srand(5);
    const int expectedRand = std::rand();
    std::srand(5);
    a.initializeShader(nullptr);
    EXPECT_EQ(std::rand(), expectedRand);  // the process-wide generator is not touched
    b.initializeShader(nullptr);
    c.initializeShader(nullptr);
    EXPECT_EQ(maskOf(a), maskOf(b));
    EXPECT_NE(maskOf(a), maskOf(c));
}

TEST(LandscapeHelper, PercentageExtremes) {
    const std::vector<float> grid = grownGrid(Helper::kDefaultSeed, 0.3f);
    const float min = *std::min_element(grid.begin(), grid.end());

    Helper helper;
    helper.setPercentage(0.0f);
    helper.initializeShader(nullptr);
    // Cut at the minimum: exactly the texels holding the minimum are white (the field tiles, so
    // the minimum is inside the mask at least once).
    std::size_t white = 0;
    for (int y = 0; y < 512; ++y) {
        for (int x = 0; x < 512; ++x) {
            const bool isWhite = helper.pixels()[y * 512 + x] == 0xFFFFFFFFu;
            ASSERT_EQ(isWhite, grid[static_cast<std::size_t>(y) * kS + x] == min) << x << "," << y;
            white += isWhite ? 1 : 0;
        }
    }
    EXPECT_GE(white, 1u);

    // Cut at the maximum: everything white, but for at most the one texel at the maximum that
    // the single-precision cut may fall just below.
    helper.setPercentage(1.0f);
    helper.initializeShader(nullptr);
    const auto black = std::count(helper.pixels(), helper.pixels() + kPixels, 0u);
    EXPECT_LE(black, 1);
}

TEST(LandscapeHelper, BindsAnRgba8MaskAndTheColour) {
    const vyr::TextureHandle texture = vyr::host::createTexture();
    const vyr::ShaderHandle shader = vyr::host::createShader();
    Helper helper(7, 0.5f, 0.4f, {0.2f, 0.4f, 0.6f, 0.8f});
    helper.setTexture(texture);
    helper.setName("terrainMask");
    helper.initializeShader(shader.get());
    EXPECT_EQ(vyr::host::openEdits(texture.id()), 0);

    const vyr::host::ShaderObject* host = vyr::host::shaderOf(shader);
    const auto bound = host->uniform("terrainMask");
    ASSERT_TRUE(bound.has_value());
    const auto* binding = std::get_if<vyr::host::TextureBinding>(&*bound);
    ASSERT_NE(binding, nullptr);
    EXPECT_EQ(binding->dimensions, 2);
    EXPECT_EQ(binding->texture.id(), texture.id());
    EXPECT_FALSE(host->uniform("landscapeMap").has_value());
    const auto colour = host->uniform("color");
    ASSERT_TRUE(colour.has_value());
    ASSERT_TRUE(std::holds_alternative<vyr::Vec4f>(*colour));
    const vyr::Vec4f c = std::get<vyr::Vec4f>(*colour);
    EXPECT_EQ(c.x, 0.2f);
    EXPECT_EQ(c.y, 0.4f);
    EXPECT_EQ(c.z, 0.6f);
    EXPECT_EQ(c.w, 0.8f);

    // Positions 1 to 10: 1, 1, then 4 (four 8-bit channels), 1, 0, 0, 1, 512, 512, 0.
    const vyr::host::TextureObject* mask = vyr::host::textureOf(texture);
    ASSERT_NE(mask, nullptr);
    const vyr::TextureDescriptor& d = mask->descriptor();
    const std::array<std::int32_t, 10> expected = {1, 1, 4, 1, 0, 0, 1, 512, 512, 0};
    EXPECT_EQ(leadingPositions(d), expected);
    EXPECT_EQ(d.range.y, 1.0f);
    EXPECT_EQ(d.range.w, 1.0f);

    // Texels are opaque white or transparent black, matching the helper's pixels.
    ASSERT_EQ(mask->width(), 512);
    ASSERT_EQ(mask->height(), 512);
    for (int y = 0; y < 512; ++y) {
        for (int x = 0; x < 512; ++x) {
            const vyr::Vec4f t = mask->texel(x, y);
            const float v = helper.pixels()[y * 512 + x] == 0u ? 0.0f : 1.0f;
            ASSERT_TRUE(t.x == v && t.y == v && t.z == v && t.w == v) << x << "," << y;
        }
    }
}

TEST(LandscapeHelper, EmptyTextureAndNullShaderAreHarmless) {
    Helper helper;
    helper.setName(nullptr);  // keeps the name
    EXPECT_EQ(helper.name(), "landscapeMap");
    helper.initializeShader(nullptr);
    EXPECT_FALSE(helper.texture().isValid());
}

}  // namespace
