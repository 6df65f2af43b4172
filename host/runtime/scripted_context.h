// A ShadingContext for tests and benchmarks: every result is configured up front and every
// call is recorded. Reserved slots stop the process (libvyr's definitions), so a shader that
// strays from the contract fails loudly.
#pragma once

#include <cstddef>
#include <vector>

#include "vyr/vyr.h"

namespace vkhost {

class ScriptedContext final : public vyr::ShadingContext {
public:
    enum class Call {
        LightSamples,
        TraceShadow,
        TraceRay,
        TraceStraight,
        TraceGlossyReflection,
        TraceGlossyRefraction,
        Random1,
        Random2,
        Noise4,
        Noise2,
        RandomOf,
    };

    struct Record {
        Call call;
        vyr::Vec3f a{};  // position, origin or from
        vyr::Vec3f b{};  // direction or to
        float glossiness = 0.0f;
        float importance = 0.0f;
    };

    ScriptedContext();

    // Results.
    vyr::Vec3f shadowResult{1.0f, 1.0f, 1.0f};
    vyr::Vec3f rayResult{0.0f, 0.0f, 0.0f};
    vyr::Vec3f straightResult{0.0f, 0.0f, 0.0f};
    vyr::Vec3f glossyReflectionResult{0.0f, 0.0f, 0.0f};
    vyr::Vec3f glossyRefractionResult{0.0f, 0.0f, 0.0f};
    float noise4Result = 0.5f;
    float noise2Result = 0.5f;
    float randomOfResult = 0.5f;
    // random1 and random2 draw from this sequence in turn, wrapping round; empty gives 0.5.
    std::vector<float> randoms;
    // Returned by lightSamples, linked in order (set with setLights).
    void setLights(std::vector<vyr::LightSample> lights);
    // Whether calls are recorded (off for allocation-free measurements).
    bool recording = true;

    // What was called, in order.
    std::vector<Record> calls;
    std::size_t count(Call call) const;
    void clear() { calls.clear(); }

    const vyr::LightSample* lightSamples(const vyr::Vec3f* position) override;
    const vyr::Vec3f* traceShadow(vyr::Vec3f* scratch, const vyr::Vec3f* from,
                                  const vyr::Vec3f* to) override;
    const vyr::Vec3f* traceRay(vyr::Vec3f* scratch, const vyr::Vec3f* origin,
                               const vyr::Vec3f* direction, float importance) override;
    const vyr::Vec3f* traceStraight(vyr::Vec3f* scratch, const vyr::Vec3f* position,
                                    const vyr::Vec3f* direction, float importance) override;
    const vyr::Vec3f* traceGlossyReflection(vyr::Vec3f* scratch, const vyr::Vec3f* position,
                                            const vyr::Vec3f* direction, float glossiness,
                                            float importance) override;
    const vyr::Vec3f* traceGlossyRefraction(vyr::Vec3f* scratch, const vyr::Vec3f* position,
                                            const vyr::Vec3f* direction, float glossiness,
                                            float importance) override;
    float random1() override;
    const float* random2(float* out) override;
    float noise4(const vyr::Vec4f* point) override;
    float noise2(const vyr::Vec2f* point) override;
    float randomOf(float x) override;

private:
    void note(Record record);
    float nextRandom();

    std::vector<vyr::LightSample> lights_;
    std::size_t nextRandom_ = 0;
};

// A ShadingState with every byte zero and the defaults a host would give a camera ray: ray from
// the origin down -z, indices of refraction 1, depth 0 of limit 5, outColor (0,0,0,1).
vyr::ShadingState makeState();

}  // namespace vkhost
