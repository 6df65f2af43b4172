// Shared pieces of the light and sky tests: the library loaded as a host loads it, a shader with
// its host parameter block, libvyr textures from a few texels, and a probe texture that records
// the coordinates it is sampled at.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "frame/vec_math.h"
#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"
#include "vyr_host.h"

namespace vyr {
inline void PrintTo(const Vec2f& v, std::ostream* os) {
    *os << "(" << v.x << ", " << v.y << ")";
}
inline void PrintTo(const Vec3f& v, std::ostream* os) {
    *os << "(" << v.x << ", " << v.y << ", " << v.z << ")";
}
inline void PrintTo(const Vec4f& v, std::ostream* os) {
    *os << "(" << v.x << ", " << v.y << ", " << v.z << ", " << v.w << ")";
}
}  // namespace vyr

namespace lights_test {

inline vkhost::ShaderLibrary& library() {
    static vkhost::ShaderLibrary shaders;
    return shaders;
}

// A shader made by its factory, with a parameter block pre-filled from its defaults; set()
// changes one value and hands the whole block to setParameters, as a host does.
class HostShader {
public:
    explicit HostShader(const std::string& name)
        : object_(library().create(name)),
          block_(name, vkhost::declareLayout(object_.get()), object_.get()) {}

    HostShader& set(const std::string& key, const vkhost::ParamValue& value) {
        block_.set(key, value);
        block_.applyTo(object_.get());
        return *this;
    }
    vkhost::ParamValue get(const std::string& key) const { return block_.get(key); }
    const vkhost::ShaderLayout& layout() const { return block_.layout(); }
    vyr::IShaderBase* object() const { return object_.get(); }

    // Slot 5 of a light or an environment (the same slot in both kinds).
    void shade(vyr::ShadingContext& context, vyr::ShadingState& state) const {
        if (object_->getShaderKind() == vyr::kLightKind) {
            static_cast<const vyr::LightShader*>(object_.get())->shade(&context, &state);
        } else {
            static_cast<const vyr::EnvironmentShader*>(object_.get())->shade(&context, &state);
        }
    }

private:
    vkhost::ShaderPtr object_;
    vkhost::ParameterBlock block_;
};

// A libvyr 2D texture of the given texel format (1: one float, read back as (r, r, r, 1), like
// the web map; 3: three floats), texels row after row.
inline vyr::TextureHandle makeTexture(int format, int width, int height,
                                      const std::vector<float>& texels) {
    vyr::TextureHandle handle = vyr::host::createTexture();
    vyr::TextureDescriptor descriptor;
    descriptor.dimension = 1;
    descriptor.format = format;
    descriptor.width = width;
    descriptor.height = height;
    descriptor.data = texels.data();
    handle.beginEdit();
    EXPECT_EQ(handle.get()->create(descriptor), 0);
    handle.endEdit();
    return handle;
}
inline vyr::TextureHandle rgbTexture(int width, int height, const std::vector<float>& rgb) {
    return makeTexture(3, width, height, rgb);
}
inline vyr::TextureHandle floatTexture(int width, int height, const std::vector<float>& values) {
    return makeTexture(1, width, height, values);
}

// Answers every look-up with one colour and remembers where it was asked; pins the texture
// coordinates exactly, where a filtered, wrapping texture would hide u = 1 behind u = 0.
class ProbeTexture final : public vyr::Texture {
public:
    explicit ProbeTexture(vyr::Vec4f answer = {0.5f, 0.25f, 0.125f, 1.0f}) : answer_(answer) {}
    void sample(vyr::Vec4f* out, const vyr::Vec2f* uv) const override {
        last = *uv;
        ++calls;
        *out = answer_;
    }
    vyr::TextureHandle handle() { return vyr::TextureHandle::fromObject(this, 9001); }

    mutable vyr::Vec2f last{NAN, NAN};
    mutable int calls = 0;

private:
    vyr::Vec4f answer_;
};

// A state for a light call: the point at the origin, the light at lightPosition with the given
// geometry; results pre-filled with a marker so untouched fields show.
inline vyr::ShadingState lightState(vyr::Vec3f axis, vyr::Vec3f toPoint, float distance) {
    vyr::ShadingState state = vkhost::makeState();
    state.position = {0.0f, 0.0f, 0.0f};
    state.lightPosition = {-toPoint.x * distance, -toPoint.y * distance, -toPoint.z * distance};
    state.lightAxis = axis;
    state.lightToPoint = toPoint;
    state.lightDistance = distance;
    state.lightColor = {7.0f, 7.0f, 7.0f};
    state.lightShadow = {7.0f, 8.0f, 9.0f};
    return state;
}

inline void expectVec(const vyr::Vec3f& actual, const vyr::Vec3f& expected,
                      float tolerance = 0.0f) {
    if (tolerance == 0.0f) {
        EXPECT_FLOAT_EQ(actual.x, expected.x);
        EXPECT_FLOAT_EQ(actual.y, expected.y);
        EXPECT_FLOAT_EQ(actual.z, expected.z);
    } else {
        EXPECT_NEAR(actual.x, expected.x, tolerance);
        EXPECT_NEAR(actual.y, expected.y, tolerance);
        EXPECT_NEAR(actual.z, expected.z, tolerance);
    }
}

}  // namespace lights_test
