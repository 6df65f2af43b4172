// The coloured shadow shared by the spot, photometric web, sphere and diffuse lights: the blend
// that turns a shadow transmittance into tinted light, and the two ways a light projects its
// shadow-colour map (a fixed-field projection along the light's view, and a six-face look-up).
#pragma once

#include "vyr/vyr.h"

namespace vexakelo {

// Tints the light colour L by the shadow colour S where the transmittance T says the point is
// shadowed. `affect` multiplies the shadow colour by the light colour ("lightAffectShadowCol");
// `density` scales the shadow amount ("shadowDensity").
vyr::Vec3f shadowColorBlend(vyr::Vec3f T, vyr::Vec3f L, vyr::Vec3f S, bool affect, float density);

// The shadowed light of the coloured-shadow lights: traces the shadow ray from position to
// lightPosition and blends L towards S by its transmittance. lightShadow ends as (1, 1, 1): the
// shadow is inside the result, which the caller scales by its fall-off into lightColor.
vyr::Vec3f tracedShadowBlend(vyr::ShadingContext* context, vyr::ShadingState* state, vyr::Vec3f L,
                             vyr::Vec3f S, bool affect, float density);

// The rgb of the map at uv, or black when the handle holds no texture.
vyr::Vec3f sampleShadowColor(const vyr::TextureHandle& map, vyr::Vec2f uv);

// Shadow colour projected from the light along d (lightToPoint) with a fixed half-height of 0.5
// radian; used by the spot and photometric web lights.
vyr::Vec3f projectedShadowColor(const vyr::TextureHandle& map, vyr::Vec3f d);

// Shadow colour looked up on the face of a cube that d (lightToPoint) points at; all six faces
// share the one texture square. Used by the sphere and diffuse lights.
vyr::Vec3f faceShadowColor(const vyr::TextureHandle& map, vyr::Vec3f d);

}  // namespace vexakelo
