// The procedural nodes as plain functions, against a scripted context whose noise and random
// answers are fixed, so every expected value below is worked out by hand from the node rules.
#include "materials/ward/nodes.h"

#include <gtest/gtest.h>

#include <cmath>

#include "scripted_context.h"

namespace {

using vexakelo::nodes::NoiseValues;
using vexakelo::nodes::TileValues;
using vexakelo::nodes::UnifiedBitmapValues;
using vkhost::ScriptedContext;
using vyr::Vec2f;
using vyr::Vec4f;
using Call = ScriptedContext::Call;

const vyr::Mat4f kIdentity{{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};
const Vec4f kBlack{0.0f, 0.0f, 0.0f, 0.0f};
const Vec4f kWhite{1.0f, 1.0f, 1.0f, 1.0f};

// Returns the uv it is asked for, with fixed blue and alpha.
struct EchoTexture final : vyr::Texture {
    void sample(Vec4f* out, const Vec2f* uv) const override { *out = {uv->x, uv->y, 0.25f, 0.5f}; }
};

void expectColor(Vec4f actual, Vec4f expected, const char* what = "") {
    EXPECT_FLOAT_EQ(actual.x, expected.x) << what;
    EXPECT_FLOAT_EQ(actual.y, expected.y) << what;
    EXPECT_FLOAT_EQ(actual.z, expected.z) << what;
    EXPECT_FLOAT_EQ(actual.w, expected.w) << what;
}

std::vector<ScriptedContext::Record> callsOf(const ScriptedContext& ctx, Call call) {
    std::vector<ScriptedContext::Record> out;
    for (const auto& r : ctx.calls) {
        if (r.call == call) {
            out.push_back(r);
        }
    }
    return out;
}

// --- UnifiedBitmap ----------------------------------------------------------------------------

TEST(UnifiedBitmap, TransformAddsThirdAndFourthColumnAndAmountScalesOnlyRgb) {
    EchoTexture echo;
    const auto texture = vyr::TextureHandle::fromObject(&echo, 1);
    // Column order: m0 m1 | m4 m5 | m8 m9 | m12 m13.
    const vyr::Mat4f xf{{2, 3, 9, 9, 0.5f, 4, 9, 9, 0.25f, 0.125f, 9, 9, 1, 2, 9, 9}};
    const Vec4f c =
        vexakelo::nodes::unifiedBitmap(UnifiedBitmapValues{xf, texture, 2.0f, false}, {1.0f, 2.0f});
    // u' = 2 + 1 + 0.25 + 1 = 4.25, v' = 3 + 8 + 0.125 + 2 = 13.125; rgb doubled, alpha kept.
    expectColor(c, {8.5f, 26.25f, 0.5f, 0.5f});
}

TEST(UnifiedBitmap, EmptyHandleGivesOpaqueBlackTimesAmount) {
    const vyr::TextureHandle empty;
    expectColor(vexakelo::nodes::unifiedBitmap({kIdentity, empty, 3.0f, true}, {0.5f, 0.5f}),
                {0.0f, 0.0f, 0.0f, 1.0f});
}

// --- Noise ------------------------------------------------------------------------------------

NoiseValues noiseValues(int type, float levels, float low = 0.0f, float high = 1.0f) {
    return {kIdentity, type, 1.0f, low, high, levels, 0.0f};
}

// With colours black and white the output is v on every channel.
float noiseValue(ScriptedContext& ctx, const NoiseValues& n, Vec2f uv = {0.3f, 0.6f}) {
    const Vec4f c = vexakelo::nodes::noise(n, kBlack, kWhite, &ctx, uv);
    EXPECT_EQ(c.x, c.w);
    return c.x;
}

TEST(Noise, ThresholdsBelowAboveAndEqual) {
    struct Row {
        float raw, low, high, expected;
    };
    // Regular noise maps raw n to v = n exactly for these values.
    // clang-format off
    const Row rows[] = {
        {0.25f, 0.5f, 0.5f, 0.0f},   // below equal thresholds
        {0.75f, 0.5f, 0.5f, 1.0f},   // above
        {0.5f, 0.5f, 0.5f, 0.5f},    // equal to both: kept
        {0.5f, 0.25f, 0.75f, 0.5f},  // stretched: (0.5 - 0.25) / 0.5
        {0.625f, 0.5f, 1.0f, 0.25f},
        {0.25f, 0.3f, 0.9f, 0.0f},
        {0.95f, 0.3f, 0.9f, 1.0f},
    };
    // clang-format on
    for (const Row& r : rows) {
        ScriptedContext ctx;
        ctx.noise4Result = r.raw;
        EXPECT_FLOAT_EQ(noiseValue(ctx, noiseValues(0, 5.0f, r.low, r.high)), r.expected)
            << "raw " << r.raw << " thresholds " << r.low << ", " << r.high;
        EXPECT_EQ(ctx.count(Call::Noise4), 1u);  // the regular type ignores levels
    }
}

TEST(Noise, FractionalLevelsAddAWholeOctave) {
    struct Row {
        int type;
        float levels;
        std::size_t octaves;
        float expected;
    };
    // Raw noise 0.75 gives octave terms (0.75 * 2 - 1) / f = 0.5, 0.25, 0.125; fractal maps the
    // sum s to (s + 1) / 2, turbulence keeps |terms| summed. Raw 0.25 gives the negatives.
    // clang-format off
    const Row rows[] = {
        {1, 0.0f, 0, 0.5f},     {1, 0.5f, 1, 0.75f},   {1, 1.0f, 1, 0.75f},
        {1, 2.5f, 3, 0.9375f},  {2, 0.0f, 0, 0.0f},    {2, 0.5f, 1, 0.5f},
        {2, 1.0f, 1, 0.5f},     {2, 2.5f, 3, 0.875f},
    };
    // clang-format on
    for (const float raw : {0.75f, 0.25f}) {
        for (const Row& r : rows) {
            ScriptedContext ctx;
            ctx.noise4Result = raw;
            float expected = r.expected;
            if (raw == 0.25f && r.type == 1) {
                expected = 1.0f - r.expected;  // the sum changes sign
            }
            EXPECT_FLOAT_EQ(noiseValue(ctx, noiseValues(r.type, r.levels)), expected)
                << "type " << r.type << " levels " << r.levels << " raw " << raw;
            EXPECT_EQ(ctx.count(Call::Noise4), r.octaves)
                << "type " << r.type << " levels " << r.levels;
        }
    }
}

TEST(Noise, EndlessLevelCountsStillEnd) {
    ScriptedContext ctx;
    ctx.noise4Result = 0.75f;
    // Octave weights 0.5 / 2^k sum to 1 long before the frequency overflows.
    EXPECT_FLOAT_EQ(noiseValue(ctx, noiseValues(1, INFINITY)), 1.0f);
    EXPECT_LE(ctx.count(Call::Noise4), 130u);
}

TEST(Noise, SizeDividesThePointAndPhaseIsTheFourthCoordinate) {
    ScriptedContext ctx;
    NoiseValues n{kIdentity, 1, 0.5f, 0.0f, 1.0f, 2.0f, 0.375f};
    noiseValue(ctx, n, {0.25f, 0.75f});
    const auto calls = callsOf(ctx, Call::Noise4);
    ASSERT_EQ(calls.size(), 2u);
    // (u, v, 0) / 0.5, then twice that; the phase is not scaled with the octave.
    EXPECT_EQ(calls[0].a.x, 0.5f);
    EXPECT_EQ(calls[0].a.y, 1.5f);
    EXPECT_EQ(calls[0].a.z, 0.0f);
    EXPECT_EQ(calls[0].b.x, 0.375f);
    EXPECT_EQ(calls[1].a.x, 1.0f);
    EXPECT_EQ(calls[1].a.y, 3.0f);
    EXPECT_EQ(calls[1].b.x, 0.375f);
}

TEST(Noise, PointIsUvWithZeroDepthTransformedAsAPoint) {
    ScriptedContext ctx;
    // m8, m9, m10 multiply the zero depth; m12, m13, m14 translate.
    const vyr::Mat4f xf{{2, 0, 0.5f, 0, 0, 3, 0.25f, 0, 7, 7, 7, 0, 0.125f, 1, 4, 1}};
    noiseValue(ctx, {xf, 0, 1.0f, 0.0f, 1.0f, 0.0f, 0.0f}, {1.0f, 2.0f});
    const auto calls = callsOf(ctx, Call::Noise4);
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_EQ(calls[0].a.x, 2.125f);  // 2 u + 0.125
    EXPECT_EQ(calls[0].a.y, 7.0f);    // 3 v + 1
    EXPECT_EQ(calls[0].a.z, 5.0f);    // 0.5 u + 0.25 v + 4
}

TEST(Noise, BlendsTheTwoColoursOnAllChannels) {
    ScriptedContext ctx;
    ctx.noise4Result = 0.25f;
    const Vec4f c = vexakelo::nodes::noise(noiseValues(0, 0.0f), {1.0f, 0.0f, 0.5f, 0.0f},
                                           {0.0f, 1.0f, 0.5f, 1.0f}, &ctx, {0.0f, 0.0f});
    expectColor(c, {0.75f, 0.25f, 0.5f, 0.25f});
}

// --- Tile -------------------------------------------------------------------------------------

// One brick per unit, no shift, mortar 0.1 of the cell (0.05 each side), repeat off, no edits.
TileValues plainTile() {
    // clang-format off
    TileValues t{kIdentity, 1.0f, 1.0f, 0.0f, 0.0f, 0.1f, 0.1f, 0.0f, 7, 0.0f, 0.0f,
                 1.0f,      1,    false, false, 1.0f, 1,   0,    0.9f, 0.9f, false, false};
    // clang-format on
    return t;
}

const Vec4f kBrick{0.3f, 0.6f, 0.9f, 1.0f};
const Vec4f kMortar{0.1f, 0.1f, 0.1f, 0.5f};

Vec4f tileAt(ScriptedContext& ctx, const TileValues& t, Vec2f uv, Vec4f brick = kBrick) {
    return vexakelo::nodes::tile(t, brick, kMortar, &ctx, uv);
}

TEST(Tile, BordersOfTheUnitSquareAreInsideAndBeyondIsClearWithoutRepeat) {
    ScriptedContext ctx;
    TileValues t = plainTile();
    // 0 and 1 lie on the mortar round the brick; 1.0001 is outside.
    expectColor(tileAt(ctx, t, {0.0f, 0.0f}), kMortar, "uv 0");
    expectColor(tileAt(ctx, t, {1.0f, 1.0f}), kMortar, "uv 1");
    expectColor(tileAt(ctx, t, {1.0001f, 0.5f}), kBlack, "u 1.0001");
    expectColor(tileAt(ctx, t, {0.5f, 1.0001f}), kBlack, "v 1.0001");
    expectColor(tileAt(ctx, t, {-0.0001f, 0.5f}), kBlack, "u -0.0001");
    t.repeatX = true;
    t.repeatY = true;
    expectColor(tileAt(ctx, t, {1.5f, -0.5f}), kBrick, "repeated into the brick");
    expectColor(tileAt(ctx, t, {1.0001f, 0.5f}), kMortar, "repeated into the mortar");
}

TEST(Tile, ZeroVariancesGiveThePlainBrickColourAndVariancesScaleIt) {
    ScriptedContext ctx;
    ctx.randomOfResult = 0.9f;
    TileValues t = plainTile();
    expectColor(tileAt(ctx, t, {0.5f, 0.5f}), kBrick);
    EXPECT_EQ(ctx.count(Call::RandomOf), 0u);
    // a = (0.9 2 - 1) 0.5 + 1 = 1.4 and b the same: the brick times 1.96 on every channel.
    t.colorVariance = 0.5f;
    t.fadeVariance = 0.5f;
    expectColor(tileAt(ctx, t, {0.5f, 0.5f}, {0.25f, 0.5f, 0.125f, 0.5f}),
                {0.49f, 0.98f, 0.245f, 0.98f});
    // A variance large enough to go negative stops at black.
    ctx.randomOfResult = 0.0f;
    t.colorVariance = 3.0f;
    expectColor(tileAt(ctx, t, {0.5f, 0.5f}), {0.0f, 0.0f, 0.0f, 0.0f});
}

TEST(Tile, EveryChannelIsClamped) {
    ScriptedContext ctx;
    const TileValues t = plainTile();
    expectColor(tileAt(ctx, t, {0.5f, 0.5f}, {2.0f, -1.0f, 0.5f, 3.0f}), {1.0f, 0.0f, 0.5f, 1.0f});
}

TEST(Tile, WideGapIsMortar) {
    ScriptedContext ctx;
    TileValues t = plainTile();
    t.brickWidth = 1.0f;
    t.horizontalGap = 3.0f;  // the brick holds the middle quarter of its cell
    expectColor(tileAt(ctx, t, {0.2f, 0.5f}), kMortar);
    expectColor(tileAt(ctx, t, {0.8f, 0.5f}), kMortar);
    expectColor(tileAt(ctx, t, {0.5f, 0.5f}), kBrick);
}

TEST(Tile, RowsSlideByTheLineShiftIntoARunningBond) {
    ScriptedContext ctx;
    TileValues t = plainTile();
    t.verticalCount = 2.0f;
    t.horizontalCount = 2.0f;
    t.lineShift = 0.5f;
    // u = 0.5 is a head joint in row 0 and the middle of a brick in row 1.
    expectColor(tileAt(ctx, t, {0.5f, 0.25f}), kMortar, "row 0");
    expectColor(tileAt(ctx, t, {0.5f, 0.75f}), kBrick, "row 1");
    // In row 1 the joints sit at u = 0.25 and 0.75.
    expectColor(tileAt(ctx, t, {0.25f, 0.75f}), kMortar, "row 1 joint");
}

TEST(Tile, RowAndColumnEdits) {
    ScriptedContext ctx;
    TileValues t = plainTile();
    t.verticalCount = 2.0f;
    t.horizontalCount = 2.0f;
    t.useRowEdit = true;
    t.perRow = 2;
    t.changeRow = 2.0f;
    // Row 0 is edited: its bricks are twice as long, so u = 0.5 is no longer a joint there.
    expectColor(tileAt(ctx, t, {0.5f, 0.25f}), kBrick, "edited row");
    expectColor(tileAt(ctx, t, {0.5f, 0.75f}), kMortar, "plain row");
    t.useRowEdit = false;
    t.useColumnEdit = true;
    t.perColumn = 2;
    t.changeColumn = 0.5f;
    // Column 0 bricks are half as high: at a fifth of the row's height that is mortar.
    expectColor(tileAt(ctx, t, {0.25f, 0.1f}), kMortar, "edited column");
    expectColor(tileAt(ctx, t, {0.75f, 0.1f}), kBrick, "plain column");
}

TEST(Tile, HolesLeaveOutBricksByTheirRandomValue) {
    ScriptedContext ctx;
    ctx.randomOfResult = 0.5f;  // 50 on the percentage scale
    TileValues t = plainTile();
    t.holes = 40;
    expectColor(tileAt(ctx, t, {0.5f, 0.5f}), kBrick);
    t.holes = 60;
    expectColor(tileAt(ctx, t, {0.5f, 0.5f}), kMortar);
}

TEST(Tile, RandomValuesBelongToTheBrickAndTheSeed) {
    TileValues t = plainTile();
    t.verticalCount = 4.0f;
    t.horizontalCount = 4.0f;
    t.colorVariance = 0.5f;
    const auto keyAt = [&](Vec2f uv) {
        ScriptedContext ctx;
        tileAt(ctx, t, uv);
        const auto calls = callsOf(ctx, Call::RandomOf);
        EXPECT_EQ(calls.size(), 1u);
        return calls.empty() ? -1.0f : calls[0].a.x;
    };
    const float a = keyAt({0.1f, 0.1f});
    EXPECT_EQ(keyAt({0.15f, 0.2f}), a) << "same brick";
    EXPECT_NE(keyAt({0.35f, 0.1f}), a) << "next brick in the row";
    EXPECT_NE(keyAt({0.1f, 0.35f}), a) << "brick above";
    t.randomSeed = 8;
    EXPECT_NE(keyAt({0.1f, 0.1f}), a) << "another seed";
}

TEST(Tile, RoughEdgesMoveTheBorderByTheHostsTwoDimensionalNoise) {
    ScriptedContext ctx;
    TileValues t = plainTile();
    // u = 0.03 is 0.02 into the mortar. Roughness 50 moves the border up to 0.05 either way and
    // blends across a band as wide.
    expectColor(tileAt(ctx, t, {0.03f, 0.5f}), kMortar);
    EXPECT_EQ(ctx.count(Call::Noise2), 0u);
    t.edgeRoughness = 50.0f;
    ctx.noise2Result = 1.0f;
    const Vec4f c = tileAt(ctx, t, {0.03f, 0.5f});
    const float w = 0.6f;  // (-0.02 + 0.05) / 0.05
    EXPECT_NEAR(c.x, (1 - w) * kMortar.x + w * kBrick.x, 1e-5f);
    EXPECT_NEAR(c.w, (1 - w) * kMortar.w + w * kBrick.w, 1e-5f);
    const auto calls = callsOf(ctx, Call::Noise2);
    ASSERT_EQ(calls.size(), 1u);
    // Sampled at the cell coordinates in thousandths of a cell, over 17.
    EXPECT_NEAR(calls[0].a.x, 30.0f / 17.0f, 1e-4f);
    EXPECT_NEAR(calls[0].a.y, 500.0f / 17.0f, 1e-3f);
}

}  // namespace
