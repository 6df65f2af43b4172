#include "frame/parameter_table.h"

#include <cstring>

namespace vexakelo {

void declareParameter(vyr::ParameterRegistry* registry, vyr::IShaderBase* shader,
                      const ParamDesc& desc, std::byte* fields) {
    std::byte* const field = fields + desc.offset;
    switch (desc.type) {
        case ParamType::Bool:
            registry->declareBool(shader, desc.name, reinterpret_cast<bool*>(field));
            break;
        case ParamType::Int:
            registry->declareInt(shader, desc.name, reinterpret_cast<std::int32_t*>(field));
            break;
        case ParamType::Float:
            registry->declareFloat(shader, desc.name, reinterpret_cast<float*>(field));
            break;
        case ParamType::Vec2f:
            registry->declareVec2f(shader, desc.name, reinterpret_cast<vyr::Vec2f*>(field));
            break;
        case ParamType::Vec3f:
            registry->declareVec3f(shader, desc.name, reinterpret_cast<vyr::Vec3f*>(field));
            break;
        case ParamType::Vec4f:
            registry->declareVec4f(shader, desc.name, reinterpret_cast<vyr::Vec4f*>(field));
            break;
        case ParamType::Mat3f:
            registry->declareMat3f(shader, desc.name, reinterpret_cast<vyr::Mat3f*>(field));
            break;
        case ParamType::Mat4f:
            registry->declareMat4f(shader, desc.name, reinterpret_cast<float*>(field));
            break;
        case ParamType::Texture1D:
            registry->declareTexture1D(shader, desc.name,
                                       reinterpret_cast<vyr::TextureHandle*>(field));
            break;
        case ParamType::Texture2D:
            registry->declareTexture2D(shader, desc.name,
                                       reinterpret_cast<vyr::TextureHandle*>(field));
            break;
    }
}

void copyParameters(std::span<const ParamDesc> table, std::byte* fields,
                    const std::byte* blockFields) {
    for (const ParamDesc& desc : table) {
        std::memcpy(fields + desc.offset, blockFields + desc.offset, desc.size);
    }
}

}  // namespace vexakelo
