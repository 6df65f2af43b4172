#include "lights/shadow_color_blend.h"

#include <cmath>

namespace vexakelo {
namespace {

// Focal scale of the projected map: 0.5 / tan(0.5), a field of 0.5 radian half-height.
const float kProjectionScale = 0.5f / std::tan(0.5f);

float blendChannel(float s, float L, float S, bool affect, float a) {
    if (!(a >= 0.0f)) {
        return affect ? (s * S + 1.0f) * L : s * S + L;
    }
    if (a <= 1.0f) {
        return affect ? ((1.0f - s) + s * S) * L : (1.0f - s) * L + s * S;
    }
    return affect ? s * L * S : s * S;
}

}  // namespace

vyr::Vec3f shadowColorBlend(vyr::Vec3f T, vyr::Vec3f L, vyr::Vec3f S, bool affect, float density) {
    // Shadow amount per channel: 0 where fully lit.
    const float sr = (1.0f - T.x) * density;
    const float sg = (1.0f - T.y) * density;
    const float sb = (1.0f - T.z) * density;
    // Deliberate: the average uses the float 0.333, not a third, and only chooses the regime;
    // each channel then blends with its own amount. Above 1 (a density over 1 in deep shadow)
    // the light colour drops out entirely unless it tints the shadow.
    const float a = (sr + sg + sb) * 0.333f;
    return {blendChannel(sr, L.x, S.x, affect, a), blendChannel(sg, L.y, S.y, affect, a),
            blendChannel(sb, L.z, S.z, affect, a)};
}

vyr::Vec3f tracedShadowBlend(vyr::ShadingContext* context, vyr::ShadingState* state, vyr::Vec3f L,
                             vyr::Vec3f S, bool affect, float density) {
    vyr::Vec3f scratch;
    const vyr::Vec3f T = *context->traceShadow(&scratch, &state->position, &state->lightPosition);
    state->lightShadow = T;
    const vyr::Vec3f B = shadowColorBlend(T, L, S, affect, density);
    // The host must not apply the shadow a second time.
    state->lightShadow = {1.0f, 1.0f, 1.0f};
    return B;
}

vyr::Vec3f sampleShadowColor(const vyr::TextureHandle& map, vyr::Vec2f uv) {
    // Deliberate: an empty map gives black, not the "shadowCol" parameter.
    vyr::Vec4f texel{0.0f, 0.0f, 0.0f, 1.0f};
    if (const vyr::Texture* const texture = map.get(); texture != nullptr) {
        texture->sample(&texel, &uv);
    }
    return {texel.x, texel.y, texel.z};
}

vyr::Vec3f projectedShadowColor(const vyr::TextureHandle& map, vyr::Vec3f d) {
    const float k = kProjectionScale;
    // No guard for d.z = 0: the host's sampling receives the infinite coordinates.
    const float u = (-k * d.x) / d.z + 0.5f;
    const float v = 1.0f - ((d.y * k) / d.z + 0.5f);
    return sampleShadowColor(map, {u, v});
}

vyr::Vec3f faceShadowColor(const vyr::TextureHandle& map, vyr::Vec3f d) {
    const float ax = std::fabs(d.x);
    const float ay = std::fabs(d.y);
    const float az = std::fabs(d.z);
    // Face by the largest component; ties fall to the later axis.
    vyr::Vec3f p;
    if (ax > ay && ax > az) {
        p = d.x >= 0.0f ? vyr::Vec3f{d.z, d.y, -d.x} : vyr::Vec3f{-d.z, d.y, d.x};
    } else if (ax <= ay && ay > az) {
        p = d.y >= 0.0f ? vyr::Vec3f{d.x, d.z, -d.y} : vyr::Vec3f{d.x, -d.z, d.y};
    } else {
        p = d.z >= 0.0f ? vyr::Vec3f{-d.x, d.y, -d.z} : vyr::Vec3f{d.x, d.y, d.z};
    }
    const float u = -0.5f * (p.x / p.z) + 0.5f;
    const float w = 0.5f * (p.y / p.z) + 0.5f;
    return sampleShadowColor(map, {u, 1.0f - w});
}

}  // namespace vexakelo
