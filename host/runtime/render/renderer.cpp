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
#include <string>
#include <thread>

#include "render/light_sampling.h"

namespace vkrender {

namespace {

constexpr float kPi = 3.14159265f;
constexpr float kMinPathWeight = 1.0e-3f;
constexpr int kMaxShadowSurfaces = 64;
constexpr int kTileSize = 16;
constexpr int kDiskSegments = 96;
// Light samples of a dome at the first hit (deeper hits take one). Two were measured no better
// than one with the bounce's MIS share beside it, at a tenth more time.
constexpr std::size_t kDomeSamplesFirstHit = 1;
// The share of dome samples drawn round the surface's normal (the rest round the zenith, so
// that the dome is covered for surfaces that also take light from behind).
constexpr float kDomeNormalWeight = 0.5f;
// The ratio of the environment's brightest cell to its mean from which the scenery samples the
// environment by its table.
constexpr double kEnvironmentPeakToMean = 16.0;

// Offsets rays off the surface they leave, relative to the scene's scale at that point.
float epsilonAt(Vec3f p) {
    return 1.0e-4f *
           fmaxExact(1.0f, fmaxExact(std::fabs(p.x), fmaxExact(std::fabs(p.y), std::fabs(p.z))));
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
    buildEnvironmentTable();
}

Renderer::~Renderer() = default;

void Renderer::buildEnvironmentTable() {
    if (scene_.environment == nullptr) {
        return;
    }
    // Cells of about 5.6 x 5.6 degrees, each valued by the luminance of the environment at its
    // centre.
    constexpr int kWidth = 64;
    constexpr int kHeight = 32;
    const auto context = makeContext(std::max(2, scene_.settings.maxDepth));
    std::vector<float> values(static_cast<std::size_t>(kWidth) * kHeight);
    float lowest = std::numeric_limits<float>::infinity();
    float highest = 0.0f;
    for (int row = 0; row < kHeight; ++row) {
        for (int column = 0; column < kWidth; ++column) {
            const Vec3f d = DirectionTable::cellCentre(kWidth, kHeight, column, row);
            const Vec3f c = context->environment({0.0f, 0.0f, 0.0f}, d, 1);
            float y = 0.2126f * c.x + 0.7152f * c.y + 0.0722f * c.z;
            y = std::isfinite(y) ? std::max(0.0f, y) : 0.0f;
            values[static_cast<std::size_t>(row) * kWidth + column] = y;
            lowest = std::min(lowest, y);
            highest = std::max(highest, y);
        }
    }
    // A floor of a hundredth of the mean keeps dim cells reachable by both strategies.
    double mean = 0.0;
    for (const float v : values)
        mean += v;
    mean /= static_cast<double>(values.size());
    // Only an environment with a bright spot is worth a sample of its own: for a smooth one
    // (the daylight skies peak at about 6 times their mean) the scenery's cosine-weighted bounce
    // is nearly as good and the extra ray and shade cost more than they save.
    if (!(highest >= kEnvironmentPeakToMean * mean) || !(highest > lowest)) {
        return;
    }
    for (float& v : values)
        v += static_cast<float>(0.01 * mean);
    environmentTable_ = DirectionTable(kWidth, kHeight, values);
}

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

bool Renderer::occluded(Vec3f origin, Vec3f dir, float tNear, float tFar) const {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    RTCRay ray{};
    ray.org_x = origin.x;
    ray.org_y = origin.y;
    ray.org_z = origin.z;
    ray.dir_x = dir.x;
    ray.dir_y = dir.y;
    ray.dir_z = dir.z;
    ray.tnear = tNear;
    ray.tfar = tFar;
    ray.mask = 0xFFFFFFFFu;
    rtcOccluded1(embree_->scene, &context, &ray);
    // A blocked ray comes back with tfar = -inf.
    return !(ray.tfar >= tNear);
}

std::unique_ptr<RenderContext> Renderer::makeContext(int maxDepth, Sampler sampler,
                                                     float causticLimit) const {
    return std::make_unique<RenderContext>(*this, maxDepth, sampler, causticLimit);
}

// --- Rendering --------------------------------------------------------------------------------

namespace {

// Prints "[#####.....]  45%  12s left" on stderr, once the render has run for a second. With a
// target the bar shows the time spent of the time allowed, or the error reached.
class Progress {
public:
    Progress(bool enabled, double total) : total_(total) {
        if (enabled) {
            thread_ = std::thread([this] { run(); });
        }
    }
    ~Progress() { finish(); }
    void tick(double amount) {
        std::lock_guard lock(mutex_);
        done_ += amount;
    }
    // Starts over with a new total (a new round of a render to a target).
    void restart(double total, std::string note) {
        std::lock_guard lock(mutex_);
        total_ = total;
        done_ = 0.0;
        note_ = std::move(note);
    }
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
        std::fprintf(stderr, "\rrendering [%s] %3d%%  %5.1fs left %s ", bar,
                     static_cast<int>(fraction * 100.0), left, note_.c_str());
        std::fflush(stderr);
    }
    void run() {
        const auto start = std::chrono::steady_clock::now();
        auto roundStart = start;
        double lastTotal = total_;
        std::unique_lock lock(mutex_);
        while (!wake_.wait_for(lock, std::chrono::milliseconds(200), [this] { return stop_; })) {
            const auto now = std::chrono::steady_clock::now();
            if (total_ != lastTotal || done_ == 0.0) {
                roundStart = done_ == 0.0 ? now : roundStart;
                lastTotal = total_;
            }
            if (std::chrono::duration<double>(now - start).count() < 1.0)
                continue;
            const double elapsed = std::chrono::duration<double>(now - roundStart).count();
            const double fraction = std::min(1.0, done_ / total_);
            const double left = fraction > 0.0 ? elapsed * (1.0 - fraction) / fraction : 0.0;
            draw(fraction, left);
            shown_ = true;
        }
    }

    double total_;
    double done_ = 0.0;
    std::string note_;
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stop_ = false;
    bool shown_ = false;
};

// What the samples of a pixel added up to: the even-numbered samples in one half-buffer, the odd
// ones in the other, so that their difference estimates the noise left in the pixel.
struct Accumulation {
    std::vector<Vec3f> even;
    std::vector<Vec3f> odd;
    std::vector<std::uint32_t> taken;

    explicit Accumulation(std::size_t pixels) : even(pixels), odd(pixels), taken(pixels, 0) {}

    Vec3f mean(std::size_t i) const {
        const float n = static_cast<float>(taken[i]);
        return n > 0.0f ? (even[i] + odd[i]) * (1.0f / n) : Vec3f{0.0f, 0.0f, 0.0f};
    }
    // The error of the pixel's mean: half the difference of the two half-buffers' means.
    float error(std::size_t i) const {
        const std::uint32_t n = taken[i];
        if (n < 2)
            return 0.0f;
        const Vec3f a = even[i] * (1.0f / static_cast<float>((n + 1) / 2));
        const Vec3f b = odd[i] * (1.0f / static_cast<float>(n / 2));
        return (std::fabs(a.x - b.x) + std::fabs(a.y - b.y) + std::fabs(a.z - b.z)) / 6.0f;
    }
};

// The image's relative RMSE as the half-buffers estimate it.
double estimatedRelativeError(const Accumulation& acc) {
    double squares = 0.0;
    double sum = 0.0;
    for (std::size_t i = 0; i < acc.taken.size(); ++i) {
        const double e = acc.error(i);
        squares += e * e;
        const Vec3f m = acc.mean(i);
        sum += (static_cast<double>(m.x) + m.y + m.z) / 3.0;
    }
    const double n = static_cast<double>(acc.taken.size());
    return sum > 0.0 ? std::sqrt(squares / n) / (sum / n) : 0.0;
}

// Samples per pixel for a round of `budget` samples in all, by the noise the pixel's neighbours
// show (never the pixel's own, so a pixel whose first samples came out bright does not buy
// itself more, which would bias it). A quarter of the budget is spread evenly, the rest in
// proportion to the noise per sample: that split of a budget minimises the squared error.
std::vector<std::uint32_t> allocate(const Accumulation& acc, int width, int height, double budget,
                                    std::uint64_t seed) {
    const std::size_t pixels = acc.taken.size();
    std::vector<float> sigma(pixels);
    for (std::size_t i = 0; i < pixels; ++i) {
        sigma[i] = acc.error(i) * std::sqrt(static_cast<float>(acc.taken[i]));
    }
    std::vector<double> share(pixels);
    double total = 0.0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            double s = 0.0;
            int count = 0;
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    const int nx = x + dx;
                    const int ny = y + dy;
                    if ((dx == 0 && dy == 0) || nx < 0 || ny < 0 || nx >= width || ny >= height)
                        continue;
                    s += sigma[static_cast<std::size_t>(ny) * width + nx];
                    ++count;
                }
            }
            const double v = count > 0 ? s / count : 0.0;
            share[static_cast<std::size_t>(y) * width + x] = v;
            total += v;
        }
    }
    constexpr double kEven = 0.25;
    const double perPixel = budget / static_cast<double>(pixels);
    std::vector<std::uint32_t> extra(pixels);
    for (std::size_t i = 0; i < pixels; ++i) {
        const double want =
            total > 0.0 ? perPixel * (kEven + (1.0 - kEven) * share[i] * pixels / total) : perPixel;
        // Rounded with a dither of the pixel's own, so the budget holds on average.
        const double dither = static_cast<double>(mix32(static_cast<std::uint32_t>(i) ^
                                                        static_cast<std::uint32_t>(seed))) *
                              0x1p-32;
        extra[i] = static_cast<std::uint32_t>(
            std::min(std::floor(want + dither), 16.0 * std::max(1.0, perPixel)));
    }
    return extra;
}

}  // namespace

vkimage::Image Renderer::render(const RenderOptions& options, RenderStats* stats) const {
    if (options.width < 1 || options.height < 1 || options.spp < 1 || options.maxDepth < 1 ||
        static_cast<long long>(options.width) * options.height > kMaxPixels) {
        throw SceneError(scene_.path + ": the render needs a size of at least 1 x 1 (at most " +
                         std::to_string(kMaxPixels) + " pixels), one sample and a depth of 1");
    }
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    const Camera& camera = scene_.camera;
    const Vec3f forward = normalize(camera.lookAt - camera.position);
    const Vec3f right = normalize(cross(forward, camera.up));
    const Vec3f up = cross(right, forward);
    const float halfHeight = std::tan(0.5f * camera.fovDegrees * kPi / 180.0f);
    const float widthOverHeight =
        static_cast<float>(options.width) / static_cast<float>(options.height);
    const bool uniform = options.sampler == Sampler::Uniform;

    const int tilesX = (options.width + kTileSize - 1) / kTileSize;
    const int tilesY = (options.height + kTileSize - 1) / kTileSize;
    const int tiles = tilesX * tilesY;
    // The seed is mixed so that neighbouring seeds give unrelated streams.
    const std::uint64_t seed =
        (static_cast<std::uint64_t>(mix32(static_cast<std::uint32_t>(options.seed))) << 32) ^
        mix32(static_cast<std::uint32_t>(options.seed >> 32) ^ 0x5bd1e995u);

    tbb::enumerable_thread_specific<std::unique_ptr<RenderContext>> contexts(
        [&] { return makeContext(options.maxDepth, options.sampler, options.causticLimit); });
    const std::size_t pixels = static_cast<std::size_t>(options.width) * options.height;
    Accumulation acc(pixels);
    const bool filtering = !uniform && options.filterNoise;
    std::unique_ptr<IndirectFilterBuffers> filter;
    if (filtering)
        filter = std::make_unique<IndirectFilterBuffers>(options.width, options.height);
    Progress progress(options.progress, 1.0);
    const int threads =
        options.threads > 0 ? options.threads : tbb::this_task_arena::max_concurrency();
    tbb::task_arena arena(threads);

    // One pass over the image: `count(i)` more samples for pixel i, continuing its sequence.
    const auto pass = [&](const std::vector<std::uint32_t>& more, std::string note) {
        double planned = 0.0;
        for (const std::uint32_t n : more)
            planned += n;
        progress.restart(std::max(1.0, planned), std::move(note));
        arena.execute([&] {
            tbb::parallel_for(
                tbb::blocked_range<int>(0, tiles, 1), [&](const tbb::blocked_range<int>& range) {
                    RenderContext& context = *contexts.local();
                    for (int tile = range.begin(); tile != range.end(); ++tile) {
                        const int x0 = (tile % tilesX) * kTileSize;
                        const int y0 = (tile / tilesX) * kTileSize;
                        double done = 0.0;
                        for (int y = y0; y < std::min(y0 + kTileSize, options.height); ++y) {
                            for (int x = x0; x < std::min(x0 + kTileSize, options.width); ++x) {
                                const std::size_t i =
                                    static_cast<std::size_t>(y) * options.width + x;
                                const std::uint32_t first = acc.taken[i];
                                const std::uint32_t end = first + more[i];
                                if (end == first)
                                    continue;
                                context.beginPixel(seed, i);
                                for (std::uint32_t s = first; s < end; ++s) {
                                    context.beginSample(s);
                                    float jx = 0.5f;
                                    float jy = 0.5f;
                                    if (!uniform) {
                                        float j[2];
                                        context.random2(j);
                                        jx = j[0];
                                        jy = j[1];
                                    } else if (s > 0) {
                                        // The uniform sampler's first sample looks through the
                                        // pixel centre, the rest jitter.
                                        jx = context.random1();
                                        jy = context.random1();
                                    }
                                    const float sx =
                                        (2.0f * (static_cast<float>(x) + jx) / options.width -
                                         1.0f) *
                                        halfHeight * widthOverHeight;
                                    const float sy = (1.0f - 2.0f * (static_cast<float>(y) + jy) /
                                                                 options.height) *
                                                     halfHeight;
                                    const Vec3f dir = normalize(forward + sx * right + sy * up);
                                    FirstHit first;
                                    const Vec3f c = context.cameraRay(
                                        camera.position, dir, filtering ? &first : nullptr);
                                    // Deliberate: a sample that came back infinite or NaN (a shader
                                    // dividing by zero at a grazing hit) counts as black rather
                                    // than poisoning the pixel. The uniform sampler keeps one sum,
                                    // as it always did.
                                    if (finite(c)) {
                                        ((s & 1u) == 0 || uniform ? acc.even[i] : acc.odd[i]) += c;
                                        if (filtering)
                                            filter->add(i, s, first);
                                    }
                                }
                                acc.taken[i] = end;
                                done += more[i];
                            }
                        }
                        progress.tick(done);
                    }
                });
        });
    };

    int rounds = 0;
    const bool target = !uniform && (options.seconds > 0.0 || options.errorTarget > 0.0);
    const bool adaptive = !uniform && options.adaptive && options.spp >= 4;
    if (target) {
        // Rounds of spp samples per pixel, the first even, the rest where the noise is, while
        // the targets are not met and the next round fits the time.
        pass(std::vector<std::uint32_t>(pixels, static_cast<std::uint32_t>(options.spp)),
             "round 1");
        ++rounds;
        double lastRound = elapsed();
        for (;;) {
            const double error = estimatedRelativeError(acc);
            if (options.errorTarget > 0.0 && error <= options.errorTarget)
                break;
            if (options.seconds > 0.0 && elapsed() + lastRound > options.seconds)
                break;
            if (rounds >= 4096)
                break;
            const double roundStart = elapsed();
            char note[96];
            std::snprintf(note, sizeof note, "round %d, error %.4f%s", rounds + 1, error,
                          options.errorTarget > 0.0 ? " (target)" : "");
            pass(allocate(acc, options.width, options.height,
                          static_cast<double>(options.spp) * static_cast<double>(pixels),
                          seed + static_cast<std::uint64_t>(rounds)),
                 note);
            ++rounds;
            lastRound = elapsed() - roundStart;
        }
    } else if (adaptive) {
        // Half the samples evenly, then the other half where the first half left noise.
        const auto half = static_cast<std::uint32_t>(options.spp / 2);
        pass(std::vector<std::uint32_t>(pixels, half), "");
        pass(allocate(acc, options.width, options.height,
                      static_cast<double>(options.spp - static_cast<int>(half)) *
                          static_cast<double>(pixels),
                      seed),
             "");
        rounds = 2;
    } else {
        pass(std::vector<std::uint32_t>(pixels, static_cast<std::uint32_t>(options.spp)), "");
        rounds = 1;
    }
    progress.finish();

    std::vector<Vec3f> correction;
    if (filtering) {
        arena.execute([&] { correction = filter->correction(acc.taken); });
    }
    vkimage::Image image(options.width, options.height);
    for (std::size_t i = 0; i < pixels; ++i) {
        const Vec3f m = filtering ? acc.mean(i) + correction[i] : acc.mean(i);
        image.pixels[i] = {m.x, m.y, m.z, 1.0f};
    }
    if (stats != nullptr) {
        *stats = RenderStats{};
        for (const auto& context : contexts) {
            stats->rays += context->rays;
            stats->shadingCalls += context->shadingCalls;
        }
        for (const std::uint32_t n : acc.taken)
            stats->samples += n;
        stats->rounds = rounds;
        stats->estimatedError = estimatedRelativeError(acc);
        stats->seconds = elapsed();
    }
    return image;
}

// --- The shading context ----------------------------------------------------------------------

RenderContext::RenderContext(const Renderer& renderer, int maxDepth, Sampler sampler,
                             float causticLimit)
    : renderer_(renderer),
      scene_(renderer.scene()),
      maxDepth_(maxDepth),
      sampler_(sampler),
      causticLimit_(sampler == Sampler::LowDiscrepancy && causticLimit > 0.0f ? causticLimit
                                                                              : 0.0f),
      sequence_(sampler == Sampler::Uniform ? SampleSequence::Kind::Uniform
                                            : SampleSequence::Kind::Sobol),
      up_(normalize(scene_.up)) {
    // Every list the shading path may need is made here, never while shading.
    const std::size_t depths = static_cast<std::size_t>(maxDepth) + 2;
    std::size_t most = 0;
    for (const Light& light : scene_.lights) {
        most += light.shape == LightShape::Dome && sampler == Sampler::LowDiscrepancy
                    ? kDomeSamplesFirstHit
                    : 1;
    }
    samples_.resize(depths);
    hostSamples_.resize(depths);
    for (std::size_t d = 0; d < depths; ++d) {
        samples_[d].resize(most);
        hostSamples_[d].resize(most);
    }
    normals_.assign(depths, Vec3f{0.0f, 0.0f, 0.0f});
}

Vec3f RenderContext::cameraRay(Vec3f origin, Vec3f dir, FirstHit* first) {
    depth_ = 0;
    pathWeight_ = 1.0f;
    if (first != nullptr)
        *first = FirstHit{};
    firstHit_ = first;
    const Vec3f c = trace(origin, dir, 0);
    firstHit_ = nullptr;
    return c;
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
            // Host scenery reads neither uv nor tangent; they cost two arc functions.
            if (shader == nullptr)
                break;
            uv = {std::atan2(n.y, n.x) / (2.0f * kPi) + 0.5f,
                  std::acos(fmaxExact(-1.0f, fminExact(1.0f, n.z))) / kPi};
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
            if (shader == nullptr)
                break;
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
    return environment(origin, dir, depth);
}

Vec3f RenderContext::environment(Vec3f origin, Vec3f dir, int depth) {
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
    // The light samples asked for at this depth lean towards the side the ray came from.
    normals_[static_cast<std::size_t>(depth)] =
        dot(dir, state.geoNormal) < 0.0f ? state.normal : -state.normal;
    Vec3f color;
    if (material.shader == nullptr) {
        if (depth == 0 && firstHit_ != nullptr) {
            firstHit_->scenery = true;
            firstHit_->object = hit.object;
            firstHit_->distance = hit.t;
        }
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
// surfaces in. With the low-discrepancy sampler the bounce also meets the area lights and the
// dome, and each light's two estimates are weighted by the power heuristic.
Vec3f RenderContext::shadeScenery(const Material& material, const vyr::ShadingState& state,
                                  int depth) {
    const Vec3f n = dot(state.rayDir, state.geoNormal) < 0.0f ? state.normal : -state.normal;
    const bool mis = sampler_ == Sampler::LowDiscrepancy;
    const bool canBounce = depth + 1 < maxDepth_;
    Vec3f irradiance{0.0f, 0.0f, 0.0f};
    // The noisy kinds of light, apart, for the first hit's filter: all but point lights and
    // ambient lights. `irradiance` keeps its own sum, so the image is the same with or without.
    Vec3f noisy{0.0f, 0.0f, 0.0f};
    Vec3f heldBack{0.0f, 0.0f, 0.0f};  // what the caustic limit took from the first hit's bounce
    for (const vyr::LightSample* s = mis ? sampleLights(state.position, n)
                                         : lightSamples(&state.position);
         s != nullptr; s = s->next) {
        const float c = dot(n, s->direction);
        if (c > 0.0f) {
            float weight = 1.0f;
            const float pdf = mis ? hostSample(s).pdf : 0.0f;
            if (mis && canBounce) {
                weight = pdf > 0.0f ? powerHeuristic(pdf, c / kPi) : 1.0f;
            }
            const Vec3f e = (weight * s->factor * c / kPi) * s->color;
            irradiance += e;
            if (pdf > 0.0f)
                noisy += e;
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
    const DirectionTable* table = mis && canBounce ? renderer_.environmentTable() : nullptr;
    if (table != nullptr) {
        // The environment sampled by its own radiance where nothing is in the way; where
        // something is, the bounce alone brings what it sees.
        float u[2];
        random2(u);
        const Vec3f dir = table->sample(u[0], u[1]);
        const float c = dot(n, dir);
        const float pdf = table->pdf(dir);
        if (c > 0.0f && pdf > 0.0f) {
            ++rays;
            const float eps = epsilonAt(state.position);
            if (!renderer_.occluded(state.position, dir, eps,
                                    std::numeric_limits<float>::infinity())) {
                const float weight = powerHeuristic(pdf, c / kPi);
                const Vec3f e =
                    (weight * c / (kPi * pdf)) * environment(state.position, dir, depth + 1);
                irradiance += e;
                noisy += e;
            }
        }
    }
    if (canBounce) {
        float u[2];
        random2(u);
        Vec3f dir;
        if (mis) {
            dir = cosineAround(n, u[0], u[1]);
        } else {
            const float r = std::sqrt(u[0]);
            const float phi = 2.0f * kPi * u[1];
            Vec3f t, b;
            orthonormalBasis(n, t, b);
            dir = normalize(r * std::cos(phi) * t + r * std::sin(phi) * b +
                            std::sqrt(fmaxExact(0.0f, 1.0f - u[0])) * n);
        }
        const float importance = maxComponent(material.albedo);
        if (mis) {
            const float pdf = dot(n, dir) / kPi;
            const Vec3f along = lightsAlongBounce(state.position, n, dir, pdf);
            irradiance += along;
            const float environmentWeight =
                table != nullptr ? powerHeuristic(pdf, table->pdf(dir)) : 1.0f;
            const Vec3f bounced = bounce(state.position, dir, importance, environmentWeight,
                                         depth == 0 && firstHit_ != nullptr ? &heldBack : nullptr);
            irradiance += bounced;
            noisy += along;
            noisy += bounced;
        } else {
            irradiance += secondary(state.position, dir, importance);
        }
    }
    if (depth == 0 && firstHit_ != nullptr) {
        firstHit_->normal = n;
        firstHit_->albedo = material.albedo;
        firstHit_->noisy = material.albedo * noisy;
        firstHit_->heldBack = material.albedo * heldBack;
    }
    return material.albedo * irradiance;
}

Vec3f RenderContext::lightsAlongBounce(Vec3f p, Vec3f n, Vec3f dir, float bouncePdf) {
    Vec3f sum{0.0f, 0.0f, 0.0f};
    if (!(bouncePdf > 0.0f)) {
        return sum;
    }
    for (const Light& light : scene_.lights) {
        vyr::ShadingState ls{};
        float jacobian = 1.0f;  // the light's measure per unit solid angle at the point met
        float lightPdf = 0.0f;
        switch (light.shape) {
            case LightShape::Point:
            case LightShape::Ambient:
                continue;
            case LightShape::Sphere: {
                const float t = intersectSphere(p, dir, light.position, light.radius);
                if (!(t > 0.0f))
                    continue;
                ls.lightPosition = p + t * dir;
                ls.lightAxis = normalize(ls.lightPosition - light.position);
                jacobian = t * t;
                lightPdf = 1.0f / sphereSolidAngle(p, light.position, light.radius);
                break;
            }
            case LightShape::Rectangle: {
                const float t =
                    intersectRectangle(p, dir, light.position, light.edgeU, light.edgeV);
                if (!(t > 0.0f))
                    continue;
                ls.lightPosition = p + t * dir;
                const float cosLight = std::fabs(dot(light.axis, dir));
                jacobian = t * t / cosLight;
                const SphericalRectangle rect(
                    p, light.position - 0.5f * light.edgeU - 0.5f * light.edgeV, light.edgeU,
                    light.edgeV);
                lightPdf = rect.valid ? 1.0f / rect.solidAngle
                                      : jacobian / length(cross(light.edgeU, light.edgeV));
                break;
            }
            case LightShape::Dome: {
                if (!(dot(dir, up_) > 0.0f))
                    continue;
                ls.lightPosition = p + light.domeRadius * dir;
                ls.lightAxis = -dir;
                lightPdf = domePdf(dir, up_, n, kDomeNormalWeight);
                break;
            }
        }
        lightPdf *= static_cast<float>(sampleCount(light));
        const Vec3f toPoint = p - ls.lightPosition;
        ls.position = p;
        ls.traceDepth = depth_;
        ls.traceDepthLimit = maxDepth_;
        ls.lightDistance = length(toPoint);
        ls.lightToPoint = normalize(toPoint);
        ls.lightShadow = {1.0f, 1.0f, 1.0f};
        ++shadingCalls;
        light.shader->light()->shade(this, &ls);
        const float weight = powerHeuristic(bouncePdf, lightPdf);
        sum += (weight * jacobian) * (ls.lightColor * ls.lightShadow);
    }
    return sum;
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

Vec3f RenderContext::bounce(Vec3f origin, Vec3f dir, float importance, float environmentWeight,
                            Vec3f* heldBack) {
    const float weight = pathWeight_ * importance;
    const int depth = depth_ + 1;
    if (!(weight >= kMinPathWeight) || depth >= maxDepth_) {
        return {0.0f, 0.0f, 0.0f};
    }
    const float savedWeight = pathWeight_;
    pathWeight_ = weight;
    ++rays;
    const Hit hit =
        renderer_.intersect(origin, dir, epsilonAt(origin), std::numeric_limits<float>::infinity());
    Vec3f c;
    if (!hit.found) {
        c = environmentWeight * environment(origin, dir, depth);
    } else {
        c = shadeHit(hit, origin, dir, depth);
        const bool library =
            scene_.materials[scene_.objects[hit.object].material].shader != nullptr;
        const float largest = maxComponent(c);
        if (library && causticLimit_ > 0.0f && largest > causticLimit_) {
            const Vec3f limited = (causticLimit_ / largest) * c;
            if (heldBack != nullptr)
                *heldBack = c - limited;
            c = limited;
        }
    }
    pathWeight_ = savedWeight;
    return c;
}

int RenderContext::sampleCount(const Light& light) const {
    if (sampler_ == Sampler::LowDiscrepancy && light.shape == LightShape::Dome && depth_ == 0) {
        return static_cast<int>(kDomeSamplesFirstHit);
    }
    return 1;
}

const vyr::LightSample* RenderContext::lightSamples(const vyr::Vec3f* position) {
    const std::size_t d = static_cast<std::size_t>(std::clamp(depth_, 0, maxDepth_ + 1));
    return sampleLights(*position, normals_[d]);
}

const RenderContext::HostLightSample& RenderContext::hostSample(
    const vyr::LightSample* sample) const {
    const std::size_t d = static_cast<std::size_t>(std::clamp(depth_, 0, maxDepth_ + 1));
    return hostSamples_[d][static_cast<std::size_t>(sample - samples_[d].data())];
}

const vyr::LightSample* RenderContext::sampleLights(Vec3f p, Vec3f normal) {
    const std::size_t d = static_cast<std::size_t>(std::clamp(depth_, 0, maxDepth_ + 1));
    auto& list = samples_[d];
    auto& hostList = hostSamples_[d];
    const bool uniform = sampler_ == Sampler::Uniform;
    const float normalWeight = dot(normal, normal) > 0.0f ? kDomeNormalWeight : 0.0f;
    std::size_t used = 0;
    for (std::size_t i = 0; i < scene_.lights.size(); ++i) {
        const Light& light = scene_.lights[i];
        if (light.shape == LightShape::Ambient)
            continue;
        const int count = sampleCount(light);
        for (int k = 0; k < count; ++k) {
            vyr::ShadingState ls{};
            ls.position = p;
            ls.traceDepth = depth_;
            ls.traceDepthLimit = maxDepth_;
            ls.lightAxis = light.axis;
            // The measure the sample stands for (one over the density of the point chosen, in
            // the measure the light's colour is given per), and its solid-angle density.
            float factor = 1.0f;
            float pdf = 0.0f;
            switch (light.shape) {
                case LightShape::Point:
                case LightShape::Ambient:
                    ls.lightPosition = light.position;
                    break;
                case LightShape::Sphere: {
                    float u[2];
                    random2(u);
                    if (uniform) {
                        // A point of the hemisphere facing p, uniform over its projected disk.
                        const Vec3f w = normalize(p - light.position);
                        Vec3f t, b;
                        orthonormalBasis(w, t, b);
                        const float r = std::sqrt(u[0]);
                        const float phi = 2.0f * kPi * u[1];
                        const float x = r * std::cos(phi);
                        const float y = r * std::sin(phi);
                        const Vec3f onUnit =
                            x * t + y * b + std::sqrt(fmaxExact(0.0f, 1.0f - x * x - y * y)) * w;
                        ls.lightPosition = light.position + light.radius * onUnit;
                        ls.lightAxis = onUnit;
                        factor = kPi * light.radius * light.radius;
                        break;
                    }
                    // Uniform over the cone the sphere fills: the measure is the area across
                    // the direction at the point's distance, solid angle times distance squared.
                    const SphereSample s =
                        sampleSphere(p, light.position, light.radius, u[0], u[1]);
                    ls.lightPosition = s.point;
                    ls.lightAxis = normalize(s.point - light.position);
                    factor = s.solidAngle * s.distance * s.distance;
                    pdf = 1.0f / s.solidAngle;
                    break;
                }
                case LightShape::Rectangle: {
                    float u[2];
                    random2(u);
                    const Vec3f corner = light.position - 0.5f * light.edgeU - 0.5f * light.edgeV;
                    const float area = length(cross(light.edgeU, light.edgeV));
                    const SphericalRectangle rect =
                        uniform ? SphericalRectangle({}, {}, {}, {})
                                : SphericalRectangle(p, corner, light.edgeU, light.edgeV);
                    if (rect.valid) {
                        // Uniform over its solid angle: the area per solid angle is
                        // distance squared over the emitter's cosine.
                        ls.lightPosition = rect.sample(u[0], u[1]);
                        const Vec3f toLight = ls.lightPosition - p;
                        const float d2 = dot(toLight, toLight);
                        const float cosLight = std::fabs(dot(light.axis, toLight)) / std::sqrt(d2);
                        factor = rect.solidAngle * d2 / cosLight;
                        pdf = 1.0f / rect.solidAngle;
                    } else {
                        ls.lightPosition = corner + u[0] * light.edgeU + u[1] * light.edgeV;
                        if (uniform) {
                            // The earlier sampler's arithmetic, kept bit for bit.
                            ls.lightPosition = light.position + (u[0] - 0.5f) * light.edgeU +
                                               (u[1] - 0.5f) * light.edgeV;
                        }
                        factor = area;
                        const Vec3f toLight = ls.lightPosition - p;
                        const float d2 = dot(toLight, toLight);
                        pdf = d2 / (area * std::fabs(dot(light.axis, toLight)) / std::sqrt(d2));
                    }
                    break;
                }
                case LightShape::Dome: {
                    float u[2];
                    random2(u);
                    Vec3f dir;
                    if (uniform) {
                        // Uniform over the upper hemisphere of the dome round p.
                        const float z = u[0];
                        const float phi = 2.0f * kPi * u[1];
                        const float r = std::sqrt(fmaxExact(0.0f, 1.0f - z * z));
                        Vec3f t, b;
                        orthonormalBasis(up_, t, b);
                        dir = r * std::cos(phi) * t + r * std::sin(phi) * b + z * up_;
                        factor = 2.0f * kPi;
                    } else {
                        dir = sampleDome(up_, normal, normalWeight, u[0], u[1]);
                        pdf = domePdf(dir, up_, normal, normalWeight);
                        factor = pdf > 0.0f ? 1.0f / pdf : 0.0f;
                    }
                    ls.lightPosition = p + light.domeRadius * dir;
                    ls.lightAxis = -dir;
                    break;
                }
            }
            factor /= static_cast<float>(count);
            vyr::LightSample& sample = list[used];
            const Vec3f toPoint = p - ls.lightPosition;
            ls.lightDistance = length(toPoint);
            ls.lightToPoint = normalize(toPoint);
            if (light.shape == LightShape::Dome && !uniform && !(dot(ls.lightAxis, up_) < 0.0f)) {
                // Below the horizon: not the dome, no light and no call.
                sample.color = {0.0f, 0.0f, 0.0f};
            } else {
                ls.lightShadow = {1.0f, 1.0f, 1.0f};
                ++shadingCalls;
                light.shader->light()->shade(this, &ls);
                // The host applies the shadow factor the light hands back.
                sample.color = ls.lightColor * ls.lightShadow;
            }
            sample.direction = -ls.lightToPoint;
            sample.factor = factor;
            sample.next = nullptr;
            hostList[used] = {static_cast<int>(i), pdf * static_cast<float>(count)};
            if (used > 0) {
                list[used - 1].next = &sample;
            }
            ++used;
        }
    }
    return used > 0 ? list.data() : nullptr;
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
    const float exponent = fmaxExact(0.0f, 2.0f / (glossiness * glossiness) - 2.0f);
    float u[2];
    random2(u);
    const float cosTheta = std::pow(u[0], 1.0f / (exponent + 1.0f));
    const float sinTheta = std::sqrt(fmaxExact(0.0f, 1.0f - cosTheta * cosTheta));
    const float phi = 2.0f * kPi * u[1];
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
    return sequence_.next1();
}

const float* RenderContext::random2(float* out) {
    sequence_.next2(out);
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
