// Shading allocates nothing: global operator new is replaced in this program and counts while a
// flag is up, across many shading calls of every light and the sky with all their features on.
#include "light_support.h"
#include "support/allocation_counter.h"

namespace lights_test {
namespace {

using vktest::allocationsDuring;

TEST(LightAllocations, CreationAllocatesTheObjectOnly) {
    // The counter sees the library's allocations: a factory call is exactly one.
    using Factory = vyr::IShaderBase* (*)();
    const auto create = reinterpret_cast<Factory>(library().symbol("vexa_kelo_Lgt_Spot_create"));
    ASSERT_NE(create, nullptr);
    vyr::IShaderBase* shader = nullptr;
    EXPECT_EQ(allocationsDuring([&] { shader = create(); }), 1);
    vkhost::ShaderPtr owner(shader);
}

TEST(LightAllocations, ShadingAllocatesNothing) {
    const vyr::TextureHandle map =
        rgbTexture(2, 2, {0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f, 0.8f, 0.9f, 1.0f, 0.5f, 0.25f});
    const vyr::TextureHandle web = floatTexture(2, 2, {0.25f, 0.5f, 0.75f, 1.0f});
    std::vector<HostShader> shaders;
    for (const char* name : {"vexa_kelo_Lgt_Spot", "vexa_kelo_Lgt_PhotometricWeb",
                             "vexa_kelo_Lgt_Sphere", "vexa_kelo_Lgt_Diffuse"}) {
        HostShader& light = shaders.emplace_back(name);
        light.set("cast_shadows", true)
            .set("useShadowColMap", true)
            .set("shadowColMap", map)
            .set("lightAffectShadowCol", true);
    }
    shaders[0].set("hotspot", 0.9f).set("falloff", 0.2f);
    shaders[1].set("webMap", web).set("web_photo_type", std::int32_t{2});
    shaders.emplace_back("vexa_kelo_Lgt_Sky");
    shaders.emplace_back("vexa_kelo_Env_Sky")
        .set("sun_direction", vyr::Vec3f{0.3f, 0.2f, 0.4f})
        .set("haze", 1.0f)
        .set("horizon_height", 0.5f);

    vkhost::ScriptedContext context;
    context.recording = false;
    context.shadowResult = {0.25f, 0.5f, 0.75f};
    vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, {0.6f, 0.0f, 0.8f}, 2.0f);
    const long count = allocationsDuring([&] {
        for (int i = 0; i < 200; ++i) {
            const float z = -1.0f + static_cast<float>(i) / 100.0f;
            state.lightToPoint = {0.6f, std::sqrt(std::fmax(0.0f, 0.64f - z * z)), z};
            state.rayDir = state.lightToPoint;
            for (const HostShader& shader : shaders) {
                shader.shade(context, state);
            }
        }
    });
    EXPECT_EQ(count, 0);
}

}  // namespace
}  // namespace lights_test
