// Values that switch a Ward variant's trees on and make every node do something: each node
// parameter gets a working value by its own name (the last part of its key), every bitmap reads
// `map`, and the three switches the trees hang from are set. Shared by the variant tests, the
// thread and allocation tests and the benchmark.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "parameters.h"

namespace vktest {

inline const vyr::Mat4f kIdentity4{{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};

// The working value of a node parameter, by the last part of its key.
inline vkhost::ParamValue nodeValue(const std::string& key, const vyr::TextureHandle& map) {
    const std::string n = key.substr(key.rfind('_') + 1);
    using V = vyr::Vec4f;
    // clang-format off
    if (n == "xform") return kIdentity4;
    if (n == "texture") return map;
    if (n == "amount") return 0.8f;
    if (n == "isCube" || n == "useColumnEdit") return false;
    if (n == "useRowEdit" || n == "repeatX" || n == "repeatY") return true;
    if (n == "type") return std::int32_t{1};
    if (n == "color1" || n == "brickColor") return V{0.7f, 0.3f, 0.2f, 1.0f};
    if (n == "color2" || n == "mortarColor") return V{0.9f, 0.85f, 0.6f, 1.0f};
    if (n == "size") return 0.3f;
    if (n == "thresholdLow") return 0.2f;
    if (n == "thresholdHigh") return 0.8f;
    if (n == "levels") return 2.5f;
    if (n == "phase") return 0.1f;
    if (n == "verticalCount") return 8.0f;
    if (n == "horizontalCount") return 4.0f;
    if (n == "colorVariance" || n == "fadeVariance") return 0.2f;
    if (n == "horizontalGap" || n == "verticalGap") return 0.08f;
    if (n == "edgeRoughness") return 20.0f;
    if (n == "randomSeed") return std::int32_t{3};
    if (n == "lineShift") return 0.5f;
    if (n == "randomShift") return 0.1f;
    if (n == "changeRow") return 1.5f;
    if (n == "perRow" || n == "perColumn") return std::int32_t{3};
    if (n == "changeColumn") return 0.8f;
    if (n == "holes") return std::int32_t{10};
    if (n == "brickHeight" || n == "brickWidth") return 1.0f;
    // clang-format on
    return 0.0f;
}

// Every node parameter a shader declares ("_ward_..."), with its working value.
inline std::vector<std::pair<std::string, vkhost::ParamValue>> treeValues(
    const vkhost::ShaderLayout& layout, const vyr::TextureHandle& map) {
    std::vector<std::pair<std::string, vkhost::ParamValue>> out;
    for (const vkhost::Declaration& d : layout.parameters) {
        if (d.name.rfind("_ward_", 0) == 0) {
            out.emplace_back(d.name, nodeValue(d.name, map));
        }
    }
    return out;
}

// The switches of the three maps a tree can feed.
inline const char* const kTreeSwitches[] = {"u_diffuseMapEnable", "u_normal0MapEnable",
                                            "u_cutoutMapEnable"};

// The nine variants.
inline const char* const kWardVariants[] = {
    "vexa_kelo_Mtl_Ward_120b7820", "vexa_kelo_Mtl_Ward_33632204", "vexa_kelo_Mtl_Ward_5592d496",
    "vexa_kelo_Mtl_Ward_5ba0bfff", "vexa_kelo_Mtl_Ward_82261344", "vexa_kelo_Mtl_Ward_aa598cb4",
    "vexa_kelo_Mtl_Ward_b9aac246", "vexa_kelo_Mtl_Ward_ccb3a2e6", "vexa_kelo_Mtl_Ward_f05db29e",
};

}  // namespace vktest
