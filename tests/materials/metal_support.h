// Helpers of the Metal and MetallicPaint tests: a context that draws real random numbers (the
// statistical tests need millions of independent draws) and counts what it is asked, the local
// state of a view and light pair, and the sample counts shared by the statistical tests.
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "material_support.h"

namespace materials_test {

// Fewer samples under the sanitizers, whose instrumentation makes each call several times slower;
// the tests keep their power with the Release counts.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr int kStatSamples = 200000;
#else
inline constexpr int kStatSamples = 1000000;
#endif

class RandomContext final : public vyr::ShadingContext {
public:
    explicit RandomContext(std::uint32_t seed = 7u) : rng_(seed) {}

    vyr::Vec3f rayResult{1.0f, 1.0f, 1.0f};
    vyr::Vec3f straightResult{1.0f, 1.0f, 1.0f};
    float noise4Result = 0.5f;
    float noise2Result = 0.5f;
    bool hashedNoise2 = false;  // noise2 as a hash of its point instead of the constant
    int traceRays = 0;
    int traceStraights = 0;
    int noiseCalls = 0;
    int randomOfCalls = 0;
    std::vector<vyr::LightSample> lights;

    void setLight(Vec3f direction, float factor = 1.0f, Vec3f color = {1.0f, 1.0f, 1.0f}) {
        lights = {{direction, factor, color, nullptr}};
    }

    const vyr::LightSample* lightSamples(const vyr::Vec3f*) override {
        for (std::size_t i = 0; i + 1 < lights.size(); ++i) {
            lights[i].next = &lights[i + 1];
        }
        return lights.empty() ? nullptr : lights.data();
    }
    const vyr::Vec3f* traceShadow(vyr::Vec3f* scratch, const vyr::Vec3f*,
                                  const vyr::Vec3f*) override {
        *scratch = {1.0f, 1.0f, 1.0f};
        return scratch;
    }
    const vyr::Vec3f* traceRay(vyr::Vec3f* scratch, const vyr::Vec3f*, const vyr::Vec3f*,
                               float) override {
        ++traceRays;
        *scratch = rayResult;
        return scratch;
    }
    const vyr::Vec3f* traceStraight(vyr::Vec3f* scratch, const vyr::Vec3f*, const vyr::Vec3f*,
                                    float) override {
        ++traceStraights;
        *scratch = straightResult;
        return scratch;
    }
    const vyr::Vec3f* traceGlossyReflection(vyr::Vec3f* scratch, const vyr::Vec3f*,
                                            const vyr::Vec3f*, float, float) override {
        ADD_FAILURE() << "the metals trace their own reflections";
        *scratch = {0.0f, 0.0f, 0.0f};
        return scratch;
    }
    const vyr::Vec3f* traceGlossyRefraction(vyr::Vec3f* scratch, const vyr::Vec3f*,
                                            const vyr::Vec3f*, float, float) override {
        ADD_FAILURE() << "the metals refract nothing";
        *scratch = {0.0f, 0.0f, 0.0f};
        return scratch;
    }
    float random1() override { return uniform(); }
    const float* random2(float* out) override {
        out[0] = uniform();
        out[1] = uniform();
        return out;
    }
    float noise4(const vyr::Vec4f*) override {
        ++noiseCalls;
        return noise4Result;
    }
    float noise2(const vyr::Vec2f* p) override {
        ++noiseCalls;
        return hashedNoise2 ? hash(p->x * 0.37 + p->y * 1.91) : noise2Result;
    }
    // A repeatable value in [0, 1) of its argument.
    float randomOf(float x) override {
        ++randomOfCalls;
        return hash(x);
    }

private:
    static float hash(double x) {
        const double s = std::sin(x * 12.9898 + 0.5) * 43758.5453;
        return static_cast<float>(s - std::floor(s));
    }
    float uniform() { return static_cast<float>(rng_() >> 8) * (1.0f / 16777216.0f); }
    std::mt19937 rng_;
};

// A unit direction at polar angle theta (radians) from +z, azimuth phi from +x.
inline Vec3f polar(double theta, double phi) {
    return {static_cast<float>(std::sin(theta) * std::cos(phi)),
            static_cast<float>(std::sin(theta) * std::sin(phi)),
            static_cast<float>(std::cos(theta))};
}

// A hit on the z = 0 plane (tangent +x, normal +z) seen from V (pointing away from the surface).
inline vyr::ShadingState viewState(Vec3f V, vyr::Vec2f uv = {0.3f, 0.4f}) {
    vyr::ShadingState s = stateWithRay({-V.x, -V.y, -V.z});
    s.uv = uv;
    setRequest(s, true, true);
    return s;
}

// evaluateBsdf's value for V and L.
inline Vec3f evaluate(const Material& m, vyr::ShadingContext& ctx, Vec3f V, Vec3f L,
                      vyr::Vec2f uv = {0.3f, 0.4f}) {
    vyr::ShadingState s = viewState(V, uv);
    s.bsdfDir = L;
    m->evaluateBsdf(&ctx, &s);
    return s.bsdfWeight;
}

// Mean of weight * cosine (green channel) over n samples: the directional albedo.
inline double albedo(const Material& m, RandomContext& ctx, Vec3f V, int n) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) {
        vyr::ShadingState s = viewState(V);
        setRequest(s, true, false);
        m->sampleBsdf(&ctx, &s);
        if (s.bsdfLobe != 0) {
            sum += static_cast<double>(s.bsdfWeight.y) * s.bsdfCos;
        }
    }
    return sum / n;
}

}  // namespace materials_test
