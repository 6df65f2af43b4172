// Sparse metallic flakes in a paint, placed without a table or a texture: uv is divided into
// cells of the flake size, warped a little by the host's 2D noise so no grid shows, and each
// cell's hashes (the host's one-argument random, chained) decide whether it holds a flake, how the
// flake is tilted (a GGX-distributed normal of width `spread`) and whether it is a pearl flake.
// A point is on the flake when it lies within 0.45 cells of the cell's centre.
#pragma once

#include <cmath>

#include "frame/constants.h"
#include "frame/vec_math.h"
#include "vyr/vyr.h"

namespace vexakelo::metal {

struct Flake {
    bool present = false;
    bool pearl = false;
    Vec3f normal{0.0f, 0.0f, 1.0f};  // in the frame (T, B, N) of the base
};

inline constexpr float kFlakeWarp = 0.35f;         // cell warp, in cells
inline constexpr float kFlakeWarpFrequency = 0.173f;
inline constexpr float kFlakeRadius = 0.45f;       // in cells: density 1 covers pi 0.45^2
inline constexpr float kFlakeRowHash = 4099.0f;
inline constexpr float kFlakeSeedStep = 0.618034f;
inline constexpr float kMaxFlakeHash = 0.999f;     // keeps the tilt finite

inline Flake findFlake(vyr::ShadingContext* context, Vec2f uv, float size, float density,
                       float spread, float pearlRatio, int seed) {
    Flake flake;
    if (!(density > 0.0f) || !(size > 0.0f)) {
        return flake;
    }
    const Vec2f g0{uv.x / size, uv.y / size};
    const Vec2f w0{kFlakeWarpFrequency * g0.x, kFlakeWarpFrequency * g0.y};
    const Vec2f w1{w0.x + 17.1f, w0.y + 31.7f};
    const Vec2f g{g0.x + kFlakeWarp * (context->noise2(&w0) - 0.5f),
                  g0.y + kFlakeWarp * (context->noise2(&w1) - 0.5f)};
    const float kx = std::floor(g.x);
    const float ky = std::floor(g.y);
    const float dx = g.x - kx - 0.5f;
    const float dy = g.y - ky - 0.5f;
    if (!(dx * dx + dy * dy < kFlakeRadius * kFlakeRadius)) {
        return flake;
    }
    const float h1 = context->randomOf(
        kx + kFlakeRowHash * context->randomOf(ky + kFlakeSeedStep * static_cast<float>(seed)));
    if (!(h1 < density)) {
        return flake;
    }
    const float h2 = std::fmin(kMaxFlakeHash, context->randomOf(h1 + 1.0f));
    const float h3 = context->randomOf(h2 + 1.0f);
    const float h4 = context->randomOf(h3 + 1.0f);
    const float tan2 = spread * spread * h2 / (1.0f - h2);
    const float cosT = 1.0f / std::sqrt(1.0f + tan2);
    const float sinT = std::sqrt(std::fmax(0.0f, 1.0f - cosT * cosT));
    const float phi = kTwoPi * h3;
    flake.present = true;
    flake.pearl = h4 < pearlRatio;
    flake.normal = {sinT * std::cos(phi), sinT * std::sin(phi), cosT};
    return flake;
}

}  // namespace vexakelo::metal
