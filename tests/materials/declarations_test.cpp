// What each material declares to the host: flags, varyings, parameter keys in order, the places
// the host copies to, and the defaults _create writes.
#include <variant>

#include "material_support.h"

namespace materials_test {
namespace {

// Object offsets by hand: table pointer 0-8, then fields at natural alignment, texture handles
// on 8. Dielectric: bool 8, handle 16-32, Mat3f 32-68, float 68, int 72, Vec3f 76-88, float 88,
// bool 92, handle 96-112, Mat3f 112-148, floats 148 152, bool 156, handle 160-176, Mat3f
// 176-212, float 212, bool 216, handle 224-240, float 240, Mat3f 244-280, floats 280 284 288 292,
// Vec3f 296, bool 308, Vec3f 312, Vec3f 324-336.
// Glazing: float 8, Vec3f 12, Vec3f 24, floats 36 40, bool 44, handle 48-64, Mat3f 64-100,
// float 100-104.
TEST(MaterialDeclarations, KeysOrderAndPlaces) {
    struct Row {
        const char* shader;
        int flags;
        std::size_t varyings;
        std::vector<std::pair<std::string, std::size_t>> parameters;
    };
    const Row rows[] = {
        {"vexa_kelo_Mtl_Mirror", 0x0D, 0, {{"u_tintColor", 8}}},
        {"vexa_kelo_Mtl_Dielectric",
         0x0F,
         3,
         {{"u_transmittanceMapEnable", 8},
          {"u_transmittanceMap", 16},
          {"u_transmittanceTransform", 32},
          {"u_transmittanceAmount", 68},
          {"u_procedureMapEnable", 72},
          {"u_procedureMapTiling", 76},
          {"u_procedureMapAmount", 88},
          {"u_normal0MapEnable", 92},
          {"u_normal0Map", 96},
          {"u_normal0Transform", 112},
          {"u_normal0Amount", 148},
          {"u_normal0UVScale", 152},
          {"u_normal1MapEnable", 156},
          {"u_normal1Map", 160},
          {"u_normal1Transform", 176},
          {"u_normal1Amount", 212},
          {"u_roughMapEnable", 216},
          {"u_roughMap", 224},
          {"u_roughValue", 240},
          {"u_roughTransform", 244},
          {"u_glossyValue", 280},
          {"u_roughAmount", 284},
          {"u_ior", 288},
          {"u_reflectance", 292},
          {"u_absorptionCoef", 296},
          {"u_falloffEnable", 308},
          {"u_refractColor", 312},
          {"u_reflectColor", 324}}},
        {"vexa_kelo_Mtl_Glazing",
         0x0F,
         3,
         {{"u_reflectance", 8},
          {"u_reflectColor", 12},
          {"u_refractColor", 24},
          {"u_rough", 36},
          {"u_level", 40},
          {"u_transmittanceMapEnable", 44},
          {"u_transmittanceMap", 48},
          {"u_transmittanceTransform", 64},
          {"u_transmittanceAmount", 100}}},
    };
    for (const Row& row : rows) {
        const Material m = makeMaterial(row.shader);
        EXPECT_EQ(m->getShaderKind(), 0);
        EXPECT_EQ(m->getShaderVersion(), 1);
        const vkhost::ShaderLayout layout = vkhost::declareLayout(m.object.get());
        EXPECT_EQ(layout.flags, row.flags) << row.shader;
        EXPECT_EQ(layout.beginCalls, 1);
        ASSERT_EQ(layout.varyings.size(), row.varyings) << row.shader;
        if (row.varyings == 3) {
            EXPECT_EQ(layout.varyings[0].name, "bitangent");
            EXPECT_EQ(layout.varyings[0].kind, 2);
            EXPECT_EQ(layout.varyings[0].offset, 0);
            EXPECT_EQ(layout.varyings[1].name, "tangent");
            EXPECT_EQ(layout.varyings[1].offset, 12);
            EXPECT_EQ(layout.varyings[2].name, "uv");
            EXPECT_EQ(layout.varyings[2].kind, 1);
            EXPECT_EQ(layout.varyings[2].offset, 24);
        }
        ASSERT_EQ(layout.parameters.size(), row.parameters.size()) << row.shader;
        for (std::size_t i = 0; i < row.parameters.size(); ++i) {
            EXPECT_EQ(layout.parameters[i].name, row.parameters[i].first) << row.shader;
            EXPECT_EQ(layout.parameters[i].offset, row.parameters[i].second)
                << row.shader << " " << row.parameters[i].first;
        }
    }
}

template <class T>
T valueOf(const vkhost::ParameterBlock& block, const char* key) {
    return std::get<T>(block.get(key));
}

TEST(MaterialDeclarations, DefaultsWrittenByCreate) {
    const Material d = makeMaterial("vexa_kelo_Mtl_Dielectric");
    const vkhost::ParameterBlock db("vexa_kelo_Mtl_Dielectric",
                                    vkhost::declareLayout(d.object.get()), d.object.get());
    EXPECT_EQ(valueOf<float>(db, "u_roughValue"), 0.0004f);
    EXPECT_EQ(valueOf<float>(db, "u_ior"), 1.52f);
    EXPECT_EQ(valueOf<float>(db, "u_reflectance"), 0.1f);
    EXPECT_EQ(valueOf<float>(db, "u_normal0UVScale"), 1.0f);
    EXPECT_EQ(valueOf<std::int32_t>(db, "u_procedureMapEnable"), 0);
    EXPECT_EQ(valueOf<Vec3f>(db, "u_procedureMapTiling"), (Vec3f{1.0f, 1.0f, 1.0f}));
    EXPECT_EQ(valueOf<Vec3f>(db, "u_refractColor"), (Vec3f{1.0f, 1.0f, 1.0f}));
    EXPECT_EQ(valueOf<Vec3f>(db, "u_absorptionCoef"), (Vec3f{0.0f, 0.0f, 0.0f}));
    for (const char* key : {"u_transmittanceMap", "u_normal0Map", "u_normal1Map", "u_roughMap"}) {
        const auto handle = valueOf<vyr::TextureHandle>(db, key);
        EXPECT_EQ(handle.object(), nullptr);
        EXPECT_EQ(handle.id(), -1);
    }

    const Material g = makeMaterial("vexa_kelo_Mtl_Glazing");
    const vkhost::ParameterBlock gb("vexa_kelo_Mtl_Glazing", vkhost::declareLayout(g.object.get()),
                                    g.object.get());
    EXPECT_EQ(valueOf<float>(gb, "u_rough"), 0.0001f);
    EXPECT_EQ(valueOf<float>(gb, "u_level"), 1.0f);
    EXPECT_EQ(valueOf<float>(gb, "u_transmittanceAmount"), 1.0f);
    EXPECT_EQ(valueOf<vyr::TextureHandle>(gb, "u_transmittanceMap").id(), -1);
}

}  // namespace
}  // namespace materials_test
