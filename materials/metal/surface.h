// Small pieces the two metal materials share: the facing lobe frame, smoothstep, the lobe pick
// of a sampler, and the improved Oren-Nayar diffuse of the Metal's patina.
#pragma once

#include <cmath>

#include "frame/constants.h"
#include "materials/material_frame.h"

namespace vexakelo::metal {

inline float smoothstep(float e0, float e1, float x) {
    const float t = clampUnit((x - e0) / (e1 - e0));
    return t * t * (3.0f - 2.0f * t);
}

// The frame turned to the viewer's side: N flipped by the facing sign s (Nf = -s N), T kept and
// B rebuilt so that (T, B, Nf) stays right-handed. A grazing hit (s = 0) keeps the frame as it
// is; its lobes are then gated off by the geometric side test.
inline ShadingFrame facingFrame(const ShadingFrame& f, float s) {
    if (!(s > 0.0f)) {
        return f;
    }
    const Vec3f N = -f.N;
    return {f.T, cross(N, f.T), N};
}

// Diffuse reflection of a rough matte layer (Fujii's improvement of the Oren-Nayar model):
// (1/pi) (A + B s / t), s = L.V - Lz Vz, t = max(Lz, Vz) when s > 0 else 1, A = 1 / (1 + c sigma),
// B = sigma A, c = (pi/2 - 2/3) / pi. Symmetric in V and L; sigma = 0 is Lambert. Without the albedo.
inline float roughDiffuse(Vec3f V, Vec3f L, float sigma) {
    constexpr float kC = 0.2877934f;  // (pi/2 - 2/3) / pi
    const float A = 1.0f / (1.0f + kC * sigma);
    const float s = dot(L, V) - L.z * V.z;
    const float t = s > 0.0f ? std::fmax(L.z, V.z) : 1.0f;
    return kInvPi * (A + sigma * A * s / t);
}

// The lobe a sampler uses, chosen with probability proportional to the weights; random1 is
// drawn only when more than one weight is positive. Returns the index, or -1 when all are 0.
template <int kCount>
int pickLobe(vyr::ShadingContext* context, const float (&w)[kCount], float& total) {
    total = 0.0f;
    int positive = 0;
    int only = -1;
    for (int i = 0; i < kCount; ++i) {
        if (w[i] > 0.0f) {
            total = total + w[i];
            ++positive;
            only = i;
        }
    }
    if (positive <= 1) {
        return only;
    }
    const float x = context->random1() * total;
    float run = 0.0f;
    for (int i = 0; i < kCount; ++i) {
        if (w[i] > 0.0f) {
            run = run + w[i];
            if (x < run) {
                return i;
            }
        }
    }
    return only;  // x rounded up to the total: the last positive lobe
}

}  // namespace vexakelo::metal
