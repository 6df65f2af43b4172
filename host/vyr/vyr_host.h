// The host side of libvyr: the objects behind handles, for host applications, the reference host
// runtime and tests. The shader library never includes this header.
//
// Host objects live in one process-wide table keyed by identifier. A handle built from a class
// code (kTextureClass, kShaderClass) makes a new object there; objects live until release() or
// the end of the process. Objects are meant to be built before rendering and only read during it.
//
// Texture descriptors: the host reads position 1 (0: one-dimensional, the height is then taken as
// 1), position 3 (the texel format: 1 one float, 3 three floats, 4 four 8-bit channels, each
// texel's channels adjacent, rows after one another), positions 4 and 5 (addressing in u and v:
// 0 repeats, anything else clamps to the edge texel), width, height and the data pointer. The
// other positions (2, 6, 7, 10, 12-19) are recorded with the texture but do not change it.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "vyr/handles.h"

namespace vyr::host {

// A filtered texture: bilinear between texel centres, repeat wrapping or clamping to the edge in u
// and v as the descriptor asks (a 1D texture ignores v). Single-channel texels read as (r, r, r, 1), three-channel as (r, g, b, 1), 8-bit
// channels as value / 255.
class VYR_API TextureObject final : public Texture {
public:
    void sample(Vec4f* out, const Vec2f* uv) const override;

    // Replaces the texels; returns 0, or -1 (texture left as it was) for an unknown format,
    // a non-positive size or null data.
    int build(const TextureDescriptor& descriptor);
    // Adopts RGBA float texels (host-side loading of image files).
    void assignRgba(int width, int height, std::vector<Vec4f> texels);

    int width() const { return width_; }
    int height() const { return height_; }
    bool oneDimensional() const { return oneDimensional_; }
    int sourceFormat() const { return descriptor_.format; }
    // The last descriptor built from, data pointer cleared.
    const TextureDescriptor& descriptor() const { return descriptor_; }
    // The unfiltered texel (x, y), wrapping.
    Vec4f texel(int x, int y) const;

private:
    int width_ = 0;
    int height_ = 0;
    bool oneDimensional_ = false;
    bool clampU_ = false;
    bool clampV_ = false;
    std::vector<Vec4f> texels_;
    TextureDescriptor descriptor_{};
};

struct TextureBinding {
    int dimensions;  // 1 or 2, by the setter used
    TextureHandle texture;
};

using UniformValue = std::variant<int, float, Vec2f, Vec3f, Vec4f, TextureBinding>;

// A shader's uniforms as set through the Shader setters, readable by name.
class VYR_API ShaderObject final : public Shader {
public:
    void store(const char* name, UniformValue value);
    std::optional<UniformValue> uniform(const std::string& name) const;
    std::map<std::string, UniformValue> uniforms() const;

private:
    mutable std::mutex mutex_;
    std::map<std::string, UniformValue> uniforms_;
};

// Makes new objects and the handles that refer to them.
VYR_API TextureHandle createTexture();
VYR_API ShaderHandle createShader();

// The object with this identifier, or null.
VYR_API TextureObject* findTexture(std::int32_t id);
VYR_API ShaderObject* findShader(std::int32_t id);
inline TextureObject* textureOf(const TextureHandle& handle) { return findTexture(handle.id()); }
inline ShaderObject* shaderOf(const ShaderHandle& handle) { return findShader(handle.id()); }

// Frees the object; handles that still refer to it must not be used again.
VYR_API void release(std::int32_t id);

// How many edits are open on the object (beginEdit minus endEdit); for tests.
VYR_API int openEdits(std::int32_t id);

}  // namespace vyr::host
