// The three simple shaders, reached through dlopen exactly as a host reaches them.
#include <gtest/gtest.h>

#include <cstring>
#include <new>

#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"

namespace {

using vkhost::ScriptedContext;
using vyr::Vec3f;

const vkhost::ShaderLibrary& library() {
    static const vkhost::ShaderLibrary lib;
    return lib;
}

void expectVec3(const Vec3f& actual, const Vec3f& expected) {
    EXPECT_EQ(actual.x, expected.x);
    EXPECT_EQ(actual.y, expected.y);
    EXPECT_EQ(actual.z, expected.z);
}

struct SimpleShaderRow {
    const char* name;
    int kind;
    int flags;
};

class SimpleShader : public testing::TestWithParam<SimpleShaderRow> {};

TEST_P(SimpleShader, DeclaresOneColourAfterTheTablePointer) {
    const SimpleShaderRow& row = GetParam();
    EXPECT_EQ(library().apiVersion(row.name), 2707);
    const vkhost::ShaderPtr shader = library().create(row.name);
    EXPECT_EQ(shader->getShaderKind(), row.kind);
    EXPECT_EQ(shader->getShaderVersion(), 1);

    const vkhost::ShaderLayout layout = vkhost::declareLayout(shader.get());
    EXPECT_EQ(layout.flags, row.flags);
    EXPECT_EQ(layout.beginCalls, 1);
    EXPECT_TRUE(layout.varyings.empty());
    ASSERT_EQ(layout.parameters.size(), 1u);
    EXPECT_EQ(layout.parameters[0].name, "color");
    EXPECT_EQ(layout.parameters[0].type, vkhost::ParamType::Vec3f);
    EXPECT_EQ(layout.parameters[0].offset, 8u);  // right after the table pointer

    const vkhost::ParameterBlock defaults(row.name, layout, shader.get());
    expectVec3(std::get<Vec3f>(defaults.get("color")), {1.0f, 1.0f, 1.0f});
}

TEST_P(SimpleShader, SetParametersCopiesTheColourOnly) {
    const SimpleShaderRow& row = GetParam();
    const vkhost::ShaderPtr shader = library().create(row.name);
    const vkhost::ShaderLayout layout = vkhost::declareLayout(shader.get());
    vkhost::ParameterBlock block(row.name, layout, shader.get());
    block.set("color", Vec3f{0.25f, 0.5f, 2.0f});
    block.applyTo(shader.get());

    Vec3f stored;
    std::memcpy(&stored, reinterpret_cast<const char*>(shader.get()) + 8, sizeof stored);
    expectVec3(stored, {0.25f, 0.5f, 2.0f});
}

INSTANTIATE_TEST_SUITE_P(Frame, SimpleShader,
                         testing::Values(SimpleShaderRow{"Background", 2, 0x40},
                                         SimpleShaderRow{"SimpleAmbientLight", 1, 0x20},
                                         SimpleShaderRow{"SimplePointLight", 1, 0x20}),
                         [](const auto& info) { return std::string(info.param.name); });

// Creates the shader and gives it the colour through a parameter block.
vkhost::ShaderPtr withColor(const char* name, Vec3f color) {
    vkhost::ShaderPtr shader = library().create(name);
    vkhost::ParameterBlock block(name, vkhost::declareLayout(shader.get()), shader.get());
    block.set("color", color);
    block.applyTo(shader.get());
    return shader;
}

TEST(Background, WritesColourAndLeavesAlphaAsTheHostSetIt) {
    const auto shader = withColor("Background", {0.0f, 0.0f, 0.0f});
    auto* environment = static_cast<vyr::EnvironmentShader*>(shader.get());
    ScriptedContext context;
    vyr::ShadingState state = vkhost::makeState();
    state.outColor = {0.5f, 0.5f, 0.5f, 0.25f};
    state.traceDepth = 9;  // past any limit: the background still answers
    state.traceDepthLimit = 1;
    environment->shade(&context, &state);
    EXPECT_EQ(state.outColor.x, 0.0f);
    EXPECT_EQ(state.outColor.y, 0.0f);
    EXPECT_EQ(state.outColor.z, 0.0f);
    EXPECT_EQ(state.outColor.w, 0.25f);
    EXPECT_TRUE(context.calls.empty());
}

TEST(SimpleAmbientLight, ReachesEveryPointWithoutAShadowTest) {
    const auto shader = withColor("SimpleAmbientLight", {0.1f, 0.2f, 0.3f});
    ScriptedContext context;
    context.shadowResult = {0.0f, 0.0f, 0.0f};
    vyr::ShadingState state = vkhost::makeState();
    state.lightShadow = {0.7f, 0.7f, 0.7f};
    static_cast<vyr::LightShader*>(shader.get())->shade(&context, &state);
    expectVec3(state.lightColor, {0.1f, 0.2f, 0.3f});
    expectVec3(state.lightShadow, {0.7f, 0.7f, 0.7f});
    EXPECT_TRUE(context.calls.empty());
}

TEST(SimplePointLight, TracesToTheLightAndKeepsItsColourUnchanged) {
    const auto shader = withColor("SimplePointLight", {3.0f, 2.0f, 1.0f});
    const auto* light = static_cast<vyr::LightShader*>(shader.get());
    ScriptedContext context;
    vyr::ShadingState state = vkhost::makeState();
    state.position = {1.0f, 2.0f, 3.0f};
    state.lightPosition = {10.0f, 20.0f, 30.0f};

    struct Row {
        Vec3f transmittance;
    };
    for (const Row& row : {Row{{0.0f, 0.0f, 0.0f}}, Row{{1.0f, 1.0f, 1.0f}},
                           Row{{0.25f, 0.5f, 0.75f}}}) {
        context.clear();
        context.shadowResult = row.transmittance;
        light->shade(&context, &state);
        expectVec3(state.lightShadow, row.transmittance);
        // No fall-off with distance and no angular term.
        expectVec3(state.lightColor, {3.0f, 2.0f, 1.0f});
        ASSERT_EQ(context.calls.size(), 1u);
        EXPECT_EQ(context.calls[0].call, ScriptedContext::Call::TraceShadow);
        expectVec3(context.calls[0].a, state.position);
        expectVec3(context.calls[0].b, state.lightPosition);
    }
}

// destroy leaves the root class's table behind, whichever shader it was.
TEST(Destroy, WithoutBitZeroLeavesTheMemoryAndTheRootTable) {
    const void* rootTable = nullptr;
    for (const char* name : {"Background", "SimpleAmbientLight", "SimplePointLight"}) {
        vkhost::ShaderPtr shader = library().create(name);
        vyr::IShaderBase* raw = shader.release();
        const void* liveTable = *reinterpret_cast<void* const*>(raw);
        EXPECT_EQ(raw->destroy(0u), raw);
        const void* afterTable = *reinterpret_cast<void* const*>(raw);
        EXPECT_NE(afterTable, liveTable) << name;
        if (rootTable == nullptr) {
            rootTable = afterTable;
        }
        EXPECT_EQ(afterTable, rootTable) << name;
        ::operator delete(static_cast<void*>(raw));  // the memory stayed ours
    }
}

TEST(Destroy, WithBitZeroFreesTheObject) {
    // The sanitizer build reports a leak if this does not free, a double free if it frees twice.
    vkhost::ShaderPtr shader = library().create("Background");
    vyr::IShaderBase* raw = shader.release();
    EXPECT_EQ(raw->destroy(1u), raw);
}

}  // namespace
