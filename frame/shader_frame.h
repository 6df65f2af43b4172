// The boilerplate every shader shares, written once: creation with a non-throwing allocation,
// the common slots 1-4 driven by the shader's parameter table and catalog entry, and the export
// line that makes <Name>_create and <Name>_getAPIVersion.
//
// A shader is `class vyr::Name final : public ShaderFrame<Name, Kind, Params>` with
//   static constexpr std::string_view kName = "Name";
//   static std::span<const ParamDesc> parameters();  // the table, in declaration order
//   static constexpr VaryingDesc kVaryings[] = ...;   // optional, declared before the parameters
// and its shading slots. All its data lives in `params` (parameters first, in table order, then
// any private fields), so the object is the table pointer followed by the params struct.
#pragma once

#include <new>
#include <span>
#include <string_view>
#include <type_traits>

#include "frame/parameter_table.h"
#include "frame/shader_catalog.h"
#include "vyr/export.h"
#include "vyr/vyr.h"

namespace vexakelo {

template <class Derived, class Kind, class Params>
class ShaderFrame : public Kind {
    static_assert(std::is_trivially_destructible_v<Params>,
                  "shader objects own nothing: the shared destroy runs no destructor");

public:
    static constexpr int kFlags = shaderInfo(Derived::kName).flags;

    Params params{};

    void declareParameters(vyr::ParameterRegistry* registry) override {
        registry->beginParameters(this, kFlags);
        if constexpr (requires { Derived::kVaryings; }) {
            for (const VaryingDesc& varying : Derived::kVaryings) {
                registry->declareVarying(this, varying.kind, varying.name, varying.offset);
            }
        }
        for (const ParamDesc& desc : Derived::parameters()) {
            declareParameter(registry, this, desc, fields());
        }
    }

    void setParameters(const void* block) override {
        copyParameters(Derived::parameters(), fields(),
                       static_cast<const std::byte*>(block) + paramsOffset());
    }

    int getShaderVersion() override { return 1; }
    int getShaderKind() override { return shaderInfo(Derived::kName).kind; }

protected:
    ShaderFrame() = default;
    ~ShaderFrame() = default;

private:
    std::byte* fields() { return reinterpret_cast<std::byte*>(&params); }
    std::ptrdiff_t paramsOffset() const {
        return reinterpret_cast<const std::byte*>(&params) -
               reinterpret_cast<const std::byte*>(static_cast<const vyr::IShaderBase*>(this));
    }
};

// Allocates with the global non-throwing operator; null when the allocation fails.
template <class Shader>
vyr::IShaderBase* createShader() noexcept {
    void* const memory = ::operator new(sizeof(Shader), std::nothrow);
    if (memory == nullptr) {
        return nullptr;
    }
    return new (memory) Shader();
}

}  // namespace vexakelo

// The export line closing each shader's source file.
#define VEXAKELO_EXPORT_SHADER(Name)                                                   \
    static_assert(sizeof(vyr::Name) == ::vexakelo::shaderInfo(#Name).size,            \
                  #Name ": object size differs from kShaderCatalog");                 \
    extern "C" VYR_API vyr::IShaderBase* Name##_create() {                            \
        return ::vexakelo::createShader<vyr::Name>();                                 \
    }                                                                                 \
    extern "C" VYR_API int Name##_getAPIVersion() { return vyr::kShaderApiVersion; }
