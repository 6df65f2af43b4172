// The Ward material's shading, written once for the base and its nine variants: the shading
// frame with both bumps and the anisotropy rotation, the roughness, the colours, and the four
// shading slots. A variant differs only in what feeds three look-ups, so the shading is a template
// over an `Inputs` type with
//   static Vec4f diffuse(const std::byte* area, vyr::ShadingContext*, Vec2f uv);
//   static Vec4f normal0(const std::byte* area, vyr::ShadingContext*, Vec2f uv, Vec2f offset);
//   static Vec4f cutout(const std::byte* area, vyr::ShadingContext*, Vec2f uv);
// each asked only when the base's switch for that map is set, and returning the raw look-up (the
// base's amounts, decoding and fades are applied here). `area` is the start of the shader's
// parameter area: WardParams at offset 0, a variant's node values after kWardFieldsEnd.
//
// Conventions: D (rayDir) points towards the surface, L away from it. N is the frame's normal
// after the bumps; Ns the state's normal (or map 1's result with u_normal1AsShadingNormal) and
// Nf = -s Ns its facing version, which decides the viewer's side and the plain cosine.
#pragma once

#include <cmath>
#include <cstddef>

#include "frame/constants.h"
#include "frame/shader_frame.h"
#include "materials/map_group.h"
#include "materials/material_frame.h"
#include "materials/ward/ward_lobe.h"
#include "materials/ward/ward_params.h"

namespace vexakelo {

inline const WardParams& wardParams(const std::byte* area) {
    return *reinterpret_cast<const WardParams*>(area);
}

// The base material's own look-ups: each map through its uv transform.
struct WardBaseInputs {
    static Vec4f diffuse(const std::byte* area, vyr::ShadingContext*, Vec2f uv) {
        const WardParams& p = wardParams(area);
        return sampleTexture(p.diffuseMap, applyUvTransform(p.diffuseTransform, uv));
    }
    static Vec4f normal0(const std::byte* area, vyr::ShadingContext*, Vec2f uv, Vec2f offset) {
        const WardParams& p = wardParams(area);
        const Vec2f t = applyUvTransform(p.normal0Transform, uv);
        return sampleTexture(p.normal0Map, {t.x + offset.x, t.y + offset.y});
    }
    static Vec4f cutout(const std::byte* area, vyr::ShadingContext*, Vec2f uv) {
        const WardParams& p = wardParams(area);
        return sampleTexture(p.cutoutMap, applyUvTransform(p.cutoutTransform, uv));
    }
};

struct WardGeometry {
    ShadingFrame frame;  // T (with alpha_x), B (with alpha_y), N after bumps and rotation
    Vec3f Ns;            // the normal the facing and the plain cosine use
    float s;             // facing sign of dot(D, Ng)
    Vec3f Nf;            // -s Ns
};

struct WardRoughness {
    float ax;
    float ay;
};

// What computeWardColors yields for light on the viewer's side (flag 1) and the diffuse for light
// from behind (flag 0); the transmission of flag 0 serves only shadow rays (see shadow).
struct WardColors {
    Vec3f Cd;        // diffuse, flag 1
    Vec3f Cs;        // specular
    Vec3f Ct;        // transmission, flag 1
    Vec3f CdBehind;  // translucent diffuse, flag 0
};

namespace ward {

inline float maxOf(Vec3f c) {
    return std::fmax(c.x, std::fmax(c.y, c.z));
}

// The reflectivity curve: (1 - c)^power (r90 - r00) + r00 with c the clamped view cosine,
// clamped to [0, 1], times u_reflectivity. A power of 0 gives r90 at every angle.
inline float reflectivity(const WardParams& p, Vec2f uv, float cosO) {
    const float r00 = scalarInput(p, kBrdf00Group, uv);
    const float r90 = scalarInput(p, kBrdf90Group, uv);
    const float c = clampUnit(cosO);  // max(0, cos) clamped to [0, 1]
    const float R = clampUnit(std::pow(1.0f - c, p.brdfCurvePower) * (r90 - r00) + r00);
    return R * p.reflectivity;
}

// The transmission colours of both flags, from the raw diffuse colour (not the mapped one).
struct Transmission {
    float tau;    // transparency
    float sigma;  // translucency
    Vec3f front;  // Ct, flag 1
    Vec3f behind;  // Ct, flag 0
};

inline Transmission transmission(const WardParams& p, Vec2f uv, float R) {
    const float tau = scalarInput(p, kTransparencyGroup, uv);
    const float sigma = scalarInput(p, kTranslucencyGroup, uv);
    const Vec3f dc = p.diffuseColor;
    const Vec3f Tt{tau + (1.0f - tau) * dc.x, tau + (1.0f - tau) * dc.y,
                   tau + (1.0f - tau) * dc.z};
    const float front = (1.0f - R) * tau;
    const float behind = (1.0f - R) * tau * (1.0f - sigma);
    return {tau, sigma, front * Tt, behind * Tt};
}

// Image-fade mode 4: a mottled grey from two octaves of the host's noise over uv. Periods
// 0.1256065 in u and 0.2160714 in v, the second octave at half the period (0.5) with weight 0.2
// against 0.65 for the first, centred on a grey of 0.58, at noise phase 0.015.
inline Vec3f fadePattern(vyr::ShadingContext* context, Vec2f uv) {
    const Vec4f q1{uv.x / 0.1256065f, uv.y / 0.2160714f, 0.0f, 0.015f};
    const Vec4f q2{q1.x / 0.5f, q1.y / 0.5f, 0.0f, 0.015f};
    const float n1 = context->noise4(&q1);
    const float n2 = context->noise4(&q2);
    const float g = clampUnit(0.58f + 0.65f * (n1 - 0.5f) + 0.2f * (n2 - 0.5f));
    return {g, g, g};
}

}  // namespace ward

template <class Inputs>
struct WardShading {
    // --- Frame, roughness, colours -----------------------------------------------------------

    // The frame of the hit: map 0 (its amount from the amount map when enabled), map 1, the
    // noise bump (through the smoke map's profile when one is bound), then the rotation of the
    // anisotropy axes about N by u_anisoRotation turns.
    static WardGeometry geometry(const std::byte* area, vyr::ShadingContext* context,
                                 const MaterialFrame& f) {
        const WardParams& p = wardParams(area);
        ShadingFrame frame = surfaceFrame(f.N, f, kFrameOrthogonalise);
        if (p.normal0MapEnable) {
            const float amount = scalarInput(p, kNormal0AmountGroup, f.uv);
            frame.N = normalizeIfPositive(heightBump(
                frame, amount, [&](Vec2f o) { return Inputs::normal0(area, context, f.uv, o); }));
            frame = orthonormalFrame(frame, kFrameOrthogonalise);
        }
        if (p.normal1MapEnable) {
            frame.N = normalizeIfPositive(heightMapBump(frame, p.normal1Map, p.normal1Transform,
                                                        p.normal1Amount, 1.0f, f.uv));
            frame = orthonormalFrame(frame, kFrameOrthogonalise);
        }
        const Vec3f Ns = p.normal1MapEnable && p.normal1AsShadingNormal ? frame.N : f.N;
        if (p.procedureMapEnable == 1) {
            Vec3f g;
            if (const vyr::Texture* smoke = p.smokeMap.get(); smoke != nullptr) {
                g = proceduralGradient(context, f.P, frame, p.procedureMapTiling, [&](float n) {
                    Vec4f c{0.0f, 0.0f, 0.0f, 1.0f};
                    const Vec2f at{n, 0.5f};
                    smoke->sample(&c, &at);
                    return c.x;
                });
            } else {
                g = proceduralGradient(context, f.P, frame, p.procedureMapTiling);
            }
            frame.N = applyGradient(frame, g, p.procedureMapAmount);
            frame = orthonormalFrame(frame, kFrameFull);
        }
        const float turns = scalarInput(p, kAnisoRotationGroup, f.uv);
        if (turns != 0.0f) {
            const float phi = kTwoPi * turns;
            const float c = std::cos(phi);
            const float s = std::sin(phi);
            const Vec3f T = c * frame.T + s * frame.B;
            frame.B = c * frame.B - s * frame.T;
            frame.T = T;
        }
        const float s = facingSign(f.I, f.Ng);
        return {frame, Ns, s, facingNormal(s, Ns)};
    }

    // alpha_x from the constant as it stands, or from the map's glossiness; alpha_y = a alpha_x.
    // Deliberate: only the mapped value goes through the glossiness curve.
    static WardRoughness roughness(const WardParams& p, Vec2f uv) {
        const float ax = p.roughMapEnable
                             ? glossinessToRoughness(sampleGroup(p, kRoughGroup, uv).x)
                             : p.roughValue;
        const float a = scalarInput(p, kAnisotropyGroup, uv);
        return {ax, a * ax};
    }

    static WardColors colors(const std::byte* area, vyr::ShadingContext* context, Vec2f uv,
                             float cosO) {
        const WardParams& p = wardParams(area);
        // Specular, each channel clamped.
        Vec3f Cs = p.specularMapEnable ? rgb(sampleGroup(p, kSpecularGroup, uv)) : p.specularColor;
        Cs = {clampUnit(Cs.x), clampUnit(Cs.y), clampUnit(Cs.z)};

        // Diffuse, with the map's alpha fade in mode 1.
        Vec3f Cd = p.diffuseColor;
        const int mode = p.imageFadeEnable;
        if (p.diffuseMapEnable) {
            const Vec4f look = Inputs::diffuse(area, context, uv);
            const Vec3f m = rgb(look) * p.diffuseAmount;
            if (mode == 1) {
                const float f = look.w * p.imageFade;
                const Vec3f dc = p.diffuseColor;
                Cd = {m.x * f + (1.0f - f) * dc.x, m.y * f + (1.0f - f) * dc.y,
                      m.z * f + (1.0f - f) * dc.z};
            } else {
                Cd = m;
            }
        }
        // Modes 2-4 fade towards a colour, with or without the diffuse map.
        if (mode >= 2 && mode <= 4) {
            const Vec3f F = mode == 2   ? rgb(sampleGroup(p, kImageFadeGroup, uv))
                            : mode == 3 ? p.imageFadeColor
                                        : ward::fadePattern(context, uv);
            const float f = p.imageFade;
            Cd = {f * Cd.x + (1.0f - f) * F.x, f * Cd.y + (1.0f - f) * F.y,
                  f * Cd.z + (1.0f - f) * F.z};
        }

        const float R = ward::reflectivity(p, uv, cosO);
        // Metal: the specular takes the diffuse colour, the diffuse loses the specular's
        // luminance. Deliberate: the energy split below scales it once more by (1 - R).
        if (p.isMetal) {
            const float l = (0.212671f * Cs.x + 0.71516f * Cs.y + 0.072169f * Cs.z) * R;
            Cs = mul(Cd, Cs);
            Cd = (1.0f - l) * Cd;
        }
        Cs = R * Cs;
        Cd = (1.0f - R) * Cd;

        if (!p.transparency) {
            return {Cd, Cs, {0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}};
        }
        const ward::Transmission t = ward::transmission(p, uv, R);
        const float ts = t.tau * t.sigma;
        return {(1.0f - t.tau) * Cd, Cs, t.front, {ts * Cd.x, ts * Cd.y, ts * Cd.z}};
    }

    // The cosine factor of a light direction: against Nf, or against the bumped N.
    static float cosineFactor(const WardParams& p, const WardGeometry& g, Vec3f Llocal, Vec3f L) {
        return p.cosineUsesBump ? Llocal.z : dot(g.Nf, L);
    }

    // --- Slots -------------------------------------------------------------------------------

    static void evaluateBsdf(const std::byte* area, vyr::ShadingContext* context,
                             vyr::ShadingState* state) {
        const WardParams& p = wardParams(area);
        const MaterialFrame f = copyFrame(*state);
        const WardGeometry g = geometry(area, context, f);
        const Vec3f D = toLocal(g.frame, f.I);
        const Vec3f L = toLocal(g.frame, state->bsdfDir);
        const Vec3f zero{0.0f, 0.0f, 0.0f};
        if (!(L.z > 0.0f && D.z < 0.0f)) {
            state->bsdfWeight = zero;
            state->bsdfCos = 0.0f;
            return;
        }
        const WardRoughness r = roughness(p, f.uv);
        const WardColors c = colors(area, context, f.uv, -D.z);
        const float cosL = cosineFactor(p, g, L, state->bsdfDir);
        if (!(cosL > 0.0f)) {
            state->bsdfWeight = zero;
            state->bsdfCos = 0.0f;
            return;
        }
        state->bsdfWeight = lobeValue(c, wardLobe(D, L, r.ax, r.ay));
        state->bsdfCos = cosL;
    }

    static void sampleBsdf(const std::byte* area, vyr::ShadingContext* context,
                           vyr::ShadingState* state) {
        const WardParams& p = wardParams(area);
        const MaterialFrame f = copyFrame(*state);
        const WardGeometry g = geometry(area, context, f);
        const Vec3f D = toLocal(g.frame, f.I);
        if (D.z >= 0.0f) {
            state->bsdfLobe = 0;
            return;
        }
        const WardRoughness r = roughness(p, f.uv);
        const WardColors c = colors(area, context, f.uv, -D.z);
        const Vec3f diffuse = kInvPi * c.Cd;

        // Glossy only: the lobe's own sample, its value without the diffuse term.
        if (state->lobeRequest[0] == 0 && state->lobeRequest[1] == 0) {
            float xi[2];
            const float* const u = context->random2(xi);
            const WardLobeSample s = sampleWardLobe(D, r.ax, r.ay, u[0], u[1]);
            if (!s.valid) {
                state->bsdfLobe = 0;
                return;
            }
            const Vec3f L = toWorld(g.frame, s.L);
            state->bsdfDir = L;
            state->bsdfCos = cosineFactor(p, g, s.L, L);
            state->bsdfPdf = 1.0f / s.pdf;
            state->bsdfWeight = lobeValue(c, s.lobe) - diffuse;
            state->bsdfLobe = 4;
            return;
        }

        // Mixed: the lobe or the cosine-weighted hemisphere, chosen by the colours, with the
        // density of the mixture.
        const float pDiffuse = ward::maxOf(c.Cd) == 0.0f   ? 0.0f
                               : ward::maxOf(c.Cs) == 0.0f ? 1.0f
                                                           : 0.5f;
        const float xi = context->random1();
        float uv2[2];
        Vec3f Llocal;
        Vec3f value;
        float pdfLobe;
        if (xi > pDiffuse) {
            const float* const u = context->random2(uv2);
            const WardLobeSample s = sampleWardLobe(D, r.ax, r.ay, u[0], u[1]);
            if (!s.valid) {
                state->bsdfLobe = 0;
                return;
            }
            Llocal = s.L;
            value = lobeValue(c, s.lobe);
            pdfLobe = s.pdf;
        } else {
            const float* const u = context->random2(uv2);
            Llocal = cosineHemisphere(u[0], u[1]);
            value = lobeValue(c, wardLobe(D, Llocal, r.ax, r.ay));
            // Without a lobe to mix in its density is not needed (and may be infinite).
            pdfLobe = pDiffuse < 1.0f ? wardLobePdf(D, Llocal, r.ax, r.ay) : 0.0f;
        }
        const Vec3f L = toWorld(g.frame, Llocal);
        const float cosL = cosineFactor(p, g, Llocal, L);
        state->bsdfDir = L;
        state->bsdfCos = cosL;
        state->bsdfWeight = value;
        if (cosL >= 0.0f) {
            const float P = (1.0f - pDiffuse) * pdfLobe + Llocal.z * pDiffuse * kInvPi;
            if (P > 0.0f) {
                state->bsdfPdf = 1.0f / P;
                state->bsdfLobe = 2;
                return;
            }
        }
        state->bsdfLobe = 0;
    }

    // Cutout first; a transparent surface passes its transmission colour instead.
    static void shadow(const std::byte* area, vyr::ShadingContext* context,
                       vyr::ShadingState* state) {
        const WardParams& p = wardParams(area);
        Vec3f pass{0.0f, 0.0f, 0.0f};
        if (p.cutoutMapEnable) {
            const float c = Inputs::cutout(area, context, state->uv).x * p.cutoutAmount;
            // Deliberate: exactly 1 is opaque, anything else passes 1 - c, even negative.
            if (c != 1.0f) {
                pass = {1.0f - c, 1.0f - c, 1.0f - c};
            }
        }
        if (p.transparency) {
            // The flag of the side the shadow ray arrives on, the cosine against that side.
            const float s = facingSign(state->rayDir, state->geoNormal);
            const float cosO = -dot(state->rayDir, facingNormal(s, state->normal));
            const ward::Transmission t =
                ward::transmission(p, state->uv, ward::reflectivity(p, state->uv, cosO));
            pass = s < 0.0f ? t.front : t.behind;
        }
        state->shadowTransmit = pass;
    }

    static void shade(const std::byte* area, vyr::ShadingContext* context,
                      vyr::ShadingState* state) {
        shadeWithFrame(state, [&](const MaterialFrame& f, Contributions& out) {
            body(area, context, f, out);
        });
    }

    // The six contributions: 0 direct diffuse, 1 highlight, 2 translucency, 3 glossy reflection,
    // 4 transmission, 5 emission. Shade is two-sided: a ray from behind sees the frame turned
    // towards it.
    static void body(const std::byte* area, vyr::ShadingContext* context, const MaterialFrame& f,
                     Contributions& out) {
        const WardParams& p = wardParams(area);
        WardGeometry g = geometry(area, context, f);
        if (g.s > 0.0f) {
            g.frame.N = -g.frame.N;
            g.frame.B = -g.frame.B;
        }
        const Vec3f D = toLocal(g.frame, f.I);
        const WardRoughness r = roughness(p, f.uv);
        const WardColors c = colors(area, context, f.uv, -D.z);

        // Direct light: diffuse and highlight on the viewer's side, translucency from behind.
        Vec3f direct{0.0f, 0.0f, 0.0f};
        Vec3f highlight{0.0f, 0.0f, 0.0f};
        Vec3f translucent{0.0f, 0.0f, 0.0f};
        const bool anyBehind = !isBlack(c.CdBehind);
        for (const vyr::LightSample* l = context->lightSamples(&f.P); l != nullptr; l = l->next) {
            const Vec3f light = l->factor * l->color;
            const float side = dot(g.Nf, l->direction);
            const Vec3f L = toLocal(g.frame, l->direction);
            const float cosL = p.cosineUsesBump ? L.z : side;
            if (side > 0.0f) {
                if (!(cosL > 0.0f)) {
                    continue;
                }
                direct = direct + mul((kInvPi * cosL) * c.Cd, light);
                if (L.z > 0.0f && D.z < 0.0f) {
                    const WardLobe lobe = wardLobe(D, L, r.ax, r.ay);
                    const Vec3f glossy{c.Cs.x * lobe.k * lobe.e, c.Cs.y * lobe.k * lobe.e,
                                       c.Cs.z * lobe.k * lobe.e};
                    highlight = highlight + mul(cosL * glossy, light);
                }
            } else if (side < 0.0f && anyBehind) {
                translucent = translucent + mul((kInvPi * std::fabs(cosL)) * c.CdBehind, light);
            }
        }
        out.color[kDirectDiffuse] = withAlpha(direct, 1.0f);
        out.color[kHighlight] = withAlpha(highlight, 1.0f);
        out.color[kTranslucency] = withAlpha(translucent, 1.0f);

        // Glossy reflection about the bumped facing normal, unless only highlights are wanted.
        out.side[kReflectionWeight] = c.Cs;
        if (!p.reflectionHighlightOnly && !isBlack(c.Cs)) {
            const Vec3f R = mirrorDirection(f.I, g.frame.N);
            Vec3f scratch;
            const Vec3f* const radiance = context->traceGlossyReflection(
                &scratch, &f.P, &R, p.reflectGlossyValue, importanceOf(c.Cs));
            out.color[kReflection] = withAlpha(mul(c.Cs, *radiance), 1.0f);
        }

        // Transmission through the surface, refracted by u_ior, fading towards grazing views
        // by u_transparencyFade.
        const float fade = p.transparencyFade;
        const Vec3f Wt = (1.0f - fade + fade * -D.z) * c.Ct;
        out.side[kTransmissionWeight] = Wt;
        if (!isBlack(Wt)) {
            const bool entering = !(g.s > 0.0f);
            const float eta = entering ? f.iorHere / p.ior : p.ior / f.iorBeyond;
            const float cosI = -D.z;
            const float k = 1.0f - eta * eta * (1.0f - cosI * cosI);
            if (k >= 0.0f) {
                const Vec3f T = eta * f.I + (eta * cosI - std::sqrt(k)) * g.frame.N;
                const float glossiness =
                    p.refractGlossyMapEnable
                        ? refractGlossySpread(sampleGroup(p, kRefractGlossyGroup, f.uv).x)
                        : p.refractGlossyValue;
                Vec3f scratch;
                const Vec3f* const radiance = context->traceGlossyRefraction(
                    &scratch, &f.P, &T, glossiness, importanceOf(Wt));
                out.color[kTransmission] = withAlpha(mul(Wt, *radiance), 1.0f);
            }
        }

        // Emission: the additional colour, or its map, times the amount.
        const Vec3f emitted = p.additionalMapEnable ? rgb(sampleGroup(p, kAdditionalGroup, f.uv))
                                                    : p.additionalAmount * p.additionalColor;
        out.color[kEmission] = withAlpha(emitted, 1.0f);
    }

private:
    // Cd (1/pi) + (Cs k) e, channel by channel.
    static Vec3f lobeValue(const WardColors& c, WardLobe lobe) {
        return {c.Cd.x * kInvPi + c.Cs.x * lobe.k * lobe.e,
                c.Cd.y * kInvPi + c.Cs.y * lobe.k * lobe.e,
                c.Cd.z * kInvPi + c.Cs.z * lobe.k * lobe.e};
    }
};

// The four shading slots of a Ward-family shader over its params (WardParams first), so the base
// and each variant are one class line and a table.
template <class Derived, class Params, class Inputs>
class WardSlots : public ShaderFrame<Derived, vyr::MaterialShader, Params> {
    using Shading = WardShading<Inputs>;

public:
    static constexpr auto& kVaryings = kSurfaceVaryings;

    void shade(vyr::ShadingContext* context, vyr::ShadingState* state) const override {
        Shading::shade(area(), context, state);
    }
    void shadow(vyr::ShadingContext* context, vyr::ShadingState* state) const override {
        Shading::shadow(area(), context, state);
    }
    void evaluateBsdf(vyr::ShadingContext* context, vyr::ShadingState* state) const override {
        Shading::evaluateBsdf(area(), context, state);
    }
    void sampleBsdf(vyr::ShadingContext* context, vyr::ShadingState* state) const override {
        Shading::sampleBsdf(area(), context, state);
    }
    void finishShading() override {}

private:
    const std::byte* area() const { return reinterpret_cast<const std::byte*>(&this->params); }
};

}  // namespace vexakelo
