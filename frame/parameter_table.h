// A shader's parameters are written once, as a table of (type, host key, field offset, width)
// over its params struct. declareParameters and setParameters walk the table, so declaration
// order, object layout and copying cannot drift apart.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "vyr/vyr.h"

namespace vexakelo {

enum class ParamType : std::uint8_t {
    Bool,
    Int,
    Float,
    Vec2f,
    Vec3f,
    Vec4f,
    Mat3f,
    Mat4f,
    Texture1D,
    Texture2D,
};

constexpr std::size_t paramWidth(ParamType type) {
    switch (type) {
        case ParamType::Bool: return 1;
        case ParamType::Int: return 4;
        case ParamType::Float: return 4;
        case ParamType::Vec2f: return 8;
        case ParamType::Vec3f: return 12;
        case ParamType::Vec4f: return 16;
        case ParamType::Mat3f: return 36;
        case ParamType::Mat4f: return 64;
        case ParamType::Texture1D: return 16;
        case ParamType::Texture2D: return 16;
    }
    return 0;
}

constexpr std::size_t paramAlignment(ParamType type) {
    switch (type) {
        case ParamType::Bool: return 1;
        case ParamType::Texture1D:
        case ParamType::Texture2D: return 8;
        default: return 4;
    }
}

struct ParamDesc {
    ParamType type;
    const char* name;    // host key; lives as long as the library
    std::size_t offset;  // of the field inside the shader's params struct
    std::size_t size;    // sizeof the field, checked against the type's width
};

// One table line: VEXAKELO_PARAM(Params, Vec3f, "color", color).
#define VEXAKELO_PARAM(Params, Type, key, field) \
    ::vexakelo::ParamDesc { ::vexakelo::ParamType::Type, key, offsetof(Params, field), sizeof(Params::field) }

// A per-hit attribute the material wants interpolated into the varying block.
struct VaryingDesc {
    int kind;  // vyr::kVaryingVec2f or vyr::kVaryingVec3f
    const char* name;
    int offset;  // byte place inside the varying block
};

// The three varyings of every material that builds a tangent frame, in declaration order.
inline constexpr VaryingDesc kSurfaceVaryings[] = {
    {vyr::kVaryingVec3f, "bitangent", vyr::kVaryingBitangent},
    {vyr::kVaryingVec3f, "tangent", vyr::kVaryingTangent},
    {vyr::kVaryingVec2f, "uv", vyr::kVaryingUv},
};

// Offsets rise in declaration order, each field sits at its natural alignment, matches its
// type's width and lies inside the params struct.
template <class Params>
constexpr bool isOrderedTable(std::span<const ParamDesc> table) {
    std::size_t end = 0;
    for (const ParamDesc& desc : table) {
        if (desc.offset < end || desc.offset % paramAlignment(desc.type) != 0 ||
            desc.size != paramWidth(desc.type)) {
            return false;
        }
        end = desc.offset + desc.size;
    }
    return end <= sizeof(Params);
}

// Declares one parameter whose field lives at fields + desc.offset.
void declareParameter(vyr::ParameterRegistry* registry, vyr::IShaderBase* shader,
                      const ParamDesc& desc, std::byte* fields);

// Copies every field of the table from the block's params to the object's params, byte for
// byte at the field's width (booleans as one byte, texture handles as sixteen).
void copyParameters(std::span<const ParamDesc> table, std::byte* fields,
                    const std::byte* blockFields);

}  // namespace vexakelo
