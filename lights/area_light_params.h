// The parameter set shared by the sphere and diffuse lights: one struct, one table, so both
// declare and copy the same ten fields in the same order. Only the "cast_shadows" default
// differs, and each light sets its own in its constructor.
#pragma once

#include "frame/parameter_table.h"
#include "lights/shadow_color_blend.h"

namespace vexakelo {

struct AreaLightParams {
    vyr::Vec3f color{1.0f, 1.0f, 1.0f};
    vyr::Vec3f integratedColor{1.0f, 1.0f, 1.0f};
    bool cast_shadows = true;
    vyr::Vec3f shadowCol{0.0f, 0.0f, 0.0f};
    float intensity = 1.0f;
    float shadowDensity = 1.0f;
    bool useShadowColMap = false;
    bool lightAffectShadowCol = false;
    vyr::TextureHandle shadowColMap{};
    float squareUnitsMultiplier = 1.0f;
};

// clang-format off
inline constexpr ParamDesc kAreaLightTable[] = {
    VEXAKELO_PARAM(AreaLightParams, Vec3f,     "color",                 color),                 // light colour with shadows on
    VEXAKELO_PARAM(AreaLightParams, Vec3f,     "integratedColor",       integratedColor),       // colour times intensity, shadows off
    VEXAKELO_PARAM(AreaLightParams, Bool,      "cast_shadows",          cast_shadows),          // shadow test on or off
    VEXAKELO_PARAM(AreaLightParams, Vec3f,     "shadowCol",             shadowCol),             // colour of the shadow
    VEXAKELO_PARAM(AreaLightParams, Float,     "intensity",             intensity),             // scale of "color", shadows on
    VEXAKELO_PARAM(AreaLightParams, Float,     "shadowDensity",         shadowDensity),         // strength of the shadow
    VEXAKELO_PARAM(AreaLightParams, Bool,      "useShadowColMap",       useShadowColMap),       // shadow colour from the map
    VEXAKELO_PARAM(AreaLightParams, Bool,      "lightAffectShadowCol",  lightAffectShadowCol),  // tint the shadow by the light
    VEXAKELO_PARAM(AreaLightParams, Texture2D, "shadowColMap",          shadowColMap),          // six-face shadow-colour map
    VEXAKELO_PARAM(AreaLightParams, Float,     "squareUnitsMultiplier", squareUnitsMultiplier), // factor on the squared distance
};
// clang-format on
static_assert(isOrderedTable<AreaLightParams>(kAreaLightTable));
static_assert(offsetof(AreaLightParams, shadowCol) == 28, "after the bool");
static_assert(offsetof(AreaLightParams, shadowColMap) == 56, "texture handle on 8 bytes");

// The shadowed light colour both area lights share: the shadow colour (from the six-face map or
// "shadowCol"), the traced transmittance, and the blend; lightShadow ends as (1, 1, 1).
inline vyr::Vec3f shadowedAreaColor(const AreaLightParams& params, vyr::ShadingContext* context,
                                    vyr::ShadingState* state) {
    const vyr::Vec3f S = params.useShadowColMap
                             ? faceShadowColor(params.shadowColMap, state->lightToPoint)
                             : params.shadowCol;
    return tracedShadowBlend(context, state, params.color, S, params.lightAffectShadowCol,
                             params.shadowDensity);
}

}  // namespace vexakelo
