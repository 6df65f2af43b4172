// vexa_kelo_Mtl_Dielectric: clear refracting glass. Material, flags 0x0F, varyings bitangent,
// tangent, uv. A Schlick Fresnel split (its strength from "u_reflectance" alone, never from the
// index) between a glossy reflected and a glossy refracted ray, microfacet highlights from the
// light samples, and absorption along the path inside. "Entering" means dot(I, N) <= 0 with I
// pointing towards the surface; `incidentIor` is the medium on the ray's side, `exitIor` the one
// beyond (sampleBsdf writes the latter back).
#include <cmath>

#include "frame/constants.h"
#include "frame/shader_frame.h"
#include "materials/material_frame.h"

namespace vexakelo {

struct DielectricParams {
    bool transmittanceMapEnable = false;
    vyr::TextureHandle transmittanceMap{};
    vyr::Mat3f transmittanceTransform{};
    float transmittanceAmount = 1.0f;
    std::int32_t procedureMapEnable = 0;
    vyr::Vec3f procedureMapTiling{1.0f, 1.0f, 1.0f};
    float procedureMapAmount = 0.0f;
    bool normal0MapEnable = false;
    vyr::TextureHandle normal0Map{};
    vyr::Mat3f normal0Transform{};
    float normal0Amount = 0.0f;
    float normal0UVScale = 1.0f;
    bool normal1MapEnable = false;
    vyr::TextureHandle normal1Map{};
    vyr::Mat3f normal1Transform{};
    float normal1Amount = 0.0f;
    bool roughMapEnable = false;
    vyr::TextureHandle roughMap{};
    float roughValue = 0.0004f;
    vyr::Mat3f roughTransform{};
    float glossyValue = 0.0f;
    float roughAmount = 1.0f;
    float ior = 1.52f;
    float reflectance = 0.1f;
    vyr::Vec3f absorptionCoef{0.0f, 0.0f, 0.0f};
    bool falloffEnable = false;
    vyr::Vec3f refractColor{1.0f, 1.0f, 1.0f};
    vyr::Vec3f reflectColor{1.0f, 1.0f, 1.0f};
};

using DP = DielectricParams;
// clang-format off
inline constexpr ParamDesc kDielectricParamTable[] = {
    VEXAKELO_PARAM(DP, Bool,      "u_transmittanceMapEnable", transmittanceMapEnable),
    VEXAKELO_PARAM(DP, Texture2D, "u_transmittanceMap",       transmittanceMap),    // sets the absorption
    VEXAKELO_PARAM(DP, Mat3f,     "u_transmittanceTransform", transmittanceTransform),
    VEXAKELO_PARAM(DP, Float,     "u_transmittanceAmount",    transmittanceAmount),
    VEXAKELO_PARAM(DP, Int,       "u_procedureMapEnable",     procedureMapEnable),  // 1 = procedural bump
    VEXAKELO_PARAM(DP, Vec3f,     "u_procedureMapTiling",     procedureMapTiling),  // noise scale per axis
    VEXAKELO_PARAM(DP, Float,     "u_procedureMapAmount",     procedureMapAmount),
    VEXAKELO_PARAM(DP, Bool,      "u_normal0MapEnable",       normal0MapEnable),
    VEXAKELO_PARAM(DP, Texture2D, "u_normal0Map",             normal0Map),          // height map
    VEXAKELO_PARAM(DP, Mat3f,     "u_normal0Transform",       normal0Transform),
    VEXAKELO_PARAM(DP, Float,     "u_normal0Amount",          normal0Amount),
    VEXAKELO_PARAM(DP, Float,     "u_normal0UVScale",         normal0UVScale),
    VEXAKELO_PARAM(DP, Bool,      "u_normal1MapEnable",       normal1MapEnable),
    VEXAKELO_PARAM(DP, Texture2D, "u_normal1Map",             normal1Map),          // second height map
    VEXAKELO_PARAM(DP, Mat3f,     "u_normal1Transform",       normal1Transform),
    VEXAKELO_PARAM(DP, Float,     "u_normal1Amount",          normal1Amount),
    VEXAKELO_PARAM(DP, Bool,      "u_roughMapEnable",         roughMapEnable),
    VEXAKELO_PARAM(DP, Texture2D, "u_roughMap",               roughMap),            // red channel
    VEXAKELO_PARAM(DP, Float,     "u_roughValue",             roughValue),          // microfacet roughness
    VEXAKELO_PARAM(DP, Mat3f,     "u_roughTransform",         roughTransform),
    VEXAKELO_PARAM(DP, Float,     "u_glossyValue",            glossyValue),         // glossiness of the traces
    VEXAKELO_PARAM(DP, Float,     "u_roughAmount",            roughAmount),
    VEXAKELO_PARAM(DP, Float,     "u_ior",                    ior),
    VEXAKELO_PARAM(DP, Float,     "u_reflectance",            reflectance),         // Fresnel head-on
    VEXAKELO_PARAM(DP, Vec3f,     "u_absorptionCoef",         absorptionCoef),
    VEXAKELO_PARAM(DP, Bool,      "u_falloffEnable",          falloffEnable),
    VEXAKELO_PARAM(DP, Vec3f,     "u_refractColor",           refractColor),
    VEXAKELO_PARAM(DP, Vec3f,     "u_reflectColor",           reflectColor),
};
// clang-format on
static_assert(isOrderedTable<DielectricParams>(kDielectricParamTable));
static_assert(offsetof(DielectricParams, transmittanceMap) == 8);
static_assert(offsetof(DielectricParams, normal0Map) == 88);
static_assert(offsetof(DielectricParams, roughMap) == 216);
static_assert(offsetof(DielectricParams, refractColor) == 304);

namespace {

// Schlick with a fixed head-on reflectance R0; c and F clamped to [0, 1].
// Deliberate: independent of "u_ior", which only bends the refracted ray.
float fresnel(float R0, float c) {
    const float x = clampUnit(c);
    return clampUnit(R0 + (1.0f - R0) * std::pow(1.0f - x, 5.0f));
}

// The geometry every slot starts from.
struct Geometry {
    ShadingFrame frame;  // T, B, N' after the normal perturbations
    Vec3f Nf;            // facing normal from N'
    float c;             // -dot(I, Nf)
    bool entering;       // dot(I, N') <= 0
    float nI, nT;        // index on the incident side and beyond
};

}  // namespace

}  // namespace vexakelo

namespace vyr {

class vexa_kelo_Mtl_Dielectric final
    : public vexakelo::ShaderFrame<vexa_kelo_Mtl_Dielectric, MaterialShader,
                                   vexakelo::DielectricParams> {
public:
    static constexpr std::string_view kName = "vexa_kelo_Mtl_Dielectric";
    static constexpr auto& kVaryings = vexakelo::kSurfaceVaryings;
    static std::span<const vexakelo::ParamDesc> parameters() {
        return vexakelo::kDielectricParamTable;
    }

    void shade(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        shadeWithFrame(state,
                       [&](const MaterialFrame& f, Contributions& out) { body(context, f, out); });
    }

    void shadow(ShadingContext*, ShadingState* state) const override {
        using namespace vexakelo;
        // The plain normal: shadows take no bump.
        const Vec3f I = state->rayDir;
        const Vec3f Nf = facingNormal(facingSign(I, state->geoNormal), state->normal);
        const float F = fresnel(params.reflectance, -dot(I, Nf));
        Vec3f T = (1.0f - F) * params.refractColor;
        // Deliberate: leaving rays are always attenuated by the plain coefficient, in powers of
        // ten; the transmittance map and the falloff switch play no part in shadows.
        if (dot(state->normal, I) > 0.0f) {
            const float d = length(state->rayOrigin - state->position);
            T.x = T.x * std::pow(10.0f, -d * params.absorptionCoef.x);
            T.y = T.y * std::pow(10.0f, -d * params.absorptionCoef.y);
            T.z = T.z * std::pow(10.0f, -d * params.absorptionCoef.z);
        }
        state->shadowTransmit = T;
    }

    void evaluateBsdf(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        const MaterialFrame f = copyFrame(*state);
        const Geometry g = geometry(context, f);
        const Vec3f L = state->bsdfDir;
        const Vec3f V = -f.I;
        const float F = fresnel(params.reflectance, g.c);
        // Deliberate: the BSDF slots square the roughness value; shade uses it as alpha^2.
        const float rough = roughness(f);
        const float alpha2 = rough * rough;

        const Vec3f hr = normalizeIfPositive(V + L);
        Vec3f ht = normalizeIfPositive(g.nI * V + g.nT * L);
        if (dot(ht, g.Nf) < 0.0f) {
            ht = -ht;
        }
        const float cosV = dot(V, g.Nf);
        const float cosL = dot(L, g.Nf);
        const float fr = microfacetReflection(V, L, hr, g.Nf, cosV, cosL, alpha2);
        const float ft = microfacetTransmission(V, L, ht, g.Nf, cosV, cosL, alpha2, g.nI, g.nT);
        const float value = F * fr + (1.0f - F) * ft;
        state->bsdfWeight = {value, value, value};
        state->bsdfCos = std::fabs(cosL);
    }

    void sampleBsdf(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        const std::uint8_t* const req = state->lobeRequest;
        const bool wantReflect = req[0] != 0 || req[1] != 0 || req[2] != 0;
        const bool wantRefract = req[3] != 0 || req[4] != 0 || req[5] != 0;
        if (!wantReflect && !wantRefract) {
            state->bsdfLobe = 0;
            return;
        }
        const MaterialFrame f = copyFrame(*state);
        const Geometry g = geometry(context, f);
        // Deliberate: eta is n_here / ior or ior / n_beyond and enters the refraction below
        // unsquared, unlike shade's.
        const float eta = g.entering ? f.iorHere / params.ior : params.ior / f.iorBeyond;
        const float F = fresnel(params.reflectance, g.c);
        const float alpha = roughness(f);
        const float alpha2 = alpha * alpha;

        // The local frame has the facing normal as its third axis.
        const ShadingFrame local{g.frame.T, g.frame.B, g.Nf};
        const Vec3f V = toLocal(local, -f.I);

        // Microfacet normal: specular for leaving rays and near-smooth surfaces.
        const bool glossy = g.entering && !(alpha < 0.01f);
        Vec3f m{0.0f, 0.0f, 1.0f};
        if (glossy) {
            float xi[2];
            const float* const u = context->random2(xi);
            const float thetaM = std::atan(std::sqrt(u[0] * alpha2 / (1.0f - u[0])));
            const float phi = kTwoPi * u[1];
            const float sinT = std::sin(thetaM);
            m = {std::cos(phi) * sinT, std::sin(phi) * sinT, std::cos(thetaM)};
        }
        const float cm = dot(V, m);
        if (cm < 0.0f) {
            state->bsdfLobe = 0;
            return;
        }

        // Lobe choice: with both lobes the choice probability cancels the Fresnel weight.
        float w = 1.0f;
        bool reflect;
        if (wantReflect && wantRefract) {
            reflect = !(context->random1() > F);
        } else if (wantReflect) {
            w = F;
            reflect = true;
        } else {
            w = 1.0f - F;
            reflect = false;
        }

        Vec3f dir;
        if (!reflect) {
            const float k = (cm * cm - 1.0f) * eta + 1.0f;
            if (k < 0.0f) {
                // Total internal reflection: reflect at full weight, if reflection is wanted.
                if (!wantReflect) {
                    state->bsdfLobe = 0;
                    return;
                }
                reflect = true;
                w = 1.0f;
            } else {
                dir = normalizeIfPositive((cm * eta - std::sqrt(k)) * m - eta * V);
            }
        }
        if (reflect) {
            dir = (2.0f * cm) * m - V;
        }

        Vec3f weight{w, w, w};
        int lobe = 32;
        if (glossy) {
            const float gv = shadowingG1(V.z, dot(V, m) * V.z, alpha2);
            const float gl = shadowingG1(dir.z, dot(dir, m) * dir.z, alpha2);
            float gain = gv * gl * cm / (V.z * m.z);
            gain = gain > 0.0f ? (gain > 4.0f ? 4.0f : gain) : 0.0f;
            weight = weight * gain;
            lobe = 16;
        }
        state->bsdfDir = toWorld(local, dir);
        state->bsdfWeight = weight;
        state->bsdfCos = 1.0f;
        state->bsdfPdf = 1.0f;
        state->bsdfLobe = lobe;
        // The host follows the continued path's medium through this field.
        state->exitIor = g.entering ? params.ior : f.iorBeyond;
    }

    void finishShading() override {}

private:
    // The frame with its perturbations: height map 0, else the procedural bump, then height map 1.
    vexakelo::Geometry geometry(ShadingContext* context, const vexakelo::MaterialFrame& f) const {
        using namespace vexakelo;
        ShadingFrame frame = surfaceFrame(f.N, f, kFrameOrthogonalise);
        if (params.normal0MapEnable) {
            frame.N = normalizeIfPositive(
                heightMapBump(frame, params.normal0Map, params.normal0Transform,
                              params.normal0Amount, params.normal0UVScale, f.uv));
            frame = orthonormalFrame(frame, kFrameOrthogonalise);
        } else if (params.procedureMapEnable == 1) {
            const Vec3f g = proceduralGradient(context, f.P, frame, params.procedureMapTiling);
            frame.N = applyGradient(frame, g, params.procedureMapAmount);
            frame = orthonormalFrame(frame, kFrameOrthogonalise);
        }
        if (params.normal1MapEnable) {
            frame.N =
                normalizeIfPositive(heightMapBump(frame, params.normal1Map, params.normal1Transform,
                                                  params.normal1Amount, 1.0f, f.uv));
            frame = orthonormalFrame(frame, kFrameOrthogonalise);
        }
        Geometry g;
        g.frame = frame;
        g.Nf = facingNormal(facingSign(f.I, f.Ng), frame.N);
        g.c = -dot(f.I, g.Nf);
        g.entering = !(dot(f.I, frame.N) > 0.0f);
        g.nI = g.entering ? f.iorHere : params.ior;
        g.nT = g.entering ? params.ior : f.iorBeyond;
        return g;
    }

    // "u_roughValue", or the rough map's red channel times "u_roughAmount".
    float roughness(const vexakelo::MaterialFrame& f) const {
        using namespace vexakelo;
        if (!params.roughMapEnable) {
            return params.roughValue;
        }
        const Vec4f c =
            sampleTexture(params.roughMap, applyUvTransform(params.roughTransform, f.uv));
        return c.x * params.roughAmount;
    }

    void body(ShadingContext* context, const vexakelo::MaterialFrame& f,
              vexakelo::Contributions& out) const {
        using namespace vexakelo;
        // Frame, facing normal and cosine after the perturbations.
        const Geometry g = geometry(context, f);
        const Vec3f N = g.frame.N;
        const Vec3f Nf = g.Nf;
        const Vec3f V = -f.I;
        const float F = fresnel(params.reflectance, g.c);
        // Deliberate: shade takes the roughness value itself as alpha^2.
        const float alpha2 = roughness(f);

        // Refraction with eta squared, k in double precision.
        const float eta = g.entering ? f.iorHere / params.ior : params.ior / f.iorBeyond;
        const float a = std::fabs(dot(Nf, f.I));
        const double da = a;
        const double deta = eta;
        const double k = (da * da - 1.0) * deta * deta + 1.0;
        bool refracts = k > 0.000001;
        Vec3f T{0.0f, 0.0f, 0.0f};
        if (refracts) {
            const float s = static_cast<float>(deta * da - std::sqrt(k));
            T = eta * f.I + s * Nf;
            refracts = !isBlack(T);
        }

        // Highlights from the light samples.
        out.color[kHighlight] =
            withAlpha(glassHighlights(context, f.P, V, N, Nf, F, alpha2, g.nI, g.nT), 1.0f);

        // Reflection, for entering rays only.
        const Vec3f Wr = F * params.reflectColor;
        out.side[kReflectionWeight] = Wr;
        if (g.entering && !isBlack(Wr)) {
            const Vec3f R = mirrorDirection(f.I, Nf);
            Vec3f scratch;
            const Vec3f* const radiance = context->traceGlossyReflection(
                &scratch, &f.P, &R, params.glossyValue, importanceOf(Wr));
            out.color[kReflection] = withAlpha(mul(Wr, *radiance), 1.0f);
        }

        // Transmission; a leaving ray that cannot refract sends it along the internal mirror.
        const Vec3f Wt = (1.0f - F) * params.refractColor;
        out.side[kTransmissionWeight] = Wt;
        if (isBlack(Wt)) {
            return;
        }
        Vec3f direction;
        if (!g.entering && !refracts) {
            direction = mirrorDirection(f.I, Nf);
        } else if (refracts) {
            direction = T;
        } else {
            return;
        }
        Vec3f scratch;
        const Vec3f* const radiance = context->traceGlossyRefraction(
            &scratch, &f.P, &direction, params.glossyValue, importanceOf(Wt));
        Vec3f transmitted = mul(Wt, *radiance);

        // Absorption along the path just travelled inside.
        if (params.falloffEnable && !g.entering) {
            Vec3f sigma = params.absorptionCoef;
            if (params.transmittanceMapEnable) {
                const Vec4f m = sampleTexture(
                    params.transmittanceMap, applyUvTransform(params.transmittanceTransform, f.uv));
                const float amount = params.transmittanceAmount;
                // Deliberate: natural log here against the power of ten below; zero
                // coefficients divide unguarded.
                sigma = {-std::log(amount * m.x) / params.absorptionCoef.x,
                         -std::log(amount * m.y) / params.absorptionCoef.y,
                         -std::log(amount * m.z) / params.absorptionCoef.z};
            }
            const float d = length(f.O - f.P);
            transmitted.x = transmitted.x * std::pow(10.0f, -d * sigma.x);
            transmitted.y = transmitted.y * std::pow(10.0f, -d * sigma.y);
            transmitted.z = transmitted.z * std::pow(10.0f, -d * sigma.z);
        }
        out.color[kTransmission] = withAlpha(transmitted, 1.0f);
    }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Dielectric)
