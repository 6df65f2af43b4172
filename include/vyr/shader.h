// The shader class tree. Slot order is the binary contract: slot 0 is destroy (no C++ virtual
// destructor, which would take two slots), then the four common slots, then the kind's own.
// Shading slots are const: no shading call writes into the shader object.
#pragma once

#include "vyr/host_objects.h"
#include "vyr/shading_state.h"

namespace vyr {

inline constexpr int kShaderApiVersion = 2707;

// Results of getShaderKind.
inline constexpr int kMaterialKind = 0;
inline constexpr int kLightKind = 1;
inline constexpr int kEnvironmentKind = 2;

class IShaderBase {
public:
    // Shared by every shader and defined by the shader library: runs the destructors (the table
    // pointer ends as IShaderBase's), frees the object with ::operator delete when bit 0 of
    // flags is set, and returns the object.
    virtual void* destroy(unsigned flags);                            // 0
    virtual void declareParameters(ParameterRegistry* registry) = 0;  // 1
    virtual void setParameters(const void* block) = 0;                // 2
    virtual int getShaderVersion() = 0;                               // 3
    virtual int getShaderKind() = 0;                                  // 4

protected:
    IShaderBase() = default;
    ~IShaderBase() = default;
};

class MaterialShader : public IShaderBase {
public:
    virtual void shade(ShadingContext* context, ShadingState* state) const = 0;         // 5
    virtual void shadow(ShadingContext* context, ShadingState* state) const = 0;        // 6
    virtual void evaluateBsdf(ShadingContext* context, ShadingState* state) const = 0;  // 7
    virtual void sampleBsdf(ShadingContext* context, ShadingState* state) const = 0;    // 8
    virtual void finishShading() = 0;                                                   // 9

protected:
    MaterialShader() = default;
    ~MaterialShader() = default;
};

class LightShader : public IShaderBase {
public:
    virtual void shade(ShadingContext* context, ShadingState* state) const = 0;  // 5

protected:
    LightShader() = default;
    ~LightShader() = default;
};

class EnvironmentShader : public IShaderBase {
public:
    virtual void shade(ShadingContext* context, ShadingState* state) const = 0;  // 5

protected:
    EnvironmentShader() = default;
    ~EnvironmentShader() = default;
};

}  // namespace vyr
