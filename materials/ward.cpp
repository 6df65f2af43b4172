// vexa_kelo_Mtl_Ward: the general-purpose glossy material. Material, flags 0x0F, varyings
// bitangent, tangent, uv. A Lambertian layer under an anisotropic Ward lobe, a reflectivity curve
// from head-on to grazing, metal, cutout, transparency and translucency, two height maps and a
// noise bump, an image fade and an emitted colour; every input a constant or a scaled map. The
// shading lives in materials/ward/, shared with the nine variants that feed some of its maps from
// procedural trees.
#include "materials/ward/ward_params.h"
#include "materials/ward/ward_shading.h"

namespace vyr {

class vexa_kelo_Mtl_Ward final
    : public vexakelo::WardSlots<vexa_kelo_Mtl_Ward, vexakelo::WardParams,
                                 vexakelo::WardBaseInputs> {
public:
    static constexpr std::string_view kName = "vexa_kelo_Mtl_Ward";
    static std::span<const vexakelo::ParamDesc> parameters() { return vexakelo::kWardParamTable; }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Mtl_Ward)
