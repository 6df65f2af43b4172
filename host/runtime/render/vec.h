// Vector arithmetic for the renderer's own geometry (the host side; the shader library has its
// own). Single precision throughout.
#pragma once

#include <cmath>

#include "vyr/types.h"

namespace vkrender {

using vyr::Vec2f;
using vyr::Vec3f;

inline Vec3f operator+(Vec3f a, Vec3f b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vec3f operator-(Vec3f a, Vec3f b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec3f operator-(Vec3f a) {
    return {-a.x, -a.y, -a.z};
}
inline Vec3f operator*(Vec3f a, float s) {
    return {a.x * s, a.y * s, a.z * s};
}
inline Vec3f operator*(float s, Vec3f a) {
    return {a.x * s, a.y * s, a.z * s};
}
inline Vec3f operator*(Vec3f a, Vec3f b) {
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}
inline Vec3f& operator+=(Vec3f& a, Vec3f b) {
    return a = a + b;
}
inline float dot(Vec3f a, Vec3f b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vec3f cross(Vec3f a, Vec3f b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline float length(Vec3f a) {
    return std::sqrt(dot(a, a));
}
inline Vec3f normalize(Vec3f a) {
    const float l = length(a);
    return l > 0.0f ? a * (1.0f / l) : a;
}
// max(a, b) for numbers that are not NaN, without the library call std::fmax makes.
inline float maxf(float a, float b) {
    return a > b ? a : b;
}
// std::fmax and std::fmin to the bit, NaN handling included (a quiet NaN gives the other value;
// two give the first), inline: the library calls they replace sat on every ray's offset.
inline float fmaxExact(float a, float b) {
    return a > b || b != b ? a : b;
}
inline float fminExact(float a, float b) {
    return a < b || b != b ? a : b;
}
inline float maxComponent(Vec3f a) {
    return fmaxExact(a.x, fmaxExact(a.y, a.z));
}

// Two unit vectors completing n to a right-handed orthonormal frame (t, b, n).
inline void orthonormalBasis(Vec3f n, Vec3f& t, Vec3f& b) {
    const float sign = std::copysign(1.0f, n.z);
    const float a = -1.0f / (sign + n.z);
    const float c = n.x * n.y * a;
    t = {1.0f + sign * n.x * n.x * a, sign * c, -sign * n.x};
    b = {c, sign + n.y * n.y * a, -n.y};
}

}  // namespace vkrender
