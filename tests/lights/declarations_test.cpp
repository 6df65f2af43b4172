// What each light and the sky declare to a host: flags, keys, types, offsets in the object, in
// declaration order, and the defaults a new object holds. Hosts copy into the object at these
// offsets, so they are part of the binary contract.
#include "light_support.h"

namespace lights_test {
namespace {

using vkhost::ParamType;

struct Expected {
    const char* name;
    ParamType type;
    std::size_t offset;
};

struct ShaderRow {
    const char* shader;
    std::vector<Expected> parameters;
};

TEST(LightDeclarations, KeysTypesAndOffsetsInOrder) {
    const ShaderRow rows[] = {
        {"vexa_kelo_Lgt_Spot",
         {{"color", ParamType::Vec3f, 8},
          {"hotspot", ParamType::Float, 20},
          {"falloff", ParamType::Float, 24},
          {"cast_shadows", ParamType::Bool, 28},
          {"integratedColor", ParamType::Vec3f, 32},
          {"shadowCol", ParamType::Vec3f, 44},
          {"intensity", ParamType::Float, 56},
          {"shadowDensity", ParamType::Float, 60},
          {"useShadowColMap", ParamType::Bool, 64},
          {"lightAffectShadowCol", ParamType::Bool, 65},
          {"shadowColMap", ParamType::Texture2D, 72},
          {"decay", ParamType::Float, 88},
          {"squareUnitsMultiplier", ParamType::Float, 92}}},
        {"vexa_kelo_Lgt_PhotometricWeb",
         {{"rgbLightColor", ParamType::Vec3f, 8},
          {"webMap", ParamType::Texture2D, 24},
          {"webRotationMatrix", ParamType::Mat4f, 40},
          {"cast_shadows", ParamType::Bool, 104},
          {"shadowCol", ParamType::Vec3f, 108},
          {"intensity", ParamType::Float, 120},
          {"shadowDensity", ParamType::Float, 124},
          {"useShadowColMap", ParamType::Bool, 128},
          {"lightAffectShadowCol", ParamType::Bool, 129},
          {"shadowColMap", ParamType::Texture2D, 136},
          {"squareUnitsMultiplier", ParamType::Float, 152},
          {"web_photo_type", ParamType::Int, 156},
          {"web_horizon_span", ParamType::Vec2f, 160}}},
        {"vexa_kelo_Lgt_Sphere",
         {{"color", ParamType::Vec3f, 8},
          {"integratedColor", ParamType::Vec3f, 20},
          {"cast_shadows", ParamType::Bool, 32},
          {"shadowCol", ParamType::Vec3f, 36},
          {"intensity", ParamType::Float, 48},
          {"shadowDensity", ParamType::Float, 52},
          {"useShadowColMap", ParamType::Bool, 56},
          {"lightAffectShadowCol", ParamType::Bool, 57},
          {"shadowColMap", ParamType::Texture2D, 64},
          {"squareUnitsMultiplier", ParamType::Float, 80}}},
        {"vexa_kelo_Lgt_Sky",
         {{"intensity", ParamType::Vec3f, 8}, {"cast_shadows", ParamType::Bool, 20}}},
        {"vexa_kelo_Env_Sky",
         {{"sun_direction", ParamType::Vec3f, 8},
          {"ground_color", ParamType::Vec4f, 20},
          {"haze", ParamType::Float, 36},
          {"horizon_height", ParamType::Float, 40},
          {"saturation", ParamType::Float, 44},
          {"horizon_blur", ParamType::Float, 48},
          {"y_is_up", ParamType::Bool, 52},
          {"multiplier", ParamType::Float, 56},
          {"rgb_unit_conversion", ParamType::Vec4f, 60}}},
    };
    for (const ShaderRow& row : rows) {
        SCOPED_TRACE(row.shader);
        HostShader shader(row.shader);
        const vkhost::ShaderLayout& layout = shader.layout();
        EXPECT_EQ(layout.flags, shader.object()->getShaderKind() == vyr::kLightKind ? 0x20 : 0x40);
        EXPECT_EQ(layout.beginCalls, 1);
        EXPECT_TRUE(layout.varyings.empty());
        ASSERT_EQ(layout.parameters.size(), row.parameters.size());
        for (std::size_t i = 0; i < row.parameters.size(); ++i) {
            EXPECT_EQ(layout.parameters[i].name, row.parameters[i].name);
            EXPECT_EQ(layout.parameters[i].type, row.parameters[i].type) << row.parameters[i].name;
            EXPECT_EQ(layout.parameters[i].offset, row.parameters[i].offset)
                << row.parameters[i].name;
        }
    }
}

TEST(LightDeclarations, Defaults) {
    using V3 = vyr::Vec3f;
    using V4 = vyr::Vec4f;
    struct Row {
        const char* shader;
        const char* key;
        vkhost::ParamValue value;
    };
    const float unit = 0.00066666701f;
    const Row rows[] = {
        {"vexa_kelo_Lgt_Spot", "color", V3{1.0f, 1.0f, 1.0f}},
        {"vexa_kelo_Lgt_Spot", "hotspot", 0.5f},
        {"vexa_kelo_Lgt_Spot", "falloff", 0.5f},
        {"vexa_kelo_Lgt_Spot", "cast_shadows", true},
        {"vexa_kelo_Lgt_Spot", "shadowCol", V3{0.0f, 0.0f, 0.0f}},
        {"vexa_kelo_Lgt_Spot", "useShadowColMap", false},
        {"vexa_kelo_Lgt_Spot", "decay", 1.0f},
        {"vexa_kelo_Lgt_PhotometricWeb", "cast_shadows", true},
        {"vexa_kelo_Lgt_PhotometricWeb", "web_photo_type", std::int32_t{1}},
        {"vexa_kelo_Lgt_PhotometricWeb", "web_horizon_span", vyr::Vec2f{0.0f, 0.0f}},
        {"vexa_kelo_Lgt_Diffuse", "cast_shadows", false},
        {"vexa_kelo_Lgt_Sphere", "cast_shadows", true},
        {"vexa_kelo_Lgt_Sphere", "squareUnitsMultiplier", 1.0f},
        {"vexa_kelo_Lgt_Sky", "intensity", V3{1.0f, 1.0f, 1.0f}},
        {"vexa_kelo_Lgt_Sky", "cast_shadows", true},
        {"vexa_kelo_Env_Sky", "ground_color", V4{0.2f, 0.2f, 0.2f, 1.0f}},
        {"vexa_kelo_Env_Sky", "haze", 0.0f},
        {"vexa_kelo_Env_Sky", "horizon_blur", 0.1f},
        {"vexa_kelo_Env_Sky", "y_is_up", false},
        {"vexa_kelo_Env_Sky", "multiplier", 1.0f},
        {"vexa_kelo_Env_Sky", "rgb_unit_conversion", V4{unit, unit, unit, 1.0f}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.shader) + " " + row.key);
        HostShader shader(row.shader);
        EXPECT_EQ(vkhost::formatValue(shader.get(row.key)), vkhost::formatValue(row.value));
    }
    for (const char* shader : {"vexa_kelo_Lgt_Spot", "vexa_kelo_Lgt_PhotometricWeb",
                               "vexa_kelo_Lgt_Sphere", "vexa_kelo_Lgt_Diffuse"}) {
        HostShader light(shader);
        const auto map = std::get<vyr::TextureHandle>(light.get("shadowColMap"));
        EXPECT_EQ(map.get(), nullptr);
        EXPECT_EQ(map.id(), -1);
    }
}

}  // namespace
}  // namespace lights_test

namespace lights_test {
namespace {

TEST(LightDeclarations, SkyUnitFactorIsTheStoredLiteral) {
    // 0.000666667 as a float (0.00066666701), not the float nearest 1/1500 (0.00066666666).
    HostShader sky("vexa_kelo_Env_Sky");
    const auto k = std::get<vyr::Vec4f>(sky.get("rgb_unit_conversion"));
    EXPECT_EQ(k.x, 0.000666667f);
    EXPECT_NE(k.x, 1.0f / 1500.0f);
    EXPECT_EQ(k.y, k.x);
    EXPECT_EQ(k.z, k.x);
    EXPECT_EQ(k.w, 1.0f);
}

}  // namespace
}  // namespace lights_test
