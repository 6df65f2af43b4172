// SimplePointLight: a point light at lightPosition with no fall-off and no angular term; only
// the shadow factor varies. Kind light.
#include "frame/color_params.h"
#include "frame/shader_frame.h"

namespace vyr {

class SimplePointLight final
    : public vexakelo::ShaderFrame<SimplePointLight, LightShader, vexakelo::ColorParams> {
public:
    static constexpr std::string_view kName = "SimplePointLight";
    static std::span<const vexakelo::ParamDesc> parameters() { return vexakelo::kColorParamTable; }

    void shade(ShadingContext* context, ShadingState* state) const override {
        Vec3f scratch;
        state->lightShadow = *context->traceShadow(&scratch, &state->position,
                                                   &state->lightPosition);
        state->lightColor = params.color;
    }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(SimplePointLight)
