// The host's run-time objects that shaders reach only through virtual calls: the parameter
// registry given to declareParameters and the shading context given to the shading slots.
// Slot numbers are part of the binary contract; reserved slots exist and are never called by
// the library.
#pragma once

#include <cstdint>

#include "vyr/export.h"
#include "vyr/handles.h"
#include "vyr/types.h"

namespace vyr {

class IShaderBase;

// One light reaching a point; the list ends with a null next.
struct LightSample {
    Vec3f direction;  // unit direction towards the light
    float factor;
    Vec3f color;
    const LightSample* next;
};

static_assert(offsetof(LightSample, direction) == 0);
static_assert(offsetof(LightSample, factor) == 12);
static_assert(offsetof(LightSample, color) == 16);
static_assert(offsetof(LightSample, next) == 32);
static_assert(sizeof(LightSample) == 40);

// Varying kinds of declareVarying.
inline constexpr int kVaryingVec2f = 1;
inline constexpr int kVaryingVec3f = 2;

// 41 slots. The reserved ones have host-side definitions in libvyr that stop the process,
// so a host only overrides what the library uses.
class VYR_API ParameterRegistry {
public:
    virtual void reserved0();                                                        // 0
    virtual void beginParameters(IShaderBase* shader, int flags) = 0;                // 1
    virtual void declareBool(IShaderBase* shader, const char* name, bool* field) = 0;  // 2
    virtual void reserved3();
    virtual void reserved4();
    virtual void reserved5();
    virtual void declareInt(IShaderBase* shader, const char* name, std::int32_t* field) = 0;  // 6
    virtual void reserved7();
    virtual void reserved8();
    virtual void reserved9();
    virtual void declareFloat(IShaderBase* shader, const char* name, float* field) = 0;  // 10
    virtual void declareVec2f(IShaderBase* shader, const char* name, Vec2f* field) = 0;  // 11
    virtual void declareVec3f(IShaderBase* shader, const char* name, Vec3f* field) = 0;  // 12
    virtual void declareVec4f(IShaderBase* shader, const char* name, Vec4f* field) = 0;  // 13
    virtual void reserved14();
    virtual void declareMat3f(IShaderBase* shader, const char* name, Mat3f* field) = 0;  // 15
    virtual void declareMat4f(IShaderBase* shader, const char* name, float* field) = 0;  // 16
    virtual void declareTexture1D(IShaderBase* shader, const char* name,
                                  TextureHandle* field) = 0;  // 17
    virtual void declareTexture2D(IShaderBase* shader, const char* name,
                                  TextureHandle* field) = 0;  // 18
    virtual void reserved19();
    virtual void reserved20();
    virtual void reserved21();
    virtual void reserved22();
    virtual void reserved23();
    virtual void reserved24();
    virtual void reserved25();
    virtual void reserved26();
    virtual void reserved27();
    virtual void reserved28();
    virtual void reserved29();
    virtual void reserved30();
    virtual void reserved31();
    virtual void reserved32();
    virtual void reserved33();
    virtual void reserved34();
    virtual void reserved35();
    virtual void reserved36();
    virtual void reserved37();
    virtual void reserved38();
    virtual void reserved39();
    // kind 1 = Vec2f, 2 = Vec3f; offset is the byte place inside the varying block.
    virtual void declareVarying(IShaderBase* shader, int kind, const char* name,
                                int offset) = 0;  // 40

protected:
    ParameterRegistry() = default;
    ~ParameterRegistry() = default;
};

// 20 slots. Every trace returns a pointer to its RGB result, which may point into the scratch
// vector or elsewhere and stays valid until the next call on the same thread.
class VYR_API ShadingContext {
public:
    virtual void reserved0();                                                       // 0
    virtual void reserved1();                                                       // 1
    virtual const LightSample* lightSamples(const Vec3f* position) = 0;             // 2
    virtual void reserved3();                                                       // 3
    virtual const Vec3f* traceShadow(Vec3f* scratch, const Vec3f* from,
                                     const Vec3f* to) = 0;                          // 4
    virtual void reserved5();                                                       // 5
    virtual const Vec3f* traceRay(Vec3f* scratch, const Vec3f* origin, const Vec3f* direction,
                                  float importance) = 0;                            // 6
    virtual const Vec3f* traceStraight(Vec3f* scratch, const Vec3f* position,
                                       const Vec3f* direction, float importance) = 0;  // 7
    virtual void reserved8();                                                       // 8
    virtual const Vec3f* traceGlossyReflection(Vec3f* scratch, const Vec3f* position,
                                               const Vec3f* direction, float glossiness,
                                               float importance) = 0;               // 9
    virtual void reserved10();                                                      // 10
    virtual const Vec3f* traceGlossyRefraction(Vec3f* scratch, const Vec3f* position,
                                               const Vec3f* direction, float glossiness,
                                               float importance) = 0;               // 11
    virtual void reserved12();                                                      // 12
    virtual void reserved13();                                                      // 13
    virtual float random1() = 0;                                                    // 14
    virtual const float* random2(float* out) = 0;                                   // 15
    virtual float noise4(const Vec4f* point) = 0;                                   // 16
    virtual void reserved17();                                                      // 17
    virtual float noise2(const Vec2f* point) = 0;                                   // 18
    virtual float randomOf(float x) = 0;                                            // 19

protected:
    ShadingContext() = default;
    ~ShadingContext() = default;
};

}  // namespace vyr
