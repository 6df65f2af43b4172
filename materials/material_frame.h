// The machinery every material shares: the evaluation frame (a thin entry per slot copies the
// state fields it needs, a body fills cleared contributions, the epilogue sums them with alpha
// 1.0), the facing normal, the importance of a traced weight, uv transforms and texture look-ups,
// the shading frame built from the "tangent" varying, and the two bump perturbations.
//
// Conventions a reader could get backwards: `I` (rayDir) points towards the surface; the facing
// normal Nf is the shading normal turned towards the side the ray arrives on, decided by the
// geometric normal, never by the shading normal itself.
#pragma once

#include <cmath>

#include "frame/vec_math.h"
#include "vyr/vyr.h"

namespace vexakelo {

// --- Evaluation frame --------------------------------------------------------------------------

// The state fields a material body works on, copied once by each slot's entry.
struct MaterialFrame {
    Vec3f O;               // ray origin
    Vec3f I;               // incident direction, towards the surface
    Vec3f P;               // hit position
    Vec3f N;               // shading normal, not flipped
    Vec3f Ng;              // geometric normal
    float localFrame[16];  // surface-to-world matrix, four columns of four floats
    float iorHere;         // index on the incident side (state word 28)
    float iorBeyond;       // index beyond the surface (state word 29)
    Vec2f uv;              // the "uv" varying
    Vec3f tangent;         // the "tangent" varying, surface space
    Vec3f bitangent;       // the "bitangent" varying, surface space
};

// Inline, so each slot keeps only the fields its body reads.
inline MaterialFrame copyFrame(const vyr::ShadingState& state) {
    MaterialFrame frame;
    frame.O = state.rayOrigin;
    frame.I = state.rayDir;
    frame.P = state.position;
    frame.N = state.normal;
    frame.Ng = state.geoNormal;
    for (int i = 0; i < 16; ++i) {
        frame.localFrame[i] = state.localFrame[i];
    }
    frame.iorHere = state.incidentIor;
    frame.iorBeyond = state.exitIor;
    frame.uv = state.uv;
    frame.tangent = state.tangent;
    frame.bitangent = state.bitangent;
    return frame;
}

// Where each material puts its light. The six colours are summed in this order; a material
// fills only what it produces.
enum Contribution : int {
    kDirectDiffuse = 0,
    kHighlight = 1,
    kTranslucency = 2,
    kReflection = 3,
    kTransmission = 4,
    kEmission = 5,
    kContributionCount = 6,
};

// Three-float side outputs of a body (the weights it traced with); never added to the colour.
enum SideOutput : int {
    kReflectionWeight = 0,
    kTransmissionWeight = 1,
    kSideOutput2 = 2,  // spare, for materials with more weights to keep
    kSideOutput3 = 3,  // spare
    kSideOutputCount = 4,
};

struct Contributions {
    Vec4f color[kContributionCount];
    Vec3f side[kSideOutputCount];
};

// Colours to (0, 0, 0, 1), side outputs to (0, 0, 0). Inline, so the sum below folds the
// contributions a body never writes.
inline void clearContributions(Contributions& out) {
    for (Vec4f& c : out.color) {
        c = {0.0f, 0.0f, 0.0f, 1.0f};
    }
    for (Vec3f& v : out.side) {
        v = {0.0f, 0.0f, 0.0f};
    }
}

// ((((c0 + c1) + c2) + c3) + c4) + c5 per channel, alpha exactly 1.0; contribution alphas are
// ignored.
inline Vec4f sumContributions(const Contributions& out) {
    Vec4f sum = out.color[0];
    for (int i = 1; i < kContributionCount; ++i) {
        sum.x = sum.x + out.color[i].x;
        sum.y = sum.y + out.color[i].y;
        sum.z = sum.z + out.color[i].z;
    }
    sum.w = 1.0f;
    return sum;
}

// The shape of every material's shade: copy the frame, clear, run the body, write the sum.
// `body(const MaterialFrame&, Contributions&)` is called exactly once.
template <class Body>
inline void shadeWithFrame(vyr::ShadingState* state, Body&& body) {
    const MaterialFrame frame = copyFrame(*state);
    Contributions out;
    clearContributions(out);
    body(frame, out);
    state->outColor = sumContributions(out);
}

inline Vec4f withAlpha(Vec3f c, float a) {
    return {c.x, c.y, c.z, a};
}

// --- Facing and weights ------------------------------------------------------------------------

// -1 when dot(I, Ng) < 0 (ray from the outside), +1 when > 0, exactly 0 when 0.
inline float facingSign(Vec3f I, Vec3f Ng) {
    const float d = dot(I, Ng);
    return d < 0.0f ? -1.0f : (d > 0.0f ? 1.0f : 0.0f);
}

// Nf = -s * N componentwise.
inline Vec3f facingNormal(float s, Vec3f N) {
    const float k = -s;
    return {k * N.x, k * N.y, k * N.z};
}

// The largest component of a weight: red only when strictly greater than both others, else
// green when strictly greater than blue, else blue.
inline float importanceOf(Vec3f w) {
    const float gb = w.y > w.z ? w.y : w.z;
    return w.x > gb ? w.x : gb;
}

inline bool isBlack(Vec3f w) {
    return w.x == 0.0f && w.y == 0.0f && w.z == 0.0f;
}

// R = I - 2 * dot(I, Nf) * Nf (not renormalised).
inline Vec3f mirrorDirection(Vec3f I, Vec3f Nf) {
    return I - (2.0f * dot(I, Nf)) * Nf;
}

// The common secondary-ray step: traces along `direction` with the importance of W and returns
// W times the radiance, read through the pointer the context returns. Tracing is unconditional;
// materials that skip black weights test isBlack first.
inline Vec3f traceWeighted(vyr::ShadingContext* context, Vec3f P, Vec3f direction, Vec3f W) {
    Vec3f scratch;
    const Vec3f* const radiance = context->traceRay(&scratch, &P, &direction, importanceOf(W));
    return mul(W, *radiance);
}

// --- Textures ----------------------------------------------------------------------------------

// u' = m0*u + m3*v + m6, v' = m1*u + m4*v + m7 (m2, m5, m8 unused).
inline Vec2f applyUvTransform(const vyr::Mat3f& m, Vec2f uv) {
    return {m.m[0] * uv.x + m.m[3] * uv.y + m.m[6], m.m[1] * uv.x + m.m[4] * uv.y + m.m[7]};
}

// The texel at uv, pre-filled with (0, 0, 0, 1); an empty handle skips the host call.
inline Vec4f sampleTexture(const vyr::TextureHandle& texture, Vec2f uv) {
    Vec4f out{0.0f, 0.0f, 0.0f, 1.0f};
    if (const vyr::Texture* object = texture.get(); object != nullptr) {
        object->sample(&out, &uv);
    }
    return out;
}

// --- Shading frame -----------------------------------------------------------------------------

// T, B, N: T and B unit and perpendicular to N, and T x B along N (right-handed).
struct ShadingFrame {
    Vec3f T;
    Vec3f B;
    Vec3f N;
};

// Mode bits of orthonormalFrame.
inline constexpr int kFrameOrthogonalise = 1;  // rebuild T and B around N
inline constexpr int kFrameUnitNormal = 2;     // normalise N first (when its length > 0)
inline constexpr int kFrameFull = kFrameOrthogonalise | kFrameUnitNormal;  // mode code 3

// A surface-space direction to world space through localFrame: d.x*c0 + d.y*c1 + d.z*c2.
Vec3f surfaceToWorld(const float localFrame[16], Vec3f d);

// Makes the frame orthonormal around frame.N. Without kFrameUnitNormal N keeps its length (bump
// steps that leave the normal unnormalised rely on this). T is the current T with its component
// along N removed, then normalised. Fallback so a frame always exists: when T is zero, not
// finite, or within 1e-6 (relative) of parallel to N, the same projection of the current B,
// turned a quarter (B x N), is used; when that fails too, the world x axis (or y when N is
// within 0.9 of x) projected onto the plane. A zero normal is treated as +z for building T and
// B and is itself kept zero. B = n x T with n the unit normal.
ShadingFrame orthonormalFrame(ShadingFrame frame, int mode);

// The frame of a hit: N with the "tangent" (and, as the fallback, "bitangent") varying taken to
// world space through localFrame.
ShadingFrame surfaceFrame(Vec3f N, const MaterialFrame& frame, int mode);

// Height-map bump: (u', v') = transform(uv) * uvScale; heights h = r + g + b at (u', v'),
// (u' + 0.001, v') and (u', v' + 0.001); du = h0 - h1, dv = h0 - h2; when both |du| and |dv|
// are below 0.00001 N is returned unchanged, else N + (amount * 3.33) * (du * T + dv * B).
// Not normalised here.
Vec3f heightMapBump(const ShadingFrame& frame, const vyr::TextureHandle& map,
                    const vyr::Mat3f& transform, float amount, float uvScale, Vec2f uv);

// The same bump over any height source: `lookup(offset)` returns the colour at the bump's start
// point plus offset, for the offsets (0, 0), (0.001, 0) and (0, 0.001) in that order; the height is
// r + g + b. Lets a procedural tree stand where a texture would be read.
template <class Lookup>
Vec3f heightBump(const ShadingFrame& frame, float amount, Lookup&& lookup) {
    const auto height = [&](Vec2f offset) {
        const Vec4f c = lookup(offset);
        return c.x + c.y + c.z;
    };
    const float h0 = height({0.0f, 0.0f});
    const float h1 = height({0.001f, 0.0f});
    const float h2 = height({0.0f, 0.001f});
    const float du = h0 - h1;
    const float dv = h0 - h2;
    if (std::fabs(du) < 0.00001f && std::fabs(dv) < 0.00001f) {
        return frame.N;
    }
    return frame.N + (amount * 3.33f) * (du * frame.T + dv * frame.B);
}

// The procedural bump's gradient: the context's four-dimensional noise over the shading point
// scaled by the tiling colour, q(x) = (tiling.x * x.x, tiling.y * x.y, tiling.z * x.z, 0).
// g = ((n0 - nT) / h, (n0 - nB) / h, (n0 - nN) / h) with n0 = noise(q(P)) and nT, nB, nN the
// noise at q(P + h*T), q(P + h*B), q(P + h*N), h = 0.01: minus the noise's directional
// derivatives along the frame axes, so that noise peaks read as raised bumps. Four noise calls.
Vec3f proceduralGradient(vyr::ShadingContext* context, Vec3f P, const ShadingFrame& frame,
                         Vec3f tiling);

// The same gradient with each noise value passed through `profile(n)` first.
template <class Profile>
Vec3f proceduralGradient(vyr::ShadingContext* context, Vec3f P, const ShadingFrame& frame,
                         Vec3f tiling, Profile&& profile) {
    constexpr float h = 0.01f;
    const auto noiseAt = [&](Vec3f x) {
        const Vec4f q{tiling.x * x.x, tiling.y * x.y, tiling.z * x.z, 0.0f};
        return profile(context->noise4(&q));
    };
    const float n0 = noiseAt(P);
    const float nT = noiseAt(P + h * frame.T);
    const float nB = noiseAt(P + h * frame.B);
    const float nN = noiseAt(P + h * frame.N);
    return {(n0 - nT) / h, (n0 - nB) / h, (n0 - nN) / h};
}

// N + amount * (g0 * T + g1 * B + g2 * N), not normalised.
Vec3f applyGradient(const ShadingFrame& frame, Vec3f g, float amount);

// N / |N| when |N| > 0, else N unchanged.
inline Vec3f normalizeIfPositive(Vec3f v) {
    const float len = length(v);
    return len > 0.0f ? v / len : v;
}

// Local frame coordinates and back.
inline Vec3f toLocal(const ShadingFrame& f, Vec3f d) {
    return {dot(d, f.T), dot(d, f.B), dot(d, f.N)};
}
inline Vec3f toWorld(const ShadingFrame& f, Vec3f d) {
    return d.x * f.T + d.y * f.B + d.z * f.N;
}

// A cosine-weighted direction about +z from two uniform numbers (concentric-free polar form):
// r = sqrt(u1), phi = 6.283185 * u2, z = sqrt(1 - u1).
Vec3f cosineHemisphere(float u1, float u2);

// --- Microfacet pieces shared by the glass materials ---------------------------------------------

inline constexpr float kHighlightPi = 3.141593f;

// D(c) = alpha2 / (pi * c^4 * (alpha2 + tan2)^2) with tan2 = (1 - c^2) / c^2; 0 when c <= 0.
inline float microfacetD(float c, float alpha2) {
    if (!(c > 0.0f)) {
        return 0.0f;
    }
    const float c2 = c * c;
    const float tan2 = (1.0f - c2) / c2;
    const float s = alpha2 + tan2;
    return alpha2 / (kHighlightPi * (c2 * c2) * (s * s));
}

// G1 = 2 / (1 + sqrt(1 + alpha2 * tan(x)^2)) with x the cosine value itself; 0 when the gating
// product is not positive.
// Deliberate: the tangent is taken of the cosine, not of its angle.
inline float shadowingG1(float cosine, float gate, float alpha2) {
    if (!(gate > 0.0f)) {
        return 0.0f;
    }
    const float t = std::tan(cosine);
    return 2.0f / (1.0f + std::sqrt(1.0f + alpha2 * (t * t)));
}

// t = clamp(dot(L, N) - 0.05, 0, 0.2) / 0.2, then 3t^2 - 2t^3.
inline float elevationFade(float cosLN) {
    float t = cosLN - 0.05f;
    t = t > 0.0f ? t : 0.0f;
    t = t > 0.2f ? 0.2f : t;
    t = t / 0.2f;
    return 3.0f * (t * t) - 2.0f * (t * t * t);
}

// clamp to [0, 1]: not greater than 0 gives 0, greater than 1 gives 1.
inline float clampUnit(float x) {
    return x > 0.0f ? (x > 1.0f ? 1.0f : x) : 0.0f;
}
inline Vec3f clampUnit(Vec3f c) {
    return {clampUnit(c.x), clampUnit(c.y), clampUnit(c.z)};
}

// The microfacet reflection G1(V) G1(L) D(h) / (4 |cosV cosL|), each G1 gated by (h.x)(n.x) and
// D by h.n. Evaluated in stages (G, then times D while positive, then the division while
// positive), so a zero factor gives 0 rather than 0/0.
float microfacetReflection(Vec3f V, Vec3f L, Vec3f h, Vec3f n, float cosV, float cosL,
                           float alpha2);

// The rough-dielectric transmission form, staged the same way:
// G1(V) G1(L) D(h) |h.V h.L| nT^2 / (|cosV cosL| (nI h.V + nT h.L)^2), h on the side of n.
float microfacetTransmission(Vec3f V, Vec3f L, Vec3f h, Vec3f n, float cosV, float cosL,
                             float alpha2, float nI, float nT);

// The glass highlights from the context's light samples at P, summed in list order: per sample
// (F fr + (1 - F) ft) * elevationFade(L.N) * factor * colour, with hr = normalise(L + V),
// ht = normalise(nI V + nT L) turned to Nf's side (each normalised only when longer than 0), and
// the transmitted term only for a light on the far side (cosV cosL < 0). N is the unflipped
// normal the fade is measured against.
Vec3f glassHighlights(vyr::ShadingContext* context, Vec3f P, Vec3f V, Vec3f N, Vec3f Nf, float F,
                      float alpha2, float nI, float nT);

}  // namespace vexakelo
