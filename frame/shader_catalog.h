// The one table of every shader the library exports: name, kind, the flags given to
// beginParameters and the object size. Each shader class checks its size against it, takes its
// kind and flags from it, and the export test compares it with the library's symbol table.
#pragma once

#include <cstddef>
#include <string_view>

#include "vyr/shader.h"

namespace vexakelo {

struct ShaderInfo {
    std::string_view name;
    int kind;
    int flags;
    std::size_t size;
};

// Flags of beginParameters.
inline constexpr int kEnvironmentFlags = 0x40;
inline constexpr int kLightFlags = 0x20;
inline constexpr int kMaterialFlags = 0x0F;
inline constexpr int kMaterialWithoutShadowFlags = 0x0D;

// clang-format off
inline constexpr ShaderInfo kShaderCatalog[] = {
    {"Background",                   vyr::kEnvironmentKind, kEnvironmentFlags,           24},
    {"SimpleAmbientLight",           vyr::kLightKind,       kLightFlags,                 24},
    {"SimplePointLight",             vyr::kLightKind,       kLightFlags,                 24},
    {"vexa_kelo_Env_Sky",            vyr::kEnvironmentKind, kEnvironmentFlags,           80},
    {"vexa_kelo_Lgt_Diffuse",        vyr::kLightKind,       kLightFlags,                 88},
    {"vexa_kelo_Lgt_PhotometricWeb", vyr::kLightKind,       kLightFlags,                 168},
    {"vexa_kelo_Lgt_Sky",            vyr::kLightKind,       kLightFlags,                 24},
    {"vexa_kelo_Lgt_Sphere",         vyr::kLightKind,       kLightFlags,                 88},
    {"vexa_kelo_Lgt_Spot",           vyr::kLightKind,       kLightFlags,                 96},
    {"vexa_kelo_Mtl_Dielectric",     vyr::kMaterialKind,    kMaterialFlags,              336},
    {"vexa_kelo_Mtl_Glazing",        vyr::kMaterialKind,    kMaterialFlags,              104},
    {"vexa_kelo_Mtl_Metal",          vyr::kMaterialKind,    kMaterialFlags,              840},
    {"vexa_kelo_Mtl_MetallicPaint",  vyr::kMaterialKind,    kMaterialWithoutShadowFlags, 192},
    {"vexa_kelo_Mtl_Mirror",         vyr::kMaterialKind,    kMaterialWithoutShadowFlags, 24},
    {"vexa_kelo_Mtl_Ward",           vyr::kMaterialKind,    kMaterialFlags,              1144},
    {"vexa_kelo_Mtl_Ward_120b7820",  vyr::kMaterialKind,    kMaterialFlags,              1264},
    {"vexa_kelo_Mtl_Ward_33632204",  vyr::kMaterialKind,    kMaterialFlags,              2376},
    // Five Ward variants cannot keep their parameters in declaration order at the historical
    // sizes (1496, 1496, 1672, 1952, 1408); these are the sizes of the ordered layouts.
    {"vexa_kelo_Mtl_Ward_5592d496",  vyr::kMaterialKind,    kMaterialFlags,              1504},
    {"vexa_kelo_Mtl_Ward_5ba0bfff",  vyr::kMaterialKind,    kMaterialFlags,              1264},
    {"vexa_kelo_Mtl_Ward_82261344",  vyr::kMaterialKind,    kMaterialFlags,              1504},
    {"vexa_kelo_Mtl_Ward_aa598cb4",  vyr::kMaterialKind,    kMaterialFlags,              1680},
    {"vexa_kelo_Mtl_Ward_b9aac246",  vyr::kMaterialKind,    kMaterialFlags,              1960},
    {"vexa_kelo_Mtl_Ward_ccb3a2e6",  vyr::kMaterialKind,    kMaterialFlags,              1416},
    {"vexa_kelo_Mtl_Ward_f05db29e",  vyr::kMaterialKind,    kMaterialFlags,              1552},
};
// clang-format on

// The catalog entry of a shader; a name that is not listed fails to compile where it is used
// in a constant expression.
consteval const ShaderInfo& shaderInfo(std::string_view name) {
    for (const ShaderInfo& info : kShaderCatalog) {
        if (info.name == name) {
            return info;
        }
    }
    throw "shader missing from kShaderCatalog";
}

}  // namespace vexakelo
