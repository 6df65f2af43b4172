// A scripted host context with something in every answer (traced colours, random numbers, two
// lights), so that shading from many threads exercises every branch that reads the context.
#pragma once

#include "scripted_context.h"

namespace vktest {

inline void fillWithAnswers(vkhost::ScriptedContext& ctx) {
    ctx.recording = false;
    ctx.rayResult = {0.5f, 0.6f, 0.7f};
    ctx.straightResult = {0.2f, 0.3f, 0.4f};
    ctx.glossyReflectionResult = {1.0f, 0.9f, 0.8f};
    ctx.glossyRefractionResult = {0.1f, 0.2f, 0.3f};
    ctx.randoms = {0.05f, 0.35f, 0.65f, 0.95f, 0.5f};
    ctx.setLights({{{0.0f, 0.6f, 0.8f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr},
                   {{0.6f, 0.0f, -0.8f}, 0.5f, {1.0f, 0.5f, 0.25f}, nullptr}});
}

}  // namespace vktest
