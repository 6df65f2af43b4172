// The host side of parameter declaration: a registry that records what a shader declares, and
// parameter blocks laid out like the shader object that the host fills by name and hands to
// setParameters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "vyr/vyr.h"

namespace vkhost {

enum class ParamType { Bool, Int, Float, Vec2f, Vec3f, Vec4f, Mat3f, Mat4f, Texture1D, Texture2D };

// "bool", "int", "float", "vec2", "vec3", "vec4", "mat3", "mat4", "texture1d", "texture2d".
const char* typeName(ParamType type);
std::size_t typeWidth(ParamType type);

struct Declaration {
    std::string name;
    ParamType type;
    std::size_t offset;  // bytes from the start of the shader object
    std::size_t width;
};

struct VaryingDeclaration {
    int kind;  // 1 Vec2f, 2 Vec3f
    std::string name;
    int offset;  // inside the varying block
};

struct ShaderLayout {
    int flags = -1;
    int beginCalls = 0;
    std::vector<Declaration> parameters;
    std::vector<VaryingDeclaration> varyings;

    const Declaration* find(const std::string& name) const;
    // One past the last declared byte.
    std::size_t blockSize() const;
};

// Records everything a shader declares; offsets are taken from the field addresses relative to
// the shader object.
class RecordingRegistry final : public vyr::ParameterRegistry {
public:
    ShaderLayout layout;

    void beginParameters(vyr::IShaderBase* shader, int flags) override;
    void declareBool(vyr::IShaderBase* shader, const char* name, bool* field) override;
    void declareInt(vyr::IShaderBase* shader, const char* name, std::int32_t* field) override;
    void declareFloat(vyr::IShaderBase* shader, const char* name, float* field) override;
    void declareVec2f(vyr::IShaderBase* shader, const char* name, vyr::Vec2f* field) override;
    void declareVec3f(vyr::IShaderBase* shader, const char* name, vyr::Vec3f* field) override;
    void declareVec4f(vyr::IShaderBase* shader, const char* name, vyr::Vec4f* field) override;
    void declareMat3f(vyr::IShaderBase* shader, const char* name, vyr::Mat3f* field) override;
    void declareMat4f(vyr::IShaderBase* shader, const char* name, float* field) override;
    void declareTexture1D(vyr::IShaderBase* shader, const char* name,
                          vyr::TextureHandle* field) override;
    void declareTexture2D(vyr::IShaderBase* shader, const char* name,
                          vyr::TextureHandle* field) override;
    void declareVarying(vyr::IShaderBase* shader, int kind, const char* name,
                        int offset) override;

private:
    void record(vyr::IShaderBase* shader, const char* name, ParamType type, const void* field);
};

// Calls declareParameters once with a recording registry.
ShaderLayout declareLayout(vyr::IShaderBase* shader);

using ParamValue = std::variant<bool, std::int32_t, float, vyr::Vec2f, vyr::Vec3f, vyr::Vec4f,
                                vyr::Mat3f, vyr::Mat4f, vyr::TextureHandle>;

// The declared type a value of this alternative fits (textures fit both texture types).
bool fits(const ParamValue& value, ParamType type);
// The value as the text "1 0.5 0.25", "true", "texture #3" or "none".
std::string formatValue(const ParamValue& value);

struct ParameterError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A parameter block: the bytes the host hands to setParameters, in the object's own layout.
class ParameterBlock {
public:
    // Pre-filled from the object's current field values (its defaults after _create).
    ParameterBlock(std::string shaderName, ShaderLayout layout, const vyr::IShaderBase* object);

    const std::string& shaderName() const { return shaderName_; }
    const ShaderLayout& layout() const { return layout_; }

    // Throws ParameterError for an unknown name or a value of the wrong type.
    void set(const std::string& name, const ParamValue& value);
    ParamValue get(const std::string& name) const;
    ParamValue get(const Declaration& declaration) const;

    const void* data() const { return storage_.data(); }
    void applyTo(vyr::IShaderBase* shader) const { shader->setParameters(data()); }

private:
    const Declaration& require(const std::string& name) const;
    std::byte* bytes() { return reinterpret_cast<std::byte*>(storage_.data()); }
    const std::byte* bytes() const { return reinterpret_cast<const std::byte*>(storage_.data()); }

    std::string shaderName_;
    ShaderLayout layout_;
    std::vector<std::max_align_t> storage_;  // aligned for every field type
};

}  // namespace vkhost
