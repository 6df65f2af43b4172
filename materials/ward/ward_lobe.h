// The anisotropic Ward lobe and the small curves around it. Plain functions of local vectors in
// the frame (T, B, N) — x along T, y along B, z along N — shared by evaluation, sampling and shade,
// so the three slots cannot drift apart. D points towards the surface (D.z < 0), L away from it.
#pragma once

#include <cmath>

#include "frame/constants.h"
#include "frame/vec_math.h"

namespace vexakelo {

inline constexpr float kFourPi = 12.566372f;

// The map holds a glossiness, turned into a roughness by three pieces that do not meet.
// Deliberate: the jumps at t = 0.5 (0.2155 against 0.1991) and t = 0.9 (0.6993 against 0.7) are
// the curve, not to be smoothed.
inline float glossinessToRoughness(float g) {
    const float x = g < 0.0f ? 0.0f : (g > 1.0f ? 1.0f : g);
    const float t = 1.0f - x;
    if (t < 0.5f) {
        return t * 1.11078f * t - t * 0.225494f + 0.0505339f;
    }
    if (t >= 0.9f) {
        return (t - 0.9f) * 3.0f + 0.7f;
    }
    return t * 24.1745f * t * t - t * 45.6128f * t + t * 28.605f - 5.72202f;
}

// The refraction glossiness of a mapped value: 1 near 0, 0.0001 near 1, an exponential between.
inline float refractGlossySpread(float g) {
    if (std::fabs(g) <= 0.01f) {
        return 1.0f;
    }
    if (std::fabs(g - 1.0f) < 0.01f) {
        return 0.0001f;
    }
    const float s = 0.8082f * std::exp(-4.956f * g);
    return s < 0.0001f ? 0.0001f : (s > 1.0f ? 1.0f : s);
}

// The lobe's two factors; a colour is weighted as (Cs * k) * e, channel by channel.
struct WardLobe {
    float k;
    float e;
};

// The lobe for directions with L.z > 0 and D.z < 0: the unnormalised half vector H = L - D,
// e = exp(-((hB/ay)^2 + (hT/ax)^2) / hN^2), k = 1 / (4 pi ax ay sqrt(-D.z L.z)).
inline WardLobe wardLobe(Vec3f D, Vec3f L, float ax, float ay) {
    const float hT = L.x - D.x;
    const float hB = L.y - D.y;
    const float hN = L.z - D.z;
    const float b = hB / ay;
    const float t = hT / ax;
    const float e = std::exp(-(b * b + t * t) / (hN * hN));
    const float k = 1.0f / (kFourPi * ax * ay * std::sqrt(-D.z * L.z));
    return {k, e};
}

// The density with which sampleWardLobe produces L (per solid angle), from the normalised half
// vector: e / (4 pi ax ay (H.(-D)) cos^3(theta_h)).
inline float wardLobePdf(Vec3f D, Vec3f L, float ax, float ay) {
    const Vec3f H = normalize(L - D);
    const float b = H.y / ay;
    const float t = H.x / ax;
    const float e = std::exp(-(b * b + t * t) / (H.z * H.z));
    const float n = ax * kFourPi * ay;
    const float d = dot(D, H);
    return e / (n * -d * (H.z * H.z) * H.z);
}

struct WardLobeSample {
    bool valid;   // false when the mirrored direction falls below the surface
    Vec3f L;      // local direction, L.z > 0 when valid
    WardLobe lobe;  // k, and w standing for the exponential
    float pdf;    // density per solid angle
};

// Half-vector sampling of the lobe from two uniform numbers.
inline WardLobeSample sampleWardLobe(Vec3f D, float ax, float ay, float u1, float u2) {
    const float phi0 = kTwoPi * u1;
    const float s = std::sin(phi0);
    const float c = std::cos(phi0);
    const float t = (s * ay) / (c * ax);
    const float cos2Phi = std::fmin(1.0f, 1.0f / (t * t + 1.0f));
    const float sin2Phi = 1.0f - cos2Phi;
    const float cosPhi = std::copysign(std::sqrt(cos2Phi), c);
    const float sinPhi = std::copysign(std::sqrt(sin2Phi), s);

    const float w = 1.0f - u2;
    const float cos2Theta =
        std::fmin(1.0f, 1.0f / (-std::log(w) / (cos2Phi / (ax * ax) + sin2Phi / (ay * ay)) + 1.0f));
    const float cosTheta = std::sqrt(cos2Theta);
    const float sinTheta = std::sqrt(1.0f - cos2Theta);

    const Vec3f H{sinTheta * cosPhi, sinTheta * sinPhi, cosTheta};
    const float d = dot(D, H);
    const Vec3f L = D - (2.0f * d) * H;
    if (L.z <= 0.0f) {
        return {false, L, {0.0f, 0.0f}, 0.0f};
    }
    // w is the exponential of the lobe at this half vector, so no exp is evaluated.
    const float n = ax * kFourPi * ay;
    const float k = 1.0f / (std::sqrt(-D.z * L.z) * n);
    const float pdf = w / (n * -d * cos2Theta * cosTheta);
    return {true, L, {k, w}, pdf};
}

}  // namespace vexakelo
