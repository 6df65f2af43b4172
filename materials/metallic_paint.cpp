// vexa_kelo_Mtl_MetallicPaint: layered car paint. Material, flags 0x0D (opaque: no shadow
// slot), varyings bitangent, tangent, uv. A clear coat (dielectric Fresnel, smooth or GGX,
// tinted, with optional orange peel) over a base that is either a pigment whose colour flops
// from face to flop away from the highlight, or a sparse metal or pearl flake with a GGX lobe
// about its own tilted normal. The base is seen through the coat's transmission both ways.
// Presets by an int give whole looks.
//
// Conventions: `rayDir` points towards the surface and V = -rayDir; Nf is the shading normal on
// the viewer's side, Nc the coat's (peel-perturbed) normal; every cosine written is against Nf.
// Pearl thickness is in nanometres.
#include <cmath>

#include "frame/constants.h"
#include "frame/shader_frame.h"
#include "materials/map_group.h"
#include "materials/material_frame.h"
#include "materials/metal/flakes.h"
#include "materials/metal/ggx.h"
#include "materials/metal/optics.h"
#include "materials/metal/presets.h"
#include "materials/metal/surface.h"
#include "materials/metal/thin_film.h"

namespace vexakelo {

struct PaintParams {
    std::int32_t preset = metal::kCustomPaint;
    bool baseColorMapEnable = false;
    vyr::TextureHandle baseColorMap{};
    vyr::Mat3f baseColorTransform{{1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f}};
    float baseColorAmount = 1.0f;
    vyr::Vec3f baseColor{0.6f, 0.03f, 0.03f};
    vyr::Vec3f flopColor{0.12f, 0.005f, 0.005f};
    float flopFalloff = 4.0f;
    std::int32_t flakeMetal = metal::kAluminium;
    vyr::Vec3f flakeColor{1.0f, 1.0f, 1.0f};
    float flakeDensity = 0.5f;
    float flakeSize = 0.002f;
    float flakeSpread = 0.2f;
    float flakeRoughness = 0.2f;
    float pearlRatio = 0.0f;
    float pearlThickness = 100.0f;
    vyr::Vec3f pearlColor{1.0f, 1.0f, 1.0f};
    float coatWeight = 1.0f;
    vyr::Vec3f coatColor{1.0f, 1.0f, 1.0f};
    float coatIor = 1.5f;
    float coatRoughness = 0.0f;
    float peelAmount = 0.0f;
    float peelScale = 300.0f;
    std::int32_t seed = 0;
};

using PP = PaintParams;
// clang-format off
inline constexpr ParamDesc kPaintParamTable[] = {
    VEXAKELO_PARAM(PP, Int,       "u_preset",             preset),              // 1-7 a whole look; 0 custom
    VEXAKELO_PARAM(PP, Bool,      "u_baseColorMapEnable", baseColorMapEnable),
    VEXAKELO_PARAM(PP, Texture2D, "u_baseColorMap",       baseColorMap),
    VEXAKELO_PARAM(PP, Mat3f,     "u_baseColorTransform", baseColorTransform),
    VEXAKELO_PARAM(PP, Float,     "u_baseColorAmount",    baseColorAmount),
    VEXAKELO_PARAM(PP, Vec3f,     "u_baseColor",          baseColor),           // pigment facing the highlight
    VEXAKELO_PARAM(PP, Vec3f,     "u_flopColor",          flopColor),           // pigment away from it
    VEXAKELO_PARAM(PP, Float,     "u_flopFalloff",        flopFalloff),         // exponent on N.h
    VEXAKELO_PARAM(PP, Int,       "u_flakeMetal",         flakeMetal),          // metal preset id; 0 Schlick
    VEXAKELO_PARAM(PP, Vec3f,     "u_flakeColor",         flakeColor),          // filter, or F0 for Schlick
    VEXAKELO_PARAM(PP, Float,     "u_flakeDensity",       flakeDensity),        // share of cells with a flake
    VEXAKELO_PARAM(PP, Float,     "u_flakeSize",          flakeSize),           // cell size in uv
    VEXAKELO_PARAM(PP, Float,     "u_flakeSpread",        flakeSpread),         // GGX width of the tilts
    VEXAKELO_PARAM(PP, Float,     "u_flakeRoughness",     flakeRoughness),      // r of one flake, alpha = r^2
    VEXAKELO_PARAM(PP, Float,     "u_pearlRatio",         pearlRatio),          // share of pearl flakes
    VEXAKELO_PARAM(PP, Float,     "u_pearlThickness",     pearlThickness),      // titania on mica, nm
    VEXAKELO_PARAM(PP, Vec3f,     "u_pearlColor",         pearlColor),
    VEXAKELO_PARAM(PP, Float,     "u_coatWeight",         coatWeight),
    VEXAKELO_PARAM(PP, Vec3f,     "u_coatColor",          coatColor),           // transmittance head-on, both ways
    VEXAKELO_PARAM(PP, Float,     "u_coatIor",            coatIor),
    VEXAKELO_PARAM(PP, Float,     "u_coatRoughness",      coatRoughness),       // < 0.03 a mirror
    VEXAKELO_PARAM(PP, Float,     "u_peelAmount",         peelAmount),          // orange peel slope
    VEXAKELO_PARAM(PP, Float,     "u_peelScale",          peelScale),           // peel bumps per uv
    VEXAKELO_PARAM(PP, Int,       "u_seed",               seed),
};
// clang-format on
static_assert(isOrderedTable<PaintParams>(kPaintParamTable));
// Object offsets are the params' plus the 8-byte table pointer.
static_assert(offsetof(PP, baseColorMapEnable) + 8 == 12 && offsetof(PP, baseColorMap) + 8 == 16);
static_assert(offsetof(PP, baseColor) + 8 == 72 && offsetof(PP, flopColor) + 8 == 84);
static_assert(offsetof(PP, flakeMetal) + 8 == 100 && offsetof(PP, flakeDensity) + 8 == 116);
static_assert(offsetof(PP, pearlRatio) + 8 == 132 && offsetof(PP, coatWeight) + 8 == 152);
static_assert(offsetof(PP, peelAmount) + 8 == 176 && offsetof(PP, seed) + 8 == 184);

// clang-format off
inline constexpr MapGroup<PP, vyr::Vec3f> kBaseColor{&PP::baseColorMapEnable, &PP::baseColorMap, &PP::baseColorTransform, &PP::baseColorAmount, &PP::baseColor};
// clang-format on

namespace {

inline constexpr float kSmoothCoat = 0.03f;  // coat roughness below which it is a mirror
inline constexpr float kMinAlpha = 0.001f;
inline constexpr float kPeelStep = 0.01f;
inline constexpr float kPeelSeedOffset = 19.0f;
inline constexpr float kTitania = 2.5f;      // pearl layer
inline constexpr float kMica = 1.58f;        // its substrate

inline constexpr int kLobeDiffuse = 2;
inline constexpr int kLobeGlossy = 16;
inline constexpr int kLobeSpecular = 32;

enum PaintLobe : int { kCoatLobe = 0, kFlakeLobe = 1, kPigmentLobe = 2 };

struct PaintSurface {
    ShadingFrame frame;  // (T, B, Nf)
    Vec3f geoFacing;
    Vec3f Nc;            // coat normal
    metal::PaintLook look;
    float coatWeight;
    float coatIor;
    bool smoothCoat;
    metal::Ggx coat;
    metal::Flake flake;
    ShadingFrame flakeFrame;  // about the flake's normal, world space
    metal::Ggx flakeLobe;
};

}  // namespace

}  // namespace vexakelo

namespace vyr {

class vexa_kelo_Mtl_MetallicPaint final
    : public vexakelo::ShaderFrame<vexa_kelo_Mtl_MetallicPaint, MaterialShader,
                                   vexakelo::PaintParams> {
public:
    static constexpr std::string_view kName = "vexa_kelo_Mtl_MetallicPaint";
    static constexpr auto& kVaryings = vexakelo::kSurfaceVaryings;
    static std::span<const vexakelo::ParamDesc> parameters() {
        return vexakelo::kPaintParamTable;
    }

    void shade(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        shadeWithFrame(state, [&](const MaterialFrame& f, Contributions& out) {
            const PaintSurface s = surface(context, f);
            const Vec3f V = -f.I;
            if (!(dot(V, s.frame.N) > 0.0f)) {
                return;
            }

            // Direct light: the rough coat as highlight, the base through the coat as diffuse.
            Vec3f highlight{0.0f, 0.0f, 0.0f};
            Vec3f base{0.0f, 0.0f, 0.0f};
            for (const LightSample* l = context->lightSamples(&f.P); l != nullptr; l = l->next) {
                const Vec3f L = l->direction;
                const float cosL = dot(L, s.frame.N);
                if (!(cosL > 0.0f && dot(L, s.geoFacing) > 0.0f)) {
                    continue;
                }
                const float k = cosL * l->factor;
                if (!s.smoothCoat) {
                    highlight = highlight + (k * coatValue(s, V, L)) * l->color;
                }
                base = base + mul(k * baseValue(s, V, L), l->color);
            }
            out.color[kHighlight] = withAlpha(highlight, 1.0f);
            out.color[kDirectDiffuse] = withAlpha(base, 1.0f);

            // The coat's reflection, drawn first: the mirror, or one visible-normal sample.
            Vec3f reflected{0.0f, 0.0f, 0.0f};
            const float vc = dot(V, s.Nc);
            if (s.coatWeight > 0.0f && vc > 0.0f) {
                Vec3f R;
                float w;
                if (s.smoothCoat) {
                    R = (2.0f * vc) * s.Nc - V;
                    w = coatFresnel(s, vc);
                } else {
                    const ShadingFrame cf = coatFrame(s);
                    const Vec3f v = toLocal(cf, V);
                    float u[2];
                    const float* const xi = context->random2(u);
                    const Vec3f h = metal::sampleVisibleNormal(s.coat, v, xi[0], xi[1]);
                    const Vec3f r = metal::reflectAbout(v, h);
                    R = toWorld(cf, r);
                    w = r.z > 0.0f ? coatFresnel(s, dot(v, h)) * metal::ggxG2(s.coat, v, r) /
                                         metal::ggxG1(s.coat, v)
                                   : 0.0f;
                }
                const Vec3f W{w, w, w};
                if (w > 0.0f && dot(R, s.frame.N) > 0.0f && dot(R, s.geoFacing) > 0.0f) {
                    out.side[kReflectionWeight] = W;
                    reflected = traceWeighted(context, f.P, R, W);
                }
            }

            // One flake sample: the environment sparkling in the flake.
            if (s.flake.present) {
                const Vec3f v = toLocal(s.flakeFrame, V);
                if (v.z > 0.0f) {
                    float u[2];
                    const float* const xi = context->random2(u);
                    const Vec3f h = metal::sampleVisibleNormal(s.flakeLobe, v, xi[0], xi[1]);
                    const Vec3f r = metal::reflectAbout(v, h);
                    const Vec3f R = toWorld(s.flakeFrame, r);
                    const float nr = dot(R, s.frame.N);
                    if (r.z > 0.0f && nr > 0.0f && dot(R, s.geoFacing) > 0.0f) {
                        const float nv = dot(V, s.frame.N);
                        const float g = metal::ggxG2(s.flakeLobe, v, r) / metal::ggxG1(s.flakeLobe, v);
                        const float proj = std::fmin(1.0f, (v.z * nr) / (nv * r.z));
                        const Vec3f W = mul(coatTransmission(s, V, R),
                                            (g * proj) * flakeFresnel(s, dot(v, h)));
                        if (!isBlack(W)) {
                            out.side[kSideOutput2] = W;
                            reflected = reflected + traceWeighted(context, f.P, R, W);
                        }
                    }
                }
            }
            out.color[kReflection] = withAlpha(reflected, 1.0f);
        });
    }

    // Opaque: nothing passes to a shadow ray.
    void shadow(ShadingContext*, ShadingState*) const override {}

    // The smooth coat is a mirror with no finite value; a rough one is included.
    void evaluateBsdf(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        const MaterialFrame f = copyFrame(*state);
        const PaintSurface s = surface(context, f);
        const Vec3f L = state->bsdfDir;
        state->bsdfWeight = value(s, -f.I, L);
        state->bsdfCos = dot(L, s.frame.N);
    }

    void sampleBsdf(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        const std::uint8_t* const req = state->lobeRequest;
        if (req[0] == 0 && req[1] == 0 && req[2] == 0) {
            state->bsdfLobe = 0;
            return;
        }
        const MaterialFrame f = copyFrame(*state);
        const PaintSurface s = surface(context, f);
        const Vec3f V = -f.I;
        const float vc = dot(V, s.Nc);
        if (!(dot(V, s.frame.N) > 0.0f)) {
            state->bsdfLobe = 0;
            return;
        }
        const float Fv = coatFresnel(s, clampUnit(vc));
        float w[3] = {Fv, 0.0f, 0.0f};
        if (s.flake.present) {
            const float mv = dot(V, s.flakeFrame.N);
            w[kFlakeLobe] = mv > 0.0f ? (1.0f - Fv) * metal::luminance(flakeFresnel(s, mv)) : 0.0f;
        } else {
            w[kPigmentLobe] = (1.0f - Fv) * metal::luminance(s.look.base);
        }
        float total;
        const int lobe = metal::pickLobe(context, w, total);
        if (lobe < 0) {
            state->bsdfLobe = 0;
            return;
        }

        if (lobe == kCoatLobe && s.smoothCoat) {
            const Vec3f R = (2.0f * vc) * s.Nc - V;
            const float cos = dot(R, s.frame.N);
            if (!(cos > 0.0f && dot(R, s.geoFacing) > 0.0f)) {
                state->bsdfLobe = 0;
                return;
            }
            const float k = Fv / ((w[kCoatLobe] / total) * cos);
            state->bsdfDir = R;
            state->bsdfWeight = {k, k, k};
            state->bsdfCos = cos;
            state->bsdfPdf = 1.0f;
            state->bsdfLobe = kLobeSpecular;
            return;
        }

        float u[2];
        const float* const xi = context->random2(u);
        Vec3f L;
        if (lobe == kPigmentLobe) {
            L = toWorld(s.frame, cosineHemisphere(xi[0], xi[1]));
        } else {
            const ShadingFrame lf = lobe == kCoatLobe ? coatFrame(s) : s.flakeFrame;
            const metal::Ggx& g = lobe == kCoatLobe ? s.coat : s.flakeLobe;
            const Vec3f v = toLocal(lf, V);
            const Vec3f l = metal::reflectAbout(v, metal::sampleVisibleNormal(g, v, xi[0], xi[1]));
            if (!(v.z > 0.0f && l.z > 0.0f)) {
                state->bsdfLobe = 0;  // below the lobe's own plane: its density is 0 there
                return;
            }
            L = toWorld(lf, l);
        }
        const float cos = dot(L, s.frame.N);
        if (!(cos > 0.0f && dot(L, s.geoFacing) > 0.0f)) {
            state->bsdfLobe = 0;
            return;
        }
        const float pdf = density(s, w, total, V, L);
        state->bsdfDir = L;
        state->bsdfWeight = value(s, V, L) / pdf;
        state->bsdfCos = cos;
        state->bsdfPdf = pdf;
        state->bsdfLobe = lobe == kPigmentLobe ? kLobeDiffuse : kLobeGlossy;
    }

    void finishShading() override {}

private:
    vexakelo::PaintSurface surface(ShadingContext* context,
                                   const vexakelo::MaterialFrame& f) const {
        using namespace vexakelo;
        PaintSurface s;
        const float facing = facingSign(f.I, f.Ng);
        s.geoFacing = facingNormal(facing, f.Ng);
        s.frame = metal::facingFrame(surfaceFrame(f.N, f, kFrameFull), facing);
        const Vec3f N = s.frame.N;

        // The look: a preset's colours and recipe, or the parameters; a base map wins either way.
        if (metal::isPaintPreset(params.preset)) {
            s.look = metal::kPaintPresets[params.preset];
        } else {
            s.look = {params.baseColor,   params.flopColor,    params.flopFalloff,
                      params.flakeMetal,  params.flakeColor,   params.flakeDensity,
                      params.pearlRatio,  params.pearlThickness, params.pearlColor,
                      params.coatColor};
        }
        if (params.baseColorMapEnable) {
            s.look.base = colorInput(params, kBaseColor, f.uv);
        }
        s.look.base = clampUnit(s.look.base);
        s.look.flop = clampUnit(s.look.flop);
        s.look.coatColor = clampUnit(s.look.coatColor);

        // Coat, with the orange peel's slope taken from three noise values.
        s.Nc = N;
        if (params.peelAmount > 0.0f) {
            const Vec2f q0{f.uv.x * params.peelScale + kPeelSeedOffset * static_cast<float>(params.seed),
                           f.uv.y * params.peelScale};
            const Vec2f q1{q0.x + kPeelStep, q0.y};
            const Vec2f q2{q0.x, q0.y + kPeelStep};
            const float h0 = context->noise2(&q0);
            const float h1 = context->noise2(&q1);
            const float h2 = context->noise2(&q2);
            const float k = params.peelAmount / kPeelStep;
            s.Nc = normalizeIfPositive(N - k * ((h1 - h0) * s.frame.T + (h2 - h0) * s.frame.B));
        }
        s.coatWeight = clampUnit(params.coatWeight);
        s.coatIor = std::fmax(params.coatIor, 1.0f);
        s.smoothCoat = params.coatRoughness < kSmoothCoat;
        const float rc = std::fmin(1.0f, params.coatRoughness);
        s.coat = {std::fmax(kMinAlpha, rc * rc), std::fmax(kMinAlpha, rc * rc)};

        // The flake under this point, if any, and its lobe.
        s.flake = metal::findFlake(context, f.uv, params.flakeSize, s.look.flakeDensity,
                                   params.flakeSpread, s.look.pearlRatio, params.seed);
        if (s.flake.present) {
            const Vec3f m = toWorld(s.frame, s.flake.normal);
            s.flakeFrame = orthonormalFrame({s.frame.T, s.frame.B, m}, kFrameOrthogonalise);
            const float rf = clampUnit(params.flakeRoughness);
            s.flakeLobe = {std::fmax(kMinAlpha, rf * rf), std::fmax(kMinAlpha, rf * rf)};
        }
        return s;
    }

    static vexakelo::ShadingFrame coatFrame(const vexakelo::PaintSurface& s) {
        return vexakelo::orthonormalFrame({s.frame.T, s.frame.B, s.Nc},
                                          vexakelo::kFrameOrthogonalise);
    }

    // w F_dielectric(mu; ior).
    static float coatFresnel(const vexakelo::PaintSurface& s, float mu) {
        return s.coatWeight * vexakelo::metal::dielectricFresnel(mu, s.coatIor);
    }

    // What reaches the base and comes back: (1 - Fc(V)) (1 - Fc(L)) C^(w (1/mu'_V + 1/mu'_L) / 2),
    // with mu' the refracted cosines, so the coat colour is the head-on round trip.
    static vexakelo::Vec3f coatTransmission(const vexakelo::PaintSurface& s, vexakelo::Vec3f V,
                                            vexakelo::Vec3f L) {
        using namespace vexakelo;
        const float mv = clampUnit(dot(V, s.Nc));
        const float ml = clampUnit(dot(L, s.Nc));
        const float t = (1.0f - coatFresnel(s, mv)) * (1.0f - coatFresnel(s, ml));
        const Vec3f C = s.look.coatColor;
        if (C.x == 1.0f && C.y == 1.0f && C.z == 1.0f) {
            return {t, t, t};
        }
        const float e2 = s.coatIor * s.coatIor;
        const float rv = std::sqrt(1.0f - (1.0f - mv * mv) / e2);
        const float rl = std::sqrt(1.0f - (1.0f - ml * ml) / e2);
        const float x = s.coatWeight * 0.5f * (1.0f / rv + 1.0f / rl);
        return {t * std::pow(C.x, x), t * std::pow(C.y, x), t * std::pow(C.z, x)};
    }

    // The flake's reflectance: interference pigment, a measured metal, or Schlick.
    vexakelo::Vec3f flakeFresnel(const vexakelo::PaintSurface& s, float mu) const {
        using namespace vexakelo;
        if (s.flake.pearl) {
            const metal::ConductorIor mica{{kMica, kMica, kMica},
                                           {0.0f, 0.0f, 0.0f}};
            return mul(s.look.pearlColor,
                       metal::airyReflectance(mu, s.look.pearlThickness, kTitania, mica));
        }
        if (metal::isMetalPreset(s.look.flakeMetal)) {
            return mul(s.look.flakeColor,
                       metal::conductorFresnel(mu, metal::kMetalPresets[s.look.flakeMetal]));
        }
        return metal::schlickFresnel(mu, s.look.flakeColor);
    }

    // The rough coat's GGX lobe about Nc; 0 for a smooth coat.
    static float coatValue(const vexakelo::PaintSurface& s, vexakelo::Vec3f V, vexakelo::Vec3f L) {
        using namespace vexakelo;
        if (s.smoothCoat || !(s.coatWeight > 0.0f)) {
            return 0.0f;
        }
        const ShadingFrame cf = coatFrame(s);
        const Vec3f v = toLocal(cf, V);
        const Vec3f l = toLocal(cf, L);
        const float g = metal::ggxReflection(s.coat, v, l);
        return g > 0.0f ? g * coatFresnel(s, dot(v, normalize(v + l))) : 0.0f;
    }

    // What lies under the coat, seen through it: the flake's lobe weighted by its projected
    // area (min(m.L / N.L, m.V / N.V), symmetric and never above the lobe's own albedo) or the
    // flopping pigment.
    vexakelo::Vec3f baseValue(const vexakelo::PaintSurface& s, vexakelo::Vec3f V,
                              vexakelo::Vec3f L) const {
        using namespace vexakelo;
        const Vec3f N = s.frame.N;
        Vec3f b;
        if (s.flake.present) {
            const Vec3f v = toLocal(s.flakeFrame, V);
            const Vec3f l = toLocal(s.flakeFrame, L);
            const float g = metal::ggxReflection(s.flakeLobe, v, l);
            if (!(g > 0.0f)) {
                return {0.0f, 0.0f, 0.0f};
            }
            const float proj = std::fmin(l.z / dot(L, N), v.z / dot(V, N));
            b = (g * proj) * flakeFresnel(s, dot(v, normalize(v + l)));
        } else {
            const float nh = clampUnit(dot(N, normalize(V + L)));
            const float t = std::pow(nh, s.look.flopFalloff);
            const Vec3f P = s.look.flop + t * (s.look.base - s.look.flop);
            b = kInvPi * P;
        }
        return mul(coatTransmission(s, V, L), b);
    }

    // f = f_coat (rough only) + tau base; 0 unless V and L are above Nf and L on the viewer's
    // side of the geometry.
    vexakelo::Vec3f value(const vexakelo::PaintSurface& s, vexakelo::Vec3f V,
                          vexakelo::Vec3f L) const {
        using namespace vexakelo;
        if (!(dot(V, s.frame.N) > 0.0f && dot(L, s.frame.N) > 0.0f &&
              dot(L, s.geoFacing) > 0.0f)) {
            return {0.0f, 0.0f, 0.0f};
        }
        const float c = coatValue(s, V, L);
        return Vec3f{c, c, c} + baseValue(s, V, L);
    }

    // The density of L over every non-mirror lobe that could have produced it, each weighted by
    // its choice probability.
    static float density(const vexakelo::PaintSurface& s, const float (&w)[3], float total,
                         vexakelo::Vec3f V, vexakelo::Vec3f L) {
        using namespace vexakelo;
        float pdf = 0.0f;
        if (w[kCoatLobe] > 0.0f && !s.smoothCoat) {
            const ShadingFrame cf = coatFrame(s);
            pdf = pdf + (w[kCoatLobe] / total) *
                            metal::ggxReflectionPdf(s.coat, toLocal(cf, V), toLocal(cf, L));
        }
        if (w[kFlakeLobe] > 0.0f) {
            pdf = pdf + (w[kFlakeLobe] / total) *
                            metal::ggxReflectionPdf(s.flakeLobe, toLocal(s.flakeFrame, V),
                                                    toLocal(s.flakeFrame, L));
        }
        if (w[kPigmentLobe] > 0.0f) {
            pdf = pdf + (w[kPigmentLobe] / total) * (dot(L, s.frame.N) * kInvPi);
        }
        return pdf;
    }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_MetallicPaint)
