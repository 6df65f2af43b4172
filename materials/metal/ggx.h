// The anisotropic Trowbridge-Reitz (GGX) microfacet lobe in a local frame whose x axis carries
// alphaX, y alphaY and z the lobe's normal: the distribution, the height-correlated masking
// and shadowing, the reflection BSDF, and sampling of the normals visible from V (Heitz, "Sampling
// the GGX Distribution of Visible Normals", 2018) with the density of the reflected direction.
// Functions take unit vectors; callers keep V and L above the lobe's normal.
#pragma once

#include <cmath>

#include "frame/constants.h"
#include "frame/vec_math.h"

namespace vexakelo::metal {

struct Ggx {
    float alphaX;
    float alphaY;
};

// D(h) = 1 / (pi ax ay (hx^2/ax^2 + hy^2/ay^2 + hz^2)^2).
inline float ggxD(const Ggx& g, Vec3f h) {
    const float x = h.x / g.alphaX;
    const float y = h.y / g.alphaY;
    const float s = x * x + y * y + h.z * h.z;
    return 1.0f / (kPi * g.alphaX * g.alphaY * (s * s));
}

// Lambda(w) = (sqrt(1 + (ax^2 wx^2 + ay^2 wy^2) / wz^2) - 1) / 2.
inline float ggxLambda(const Ggx& g, Vec3f w) {
    const float x = g.alphaX * w.x;
    const float y = g.alphaY * w.y;
    return 0.5f * (std::sqrt(1.0f + (x * x + y * y) / (w.z * w.z)) - 1.0f);
}

inline float ggxG1(const Ggx& g, Vec3f w) {
    return 1.0f / (1.0f + ggxLambda(g, w));
}

// Height-correlated masking-shadowing G2 = 1 / (1 + Lambda(V) + Lambda(L)).
inline float ggxG2(const Ggx& g, Vec3f V, Vec3f L) {
    return 1.0f / (1.0f + ggxLambda(g, V) + ggxLambda(g, L));
}

// D G2 / (4 Vz Lz): the reflection BSDF without its Fresnel factor. 0 unless both V and L lie
// strictly above the normal.
inline float ggxReflection(const Ggx& g, Vec3f V, Vec3f L) {
    if (!(V.z > 0.0f && L.z > 0.0f)) {
        return 0.0f;
    }
    const Vec3f h = normalize(V + L);
    return ggxD(g, h) * ggxG2(g, V, L) / (4.0f * V.z * L.z);
}

// Density per solid angle of L when h is drawn from the visible normals of V and V is mirrored
// about it: G1(V) D(h) / (4 Vz). 0 for L at or below the horizon (such samples are rejected).
inline float ggxReflectionPdf(const Ggx& g, Vec3f V, Vec3f L) {
    if (!(V.z > 0.0f && L.z > 0.0f)) {
        return 0.0f;
    }
    const Vec3f h = normalize(V + L);
    return ggxG1(g, V) * ggxD(g, h) / (4.0f * V.z);
}

// A microfacet normal visible from V (Vz > 0) from two uniform numbers: stretch V to the
// hemisphere configuration, sample the projected disk with the half warped by the view, lift
// the point onto the hemisphere and unstretch.
inline Vec3f sampleVisibleNormal(const Ggx& g, Vec3f V, float u1, float u2) {
    const Vec3f Vh = normalize(Vec3f{g.alphaX * V.x, g.alphaY * V.y, V.z});
    const float lensq = Vh.x * Vh.x + Vh.y * Vh.y;
    const Vec3f T1 = lensq > 0.0f ? Vec3f{-Vh.y, Vh.x, 0.0f} / std::sqrt(lensq)
                                  : Vec3f{1.0f, 0.0f, 0.0f};
    const Vec3f T2 = cross(Vh, T1);
    const float r = std::sqrt(u1);
    const float phi = kTwoPi * u2;
    const float t1 = r * std::cos(phi);
    const float s = 0.5f * (1.0f + Vh.z);
    const float t2 = (1.0f - s) * std::sqrt(1.0f - t1 * t1) + s * (r * std::sin(phi));
    const float lift = std::sqrt(std::fmax(0.0f, 1.0f - t1 * t1 - t2 * t2));
    const Vec3f Nh = t1 * T1 + t2 * T2 + lift * Vh;
    return normalize(Vec3f{g.alphaX * Nh.x, g.alphaY * Nh.y, std::fmax(1e-7f, Nh.z)});
}

// V mirrored about h.
inline Vec3f reflectAbout(Vec3f V, Vec3f h) {
    return (2.0f * dot(V, h)) * h - V;
}

}  // namespace vexakelo::metal
