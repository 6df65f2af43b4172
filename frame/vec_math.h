// Small single-precision vector helpers. Each operation evaluates left to right exactly as
// written, so results match formulas spelled component by component.
#pragma once

#include <cmath>

#include "vyr/types.h"

namespace vyr {

inline Vec3f operator+(Vec3f a, Vec3f b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline Vec3f operator-(Vec3f a, Vec3f b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline Vec3f operator-(Vec3f a) { return {-a.x, -a.y, -a.z}; }
inline Vec3f operator*(Vec3f a, float s) { return {a.x * s, a.y * s, a.z * s}; }
inline Vec3f operator*(float s, Vec3f a) { return {s * a.x, s * a.y, s * a.z}; }
inline Vec3f operator/(Vec3f a, float s) { return {a.x / s, a.y / s, a.z / s}; }
inline bool operator==(Vec3f a, Vec3f b) { return a.x == b.x && a.y == b.y && a.z == b.z; }
inline bool operator==(Vec2f a, Vec2f b) { return a.x == b.x && a.y == b.y; }
inline bool operator==(Vec4f a, Vec4f b) {
    return a.x == b.x && a.y == b.y && a.z == b.z && a.w == b.w;
}

}  // namespace vyr

namespace vexakelo {

using vyr::Vec2f;
using vyr::Vec3f;
using vyr::Vec4f;

// Channel-by-channel product (colours).
inline Vec3f mul(Vec3f a, Vec3f b) { return {a.x * b.x, a.y * b.y, a.z * b.z}; }
inline float dot(Vec3f a, Vec3f b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline Vec3f cross(Vec3f a, Vec3f b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline float length(Vec3f a) { return std::sqrt(dot(a, a)); }
inline Vec3f normalize(Vec3f a) { return a / length(a); }
inline Vec3f rgb(Vec4f c) { return {c.x, c.y, c.z}; }

}  // namespace vexakelo
