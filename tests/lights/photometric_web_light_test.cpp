// The photometric web light: its frame, the web look-up for the three photometric types, the
// distance term and the coloured shadow.
#include <fstream>
#include <iterator>

#include "light_support.h"
#include "photometry/ies_file.h"

namespace lights_test {
namespace {

using Call = vkhost::ScriptedContext::Call;

vyr::Mat4f identity() {
    return {{1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f,
             0.0f, 1.0f}};
}

struct LookupRow {
    const char* what;
    std::int32_t type;
    float span;
    vyr::Vec3f axis;
    vyr::Vec3f d;
    vyr::Mat4f rotation;
    vyr::Vec2f uv;  // u = acos(z) / pi, v = atan2(-y, -x) / 2pi wrapped into [0, 1)
};

TEST(PhotometricWebLight, WebLookUpCoordinates) {
    const vyr::Mat4f I = identity();
    // Rows of four, row vector on the left: r feeds x', p feeds y', q feeds z'.
    const vyr::Mat4f turn{{0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f,
                           0.0f, 0.0f, 0.0f, 1.0f}};
    const vyr::Vec3f up{0.0f, 0.0f, 1.0f};
    const LookupRow rows[] = {
        // Type C, axis +z: the frame is the identity.
        // -x: atan2(0, 1) = 0.
        {"C, -x", 1, 0.0f, up, {-1.0f, 0.0f, 0.0f}, I, {0.5f, 0.0f}},
        // -y: y' = 1 after the negation: atan2(1, 0) = pi/2, v = 0.25.
        {"C, -y", 1, 0.0f, up, {0.0f, -1.0f, 0.0f}, I, {0.5f, 0.25f}},
        // +x: atan2(0, -1) = pi: v = 0.5.
        {"C, +x", 1, 0.0f, up, {1.0f, 0.0f, 0.0f}, I, {0.5f, 0.5f}},
        // +y: atan2(-1, 0) = -pi/2, v = -0.25 wrapped to 0.75.
        {"C, +y wraps v", 1, 0.0f, up, {0.0f, 1.0f, 0.0f}, I, {0.5f, 0.75f}},
        // Along the axis: acos(1) = 0.
        {"C, +z", 1, 0.0f, up, {0.0f, 0.0f, 1.0f}, I, {0.0f, NAN}},
        // Against it: acos(-1) = 3.1415927 times 0.3183099 rounds to 1.0000001.
        {"C, -z", 1, 0.0f, up, {0.0f, 0.0f, -1.0f}, I, {1.0000001f, NAN}},
        // Rounding past 1 is clamped before the arc cosine.
        {"C, z' = 1.0000001 clamped", 1, 0.0f, up, {0.0f, 0.0f, 1.0000001f}, I, {0.0f, NAN}},
        // Axis +x: rows (0, 0, -1), (0, 1, 0), (1, 0, 0); d = +z gives p = -1, r = 0.
        {"C, axis +x, d +z", 1, 0.0f, {1.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 1.0f}, I, {0.5f, 0.0f}},
        // Axis -z (sigma -1): rows (-1, 0, 0), (0, -1, 0), (0, 0, -1); d = +y gives q = -1.
        {"C, axis -z, d +y", 1, 0.0f, {0.0f, 0.0f, -1.0f}, {0.0f, 1.0f, 0.0f}, I, {0.5f, 0.25f}},
        {"C, axis -z, d -z", 1, 0.0f, {0.0f, 0.0f, -1.0f}, {0.0f, 0.0f, -1.0f}, I, {0.0f, NAN}},
        // The matrix is applied as rows: q = 1 lands in z' (u = 0); as columns it would land in x'.
        {"C, rotation rows", 1, 0.0f, up, {0.0f, 1.0f, 0.0f}, turn, {0.0f, NAN}},
        // r = 1 lands in x' = 1: u = 0.5, v = 0.5.
        {"C, rotation rows, axis", 1, 0.0f, up, {0.0f, 0.0f, 1.0f}, turn, {0.5f, 0.5f}},
        // Type A turns (x, y) by 3.141593 first: +x becomes -x, v = 0 instead of 0.5.
        {"A, +x", 3, 0.0f, up, {1.0f, 0.0f, 0.0f}, I, {0.5f, 0.0f}},
        {"A, +y", 3, 0.0f, up, {0.0f, 1.0f, 0.0f}, I, {0.5f, 0.25f}},
        // Type B: (x, y) and then (y, z) turned by -3.141593, z negated: +z stays at u = 0;
        // +x becomes (-1, ~0, ~0): u = 0.5, v = 0.
        {"B, +z", 2, 0.0f, up, {0.0f, 0.0f, 1.0f}, I, {0.0f, NAN}},
        {"B, +x", 2, 0.0f, up, {1.0f, 0.0f, 0.0f}, I, {0.5f, 0.0f}},
        // +y: (x, y) -> (~0, -1), (y, z) -> (1, ~0): after y is negated atan2(-1, ~0), v = 0.75.
        {"B, +y", 2, 0.0f, up, {0.0f, 1.0f, 0.0f}, I, {0.5f, 0.75f}},
        // A span of pi/2 turns +x to +y first.
        {"B, span pi/2, +x", 2, 1.5707964f, up, {1.0f, 0.0f, 0.0f}, I, {0.5f, 0.75f}},
        // Other types read as type C.
        {"type 7 as C", 7, 0.0f, up, {1.0f, 0.0f, 0.0f}, I, {0.5f, 0.5f}},
    };
    for (const LookupRow& row : rows) {
        SCOPED_TRACE(row.what);
        ProbeTexture probe;
        HostShader web("vexa_kelo_Lgt_PhotometricWeb");
        web.set("cast_shadows", false)
            .set("webMap", probe.handle())
            .set("webRotationMatrix", row.rotation)
            .set("web_photo_type", row.type)
            .set("web_horizon_span", vyr::Vec2f{row.span, 0.0f});
        vkhost::ScriptedContext context;
        vyr::ShadingState state = lightState(row.axis, row.d, 1.0f);
        web.shade(context, state);
        ASSERT_EQ(probe.calls, 1);
        EXPECT_NEAR(probe.last.x, row.uv.x, 1e-6f);
        if (!std::isnan(row.uv.y)) {  // along the web's axis v depends on the signs of zeros
            EXPECT_NEAR(probe.last.y, row.uv.y, 1e-6f);
        }
        EXPECT_GE(probe.last.y, 0.0f);
        EXPECT_LE(probe.last.y, 1.0f);
    }
}

TEST(PhotometricWebLight, NonFiniteFourthRowGivesNaN) {
    // x' = p M00 + q M10 + r M20 + 0 M30 with M30 infinite: 0 * inf is NaN.
    vyr::Mat4f rotation = identity();
    rotation.m[12] = INFINITY;
    ProbeTexture probe;
    HostShader web("vexa_kelo_Lgt_PhotometricWeb");
    web.set("cast_shadows", false).set("webMap", probe.handle()).set("webRotationMatrix", rotation);
    vkhost::ScriptedContext context;
    vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, {1.0f, 0.0f, 0.0f}, 1.0f);
    web.shade(context, state);
    EXPECT_TRUE(std::isnan(probe.last.y));
}

TEST(PhotometricWebLight, WebValueAlongU) {
    // A 4 x 1 web of 1, 2, 4, 8: bilinear between texel centres with repeat wrap.
    // u = 0 (and 1): halfway between texel 3 and 0: 8 + (1 - 8) 0.5 = 4.5;
    // u = 0.5: halfway between texels 1 and 2: 3. rgbLightColor 1, D = 1: lightColor = w.
    const vyr::TextureHandle map = floatTexture(4, 1, {1.0f, 2.0f, 4.0f, 8.0f});
    struct Row {
        vyr::Vec3f d;
        float w;
    };
    const Row rows[] = {
        {{0.0f, 0.0f, 1.0f}, 4.5f},
        {{0.0f, 0.0f, -1.0f}, 4.5f},
        {{1.0f, 0.0f, 0.0f}, 3.0f},
    };
    for (const Row& row : rows) {
        HostShader web("vexa_kelo_Lgt_PhotometricWeb");
        web.set("cast_shadows", false).set("webMap", map);
        vkhost::ScriptedContext context;
        vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, row.d, 1.0f);
        web.shade(context, state);
        expectVec(state.lightColor, {row.w, row.w, row.w}, 1e-5f);
    }
}

TEST(PhotometricWebLight, DistanceColorAndIntensity) {
    // A one-texel web of 0.5; rgbLightColor (1, 2, 4): lightColor = w R (1/D).
    const vyr::TextureHandle map = floatTexture(1, 1, {0.5f});
    struct Row {
        const char* what;
        float distance, multiplier, intensity;
        vyr::Vec3f expected;
    };
    const Row rows[] = {
        {"D = 4", 2.0f, 1.0f, 1.0f, {0.125f, 0.25f, 0.5f}},
        {"twice the distance: a quarter", 4.0f, 1.0f, 1.0f, {0.03125f, 0.0625f, 0.125f}},
        {"multiplier 4 = twice the distance", 2.0f, 4.0f, 1.0f, {0.03125f, 0.0625f, 0.125f}},
        {"intensity changes nothing", 2.0f, 1.0f, 50.0f, {0.125f, 0.25f, 0.5f}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        HostShader web("vexa_kelo_Lgt_PhotometricWeb");
        web.set("cast_shadows", false)
            .set("webMap", map)
            .set("rgbLightColor", vyr::Vec3f{1.0f, 2.0f, 4.0f})
            .set("squareUnitsMultiplier", row.multiplier)
            .set("intensity", row.intensity);
        vkhost::ScriptedContext context;
        vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, {0.6f, 0.0f, 0.8f}, row.distance);
        web.shade(context, state);
        expectVec(state.lightColor, row.expected);
        EXPECT_EQ(state.lightShadow, (vyr::Vec3f{7.0f, 8.0f, 9.0f}));
    }
}

TEST(PhotometricWebLight, NoWebMapIsBlack) {
    for (const bool shadows : {false, true}) {
        HostShader web("vexa_kelo_Lgt_PhotometricWeb");
        web.set("cast_shadows", shadows);
        vkhost::ScriptedContext context;
        vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 1.0f}, 1.0f);
        web.shade(context, state);
        EXPECT_EQ(state.lightColor, (vyr::Vec3f{0.0f, 0.0f, 0.0f}));
    }
}

TEST(PhotometricWebLight, ShadowsFoldIntoTheColor) {
    const vyr::TextureHandle map = floatTexture(1, 1, {0.5f});
    HostShader web("vexa_kelo_Lgt_PhotometricWeb");
    web.set("webMap", map)
        .set("rgbLightColor", vyr::Vec3f{1.0f, 2.0f, 4.0f})
        .set("shadowCol", vyr::Vec3f{0.0f, 0.0f, 8.0f});
    vkhost::ScriptedContext context;
    context.shadowResult = {0.5f, 0.5f, 0.5f};
    vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 1.0f}, 2.0f);
    web.shade(context, state);
    // s = 0.5, a = 0.4995: C = 0.5 L + 0.5 S = (0.5, 1, 6); lightColor = C (0.5 / 4).
    expectVec(state.lightColor, {0.0625f, 0.125f, 0.75f});
    EXPECT_EQ(state.lightShadow, (vyr::Vec3f{1.0f, 1.0f, 1.0f}));
    EXPECT_EQ(context.count(Call::TraceShadow), 1u);
}

TEST(PhotometricWebLight, ShadowColorMapIsProjectedAlongLightToPoint) {
    // Blocked, density 1: C = S. An empty map gives black; the probe is read at
    // u = -k d.x / d.z + 0.5 = 0.5 + 0.25 for d = (-0.25 / k, 0, 1), k = 0.9152439.
    const vyr::TextureHandle web = floatTexture(1, 1, {1.0f});
    vkhost::ScriptedContext context;
    context.shadowResult = {0.0f, 0.0f, 0.0f};
    {
        HostShader light("vexa_kelo_Lgt_PhotometricWeb");
        light.set("webMap", web)
            .set("useShadowColMap", true)
            .set("shadowCol", vyr::Vec3f{1.0f, 1.0f, 1.0f});
        vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, 1.0f}, 1.0f);
        light.shade(context, state);
        EXPECT_EQ(state.lightColor, (vyr::Vec3f{0.0f, 0.0f, 0.0f}));
    }
    {
        ProbeTexture probe({0.25f, 0.5f, 1.0f, 1.0f});
        HostShader light("vexa_kelo_Lgt_PhotometricWeb");
        light.set("webMap", web).set("useShadowColMap", true).set("shadowColMap", probe.handle());
        const float k = 0.9152439f;
        vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, {-0.25f / k, 0.0f, 1.0f}, 1.0f);
        light.shade(context, state);
        EXPECT_NEAR(probe.last.x, 0.75f, 1e-6f);
        EXPECT_NEAR(probe.last.y, 0.5f, 1e-6f);
        expectVec(state.lightColor, {0.25f, 0.5f, 1.0f});
    }
}

// A measured lamp all the way through: the file read as a host application reads it, its web
// texture uploaded and bound by initShader, the bound texture handed to the light as "webMap".
TEST(PhotometricWebLight, RealIesFileEndToEnd) {
    // Eight T5 lamps, type C, vertical 0..90 in 5-degree steps, horizontal 0..90 (quadrant
    // symmetry). Straight down it measures 19229 cd; the peak is 19267 cd (10 degrees, H 45);
    // at 90 degrees every plane reads 0.
    std::ifstream in(std::string(VEXAKELO_SOURCE_DIR) + "/tests/data/ies/lm95_8lamps_0_90.ies",
                     std::ios::binary);
    ASSERT_TRUE(in) << "test lamp file missing";
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const IESFile::Canonical canonical = IESFile::canonicalize(text);
    IESFile::GuardedReader reader(IESFile::GuardedReader::Source::Buffer);
    IESFile file(&reader);
    file.read(canonical.text.c_str());
    ASSERT_NE(file.data(), nullptr);

    const vyr::ShaderHandle host = vyr::host::createShader();
    file.initShader(host, "webMap", "verticalRange", "horizontalRange", "photoType", "symmetry");
    const auto bound = vyr::host::shaderOf(host)->uniform("webMap");
    ASSERT_TRUE(bound.has_value());
    const vyr::TextureHandle webMap = std::get<vyr::host::TextureBinding>(*bound).texture;
    // 73 columns (theta 0..180 in 2.5-degree steps), 33 rows (phi 0..360 in 11.25).
    EXPECT_EQ(vyr::host::textureOf(webMap)->width(), 73);
    EXPECT_EQ(vyr::host::textureOf(webMap)->height(), 33);

    HostShader web("vexa_kelo_Lgt_PhotometricWeb");
    web.set("cast_shadows", false).set("webMap", webMap).set("web_photo_type", std::int32_t{1});
    vkhost::ScriptedContext context;
    struct Row {
        const char* what;
        vyr::Vec3f toPoint;
        float relative;
    };
    const vyr::Vec3f down{0.0f, 0.0f, -1.0f};
    const Row rows[] = {
        {"along the lamp's axis: 19229 / 19267", down, 19229.0f / 19267.0f},
        {"horizontal: nothing", {1.0f, 0.0f, 0.0f}, 0.0f},
        {"horizontal, another plane", {0.0f, -1.0f, 0.0f}, 0.0f},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        // Distance 1 and a white light: the colour is the web value itself.
        vyr::ShadingState state = lightState(down, row.toPoint, 1.0f);
        web.shade(context, state);
        expectVec(state.lightColor, {row.relative, row.relative, row.relative}, 1e-5f);
    }
}

}  // namespace
}  // namespace lights_test
