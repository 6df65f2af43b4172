#include "render/indirect_filter.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace vkrender {

namespace {

constexpr int kPasses = 3;
constexpr float kKernel[5] = {1.0f / 16.0f, 1.0f / 4.0f, 3.0f / 8.0f, 1.0f / 4.0f, 1.0f / 16.0f};
// How sharply the weights fall: normals as a power of their cosine, distances against the
// change across the offset, lighting against the pixel's noise (in standard deviations).
constexpr int kNormalPowerSquarings = 7;  // cos^128
constexpr float kDistanceSigma = 1.0f;
constexpr float kLightingSigma = 4.0f;

// The lengths of the kernel's offsets, in units of its spacing.
const auto kOffsets = [] {
    std::array<std::array<float, 5>, 5> table{};
    for (int j = 0; j < 5; ++j)
        for (int i = 0; i < 5; ++i)
            table[j][i] = std::sqrt(static_cast<float>((i - 2) * (i - 2) + (j - 2) * (j - 2)));
    return table;
}();

// A cheap stand-in for exp(-e): (1 - e/4)^4, the same slope at 0, zero from e = 4 on.
float falloff(float e) {
    const float t = std::max(0.0f, 1.0f - 0.25f * e);
    const float t2 = t * t;
    return t2 * t2;
}

float luminance(Vec3f c) {
    return 0.2126f * c.x + 0.7152f * c.y + 0.0722f * c.z;
}

Vec3f divided(Vec3f a, Vec3f b) {
    return {b.x > 0.0f ? a.x / b.x : 0.0f, b.y > 0.0f ? a.y / b.y : 0.0f,
            b.z > 0.0f ? a.z / b.z : 0.0f};
}

// One pixel of the filter's input: lighting, its variance, and the guides.
struct Texel {
    Vec3f lighting{0.0f, 0.0f, 0.0f};
    float variance = 0.0f;
    Vec3f normal{0.0f, 0.0f, 0.0f};
    float distance = 0.0f;
    float slope = 0.0f;  // how fast the distance changes per pixel
    int object = -1;     // -1: no scenery here
};

template <class Body>
void forRows(int height, const Body& body) {
    tbb::parallel_for(tbb::blocked_range<int>(0, height, 8),
                      [&](const tbb::blocked_range<int>& rows) {
                          for (int y = rows.begin(); y != rows.end(); ++y)
                              body(y);
                      });
}

}  // namespace

IndirectFilterBuffers::IndirectFilterBuffers(int width, int height)
    : width_(width), height_(height) {
    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    albedo_.resize(pixels);
    even_.resize(pixels);
    odd_.resize(pixels);
    kept_.resize(pixels);
    normal_.resize(pixels);
    distance_.resize(pixels);
    hits_.resize(pixels);
    object_.assign(pixels, -1);
}

void IndirectFilterBuffers::add(std::size_t i, std::uint32_t index, const FirstHit& hit) {
    if (!hit.scenery)
        return;
    albedo_[i] += hit.albedo;
    ((index & 1u) == 0 ? even_[i] : odd_[i]) += hit.noisy + hit.heldBack;
    kept_[i] += hit.noisy;
    normal_[i] += hit.normal;
    distance_[i] += hit.distance;
    ++hits_[i];
    if (object_[i] < 0)
        object_[i] = static_cast<int>(hit.object);
}

std::vector<Vec3f> IndirectFilterBuffers::correction(
    const std::vector<std::uint32_t>& samples) const {
    const std::size_t pixels = hits_.size();
    std::vector<Vec3f> out(pixels, Vec3f{0.0f, 0.0f, 0.0f});
    if (std::all_of(hits_.begin(), hits_.end(), [](std::uint32_t h) { return h == 0; }))
        return out;

    // Demodulated lighting per pixel, with the variance of its mean from the two halves.
    std::vector<Texel> a(pixels);
    std::vector<Vec3f> albedo(pixels);
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::uint32_t n = samples[i];
        if (hits_[i] == 0 || n == 0)
            continue;
        Texel& t = a[i];
        albedo[i] = albedo_[i] * (1.0f / static_cast<float>(n));
        t.lighting = divided((even_[i] + odd_[i]) * (1.0f / static_cast<float>(n)), albedo[i]);
        const std::uint32_t evens = (n + 1) / 2;
        const std::uint32_t odds = n / 2;
        if (odds > 0) {
            const float e = luminance(divided(even_[i] * (1.0f / static_cast<float>(evens)),
                                              albedo[i]));
            const float o =
                luminance(divided(odd_[i] * (1.0f / static_cast<float>(odds)), albedo[i]));
            t.variance = 0.25f * (e - o) * (e - o);
        } else {
            const float l = luminance(t.lighting);
            t.variance = l * l;
        }
        t.normal = normalize(normal_[i]);
        t.distance = distance_[i] / static_cast<float>(hits_[i]);
        t.object = object_[i];
    }
    const int w = width_;
    const int h = height_;
    const auto at = [w](int x, int y) { return static_cast<std::size_t>(y) * w + x; };
    // The variance of one pair of halves is itself noisy: average it over 3 x 3 of the same
    // surface. The distance's slope from the neighbours on the same surface.
    std::vector<Texel> b = a;
    forRows(h, [&](int y) {
        for (int x = 0; x < w; ++x) {
            const Texel& p = a[at(x, y)];
            if (p.object < 0)
                continue;
            float sum = 0.0f;
            int count = 0;
            float slope = 0.0f;
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    const int qx = x + dx;
                    const int qy = y + dy;
                    if (qx < 0 || qy < 0 || qx >= w || qy >= h)
                        continue;
                    const Texel& q = a[at(qx, qy)];
                    if (q.object != p.object)
                        continue;
                    sum += q.variance;
                    ++count;
                    if ((dx == 0) != (dy == 0))
                        slope = std::max(slope, std::fabs(q.distance - p.distance));
                }
            }
            b[at(x, y)].variance = sum / static_cast<float>(count);
            b[at(x, y)].slope = slope;
        }
    });

    for (int pass = 0, step = 1; pass < kPasses; ++pass, step *= 2) {
        forRows(h, [&](int y) {
            for (int x = 0; x < w; ++x) {
                const Texel& p = b[at(x, y)];
                Texel& r = a[at(x, y)];
                r = p;
                if (p.object < 0)
                    continue;
                const float lp = luminance(p.lighting);
                const float byLighting = 1.0f / (kLightingSigma * std::sqrt(p.variance) + 1.0e-6f);
                const float distanceFloor = 1.0e-3f * p.distance;
                const float slope = kDistanceSigma * p.slope * static_cast<float>(step);
                Vec3f sum{0.0f, 0.0f, 0.0f};
                float weights = 0.0f;
                float variance = 0.0f;
                for (int j = 0; j < 5; ++j) {
                    const int qy = y + (j - 2) * step;
                    if (qy < 0 || qy >= h)
                        continue;
                    for (int i = 0; i < 5; ++i) {
                        const int qx = x + (i - 2) * step;
                        if (qx < 0 || qx >= w)
                            continue;
                        const Texel& q = b[at(qx, qy)];
                        if (q.object != p.object)
                            continue;
                        float cosine = std::max(0.0f, dot(p.normal, q.normal));
                        for (int k = 0; k < kNormalPowerSquarings; ++k)
                            cosine *= cosine;
                        const float e =
                            std::fabs(q.distance - p.distance) /
                                (slope * kOffsets[j][i] + distanceFloor) +
                            std::fabs(luminance(q.lighting) - lp) * byLighting;
                        const float weight = kKernel[i] * kKernel[j] * cosine * falloff(e);
                        sum += weight * q.lighting;
                        weights += weight;
                        variance += weight * weight * q.variance;
                    }
                }
                // The pixel itself always counts (weight kKernel[2]^2), so weights > 0.
                r.lighting = sum * (1.0f / weights);
                r.variance = variance / (weights * weights);
            }
        });
        std::swap(a, b);
    }
    // b holds the last pass.
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::uint32_t n = samples[i];
        if (b[i].object < 0 || n == 0)
            continue;
        out[i] = albedo[i] * b[i].lighting - kept_[i] * (1.0f / static_cast<float>(n));
    }
    return out;
}

}  // namespace vkrender
