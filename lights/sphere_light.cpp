// vexa_kelo_Lgt_Sphere: an omnidirectional emitter with the coloured shadow of the spot light and
// a six-face shadow-colour map. Kind light, no varyings. The host samples the sphere and hands
// the chosen point as lightPosition; lightToPoint points from that point to the shading point.
// lightAxis is not read.
#include "frame/shader_frame.h"
#include "frame/vec_math.h"
#include "lights/area_light_params.h"
#include "lights/shadow_color_blend.h"

namespace vyr {

class vexa_kelo_Lgt_Sphere final
    : public vexakelo::ShaderFrame<vexa_kelo_Lgt_Sphere, LightShader, vexakelo::AreaLightParams> {
public:
    static constexpr std::string_view kName = "vexa_kelo_Lgt_Sphere";
    static std::span<const vexakelo::ParamDesc> parameters() { return vexakelo::kAreaLightTable; }

    void shade(ShadingContext* context, ShadingState* state) const override {
        using namespace vexakelo;
        // Deliberate: no guard on a zero distance.
        const float D = state->lightDistance * state->lightDistance * params.squareUnitsMultiplier;

        if (!params.cast_shadows) {
            state->lightColor = params.integratedColor * (1.0f / D);
            return;
        }

        const Vec3f B = shadowedAreaColor(params, context, state);
        state->lightColor = B * (params.intensity / D);
    }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Lgt_Sphere)
