// vexa_kelo_Lgt_Spot: a spot light with a smooth cone edge, an angular exponent, inverse-square
// fall-off scaled for scene units, and an optional coloured shadow whose colour may come from a
// map projected from the light. Kind light, no varyings.
// Frame: lightAxis is the spot direction; lightToPoint points from the light to the point.
#include "frame/shader_frame.h"
#include "frame/vec_math.h"
#include "lights/shadow_color_blend.h"

namespace vexakelo {

struct SpotLightParams {
    vyr::Vec3f color{1.0f, 1.0f, 1.0f};
    float hotspot = 0.5f;
    float falloff = 0.5f;
    bool cast_shadows = true;
    vyr::Vec3f integratedColor{1.0f, 1.0f, 1.0f};
    vyr::Vec3f shadowCol{0.0f, 0.0f, 0.0f};
    float intensity = 1.0f;
    float shadowDensity = 1.0f;
    bool useShadowColMap = false;
    bool lightAffectShadowCol = false;
    vyr::TextureHandle shadowColMap{};
    float decay = 1.0f;
    float squareUnitsMultiplier = 1.0f;
};

// clang-format off
inline constexpr ParamDesc kSpotLightTable[] = {
    VEXAKELO_PARAM(SpotLightParams, Vec3f,     "color",                 color),                 // light colour with shadows on
    VEXAKELO_PARAM(SpotLightParams, Float,     "hotspot",               hotspot),               // cosine of the full-intensity half-angle
    VEXAKELO_PARAM(SpotLightParams, Float,     "falloff",               falloff),               // cosine of the outer half-angle
    VEXAKELO_PARAM(SpotLightParams, Bool,      "cast_shadows",          cast_shadows),          // shadow test on or off
    VEXAKELO_PARAM(SpotLightParams, Vec3f,     "integratedColor",       integratedColor),       // colour times intensity, shadows off
    VEXAKELO_PARAM(SpotLightParams, Vec3f,     "shadowCol",             shadowCol),             // colour of the shadow
    VEXAKELO_PARAM(SpotLightParams, Float,     "intensity",             intensity),             // scale of "color", shadows on
    VEXAKELO_PARAM(SpotLightParams, Float,     "shadowDensity",         shadowDensity),         // strength of the shadow
    VEXAKELO_PARAM(SpotLightParams, Bool,      "useShadowColMap",       useShadowColMap),       // shadow colour from the map
    VEXAKELO_PARAM(SpotLightParams, Bool,      "lightAffectShadowCol",  lightAffectShadowCol),  // tint the shadow by the light
    VEXAKELO_PARAM(SpotLightParams, Texture2D, "shadowColMap",          shadowColMap),          // projected shadow-colour map
    VEXAKELO_PARAM(SpotLightParams, Float,     "decay",                 decay),                 // exponent on the cosine off the axis
    VEXAKELO_PARAM(SpotLightParams, Float,     "squareUnitsMultiplier", squareUnitsMultiplier), // factor on the squared distance
};
// clang-format on
static_assert(isOrderedTable<SpotLightParams>(kSpotLightTable));
static_assert(offsetof(SpotLightParams, integratedColor) == 24, "after the bool");
static_assert(offsetof(SpotLightParams, shadowColMap) == 64, "texture handle on 8 bytes");

}  // namespace vexakelo

namespace vyr {

class vexa_kelo_Lgt_Spot final
    : public vexakelo::ShaderFrame<vexa_kelo_Lgt_Spot, LightShader, vexakelo::SpotLightParams> {
public:
    static constexpr std::string_view kName = "vexa_kelo_Lgt_Spot";
    static std::span<const vexakelo::ParamDesc> parameters() { return vexakelo::kSpotLightTable; }

    void shade(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        // Cosine between the spot axis and the direction to the point.
        const float c = dot(state->lightAxis, state->lightToPoint);
        if (c < 0.0f) {
            // Behind the light; lightShadow stays as the host set it.
            state->lightColor = {0.0f, 0.0f, 0.0f};
            return;
        }

        // Cone: nothing on or beyond the falloff cone, powf(c, decay) inside the hotspot,
        // a smoothstep between. With hotspot = falloff the edge is hard.
        float f = 0.0f;
        if (c > params.falloff) {
            f = std::pow(c, params.decay);
            if (params.hotspot > c) {
                const float t = (c - params.falloff) / (params.hotspot - params.falloff);
                f = f * (3.0f - 2.0f * t) * t * t;
            }
            f = f < 0.0f ? 0.0f : (f > 1.0f ? 1.0f : f);
        }

        // Deliberate: no guard on a zero distance.
        const float D = state->lightDistance * state->lightDistance * params.squareUnitsMultiplier;

        if (!params.cast_shadows) {
            const float invD = 1.0f / D;
            state->lightColor = invD * (f * params.integratedColor);
            return;
        }

        const Vec3f S = params.useShadowColMap
                            ? projectedShadowColor(params.shadowColMap, state->lightToPoint)
                            : params.shadowCol;
        const Vec3f B = tracedShadowBlend(context, state, params.color, S,
                                          params.lightAffectShadowCol, params.shadowDensity);
        state->lightColor = B * (f * params.intensity / D);
    }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Lgt_Spot)
