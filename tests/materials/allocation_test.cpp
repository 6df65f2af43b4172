// No shading slot of a material allocates: global operator new is replaced in this program and
// counted while the slots run with a non-recording context.
#include <atomic>
#include <cstdlib>
#include <new>

#include "material_support.h"

namespace {
std::atomic<bool> gCounting{false};
std::atomic<long> gAllocations{0};
}  // namespace

void* operator new(std::size_t size) {
    if (gCounting.load(std::memory_order_relaxed)) {
        gAllocations.fetch_add(1, std::memory_order_relaxed);
    }
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (gCounting.load(std::memory_order_relaxed)) {
        gAllocations.fetch_add(1, std::memory_order_relaxed);
    }
    return std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}

namespace materials_test {
namespace {

TEST(MaterialAllocations, ShadingSlotsAllocateNothing) {
    const vyr::TextureHandle map = constantTexture({0.5f, 0.4f, 0.3f});
    const Material materials[] = {
        makeMaterial("vexa_kelo_Mtl_Mirror", {{"u_tintColor", Vec3f{1, 1, 1}}}),
        makeMaterial("vexa_kelo_Mtl_Dielectric", {{"u_roughValue", 0.3f},
                                                  {"u_normal0MapEnable", true},
                                                  {"u_normal0Map", map},
                                                  {"u_normal0Transform", kIdentity},
                                                  {"u_procedureMapEnable", std::int32_t{1}},
                                                  {"u_normal1MapEnable", true},
                                                  {"u_normal1Map", map},
                                                  {"u_normal1Transform", kIdentity},
                                                  {"u_roughMapEnable", true},
                                                  {"u_roughMap", map},
                                                  {"u_roughTransform", kIdentity},
                                                  {"u_transmittanceMapEnable", true},
                                                  {"u_transmittanceMap", map},
                                                  {"u_transmittanceTransform", kIdentity},
                                                  {"u_falloffEnable", true},
                                                  {"u_absorptionCoef", Vec3f{1, 1, 1}}}),
        makeMaterial("vexa_kelo_Mtl_Glazing", {{"u_transmittanceMapEnable", true},
                                               {"u_transmittanceMap", map},
                                               {"u_transmittanceTransform", kIdentity}}),
    };
    vkhost::ScriptedContext ctx;
    ctx.recording = false;
    ctx.randoms = {0.3f, 0.7f, 0.1f};
    ctx.setLights({{{0.0f, 0.6f, 0.8f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr},
                   {{0.0f, -0.6f, -0.8f}, 1.0f, {1.0f, 1.0f, 1.0f}, nullptr}});
    const Vec3f rays[] = {{0.6f, 0.0f, -0.8f}, {0.6f, 0.0f, 0.8f}};

    gAllocations = 0;
    gCounting = true;
    for (const Material& m : materials) {
        for (const Vec3f& I : rays) {
            vyr::ShadingState s = stateWithRay(I);
            setRequest(s, true, true);
            s.bsdfDir = {0.0f, 0.6f, 0.8f};
            m->shade(&ctx, &s);
            m->shadow(&ctx, &s);
            m->evaluateBsdf(&ctx, &s);
            m->sampleBsdf(&ctx, &s);
            m->finishShading();
        }
    }
    gCounting = false;
    EXPECT_EQ(gAllocations.load(), 0);
}

}  // namespace
}  // namespace materials_test
