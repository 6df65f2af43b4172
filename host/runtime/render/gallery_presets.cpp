// One gallery preset per catalog shader. A preset holds what makes the shader's tile telling:
// its parameters and, for lights, where the light stands. Shaders the library does not export
// yet are simply not drawn; a parameter a shader does not declare is dropped with a warning.
#include "render/gallery.h"

#include <nlohmann/json.hpp>

namespace vkrender {

namespace {

// The base Ward look shared by the variants: a warm diffuse layer under a fairly tight lobe.
const std::string kWardBase =
    R"j("u_diffuseColor": [0.55, 0.22, 0.08], "u_specularColor": [1, 1, 1],
       "u_roughValue": 0.06, "u_brdf00Reflectivity": 0.08, "u_brdf90Reflectivity": 1.0,
       "u_additionalColor": [0, 0, 0])j";

// A Ward variant's tile: the base look with the switches its trees hang from, every tree
// expanded with the gallery's node defaults (bitmaps read the checker), then each override set on
// every node parameter whose key ends in its suffix, so the two inputs of a node differ and the
// tree shows.
const std::string kDiffuseTree = "_ward_diffuse_color_";
const std::string kNormalTree = "_ward_normal0_map_";
const std::string kCutoutTree = "_ward_cutout_map_";
const std::string kDiffuseOn = R"j(, "u_diffuseMapEnable": true)j";
const std::string kNormalOn = R"j(, "u_normal0MapEnable": true, "u_normal0Amount": 0.3)j";
const std::string kStrongBump = R"j(, "u_normal0Amount": 6)j";
const std::string kMediumBump = R"j(, "u_normal0Amount": 1.5)j";
// A bitmap xform that reads one square of the checker everywhere: blue-grey, or cream.
const nlohmann::json kBlueSquare = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0.0625, 0.0625, 0, 1};
const nlohmann::json kCreamSquare = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0.1875, 0.0625, 0, 1};

std::string wardVariant(const std::string& switches,
                        const std::vector<std::pair<std::string, std::string>>& trees,
                        const std::vector<std::pair<std::string, nlohmann::json>>& overrides) {
    // Reflectivity rising towards grazing only, so the diffuse layer the trees feed shows.
    const std::string look = R"j(, "u_brdfCurvePower": 4, "u_brdf90Reflectivity": 0.6)j";
    nlohmann::json params = nlohmann::json::parse("{" + kWardBase + look + switches + "}");
    for (const auto& [prefix, tree] : trees) {
        params.update(nlohmann::json::parse(expandNodeTree(prefix, tree, "textures/checker.png")));
    }
    // Every node starts from the identity xform, so an override can replace it.
    const nlohmann::json identity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    for (const std::string first : {"UnifiedBitmap_amount", "Noise_type", "Tile_verticalCount"}) {
        const nlohmann::json before = params;
        for (const auto& [key, value] : before.items()) {
            if (key.size() > first.size() &&
                key.compare(key.size() - first.size(), first.size(), first) == 0) {
                params[key.substr(0, key.rfind('_')) + "_xform"] = identity;
            }
        }
    }
    // Sharper noise than the defaults, so the blotches read at tile size.
    std::vector<std::pair<std::string, nlohmann::json>> all = {{"Noise_thresholdLow", 0.4},
                                                               {"Noise_thresholdHigh", 0.6}};
    all.insert(all.end(), overrides.begin(), overrides.end());
    for (const auto& [suffix, value] : all) {
        for (auto& [key, v] : params.items()) {
            if (key.size() >= suffix.size() &&
                key.compare(key.size() - suffix.size(), suffix.size(), suffix) == 0) {
                v = value;
            }
        }
    }
    return nlohmann::json{{"params", params}}.dump();
}

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
    // The reflectivity curve lets the diffuse layer show head-on; the lobe is stretched along
    // the sphere's latitudes.
    {"vexa_kelo_Mtl_Ward",
     "{\"params\": {" + kWardBase +
         R"j(, "u_brdfCurvePower": 5, "u_anisotropyValue": 0.25, "u_reflectGlossyValue": 0.4}})j"},
    {"vexa_kelo_Mtl_Ward_120b7820",
     wardVariant(kDiffuseOn, {{kDiffuseTree, "Noise(const, const)"}}, {})},
    {"vexa_kelo_Mtl_Ward_33632204",
     wardVariant(kDiffuseOn + kNormalOn + kMediumBump,
                 {{kDiffuseTree, "Noise(Noise(UB, UB), Noise(UB, UB))"},
                  {kNormalTree, "Noise(Noise(UB, UB), Noise(UB, UB))"}},
                 {{"color2_UnifiedBitmap_amount", 0.2}, {"color1_Noise_size", 0.08},
                  {"color2_Noise_size", 0.12}})},
    {"vexa_kelo_Mtl_Ward_5592d496",
     wardVariant(kDiffuseOn + kNormalOn,
                 {{kDiffuseTree, "Noise(UB, UB)"}, {kNormalTree, "UB"}},
                 {{"color2_UnifiedBitmap_amount", 0.2}})},
    {"vexa_kelo_Mtl_Ward_5ba0bfff",
     wardVariant(kNormalOn + kStrongBump, {{kNormalTree, "Noise(const, const)"}},
                 {{"Noise_size", 0.08}})},
    {"vexa_kelo_Mtl_Ward_82261344",
     wardVariant(kDiffuseOn + R"j(, "u_cutoutMapEnable": true)j",
                 {{kDiffuseTree, "Noise(UB, UB)"}, {kCutoutTree, "UB"}},
                 {{"color2_UnifiedBitmap_amount", 0.2}})},
    {"vexa_kelo_Mtl_Ward_aa598cb4",
     wardVariant(kDiffuseOn + kNormalOn + kMediumBump,
                 {{kDiffuseTree, "Noise(UB, UB)"}, {kNormalTree, "Noise(UB, UB)"}},
                 {{"color2_UnifiedBitmap_amount", 0.2}})},
    {"vexa_kelo_Mtl_Ward_b9aac246",
     wardVariant(kDiffuseOn + kNormalOn,
                 {{kDiffuseTree, "Noise(Tile(UB, UB), Tile(UB, UB))"}, {kNormalTree, "UB"}},
                 {{"brickColor_UnifiedBitmap_xform", kBlueSquare},
                  {"mortarColor_UnifiedBitmap_xform", kCreamSquare},
                  {"Tile_verticalCount", 12.0},
                  {"Tile_horizontalCount", 6.0},
                  {"Tile_verticalGap", 0.08},
                  {"color2_Tile_brickColor_UnifiedBitmap_amount", 0.45},
                  {"color2_Tile_verticalCount", 20.0},
                  {"_ward_normal0_map_UnifiedBitmap_amount", 0.3}})},
    {"vexa_kelo_Mtl_Ward_ccb3a2e6",
     wardVariant(kDiffuseOn, {{kDiffuseTree, "Noise(UB, UB)"}},
                 {{"color2_UnifiedBitmap_amount", 0.2}})},
    {"vexa_kelo_Mtl_Ward_f05db29e",
     wardVariant(kDiffuseOn + kNormalOn, {{kDiffuseTree, "Tile(UB, UB)"}, {kNormalTree, "UB"}},
                 {{"brickColor_UnifiedBitmap_xform", kBlueSquare},
                  {"mortarColor_UnifiedBitmap_xform", kCreamSquare},
                  {"Tile_verticalCount", 12.0},
                  {"Tile_horizontalCount", 6.0},
                  {"Tile_verticalGap", 0.08},
                  {"edgeRoughness", 20.0},
                  {"colorVariance", 0.3},
                  {"_ward_normal0_map_UnifiedBitmap_amount", 0.3}})},
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
