// Thin-film interference over a base of complex index, after Belcour and Barla, "A Practical
// Extension to Microfacet Theory for the Modeling of Varying Iridescence" (2017): the Airy sum of
// the light bouncing inside a dielectric film, its first orders integrated against the eye's
// colour matching functions in closed form (Gaussian fits of the sensitivities in Fourier space),
// so three channels carry the colour of the whole spectrum without sampling wavelengths.
//
// Per polarisation: R12 = r12^2 at the air/film interface (real), R23 = |r23|^2 and its phase at
// the film/base interface, T = 1 - R12, rho = sqrt(R12 R23), Rs = T^2 R23 / (1 - R12 R23);
// I = R12 + Rs + sum_{m=1..3} 2 (Rs - T) rho^m S(m OPD, m phi), with OPD = 2 d u2 the optical path
// difference and phi the phase of r21 r23 (r21 = -r12). The two polarisations are averaged.
#pragma once

#include <cmath>

#include "materials/metal/optics.h"

namespace vexakelo::metal {

namespace film_detail {

// The four Gaussian terms of the sensitivity fit (two for x, one each for y and z): frequency in
// radians per nm of path difference and decay per nm^2 (the published position and variance,
// times 2 pi 1e-9 and its square).
inline constexpr float kOmega[4] = {0.01056203f, 0.01407371f, 0.0112802f, 0.01387579f};
inline constexpr float kDecay[4] = {1.708547e-07f, 1.787662e-07f, 3.673309e-07f, 2.610352e-07f};

// XYZ to linear sRGB applied to the terms' weights, each row divided by the channel's value at
// zero path difference: a film adds colour by interference only, a vanishing path changes nothing
// (white stays white, not the XYZ white point's tint).
// clang-format off
inline constexpr float kToRgb[3][4] = {
    { 2.275931f,   0.413652f,    -1.275526f,  -0.4140567f },
    {-0.8652895f, -0.157267f,     1.978687f,   0.04386986f},
    { 0.05176555f, 0.009408423f, -0.2242517f,  1.163078f  },
};
// clang-format on

// The sensitivity at path difference D, as the in-phase and quadrature parts per channel:
// S(D, psi) = cos(psi) * cosPart - sin(psi) * sinPart.
struct Sensitivity {
    float cosPart[3];
    float sinPart[3];
};

inline Sensitivity sensitivity(float D) {
    float c[4];
    float s[4];
    for (int j = 0; j < 4; ++j) {
        const float a = std::exp(-kDecay[j] * D * D);
        const float w = kOmega[j] * D;
        c[j] = a * std::cos(w);
        s[j] = a * std::sin(w);
    }
    Sensitivity out;
    for (int ch = 0; ch < 3; ++ch) {
        const float* m = kToRgb[ch];
        out.cosPart[ch] = m[0] * c[0] + m[1] * c[1] + m[2] * c[2] + m[3] * c[3];
        out.sinPart[ch] = m[0] * s[0] + m[1] * s[1] + m[2] * s[2] + m[3] * s[3];
    }
    return out;
}

// One polarisation, one channel.
inline float airyTerm(float r12, Complex r23, const Sensitivity (&S)[3], int ch) {
    const float R12 = r12 * r12;
    const float R23 = norm2(r23);
    const float T = 1.0f - R12;
    const float rho = std::sqrt(R12 * R23);
    const float Rs = T * T * R23 / (1.0f - R12 * R23);
    float I = R12 + Rs;
    if (!(R23 > 0.0f)) {
        return I;
    }
    // e^{i phi} = -sign(r12) r23 / |r23|; its powers give cos(m phi) and sin(m phi).
    const float k = (r12 < 0.0f ? 1.0f : -1.0f) / std::sqrt(R23);
    const Complex z{k * r23.re, k * r23.im};
    Complex zm = z;
    float Cm = Rs - T;
    for (int m = 0; m < 3; ++m) {
        Cm = Cm * rho;
        const float s = zm.re * S[m].cosPart[ch] - zm.im * S[m].sinPart[ch];
        I = I + 2.0f * Cm * s;
        zm = zm * z;
    }
    return I;
}

}  // namespace film_detail

// Reflectance from air of a film of thickness d (nm) and index filmIor (raised to at least 1)
// over a base eta + i kappa, at cosine mu, clamped to [0, 1]. d = 0 is not special-cased here
// (the truncated sum is then within a few thousandths of the bare base); callers that must give
// the bare base exactly skip the film.
inline Vec3f airyReflectance(float mu, float d, float filmIor, const ConductorIor& base) {
    using namespace film_detail;
    const float eta2 = std::fmax(filmIor, 1.0f);
    const float e2 = eta2 * eta2;
    const float s2 = 1.0f - mu * mu;
    const float u2 = std::sqrt(e2 - s2);
    const float r12s = (mu - u2) / (mu + u2);
    const float r12p = (e2 * mu - u2) / (e2 * mu + u2);
    const float opd = 2.0f * d * u2;
    const Sensitivity S[3] = {sensitivity(opd), sensitivity(2.0f * opd), sensitivity(3.0f * opd)};

    const float eta[3] = {base.eta.x, base.eta.y, base.eta.z};
    const float kappa[3] = {base.kappa.x, base.kappa.y, base.kappa.z};
    float out[3];
    for (int ch = 0; ch < 3; ++ch) {
        const Complex n2{eta[ch] * eta[ch] - kappa[ch] * kappa[ch], 2.0f * eta[ch] * kappa[ch]};
        const Complex u3 = complexSqrt({n2.re - s2, n2.im});
        const Complex a{u2, 0.0f};
        const Complex r23s = divide(a - u3, a + u3);
        const Complex n2u2 = u2 * n2;
        const Complex e2u3 = e2 * u3;
        const Complex r23p = divide(n2u2 - e2u3, n2u2 + e2u3);
        const float I = 0.5f * (airyTerm(r12s, r23s, S, ch) + airyTerm(r12p, r23p, S, ch));
        out[ch] = std::fmin(1.0f, std::fmax(0.0f, I));
    }
    return {out[0], out[1], out[2]};
}

}  // namespace vexakelo::metal
