// vexa_kelo_Mtl_Mirror: a perfect tinted mirror. Material, flags 0x0D (no shadow slot), no
// varyings. `shade` traces the mirror ray with a fixed-reflectance Fresnel factor; `sampleBsdf`
// returns the mirror direction with the bare tint. The facing normal is chosen by the geometric
// normal, so a ray from behind reflects about -N.
#include <cmath>

#include "frame/shader_frame.h"
#include "materials/material_frame.h"

namespace vexakelo {

struct MirrorParams {
    vyr::Vec3f tintColor{0.0f, 0.0f, 0.0f};  // black until the host sets it
};

// clang-format off
inline constexpr ParamDesc kMirrorParamTable[] = {
    VEXAKELO_PARAM(MirrorParams, Vec3f, "u_tintColor", tintColor),  // mirror colour
};
// clang-format on
static_assert(isOrderedTable<MirrorParams>(kMirrorParamTable));

}  // namespace vexakelo

namespace vyr {

class vexa_kelo_Mtl_Mirror final
    : public vexakelo::ShaderFrame<vexa_kelo_Mtl_Mirror, MaterialShader, vexakelo::MirrorParams> {
public:
    static constexpr std::string_view kName = "vexa_kelo_Mtl_Mirror";
    static std::span<const vexakelo::ParamDesc> parameters() { return vexakelo::kMirrorParamTable; }

    void shade(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        shadeWithFrame(state, [&](const MaterialFrame& f, Contributions& out) {
            // Fresnel factor from the unflipped normal: 0.92 head-on, exactly 1.0 at grazing.
            const float a = clampUnit(std::fabs(dot(f.I, f.N)));
            const float F = 0.92f + 0.07999998f * std::pow(1.0f - a, 5.0f);
            const Vec3f W = F * params.tintColor;
            // Reflect about the facing normal and trace; the weight is kept beside the colour.
            const Vec3f Nf = facingNormal(facingSign(f.I, f.Ng), f.N);
            const Vec3f R = mirrorDirection(f.I, Nf);
            out.color[kReflection] = withAlpha(traceWeighted(context, f.P, R, W), 1.0f);
            out.side[kReflectionWeight] = W;
        });
    }

    void shadow(ShadingContext*, ShadingState*) const override {}
    void evaluateBsdf(ShadingContext*, ShadingState*) const override {}

    // Deliberate: the sampled weight carries no Fresnel factor, unlike shade.
    void sampleBsdf(ShadingContext*, ShadingState* state) const override {
        using namespace vexakelo;
        const Vec3f Nf = facingNormal(facingSign(state->rayDir, state->geoNormal), state->normal);
        if (state->lobeRequest[2] == 0) {
            state->bsdfLobe = 0;
            return;
        }
        // Not guarded: cos = 0 (grazing) gives an infinite weight.
        const float cos = -dot(Nf, state->rayDir);
        state->bsdfCos = cos;
        state->bsdfDir = state->rayDir + (2.0f * cos) * Nf;
        state->bsdfWeight = params.tintColor * (1.0f / cos);
        state->bsdfPdf = 1.0f;
        state->bsdfLobe = 4;
    }

    void finishShading() override {}
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Mirror)
