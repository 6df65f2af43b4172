// Background: a constant environment colour. Kind environment; answers at every trace depth and
// leaves the alpha of outColor as the host set it.
#include "frame/color_params.h"
#include "frame/shader_frame.h"

namespace vyr {

class Background final
    : public vexakelo::ShaderFrame<Background, EnvironmentShader, vexakelo::ColorParams> {
public:
    static constexpr std::string_view kName = "Background";
    static std::span<const vexakelo::ParamDesc> parameters() { return vexakelo::kColorParamTable; }

    void shade(ShadingContext* /*context*/, ShadingState* state) const override {
        state->outColor.x = params.color.x;
        state->outColor.y = params.color.y;
        state->outColor.z = params.color.z;
    }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(Background)
