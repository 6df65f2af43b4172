// The reference host interface library: handles, textures built from descriptors, uniforms.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "vyr_host.h"

namespace {

using vyr::TextureDescriptor;
using vyr::Vec2f;
using vyr::Vec4f;

Vec4f sampleAt(const vyr::TextureHandle& handle, float u, float v) {
    Vec4f out{0.0f, 0.0f, 0.0f, 1.0f};
    const Vec2f uv{u, v};
    handle.get()->sample(&out, &uv);
    return out;
}

TEST(Handles, CopiesReferToTheSameObjectAndEditsNest) {
    vyr::TextureHandle texture = vyr::host::createTexture();
    ASSERT_TRUE(texture.isValid());
    const vyr::TextureHandle copy(texture);
    EXPECT_EQ(copy.object(), texture.object());
    EXPECT_EQ(copy.id(), texture.id());
    EXPECT_EQ(vyr::host::textureOf(copy), texture.get());

    vyr::TextureHandle editor(copy);
    EXPECT_EQ(editor.beginEdit(), texture.object());
    EXPECT_EQ(vyr::host::openEdits(texture.id()), 1);
    EXPECT_EQ(editor.endEdit(), 0);
    EXPECT_EQ(vyr::host::openEdits(texture.id()), 0);
    EXPECT_EQ(editor.endEdit(), -1);  // nothing open

    const vyr::TextureHandle unknown(99);  // not a class code the host knows
    EXPECT_FALSE(unknown.isValid());
    EXPECT_EQ(unknown.id(), -1);
    vyr::host::release(texture.id());
    EXPECT_EQ(vyr::host::findTexture(texture.id()), nullptr);
}

TEST(Textures, OneChannelFloatFiltersBilinearlyAndWraps) {
    const std::vector<float> texels = {0.0f, 1.0f};  // 2 x 1
    TextureDescriptor d;
    d.dimension = 1;
    d.format = 1;
    d.width = 2;
    d.height = 1;
    d.data = texels.data();
    vyr::TextureHandle handle = vyr::host::createTexture();
    ASSERT_EQ(handle.get()->create(d), 0);

    // Texel centres sit at u = 0.25 and 0.75.
    EXPECT_FLOAT_EQ(sampleAt(handle, 0.25f, 0.5f).x, 0.0f);
    EXPECT_FLOAT_EQ(sampleAt(handle, 0.75f, 0.5f).x, 1.0f);
    EXPECT_FLOAT_EQ(sampleAt(handle, 0.5f, 0.5f).x, 0.5f);
    // u = 0 lies halfway between the last texel (wrapped) and the first.
    EXPECT_FLOAT_EQ(sampleAt(handle, 0.0f, 0.5f).x, 0.5f);
    EXPECT_FLOAT_EQ(sampleAt(handle, 1.25f, 0.5f).x, 0.0f);
    EXPECT_FLOAT_EQ(sampleAt(handle, -0.25f, 0.5f).x, 1.0f);
    const Vec4f grey = sampleAt(handle, 0.5f, 0.5f);
    EXPECT_EQ(grey.y, grey.x);
    EXPECT_EQ(grey.z, grey.x);
    EXPECT_EQ(grey.w, 1.0f);
}

// Interior look-ups take a short path that reads the four texels directly; one period over in
// u and v the general path wraps to the same texels with the same fractions (exact binary
// coordinates: 4 x 4 texels, fx = 1.125 against 5.125, fy = 2.25 against -1.75).
TEST(Textures, InteriorAndWrappedLookUpsAgreeBitForBit) {
    std::vector<float> texels;
    for (int i = 0; i < 4 * 4 * 3; ++i) {
        texels.push_back(0.1f * static_cast<float>((i * 7) % 11) - 0.3f);
    }
    TextureDescriptor d;
    d.format = 3;
    d.width = 4;
    d.height = 4;
    d.data = texels.data();
    vyr::TextureHandle handle = vyr::host::createTexture();
    ASSERT_EQ(handle.get()->create(d), 0);
    const Vec4f inside = sampleAt(handle, 0.40625f, 0.6875f);
    const Vec4f wrapped = sampleAt(handle, 1.40625f, -0.3125f);
    EXPECT_EQ(inside.x, wrapped.x);
    EXPECT_EQ(inside.y, wrapped.y);
    EXPECT_EQ(inside.z, wrapped.z);
    EXPECT_EQ(inside.w, wrapped.w);
    EXPECT_NE(inside.x, sampleAt(handle, 0.40625f, 0.75f).x);  // the rows do differ
}

TEST(Textures, ThreeChannelFloatAndOneDimensional) {
    const std::vector<float> texels = {1.0f, 2.0f, 3.0f, 5.0f, 6.0f, 7.0f};  // 2 x 1, rgb
    TextureDescriptor d;
    d.dimension = 0;  // 1D: the height is taken as 1 whatever it says
    d.format = 3;
    d.width = 2;
    d.height = 7;
    d.data = texels.data();
    vyr::TextureHandle handle = vyr::host::createTexture();
    ASSERT_EQ(handle.get()->create(d), 0);
    const auto* object = vyr::host::textureOf(handle);
    EXPECT_TRUE(object->oneDimensional());
    EXPECT_EQ(object->height(), 1);
    const Vec4f mid = sampleAt(handle, 0.5f, 0.9f);
    EXPECT_FLOAT_EQ(mid.x, 3.0f);
    EXPECT_FLOAT_EQ(mid.y, 4.0f);
    EXPECT_FLOAT_EQ(mid.z, 5.0f);
    EXPECT_FLOAT_EQ(mid.w, 1.0f);
}

TEST(Textures, FourChannelBytesReadAsFractions) {
    const std::vector<std::uint32_t> pixels = {0xFFFFFFFFu, 0u, 0u, 0xFFFFFFFFu};  // 2 x 2
    TextureDescriptor d;
    d.format = 4;
    d.width = 2;
    d.height = 2;
    d.data = pixels.data();
    vyr::TextureHandle handle = vyr::host::createTexture();
    ASSERT_EQ(handle.get()->create(d), 0);
    const auto* object = vyr::host::textureOf(handle);
    const Vec4f white = object->texel(0, 0);
    EXPECT_EQ(white.x, 1.0f);
    EXPECT_EQ(white.w, 1.0f);
    const Vec4f clear = object->texel(1, 0);
    EXPECT_EQ(clear.x, 0.0f);
    EXPECT_EQ(clear.w, 0.0f);
    // The centre of the 2 x 2 square averages all four.
    EXPECT_FLOAT_EQ(sampleAt(handle, 0.5f, 0.5f).w, 0.5f);
}

TEST(Textures, RejectsWhatItCannotRead) {
    vyr::TextureHandle handle = vyr::host::createTexture();
    const float one = 1.0f;
    TextureDescriptor d;
    d.format = 2;
    d.width = 1;
    d.height = 1;
    d.data = &one;
    EXPECT_EQ(handle.get()->create(d), -1);
    d.format = 1;
    d.data = nullptr;
    EXPECT_EQ(handle.get()->create(d), -1);
    d.data = &one;
    d.width = 0;
    EXPECT_EQ(handle.get()->create(d), -1);
    // Sampling a texture that was never built leaves the caller's pre-fill.
    EXPECT_EQ(sampleAt(handle, 0.5f, 0.5f).w, 1.0f);
    EXPECT_EQ(sampleAt(handle, 0.5f, 0.5f).x, 0.0f);
}

TEST(Shaders, UniformsReadBackByName) {
    vyr::ShaderHandle handle = vyr::host::createShader();
    vyr::Shader* shader = static_cast<vyr::Shader*>(handle.beginEdit());
    const vyr::TextureHandle texture = vyr::host::createTexture();
    EXPECT_EQ(shader->setUniform1i("type", 3), 0);
    EXPECT_EQ(shader->setUniform1f("MxN", 2.5f), 0);
    EXPECT_EQ(shader->setUniform2f("range", {0.0f, 1.5f}), 0);
    EXPECT_EQ(shader->setUniform3f("thetaI", {72.0f, 0.5f, 0.25f}), 0);
    EXPECT_EQ(shader->setUniform4f("color", {1.0f, 0.5f, 0.25f, 1.0f}), 0);
    EXPECT_EQ(shader->setUniformTexture1D("thetaCDF", texture), 0);
    EXPECT_EQ(shader->setUniformTexture2D("webMap", texture), 0);
    handle.endEdit();

    const auto* object = vyr::host::shaderOf(handle);
    EXPECT_EQ(std::get<int>(*object->uniform("type")), 3);
    EXPECT_EQ(std::get<float>(*object->uniform("MxN")), 2.5f);
    EXPECT_EQ(std::get<Vec2f>(*object->uniform("range")).y, 1.5f);
    EXPECT_EQ(std::get<vyr::Vec3f>(*object->uniform("thetaI")).x, 72.0f);
    EXPECT_EQ(std::get<Vec4f>(*object->uniform("color")).z, 0.25f);
    const auto oneD = std::get<vyr::host::TextureBinding>(*object->uniform("thetaCDF"));
    EXPECT_EQ(oneD.dimensions, 1);
    EXPECT_EQ(oneD.texture.id(), texture.id());
    EXPECT_EQ(std::get<vyr::host::TextureBinding>(*object->uniform("webMap")).dimensions, 2);
    EXPECT_FALSE(object->uniform("missing").has_value());
    EXPECT_EQ(object->uniforms().size(), 7u);
}

}  // namespace

namespace {

TEST(Textures, PositionsFourAndFiveClampTheirAxis) {
    const std::vector<float> texels = {0.0f, 1.0f, 2.0f, 3.0f};  // 4 x 1: centres 1/8, 3/8, ...
    TextureDescriptor d;
    d.format = 1;
    d.width = 4;
    d.height = 1;
    d.data = texels.data();
    d.reserved4[0] = 1;  // clamp u
    vyr::TextureHandle handle = vyr::host::createTexture();
    ASSERT_EQ(handle.get()->create(d), 0);
    // Below the first centre and above the last, the edge texel alone.
    EXPECT_FLOAT_EQ(sampleAt(handle, 0.0f, 0.5f).x, 0.0f);
    EXPECT_FLOAT_EQ(sampleAt(handle, 1.0f, 0.5f).x, 3.0f);
    // Between centres, unchanged bilinear: u = 0.25 lies halfway between 0 and 1.
    EXPECT_FLOAT_EQ(sampleAt(handle, 0.25f, 0.5f).x, 0.5f);
    // Repeating (the default), u = 0 blends the last texel with the first.
    d.reserved4[0] = 0;
    ASSERT_EQ(handle.get()->create(d), 0);
    EXPECT_FLOAT_EQ(sampleAt(handle, 0.0f, 0.5f).x, 1.5f);
}

}  // namespace
