// vexa_kelo_Mtl_Metal: bare, brushed, anodised and tarnished metal with cutouts. Material, flags
// 0x0F, varyings bitangent, tangent, uv. An anisotropic GGX lobe with the exact Fresnel of a
// complex index per channel (measured presets, or a reflectivity colour and edge tint), brushing
// fields that turn the lobe along lines, circles, rays or perlage spots, optional thin-film
// interference, an oxide patina blended in by a noise mask, and a cutout opacity.
//
// Conventions: `rayDir` points towards the surface and V = -rayDir; lobes live in the frame
// (t', b', Nf') whose normal is the bumped normal turned to the viewer's side, and every cosine
// written is taken against that normal. t' runs along the brushing lines, where the lobe is
// narrow. Film thickness is in nanometres.
#include <cmath>

#include "frame/constants.h"
#include "frame/shader_frame.h"
#include "materials/map_group.h"
#include "materials/material_frame.h"
#include "materials/metal/ggx.h"
#include "materials/metal/optics.h"
#include "materials/metal/presets.h"
#include "materials/metal/surface.h"
#include "materials/metal/thin_film.h"

namespace vexakelo {

inline constexpr vyr::Mat3f kIdentityUv{{1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f}};

struct MetalParams {
    std::int32_t preset = metal::kAluminium;
    bool reflectivityMapEnable = false;
    vyr::TextureHandle reflectivityMap{};
    vyr::Mat3f reflectivityTransform = kIdentityUv;
    float reflectivityAmount = 1.0f;
    vyr::Vec3f reflectivityColor{0.9f, 0.9f, 0.9f};
    bool edgeTintMapEnable = false;
    vyr::TextureHandle edgeTintMap{};
    vyr::Mat3f edgeTintTransform = kIdentityUv;
    float edgeTintAmount = 1.0f;
    vyr::Vec3f edgeTintColor{1.0f, 1.0f, 1.0f};
    vyr::Vec3f tintColor{1.0f, 1.0f, 1.0f};
    bool roughMapEnable = false;
    vyr::TextureHandle roughMap{};
    vyr::Mat3f roughTransform = kIdentityUv;
    float roughAmount = 1.0f;
    float roughValue = 0.3f;
    bool anisotropyMapEnable = false;
    vyr::TextureHandle anisotropyMap{};
    vyr::Mat3f anisotropyTransform = kIdentityUv;
    float anisotropyAmount = 1.0f;
    float anisotropyValue = 0.0f;
    bool anisoRotationMapEnable = false;
    vyr::TextureHandle anisoRotationMap{};
    vyr::Mat3f anisoRotationTransform = kIdentityUv;
    float anisoRotationAmount = 1.0f;
    float anisoRotationValue = 0.0f;
    std::int32_t brushMode = 0;
    vyr::Vec2f brushCenter{0.5f, 0.5f};
    float brushStreaks = 0.0f;
    float brushScale = 200.0f;
    float brushStretch = 40.0f;
    float streakTilt = 0.0f;
    float perlageSize = 0.05f;
    bool bumpMapEnable = false;
    vyr::TextureHandle bumpMap{};
    vyr::Mat3f bumpTransform = kIdentityUv;
    float bumpAmount = 1.0f;
    float bumpUVScale = 1.0f;
    bool normalMapEnable = false;
    vyr::TextureHandle normalMap{};
    vyr::Mat3f normalTransform = kIdentityUv;
    float normalAmount = 1.0f;
    bool normalFlipY = false;
    bool filmMapEnable = false;
    vyr::TextureHandle filmMap{};
    vyr::Mat3f filmTransform = kIdentityUv;
    float filmAmount = 1.0f;
    float filmThickness = 0.0f;
    float filmIor = 1.8f;
    float filmWeight = 1.0f;
    float filmVariation = 0.0f;
    float filmVariationScale = 10.0f;
    bool patinaMapEnable = false;
    vyr::TextureHandle patinaMap{};
    vyr::Mat3f patinaTransform = kIdentityUv;
    float patinaAmount = 1.0f;
    float patinaCoverage = 0.0f;
    float patinaScale = 4.0f;
    float patinaSoftness = 0.1f;
    std::int32_t patinaOctaves = 4;
    bool patinaColorMapEnable = false;
    vyr::TextureHandle patinaColorMap{};
    vyr::Mat3f patinaColorTransform = kIdentityUv;
    float patinaColorAmount = 1.0f;
    vyr::Vec3f patinaColor{0.22f, 0.45f, 0.38f};
    bool cutoutMapEnable = false;
    vyr::TextureHandle cutoutMap{};
    vyr::Mat3f cutoutTransform = kIdentityUv;
    float cutoutAmount = 1.0f;
    float cutoutValue = 1.0f;
    float cutoutThreshold = 0.0f;
    std::int32_t seed = 0;
    std::int32_t reflectSamples = 1;
    bool reflectionHighlightOnly = false;
    float patinaRoughness = 0.0f;
};

using MP = MetalParams;
// clang-format off
inline constexpr ParamDesc kMetalParamTable[] = {
    VEXAKELO_PARAM(MP, Int,       "u_preset",                     preset),                   // 1-11 measured metal; other = custom
    VEXAKELO_PARAM(MP, Bool,      "u_reflectivityMapEnable",      reflectivityMapEnable),
    VEXAKELO_PARAM(MP, Texture2D, "u_reflectivityMap",            reflectivityMap),
    VEXAKELO_PARAM(MP, Mat3f,     "u_reflectivityTransform",      reflectivityTransform),
    VEXAKELO_PARAM(MP, Float,     "u_reflectivityAmount",         reflectivityAmount),
    VEXAKELO_PARAM(MP, Vec3f,     "u_reflectivityColor",          reflectivityColor),        // custom: F at normal incidence
    VEXAKELO_PARAM(MP, Bool,      "u_edgeTintMapEnable",          edgeTintMapEnable),
    VEXAKELO_PARAM(MP, Texture2D, "u_edgeTintMap",                edgeTintMap),
    VEXAKELO_PARAM(MP, Mat3f,     "u_edgeTintTransform",          edgeTintTransform),
    VEXAKELO_PARAM(MP, Float,     "u_edgeTintAmount",             edgeTintAmount),
    VEXAKELO_PARAM(MP, Vec3f,     "u_edgeTintColor",              edgeTintColor),            // custom: colour towards grazing
    VEXAKELO_PARAM(MP, Vec3f,     "u_tintColor",                  tintColor),                // filter on the metal lobe
    VEXAKELO_PARAM(MP, Bool,      "u_roughMapEnable",             roughMapEnable),
    VEXAKELO_PARAM(MP, Texture2D, "u_roughMap",                   roughMap),
    VEXAKELO_PARAM(MP, Mat3f,     "u_roughTransform",             roughTransform),
    VEXAKELO_PARAM(MP, Float,     "u_roughAmount",                roughAmount),
    VEXAKELO_PARAM(MP, Float,     "u_roughValue",                 roughValue),               // r, alpha = r^2
    VEXAKELO_PARAM(MP, Bool,      "u_anisotropyMapEnable",        anisotropyMapEnable),
    VEXAKELO_PARAM(MP, Texture2D, "u_anisotropyMap",              anisotropyMap),
    VEXAKELO_PARAM(MP, Mat3f,     "u_anisotropyTransform",        anisotropyTransform),
    VEXAKELO_PARAM(MP, Float,     "u_anisotropyAmount",           anisotropyAmount),
    VEXAKELO_PARAM(MP, Float,     "u_anisotropyValue",            anisotropyValue),          // 0 round .. 1 a line
    VEXAKELO_PARAM(MP, Bool,      "u_anisoRotationMapEnable",     anisoRotationMapEnable),
    VEXAKELO_PARAM(MP, Texture2D, "u_anisoRotationMap",           anisoRotationMap),
    VEXAKELO_PARAM(MP, Mat3f,     "u_anisoRotationTransform",     anisoRotationTransform),
    VEXAKELO_PARAM(MP, Float,     "u_anisoRotationAmount",        anisoRotationAmount),
    VEXAKELO_PARAM(MP, Float,     "u_anisoRotationValue",         anisoRotationValue),       // turns
    VEXAKELO_PARAM(MP, Int,       "u_brushMode",                  brushMode),                // 0 tangent, 1 circular, 2 radial, 3 perlage
    VEXAKELO_PARAM(MP, Vec2f,     "u_brushCenter",                brushCenter),              // uv centre of modes 1, 2
    VEXAKELO_PARAM(MP, Float,     "u_brushStreaks",               brushStreaks),             // streak strength on roughness
    VEXAKELO_PARAM(MP, Float,     "u_brushScale",                 brushScale),               // lines per uv unit
    VEXAKELO_PARAM(MP, Float,     "u_brushStretch",               brushStretch),             // streak length over width
    VEXAKELO_PARAM(MP, Float,     "u_streakTilt",                 streakTilt),               // streaks tilting the normal
    VEXAKELO_PARAM(MP, Float,     "u_perlageSize",                perlageSize),              // spot size in uv
    VEXAKELO_PARAM(MP, Bool,      "u_bumpMapEnable",              bumpMapEnable),
    VEXAKELO_PARAM(MP, Texture2D, "u_bumpMap",                    bumpMap),                  // height map
    VEXAKELO_PARAM(MP, Mat3f,     "u_bumpTransform",              bumpTransform),
    VEXAKELO_PARAM(MP, Float,     "u_bumpAmount",                 bumpAmount),
    VEXAKELO_PARAM(MP, Float,     "u_bumpUVScale",                bumpUVScale),
    VEXAKELO_PARAM(MP, Bool,      "u_normalMapEnable",            normalMapEnable),
    VEXAKELO_PARAM(MP, Texture2D, "u_normalMap",                  normalMap),                // tangent space
    VEXAKELO_PARAM(MP, Mat3f,     "u_normalTransform",            normalTransform),
    VEXAKELO_PARAM(MP, Float,     "u_normalAmount",               normalAmount),             // blend to the mapped normal
    VEXAKELO_PARAM(MP, Bool,      "u_normalFlipY",                normalFlipY),              // green points along -B
    VEXAKELO_PARAM(MP, Bool,      "u_filmMapEnable",              filmMapEnable),
    VEXAKELO_PARAM(MP, Texture2D, "u_filmMap",                    filmMap),
    VEXAKELO_PARAM(MP, Mat3f,     "u_filmTransform",              filmTransform),
    VEXAKELO_PARAM(MP, Float,     "u_filmAmount",                 filmAmount),
    VEXAKELO_PARAM(MP, Float,     "u_filmThickness",              filmThickness),            // nm; 0 = bare metal
    VEXAKELO_PARAM(MP, Float,     "u_filmIor",                    filmIor),
    VEXAKELO_PARAM(MP, Float,     "u_filmWeight",                 filmWeight),
    VEXAKELO_PARAM(MP, Float,     "u_filmVariation",              filmVariation),            // relative thickness noise
    VEXAKELO_PARAM(MP, Float,     "u_filmVariationScale",         filmVariationScale),
    VEXAKELO_PARAM(MP, Bool,      "u_patinaMapEnable",            patinaMapEnable),
    VEXAKELO_PARAM(MP, Texture2D, "u_patinaMap",                  patinaMap),                // the mask itself
    VEXAKELO_PARAM(MP, Mat3f,     "u_patinaTransform",            patinaTransform),
    VEXAKELO_PARAM(MP, Float,     "u_patinaAmount",               patinaAmount),
    VEXAKELO_PARAM(MP, Float,     "u_patinaCoverage",             patinaCoverage),           // share covered by the noise mask
    VEXAKELO_PARAM(MP, Float,     "u_patinaScale",                patinaScale),
    VEXAKELO_PARAM(MP, Float,     "u_patinaSoftness",             patinaSoftness),           // width of the mask's edge
    VEXAKELO_PARAM(MP, Int,       "u_patinaOctaves",              patinaOctaves),            // 1-8
    VEXAKELO_PARAM(MP, Bool,      "u_patinaColorMapEnable",       patinaColorMapEnable),
    VEXAKELO_PARAM(MP, Texture2D, "u_patinaColorMap",             patinaColorMap),
    VEXAKELO_PARAM(MP, Mat3f,     "u_patinaColorTransform",       patinaColorTransform),
    VEXAKELO_PARAM(MP, Float,     "u_patinaColorAmount",          patinaColorAmount),
    VEXAKELO_PARAM(MP, Vec3f,     "u_patinaColor",                patinaColor),              // oxide albedo
    VEXAKELO_PARAM(MP, Bool,      "u_cutoutMapEnable",            cutoutMapEnable),
    VEXAKELO_PARAM(MP, Texture2D, "u_cutoutMap",                  cutoutMap),
    VEXAKELO_PARAM(MP, Mat3f,     "u_cutoutTransform",            cutoutTransform),
    VEXAKELO_PARAM(MP, Float,     "u_cutoutAmount",               cutoutAmount),
    VEXAKELO_PARAM(MP, Float,     "u_cutoutValue",                cutoutValue),              // opacity
    VEXAKELO_PARAM(MP, Float,     "u_cutoutThreshold",            cutoutThreshold),          // > 0: opacity becomes 0 or 1
    VEXAKELO_PARAM(MP, Int,       "u_seed",                       seed),
    VEXAKELO_PARAM(MP, Int,       "u_reflectSamples",             reflectSamples),           // traced per shade, 1-8
    VEXAKELO_PARAM(MP, Bool,      "u_reflectionHighlightOnly",    reflectionHighlightOnly),  // lights only, no trace
    VEXAKELO_PARAM(MP, Float,     "u_patinaRoughness",            patinaRoughness),          // 0 Lambert .. 1 chalky
};
// clang-format on
static_assert(isOrderedTable<MetalParams>(kMetalParamTable));
// Object offsets are the params' plus the 8-byte table pointer; the checks sit where a bool
// is followed by a texture handle (padding) and at the group starts.
static_assert(offsetof(MP, reflectivityMap) + 8 == 16);
static_assert(offsetof(MP, edgeTintMapEnable) + 8 == 84 && offsetof(MP, edgeTintMap) + 8 == 88);
static_assert(offsetof(MP, tintColor) + 8 == 156);
static_assert(offsetof(MP, roughMapEnable) + 8 == 168 && offsetof(MP, roughMap) + 8 == 176);
static_assert(offsetof(MP, anisotropyMapEnable) + 8 == 236 && offsetof(MP, anisotropyMap) + 8 == 240);
static_assert(offsetof(MP, anisoRotationMapEnable) + 8 == 300);
static_assert(offsetof(MP, anisoRotationMap) + 8 == 304);
static_assert(offsetof(MP, brushMode) + 8 == 364 && offsetof(MP, brushCenter) + 8 == 368);
static_assert(offsetof(MP, perlageSize) + 8 == 392);
static_assert(offsetof(MP, bumpMapEnable) + 8 == 396 && offsetof(MP, bumpMap) + 8 == 400);
static_assert(offsetof(MP, normalMapEnable) + 8 == 460 && offsetof(MP, normalMap) + 8 == 464);
static_assert(offsetof(MP, normalFlipY) + 8 == 520 && offsetof(MP, filmMapEnable) + 8 == 521);
static_assert(offsetof(MP, filmMap) + 8 == 528 && offsetof(MP, filmThickness) + 8 == 584);
static_assert(offsetof(MP, patinaMapEnable) + 8 == 604 && offsetof(MP, patinaMap) + 8 == 608);
static_assert(offsetof(MP, patinaOctaves) + 8 == 676);
static_assert(offsetof(MP, patinaColorMapEnable) + 8 == 680);
static_assert(offsetof(MP, patinaColorMap) + 8 == 688);
static_assert(offsetof(MP, cutoutMapEnable) + 8 == 756 && offsetof(MP, cutoutMap) + 8 == 760);
static_assert(offsetof(MP, reflectSamples) + 8 == 828);
static_assert(offsetof(MP, reflectionHighlightOnly) + 8 == 832);
static_assert(offsetof(MP, patinaRoughness) + 8 == 836);

// clang-format off
inline constexpr MapGroup<MP, vyr::Vec3f> kReflectivity{&MP::reflectivityMapEnable, &MP::reflectivityMap, &MP::reflectivityTransform, &MP::reflectivityAmount, &MP::reflectivityColor};
inline constexpr MapGroup<MP, vyr::Vec3f> kEdgeTint{&MP::edgeTintMapEnable, &MP::edgeTintMap, &MP::edgeTintTransform, &MP::edgeTintAmount, &MP::edgeTintColor};
inline constexpr MapGroup<MP, float> kRough{&MP::roughMapEnable, &MP::roughMap, &MP::roughTransform, &MP::roughAmount, &MP::roughValue};
inline constexpr MapGroup<MP, float> kAnisotropy{&MP::anisotropyMapEnable, &MP::anisotropyMap, &MP::anisotropyTransform, &MP::anisotropyAmount, &MP::anisotropyValue};
inline constexpr MapGroup<MP, float> kAnisoRotation{&MP::anisoRotationMapEnable, &MP::anisoRotationMap, &MP::anisoRotationTransform, &MP::anisoRotationAmount, &MP::anisoRotationValue};
inline constexpr MapGroup<MP, float> kFilm{&MP::filmMapEnable, &MP::filmMap, &MP::filmTransform, &MP::filmAmount, &MP::filmThickness};
inline constexpr MapGroup<MP, float> kPatina{&MP::patinaMapEnable, &MP::patinaMap, &MP::patinaTransform, &MP::patinaAmount, &MP::patinaCoverage};
inline constexpr MapGroup<MP, vyr::Vec3f> kPatinaColor{&MP::patinaColorMapEnable, &MP::patinaColorMap, &MP::patinaColorTransform, &MP::patinaColorAmount, &MP::patinaColor};
inline constexpr MapGroup<MP, float> kCutout{&MP::cutoutMapEnable, &MP::cutoutMap, &MP::cutoutTransform, &MP::cutoutAmount, &MP::cutoutValue};
// clang-format on

namespace {

inline constexpr float kMinAlpha = 0.001f;
inline constexpr int kMaxReflectSamples = 8;
inline constexpr int kMaxPatinaOctaves = 8;
inline constexpr float kCenterEpsilon = 1e-6f;  // below it a brushing centre gives no direction
inline constexpr float kSeedOffset = 17.0f;      // noise-space shift per seed step
inline constexpr float kFilmNoiseW = 10.0f;      // keeps the film noise apart from the patina's

enum BrushMode : int { kBrushTangent = 0, kBrushCircular = 1, kBrushRadial = 2, kBrushPerlage = 3 };

// Lobe flags of sampleBsdf.
inline constexpr int kLobeDiffuse = 2;
inline constexpr int kLobeGlossy = 16;
inline constexpr int kLobePassage = 32;

// Everything the four slots need about one hit, computed once per call.
struct MetalSurface {
    ShadingFrame lobe;       // (t', b', Nf'): brushing direction, across it, facing normal
    Vec3f geoFacing;         // geometric normal on the viewer's side
    Vec3f straightFacing;    // the unbumped shading normal on the viewer's side
    metal::Ggx ggx;
    metal::ConductorIor ior;
    float film;              // nm, 0 = none
    float filmWeight;
    float patina;            // mask m
    Vec3f patinaColor;       // rho
    float opacity;           // c
};

}  // namespace

}  // namespace vexakelo

namespace vyr {

class vexa_kelo_Mtl_Metal final
    : public vexakelo::ShaderFrame<vexa_kelo_Mtl_Metal, MaterialShader, vexakelo::MetalParams> {
public:
    static constexpr std::string_view kName = "vexa_kelo_Mtl_Metal";
    static constexpr auto& kVaryings = vexakelo::kSurfaceVaryings;
    static std::span<const vexakelo::ParamDesc> parameters() {
        return vexakelo::kMetalParamTable;
    }

    void shade(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        shadeWithFrame(state, [&](const MaterialFrame& f, Contributions& out) {
            const MetalSurface s = surface(context, f);
            const Vec3f V = toLocal(s.lobe, -f.I);
            const float c = s.opacity;

            // Direct light: the metal lobe as highlight, the patina as diffuse.
            if (c > 0.0f && V.z > 0.0f) {
                Vec3f highlight{0.0f, 0.0f, 0.0f};
                Vec3f diffuse{0.0f, 0.0f, 0.0f};
                for (const LightSample* l = context->lightSamples(&f.P); l != nullptr;
                     l = l->next) {
                    const Vec3f L = toLocal(s.lobe, l->direction);
                    if (!(L.z > 0.0f && dot(l->direction, s.geoFacing) > 0.0f)) {
                        continue;
                    }
                    const float k = L.z * l->factor;
                    if (s.patina < 1.0f) {
                        const Vec3f fm = metalLobe(s, V, L);
                        highlight = highlight + mul(((1.0f - s.patina) * c * k) * fm, l->color);
                    }
                    if (s.patina > 0.0f) {
                        const float fd = s.patina * c * k * patinaLobe(V, L);
                        diffuse = diffuse + mul(fd * s.patinaColor, l->color);
                    }
                }
                out.color[kHighlight] = withAlpha(highlight, 1.0f);
                out.color[kDirectDiffuse] = withAlpha(diffuse, 1.0f);
            }

            // Traced reflection: visible-normal samples keep the anisotropy.
            const float share = (1.0f - s.patina) * c;
            if (!params.reflectionHighlightOnly && share > 0.0f && V.z > 0.0f) {
                const int K = params.reflectSamples < 1
                                  ? 1
                                  : (params.reflectSamples > kMaxReflectSamples
                                         ? kMaxReflectSamples
                                         : params.reflectSamples);
                const float perSample = share / static_cast<float>(K);
                Vec3f reflected{0.0f, 0.0f, 0.0f};
                Vec3f total{0.0f, 0.0f, 0.0f};
                for (int i = 0; i < K; ++i) {
                    float u[2];
                    const float* const xi = context->random2(u);
                    const Vec3f h = metal::sampleVisibleNormal(s.ggx, V, xi[0], xi[1]);
                    const Vec3f R = metal::reflectAbout(V, h);
                    const Vec3f Rw = toWorld(s.lobe, R);
                    if (!(R.z > 0.0f && dot(Rw, s.geoFacing) > 0.0f)) {
                        continue;
                    }
                    const float g = metal::ggxG2(s.ggx, V, R) / metal::ggxG1(s.ggx, V);
                    const Vec3f W = (perSample * g) * reflectance(s, dot(V, h));
                    if (isBlack(W)) {
                        continue;
                    }
                    total = total + W;
                    reflected = reflected + traceWeighted(context, f.P, Rw, W);
                }
                out.side[kReflectionWeight] = total;
                out.color[kReflection] = withAlpha(reflected, 1.0f);
            }

            // What the cutout lets through goes on unbent.
            if (c < 1.0f) {
                const Vec3f W{1.0f - c, 1.0f - c, 1.0f - c};
                out.side[kTransmissionWeight] = W;
                Vec3f scratch;
                const Vec3f* const radiance =
                    context->traceStraight(&scratch, &f.P, &f.I, importanceOf(W));
                out.color[kTransmission] = withAlpha(mul(W, *radiance), 1.0f);
            }
        });
    }

    // Only the cutout lets light through.
    void shadow(ShadingContext*, ShadingState* state) const override {
        using namespace vexakelo;
        const float t = 1.0f - opacity(state->uv);
        state->shadowTransmit = {t, t, t};
    }

    void evaluateBsdf(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        const MaterialFrame f = copyFrame(*state);
        const MetalSurface s = surface(context, f);
        const Vec3f V = toLocal(s.lobe, -f.I);
        const Vec3f L = toLocal(s.lobe, state->bsdfDir);
        state->bsdfWeight = value(s, V, L, dot(state->bsdfDir, s.geoFacing));
        state->bsdfCos = L.z;
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
        const MaterialFrame f = copyFrame(*state);
        const MetalSurface s = surface(context, f);
        const Vec3f V = toLocal(s.lobe, -f.I);
        const float c = s.opacity;

        // Lobe weights: the metal by its reflectance facing the viewer (only needed to share
        // against another lobe), the patina by its albedo, the passage by what the cutout opens.
        float w[3] = {0.0f, 0.0f, 0.0f};
        if (wantReflect && V.z > 0.0f) {
            w[0] = (1.0f - s.patina) * c;
            w[1] = s.patina * c;
        }
        if (wantPass) {
            w[2] = 1.0f - c;
        }
        if (w[1] > 0.0f || w[2] > 0.0f) {
            w[0] = w[0] > 0.0f ? w[0] * metal::luminance(reflectance(s, V.z)) : 0.0f;
            w[1] = w[1] * metal::luminance(s.patinaColor);
        }
        float total;
        const int lobe = metal::pickLobe(context, w, total);
        if (lobe < 0) {
            state->bsdfLobe = 0;
            return;
        }

        if (lobe == 2) {
            // Straight through; the cosine keeps its (negative) sign, as the Glazing's does.
            const float cos = dot(s.straightFacing, f.I);
            const float P = w[2] / total;
            state->bsdfDir = f.I;
            state->bsdfCos = cos;
            const float k = (1.0f - c) / (P * cos);
            state->bsdfWeight = {k, k, k};
            state->bsdfPdf = 1.0f;
            state->bsdfLobe = kLobePassage;
            return;
        }

        float u[2];
        const float* const xi = context->random2(u);
        const Vec3f L = lobe == 0 ? metal::reflectAbout(
                                        V, metal::sampleVisibleNormal(s.ggx, V, xi[0], xi[1]))
                                  : cosineHemisphere(xi[0], xi[1]);
        const Vec3f Lw = toWorld(s.lobe, L);
        const float side = dot(Lw, s.geoFacing);
        if (!(L.z > 0.0f && side > 0.0f)) {
            state->bsdfLobe = 0;
            return;
        }
        // One-sample combination of the reflection lobes: the density of every lobe that could
        // have produced L, weighted by its choice probability.
        const float pdf = (w[0] > 0.0f ? (w[0] / total) * metal::ggxReflectionPdf(s.ggx, V, L)
                                       : 0.0f) +
                          (w[1] > 0.0f ? (w[1] / total) * (L.z * kInvPi) : 0.0f);
        state->bsdfDir = Lw;
        state->bsdfWeight = value(s, V, L, side) / pdf;
        state->bsdfCos = L.z;
        state->bsdfPdf = pdf;
        state->bsdfLobe = lobe == 0 ? kLobeGlossy : kLobeDiffuse;
    }

    void finishShading() override {}

private:
    // --- The hit's surface, in the order the parameters shape it -------------------------------

    vexakelo::MetalSurface surface(ShadingContext* context,
                                   const vexakelo::MaterialFrame& f) const {
        using namespace vexakelo;
        MetalSurface s;
        const Vec2f uv = f.uv;
        const float facing = facingSign(f.I, f.Ng);
        s.geoFacing = facingNormal(facing, f.Ng);

        // Frame: shading normal, the height-map bump, then the normal map.
        ShadingFrame frame = surfaceFrame(f.N, f, kFrameFull);
        s.straightFacing = facingNormal(facing, frame.N);
        if (params.bumpMapEnable) {
            frame.N = normalizeIfPositive(heightMapBump(frame, params.bumpMap, params.bumpTransform,
                                                        params.bumpAmount, params.bumpUVScale, uv));
            frame = orthonormalFrame(frame, kFrameOrthogonalise);
        }
        if (params.normalMapEnable) {
            const Vec4f t =
                sampleTexture(params.normalMap, applyUvTransform(params.normalTransform, uv));
            const float y = 2.0f * t.y - 1.0f;
            const Vec3f n{2.0f * t.x - 1.0f, params.normalFlipY ? -y : y, 2.0f * t.z - 1.0f};
            const Vec3f mapped = normalizeIfPositive(n.x * frame.T + n.y * frame.B + n.z * frame.N);
            frame.N = normalizeIfPositive(frame.N + params.normalAmount * (mapped - frame.N));
            frame = orthonormalFrame(frame, kFrameOrthogonalise);
        }
        frame = metal::facingFrame(frame, facing);
        const Vec3f N = frame.N;

        // Brushing direction in the surface's (u, v) axes, then the rotation about N.
        Vec2f d{0.0f, 0.0f};
        float radius = 0.0f;
        int mode = params.brushMode;
        if (mode == kBrushCircular || mode == kBrushRadial) {
            d = {uv.x - params.brushCenter.x, uv.y - params.brushCenter.y};
        } else if (mode == kBrushPerlage && params.perlageSize > 0.0f) {
            const float S = params.perlageSize;
            d = {uv.x - (std::floor(uv.x / S) + 0.5f) * S, uv.y - (std::floor(uv.y / S) + 0.5f) * S};
        }
        if (mode >= kBrushCircular && mode <= kBrushPerlage) {
            radius = std::sqrt(d.x * d.x + d.y * d.y);
            mode = radius < kCenterEpsilon ? kBrushTangent : mode;
        } else {
            mode = kBrushTangent;
        }
        Vec3f t = frame.T;
        if (mode != kBrushTangent) {
            const Vec2f e{d.x / radius, d.y / radius};
            const Vec2f dir = mode == kBrushRadial ? e : Vec2f{-e.y, e.x};
            t = normalizeIfPositive(dir.x * frame.T + dir.y * frame.B);
        }
        const float phi = kTwoPi * scalarInput(params, kAnisoRotation, uv);
        const float cphi = std::cos(phi);
        const float sphi = std::sin(phi);
        Vec3f tr = cphi * t + sphi * cross(N, t);
        Vec3f br = cross(N, tr);

        // Streaks: a noise stretched along the lines varies the roughness and tilts the normal
        // across them. Circles and rays take their angle through a circle in noise space, so no
        // seam runs where the angle wraps.
        float streak = 0.5f;
        if (params.brushStreaks != 0.0f || params.streakTilt != 0.0f) {
            const float scale = params.brushScale;
            const float along = scale / std::fmax(params.brushStretch, 1.0f);
            const float w = kSeedOffset * static_cast<float>(params.seed);
            if (mode == kBrushTangent) {
                const float q = -uv.x * sphi + uv.y * cphi;
                const float p = uv.x * cphi + uv.y * sphi;
                const Vec2f at{q * scale + w, p * along};
                streak = context->noise2(&at);
            } else if (mode == kBrushRadial) {
                const float k = 0.5f * scale / radius;
                const Vec4f at{d.x * k, d.y * k, radius * along, w};
                streak = context->noise4(&at);
            } else {
                const Vec4f at{radius * scale, d.x * along, d.y * along, w};
                streak = context->noise4(&at);
            }
            if (params.streakTilt != 0.0f) {
                const Vec3f tilted =
                    normalizeIfPositive(N + (params.streakTilt * (2.0f * streak - 1.0f)) * br);
                const ShadingFrame f2 = orthonormalFrame({tr, br, tilted}, kFrameOrthogonalise);
                tr = f2.T;
                br = f2.B;
                frame.N = tilted;
            }
        }
        s.lobe = {tr, br, frame.N};

        // Roughness: r^2 shared out between the axes so that the mean square stays r^4.
        const float r = clampUnit(scalarInput(params, kRough, uv));
        const float a = clampUnit(scalarInput(params, kAnisotropy, uv));
        const float oneMinusA = 1.0f - a;
        const float beta = std::fmax(0.0f, 1.0f + params.brushStreaks * (2.0f * streak - 1.0f)) *
                           (r * r) * std::sqrt(2.0f / (1.0f + oneMinusA * oneMinusA));
        s.ggx = {std::fmax(kMinAlpha, oneMinusA * beta), std::fmax(kMinAlpha, beta)};

        // Optics: a measured preset, or the artist pair mapped to a complex index.
        if (metal::isMetalPreset(params.preset)) {
            s.ior = metal::kMetalPresets[params.preset];
        } else {
            s.ior = metal::artistConductor(colorInput(params, kReflectivity, uv),
                                           colorInput(params, kEdgeTint, uv));
        }

        // Film thickness, with its optional noise.
        float film = scalarInput(params, kFilm, uv);
        if (film > 0.0f && params.filmVariation != 0.0f) {
            const float S = params.filmVariationScale;
            const Vec4f at{uv.x * S, uv.y * S, kFilmNoiseW, static_cast<float>(params.seed)};
            film = film * std::fmax(0.0f, 1.0f + params.filmVariation *
                                                     (2.0f * context->noise4(&at) - 1.0f));
        }
        s.film = film > 0.0f ? film : 0.0f;
        s.filmWeight = s.film > 0.0f ? clampUnit(params.filmWeight) : 0.0f;

        s.patina = patinaMask(context, uv);
        s.patinaColor = s.patina > 0.0f ? clampUnit(colorInput(params, kPatinaColor, uv))
                                        : Vec3f{0.0f, 0.0f, 0.0f};
        s.opacity = opacity(uv);
        return s;
    }

    // The oxide's mask: the map, or thresholded fractal noise covering about `coverage`.
    float patinaMask(ShadingContext* context, vexakelo::Vec2f uv) const {
        using namespace vexakelo;
        if (params.patinaMapEnable) {
            return clampUnit(scalarInput(params, kPatina, uv));
        }
        const float coverage = params.patinaCoverage;
        if (!(coverage > 0.0f)) {
            return 0.0f;
        }
        if (!(coverage < 1.0f)) {
            return 1.0f;
        }
        const int octaves = params.patinaOctaves < 1
                                ? 1
                                : (params.patinaOctaves > kMaxPatinaOctaves ? kMaxPatinaOctaves
                                                                            : params.patinaOctaves);
        float n = 0.0f;
        float norm = 0.0f;
        float amplitude = 1.0f;
        float frequency = params.patinaScale;
        for (int i = 0; i < octaves; ++i) {
            const Vec4f at{frequency * uv.x, frequency * uv.y, 0.0f,
                           static_cast<float>(params.seed)};
            n = n + amplitude * context->noise4(&at);
            norm = norm + amplitude;
            amplitude = 0.5f * amplitude;
            frequency = 2.0f * frequency;
        }
        n = n / norm;
        const float w = std::fmax(params.patinaSoftness, 1e-4f);
        const float t = 1.0f + 0.5f * w - coverage * (1.0f + w);
        return metal::smoothstep(t - 0.5f * w, t + 0.5f * w, n);
    }

    // Opacity c in [0, 1]; a positive threshold makes it 0 or 1.
    float opacity(vexakelo::Vec2f uv) const {
        using namespace vexakelo;
        const float c = clampUnit(scalarInput(params, kCutout, uv));
        if (params.cutoutThreshold > 0.0f) {
            return c >= params.cutoutThreshold ? 1.0f : 0.0f;
        }
        return c;
    }

    // --- Lobes ----------------------------------------------------------------------------------

    vexakelo::Vec3f metalLobe(const vexakelo::MetalSurface& s, vexakelo::Vec3f V,
                              vexakelo::Vec3f L) const {
        using namespace vexakelo;
        const float g = metal::ggxReflection(s.ggx, V, L);
        if (!(g > 0.0f)) {
            return {0.0f, 0.0f, 0.0f};
        }
        const Vec3f h = normalize(V + L);
        return g * reflectance(s, dot(V, h));
    }

    float patinaLobe(vexakelo::Vec3f V, vexakelo::Vec3f L) const {
        return vexakelo::metal::roughDiffuse(V, L, vexakelo::clampUnit(params.patinaRoughness));
    }

    // The BSDF c [(1 - m) f_metal + m rho f_patina]; 0 unless V and L are above the lobe normal
    // and L is on the viewer's side of the geometry.
    vexakelo::Vec3f value(const vexakelo::MetalSurface& s, vexakelo::Vec3f V, vexakelo::Vec3f L,
                          float side) const {
        using namespace vexakelo;
        Vec3f v{0.0f, 0.0f, 0.0f};
        if (!(V.z > 0.0f && L.z > 0.0f && side > 0.0f)) {
            return v;
        }
        if (s.patina < 1.0f) {
            v = ((1.0f - s.patina) * s.opacity) * metalLobe(s, V, L);
        }
        if (s.patina > 0.0f) {
            v = v + (s.patina * s.opacity * patinaLobe(V, L)) * s.patinaColor;
        }
        return v;
    }

    // tint * mix(bare conductor, film over it, film weight) at cosine mu; with no film the bare
    // conductor exactly.
    vexakelo::Vec3f reflectance(const vexakelo::MetalSurface& s, float mu) const {
        using namespace vexakelo;
        const Vec3f bare = metal::conductorFresnel(mu, s.ior);
        if (!(s.filmWeight > 0.0f)) {
            return mul(params.tintColor, bare);
        }
        const Vec3f film = metal::airyReflectance(mu, s.film, params.filmIor, s.ior);
        return mul(params.tintColor, bare + s.filmWeight * (film - bare));
    }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Metal)
