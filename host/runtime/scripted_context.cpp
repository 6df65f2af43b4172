#include "scripted_context.h"

#include <algorithm>
#include <cstring>

namespace vkhost {

ScriptedContext::ScriptedContext() { calls.reserve(64); }

void ScriptedContext::setLights(std::vector<vyr::LightSample> lights) {
    lights_ = std::move(lights);
    for (std::size_t i = 0; i < lights_.size(); ++i) {
        lights_[i].next = i + 1 < lights_.size() ? &lights_[i + 1] : nullptr;
    }
}

std::size_t ScriptedContext::count(Call call) const {
    return static_cast<std::size_t>(
        std::count_if(calls.begin(), calls.end(), [&](const Record& r) { return r.call == call; }));
}

void ScriptedContext::note(Record record) {
    if (recording) {
        calls.push_back(record);
    }
}

float ScriptedContext::nextRandom() {
    if (randoms.empty()) {
        return 0.5f;
    }
    const float value = randoms[nextRandom_ % randoms.size()];
    ++nextRandom_;
    return value;
}

const vyr::LightSample* ScriptedContext::lightSamples(const vyr::Vec3f* position) {
    note({Call::LightSamples, *position});
    return lights_.empty() ? nullptr : lights_.data();
}

const vyr::Vec3f* ScriptedContext::traceShadow(vyr::Vec3f* scratch, const vyr::Vec3f* from,
                                               const vyr::Vec3f* to) {
    note({Call::TraceShadow, *from, *to});
    *scratch = shadowResult;
    return scratch;
}

const vyr::Vec3f* ScriptedContext::traceRay(vyr::Vec3f* scratch, const vyr::Vec3f* origin,
                                            const vyr::Vec3f* direction, float importance) {
    note({Call::TraceRay, *origin, *direction, 0.0f, importance});
    *scratch = rayResult;
    return scratch;
}

// The straight and glossy traces answer from the context's own storage rather than the scratch
// vector, so a shader that reads the scratch vector instead of the returned pointer is caught.
const vyr::Vec3f* ScriptedContext::traceStraight(vyr::Vec3f* scratch, const vyr::Vec3f* position,
                                                 const vyr::Vec3f* direction, float importance) {
    note({Call::TraceStraight, *position, *direction, 0.0f, importance});
    *scratch = {-1.0f, -1.0f, -1.0f};
    return &straightResult;
}

const vyr::Vec3f* ScriptedContext::traceGlossyReflection(vyr::Vec3f* scratch,
                                                         const vyr::Vec3f* position,
                                                         const vyr::Vec3f* direction,
                                                         float glossiness, float importance) {
    note({Call::TraceGlossyReflection, *position, *direction, glossiness, importance});
    *scratch = {-1.0f, -1.0f, -1.0f};
    return &glossyReflectionResult;
}

const vyr::Vec3f* ScriptedContext::traceGlossyRefraction(vyr::Vec3f* scratch,
                                                         const vyr::Vec3f* position,
                                                         const vyr::Vec3f* direction,
                                                         float glossiness, float importance) {
    note({Call::TraceGlossyRefraction, *position, *direction, glossiness, importance});
    *scratch = {-1.0f, -1.0f, -1.0f};
    return &glossyRefractionResult;
}

float ScriptedContext::random1() {
    note({Call::Random1});
    return nextRandom();
}

const float* ScriptedContext::random2(float* out) {
    note({Call::Random2});
    out[0] = nextRandom();
    out[1] = nextRandom();
    return out;
}

float ScriptedContext::noise4(const vyr::Vec4f* point) {
    note({Call::Noise4, {point->x, point->y, point->z}, {point->w, 0.0f, 0.0f}});
    return noise4Result;
}

float ScriptedContext::noise2(const vyr::Vec2f* point) {
    note({Call::Noise2, {point->x, point->y, 0.0f}});
    return noise2Result;
}

float ScriptedContext::randomOf(float x) {
    note({Call::RandomOf, {x, 0.0f, 0.0f}});
    return randomOfResult;
}

vyr::ShadingState makeState() {
    vyr::ShadingState state;
    std::memset(&state, 0, sizeof state);
    state.rayDir = {0.0f, 0.0f, -1.0f};
    state.normal = {0.0f, 0.0f, 1.0f};
    state.geoNormal = {0.0f, 0.0f, 1.0f};
    state.incidentIor = 1.0f;
    state.exitIor = 1.0f;
    for (int i = 0; i < 4; ++i) {
        state.localFrame[i * 4 + i] = 1.0f;
    }
    state.traceDepth = 0;
    state.traceDepthLimit = 5;
    state.outColor = {0.0f, 0.0f, 0.0f, 1.0f};
    return state;
}

}  // namespace vkhost
