// One gallery preset per catalog shader. A preset holds what makes the shader's tile telling:
// its parameters and, for lights, where the light stands. Shaders the library does not export
// yet are simply not drawn; a parameter a shader does not declare is dropped with a warning.
#include "render/gallery.h"

namespace vkrender {

namespace {

// The base Ward look shared by the variants: a warm diffuse layer under a fairly tight lobe.
const std::string kWardBase =
    R"j("u_diffuseColor": [0.55, 0.22, 0.08], "u_specularColor": [1, 1, 1],
       "u_roughValue": 0.06, "u_brdf00Reflectivity": 0.08, "u_brdf90Reflectivity": 1.0,
       "u_additionalColor": [0, 0, 0])j";

// clang-format off
const std::vector<GalleryPreset> kPresets = {
    {"Background", R"j({"params": {"color": [0.35, 0.5, 0.75]}})j"},
    {"SimpleAmbientLight", R"j({"params": {"color": [0.45, 0.45, 0.5]}})j"},
    {"SimplePointLight",
     R"j({"position": [1.5, -2.0, 3.5], "params": {"color": [3.0, 2.8, 2.5]}})j"},
    {"vexa_kelo_Env_Sky",
     R"j({"params": {"sun_direction": [0.3, -0.8, 0.35], "haze": 1.5, "multiplier": 1.0,
                    "horizon_blur": 0.2},
         "exposure": 0.15})j"},
    {"vexa_kelo_Lgt_Diffuse",
     R"j({"position": [0, 0, 3.0], "edge_u": [1.6, 0, 0], "edge_v": [0, -1.0, 0],
         "params": {"color": [1.0, 0.95, 0.85], "integratedColor": [25, 24, 21],
                    "intensity": 25.0, "cast_shadows": true}})j"},
    {"vexa_kelo_Lgt_PhotometricWeb",
     R"j({"position": [0, 0, 3.2], "axis": [0, 0, -1], "ies": "ies/overhead.ies",
         "params": {"rgbLightColor": [30, 27, 24], "cast_shadows": true}})j"},
    {"vexa_kelo_Lgt_Sky",
     R"j({"dome_radius": 1000, "params": {"intensity": [0.6, 0.7, 0.9], "cast_shadows": true}})j"},
    {"vexa_kelo_Lgt_Sphere",
     R"j({"position": [1.0, -1.0, 2.6], "radius": 0.35,
         "params": {"color": [1.0, 0.85, 0.6], "integratedColor": [40, 34, 24],
                    "intensity": 40.0, "cast_shadows": true}})j"},
    {"vexa_kelo_Lgt_Spot",
     R"j({"position": [-1.5, -1.5, 3.5], "target": [0, 0, 0.4],
         "params": {"color": [1.0, 0.95, 0.8], "integratedColor": [40, 38, 32], "intensity": 40.0,
                    "hotspot": 0.96, "falloff": 0.9, "decay": 1.0, "cast_shadows": true}})j"},
    {"vexa_kelo_Mtl_Dielectric",
     R"j({"params": {"u_ior": 1.5, "u_reflectance": 0.06, "u_refractColor": [0.9, 0.97, 1.0],
                    "u_reflectColor": [1, 1, 1], "u_roughValue": 0.002}})j"},
    {"vexa_kelo_Mtl_Glazing",
     R"j({"params": {"u_reflectance": 0.25, "u_refractColor": [0.7, 0.9, 0.8]}})j"},
    {"vexa_kelo_Mtl_Metal",
     R"j({"params": {"u_preset": 3, "u_roughValue": 0.3, "u_anisotropyValue": 0.8,
                    "u_brushMode": 1, "u_brushStreaks": 0.4, "u_brushScale": 80}})j"},
    {"vexa_kelo_Mtl_MetallicPaint",
     R"j({"params": {"u_preset": 4, "u_flakeSize": 0.004, "u_peelAmount": 0.008}})j"},
    {"vexa_kelo_Mtl_Mirror", R"j({"params": {"u_tintColor": [0.95, 0.93, 0.9]}})j"},
    {"vexa_kelo_Mtl_Ward", "{\"params\": {" + kWardBase + "}}"},
    {"vexa_kelo_Mtl_Ward_120b7820",
     "{\"params\": {" + kWardBase + "}," +
     R"j("nodes": {"_ward_diffuse_color_": "Noise(const, const)"}})j"},
    {"vexa_kelo_Mtl_Ward_33632204",
     "{\"params\": {" + kWardBase + R"j(, "u_normal0MapEnable": true, "u_normal0Amount": 0.3},)j" +
     R"j("nodes": {"_ward_diffuse_color_": "Noise(Noise(UB, UB), Noise(UB, UB))",
                  "_ward_normal0_map_": "Noise(Noise(UB, UB), Noise(UB, UB))"}})j"},
    {"vexa_kelo_Mtl_Ward_5592d496",
     "{\"params\": {" + kWardBase + R"j(, "u_normal0MapEnable": true, "u_normal0Amount": 0.3},)j" +
     R"j("nodes": {"_ward_diffuse_color_": "Noise(UB, UB)", "_ward_normal0_map_": "UB"}})j"},
    {"vexa_kelo_Mtl_Ward_5ba0bfff",
     "{\"params\": {" + kWardBase + R"j(, "u_normal0MapEnable": true, "u_normal0Amount": 0.3},)j" +
     R"j("nodes": {"_ward_normal0_map_": "Noise(const, const)"}})j"},
    {"vexa_kelo_Mtl_Ward_82261344",
     "{\"params\": {" + kWardBase + R"j(, "u_cutoutMapEnable": true},)j" +
     R"j("nodes": {"_ward_diffuse_color_": "Noise(UB, UB)", "_ward_cutout_map_": "UB"}})j"},
    {"vexa_kelo_Mtl_Ward_aa598cb4",
     "{\"params\": {" + kWardBase + R"j(, "u_normal0MapEnable": true, "u_normal0Amount": 0.3},)j" +
     R"j("nodes": {"_ward_diffuse_color_": "Noise(UB, UB)", "_ward_normal0_map_": "Noise(UB, UB)"}})j"},
    {"vexa_kelo_Mtl_Ward_b9aac246",
     "{\"params\": {" + kWardBase + R"j(, "u_normal0MapEnable": true, "u_normal0Amount": 0.3},)j" +
     R"j("nodes": {"_ward_diffuse_color_": "Noise(Tile(UB, UB), Tile(UB, UB))",
                  "_ward_normal0_map_": "UB"}})j"},
    {"vexa_kelo_Mtl_Ward_ccb3a2e6",
     "{\"params\": {" + kWardBase + "}," +
     R"j("nodes": {"_ward_diffuse_color_": "Noise(UB, UB)"}})j"},
    {"vexa_kelo_Mtl_Ward_f05db29e",
     "{\"params\": {" + kWardBase + R"j(, "u_normal0MapEnable": true, "u_normal0Amount": 0.3},)j" +
     R"j("nodes": {"_ward_diffuse_color_": "Tile(UB, UB)", "_ward_normal0_map_": "UB"}})j"},
};
// clang-format on

}  // namespace

const std::vector<GalleryPreset>& galleryPresets() {
    return kPresets;
}

const GalleryPreset* findPreset(std::string_view shader) {
    for (const GalleryPreset& preset : kPresets) {
        if (preset.shader == shader) {
            return &preset;
        }
    }
    return nullptr;
}

}  // namespace vkrender
