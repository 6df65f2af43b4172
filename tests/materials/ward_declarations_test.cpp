// What the Ward material declares: flags 15, the three varyings, the 90 keys in order with their
// kinds, each at the next naturally aligned place after the one before (texture handles on 8),
// and the defaults _create writes. The table below is written out here, not taken from the
// library, so a reordered or retyped parameter fails.
#include <variant>

#include "material_support.h"

namespace materials_test {
namespace {

using P = vkhost::ParamType;

struct Key {
    const char* name;
    P type;
};

// clang-format off
const Key kWardKeys[] = {
        {"u_procedureMapEnable", P::Int},
        {"u_procedureMapTiling", P::Vec3f},
        {"u_procedureMapAmount", P::Float},
        {"u_smokeMap", P::Texture1D},
        {"u_normal0MapEnable", P::Bool},
        {"u_normal0Map", P::Texture2D},
        {"u_normal0AmountMapEnable", P::Bool},
        {"u_normal0AmountMap", P::Texture2D},
        {"u_normal0AmountTransform", P::Mat3f},
        {"u_normal0Amount", P::Float},
        {"u_normal0Transform", P::Mat3f},
        {"u_normal1MapEnable", P::Bool},
        {"u_normal1Map", P::Texture2D},
        {"u_normal1Amount", P::Float},
        {"u_normal1Transform", P::Mat3f},
        {"u_normal1AsShadingNormal", P::Bool},
        {"u_diffuseMapEnable", P::Bool},
        {"u_diffuseMap", P::Texture2D},
        {"u_diffuseColor", P::Vec3f},
        {"u_diffuseTransform", P::Mat3f},
        {"u_diffuseAmount", P::Float},
        {"u_imageFadeEnable", P::Int},
        {"u_imageFade", P::Float},
        {"u_imageFadeMap", P::Texture2D},
        {"u_imageFadeTransform", P::Mat3f},
        {"u_imageFadeAmount", P::Float},
        {"u_imageFadeColor", P::Vec3f},
        {"u_specularMapEnable", P::Bool},
        {"u_specularMap", P::Texture2D},
        {"u_specularColor", P::Vec3f},
        {"u_specularTransform", P::Mat3f},
        {"u_specularAmount", P::Float},
        {"u_roughMapEnable", P::Bool},
        {"u_roughMap", P::Texture2D},
        {"u_roughValue", P::Float},
        {"u_roughTransform", P::Mat3f},
        {"u_roughAmount", P::Float},
        {"u_reflectGlossyValue", P::Float},
        {"u_refractGlossyMapEnable", P::Bool},
        {"u_refractGlossyMap", P::Texture2D},
        {"u_refractGlossyTransform", P::Mat3f},
        {"u_refractGlossyAmount", P::Float},
        {"u_refractGlossyValue", P::Float},
        {"u_anisotropyMapEnable", P::Bool},
        {"u_anisotropyMap", P::Texture2D},
        {"u_anisotropyValue", P::Float},
        {"u_anisotropyTransform", P::Mat3f},
        {"u_anisotropyAmount", P::Float},
        {"u_anisoRotationMapEnable", P::Bool},
        {"u_anisoRotationMap", P::Texture2D},
        {"u_anisoRotationValue", P::Float},
        {"u_anisoRotationTransform", P::Mat3f},
        {"u_anisoRotationAmount", P::Float},
        {"u_brdfCurvePower", P::Float},
        {"u_brdf00ReflectMapEnable", P::Bool},
        {"u_brdf00ReflectMap", P::Texture2D},
        {"u_brdf00ReflectTransform", P::Mat3f},
        {"u_brdf00ReflectAmount", P::Float},
        {"u_brdf00Reflectivity", P::Float},
        {"u_brdf90ReflectMapEnable", P::Bool},
        {"u_brdf90ReflectMap", P::Texture2D},
        {"u_brdf90ReflectTransform", P::Mat3f},
        {"u_brdf90Reflectivity", P::Float},
        {"u_brdf90ReflectAmount", P::Float},
        {"u_reflectivity", P::Float},
        {"u_isMetal", P::Bool},
        {"u_transparency", P::Bool},
        {"u_transparencyMapEnable", P::Bool},
        {"u_transparencyMap", P::Texture2D},
        {"u_transparencyValue", P::Float},
        {"u_transparencyTransform", P::Mat3f},
        {"u_transparencyFade", P::Float},
        {"u_ior", P::Float},
        {"u_transparencyAmount", P::Float},
        {"u_translucencyMapEnable", P::Bool},
        {"u_translucencyMap", P::Texture2D},
        {"u_translucencyValue", P::Float},
        {"u_translucencyTransform", P::Mat3f},
        {"u_translucencyAmount", P::Float},
        {"u_cutoutMapEnable", P::Bool},
        {"u_cutoutMap", P::Texture2D},
        {"u_cutoutTransform", P::Mat3f},
        {"u_cutoutAmount", P::Float},
        {"u_additionalMapEnable", P::Bool},
        {"u_additionalMap", P::Texture2D},
        {"u_additionalColor", P::Vec3f},
        {"u_additionalMapTransform", P::Mat3f},
        {"u_additionalAmount", P::Float},
        {"u_cosineUsesBump", P::Bool},
        {"u_reflectionHighlightOnly", P::Bool},};
// clang-format on

std::size_t alignmentOf(P type) {
    return type == P::Bool ? 1 : (type == P::Texture1D || type == P::Texture2D ? 8 : 4);
}

TEST(WardDeclarations, KeysKindsAndPlaces) {
    ASSERT_EQ(std::size(kWardKeys), 90u);
    const Material m = makeMaterial("vexa_kelo_Mtl_Ward");
    const vkhost::ShaderLayout layout = vkhost::declareLayout(m.object.get());
    EXPECT_EQ(layout.flags, 15);
    ASSERT_EQ(layout.varyings.size(), 3u);
    EXPECT_EQ(layout.varyings[0].name, "bitangent");
    EXPECT_EQ(layout.varyings[1].name, "tangent");
    EXPECT_EQ(layout.varyings[2].name, "uv");
    EXPECT_EQ(layout.varyings[2].kind, 1);
    ASSERT_EQ(layout.parameters.size(), 90u);
    std::size_t place = 8;  // after the table pointer
    for (std::size_t i = 0; i < 90; ++i) {
        const vkhost::Declaration& d = layout.parameters[i];
        const std::size_t a = alignmentOf(kWardKeys[i].type);
        place = (place + a - 1) / a * a;
        EXPECT_EQ(d.name, kWardKeys[i].name) << "#" << i + 1;
        EXPECT_EQ(d.type, kWardKeys[i].type) << d.name;
        EXPECT_EQ(d.offset, place) << d.name;
        place += vkhost::typeWidth(kWardKeys[i].type);
    }
    // The last field ends at byte 1142; the object is padded to 8.
    EXPECT_EQ(place, 1142u);
    EXPECT_EQ(layout.find("u_smokeMap")->offset, 32u);
    EXPECT_EQ(layout.find("u_cutoutMap")->offset, 1008u);
}

template <class T>
T valueOf(const vkhost::ParameterBlock& block, const char* key) {
    return std::get<T>(block.get(key));
}

TEST(WardDeclarations, DefaultsWrittenByCreate) {
    const Material m = makeMaterial("vexa_kelo_Mtl_Ward");
    const vkhost::ShaderLayout layout = vkhost::declareLayout(m.object.get());
    const vkhost::ParameterBlock b("vexa_kelo_Mtl_Ward", layout, m.object.get());
    const struct {
        const char* key;
        float value;
    } floats[] = {{"u_procedureMapAmount", 0.0f}, {"u_normal0Amount", 0.0f},
                  {"u_normal1Amount", 0.0f},      {"u_diffuseAmount", 1.0f},
                  {"u_imageFade", 1.0f},          {"u_imageFadeAmount", 1.0f},
                  {"u_specularAmount", 1.0f},     {"u_roughValue", 0.01f},
                  {"u_roughAmount", 1.0f},        {"u_reflectGlossyValue", 0.0f},
                  {"u_refractGlossyAmount", 1.0f}, {"u_refractGlossyValue", 0.0f},
                  {"u_anisotropyValue", 1.0f},    {"u_anisotropyAmount", 1.0f},
                  {"u_anisoRotationValue", 0.0f}, {"u_anisoRotationAmount", 1.0f},
                  {"u_brdfCurvePower", 0.0f},     {"u_brdf00ReflectAmount", 1.0f},
                  {"u_brdf00Reflectivity", 0.1f}, {"u_brdf90Reflectivity", 1.0f},
                  {"u_brdf90ReflectAmount", 1.0f}, {"u_reflectivity", 1.0f},
                  {"u_transparencyValue", 0.0f},  {"u_transparencyFade", 0.0f},
                  {"u_ior", 1.33f},               {"u_transparencyAmount", 1.0f},
                  {"u_translucencyValue", 0.0f},  {"u_translucencyAmount", 1.0f},
                  {"u_cutoutAmount", 1.0f},       {"u_additionalAmount", 1.0f}};
    for (const auto& f : floats) {
        EXPECT_EQ(valueOf<float>(b, f.key), f.value) << f.key;
    }
    EXPECT_EQ(valueOf<std::int32_t>(b, "u_procedureMapEnable"), 0);
    EXPECT_EQ(valueOf<std::int32_t>(b, "u_imageFadeEnable"), 0);
    EXPECT_EQ(valueOf<Vec3f>(b, "u_procedureMapTiling"), (Vec3f{1, 1, 1}));
    EXPECT_EQ(valueOf<Vec3f>(b, "u_specularColor"), (Vec3f{1, 1, 1}));
    EXPECT_EQ(valueOf<Vec3f>(b, "u_diffuseColor"), (Vec3f{0, 0, 0}));
    EXPECT_EQ(valueOf<Vec3f>(b, "u_imageFadeColor"), (Vec3f{0, 0, 0}));
    for (const vkhost::Declaration& d : layout.parameters) {
        if (d.type == P::Bool) {
            EXPECT_FALSE(valueOf<bool>(b, d.name.c_str())) << d.name;
        }
        if (d.type == P::Texture1D || d.type == P::Texture2D) {
            const auto handle = valueOf<vyr::TextureHandle>(b, d.name.c_str());
            EXPECT_EQ(handle.object(), nullptr) << d.name;
            EXPECT_EQ(handle.id(), -1) << d.name;
        }
    }
}

// setParameters copies without conversion: out-of-range values arrive as they are.
TEST(WardDeclarations, SetParametersCopiesAsGiven) {
    const Material m = makeMaterial("vexa_kelo_Mtl_Ward", {{"u_roughValue", -3.5f},
                                                           {"u_imageFadeEnable", std::int32_t{9}},
                                                           {"u_specularColor", Vec3f{4, -1, 2}},
                                                           {"u_reflectionHighlightOnly", true}});
    const vkhost::ShaderLayout layout = vkhost::declareLayout(m.object.get());
    const vkhost::ParameterBlock b("vexa_kelo_Mtl_Ward", layout, m.object.get());
    EXPECT_EQ(valueOf<float>(b, "u_roughValue"), -3.5f);
    EXPECT_EQ(valueOf<std::int32_t>(b, "u_imageFadeEnable"), 9);
    EXPECT_EQ(valueOf<Vec3f>(b, "u_specularColor"), (Vec3f{4, -1, 2}));
    EXPECT_TRUE(valueOf<bool>(b, "u_reflectionHighlightOnly"));
}

}  // namespace
}  // namespace materials_test
