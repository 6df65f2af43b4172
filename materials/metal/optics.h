// Reflectance of smooth interfaces: the exact Fresnel equations of a dielectric or a conductor
// with a complex index per channel, and the artist mapping from a colour at normal incidence and
// an edge tint to that complex index. Everything is single precision, on a minimal complex type
// (std::complex<float> divides through a guarded slow path this code never needs).
//
// Conventions: the light comes from air (index 1); `mu` is the cosine of the incident angle,
// taken in (0, 1]; r_s and r_p use the same sign rule at every interface, so that phases of
// stacked interfaces (thin films) combine consistently.
#pragma once

#include <cmath>

#include "frame/vec_math.h"

namespace vexakelo::metal {

struct Complex {
    float re;
    float im;
};

inline Complex operator+(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
inline Complex operator-(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
inline Complex operator*(Complex a, Complex b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
inline Complex operator*(float s, Complex a) { return {s * a.re, s * a.im}; }
inline float norm2(Complex a) { return a.re * a.re + a.im * a.im; }

// a / b by the conjugate; b is never zero for the interfaces below.
inline Complex divide(Complex a, Complex b) {
    const float d = 1.0f / norm2(b);
    return {(a.re * b.re + a.im * b.im) * d, (a.im * b.re - a.re * b.im) * d};
}

// The principal square root (real part >= 0; the imaginary part takes the sign of z's, so a
// conductor's wave decays into the metal).
inline Complex complexSqrt(Complex z) {
    const float r = std::sqrt(z.re * z.re + z.im * z.im);
    const float re = std::sqrt(std::fmax(0.0f, 0.5f * (r + z.re)));
    const float im = std::sqrt(std::fmax(0.0f, 0.5f * (r - z.re)));
    return {re, std::copysign(im, z.im)};
}

// A conductor's index eta + i kappa, one pair per colour channel.
struct ConductorIor {
    Vec3f eta;
    Vec3f kappa;
};

// Unpolarised reflectance from air onto eta + i kappa at cosine mu:
// u_b = sqrt(n^2 - (1 - mu^2)), r_s = (mu - u_b)/(mu + u_b), r_p = (n^2 mu - u_b)/(n^2 mu + u_b),
// F = (|r_s|^2 + |r_p|^2) / 2. Only the magnitudes are needed, so no complex division.
inline float conductorFresnel(float mu, float eta, float kappa) {
    const float s2 = 1.0f - mu * mu;
    const Complex n2{eta * eta - kappa * kappa, 2.0f * eta * kappa};
    const Complex ub = complexSqrt({n2.re - s2, n2.im});
    const Complex a{mu, 0.0f};
    const float rs = norm2(a - ub) / norm2(a + ub);
    const Complex n2mu = mu * n2;
    const float rp = norm2(n2mu - ub) / norm2(n2mu + ub);
    return 0.5f * (rs + rp);
}

inline Vec3f conductorFresnel(float mu, const ConductorIor& n) {
    return {conductorFresnel(mu, n.eta.x, n.kappa.x), conductorFresnel(mu, n.eta.y, n.kappa.y),
            conductorFresnel(mu, n.eta.z, n.kappa.z)};
}

// Unpolarised reflectance from air onto a dielectric of index eta >= 1 (no total internal
// reflection from this side).
inline float dielectricFresnel(float mu, float eta) {
    const float ub = std::sqrt(eta * eta - (1.0f - mu * mu));
    const float rs = (mu - ub) / (mu + ub);
    const float e2mu = eta * eta * mu;
    const float rp = (e2mu - ub) / (e2mu + ub);
    return 0.5f * (rs * rs + rp * rp);
}

// Schlick's curve for a colour F0 at normal incidence.
inline Vec3f schlickFresnel(float mu, Vec3f f0) {
    const float x = 1.0f - std::fmin(1.0f, std::fmax(0.0f, mu));
    const float x2 = x * x;
    const float x5 = x2 * x2 * x;
    return {f0.x + (1.0f - f0.x) * x5, f0.y + (1.0f - f0.y) * x5, f0.z + (1.0f - f0.z) * x5};
}

// The artist mapping (Gulbrandsen 2014) of one channel: reflectivity r at normal incidence and
// edge tint g to eta + i kappa. eta moves between the index that gives r with kappa = 0 (g = 1,
// the most saturated edge) and the largest index that can still give r (g = 0); kappa is then
// whatever makes the exact Fresnel at normal incidence equal r, so r is reproduced exactly.
inline void artistChannel(float f0, float tint, float& eta, float& kappa) {
    const float r = std::fmin(0.99f, std::fmax(0.0f, f0));
    const float g = std::fmin(1.0f, std::fmax(0.0f, tint));
    const float sr = std::sqrt(r);
    eta = g * (1.0f - r) / (1.0f + r) + (1.0f - g) * (1.0f + sr) / (1.0f - sr);
    const float k2 = ((eta + 1.0f) * (eta + 1.0f) * r - (eta - 1.0f) * (eta - 1.0f)) / (1.0f - r);
    kappa = std::sqrt(std::fmax(0.0f, k2));
}

inline ConductorIor artistConductor(Vec3f f0, Vec3f edgeTint) {
    ConductorIor n;
    artistChannel(f0.x, edgeTint.x, n.eta.x, n.kappa.x);
    artistChannel(f0.y, edgeTint.y, n.eta.y, n.kappa.y);
    artistChannel(f0.z, edgeTint.z, n.eta.z, n.kappa.z);
    return n;
}

// Rec. 709 luminance of a colour.
inline float luminance(Vec3f c) {
    return 0.2126f * c.x + 0.7152f * c.y + 0.0722f * c.z;
}

}  // namespace vexakelo::metal
