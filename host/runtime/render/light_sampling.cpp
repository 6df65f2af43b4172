#include "render/light_sampling.h"

#include <algorithm>
#include <cmath>

namespace vkrender {

namespace {

constexpr double kPiD = 3.14159265358979323846;

struct Vec3d {
    double x, y, z;
};
Vec3d crossD(Vec3d a, Vec3d b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double dotD(Vec3d a, Vec3d b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
Vec3d normalizeD(Vec3d a) {
    const double l = std::sqrt(dotD(a, a));
    return l > 0.0 ? Vec3d{a.x / l, a.y / l, a.z / l} : a;
}
double angleBetween(Vec3d a, Vec3d b) {
    return std::acos(std::clamp(dotD(a, b), -1.0, 1.0));
}

}  // namespace

Vec3f cosineHemisphere(float u1, float u2) {
    const float r = std::sqrt(u1);
    const float phi = 2.0f * kPiF * u2;
    return {r * std::cos(phi), r * std::sin(phi), std::sqrt(maxf(0.0f, 1.0f - u1))};
}

Vec3f cosineAround(Vec3f axis, float u1, float u2) {
    Vec3f t, b;
    orthonormalBasis(axis, t, b);
    const Vec3f l = cosineHemisphere(u1, u2);
    return l.x * t + l.y * b + l.z * axis;
}

float sphereSolidAngle(Vec3f p, Vec3f center, float radius) {
    const Vec3f toCenter = center - p;
    const float d2 = dot(toCenter, toCenter);
    const float r2 = radius * radius;
    if (d2 <= r2) {
        return 4.0f * kPiF;
    }
    // 1 - cos(theta max) as sin^2 / (1 + cos), which keeps its digits for small spheres.
    const float sin2 = r2 / d2;
    const float cosMax = std::sqrt(maxf(0.0f, 1.0f - sin2));
    return 2.0f * kPiF * (sin2 / (1.0f + cosMax));
}

SphereSample sampleSphere(Vec3f p, Vec3f center, float radius, float u1, float u2) {
    SphereSample s;
    const Vec3f toCenter = center - p;
    const float d2 = dot(toCenter, toCenter);
    const float d = std::sqrt(d2);
    const float r2 = radius * radius;
    const Vec3f w = toCenter * (1.0f / d);
    Vec3f t, b;
    orthonormalBasis(w, t, b);
    const float phi = 2.0f * kPiF * u2;
    if (d2 <= r2) {
        // Inside: every direction, uniform over the sphere of directions.
        const float z = 1.0f - 2.0f * u1;
        const float rho = std::sqrt(maxf(0.0f, 1.0f - z * z));
        s.direction = normalize(rho * std::cos(phi) * t + rho * std::sin(phi) * b + z * w);
        s.solidAngle = 4.0f * kPiF;
        const float along = dot(toCenter, s.direction);
        s.distance = along + std::sqrt(maxf(0.0f, r2 - (d2 - along * along)));
        s.point = p + s.distance * s.direction;
        return s;
    }
    const float sin2Max = r2 / d2;
    const float cosMax = std::sqrt(maxf(0.0f, 1.0f - sin2Max));
    const float oneMinusCosMax = sin2Max / (1.0f + cosMax);
    const float oneMinusCos = u1 * oneMinusCosMax;
    const float cosTheta = 1.0f - oneMinusCos;
    const float sin2 = maxf(0.0f, oneMinusCos * (2.0f - oneMinusCos));
    const float sinTheta = std::sqrt(sin2);
    s.direction =
        normalize(sinTheta * std::cos(phi) * t + sinTheta * std::sin(phi) * b + cosTheta * w);
    s.solidAngle = 2.0f * kPiF * oneMinusCosMax;
    // The nearer crossing; at the cone's rim the root is zero (a tangent ray).
    s.distance = d * cosTheta - std::sqrt(maxf(0.0f, r2 - d2 * sin2));
    s.point = p + s.distance * s.direction;
    return s;
}

float intersectSphere(Vec3f p, Vec3f dir, Vec3f center, float radius) {
    const Vec3f oc = p - center;
    const float b = dot(oc, dir);
    const float c = dot(oc, oc) - radius * radius;
    const float disc = b * b - c;
    if (disc < 0.0f) {
        return -1.0f;
    }
    const float root = std::sqrt(disc);
    const float near = -b - root;
    if (near > 0.0f) {
        return near;
    }
    const float far = -b + root;
    return far > 0.0f ? far : -1.0f;
}

SphericalRectangle::SphericalRectangle(Vec3f p, Vec3f corner, Vec3f edgeU, Vec3f edgeV) : p_(p) {
    const double lu = length(edgeU);
    const double lv = length(edgeV);
    if (!(lu > 0.0 && lv > 0.0) || std::fabs(dot(edgeU, edgeV)) > 1.0e-4 * lu * lv) {
        return;
    }
    x_ = edgeU * static_cast<float>(1.0 / lu);
    y_ = edgeV * static_cast<float>(1.0 / lv);
    z_ = cross(x_, y_);
    const Vec3f d = corner - p;
    x0_ = dot(d, x_);
    y0_ = dot(d, y_);
    z0_ = dot(d, z_);
    // The frame's z points away from the rectangle, so z0 <= 0.
    if (z0_ > 0.0) {
        z_ = -z_;
        z0_ = -z0_;
    }
    if (z0_ > -1.0e-6 * std::max(lu, lv)) {
        return;  // seen edge-on
    }
    x1_ = x0_ + lu;
    y1_ = y0_ + lv;
    const Vec3d v00{x0_, y0_, z0_}, v01{x0_, y1_, z0_}, v10{x1_, y0_, z0_}, v11{x1_, y1_, z0_};
    const Vec3d n0 = normalizeD(crossD(v00, v10));
    const Vec3d n1 = normalizeD(crossD(v10, v11));
    const Vec3d n2 = normalizeD(crossD(v11, v01));
    const Vec3d n3 = normalizeD(crossD(v01, v00));
    const auto neg = [](Vec3d a) { return Vec3d{-a.x, -a.y, -a.z}; };
    const double g0 = angleBetween(neg(n0), n1);
    const double g1 = angleBetween(neg(n1), n2);
    g2_ = angleBetween(neg(n2), n3);
    g3_ = angleBetween(neg(n3), n0);
    const double solid = g0 + g1 + g2_ + g3_ - 2.0 * kPiD;
    // Below this the angles lose their digits; area sampling is as good for so small a patch.
    if (!(solid > 1.0e-4)) {
        return;
    }
    b0_ = n0.z;
    b1_ = n2.z;
    k_ = 2.0 * kPiD - g2_ - g3_;
    solidAngle = static_cast<float>(solid);
    valid = true;
}

Vec3f SphericalRectangle::sample(float u1, float u2) const {
    // The direction's x by inverting the solid angle swept from the rectangle's x0 edge.
    const double au = u1 * static_cast<double>(solidAngle) + k_;
    const double fu = (std::cos(au) * b0_ - b1_) / std::sin(au);
    double cu = std::copysign(1.0, fu) / std::sqrt(fu * fu + b0_ * b0_);
    cu = std::clamp(cu, -1.0 + 1e-12, 1.0 - 1e-12);
    const double xu = std::clamp(-(cu * z0_) / std::sqrt(1.0 - cu * cu), x0_, x1_);
    // Then y along the chosen line, uniform in the sine of the elevation.
    const double dd = std::sqrt(xu * xu + z0_ * z0_);
    const double h0 = y0_ / std::sqrt(dd * dd + y0_ * y0_);
    const double h1 = y1_ / std::sqrt(dd * dd + y1_ * y1_);
    const double hv = h0 + u2 * (h1 - h0);
    const double hv2 = hv * hv;
    const double yv = hv2 < 1.0 - 1e-12 ? hv * dd / std::sqrt(1.0 - hv2) : y1_;
    return p_ + static_cast<float>(xu) * x_ + static_cast<float>(std::clamp(yv, y0_, y1_)) * y_ +
           static_cast<float>(z0_) * z_;
}

float intersectRectangle(Vec3f p, Vec3f dir, Vec3f center, Vec3f edgeU, Vec3f edgeV) {
    const Vec3f n = cross(edgeU, edgeV);
    const float denom = dot(dir, n);
    if (denom == 0.0f) {
        return -1.0f;
    }
    const float t = dot(center - p, n) / denom;
    if (!(t > 0.0f)) {
        return -1.0f;
    }
    // The hit in the edges' own coordinates (the dual basis, so any parallelogram works).
    const Vec3f q = p + t * dir - center;
    const Vec3f du = cross(edgeV, n);
    const Vec3f dv = cross(n, edgeU);
    const float s = dot(q, du) / dot(edgeU, du);
    const float r = dot(q, dv) / dot(edgeV, dv);
    return std::fabs(s) <= 0.5f && std::fabs(r) <= 0.5f ? t : -1.0f;
}

Vec3f sampleDome(Vec3f up, Vec3f n, float normalWeight, float u1, float u2) {
    if (u1 < normalWeight) {
        return cosineAround(n, std::min(u1 / normalWeight, 0x1.fffffep-1f), u2);
    }
    const float rest = 1.0f - normalWeight;
    return cosineAround(up, std::min((u1 - normalWeight) / rest, 0x1.fffffep-1f), u2);
}

float domePdf(Vec3f direction, Vec3f up, Vec3f n, float normalWeight) {
    const float cosUp = dot(direction, up);
    const float cosN = normalWeight > 0.0f ? maxf(0.0f, dot(direction, n)) : 0.0f;
    return (normalWeight * cosN + (1.0f - normalWeight) * maxf(0.0f, cosUp)) / kPiF;
}

DirectionTable::DirectionTable(int width, int height, const std::vector<float>& values)
    : width_(width), height_(height) {
    rowCdf_.assign(static_cast<std::size_t>(height) + 1, 0.0f);
    cellCdf_.assign(static_cast<std::size_t>(height) * (width + 1), 0.0f);
    density_.assign(static_cast<std::size_t>(width) * height, 0.0f);
    std::vector<double> rowSums(static_cast<std::size_t>(height), 0.0);
    for (int r = 0; r < height; ++r) {
        double sum = 0.0;
        float* cdf = &cellCdf_[static_cast<std::size_t>(r) * (width + 1)];
        for (int c = 0; c < width; ++c) {
            sum += std::max(0.0f, values[static_cast<std::size_t>(r) * width + c]);
            cdf[c + 1] = static_cast<float>(sum);
        }
        for (int c = 1; c <= width; ++c) {
            cdf[c] = sum > 0.0 ? static_cast<float>(cdf[c] / sum) : static_cast<float>(c) / width;
        }
        cdf[width] = 1.0f;
        rowSums[static_cast<std::size_t>(r)] = sum;
        total_ += sum;
    }
    if (total_ <= 0.0) {
        return;
    }
    double running = 0.0;
    for (int r = 0; r < height; ++r) {
        running += rowSums[static_cast<std::size_t>(r)];
        rowCdf_[static_cast<std::size_t>(r) + 1] = static_cast<float>(running / total_);
    }
    rowCdf_[static_cast<std::size_t>(height)] = 1.0f;
    // Every cell spans 4 pi / (width height) of solid angle; the density is its probability
    // over that, as the sampler realises it (from the float tables).
    const double cellSolidAngle = 4.0 * kPiD / (static_cast<double>(width) * height);
    for (int r = 0; r < height; ++r) {
        const double rowProbability =
            static_cast<double>(rowCdf_[static_cast<std::size_t>(r) + 1]) -
            rowCdf_[static_cast<std::size_t>(r)];
        const float* cdf = &cellCdf_[static_cast<std::size_t>(r) * (width + 1)];
        for (int c = 0; c < width; ++c) {
            const double p = rowProbability * (static_cast<double>(cdf[c + 1]) - cdf[c]);
            density_[static_cast<std::size_t>(r) * width + c] =
                static_cast<float>(p / cellSolidAngle);
        }
    }
}

Vec3f DirectionTable::cellCentre(int width, int height, int column, int row) {
    const float z = 1.0f - 2.0f * (static_cast<float>(row) + 0.5f) / static_cast<float>(height);
    const float phi = 2.0f * kPiF * (static_cast<float>(column) + 0.5f) / static_cast<float>(width);
    const float rho = std::sqrt(maxf(0.0f, 1.0f - z * z));
    return {rho * std::cos(phi), rho * std::sin(phi), z};
}

namespace {

// The cell whose cdf interval holds u, and where u falls in it (0..1).
int pickInterval(const float* cdf, int count, float u, float& within) {
    const float* at = std::upper_bound(cdf + 1, cdf + count + 1, u);
    int i = static_cast<int>(at - cdf) - 1;
    i = std::clamp(i, 0, count - 1);
    // Skip empty intervals a rounding u may land on.
    while (i < count - 1 && !(cdf[i + 1] > cdf[i])) {
        ++i;
    }
    const float span = cdf[i + 1] - cdf[i];
    within = span > 0.0f ? std::clamp((u - cdf[i]) / span, 0.0f, 0x1.fffffep-1f) : 0.5f;
    return i;
}

}  // namespace

Vec3f DirectionTable::sample(float u1, float u2) const {
    float v = 0.0f;
    const int row = pickInterval(rowCdf_.data(), height_, u1, v);
    float w = 0.0f;
    const int column =
        pickInterval(&cellCdf_[static_cast<std::size_t>(row) * (width_ + 1)], width_, u2, w);
    const float z = 1.0f - 2.0f * (static_cast<float>(row) + v) / static_cast<float>(height_);
    const float phi = 2.0f * kPiF * (static_cast<float>(column) + w) / static_cast<float>(width_);
    const float rho = std::sqrt(maxf(0.0f, 1.0f - z * z));
    return {rho * std::cos(phi), rho * std::sin(phi), z};
}

float DirectionTable::pdf(Vec3f d) const {
    const int row = std::clamp(static_cast<int>((1.0f - d.z) * 0.5f * static_cast<float>(height_)),
                               0, height_ - 1);
    float phi = std::atan2(d.y, d.x);
    phi = phi < 0.0f ? phi + 2.0f * kPiF : phi;
    const int column = std::clamp(
        static_cast<int>(phi / (2.0f * kPiF) * static_cast<float>(width_)), 0, width_ - 1);
    return density_[static_cast<std::size_t>(row) * width_ + column];
}

}  // namespace vkrender
