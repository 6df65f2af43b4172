// The procedural texture nodes the Ward variants chain: UnifiedBitmap (a transformed bitmap
// look-up), Noise (a thresholded fractal of the host's noise blending two colours) and Tile
// (running-bond bricks in mortar). Each is a plain function of its values, the context and the
// uv, returning RGBA; a colour input arrives already evaluated. The host's noise4, noise2 and
// randomOf are the only randomness: the library holds no permutation or gradient table.
//
// Conventions: `xform` is sixteen floats in column order. A uv pair is taken as (u, v, 1, 1), so
// both the third and the fourth column are added; a Noise point is (u, v, 0) taken as a point.
#pragma once

#include <cmath>
#include <cstdint>

#include "frame/vec_math.h"
#include "vyr/vyr.h"

namespace vexakelo::nodes {

// u' = m0 u + m4 v + m8 + m12, v' = m1 u + m5 v + m9 + m13.
// Deliberate: the third column is added as well as the fourth.
inline Vec2f transformUv(const vyr::Mat4f& xf, Vec2f uv) {
    const float* m = xf.m;
    return {m[0] * uv.x + m[4] * uv.y + m[8] + m[12], m[1] * uv.x + m[5] * uv.y + m[9] + m[13]};
}

// p' = M p for the point p = (x, y, z, 1).
inline Vec3f transformPoint(const vyr::Mat4f& xf, Vec3f p) {
    const float* m = xf.m;
    return {m[0] * p.x + m[4] * p.y + m[8] * p.z + m[12],
            m[1] * p.x + m[5] * p.y + m[9] * p.z + m[13],
            m[2] * p.x + m[6] * p.y + m[10] * p.z + m[14]};
}

inline Vec4f blend(Vec4f a, Vec4f b, float w) {
    return {(1.0f - w) * a.x + w * b.x, (1.0f - w) * a.y + w * b.y, (1.0f - w) * a.z + w * b.z,
            (1.0f - w) * a.w + w * b.w};
}

inline float clamp01(float x) {
    return x < 0.0f ? 0.0f : (x > 1.0f ? 1.0f : x);
}

// --- UnifiedBitmap --------------------------------------------------------------------------

struct UnifiedBitmapValues {
    const vyr::Mat4f& xform;
    const vyr::TextureHandle& texture;
    float amount;
    bool isCube;  // stored only: the bitmap is always looked up in 2D
};

// The texel at the transformed uv (0, 0, 0, 1 for an empty handle), r, g, b times the amount.
inline Vec4f unifiedBitmap(const UnifiedBitmapValues& v, Vec2f uv) {
    Vec4f c{0.0f, 0.0f, 0.0f, 1.0f};
    if (const vyr::Texture* texture = v.texture.get(); texture != nullptr) {
        const Vec2f at = transformUv(v.xform, uv);
        texture->sample(&c, &at);
    }
    return {c.x * v.amount, c.y * v.amount, c.z * v.amount, c.w};
}

// --- Noise ----------------------------------------------------------------------------------

inline constexpr int kNoiseRegular = 0;
inline constexpr int kNoiseFractal = 1;
inline constexpr int kNoiseTurbulence = 2;

struct NoiseValues {
    const vyr::Mat4f& xform;
    int type;  // kNoiseFractal, kNoiseTurbulence, anything else regular
    float size;
    float thresholdLow;
    float thresholdHigh;
    float levels;
    float phase;
};

// One octave: the host's noise at f q, remapped to [-1, 1] and weighted 1 / f.
inline float octave(vyr::ShadingContext* context, Vec3f q, float f, float phase, bool absolute) {
    const Vec4f at{f * q.x, f * q.y, f * q.z, phase};
    const float t = (context->noise4(&at) * 2.0f - 1.0f) / f;
    return absolute ? std::fabs(t) : t;
}

// One octave per whole level, doubling the frequency each time.
// Deliberate: a fractional remainder adds one more full octave, not a fraction of one.
// Once f has overflowed (after 128 octaves) every further octave would add (n 2 - 1) / inf = 0,
// so the loop stops there: a huge or infinite level count ends like any other.
inline float fractalSum(vyr::ShadingContext* context, Vec3f q, float levels, float phase,
                        bool absolute) {
    float sum = 0.0f;
    float f = 1.0f;
    float L = levels;
    while (L >= 1.0f && std::isfinite(f)) {
        sum += octave(context, q, f, phase, absolute);
        f = 2.0f * f;
        L = L - 1.0f;
    }
    if (L > 0.0f && std::isfinite(f)) {
        sum += octave(context, q, f, phase, absolute);
    }
    return sum;
}

// Below the low threshold 0, above the high one 1, stretched between them.
// Deliberate: with equal thresholds a value equal to both is kept as it is.
inline float threshold(float v, float low, float high) {
    if (low > v) {
        return 0.0f;
    }
    if (v > high) {
        return 1.0f;
    }
    if (low - high != 0.0f) {
        return (v - low) / (high - low);
    }
    return v;
}

// The value at the uv's point (u, v, 0), through the thresholds, blending color1 (at 0) into
// color2 (at 1).
inline Vec4f noise(const NoiseValues& n, Vec4f color1, Vec4f color2, vyr::ShadingContext* context,
                   Vec2f uv) {
    const Vec3f p = transformPoint(n.xform, {uv.x, uv.y, 0.0f});
    const Vec3f q{p.x / n.size, p.y / n.size, p.z / n.size};
    float v;
    if (n.type == kNoiseFractal) {
        v = (fractalSum(context, q, n.levels, n.phase, false) + 1.0f) * 0.5f;
    } else if (n.type == kNoiseTurbulence) {
        v = fractalSum(context, q, n.levels, n.phase, true);
    } else {
        const Vec4f at{q.x, q.y, q.z, n.phase};
        const float raw = context->noise4(&at);
        v = (raw * 2.0f - 1.0f + 1.0f) * 0.5f;
    }
    return blend(color1, color2, threshold(v, n.thresholdLow, n.thresholdHigh));
}

// --- Tile -----------------------------------------------------------------------------------

struct TileValues {
    const vyr::Mat4f& xform;
    float verticalCount;    // rows per unit of v
    float horizontalCount;  // bricks per row per unit of u
    float colorVariance;
    float fadeVariance;
    float horizontalGap;  // mortar beside a brick, in the units of brickWidth
    float verticalGap;    // mortar above a brick, in the units of brickHeight
    float edgeRoughness;  // in thousandths of a cell
    int randomSeed;
    float lineShift;    // shift of each row against the one below, in bricks
    float randomShift;  // further random shift per row, in bricks
    float changeRow;    // length factor of the bricks of every perRow-th row
    int perRow;
    bool useColumnEdit;
    bool useRowEdit;
    float changeColumn;  // height factor of every perColumn-th brick of a row
    int perColumn;
    int holes;  // percentage of bricks left out
    float brickHeight;
    float brickWidth;
    bool repeatX;
    bool repeatY;
};

// A whole-number cell index; out of range (or not a number) folds to 0 so the integer
// conversion is always defined.
inline std::int32_t cellIndex(float x) {
    const float f = std::floor(x);
    return std::fabs(f) < 1.0e9f ? static_cast<std::int32_t>(f) : 0;
}

// Multiplicative fold of integers into a 22-bit key, exact as a float even with a quarter added.
inline float brickKey(std::int32_t a, std::int32_t b, std::int32_t seed) {
    std::uint32_t k = static_cast<std::uint32_t>(a) * 73856093u;
    k ^= static_cast<std::uint32_t>(b) * 19349663u;
    k ^= static_cast<std::uint32_t>(seed) * 83492791u;
    k ^= k >> 13;
    return static_cast<float>(k & 0x3FFFFFu);
}

// Index modulo a period, the edited ones being 0, period, 2 period, ...; never for period <= 0.
inline bool isEdited(std::int32_t index, int period) {
    return period > 0 && index % period == 0;
}

// The mortar share on each side of a brick, as a fraction of its cell.
inline float halfGap(float brick, float gap) {
    return 0.5f * gap / (brick + gap);
}

inline constexpr float kTileDistanceFloor = 1e-7f;
inline constexpr float kTileEdgeScale = 0.001f;
inline constexpr float kTileEdgeNoisePeriod = 17.0f;

// The blend weight of a point in the brick pattern: 1 inside a brick, 0 in the mortar, rising
// across a band as wide as the edge roughness; with the brick's key for its random values.
struct BrickSample {
    float w;
    float key;
};

// Rows are horizontal, verticalCount per unit; row r slides by r lineShift + randomShift rnd(r)
// bricks (0.5 gives the running bond). A cell holds one brick with half the mortar on each side.
inline BrickSample brickAt(const TileValues& t, vyr::ShadingContext* context, float x, float y) {
    const float rowPos = y * t.verticalCount;
    const std::int32_t row = cellIndex(rowPos);
    float shift = static_cast<float>(row) * t.lineShift;
    if (t.randomShift != 0.0f) {
        shift += t.randomShift * context->randomOf(brickKey(row, -1, t.randomSeed) + 0.75f);
    }
    float colPos = x * t.horizontalCount + shift;
    if (t.useRowEdit && isEdited(row, t.perRow) && t.changeRow > 0.0f) {
        colPos = colPos / t.changeRow;
    }
    const std::int32_t col = cellIndex(colPos);
    const float fx = colPos - std::floor(colPos);
    const float fy = rowPos - std::floor(rowPos);

    // Signed distance to the brick's border in cell fractions: positive inside.
    const float gx = halfGap(t.brickWidth, t.horizontalGap);
    float gy = halfGap(t.brickHeight, t.verticalGap);
    if (t.useColumnEdit && isEdited(col, t.perColumn) && t.changeColumn > 0.0f) {
        gy = 0.5f - (0.5f - gy) * t.changeColumn;
        gy = gy < 0.0f ? 0.0f : gy;
    }
    const float dx = std::fmin(fx - gx, (1.0f - gx) - fx);
    const float dy = std::fmin(fy - gy, (1.0f - gy) - fy);
    float d = std::fmin(dx, dy);

    // Rough edges: the host's 2D noise at the point in thousandths of a cell, / 17, moves the
    // border by up to the roughness either way.
    const float amplitude = t.edgeRoughness * kTileEdgeScale;
    if (amplitude != 0.0f) {
        const Vec2f at{colPos * (1.0f / kTileEdgeScale) / kTileEdgeNoisePeriod,
                       rowPos * (1.0f / kTileEdgeScale) / kTileEdgeNoisePeriod};
        d += (context->noise2(&at) * 2.0f - 1.0f) * amplitude;
    }
    const float band = std::fmax(std::fabs(amplitude), kTileDistanceFloor);
    float w = clamp01(d / band);

    const float key = brickKey(row, col, t.randomSeed);
    if (w > 0.0f && t.holes > 0 && context->randomOf(key + 0.5f) * 100.0f < t.holes) {
        w = 0.0f;
    }
    return {w, key};
}

// Mortar, brick, or the soft blend at a rough edge; the brick colour varied per brick in colour
// and brightness; every channel clamped to [0, 1]. Outside [0, 1] without repeat: (0, 0, 0, 0).
inline Vec4f tile(const TileValues& t, Vec4f brickColor, Vec4f mortarColor,
                  vyr::ShadingContext* context, Vec2f uv) {
    Vec2f p = transformUv(t.xform, uv);
    const Vec4f clear{0.0f, 0.0f, 0.0f, 0.0f};
    if (p.x < 0.0f || p.x > 1.0f) {
        if (!t.repeatX) {
            return clear;
        }
        p.x = p.x - std::floor(p.x);
    }
    if (p.y < 0.0f || p.y > 1.0f) {
        if (!t.repeatY) {
            return clear;
        }
        p.y = p.y - std::floor(p.y);
    }
    const BrickSample b = brickAt(t, context, p.x, p.y);
    float a = 1.0f;
    float f = 1.0f;
    if (b.w > 0.0f) {
        if (t.colorVariance != 0.0f) {
            a = std::fmax(0.0f, (context->randomOf(b.key) * 2.0f - 1.0f) * t.colorVariance + 1.0f);
        }
        if (t.fadeVariance != 0.0f) {
            f = std::fmax(0.0f,
                          (context->randomOf(b.key + 0.25f) * 2.0f - 1.0f) * t.fadeVariance + 1.0f);
        }
    }
    const float ab = a * f;
    const Vec4f brick{ab * brickColor.x, ab * brickColor.y, ab * brickColor.z, ab * brickColor.w};
    const Vec4f c = blend(mortarColor, brick, b.w);
    return {clamp01(c.x), clamp01(c.y), clamp01(c.z), clamp01(c.w)};
}

}  // namespace vexakelo::nodes
