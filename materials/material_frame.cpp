#include "materials/material_frame.h"

#include "frame/constants.h"

namespace vexakelo {

Vec3f surfaceToWorld(const float m[16], Vec3f d) {
    const Vec3f c0{m[0], m[1], m[2]};
    const Vec3f c1{m[4], m[5], m[6]};
    const Vec3f c2{m[8], m[9], m[10]};
    return d.x * c0 + d.y * c1 + d.z * c2;
}

namespace {

// v with its component along the unit vector n removed, normalised; false when the rest is
// zero, not finite, or tiny against v (v parallel to n).
bool perpendicularUnit(Vec3f v, Vec3f n, Vec3f& out) {
    const float vv = dot(v, v);
    const Vec3f p = v - dot(v, n) * n;
    const float pp = dot(p, p);
    if (!(pp > 1e-12f * vv) || !std::isfinite(pp)) {
        return false;
    }
    out = p / std::sqrt(pp);
    return true;
}

}  // namespace

ShadingFrame orthonormalFrame(ShadingFrame frame, int mode) {
    if ((mode & kFrameUnitNormal) != 0) {
        frame.N = normalizeIfPositive(frame.N);
    }
    if ((mode & kFrameOrthogonalise) == 0) {
        return frame;
    }
    const float len = length(frame.N);
    const Vec3f n = len > 0.0f && std::isfinite(len) ? frame.N / len : Vec3f{0.0f, 0.0f, 1.0f};
    Vec3f T;
    if (!perpendicularUnit(frame.T, n, T) && !perpendicularUnit(cross(frame.B, n), n, T)) {
        const Vec3f axis =
            std::fabs(n.x) < 0.9f ? Vec3f{1.0f, 0.0f, 0.0f} : Vec3f{0.0f, 1.0f, 0.0f};
        perpendicularUnit(axis, n, T);
    }
    frame.T = T;
    frame.B = cross(n, T);
    return frame;
}

ShadingFrame surfaceFrame(Vec3f N, const MaterialFrame& frame, int mode) {
    return orthonormalFrame({surfaceToWorld(frame.localFrame, frame.tangent),
                             surfaceToWorld(frame.localFrame, frame.bitangent), N},
                            mode);
}

Vec3f heightMapBump(const ShadingFrame& frame, const vyr::TextureHandle& map,
                    const vyr::Mat3f& transform, float amount, float uvScale, Vec2f uv) {
    const Vec2f t = applyUvTransform(transform, uv);
    const Vec2f p{t.x * uvScale, t.y * uvScale};
    return heightBump(frame, amount,
                      [&](Vec2f o) { return sampleTexture(map, {p.x + o.x, p.y + o.y}); });
}

Vec3f proceduralGradient(vyr::ShadingContext* context, Vec3f P, const ShadingFrame& frame,
                         Vec3f tiling) {
    return proceduralGradient(context, P, frame, tiling, [](float n) { return n; });
}

Vec3f applyGradient(const ShadingFrame& frame, Vec3f g, float amount) {
    return frame.N + amount * (g.x * frame.T + g.y * frame.B + g.z * frame.N);
}

float microfacetReflection(Vec3f V, Vec3f L, Vec3f h, Vec3f n, float cosV, float cosL,
                           float alpha2) {
    float f =
        shadowingG1(cosV, dot(h, V) * cosV, alpha2) * shadowingG1(cosL, dot(h, L) * cosL, alpha2);
    if (f > 0.0f) {
        f = f * microfacetD(dot(h, n), alpha2);
    }
    if (f > 0.0f) {
        f = f / (4.0f * std::fabs(cosV * cosL));
    }
    return f;
}

float microfacetTransmission(Vec3f V, Vec3f L, Vec3f h, Vec3f n, float cosV, float cosL,
                             float alpha2, float nI, float nT) {
    const float hV = dot(h, V);
    const float hL = dot(h, L);
    float f = shadowingG1(cosV, hV * cosV, alpha2) * shadowingG1(cosL, hL * cosL, alpha2);
    if (f > 0.0f) {
        f = f * microfacetD(dot(h, n), alpha2);
    }
    if (f > 0.0f) {
        const float denom = nI * hV + nT * hL;
        f = f * std::fabs(hV * hL) * (nT * nT) / (std::fabs(cosV * cosL) * (denom * denom));
    }
    return f;
}

Vec3f glassHighlights(vyr::ShadingContext* context, Vec3f P, Vec3f V, Vec3f N, Vec3f Nf, float F,
                      float alpha2, float nI, float nT) {
    Vec3f sum{0.0f, 0.0f, 0.0f};
    for (const vyr::LightSample* l = context->lightSamples(&P); l != nullptr; l = l->next) {
        const Vec3f L = l->direction;
        const Vec3f hr = normalizeIfPositive(L + V);
        Vec3f ht = normalizeIfPositive(nI * V + nT * L);
        if (dot(ht, Nf) < 0.0f) {
            ht = -ht;
        }
        const float cosV = dot(V, Nf);
        const float cosL = dot(L, Nf);
        const float fr = microfacetReflection(V, L, hr, Nf, cosV, cosL, alpha2);
        const float ft = cosV * cosL < 0.0f
                             ? microfacetTransmission(V, L, ht, Nf, cosV, cosL, alpha2, nI, nT)
                             : 0.0f;
        const float specular = F * fr + (1.0f - F) * ft;
        const float scale = specular * elevationFade(dot(L, N)) * l->factor;
        sum = sum + scale * l->color;
    }
    return sum;
}

Vec3f cosineHemisphere(float u1, float u2) {
    const float r = std::sqrt(u1);
    const float phi = kTwoPi * u2;
    return {r * std::cos(phi), r * std::sin(phi), std::sqrt(1.0f - u1)};
}

}  // namespace vexakelo
