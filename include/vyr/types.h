// Plain value types shared by the host and the shader library: tightly packed 32-bit floats,
// passed by reference to host functions and by value between helpers.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vyr {

struct Vec2f {
    float x, y;
};

struct Vec3f {
    float x, y, z;
};

struct Vec4f {
    float x, y, z, w;
};

// Nine floats, row after row (colour matrices and 3x3 texture transforms).
struct Mat3f {
    float m[9];
};

// Sixteen floats in column order; declared to the host as a plain float array.
struct Mat4f {
    float m[16];
};

static_assert(sizeof(Vec2f) == 8 && alignof(Vec2f) == 4);
static_assert(sizeof(Vec3f) == 12 && alignof(Vec3f) == 4);
static_assert(sizeof(Vec4f) == 16 && alignof(Vec4f) == 4);
static_assert(sizeof(Mat3f) == 36 && alignof(Mat3f) == 4);
static_assert(sizeof(Mat4f) == 64 && alignof(Mat4f) == 4);

}  // namespace vyr
