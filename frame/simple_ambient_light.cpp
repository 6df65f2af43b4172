// SimpleAmbientLight: light of one colour that reaches every point. Kind light; makes no shadow
// test, so lightShadow stays as the host set it.
#include "frame/color_params.h"
#include "frame/shader_frame.h"

namespace vyr {

class SimpleAmbientLight final
    : public vexakelo::ShaderFrame<SimpleAmbientLight, LightShader, vexakelo::ColorParams> {
public:
    static constexpr std::string_view kName = "SimpleAmbientLight";
    static std::span<const vexakelo::ParamDesc> parameters() { return vexakelo::kColorParamTable; }

    void shade(ShadingContext* /*context*/, ShadingState* state) const override {
        state->lightColor = params.color;
    }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(SimpleAmbientLight)
