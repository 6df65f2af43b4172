#include "render/sampling.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vkrender {

namespace {

std::uint32_t hashCell(std::int32_t x, std::int32_t y, std::int32_t z = 0, std::int32_t w = 0) {
    std::uint32_t h = mix32(static_cast<std::uint32_t>(x) * 0x8da6b343u);
    h = mix32(h ^ (static_cast<std::uint32_t>(y) * 0xd8163841u));
    h = mix32(h ^ (static_cast<std::uint32_t>(z) * 0xcb1ab31fu));
    return mix32(h ^ (static_cast<std::uint32_t>(w) * 0x165667b1u));
}

// The quintic fade 6t^5 - 15t^4 + 10t^3: continuous second derivative across cells.
float fade(float t) {
    return t * t * t * (t * (t * 6.0f - 15.0f) + 10.0f);
}
float lerp(float a, float b, float t) {
    return a + t * (b - a);
}

// Eight unit-ish gradients in 2D: the axes and the diagonals.
float grad2(std::uint32_t h, float x, float y) {
    switch (h & 7u) {
        case 0:
            return x + y;
        case 1:
            return -x + y;
        case 2:
            return x - y;
        case 3:
            return -x - y;
        case 4:
            return x;
        case 5:
            return -x;
        case 6:
            return y;
        default:
            return -y;
    }
}

// The 32 gradients of 4D noise: three components of +-1 and one zero.
float grad4(std::uint32_t h, float x, float y, float z, float w) {
    const std::uint32_t g = h & 31u;
    const float a = (g & 1u) ? -1.0f : 1.0f;
    const float b = (g & 2u) ? -1.0f : 1.0f;
    const float c = (g & 4u) ? -1.0f : 1.0f;
    switch (g >> 3) {
        case 0:
            return a * y + b * z + c * w;
        case 1:
            return a * x + b * z + c * w;
        case 2:
            return a * x + b * y + c * w;
        default:
            return a * x + b * y + c * z;
    }
}

float toUnit(float n) {
    return std::clamp(0.5f + 0.5f * n, 0.0f, 1.0f);
}

}  // namespace

float hashToUnit(float x) {
    if (x == 0.0f) {
        x = 0.0f;
    }
    std::uint32_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    return static_cast<float>(mix32(bits ^ 0x9e3779b9u) >> 8) * 0x1p-24f;
}

float gradientNoise2(float x, float y) {
    const float fx = std::floor(x);
    const float fy = std::floor(y);
    const auto ix = static_cast<std::int32_t>(fx);
    const auto iy = static_cast<std::int32_t>(fy);
    const float dx = x - fx;
    const float dy = y - fy;
    const float u = fade(dx);
    const float v = fade(dy);
    const float n00 = grad2(hashCell(ix, iy), dx, dy);
    const float n10 = grad2(hashCell(ix + 1, iy), dx - 1.0f, dy);
    const float n01 = grad2(hashCell(ix, iy + 1), dx, dy - 1.0f);
    const float n11 = grad2(hashCell(ix + 1, iy + 1), dx - 1.0f, dy - 1.0f);
    return toUnit(lerp(lerp(n00, n10, u), lerp(n01, n11, u), v));
}

float gradientNoise4(float x, float y, float z, float w) {
    const float p[4] = {x, y, z, w};
    std::int32_t cell[4];
    float d[4];
    float f[4];
    for (int i = 0; i < 4; ++i) {
        const float fl = std::floor(p[i]);
        cell[i] = static_cast<std::int32_t>(fl);
        d[i] = p[i] - fl;
        f[i] = fade(d[i]);
    }
    // Sixteen corners, blended one axis at a time (x innermost).
    float values[16];
    for (int corner = 0; corner < 16; ++corner) {
        const int o[4] = {corner & 1, (corner >> 1) & 1, (corner >> 2) & 1, (corner >> 3) & 1};
        const std::uint32_t h =
            hashCell(cell[0] + o[0], cell[1] + o[1], cell[2] + o[2], cell[3] + o[3]);
        values[corner] = grad4(h, d[0] - static_cast<float>(o[0]), d[1] - static_cast<float>(o[1]),
                               d[2] - static_cast<float>(o[2]), d[3] - static_cast<float>(o[3]));
    }
    for (int axis = 0, count = 16; axis < 4; ++axis, count /= 2) {
        for (int i = 0; i < count / 2; ++i) {
            values[i] = lerp(values[2 * i], values[2 * i + 1], f[axis]);
        }
    }
    // The 4D sum of three unit gradients reaches about +-1.5 at its extremes; scale it into
    // the same range as the 2D noise.
    return toUnit(values[0] * (2.0f / 3.0f));
}

}  // namespace vkrender
