// The reference host's own pieces: loader errors and parameter blocks.
#include <gtest/gtest.h>

#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"

namespace {

using vkhost::ParameterError;

TEST(Loader, NamesTheLibraryThatCannotBeLoaded) {
    try {
        vkhost::ShaderLibrary missing("/no/such/libvexakelo.so");
        FAIL() << "loaded a missing library";
    } catch (const vkhost::LoadError& e) {
        EXPECT_NE(std::string(e.what()).find("/no/such/libvexakelo.so"), std::string::npos);
    }
}

TEST(Loader, RejectsAnUnknownShaderName) {
    const vkhost::ShaderLibrary library;
    EXPECT_FALSE(library.hasShader("NoSuchShader"));
    EXPECT_THROW(library.create("NoSuchShader"), vkhost::LoadError);
    // A symbol that exists but is not a shader factory pair.
    EXPECT_THROW(library.create("Background_get"), vkhost::LoadError);
}

TEST(ParameterBlock, ChecksNamesAndTypes) {
    const vkhost::ShaderLibrary library;
    const vkhost::ShaderPtr shader = library.create("Background");
    vkhost::ParameterBlock block("Background", vkhost::declareLayout(shader.get()), shader.get());

    try {
        block.set("colour", vyr::Vec3f{0, 0, 0});
        FAIL() << "accepted an unknown name";
    } catch (const ParameterError& e) {
        EXPECT_STREQ(e.what(), "shader Background has no parameter 'colour'");
    }
    try {
        block.set("color", 1.0f);
        FAIL() << "accepted a float for a vec3";
    } catch (const ParameterError& e) {
        EXPECT_STREQ(e.what(), "parameter 'color' of shader Background is a vec3, not a float");
    }
    EXPECT_THROW(block.set("color", vyr::Vec4f{0, 0, 0, 1}), ParameterError);
    EXPECT_NO_THROW(block.set("color", vyr::Vec3f{0.5f, 0.25f, 0.125f}));
    EXPECT_EQ(vkhost::formatValue(block.get("color")), "0.5 0.25 0.125");
}

TEST(ParameterBlock, FormatsEveryKindOfValue) {
    EXPECT_EQ(vkhost::formatValue(true), "true");
    EXPECT_EQ(vkhost::formatValue(std::int32_t{-3}), "-3");
    EXPECT_EQ(vkhost::formatValue(vyr::Vec2f{1.5f, 2.0f}), "1.5 2");
    EXPECT_EQ(vkhost::formatValue(vyr::TextureHandle{}), "none");
}

}  // namespace

namespace {

// A shader that calls a reserved slot has broken the binary contract: the host stops at once
// and names the slot.
TEST(ReservedSlotsDeathTest, StopTheProcessNamingTheSlot) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    vkhost::ScriptedContext context;
    vyr::ShadingContext& asHost = context;
    EXPECT_DEATH(asHost.reserved3(), "reserved ShadingContext slot 3");
    vkhost::RecordingRegistry registry;
    vyr::ParameterRegistry& registryAsHost = registry;
    EXPECT_DEATH(registryAsHost.reserved14(), "reserved ParameterRegistry slot 14");
}

}  // namespace
