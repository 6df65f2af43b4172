// vexa_kelo_Lgt_Diffuse: a one-sided area emitter whose light falls off with the cosine between
// its axis and the direction to the point, with the coloured shadow of the spot light and a
// six-face shadow-colour map. Kind light, no varyings. The host samples the emitter and hands
// the chosen point as lightPosition, its normal as lightAxis; lightToPoint points from that
// point to the shading point.
#include "frame/shader_frame.h"
#include "frame/vec_math.h"
#include "lights/area_light_params.h"
#include "lights/shadow_color_blend.h"

namespace vyr {

class vexa_kelo_Lgt_Diffuse final
    : public vexakelo::ShaderFrame<vexa_kelo_Lgt_Diffuse, LightShader, vexakelo::AreaLightParams> {
public:
    static constexpr std::string_view kName = "vexa_kelo_Lgt_Diffuse";
    static std::span<const vexakelo::ParamDesc> parameters() { return vexakelo::kAreaLightTable; }

    // Deliberate: a new diffuse light casts no shadow (the sphere light does).
    vexa_kelo_Lgt_Diffuse() { params.cast_shadows = false; }

    void shade(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        // Cosine off the emitter's axis; behind it the light is 0 but the call goes on.
        float c = dot(state->lightAxis, state->lightToPoint);
        c = c < 0.0f ? 0.0f : (c > 1.0f ? 1.0f : c);
        // Deliberate: no guard on a zero distance.
        const float D = state->lightDistance * state->lightDistance * params.squareUnitsMultiplier;
        const float g = c / D;

        if (!params.cast_shadows) {
            state->lightColor = params.integratedColor * g;
            return;
        }

        const Vec3f B = shadowedAreaColor(params, context, state);
        state->lightColor = B * (g * params.intensity);
    }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Lgt_Diffuse)
