// The reference renderer: Embree ray casting over the scene's surfaces, image tiles rendered in
// parallel with TBB, and a ShadingContext per thread through which the library's shaders reach
// the scene. Nothing on the shading path takes a lock: each thread owns its context, its
// ShadingStates (on the stack) and its random stream.
//
// Light transport: the materials' own `shade` drives it, as in the host the shaders were written
// for (they ask the context for light samples and trace their own reflections and refractions).
// The host's grey diffuse scenery adds direct light and one cosine-sampled bounce per hit, the
// two combined by multiple importance sampling where the bounce can meet a light.
//
// Samples: an Owen-scrambled Sobol' sequence per pixel feeds the pixel position, the host's own
// choices and the shaders' random numbers, dimension after dimension within each sample; lights
// are sampled by solid angle; a second pass spends half the samples where the first half left
// the most noise. The uniform sampler (one PCG stream, uniform points on the lights, one sample
// each, no second pass) stays selectable for comparison.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "image_io.h"
#include "render/light_sampling.h"
#include "render/sampling.h"
#include "render/indirect_filter.h"
#include "render/scene.h"
#include "render/vec.h"

namespace vkrender {

enum class Sampler {
    LowDiscrepancy,  // scrambled Sobol' samples, lights by solid angle, MIS, adaptive
    Uniform,         // one PCG stream, uniform light points, no MIS: the earlier renderer
};

struct RenderOptions {
    int width = 640;
    int height = 480;
    int spp = 16;     // samples per pixel on average (the least per pixel with a target)
    int threads = 0;  // 0: every core
    std::uint64_t seed = 1;
    int maxDepth = 6;       // traceDepthLimit: rays of this depth or deeper bring back black
    bool progress = false;  // a progress bar on stderr once the render has run for a second
    Sampler sampler = Sampler::LowDiscrepancy;
    // Spend half of the samples where the first half left the most noise (low-discrepancy
    // sampler, from 4 samples per pixel on).
    bool adaptive = true;
    // Targets: keep adding rounds of `spp` samples per pixel (spent where the noise is) until
    // the estimated relative error is at most `errorTarget` or the next round would end after
    // `seconds`; 0 leaves a target out. Time targets make the sample count depend on the machine.
    double seconds = 0.0;
    double errorTarget = 0.0;
    // Low-discrepancy sampler: the light a scenery bounce brings back from a library material is
    // limited to this (its largest component; 0: no limit). Those paths are caustics, which the
    // host cannot sample well: a ray off a diffuse floor that happens to find a glossy or glass
    // sphere reflecting the sun brings back hundreds of times the pixel's value. The limit trades
    // a little of their energy for far less noise; the uniform sampler never limits.
    float causticLimit = kDefaultCausticLimit;
    static constexpr float kDefaultCausticLimit = 10.0f;
    // Low-discrepancy sampler: filter the noisy light the camera's first hits on host scenery
    // receive across neighbouring pixels of the same surface (see indirect_filter.h).
    bool filterNoise = true;
};

struct RenderStats {
    std::uint64_t rays = 0;          // every ray cast into the scene (camera, secondary, shadow)
    std::uint64_t shadingCalls = 0;  // every shader slot the renderer called
    std::uint64_t samples = 0;       // camera samples
    int rounds = 0;                  // passes over the image
    double estimatedError = 0.0;     // relative RMSE estimated from the two half-buffers
    double seconds = 0.0;
};

// One surface hit as the renderer sees it.
struct Hit {
    bool found = false;
    float t = 0.0f;
    unsigned object = 0;
    unsigned primitive = 0;
    float u = 0.0f;  // barycentrics of triangles
    float v = 0.0f;
};

class RenderContext;

class Renderer {
public:
    // Builds the acceleration structure; the scene must outlive the renderer.
    explicit Renderer(const Scene& scene);
    ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    const Scene& scene() const { return scene_; }

    vkimage::Image render(const RenderOptions& options, RenderStats* stats = nullptr) const;

    // The nearest hit along origin + t * dir, tNear < t < tFar.
    Hit intersect(Vec3f origin, Vec3f dir, float tNear, float tFar) const;
    // Whether any surface lies along origin + t * dir, tNear < t < tFar.
    bool occluded(Vec3f origin, Vec3f dir, float tNear, float tFar) const;

    // The environment's radiance as a table over directions, made once from its shader, for the
    // scenery to sample it by; null when there is no environment or it has no bright spot.
    const DirectionTable* environmentTable() const {
        return environmentTable_.empty() ? nullptr : &environmentTable_;
    }

    // A context for one thread (tests use it to call the operations on their own).
    std::unique_ptr<RenderContext> makeContext(int maxDepth,
                                               Sampler sampler = Sampler::LowDiscrepancy,
                                               float causticLimit = 0.0f) const;

private:
    const Scene& scene_;
    struct Embree;
    std::unique_ptr<Embree> embree_;
    DirectionTable environmentTable_;

    void buildEnvironmentTable();
};

// The host's ShadingContext, one per render thread.
class RenderContext final : public vyr::ShadingContext {
public:
    RenderContext(const Renderer& renderer, int maxDepth,
                  Sampler sampler = Sampler::LowDiscrepancy, float causticLimit = 0.0f);

    // Starts the samples of one pixel; they depend only on the seed and the pixel.
    void beginPixel(std::uint64_t seed, std::uint64_t pixel) {
        sequence_.beginPixel(seed, pixel);
        sequence_.beginSample(0);
    }
    // Starts sample `index` of the pixel (the low-discrepancy sampler's dimensions restart).
    void beginSample(std::uint32_t index) { sequence_.beginSample(index); }
    Sampler sampler() const { return sampler_; }

    // The radiance along a camera ray (depth 0). With `first`, what the ray met first when that
    // is host scenery, with the noisy part of the light it receives.
    Vec3f cameraRay(Vec3f origin, Vec3f dir, FirstHit* first = nullptr);
    // The radiance along a ray of the given depth: black from the depth limit on.
    Vec3f trace(Vec3f origin, Vec3f dir, int depth);
    // What the environment's shade gives along a ray that leaves the scene (black without one).
    Vec3f environment(Vec3f origin, Vec3f dir, int depth);

    // The depth of the ray being shaded; operations called now trace at depth + 1.
    int depth() const { return depth_; }
    void setDepth(int depth) { depth_ = depth; }
    int maxDepth() const { return maxDepth_; }

    std::uint64_t rays = 0;
    std::uint64_t shadingCalls = 0;

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

    // The light samples at p as the host sees them: `normal` (unit, or zero when unknown) is the
    // surface's, which the dome sampling leans towards. Fills the list of the current depth.
    struct HostLightSample {
        int light = -1;
        float pdf =
            0.0f;  // solid-angle density of the light's strategy times its count; 0: a point
    };
    const vyr::LightSample* sampleLights(Vec3f p, Vec3f normal);
    const HostLightSample& hostSample(const vyr::LightSample* sample) const;

    // A direction in the glossy lobe round `direction` (unit): glossiness g is a roughness,
    // 0 the exact direction, otherwise a Phong lobe of exponent 2/g^2 - 2 (the exponent that
    // matches a microfacet roughness g), which is a uniform hemisphere from g = 1 on.
    Vec3f glossyDirection(Vec3f direction, float glossiness);

private:
    // Continues a path: the importance multiplies the weight of the path so far, and a path
    // whose weight falls below 1/1000 brings back black.
    Vec3f secondary(Vec3f origin, Vec3f dir, float importance);
    // The scenery's bounce: as secondary, with the environment it meets weighted by
    // `environmentWeight` (its share against the environment's own samples). What the caustic
    // limit takes off goes to `heldBack` when given.
    Vec3f bounce(Vec3f origin, Vec3f dir, float importance, float environmentWeight,
                 Vec3f* heldBack = nullptr);
    Vec3f shadeHit(const Hit& hit, Vec3f origin, Vec3f dir, int depth);
    Vec3f shadeScenery(const Material& material, const vyr::ShadingState& state, int depth);
    // The lights the scenery's bounce direction meets, each weighted against its light samples.
    Vec3f lightsAlongBounce(Vec3f p, Vec3f n, Vec3f dir, float bouncePdf);
    // Samples drawn for a light at the current depth.
    int sampleCount(const Light& light) const;
    // Fills the geometric fields of a state for a hit (position, normals, uv, varyings, frame).
    void fillSurface(vyr::ShadingState& state, const Hit& hit, Vec3f origin, Vec3f dir,
                     const ShaderInstance* shader) const;

    const Renderer& renderer_;
    const Scene& scene_;
    int maxDepth_;
    int depth_ = 0;
    float pathWeight_ = 1.0f;
    Sampler sampler_;
    float causticLimit_;  // 0: none
    FirstHit* firstHit_ = nullptr;
    SampleSequence sequence_;
    Vec3f up_;
    // One light-sample list per depth, so that a list stays valid while deeper rays are shaded,
    // with what the host knows of each sample beside it.
    std::vector<std::vector<vyr::LightSample>> samples_;
    std::vector<std::vector<HostLightSample>> hostSamples_;
    // The normal (towards the viewer) of the surface being shaded at each depth, zero if none.
    std::vector<Vec3f> normals_;
};

}  // namespace vkrender
