// The per-call record a host and a shader exchange. The host owns it and reads and writes it at
// fixed byte offsets, so every field's place is asserted below.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vyr/types.h"

namespace vyr {

struct ShadingState {
    Vec3f rayOrigin;  // origin of the ray that reached the point
    Vec3f rayDir;     // unit direction of that ray, pointing towards the surface
    Vec3f position;   // the shading point
    Vec3f normal;     // shading normal
    Vec3f geoNormal;  // geometric normal; only the side of rayDir against it matters
    Vec3f texCoord;   // texture coordinate triple of the hit
    std::uint8_t hostPrivate72[40];
    float incidentIor;  // medium a ray entering the surface comes from
    float exitIor;      // medium a ray leaving the surface passes into
    std::uint8_t hostPrivate120[64];
    // Surface space to world space, four columns of four floats.
    float localFrame[16];
    std::uint8_t hostPrivate248[76];
    std::int32_t traceDepth;
    std::int32_t traceDepthLimit;
    std::uint8_t hostPrivate332[4];
    Vec4f outColor;        // result of shade (materials, environments)
    Vec3f shadowTransmit;  // result of shadow
    Vec3f bsdfDir;         // in for evaluateBsdf, out of sampleBsdf: leaves the point
    Vec3f bsdfWeight;      // colour weight; for a sample already divided by bsdfCos
    float bsdfCos;
    float bsdfPdf;
    std::int32_t bsdfLobe;
    std::uint8_t lobeRequest[6];  // 400-402 reflection lobes, 403-405 transmission lobes
    std::uint8_t hostPrivate406[6];
    Vec3f lightPosition;  // light calls: position of the light or of the chosen point on it
    Vec3f lightAxis;      // light calls: spot direction or emitter normal
    Vec3f lightToPoint;   // light calls: unit direction from the light towards position
    float lightDistance;  // light calls: distance between lightPosition and position
    Vec3f lightColor;     // result of a light's shade
    Vec3f lightShadow;    // result of a light's shade: shadow factor applied to lightColor
    std::uint8_t hostPrivate476[4];
    // Varying block: the per-hit attributes the material declared, at 480 + their place.
    Vec3f bitangent;
    Vec3f tangent;
    Vec2f uv;
};

// Byte places of the varyings inside the varying block.
inline constexpr int kVaryingBlockOffset = 480;
inline constexpr int kVaryingBitangent = 0;
inline constexpr int kVaryingTangent = 12;
inline constexpr int kVaryingUv = 24;

static_assert(offsetof(ShadingState, rayOrigin) == 0);
static_assert(offsetof(ShadingState, rayDir) == 12);
static_assert(offsetof(ShadingState, position) == 24);
static_assert(offsetof(ShadingState, normal) == 36);
static_assert(offsetof(ShadingState, geoNormal) == 48);
static_assert(offsetof(ShadingState, texCoord) == 60);
static_assert(offsetof(ShadingState, incidentIor) == 112);
static_assert(offsetof(ShadingState, exitIor) == 116);
static_assert(offsetof(ShadingState, localFrame) == 184);
static_assert(offsetof(ShadingState, traceDepth) == 324);
static_assert(offsetof(ShadingState, traceDepthLimit) == 328);
static_assert(offsetof(ShadingState, outColor) == 336);
static_assert(offsetof(ShadingState, shadowTransmit) == 352);
static_assert(offsetof(ShadingState, bsdfDir) == 364);
static_assert(offsetof(ShadingState, bsdfWeight) == 376);
static_assert(offsetof(ShadingState, bsdfCos) == 388);
static_assert(offsetof(ShadingState, bsdfPdf) == 392);
static_assert(offsetof(ShadingState, bsdfLobe) == 396);
static_assert(offsetof(ShadingState, lobeRequest) == 400);
static_assert(offsetof(ShadingState, lightPosition) == 412);
static_assert(offsetof(ShadingState, lightAxis) == 424);
static_assert(offsetof(ShadingState, lightToPoint) == 436);
static_assert(offsetof(ShadingState, lightDistance) == 448);
static_assert(offsetof(ShadingState, lightColor) == 452);
static_assert(offsetof(ShadingState, lightShadow) == 464);
static_assert(offsetof(ShadingState, bitangent) == kVaryingBlockOffset + kVaryingBitangent);
static_assert(offsetof(ShadingState, tangent) == kVaryingBlockOffset + kVaryingTangent);
static_assert(offsetof(ShadingState, uv) == kVaryingBlockOffset + kVaryingUv);
static_assert(sizeof(ShadingState) == 512);
static_assert(alignof(ShadingState) == 4);

}  // namespace vyr
