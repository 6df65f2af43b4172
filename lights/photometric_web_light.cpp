// vexa_kelo_Lgt_PhotometricWeb: a light whose intensity over directions comes from a
// photometric web, a 2D texture of normalised intensities over the vertical angle (u, 0 to 180
// degrees) and the horizontal angle (v, 0 to 360 degrees) built from an IES file by IESFile.
// Kind light, no varyings. Frame: lightAxis is the lamp's main direction (its web +z before
// "webRotationMatrix"); lightToPoint points from the light to the point.
#include <cmath>

#include "frame/constants.h"
#include "frame/shader_frame.h"
#include "frame/vec_math.h"
#include "lights/shadow_color_blend.h"

namespace vexakelo {
namespace {

// Photometric types of "web_photo_type".
inline constexpr std::int32_t kWebTypeC = 1;
inline constexpr std::int32_t kWebTypeB = 2;
inline constexpr std::int32_t kWebTypeA = 3;

// Deliberate: a half turn of 3.141593, one unit in the last place above the float nearest pi.
inline constexpr float kWebHalfTurn = 3.141593f;
inline constexpr float kInvTwoPi = 0.1591549f;

}  // namespace

struct PhotometricWebParams {
    vyr::Vec3f rgbLightColor{1.0f, 1.0f, 1.0f};
    vyr::TextureHandle webMap{};
    // Four rows of four; a direction is a row vector multiplied from the left. The factory
    // leaves it to the host; the identity makes a fresh light face down its axis.
    vyr::Mat4f webRotationMatrix{{1.0f, 0.0f, 0.0f, 0.0f,  //
                                  0.0f, 1.0f, 0.0f, 0.0f,  //
                                  0.0f, 0.0f, 1.0f, 0.0f,  //
                                  0.0f, 0.0f, 0.0f, 1.0f}};
    bool cast_shadows = true;
    vyr::Vec3f shadowCol{0.0f, 0.0f, 0.0f};
    float intensity = 1.0f;
    float shadowDensity = 1.0f;
    bool useShadowColMap = false;
    bool lightAffectShadowCol = false;
    vyr::TextureHandle shadowColMap{};
    float squareUnitsMultiplier = 1.0f;
    std::int32_t web_photo_type = kWebTypeC;
    vyr::Vec2f web_horizon_span{0.0f, 0.0f};
};

// clang-format off
inline constexpr ParamDesc kPhotometricWebTable[] = {
    VEXAKELO_PARAM(PhotometricWebParams, Vec3f,     "rgbLightColor",         rgbLightColor),         // light colour
    VEXAKELO_PARAM(PhotometricWebParams, Texture2D, "webMap",                webMap),                // web texture from IESFile
    VEXAKELO_PARAM(PhotometricWebParams, Mat4f,     "webRotationMatrix",     webRotationMatrix),     // light frame to web frame
    VEXAKELO_PARAM(PhotometricWebParams, Bool,      "cast_shadows",          cast_shadows),          // shadow test on or off
    VEXAKELO_PARAM(PhotometricWebParams, Vec3f,     "shadowCol",             shadowCol),             // colour of the shadow
    VEXAKELO_PARAM(PhotometricWebParams, Float,     "intensity",             intensity),             // declared, not used in shading
    VEXAKELO_PARAM(PhotometricWebParams, Float,     "shadowDensity",         shadowDensity),         // strength of the shadow
    VEXAKELO_PARAM(PhotometricWebParams, Bool,      "useShadowColMap",       useShadowColMap),       // shadow colour from the map
    VEXAKELO_PARAM(PhotometricWebParams, Bool,      "lightAffectShadowCol",  lightAffectShadowCol),  // tint the shadow by the light
    VEXAKELO_PARAM(PhotometricWebParams, Texture2D, "shadowColMap",          shadowColMap),          // projected shadow-colour map
    VEXAKELO_PARAM(PhotometricWebParams, Float,     "squareUnitsMultiplier", squareUnitsMultiplier), // factor on the squared distance
    VEXAKELO_PARAM(PhotometricWebParams, Int,       "web_photo_type",        web_photo_type),        // 1 type C, 2 type B, 3 type A
    VEXAKELO_PARAM(PhotometricWebParams, Vec2f,     "web_horizon_span",      web_horizon_span),      // x: type B turn, radians
};
// clang-format on
static_assert(isOrderedTable<PhotometricWebParams>(kPhotometricWebTable));
static_assert(offsetof(PhotometricWebParams, webMap) == 16, "texture handle on 8 bytes");
static_assert(offsetof(PhotometricWebParams, shadowCol) == 100, "after the bool");
static_assert(offsetof(PhotometricWebParams, shadowColMap) == 128, "texture handle on 8 bytes");

namespace {

// (a, b) turned by the angle whose cosine and sine are given.
void rotatePair(float& a, float& b, float cosine, float sine) {
    const float a1 = a * cosine - b * sine;
    const float b1 = a * sine + b * cosine;
    a = a1;
    b = b1;
}

}  // namespace
}  // namespace vexakelo

namespace vyr {

class vexa_kelo_Lgt_PhotometricWeb final
    : public vexakelo::ShaderFrame<vexa_kelo_Lgt_PhotometricWeb, LightShader,
                                   vexakelo::PhotometricWebParams> {
public:
    static constexpr std::string_view kName = "vexa_kelo_Lgt_PhotometricWeb";
    static std::span<const vexakelo::ParamDesc> parameters() {
        return vexakelo::kPhotometricWebTable;
    }

    void shade(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        const Vec3f d = state->lightToPoint;

        // The light's frame from its axis, flipped to the upper half so k stays finite.
        const Vec3f a = state->lightAxis;
        const float sigma = a.z < 0.0f ? -1.0f : 1.0f;
        const float z = sigma * a.z;
        const float x = sigma * a.x;
        const float y = sigma * a.y;
        const float k = 1.0f / (z + 1.0f);
        const Vec3f row1 = Vec3f{y * (y * k) + z, -x * (y * k), -x} * sigma;
        const Vec3f row2 = Vec3f{-x * (y * k), x * (x * k) + z, -y} * sigma;
        const Vec3f row3 = Vec3f{x, y, z} * sigma;
        const float p = dot(row1, d);
        const float q = dot(row2, d);
        const float r = dot(row3, d);

        // Into the web's frame: row vector times the matrix, w = 0. The products with 0 are
        // formed, so a non-finite fourth row shows as NaN.
        const float* const M = params.webRotationMatrix.m;
        const float xw = p * M[0] + q * M[4] + r * M[8] + 0.0f * M[12];
        const float yw = p * M[1] + q * M[5] + r * M[9] + 0.0f * M[13];
        float zw = p * M[2] + q * M[6] + r * M[10] + 0.0f * M[14];
        zw = zw < -1.0f ? -1.0f : (zw > 1.0f ? 1.0f : zw);

        const float w = lookupWeb(xw, yw, zw);
        // Deliberate: no guard on a zero distance.
        const float D = state->lightDistance * state->lightDistance * params.squareUnitsMultiplier;

        if (!params.cast_shadows) {
            // "intensity" does not enter: the web, the colour and the distance alone do.
            const float invD = 1.0f / D;
            const Vec3f L = params.rgbLightColor;
            state->lightColor = {w * L.x * invD, w * L.y * invD, w * L.z * invD};
            return;
        }

        const Vec3f S = params.useShadowColMap ? projectedShadowColor(params.shadowColMap, d)
                                               : params.shadowCol;
        const Vec3f C = tracedShadowBlend(context, state, params.rgbLightColor, S,
                                          params.lightAffectShadowCol, params.shadowDensity);
        state->lightColor = C * (w / D);
    }

private:
    // Relative intensity of the web towards (x, y, z), a unit direction in the web's frame.
    float lookupWeb(float x, float y, float z) const {
        using namespace vexakelo;
        if (params.web_photo_type == kWebTypeB) {
            const float span = params.web_horizon_span.x;
            if (span != 0.0f) {
                rotatePair(x, y, std::cos(span), std::sin(span));
            }
            const float cosine = std::cos(-kWebHalfTurn);
            const float sine = std::sin(-kWebHalfTurn);
            rotatePair(x, y, cosine, sine);
            rotatePair(y, z, cosine, sine);
            z = -z;
        } else if (params.web_photo_type == kWebTypeA) {
            rotatePair(x, y, std::cos(kWebHalfTurn), std::sin(kWebHalfTurn));
        }
        y = -y;
        const float u = std::acos(z) * kInvPi;
        float v = std::atan2(y, -x) * kInvTwoPi;
        if (v < 0.0f) {
            v = v + 1.0f;
        }
        const Texture* const web = params.webMap.get();
        if (web == nullptr) {
            return 0.0f;
        }
        Vec4f texel{0.0f, 0.0f, 0.0f, 1.0f};
        const Vec2f uv{u, v};
        web->sample(&texel, &uv);
        return texel.x;
    }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Lgt_PhotometricWeb)
