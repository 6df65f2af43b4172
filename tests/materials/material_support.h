// Shared helpers of the material tests: the library loaded once as a host loads it, shaders
// created and parameterised by name, and small states.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "frame/vec_math.h"
#include "material_presets.h"
#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"
#include "vyr/vyr.h"
#include "vyr_host.h"

namespace materials_test {

using vkhost::ParamValue;
using vyr::Vec3f;

inline const vkhost::ShaderLibrary& library() {
    static const vkhost::ShaderLibrary lib;
    return lib;
}

inline const vyr::Mat3f kIdentity{{1.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f}};

// A created material with the given parameters applied through a host parameter block.
struct Material {
    vkhost::ShaderPtr object;
    vyr::MaterialShader* operator->() const {
        return static_cast<vyr::MaterialShader*>(object.get());
    }
};

inline Material makeMaterial(
    const std::string& name,
    std::initializer_list<std::pair<const char*, ParamValue>> values = {}) {
    Material m{library().create(name)};
    const vkhost::ShaderLayout layout = vkhost::declareLayout(m.object.get());
    vkhost::ParameterBlock block(name, layout, m.object.get());
    for (const auto& [key, value] : values) {
        block.set(key, value);
    }
    block.applyTo(m.object.get());
    return m;
}

// The same from a preset list (host/runtime/material_presets.h).
inline Material makeMaterial(const std::string& name, const vkhost::ParameterList& values) {
    Material m{library().create(name)};
    const vkhost::ShaderLayout layout = vkhost::declareLayout(m.object.get());
    vkhost::ParameterBlock block(name, layout, m.object.get());
    for (const auto& [key, value] : values) {
        block.set(key, value);
    }
    block.applyTo(m.object.get());
    return m;
}

// An RGB float texture of width x height texels, row after row.
inline vyr::TextureHandle rgbTexture(int width, int height, const float* texels) {
    vyr::TextureHandle handle = vyr::host::createTexture();
    vyr::TextureDescriptor d;
    d.format = 3;
    d.width = width;
    d.height = height;
    d.data = texels;
    vyr::host::textureOf(handle)->build(d);
    return handle;
}

// A 1x1 texture: every look-up reads (r, g, b, 1).
inline vyr::TextureHandle constantTexture(Vec3f c) {
    const float texel[3] = {c.x, c.y, c.z};
    return rgbTexture(1, 1, texel);
}

// A camera-ray state hitting the z = 0 plane at the origin with normal +z.
inline vyr::ShadingState stateWithRay(Vec3f dir, Vec3f normal = {0.0f, 0.0f, 1.0f}) {
    vyr::ShadingState s = vkhost::makeState();
    s.rayDir = dir;
    s.rayOrigin = {-dir.x, -dir.y, -dir.z};
    s.normal = normal;
    s.geoNormal = normal;
    s.tangent = {1.0f, 0.0f, 0.0f};
    s.bitangent = {0.0f, 1.0f, 0.0f};
    return s;
}

inline void setRequest(vyr::ShadingState& s, bool reflect, bool transmit) {
    for (int i = 0; i < 3; ++i) {
        s.lobeRequest[i] = reflect ? 1 : 0;
        s.lobeRequest[3 + i] = transmit ? 1 : 0;
    }
}

inline void expectVec(Vec3f actual, Vec3f expected, float tol, const char* what = "") {
    EXPECT_NEAR(actual.x, expected.x, tol) << what;
    EXPECT_NEAR(actual.y, expected.y, tol) << what;
    EXPECT_NEAR(actual.z, expected.z, tol) << what;
}

inline bool sameBytes(const vyr::ShadingState& a, const vyr::ShadingState& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

inline const vkhost::ScriptedContext::Record* findCall(const vkhost::ScriptedContext& ctx,
                                                       vkhost::ScriptedContext::Call call) {
    for (const auto& r : ctx.calls) {
        if (r.call == call) {
            return &r;
        }
    }
    return nullptr;
}

}  // namespace materials_test
