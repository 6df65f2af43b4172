#include "parameters.h"

#include <algorithm>
#include <cstring>
#include <sstream>

namespace vkhost {

const char* typeName(ParamType type) {
    switch (type) {
        case ParamType::Bool: return "bool";
        case ParamType::Int: return "int";
        case ParamType::Float: return "float";
        case ParamType::Vec2f: return "vec2";
        case ParamType::Vec3f: return "vec3";
        case ParamType::Vec4f: return "vec4";
        case ParamType::Mat3f: return "mat3";
        case ParamType::Mat4f: return "mat4";
        case ParamType::Texture1D: return "texture1d";
        case ParamType::Texture2D: return "texture2d";
    }
    return "?";
}

std::size_t typeWidth(ParamType type) {
    switch (type) {
        case ParamType::Bool: return 1;
        case ParamType::Int:
        case ParamType::Float: return 4;
        case ParamType::Vec2f: return 8;
        case ParamType::Vec3f: return 12;
        case ParamType::Vec4f: return 16;
        case ParamType::Mat3f: return 36;
        case ParamType::Mat4f: return 64;
        case ParamType::Texture1D:
        case ParamType::Texture2D: return 16;
    }
    return 0;
}

const Declaration* ShaderLayout::find(const std::string& name) const {
    const auto it = std::find_if(parameters.begin(), parameters.end(),
                                 [&](const Declaration& d) { return d.name == name; });
    return it == parameters.end() ? nullptr : &*it;
}

std::size_t ShaderLayout::blockSize() const {
    std::size_t end = 0;
    for (const Declaration& d : parameters) {
        end = std::max(end, d.offset + d.width);
    }
    return end;
}

void RecordingRegistry::record(vyr::IShaderBase* shader, const char* name, ParamType type,
                               const void* field) {
    const auto offset = static_cast<std::size_t>(static_cast<const std::byte*>(field) -
                                                 reinterpret_cast<const std::byte*>(shader));
    layout.parameters.push_back({name, type, offset, typeWidth(type)});
}

void RecordingRegistry::beginParameters(vyr::IShaderBase*, int flags) {
    layout.flags = flags;
    ++layout.beginCalls;
}
void RecordingRegistry::declareBool(vyr::IShaderBase* s, const char* n, bool* f) {
    record(s, n, ParamType::Bool, f);
}
void RecordingRegistry::declareInt(vyr::IShaderBase* s, const char* n, std::int32_t* f) {
    record(s, n, ParamType::Int, f);
}
void RecordingRegistry::declareFloat(vyr::IShaderBase* s, const char* n, float* f) {
    record(s, n, ParamType::Float, f);
}
void RecordingRegistry::declareVec2f(vyr::IShaderBase* s, const char* n, vyr::Vec2f* f) {
    record(s, n, ParamType::Vec2f, f);
}
void RecordingRegistry::declareVec3f(vyr::IShaderBase* s, const char* n, vyr::Vec3f* f) {
    record(s, n, ParamType::Vec3f, f);
}
void RecordingRegistry::declareVec4f(vyr::IShaderBase* s, const char* n, vyr::Vec4f* f) {
    record(s, n, ParamType::Vec4f, f);
}
void RecordingRegistry::declareMat3f(vyr::IShaderBase* s, const char* n, vyr::Mat3f* f) {
    record(s, n, ParamType::Mat3f, f);
}
void RecordingRegistry::declareMat4f(vyr::IShaderBase* s, const char* n, float* f) {
    record(s, n, ParamType::Mat4f, f);
}
void RecordingRegistry::declareTexture1D(vyr::IShaderBase* s, const char* n,
                                         vyr::TextureHandle* f) {
    record(s, n, ParamType::Texture1D, f);
}
void RecordingRegistry::declareTexture2D(vyr::IShaderBase* s, const char* n,
                                         vyr::TextureHandle* f) {
    record(s, n, ParamType::Texture2D, f);
}
void RecordingRegistry::declareVarying(vyr::IShaderBase*, int kind, const char* name,
                                       int offset) {
    layout.varyings.push_back({kind, name, offset});
}

ShaderLayout declareLayout(vyr::IShaderBase* shader) {
    RecordingRegistry registry;
    shader->declareParameters(&registry);
    return std::move(registry.layout);
}

bool fits(const ParamValue& value, ParamType type) {
    switch (type) {
        case ParamType::Bool: return std::holds_alternative<bool>(value);
        case ParamType::Int: return std::holds_alternative<std::int32_t>(value);
        case ParamType::Float: return std::holds_alternative<float>(value);
        case ParamType::Vec2f: return std::holds_alternative<vyr::Vec2f>(value);
        case ParamType::Vec3f: return std::holds_alternative<vyr::Vec3f>(value);
        case ParamType::Vec4f: return std::holds_alternative<vyr::Vec4f>(value);
        case ParamType::Mat3f: return std::holds_alternative<vyr::Mat3f>(value);
        case ParamType::Mat4f: return std::holds_alternative<vyr::Mat4f>(value);
        case ParamType::Texture1D:
        case ParamType::Texture2D: return std::holds_alternative<vyr::TextureHandle>(value);
    }
    return false;
}

namespace {

const char* alternativeName(const ParamValue& value) {
    static constexpr const char* kNames[] = {"bool", "int",  "float", "vec2",   "vec3",
                                             "vec4", "mat3", "mat4",  "texture"};
    return kNames[value.index()];
}

template <class T>
void writeFloats(std::ostringstream& out, const T& value) {
    const auto* floats = reinterpret_cast<const float*>(&value);
    for (std::size_t i = 0; i < sizeof(T) / sizeof(float); ++i) {
        out << (i ? " " : "") << floats[i];
    }
}

}  // namespace

std::string formatValue(const ParamValue& value) {
    std::ostringstream out;
    std::visit(
        [&](const auto& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, bool>) {
                out << (v ? "true" : "false");
            } else if constexpr (std::is_same_v<T, std::int32_t> || std::is_same_v<T, float>) {
                out << v;
            } else if constexpr (std::is_same_v<T, vyr::TextureHandle>) {
                if (v.isValid()) {
                    out << "texture #" << v.id();
                } else {
                    out << "none";
                }
            } else {
                writeFloats(out, v);
            }
        },
        value);
    return out.str();
}

ParameterBlock::ParameterBlock(std::string shaderName, ShaderLayout layout,
                               const vyr::IShaderBase* object)
    : shaderName_(std::move(shaderName)), layout_(std::move(layout)) {
    const std::size_t size = layout_.blockSize();
    storage_.resize(size / sizeof(std::max_align_t) + 1);
    const auto* source = reinterpret_cast<const std::byte*>(object);
    for (const Declaration& d : layout_.parameters) {
        std::memcpy(bytes() + d.offset, source + d.offset, d.width);
    }
}

const Declaration& ParameterBlock::require(const std::string& name) const {
    const Declaration* d = layout_.find(name);
    if (d == nullptr) {
        throw ParameterError("shader " + shaderName_ + " has no parameter '" + name + "'");
    }
    return *d;
}

void ParameterBlock::set(const std::string& name, const ParamValue& value) {
    const Declaration& d = require(name);
    if (!fits(value, d.type)) {
        throw ParameterError("parameter '" + name + "' of shader " + shaderName_ + " is a " +
                             typeName(d.type) + ", not a " + alternativeName(value));
    }
    std::visit([&](const auto& v) { std::memcpy(bytes() + d.offset, &v, d.width); }, value);
}

ParamValue ParameterBlock::get(const std::string& name) const { return get(require(name)); }

ParamValue ParameterBlock::get(const Declaration& d) const {
    const std::byte* at = bytes() + d.offset;
    auto read = [&](auto value) {
        std::memcpy(&value, at, sizeof value);
        return ParamValue(value);
    };
    switch (d.type) {
        case ParamType::Bool: return ParamValue(static_cast<bool>(std::to_integer<int>(*at) != 0));
        case ParamType::Int: return read(std::int32_t{});
        case ParamType::Float: return read(float{});
        case ParamType::Vec2f: return read(vyr::Vec2f{});
        case ParamType::Vec3f: return read(vyr::Vec3f{});
        case ParamType::Vec4f: return read(vyr::Vec4f{});
        case ParamType::Mat3f: return read(vyr::Mat3f{});
        case ParamType::Mat4f: return read(vyr::Mat4f{});
        case ParamType::Texture1D:
        case ParamType::Texture2D: {
            vyr::TextureHandle handle;
            std::memcpy(static_cast<void*>(&handle), at, sizeof handle);
            return ParamValue(handle);
        }
    }
    return ParamValue(false);
}

}  // namespace vkhost
