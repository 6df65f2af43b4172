// vexa_kelo_Mtl_Glazing: thin glass panes. Material, flags 0x0F, varyings bitangent, tangent,
// uv. A constant reflected share Fg = reflectance^2 / level (independent of the angle), light
// passing straight through without bending (the host continues the incident ray), and the
// Dielectric's highlight model with Fg in place of the Fresnel weight. `I` (rayDir) points
// towards the surface; a straight-through sample's cosine is therefore negative.
#include <cmath>

#include "frame/shader_frame.h"
#include "materials/material_frame.h"

namespace vexakelo {

struct GlazingParams {
    float reflectance = 0.1f;
    vyr::Vec3f reflectColor{1.0f, 1.0f, 1.0f};
    vyr::Vec3f refractColor{1.0f, 1.0f, 1.0f};
    float rough = 0.0001f;
    float level = 1.0f;
    bool transmittanceMapEnable = false;
    vyr::TextureHandle transmittanceMap{};
    vyr::Mat3f transmittanceTransform{};
    float transmittanceAmount = 1.0f;
};

using GP = GlazingParams;
// clang-format off
inline constexpr ParamDesc kGlazingParamTable[] = {
    VEXAKELO_PARAM(GP, Float,     "u_reflectance",            reflectance),         // squared into the share
    VEXAKELO_PARAM(GP, Vec3f,     "u_reflectColor",           reflectColor),
    VEXAKELO_PARAM(GP, Vec3f,     "u_refractColor",           refractColor),        // tint of what passes
    VEXAKELO_PARAM(GP, Float,     "u_rough",                  rough),               // highlight alpha^2
    VEXAKELO_PARAM(GP, Float,     "u_level",                  level),               // number of panes
    VEXAKELO_PARAM(GP, Bool,      "u_transmittanceMapEnable", transmittanceMapEnable),
    VEXAKELO_PARAM(GP, Texture2D, "u_transmittanceMap",       transmittanceMap),    // replaces refract colour
    VEXAKELO_PARAM(GP, Mat3f,     "u_transmittanceTransform", transmittanceTransform),
    VEXAKELO_PARAM(GP, Float,     "u_transmittanceAmount",    transmittanceAmount),
};
// clang-format on
static_assert(isOrderedTable<GlazingParams>(kGlazingParamTable));
static_assert(offsetof(GlazingParams, transmittanceMap) == 40);

}  // namespace vexakelo

namespace vyr {

class vexa_kelo_Mtl_Glazing final
    : public vexakelo::ShaderFrame<vexa_kelo_Mtl_Glazing, MaterialShader, vexakelo::GlazingParams> {
public:
    static constexpr std::string_view kName = "vexa_kelo_Mtl_Glazing";
    static constexpr auto& kVaryings = vexakelo::kSurfaceVaryings;
    static std::span<const vexakelo::ParamDesc> parameters() {
        return vexakelo::kGlazingParamTable;
    }

    void shade(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        shadeWithFrame(state, [&](const MaterialFrame& f, Contributions& out) {
            // No bump and an isotropic highlight: nothing here needs the tangent frame, whose
            // normal would be N itself, so it is not built.
            const Vec3f Nf = facingNormal(facingSign(f.I, f.Ng), f.N);
            const float Fg = share();
            const float alpha2 = params.rough;
            const Vec3f V = -f.I;

            // Highlights: the Dielectric's model, both indices 1, Fg for the Fresnel weight.
            out.color[kHighlight] =
                withAlpha(glassHighlights(context, f.P, V, f.N, Nf, Fg, alpha2, 1.0f, 1.0f), 1.0f);

            // Constant-share reflection.
            const Vec3f Wr = Fg * params.reflectColor;
            out.side[kReflectionWeight] = Wr;
            if (!isBlack(Wr)) {
                out.color[kReflection] =
                    withAlpha(traceWeighted(context, f.P, mirrorDirection(f.I, Nf), Wr), 1.0f);
            }

            // Transmission colour: the map replaces the refract colour, rooted by the level.
            Vec3f C = params.refractColor;
            if (params.transmittanceMapEnable) {
                const Vec4f m = sampleTexture(
                    params.transmittanceMap, applyUvTransform(params.transmittanceTransform, f.uv));
                const float e = 1.0f / params.level;
                const float amount = params.transmittanceAmount;
                C = {std::pow(amount * m.x, e), std::pow(amount * m.y, e),
                     std::pow(amount * m.z, e)};
            }
            const Vec3f Wt = (1.0f - Fg) * C;
            out.side[kTransmissionWeight] = Wt;
            if (isBlack(Wt)) {
                return;
            }
            // Straight through: the host continues the incident ray unchanged.
            Vec3f scratch;
            const Vec3f* const radiance =
                context->traceStraight(&scratch, &f.P, &f.I, importanceOf(Wt));
            out.color[kTransmission] = withAlpha(mul(Wt, *radiance), 1.0f);
        });
    }

    // Independent of geometry and of the transmittance map.
    void shadow(ShadingContext*, ShadingState* state) const override {
        state->shadowTransmit = (1.0f - share()) * params.refractColor;
    }

    void evaluateBsdf(ShadingContext*, ShadingState* state) const override {
        using namespace vexakelo;
        const MaterialFrame f = copyFrame(*state);
        const Vec3f I = f.I;
        const Vec3f L = state->bsdfDir;
        const Vec3f Nf = facingNormal(facingSign(I, f.Ng), f.N);
        const ShadingFrame frame = surfaceFrame(Nf, f, kFrameFull);
        const Vec3f wi{-dot(frame.T, I), -dot(frame.B, I), -dot(frame.N, I)};
        const Vec3f lo = toLocal(frame, L);
        const float Fg = share();
        const float alpha2 = params.rough;

        const Vec3f H = normalizeIfPositive(wi + lo);
        const float sign = wi.z > 0.0f ? 1.0f : (wi.z < 0.0f ? -1.0f : 0.0f);
        const Vec3f Hr = H * sign;
        const Vec3f Ht = -H;
        const auto G1 = [&](Vec3f x, Vec3f h) {
            if (!(dot(h, x) * x.z > 0.0f)) {
                return 0.0f;
            }
            const float t = std::tan(x.z);
            return 2.0f / (std::sqrt(1.0f + alpha2 * (t * t)) + 1.0f);
        };

        float fr = G1(wi, Hr) * G1(lo, Hr);
        if (fr > 0.0f) {
            fr = fr * microfacetD(Hr.z, alpha2);
        }
        if (fr > 0.0f) {
            fr = fr / (4.0f * std::fabs(lo.z * wi.z));
        }
        // Deliberate: the light's shadowing test in the transmission uses Hr, not Ht.
        float ft = G1(wi, Ht) * G1(lo, Hr);
        if (ft > 0.0f) {
            ft = ft * microfacetD(Ht.z, alpha2);
        }
        if (ft > 0.0f) {
            const float hl = dot(Ht, lo);
            const float hw = dot(Ht, wi);
            const float s = hl + hw;
            ft = ft * std::fabs(hl * hw) / (std::fabs(lo.z * wi.z) * (s * s));
        }
        const float v = (1.0f - Fg) * ft + Fg * fr;
        state->bsdfWeight = {v, v, v};
        state->bsdfCos = std::fabs(lo.z);
    }

    void sampleBsdf(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        const std::uint8_t* const req = state->lobeRequest;
        const bool wantReflect = req[0] != 0 || req[1] != 0 || req[2] != 0;
        const bool wantPass = req[3] != 0 || req[4] != 0 || req[5] != 0;
        if (!wantReflect && !wantPass) {
            state->bsdfLobe = 0;
            return;
        }
        const Vec3f I = state->rayDir;
        const Vec3f Nf = facingNormal(facingSign(I, state->geoNormal), state->normal);
        const float Fg = share();

        float k = 1.0f;
        if (wantReflect) {
            bool reflect = true;
            if (wantPass) {
                reflect = !(context->random1() > Fg);
            } else {
                k = Fg;
            }
            if (reflect) {
                const float cos = -dot(Nf, I);
                state->bsdfCos = cos;
                state->bsdfDir = I + (2.0f * cos) * Nf;
                state->bsdfWeight = (k / cos) * params.reflectColor;
                state->bsdfPdf = 1.0f;
                state->bsdfLobe = 4;
                return;
            }
        } else {
            k = 1.0f - Fg;
        }
        // Straight through; the cosine keeps its (negative) sign and so does the weight.
        const float cos = dot(Nf, I);
        state->bsdfDir = I;
        state->bsdfCos = cos;
        state->bsdfWeight = (k / cos) * params.refractColor;
        state->bsdfPdf = 1.0f;
        state->bsdfLobe = 32;
    }

    void finishShading() override {}

private:
    // Fg = reflectance^2 / level; "u_level" = 0 divides as computed.
    float share() const { return params.reflectance * params.reflectance / params.level; }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Glazing)
