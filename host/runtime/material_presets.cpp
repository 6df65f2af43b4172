#include "material_presets.h"

namespace vkhost {

namespace {

const vyr::Mat3f kIdentity{{1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f}};

}  // namespace

ParameterList wardFullyMapped(const vyr::TextureHandle& map) {
    ParameterList p = {
        {"u_procedureMapEnable", std::int32_t{1}},
        {"u_procedureMapAmount", 0.05f},
        {"u_imageFadeEnable", std::int32_t{2}},
        {"u_imageFade", 0.5f},
        {"u_brdfCurvePower", 2.0f},
        {"u_diffuseColor", vyr::Vec3f{0.5f, 0.4f, 0.3f}},
        {"u_transparency", true},
        {"u_normal0Amount", 0.3f},
        {"u_normal1Amount", 0.2f},
        {"u_anisotropyAmount", 0.5f},
        {"u_anisoRotationAmount", 0.3f},
    };
    for (const char* group :
         {"u_normal0", "u_normal0Amount", "u_normal1", "u_diffuse", "u_specular", "u_rough",
          "u_refractGlossy", "u_anisotropy", "u_anisoRotation", "u_brdf00Reflect",
          "u_brdf90Reflect", "u_transparency", "u_translucency", "u_cutout", "u_additional"}) {
        const std::string g = group;
        p.emplace_back(g + "MapEnable", true);
        p.emplace_back(g + "Map", map);
        // The additional colour's transform carries "Map" in its key.
        p.emplace_back(g == "u_additional" ? "u_additionalMapTransform" : g + "Transform",
                       kIdentity);
    }
    p.emplace_back("u_imageFadeMap", map);
    p.emplace_back("u_imageFadeTransform", kIdentity);
    return p;
}

ParameterList wardPlain() {
    return {{"u_diffuseColor", vyr::Vec3f{0.5f, 0.4f, 0.3f}},
            {"u_roughValue", 0.2f},
            {"u_brdfCurvePower", 2.0f}};
}

}  // namespace vkhost
