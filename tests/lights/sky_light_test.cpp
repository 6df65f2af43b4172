// The sky light: a constant colour, and the shadow handed back to the host rather than folded in.
#include "light_support.h"

namespace lights_test {
namespace {

using Call = vkhost::ScriptedContext::Call;

TEST(SkyLight, ConstantColorAndOptionalShadow) {
    struct Row {
        const char* what;
        bool shadows;
        vyr::Vec3f transmittance;
        vyr::Vec3f lightShadow;
        std::size_t traces;
    };
    const Row rows[] = {
        {"blocked", true, {0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}, 1},
        {"partly", true, {0.25f, 0.5f, 1.0f}, {0.25f, 0.5f, 1.0f}, 1},
        // Without shadows only lightColor is written: lightShadow keeps the host's marker.
        {"no shadows", false, {0.0f, 0.0f, 0.0f}, {7.0f, 8.0f, 9.0f}, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        HostShader sky("vexa_kelo_Lgt_Sky");
        sky.set("intensity", vyr::Vec3f{0.5f, 2.0f, 7.0f}).set("cast_shadows", row.shadows);
        vkhost::ScriptedContext context;
        context.shadowResult = row.transmittance;
        vyr::ShadingState state = lightState({0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, -1.0f}, 1000.0f);
        state.position = {1.0f, 2.0f, 3.0f};
        sky.shade(context, state);
        // No distance or angular term: the colour arrives unchanged at any distance.
        EXPECT_EQ(state.lightColor, (vyr::Vec3f{0.5f, 2.0f, 7.0f}));
        EXPECT_EQ(state.lightShadow, row.lightShadow);
        ASSERT_EQ(context.count(Call::TraceShadow), row.traces);
        if (row.traces == 1) {
            EXPECT_EQ(context.calls[0].a, state.position);
            EXPECT_EQ(context.calls[0].b, state.lightPosition);
        }
    }
}

}  // namespace
}  // namespace lights_test
