// The Ward material's 90 parameters: the params struct (fields in declaration order, defaults as
// member initialisers, "left to setParameters" as zero), the table that declares and copies them,
// and the map groups that read them. Shared by the base material and its nine variants, whose node
// values follow the last base field.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/parameter_table.h"
#include "materials/map_group.h"
#include "vyr/vyr.h"

namespace vexakelo {

struct WardParams {
    std::int32_t procedureMapEnable = 0;
    vyr::Vec3f procedureMapTiling{1.0f, 1.0f, 1.0f};
    float procedureMapAmount = 0.0f;
    vyr::TextureHandle smokeMap{};
    bool normal0MapEnable = false;
    vyr::TextureHandle normal0Map{};
    bool normal0AmountMapEnable = false;
    vyr::TextureHandle normal0AmountMap{};
    vyr::Mat3f normal0AmountTransform{};
    float normal0Amount = 0.0f;
    vyr::Mat3f normal0Transform{};
    bool normal1MapEnable = false;
    vyr::TextureHandle normal1Map{};
    float normal1Amount = 0.0f;
    vyr::Mat3f normal1Transform{};
    bool normal1AsShadingNormal = false;
    bool diffuseMapEnable = false;
    vyr::TextureHandle diffuseMap{};
    vyr::Vec3f diffuseColor{0.0f, 0.0f, 0.0f};
    vyr::Mat3f diffuseTransform{};
    float diffuseAmount = 1.0f;
    std::int32_t imageFadeEnable = 0;
    float imageFade = 1.0f;
    vyr::TextureHandle imageFadeMap{};
    vyr::Mat3f imageFadeTransform{};
    float imageFadeAmount = 1.0f;
    vyr::Vec3f imageFadeColor{0.0f, 0.0f, 0.0f};
    bool specularMapEnable = false;
    vyr::TextureHandle specularMap{};
    vyr::Vec3f specularColor{1.0f, 1.0f, 1.0f};
    vyr::Mat3f specularTransform{};
    float specularAmount = 1.0f;
    bool roughMapEnable = false;
    vyr::TextureHandle roughMap{};
    float roughValue = 0.01f;
    vyr::Mat3f roughTransform{};
    float roughAmount = 1.0f;
    float reflectGlossyValue = 0.0f;
    bool refractGlossyMapEnable = false;
    vyr::TextureHandle refractGlossyMap{};
    vyr::Mat3f refractGlossyTransform{};
    float refractGlossyAmount = 1.0f;
    float refractGlossyValue = 0.0f;
    bool anisotropyMapEnable = false;
    vyr::TextureHandle anisotropyMap{};
    float anisotropyValue = 1.0f;
    vyr::Mat3f anisotropyTransform{};
    float anisotropyAmount = 1.0f;
    bool anisoRotationMapEnable = false;
    vyr::TextureHandle anisoRotationMap{};
    float anisoRotationValue = 0.0f;
    vyr::Mat3f anisoRotationTransform{};
    float anisoRotationAmount = 1.0f;
    float brdfCurvePower = 0.0f;
    bool brdf00ReflectMapEnable = false;
    vyr::TextureHandle brdf00ReflectMap{};
    vyr::Mat3f brdf00ReflectTransform{};
    float brdf00ReflectAmount = 1.0f;
    float brdf00Reflectivity = 0.1f;
    bool brdf90ReflectMapEnable = false;
    vyr::TextureHandle brdf90ReflectMap{};
    vyr::Mat3f brdf90ReflectTransform{};
    float brdf90Reflectivity = 1.0f;
    float brdf90ReflectAmount = 1.0f;
    float reflectivity = 1.0f;
    bool isMetal = false;
    bool transparency = false;
    bool transparencyMapEnable = false;
    vyr::TextureHandle transparencyMap{};
    float transparencyValue = 0.0f;
    vyr::Mat3f transparencyTransform{};
    float transparencyFade = 0.0f;
    float ior = 1.33f;
    float transparencyAmount = 1.0f;
    bool translucencyMapEnable = false;
    vyr::TextureHandle translucencyMap{};
    float translucencyValue = 0.0f;
    vyr::Mat3f translucencyTransform{};
    float translucencyAmount = 1.0f;
    bool cutoutMapEnable = false;
    vyr::TextureHandle cutoutMap{};
    vyr::Mat3f cutoutTransform{};
    float cutoutAmount = 1.0f;
    bool additionalMapEnable = false;
    vyr::TextureHandle additionalMap{};
    vyr::Vec3f additionalColor{0.0f, 0.0f, 0.0f};
    vyr::Mat3f additionalMapTransform{};
    float additionalAmount = 1.0f;
    bool cosineUsesBump = false;
    bool reflectionHighlightOnly = false;
};

using WP = WardParams;
// clang-format off
// The 0-degree reflectivity group declares its amount before its value and the 90-degree group
// the other way round; the additional colour's transform has "Map" in its key. Both as published.
inline constexpr ParamDesc kWardParamTable[] = {
    VEXAKELO_PARAM(WP, Int,       "u_procedureMapEnable",     procedureMapEnable),     // 1 = noise bump
    VEXAKELO_PARAM(WP, Vec3f,     "u_procedureMapTiling",     procedureMapTiling),     // noise scale per axis
    VEXAKELO_PARAM(WP, Float,     "u_procedureMapAmount",     procedureMapAmount),
    VEXAKELO_PARAM(WP, Texture1D, "u_smokeMap",               smokeMap),               // profile of the noise bump
    VEXAKELO_PARAM(WP, Bool,      "u_normal0MapEnable",       normal0MapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_normal0Map",             normal0Map),             // height map
    VEXAKELO_PARAM(WP, Bool,      "u_normal0AmountMapEnable", normal0AmountMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_normal0AmountMap",       normal0AmountMap),       // red: bump strength
    VEXAKELO_PARAM(WP, Mat3f,     "u_normal0AmountTransform", normal0AmountTransform),
    VEXAKELO_PARAM(WP, Float,     "u_normal0Amount",          normal0Amount),
    VEXAKELO_PARAM(WP, Mat3f,     "u_normal0Transform",       normal0Transform),
    VEXAKELO_PARAM(WP, Bool,      "u_normal1MapEnable",       normal1MapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_normal1Map",             normal1Map),             // second height map
    VEXAKELO_PARAM(WP, Float,     "u_normal1Amount",          normal1Amount),
    VEXAKELO_PARAM(WP, Mat3f,     "u_normal1Transform",       normal1Transform),
    VEXAKELO_PARAM(WP, Bool,      "u_normal1AsShadingNormal", normal1AsShadingNormal), // lobe ignores map 0
    VEXAKELO_PARAM(WP, Bool,      "u_diffuseMapEnable",       diffuseMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_diffuseMap",             diffuseMap),
    VEXAKELO_PARAM(WP, Vec3f,     "u_diffuseColor",           diffuseColor),
    VEXAKELO_PARAM(WP, Mat3f,     "u_diffuseTransform",       diffuseTransform),
    VEXAKELO_PARAM(WP, Float,     "u_diffuseAmount",          diffuseAmount),
    VEXAKELO_PARAM(WP, Int,       "u_imageFadeEnable",        imageFadeEnable),        // fade mode 0..4
    VEXAKELO_PARAM(WP, Float,     "u_imageFade",              imageFade),
    VEXAKELO_PARAM(WP, Texture2D, "u_imageFadeMap",           imageFadeMap),           // mode 2
    VEXAKELO_PARAM(WP, Mat3f,     "u_imageFadeTransform",     imageFadeTransform),
    VEXAKELO_PARAM(WP, Float,     "u_imageFadeAmount",        imageFadeAmount),
    VEXAKELO_PARAM(WP, Vec3f,     "u_imageFadeColor",         imageFadeColor),         // mode 3
    VEXAKELO_PARAM(WP, Bool,      "u_specularMapEnable",      specularMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_specularMap",            specularMap),
    VEXAKELO_PARAM(WP, Vec3f,     "u_specularColor",          specularColor),
    VEXAKELO_PARAM(WP, Mat3f,     "u_specularTransform",      specularTransform),
    VEXAKELO_PARAM(WP, Float,     "u_specularAmount",         specularAmount),
    VEXAKELO_PARAM(WP, Bool,      "u_roughMapEnable",         roughMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_roughMap",               roughMap),               // red: glossiness
    VEXAKELO_PARAM(WP, Float,     "u_roughValue",             roughValue),             // roughness along T
    VEXAKELO_PARAM(WP, Mat3f,     "u_roughTransform",         roughTransform),
    VEXAKELO_PARAM(WP, Float,     "u_roughAmount",            roughAmount),
    VEXAKELO_PARAM(WP, Float,     "u_reflectGlossyValue",     reflectGlossyValue),     // 0 = sharp reflection
    VEXAKELO_PARAM(WP, Bool,      "u_refractGlossyMapEnable", refractGlossyMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_refractGlossyMap",       refractGlossyMap),
    VEXAKELO_PARAM(WP, Mat3f,     "u_refractGlossyTransform", refractGlossyTransform),
    VEXAKELO_PARAM(WP, Float,     "u_refractGlossyAmount",    refractGlossyAmount),
    VEXAKELO_PARAM(WP, Float,     "u_refractGlossyValue",     refractGlossyValue),
    VEXAKELO_PARAM(WP, Bool,      "u_anisotropyMapEnable",    anisotropyMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_anisotropyMap",          anisotropyMap),
    VEXAKELO_PARAM(WP, Float,     "u_anisotropyValue",        anisotropyValue),        // alpha_y / alpha_x
    VEXAKELO_PARAM(WP, Mat3f,     "u_anisotropyTransform",    anisotropyTransform),
    VEXAKELO_PARAM(WP, Float,     "u_anisotropyAmount",       anisotropyAmount),
    VEXAKELO_PARAM(WP, Bool,      "u_anisoRotationMapEnable", anisoRotationMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_anisoRotationMap",       anisoRotationMap),
    VEXAKELO_PARAM(WP, Float,     "u_anisoRotationValue",     anisoRotationValue),     // turns about N
    VEXAKELO_PARAM(WP, Mat3f,     "u_anisoRotationTransform", anisoRotationTransform),
    VEXAKELO_PARAM(WP, Float,     "u_anisoRotationAmount",    anisoRotationAmount),
    VEXAKELO_PARAM(WP, Float,     "u_brdfCurvePower",         brdfCurvePower),
    VEXAKELO_PARAM(WP, Bool,      "u_brdf00ReflectMapEnable", brdf00ReflectMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_brdf00ReflectMap",       brdf00ReflectMap),
    VEXAKELO_PARAM(WP, Mat3f,     "u_brdf00ReflectTransform", brdf00ReflectTransform),
    VEXAKELO_PARAM(WP, Float,     "u_brdf00ReflectAmount",    brdf00ReflectAmount),
    VEXAKELO_PARAM(WP, Float,     "u_brdf00Reflectivity",     brdf00Reflectivity),     // head-on
    VEXAKELO_PARAM(WP, Bool,      "u_brdf90ReflectMapEnable", brdf90ReflectMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_brdf90ReflectMap",       brdf90ReflectMap),
    VEXAKELO_PARAM(WP, Mat3f,     "u_brdf90ReflectTransform", brdf90ReflectTransform),
    VEXAKELO_PARAM(WP, Float,     "u_brdf90Reflectivity",     brdf90Reflectivity),     // grazing
    VEXAKELO_PARAM(WP, Float,     "u_brdf90ReflectAmount",    brdf90ReflectAmount),
    VEXAKELO_PARAM(WP, Float,     "u_reflectivity",           reflectivity),
    VEXAKELO_PARAM(WP, Bool,      "u_isMetal",                isMetal),
    VEXAKELO_PARAM(WP, Bool,      "u_transparency",           transparency),
    VEXAKELO_PARAM(WP, Bool,      "u_transparencyMapEnable",  transparencyMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_transparencyMap",        transparencyMap),
    VEXAKELO_PARAM(WP, Float,     "u_transparencyValue",      transparencyValue),
    VEXAKELO_PARAM(WP, Mat3f,     "u_transparencyTransform",  transparencyTransform),
    VEXAKELO_PARAM(WP, Float,     "u_transparencyFade",       transparencyFade),       // absorption per unit length
    VEXAKELO_PARAM(WP, Float,     "u_ior",                    ior),
    VEXAKELO_PARAM(WP, Float,     "u_transparencyAmount",     transparencyAmount),
    VEXAKELO_PARAM(WP, Bool,      "u_translucencyMapEnable",  translucencyMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_translucencyMap",        translucencyMap),
    VEXAKELO_PARAM(WP, Float,     "u_translucencyValue",      translucencyValue),
    VEXAKELO_PARAM(WP, Mat3f,     "u_translucencyTransform",  translucencyTransform),
    VEXAKELO_PARAM(WP, Float,     "u_translucencyAmount",     translucencyAmount),
    VEXAKELO_PARAM(WP, Bool,      "u_cutoutMapEnable",        cutoutMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_cutoutMap",              cutoutMap),              // red: opacity
    VEXAKELO_PARAM(WP, Mat3f,     "u_cutoutTransform",        cutoutTransform),
    VEXAKELO_PARAM(WP, Float,     "u_cutoutAmount",           cutoutAmount),
    VEXAKELO_PARAM(WP, Bool,      "u_additionalMapEnable",    additionalMapEnable),
    VEXAKELO_PARAM(WP, Texture2D, "u_additionalMap",          additionalMap),
    VEXAKELO_PARAM(WP, Vec3f,     "u_additionalColor",        additionalColor),        // emitted
    VEXAKELO_PARAM(WP, Mat3f,     "u_additionalMapTransform", additionalMapTransform),
    VEXAKELO_PARAM(WP, Float,     "u_additionalAmount",       additionalAmount),
    VEXAKELO_PARAM(WP, Bool,      "u_cosineUsesBump",         cosineUsesBump),
    VEXAKELO_PARAM(WP, Bool,      "u_reflectionHighlightOnly", reflectionHighlightOnly),
};
// clang-format on
static_assert(std::size(kWardParamTable) == 90);
static_assert(isOrderedTable<WardParams>(kWardParamTable));
static_assert(offsetof(WardParams, smokeMap) == 24);
static_assert(offsetof(WardParams, normal0Map) == 48);
static_assert(offsetof(WardParams, diffuseMap) == 232);
static_assert(offsetof(WardParams, cutoutMap) == 1000);

// Just past the last base field: the variants' node values start here (at their alignment),
// inside what would otherwise be the struct's tail padding.
inline constexpr std::size_t kWardFieldsEnd = offsetof(WardParams, reflectionHighlightOnly) + 1;
static_assert(sizeof(WardParams) == 1136 && kWardFieldsEnd == 1134);

// clang-format off
// The map groups, one line each.
inline constexpr MapGroup<WP, vyr::Vec3f> kSpecularGroup{&WP::specularMapEnable, &WP::specularMap, &WP::specularTransform, &WP::specularAmount, &WP::specularColor};
inline constexpr MapGroup<WP, vyr::Vec3f> kAdditionalGroup{&WP::additionalMapEnable, &WP::additionalMap, &WP::additionalMapTransform, &WP::additionalAmount, &WP::additionalColor};
inline constexpr MapGroup<WP, float> kRoughGroup{&WP::roughMapEnable, &WP::roughMap, &WP::roughTransform, &WP::roughAmount, &WP::roughValue};
inline constexpr MapGroup<WP, float> kRefractGlossyGroup{&WP::refractGlossyMapEnable, &WP::refractGlossyMap, &WP::refractGlossyTransform, &WP::refractGlossyAmount, &WP::refractGlossyValue};
inline constexpr MapGroup<WP, float> kAnisotropyGroup{&WP::anisotropyMapEnable, &WP::anisotropyMap, &WP::anisotropyTransform, &WP::anisotropyAmount, &WP::anisotropyValue};
inline constexpr MapGroup<WP, float> kAnisoRotationGroup{&WP::anisoRotationMapEnable, &WP::anisoRotationMap, &WP::anisoRotationTransform, &WP::anisoRotationAmount, &WP::anisoRotationValue};
inline constexpr MapGroup<WP, float> kBrdf00Group{&WP::brdf00ReflectMapEnable, &WP::brdf00ReflectMap, &WP::brdf00ReflectTransform, &WP::brdf00ReflectAmount, &WP::brdf00Reflectivity, true};
inline constexpr MapGroup<WP, float> kBrdf90Group{&WP::brdf90ReflectMapEnable, &WP::brdf90ReflectMap, &WP::brdf90ReflectTransform, &WP::brdf90ReflectAmount, &WP::brdf90Reflectivity, true};
inline constexpr MapGroup<WP, float> kTransparencyGroup{&WP::transparencyMapEnable, &WP::transparencyMap, &WP::transparencyTransform, &WP::transparencyAmount, &WP::transparencyValue};
inline constexpr MapGroup<WP, float> kTranslucencyGroup{&WP::translucencyMapEnable, &WP::translucencyMap, &WP::translucencyTransform, &WP::translucencyAmount, &WP::translucencyValue};
inline constexpr MapGroup<WP, float> kNormal0AmountGroup{&WP::normal0AmountMapEnable, &WP::normal0AmountMap, &WP::normal0AmountTransform, &WP::normal0Amount, &WP::normal0Amount};
inline constexpr MapGroup<WP, vyr::Vec3f> kDiffuseGroup{&WP::diffuseMapEnable, &WP::diffuseMap, &WP::diffuseTransform, &WP::diffuseAmount, &WP::diffuseColor};
inline constexpr MapGroup<WP, vyr::Vec3f> kImageFadeGroup{nullptr, &WP::imageFadeMap, &WP::imageFadeTransform, &WP::imageFadeAmount};
inline constexpr MapGroup<WP> kCutoutGroup{&WP::cutoutMapEnable, &WP::cutoutMap, &WP::cutoutTransform, &WP::cutoutAmount};
inline constexpr MapGroup<WP> kNormal0Group{&WP::normal0MapEnable, &WP::normal0Map, &WP::normal0Transform, nullptr};
inline constexpr MapGroup<WP> kNormal1Group{&WP::normal1MapEnable, &WP::normal1Map, &WP::normal1Transform, &WP::normal1Amount};
// clang-format on

}  // namespace vexakelo
