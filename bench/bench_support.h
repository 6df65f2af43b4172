// What the shading benchmarks share: the library loaded as a host loads it, a context that
// answers with constants (one light sample, fixed traced colours, a short random sequence, no
// recording), a typical camera-ray state and a small bitmap for every map. Each benchmark loop
// calls its slot on one state: the slots write only outputs, and a fresh 512-byte copy per call
// would cost more than some slots.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "material_presets.h"
#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"
#include "vyr/vyr.h"
#include "vyr_host.h"

namespace vkbench {

inline const vkhost::ShaderLibrary& library() {
    static const vkhost::ShaderLibrary lib;
    return lib;
}

inline void configureContext(vkhost::ScriptedContext& ctx) {
    ctx.recording = false;
    ctx.rayResult = ctx.straightResult = {0.5f, 0.5f, 0.5f};
    ctx.glossyReflectionResult = ctx.glossyRefractionResult = {0.5f, 0.5f, 0.5f};
    ctx.shadowResult = {0.7f, 0.7f, 0.7f};
    ctx.randoms = {0.2f, 0.7f, 0.4f, 0.9f, 0.05f};
    ctx.setLights({{{0.0f, 0.6f, 0.8f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr}});
}

// A camera ray 37 degrees off the normal of the z = 0 plane, every lobe requested.
inline vyr::ShadingState materialState() {
    vyr::ShadingState s = vkhost::makeState();
    s.rayDir = {0.6f, 0.0f, -0.8f};
    s.rayOrigin = {-0.6f, 0.0f, 0.8f};
    s.tangent = {1.0f, 0.0f, 0.0f};
    s.bitangent = {0.0f, 1.0f, 0.0f};
    s.uv = {0.3f, 0.6f};
    s.bsdfDir = {0.0f, 0.6f, 0.8f};
    for (auto& r : s.lobeRequest) {
        r = 1;
    }
    return s;
}

// A 16 x 16 RGB bitmap with some variation, shared by every map.
inline const vyr::TextureHandle& bitmap() {
    static const vyr::TextureHandle handle = [] {
        std::vector<float> texels;
        for (int i = 0; i < 16 * 16 * 3; ++i) {
            texels.push_back(0.2f + 0.05f * static_cast<float>(i % 13));
        }
        vyr::TextureHandle h = vyr::host::createTexture();
        vyr::TextureDescriptor d;
        d.format = 3;
        d.width = 16;
        d.height = 16;
        d.data = texels.data();
        vyr::host::textureOf(h)->build(d);
        return h;
    }();
    return handle;
}

// A created shader with the given values applied through a host parameter block.
inline vkhost::ShaderPtr makeShader(const std::string& name, const vkhost::ParameterList& values) {
    vkhost::ShaderPtr shader = library().create(name);
    const vkhost::ShaderLayout layout = vkhost::declareLayout(shader.get());
    vkhost::ParameterBlock block(name, layout, shader.get());
    for (const auto& [key, value] : values) {
        block.set(key, value);
    }
    block.applyTo(shader.get());
    return shader;
}

}  // namespace vkbench
