// vexa_kelo_Lgt_Sky: the sky dome in direct lighting. The host picks a point on the dome as
// lightPosition; the light gives a constant colour and, if asked, hands the shadow transmittance
// towards that point back to the host (it does not fold it into the colour). Kind light.
#include "frame/shader_frame.h"

namespace vexakelo {

struct SkyLightParams {
    // Deliberate: a colour, although the key reads as a scalar.
    vyr::Vec3f intensity{1.0f, 1.0f, 1.0f};
    bool cast_shadows = true;
};

// clang-format off
inline constexpr ParamDesc kSkyLightTable[] = {
    VEXAKELO_PARAM(SkyLightParams, Vec3f, "intensity",    intensity),     // RGB radiance delivered
    VEXAKELO_PARAM(SkyLightParams, Bool,  "cast_shadows", cast_shadows),  // shadow test on or off
};
// clang-format on
static_assert(isOrderedTable<SkyLightParams>(kSkyLightTable));

}  // namespace vexakelo

namespace vyr {

class vexa_kelo_Lgt_Sky final
    : public vexakelo::ShaderFrame<vexa_kelo_Lgt_Sky, LightShader, vexakelo::SkyLightParams> {
public:
    static constexpr std::string_view kName = "vexa_kelo_Lgt_Sky";
    static std::span<const vexakelo::ParamDesc> parameters() { return vexakelo::kSkyLightTable; }

    void shade(ShadingContext* context, ShadingState* state) const override {
        if (params.cast_shadows) {
            Vec3f scratch;
            state->lightShadow =
                *context->traceShadow(&scratch, &state->position, &state->lightPosition);
        }
        state->lightColor = params.intensity;
    }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Lgt_Sky)
