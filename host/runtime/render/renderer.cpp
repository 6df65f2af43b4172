#include "render/renderer.h"

#include <embree3/rtcore.h>
#include <tbb/blocked_range.h>
#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

namespace vkrender {

namespace {

constexpr float kPi = 3.14159265f;
constexpr float kMinPathWeight = 1.0e-3f;
constexpr int kMaxShadowSurfaces = 64;
constexpr int kTileSize = 16;
constexpr int kDiskSegments = 96;

// Offsets rays off the surface they leave, relative to the scene's scale at that point.
float epsilonAt(Vec3f p) {
    return 1.0e-4f *
           std::fmax(1.0f, std::fmax(std::fabs(p.x), std::fmax(std::fabs(p.y), std::fabs(p.z))));
}

bool finite(Vec3f c) {
    return std::isfinite(c.x) && std::isfinite(c.y) && std::isfinite(c.z);
}

}  // namespace

// --- Embree scene ----------------------------------------------------------------------------

struct Renderer::Embree {
    RTCDevice device = nullptr;
    RTCScene scene = nullptr;
    ~Embree() {
        if (scene != nullptr)
            rtcReleaseScene(scene);
        if (device != nullptr)
            rtcReleaseDevice(device);
    }
};

namespace {

void addTriangles(RTCDevice device, RTCScene scene, const std::vector<Vec3f>& corners) {
    RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
    const std::size_t count = corners.size() / 3;
    auto* vertices = static_cast<float*>(rtcSetNewGeometryBuffer(
        geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, 3 * sizeof(float), corners.size()));
    auto* indices = static_cast<unsigned*>(rtcSetNewGeometryBuffer(
        geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, 3 * sizeof(unsigned), count));
    for (std::size_t i = 0; i < corners.size(); ++i) {
        vertices[3 * i] = corners[i].x;
        vertices[3 * i + 1] = corners[i].y;
        vertices[3 * i + 2] = corners[i].z;
        indices[i] = static_cast<unsigned>(i);
    }
    rtcCommitGeometry(geometry);
    rtcAttachGeometry(scene, geometry);
    rtcReleaseGeometry(geometry);
}

}  // namespace

Renderer::Renderer(const Scene& scene) : scene_(scene), embree_(std::make_unique<Embree>()) {
    embree_->device = rtcNewDevice(nullptr);
    if (embree_->device == nullptr) {
        throw SceneError(scene.path + ": cannot start the ray casting device");
    }
    embree_->scene = rtcNewScene(embree_->device);
    // Geometry ids follow the object order, one geometry per object.
    for (const Object& object : scene.objects) {
        switch (object.kind) {
            case ShapeKind::Sphere: {
                RTCGeometry g = rtcNewGeometry(embree_->device, RTC_GEOMETRY_TYPE_SPHERE_POINT);
                auto* v = static_cast<float*>(rtcSetNewGeometryBuffer(
                    g, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT4, 4 * sizeof(float), 1));
                v[0] = object.center.x;
                v[1] = object.center.y;
                v[2] = object.center.z;
                v[3] = object.radius;
                rtcCommitGeometry(g);
                rtcAttachGeometry(embree_->scene, g);
                rtcReleaseGeometry(g);
                break;
            }
            case ShapeKind::Quad: {
                const Vec3f o = object.center - 0.5f * object.edgeU - 0.5f * object.edgeV;
                const Vec3f a = o + object.edgeU;
                const Vec3f b = o + object.edgeU + object.edgeV;
                const Vec3f c = o + object.edgeV;
                addTriangles(embree_->device, embree_->scene, {o, a, b, o, b, c});
                break;
            }
            case ShapeKind::Disk: {
                Vec3f t, b;
                orthonormalBasis(object.normal, t, b);
                std::vector<Vec3f> corners;
                for (int i = 0; i < kDiskSegments; ++i) {
                    const float a0 = 2.0f * kPi * static_cast<float>(i) / kDiskSegments;
                    const float a1 = 2.0f * kPi * static_cast<float>(i + 1) / kDiskSegments;
                    corners.push_back(object.center);
                    corners.push_back(object.center +
                                      object.radius * (std::cos(a0) * t + std::sin(a0) * b));
                    corners.push_back(object.center +
                                      object.radius * (std::cos(a1) * t + std::sin(a1) * b));
                }
                addTriangles(embree_->device, embree_->scene, corners);
                break;
            }
            case ShapeKind::Mesh:
                addTriangles(embree_->device, embree_->scene, object.positions);
                break;
        }
    }
    rtcCommitScene(embree_->scene);
}

Renderer::~Renderer() = default;

Hit Renderer::intersect(Vec3f origin, Vec3f dir, float tNear, float tFar) const {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRayHit rh{};
    rh.ray.org_x = origin.x;
    rh.ray.org_y = origin.y;
    rh.ray.org_z = origin.z;
    rh.ray.dir_x = dir.x;
    rh.ray.dir_y = dir.y;
    rh.ray.dir_z = dir.z;
    rh.ray.tnear = tNear;
    rh.ray.tfar = tFar;
    rh.ray.mask = 0xFFFFFFFFu;
    rh.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    rh.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    rtcIntersect1(embree_->scene, &context, &rh);
    Hit hit;
    if (rh.hit.geomID != RTC_INVALID_GEOMETRY_ID) {
        hit.found = true;
        hit.t = rh.ray.tfar;
        hit.object = rh.hit.geomID;
        hit.primitive = rh.hit.primID;
        hit.u = rh.hit.u;
        hit.v = rh.hit.v;
    }
    return hit;
}

std::unique_ptr<RenderContext> Renderer::makeContext(int maxDepth) const {
    return std::make_unique<RenderContext>(*this, maxDepth);
}

// --- Rendering --------------------------------------------------------------------------------

namespace {

// Prints "[#####.....]  45%  12s left" on stderr, once the render has run for a second.
class Progress {
public:
    Progress(bool enabled, int total) : total_(total) {
        if (enabled) {
            thread_ = std::thread([this] { run(); });
        }
    }
    ~Progress() { finish(); }
    void tick() { done_.fetch_add(1, std::memory_order_relaxed); }
    void finish() {
        if (!thread_.joinable())
            return;
        {
            std::lock_guard lock(mutex_);
            stop_ = true;
        }
        wake_.notify_all();
        thread_.join();
        if (shown_) {
            draw(1.0, 0.0);
            std::fputc('\n', stderr);
        }
    }

private:
    void draw(double fraction, double left) {
        constexpr int kWidth = 30;
        const int filled = static_cast<int>(fraction * kWidth);
        char bar[kWidth + 1];
        for (int i = 0; i < kWidth; ++i)
            bar[i] = i < filled ? '#' : '.';
        bar[kWidth] = '\0';
        std::fprintf(stderr, "\rrendering [%s] %3d%%  %5.1fs left ", bar,
                     static_cast<int>(fraction * 100.0), left);
        std::fflush(stderr);
    }
    void run() {
        const auto start = std::chrono::steady_clock::now();
        std::unique_lock lock(mutex_);
        while (!wake_.wait_for(lock, std::chrono::milliseconds(200), [this] { return stop_; })) {
            const double elapsed =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            if (elapsed < 1.0)
                continue;
            const double fraction = static_cast<double>(done_.load()) / total_;
            const double left = fraction > 0.0 ? elapsed * (1.0 - fraction) / fraction : 0.0;
            draw(fraction, left);
            shown_ = true;
        }
    }

    int total_;
    std::atomic<int> done_{0};
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    bool shown_ = false;
};

}  // namespace

vkimage::Image Renderer::render(const RenderOptions& options, RenderStats* stats) const {
    if (options.width < 1 || options.height < 1 || options.spp < 1 || options.maxDepth < 1 ||
        static_cast<long long>(options.width) * options.height > kMaxPixels) {
        throw SceneError(scene_.path + ": the render needs a size of at least 1 x 1 (at most " +
                         std::to_string(kMaxPixels) + " pixels), one sample and a depth of 1");
    }
    const auto start = std::chrono::steady_clock::now();
    vkimage::Image image(options.width, options.height);
    const Camera& camera = scene_.camera;
    const Vec3f forward = normalize(camera.lookAt - camera.position);
    const Vec3f right = normalize(cross(forward, camera.up));
    const Vec3f up = cross(right, forward);
    const float halfHeight = std::tan(0.5f * camera.fovDegrees * kPi / 180.0f);
    const float widthOverHeight =
        static_cast<float>(options.width) / static_cast<float>(options.height);

    const int tilesX = (options.width + kTileSize - 1) / kTileSize;
    const int tilesY = (options.height + kTileSize - 1) / kTileSize;
    const int tiles = tilesX * tilesY;
    // The seed is mixed so that neighbouring seeds give unrelated streams.
    const std::uint64_t seed =
        (static_cast<std::uint64_t>(mix32(static_cast<std::uint32_t>(options.seed))) << 32) ^
        mix32(static_cast<std::uint32_t>(options.seed >> 32) ^ 0x5bd1e995u);

    tbb::enumerable_thread_specific<std::unique_ptr<RenderContext>> contexts(
        [&] { return makeContext(options.maxDepth); });
    Progress progress(options.progress, tiles);
    const int threads =
        options.threads > 0 ? options.threads : tbb::this_task_arena::max_concurrency();
    tbb::task_arena arena(threads);
    arena.execute([&] {
        tbb::parallel_for(
            tbb::blocked_range<int>(0, tiles, 1), [&](const tbb::blocked_range<int>& range) {
                RenderContext& context = *contexts.local();
                for (int tile = range.begin(); tile != range.end(); ++tile) {
                    const int x0 = (tile % tilesX) * kTileSize;
                    const int y0 = (tile / tilesX) * kTileSize;
                    for (int y = y0; y < std::min(y0 + kTileSize, options.height); ++y) {
                        for (int x = x0; x < std::min(x0 + kTileSize, options.width); ++x) {
                            context.beginPixel(seed,
                                               static_cast<std::uint64_t>(y) * options.width + x);
                            Vec3f sum{0.0f, 0.0f, 0.0f};
                            for (int s = 0; s < options.spp; ++s) {
                                // The first sample looks through the pixel centre, the rest jitter.
                                float jx = 0.5f;
                                float jy = 0.5f;
                                if (s > 0) {
                                    jx = context.random1();
                                    jy = context.random1();
                                }
                                const float sx =
                                    (2.0f * (static_cast<float>(x) + jx) / options.width - 1.0f) *
                                    halfHeight * widthOverHeight;
                                const float sy =
                                    (1.0f - 2.0f * (static_cast<float>(y) + jy) / options.height) *
                                    halfHeight;
                                const Vec3f dir = normalize(forward + sx * right + sy * up);
                                const Vec3f c = context.cameraRay(camera.position, dir);
                                // Deliberate: a sample that came back infinite or NaN (a shader
                                // dividing by zero at a grazing hit) counts as black rather than
                                // poisoning the pixel.
                                if (finite(c))
                                    sum += c;
                            }
                            const float inv = 1.0f / static_cast<float>(options.spp);
                            image.at(x, y) = {sum.x * inv, sum.y * inv, sum.z * inv, 1.0f};
                        }
                    }
                    progress.tick();
                }
            });
    });
    progress.finish();
    if (stats != nullptr) {
        *stats = RenderStats{};
        for (const auto& context : contexts) {
            stats->rays += context->rays;
            stats->shadingCalls += context->shadingCalls;
        }
        stats->seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    return image;
}

// --- The shading context ----------------------------------------------------------------------

RenderContext::RenderContext(const Renderer& renderer, int maxDepth)
    : renderer_(renderer), scene_(renderer.scene()), maxDepth_(maxDepth) {
    // Every list the shading path may need is made here, never while shading.
    samples_.resize(static_cast<std::size_t>(maxDepth) + 2);
    for (auto& list : samples_) {
        list.resize(scene_.lights.size());
    }
}

Vec3f RenderContext::cameraRay(Vec3f origin, Vec3f dir) {
    depth_ = 0;
    pathWeight_ = 1.0f;
    return trace(origin, dir, 0);
}

void RenderContext::fillSurface(vyr::ShadingState& state, const Hit& hit, Vec3f origin, Vec3f dir,
                                const ShaderInstance* shader) const {
    const Object& object = scene_.objects[hit.object];
    Vec3f p = origin + hit.t * dir;
    Vec3f n{0.0f, 0.0f, 1.0f};
    Vec3f ng{0.0f, 0.0f, 1.0f};
    Vec3f tangent{1.0f, 0.0f, 0.0f};
    Vec2f uv{0.0f, 0.0f};
    switch (object.kind) {
        case ShapeKind::Sphere: {
            n = normalize(p - object.center);
            p = object.center + object.radius * n;
            ng = n;
            uv = {std::atan2(n.y, n.x) / (2.0f * kPi) + 0.5f,
                  std::acos(std::fmax(-1.0f, std::fmin(1.0f, n.z))) / kPi};
            const Vec3f around{-n.y, n.x, 0.0f};
            tangent = length(around) > 1.0e-6f ? normalize(around) : Vec3f{1.0f, 0.0f, 0.0f};
            break;
        }
        case ShapeKind::Quad: {
            n = ng = object.normal;
            const Vec3f corner = object.center - 0.5f * object.edgeU - 0.5f * object.edgeV;
            const Vec3f d = p - corner;
            uv = {dot(d, object.edgeU) / dot(object.edgeU, object.edgeU),
                  dot(d, object.edgeV) / dot(object.edgeV, object.edgeV)};
            tangent = normalize(object.edgeU);
            break;
        }
        case ShapeKind::Disk: {
            n = ng = object.normal;
            Vec3f t, b;
            orthonormalBasis(object.normal, t, b);
            const Vec3f d = p - object.center;
            uv = {0.5f + 0.5f * dot(d, t) / object.radius, 0.5f + 0.5f * dot(d, b) / object.radius};
            tangent = t;
            break;
        }
        case ShapeKind::Mesh: {
            const std::size_t i = 3 * static_cast<std::size_t>(hit.primitive);
            const Vec3f p0 = object.positions[i];
            const Vec3f e1 = object.positions[i + 1] - p0;
            const Vec3f e2 = object.positions[i + 2] - p0;
            const float w = 1.0f - hit.u - hit.v;
            ng = normalize(cross(e1, e2));
            n = ng;
            if (!object.normals.empty()) {
                n = normalize(w * object.normals[i] + hit.u * object.normals[i + 1] +
                              hit.v * object.normals[i + 2]);
            }
            Vec3f b;
            orthonormalBasis(n, tangent, b);
            if (!object.uvs.empty()) {
                const Vec2f t0 = object.uvs[i];
                const Vec2f t1 = object.uvs[i + 1];
                const Vec2f t2 = object.uvs[i + 2];
                uv = {w * t0.x + hit.u * t1.x + hit.v * t2.x,
                      w * t0.y + hit.u * t1.y + hit.v * t2.y};
                const float du1 = t1.x - t0.x, dv1 = t1.y - t0.y, du2 = t2.x - t0.x,
                            dv2 = t2.y - t0.y;
                const float det = du1 * dv2 - du2 * dv1;
                if (std::fabs(det) > 1.0e-12f) {
                    const Vec3f dpdu = (1.0f / det) * (dv2 * e1 - dv1 * e2);
                    const Vec3f projected = dpdu - dot(dpdu, n) * n;
                    if (length(projected) > 0.0f)
                        tangent = normalize(projected);
                }
            }
            break;
        }
    }
    state.rayOrigin = origin;
    state.rayDir = dir;
    state.position = p;
    state.normal = n;
    state.geoNormal = ng;
    state.texCoord = {uv.x, uv.y, 0.0f};
    // Objects sit in air: the medium on both sides of a surface as the host knows it.
    state.incidentIor = 1.0f;
    state.exitIor = 1.0f;
    std::memcpy(state.localFrame, object.localFrame, sizeof state.localFrame);
    if (shader != nullptr) {
        auto* bytes = reinterpret_cast<unsigned char*>(&state);
        const Vec3f bitangent = cross(n, tangent);
        // The shaders take the tangent in surface space and bring it to the world through
        // localFrame; our frames carry no rotation, only a mesh's scale and offset.
        if (shader->tangentOffset >= 0)
            std::memcpy(bytes + shader->tangentOffset, &tangent, sizeof tangent);
        if (shader->bitangentOffset >= 0)
            std::memcpy(bytes + shader->bitangentOffset, &bitangent, sizeof bitangent);
        if (shader->uvOffset >= 0)
            std::memcpy(bytes + shader->uvOffset, &uv, sizeof uv);
    }
}

Vec3f RenderContext::trace(Vec3f origin, Vec3f dir, int depth) {
    if (depth >= maxDepth_) {
        return {0.0f, 0.0f, 0.0f};
    }
    ++rays;
    const Hit hit = renderer_.intersect(origin, dir, depth == 0 ? 0.0f : epsilonAt(origin),
                                        std::numeric_limits<float>::infinity());
    if (hit.found) {
        return shadeHit(hit, origin, dir, depth);
    }
    if (scene_.environment == nullptr) {
        return {0.0f, 0.0f, 0.0f};
    }
    vyr::ShadingState state{};
    state.rayOrigin = origin;
    state.rayDir = dir;
    state.position = origin;
    state.incidentIor = state.exitIor = 1.0f;
    state.traceDepth = depth;
    state.traceDepthLimit = maxDepth_;
    state.outColor = {0.0f, 0.0f, 0.0f, 1.0f};
    const int saved = depth_;
    depth_ = depth;
    ++shadingCalls;
    scene_.environment->environment()->shade(this, &state);
    depth_ = saved;
    return {state.outColor.x, state.outColor.y, state.outColor.z};
}

Vec3f RenderContext::shadeHit(const Hit& hit, Vec3f origin, Vec3f dir, int depth) {
    const Material& material = scene_.materials[scene_.objects[hit.object].material];
    vyr::ShadingState state{};
    fillSurface(state, hit, origin, dir, material.shader.get());
    state.traceDepth = depth;
    state.traceDepthLimit = maxDepth_;
    const int saved = depth_;
    depth_ = depth;
    Vec3f color;
    if (material.shader == nullptr) {
        color = shadeScenery(material, state, depth);
    } else {
        state.outColor = {0.0f, 0.0f, 0.0f, 1.0f};
        ++shadingCalls;
        material.shader->material()->shade(this, &state);
        color = {state.outColor.x, state.outColor.y, state.outColor.z};
    }
    depth_ = saved;
    return color;
}

// Host scenery: a grey Lambertian surface lit by the light samples (cosine over pi), the
// ambient lights, and one cosine-sampled bounce that brings the environment and the other
// surfaces in.
Vec3f RenderContext::shadeScenery(const Material& material, const vyr::ShadingState& state,
                                  int depth) {
    const Vec3f n = dot(state.rayDir, state.geoNormal) < 0.0f ? state.normal : -state.normal;
    Vec3f irradiance{0.0f, 0.0f, 0.0f};
    for (const vyr::LightSample* s = lightSamples(&state.position); s != nullptr; s = s->next) {
        const float c = dot(n, s->direction);
        if (c > 0.0f) {
            irradiance += (s->factor * c / kPi) * s->color;
        }
    }
    for (const Light& light : scene_.lights) {
        if (light.shape != LightShape::Ambient)
            continue;
        vyr::ShadingState ls{};
        ls.position = state.position;
        ls.lightShadow = {1.0f, 1.0f, 1.0f};
        ++shadingCalls;
        light.shader->light()->shade(this, &ls);
        irradiance += ls.lightColor * ls.lightShadow;
    }
    if (depth + 1 < maxDepth_) {
        const float u1 = random1();
        const float u2 = random1();
        const float r = std::sqrt(u1);
        const float phi = 2.0f * kPi * u2;
        Vec3f t, b;
        orthonormalBasis(n, t, b);
        const Vec3f dir = normalize(r * std::cos(phi) * t + r * std::sin(phi) * b +
                                    std::sqrt(std::fmax(0.0f, 1.0f - u1)) * n);
        irradiance += secondary(state.position, dir, maxComponent(material.albedo));
    }
    return material.albedo * irradiance;
}

Vec3f RenderContext::secondary(Vec3f origin, Vec3f dir, float importance) {
    const float weight = pathWeight_ * importance;
    if (!(weight >= kMinPathWeight)) {
        return {0.0f, 0.0f, 0.0f};
    }
    const float savedWeight = pathWeight_;
    pathWeight_ = weight;
    const Vec3f c = trace(origin, dir, depth_ + 1);
    pathWeight_ = savedWeight;
    return c;
}

const vyr::LightSample* RenderContext::lightSamples(const vyr::Vec3f* position) {
    const Vec3f p = *position;
    auto& list = samples_[static_cast<std::size_t>(std::clamp(depth_, 0, maxDepth_ + 1))];
    vyr::LightSample* previous = nullptr;
    vyr::LightSample* first = nullptr;
    for (std::size_t i = 0; i < scene_.lights.size(); ++i) {
        const Light& light = scene_.lights[i];
        if (light.shape == LightShape::Ambient)
            continue;
        vyr::ShadingState ls{};
        ls.position = p;
        ls.traceDepth = depth_;
        ls.traceDepthLimit = maxDepth_;
        ls.lightAxis = light.axis;
        float factor = 1.0f;
        switch (light.shape) {
            case LightShape::Point:
            case LightShape::Ambient:
                ls.lightPosition = light.position;
                break;
            case LightShape::Sphere: {
                // A point of the hemisphere facing p, uniform over its projected disk.
                const Vec3f w = normalize(p - light.position);
                Vec3f t, b;
                orthonormalBasis(w, t, b);
                const float r = std::sqrt(random1());
                const float phi = 2.0f * kPi * random1();
                const float x = r * std::cos(phi);
                const float y = r * std::sin(phi);
                const Vec3f onUnit =
                    x * t + y * b + std::sqrt(std::fmax(0.0f, 1.0f - x * x - y * y)) * w;
                ls.lightPosition = light.position + light.radius * onUnit;
                ls.lightAxis = onUnit;
                factor = kPi * light.radius * light.radius;
                break;
            }
            case LightShape::Rectangle: {
                const float a = random1() - 0.5f;
                const float b = random1() - 0.5f;
                ls.lightPosition = light.position + a * light.edgeU + b * light.edgeV;
                factor = length(cross(light.edgeU, light.edgeV));
                break;
            }
            case LightShape::Dome: {
                // Uniform over the upper hemisphere of the dome round p.
                const float z = random1();
                const float phi = 2.0f * kPi * random1();
                const float r = std::sqrt(std::fmax(0.0f, 1.0f - z * z));
                Vec3f t, b;
                const Vec3f up = normalize(scene_.up);
                orthonormalBasis(up, t, b);
                const Vec3f d = r * std::cos(phi) * t + r * std::sin(phi) * b + z * up;
                ls.lightPosition = p + light.domeRadius * d;
                ls.lightAxis = -d;
                factor = 2.0f * kPi;
                break;
            }
        }
        const Vec3f toPoint = p - ls.lightPosition;
        ls.lightDistance = length(toPoint);
        ls.lightToPoint = normalize(toPoint);
        ls.lightShadow = {1.0f, 1.0f, 1.0f};
        ++shadingCalls;
        light.shader->light()->shade(this, &ls);
        vyr::LightSample& sample = list[i];
        sample.direction = -ls.lightToPoint;
        sample.factor = factor;
        // The host applies the shadow factor the light hands back.
        sample.color = ls.lightColor * ls.lightShadow;
        sample.next = nullptr;
        if (previous != nullptr) {
            previous->next = &sample;
        } else {
            first = &sample;
        }
        previous = &sample;
    }
    return first;
}

const vyr::Vec3f* RenderContext::traceShadow(vyr::Vec3f* scratch, const vyr::Vec3f* from,
                                             const vyr::Vec3f* to) {
    Vec3f transmittance{1.0f, 1.0f, 1.0f};
    const Vec3f origin = *from;
    const Vec3f segment = *to - origin;
    const float distance = length(segment);
    if (distance > 0.0f) {
        const Vec3f dir = segment * (1.0f / distance);
        const float eps = epsilonAt(origin);
        float tNear = eps;
        const float tFar = distance - epsilonAt(*to);
        for (int surfaces = 0; surfaces < kMaxShadowSurfaces && tNear < tFar; ++surfaces) {
            ++rays;
            const Hit hit = renderer_.intersect(origin, dir, tNear, tFar);
            if (!hit.found)
                break;
            const Material& material = scene_.materials[scene_.objects[hit.object].material];
            if (material.shader == nullptr || !material.shader->hasShadow()) {
                transmittance = {0.0f, 0.0f, 0.0f};
                break;
            }
            // A transmissive surface: its shadow operation gives what passes through.
            vyr::ShadingState state{};
            fillSurface(state, hit, origin, dir, material.shader.get());
            state.traceDepth = depth_;
            state.traceDepthLimit = maxDepth_;
            state.shadowTransmit = {0.0f, 0.0f, 0.0f};
            ++shadingCalls;
            material.shader->material()->shadow(this, &state);
            transmittance = transmittance * state.shadowTransmit;
            if (!(maxComponent(transmittance) > 0.0f)) {
                transmittance = {0.0f, 0.0f, 0.0f};
                break;
            }
            tNear = hit.t + epsilonAt(state.position);
        }
    }
    *scratch = transmittance;
    return scratch;
}

const vyr::Vec3f* RenderContext::traceRay(vyr::Vec3f* scratch, const vyr::Vec3f* origin,
                                          const vyr::Vec3f* direction, float importance) {
    *scratch = secondary(*origin, normalize(*direction), importance);
    return scratch;
}

const vyr::Vec3f* RenderContext::traceStraight(vyr::Vec3f* scratch, const vyr::Vec3f* position,
                                               const vyr::Vec3f* direction, float importance) {
    // The ray goes on unbent through the surface; it still counts as one more depth, so a stack
    // of panes ends at the limit.
    *scratch = secondary(*position, normalize(*direction), importance);
    return scratch;
}

Vec3f RenderContext::glossyDirection(Vec3f direction, float glossiness) {
    if (!(glossiness > 0.0f)) {
        return direction;
    }
    const float exponent = std::fmax(0.0f, 2.0f / (glossiness * glossiness) - 2.0f);
    const float cosTheta = std::pow(random1(), 1.0f / (exponent + 1.0f));
    const float sinTheta = std::sqrt(std::fmax(0.0f, 1.0f - cosTheta * cosTheta));
    const float phi = 2.0f * kPi * random1();
    Vec3f t, b;
    orthonormalBasis(direction, t, b);
    return normalize(sinTheta * std::cos(phi) * t + sinTheta * std::sin(phi) * b +
                     cosTheta * direction);
}

const vyr::Vec3f* RenderContext::traceGlossyReflection(vyr::Vec3f* scratch,
                                                       const vyr::Vec3f* position,
                                                       const vyr::Vec3f* direction,
                                                       float glossiness, float importance) {
    *scratch = secondary(*position, glossyDirection(normalize(*direction), glossiness), importance);
    return scratch;
}

const vyr::Vec3f* RenderContext::traceGlossyRefraction(vyr::Vec3f* scratch,
                                                       const vyr::Vec3f* position,
                                                       const vyr::Vec3f* direction,
                                                       float glossiness, float importance) {
    *scratch = secondary(*position, glossyDirection(normalize(*direction), glossiness), importance);
    return scratch;
}

float RenderContext::random1() {
    return rng_.uniform();
}

const float* RenderContext::random2(float* out) {
    out[0] = rng_.uniform();
    out[1] = rng_.uniform();
    return out;
}

float RenderContext::noise4(const vyr::Vec4f* point) {
    return gradientNoise4(point->x, point->y, point->z, point->w);
}

float RenderContext::noise2(const vyr::Vec2f* point) {
    return gradientNoise2(point->x, point->y);
}

float RenderContext::randomOf(float x) {
    return hashToUnit(x);
}

}  // namespace vkrender
