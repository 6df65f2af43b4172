// The renderer's ShadingContext, one operation at a time, on small hand-built scenes: shadow
// transmittance through surfaces, the depth limit, the light sample list, random numbers, noise
// and glossy lobes. Test shaders defined here stand in for library shaders the branch lacks
// (a pane whose shadow is a colour, a light that reports the geometry the host gave it).
#include <gtest/gtest.h>

#include <cmath>

#include "render/renderer.h"
#include "render/scene.h"
#include "shader_library.h"
#include "support/allocation_counter.h"

namespace {

using vkrender::Vec3f;
using vkrender::operator-;

// Test shaders are built to the binary contract itself, slot by slot, rather than derived from
// the library's classes (whose type information the library keeps to itself): the renderer
// reaches them only through the slot numbers, as it reaches the library's shaders.

// A material that shades one fixed colour (as an emitter would) and whose shadow passes another.
// Slots 0-9.
class FixedMaterial final {
public:
    FixedMaterial(vyr::Vec3f shade, vyr::Vec3f transmit) : shade_(shade), transmit_(transmit) {}
    virtual void* destroy(unsigned) {
        delete this;
        return nullptr;
    }
    virtual void declareParameters(vyr::ParameterRegistry* registry) {
        registry->beginParameters(reinterpret_cast<vyr::IShaderBase*>(this), 0x0F);
    }
    virtual void setParameters(const void*) {}
    virtual int getShaderVersion() { return 1; }
    virtual int getShaderKind() { return vyr::kMaterialKind; }
    virtual void shade(vyr::ShadingContext*, vyr::ShadingState* s) const {
        s->outColor = {shade_.x, shade_.y, shade_.z, 1.0f};
    }
    virtual void shadow(vyr::ShadingContext*, vyr::ShadingState* s) const {
        s->shadowTransmit = transmit_;
    }
    virtual void evaluateBsdf(vyr::ShadingContext*, vyr::ShadingState*) const {}
    virtual void sampleBsdf(vyr::ShadingContext*, vyr::ShadingState*) const {}
    virtual void finishShading() {}

private:
    vyr::Vec3f shade_;
    vyr::Vec3f transmit_;
};

// A light that hands back, as its colour, the point the host chose on it. Slots 0-5.
class PositionLight final {
public:
    virtual void* destroy(unsigned) {
        delete this;
        return nullptr;
    }
    virtual void declareParameters(vyr::ParameterRegistry* registry) {
        registry->beginParameters(reinterpret_cast<vyr::IShaderBase*>(this), 0x20);
    }
    virtual void setParameters(const void*) {}
    virtual int getShaderVersion() { return 1; }
    virtual int getShaderKind() { return vyr::kLightKind; }
    virtual void shade(vyr::ShadingContext*, vyr::ShadingState* s) const {
        s->lightColor = s->lightPosition;
    }
};

template <class Shader>
std::shared_ptr<vkrender::ShaderInstance> instance(const char* name, Shader* shader) {
    return std::make_shared<vkrender::ShaderInstance>(
        name, vkhost::ShaderPtr(reinterpret_cast<vyr::IShaderBase*>(shader)));
}

vkrender::Object pane(float z, int material) {
    vkrender::Object o;
    o.kind = vkrender::ShapeKind::Quad;
    o.center = {0.0f, 0.0f, z};
    o.edgeU = {4.0f, 0.0f, 0.0f};
    o.edgeV = {0.0f, 4.0f, 0.0f};
    o.normal = {0.0f, 0.0f, 1.0f};
    o.material = material;
    return o;
}

class ContextTest : public ::testing::Test {
protected:
    vkhost::ShaderLibrary library;
    vkrender::Scene scene;

    void SetUp() override {
        scene.path = "context test";
        // 0: a pane passing (0.5, 0.25, 1); 1: host scenery (opaque).
        scene.materials.push_back(
            {instance("TintedPane", new FixedMaterial({0.0f, 0.0f, 0.0f}, {0.5f, 0.25f, 1.0f})), {}});
        scene.materials.push_back({nullptr, {0.5f, 0.5f, 0.5f}});
    }

    vkrender::Light light(const char* shader, const char* params, vkrender::LightShape shape,
                          Vec3f position) {
        vkrender::Light l;
        l.shader = vkrender::makeShader(library, shader, params, "test light", scene);
        l.shape = shape;
        l.position = position;
        return l;
    }
};

TEST_F(ContextTest, ShadowTransmittanceMultipliesThroughEverySurfaceOnTheSegment) {
    struct Row {
        std::vector<std::pair<float, int>> panes;  // height, material
        Vec3f expected;
    };
    // The segment runs from z = 0 to z = 10. One pane gives its colour; two give its square
    // (0.5^2, 0.25^2, 1^2); an opaque scenery surface anywhere gives black; surfaces beyond
    // the segment's end do not count.
    const Row rows[] = {
        {{}, {1.0f, 1.0f, 1.0f}},
        {{{5.0f, 0}}, {0.5f, 0.25f, 1.0f}},
        {{{3.0f, 0}, {6.0f, 0}}, {0.25f, 0.0625f, 1.0f}},
        {{{3.0f, 0}, {6.0f, 1}}, {0.0f, 0.0f, 0.0f}},
        {{{12.0f, 1}}, {1.0f, 1.0f, 1.0f}},
    };
    for (const Row& row : rows) {
        scene.objects.clear();
        for (const auto& [z, material] : row.panes) {
            scene.objects.push_back(pane(z, material));
        }
        const vkrender::Renderer renderer(scene);
        auto context = renderer.makeContext(4);
        const vyr::Vec3f from{0.1f, 0.2f, 0.0f};
        const vyr::Vec3f to{0.1f, 0.2f, 10.0f};
        vyr::Vec3f scratch{};
        const vyr::Vec3f* t = context->traceShadow(&scratch, &from, &to);
        EXPECT_FLOAT_EQ(t->x, row.expected.x) << row.panes.size() << " surfaces";
        EXPECT_FLOAT_EQ(t->y, row.expected.y) << row.panes.size() << " surfaces";
        EXPECT_FLOAT_EQ(t->z, row.expected.z) << row.panes.size() << " surfaces";
    }
}

TEST_F(ContextTest, ShadowThroughTheLibraryGlazingPane) {
    if (!library.hasShader("vexa_kelo_Mtl_Glazing")) {
        GTEST_SKIP() << "the library does not export vexa_kelo_Mtl_Glazing yet";
    }
    // Glazing passes (1 - reflectance^2 / level) * refractColor whatever the angle:
    // (1 - 0.2^2 / 1) * (0.5, 1, 0.25) = 0.96 * ... = (0.48, 0.96, 0.24); two panes square it.
    vkrender::Material glass;
    glass.shader = vkrender::makeShader(
        library, "vexa_kelo_Mtl_Glazing",
        R"({"u_reflectance": 0.2, "u_refractColor": [0.5, 1, 0.25]})", "glazing", scene);
    scene.materials.push_back(glass);
    const int material = static_cast<int>(scene.materials.size()) - 1;
    scene.objects.push_back(pane(2.0f, material));
    scene.objects.push_back(pane(4.0f, material));
    const vkrender::Renderer renderer(scene);
    auto context = renderer.makeContext(4);
    const vyr::Vec3f from{0.0f, 0.0f, 0.0f};
    const vyr::Vec3f to{0.3f, 0.0f, 3.0f};  // through the lower pane only, at a slant
    const vyr::Vec3f beyond{0.0f, 0.0f, 6.0f};
    vyr::Vec3f scratch{};
    const vyr::Vec3f one = *context->traceShadow(&scratch, &from, &to);
    EXPECT_NEAR(one.x, 0.48f, 1e-6f);
    EXPECT_NEAR(one.y, 0.96f, 1e-6f);
    EXPECT_NEAR(one.z, 0.24f, 1e-6f);
    const vyr::Vec3f two = *context->traceShadow(&scratch, &from, &beyond);
    EXPECT_NEAR(two.x, 0.48f * 0.48f, 1e-6f);
    EXPECT_NEAR(two.y, 0.96f * 0.96f, 1e-6f);
}

TEST_F(ContextTest, TraceRayStopsAtTheDepthLimitAndBelowTheImportanceCutOff) {
    scene.environment = vkrender::makeShader(library, "Background",
                                             R"({"color": [0.25, 0.5, 0.75]})", "env", scene);
    const vkrender::Renderer renderer(scene);
    auto context = renderer.makeContext(3);
    const vyr::Vec3f origin{0.0f, 0.0f, 0.0f};
    const vyr::Vec3f up{0.0f, 0.0f, 1.0f};
    struct Row {
        int depth;
        float importance;
        float expectedRed;
    };
    // A ray traced from depth d has depth d + 1; with the limit 3, depth 3 brings back black.
    // The importance multiplies into the path weight, which must reach 1/1000.
    const Row rows[] = {{0, 1.0f, 0.25f},   {1, 1.0f, 0.25f},   {2, 1.0f, 0.0f},
                        {0, 0.001f, 0.25f}, {0, 0.0009f, 0.0f}, {0, 0.0f, 0.0f}};
    for (const Row& row : rows) {
        context->setDepth(row.depth);
        vyr::Vec3f scratch{};
        const vyr::Vec3f* c = context->traceRay(&scratch, &origin, &up, row.importance);
        EXPECT_FLOAT_EQ(c->x, row.expectedRed)
            << "depth " << row.depth << " importance " << row.importance;
        const vyr::Vec3f* s = context->traceStraight(&scratch, &origin, &up, row.importance);
        EXPECT_FLOAT_EQ(s->x, row.expectedRed) << "straight, depth " << row.depth;
    }
}

TEST_F(ContextTest, CausticLimitCapsWhatTheSceneryBounceBringsBackFromALibraryMaterial) {
    // A grey floor (albedo 0.5, no lights, no environment) under a ceiling so wide that every
    // bounce meets it: the floor's radiance is 0.5 times what the ceiling shades. With the limit
    // 10 a glowing (50, 20, 5) ceiling is scaled by 10/50 to (10, 4, 1); one below the limit
    // and the uniform sampler's bounce keep their value.
    struct Row {
        vyr::Vec3f glow;
        vkrender::Sampler sampler;
        float limit;
        vyr::Vec3f expected;
    };
    const Row rows[] = {
        {{50.0f, 20.0f, 5.0f}, vkrender::Sampler::LowDiscrepancy, 10.0f, {5.0f, 2.0f, 0.5f}},
        {{50.0f, 20.0f, 5.0f}, vkrender::Sampler::LowDiscrepancy, 0.0f, {25.0f, 10.0f, 2.5f}},
        {{8.0f, 4.0f, 2.0f}, vkrender::Sampler::LowDiscrepancy, 10.0f, {4.0f, 2.0f, 1.0f}},
        {{50.0f, 20.0f, 5.0f}, vkrender::Sampler::Uniform, 10.0f, {25.0f, 10.0f, 2.5f}},
    };
    for (const Row& row : rows) {
        scene.materials.resize(2);
        scene.materials.push_back({instance("Glow", new FixedMaterial(row.glow, {0.0f, 0.0f, 0.0f})), {}});
        scene.objects = {pane(0.0f, 1), pane(1.0f, 2)};
        scene.objects[1].edgeU = {1e4f, 0.0f, 0.0f};
        scene.objects[1].edgeV = {0.0f, 1e4f, 0.0f};
        const vkrender::Renderer renderer(scene);
        auto context = renderer.makeContext(4, row.sampler, row.limit);
        context->beginPixel(7, 3);
        const Vec3f c = context->trace({0.0f, 0.0f, 0.5f}, {0.0f, 0.0f, -1.0f}, 0);
        EXPECT_FLOAT_EQ(c.x, row.expected.x) << "limit " << row.limit;
        EXPECT_FLOAT_EQ(c.y, row.expected.y) << "limit " << row.limit;
        EXPECT_FLOAT_EQ(c.z, row.expected.z) << "limit " << row.limit;
    }
}

TEST_F(ContextTest, LightSamplesHoldEveryDirectionalLightInOrderWithTheShadowApplied) {
    // A scenery pane at z = 5 over x > 0 only blocks the second point light.
    vkrender::Object blocker = pane(5.0f, 1);
    blocker.center = {3.0f, 0.0f, 5.0f};
    blocker.edgeU = {2.0f, 0.0f, 0.0f};
    scene.objects.push_back(blocker);
    scene.lights.push_back(light("SimplePointLight", R"({"color": [1, 2, 3]})",
                                 vkrender::LightShape::Point, {0.0f, 0.0f, 10.0f}));
    scene.lights.push_back(light("SimpleAmbientLight", R"({"color": [9, 9, 9]})",
                                 vkrender::LightShape::Ambient, {0.0f, 0.0f, 0.0f}));
    scene.lights.push_back(light("SimplePointLight", R"({"color": [4, 5, 6]})",
                                 vkrender::LightShape::Point, {6.0f, 0.0f, 8.0f}));
    const vkrender::Renderer renderer(scene);
    auto context = renderer.makeContext(4);
    const vyr::Vec3f p{0.0f, 0.0f, 0.0f};
    const vyr::LightSample* first = context->lightSamples(&p);
    ASSERT_NE(first, nullptr);
    // First: straight up, clear, colour as given, factor 1 (a point).
    EXPECT_FLOAT_EQ(first->direction.z, 1.0f);
    EXPECT_FLOAT_EQ(first->factor, 1.0f);
    EXPECT_FLOAT_EQ(first->color.y, 2.0f);
    // The ambient light has no direction and is not in the list; next is the blocked light,
    // direction (6, 0, 8) / 10, colour times the shadow factor 0.
    const vyr::LightSample* second = first->next;
    ASSERT_NE(second, nullptr);
    EXPECT_FLOAT_EQ(second->direction.x, 0.6f);
    EXPECT_FLOAT_EQ(second->direction.z, 0.8f);
    EXPECT_FLOAT_EQ(second->color.x, 0.0f);
    EXPECT_EQ(second->next, nullptr);
}

TEST_F(ContextTest, AreaLightSamplesLieOnTheEmitterAndCarryItsMeasure) {
    // Each sample's factor is one over the density of its point in the measure the light's
    // colour is given per, so that factor x (1 / d^2, times the emitter's cosine for a
    // rectangle) is the solid angle a sample stands for: the whole solid angle of the light when
    // it is sampled uniformly by solid angle. The uniform sampler keeps the earlier measures.
    const float pi = 3.14159265f;
    const vyr::Vec3f p{0.5f, -0.5f, 0.0f};
    // Sphere of radius 0.5 round (0, 0, 4): sin^2 of the cone's half angle is 0.25 / 16.5.
    const float sphereSolidAngle = 2.0f * pi * (1.0f - std::sqrt(1.0f - 0.25f / 16.5f));
    // The 2 x 3 rectangle at height 4 seen from p, as four rectangles with a corner above p's
    // foot, each arcsin(a b / sqrt((a^2 + h^2) (b^2 + h^2))).
    float rectangleSolidAngle = 0.0f;
    for (const float a : {1.5f, 0.5f}) {
        for (const float b : {1.0f, 2.0f}) {
            rectangleSolidAngle += std::asin(a * b / std::sqrt((a * a + 16.0f) * (b * b + 16.0f)));
        }
    }
    struct Row {
        vkrender::LightShape shape;
        vkrender::Sampler sampler;
        float measure;  // what factor (times the cosine over d^2 where it applies) must be
    };
    const Row rows[] = {
        {vkrender::LightShape::Sphere, vkrender::Sampler::LowDiscrepancy, sphereSolidAngle},
        {vkrender::LightShape::Rectangle, vkrender::Sampler::LowDiscrepancy, rectangleSolidAngle},
        // No surface normal known here: the dome is sampled by the cosine round the zenith, so
        // factor x cos(zenith) = pi.
        {vkrender::LightShape::Dome, vkrender::Sampler::LowDiscrepancy, pi},
        // Uniform: projected disk pi r^2, the area 6, the hemisphere 2 pi.
        {vkrender::LightShape::Sphere, vkrender::Sampler::Uniform, pi * 0.25f},
        {vkrender::LightShape::Rectangle, vkrender::Sampler::Uniform, 6.0f},
        {vkrender::LightShape::Dome, vkrender::Sampler::Uniform, 2.0f * pi}};
    for (const Row& row : rows) {
        SCOPED_TRACE(static_cast<int>(row.shape) * 10 + static_cast<int>(row.sampler));
        scene.lights.clear();
        vkrender::Light l;
        l.shader = instance("PositionLight", new PositionLight);
        l.shape = row.shape;
        l.position = {0.0f, 0.0f, 4.0f};
        l.axis = {0.0f, 0.0f, -1.0f};
        l.radius = 0.5f;
        l.edgeU = {2.0f, 0.0f, 0.0f};
        l.edgeV = {0.0f, 3.0f, 0.0f};
        l.domeRadius = 100.0f;
        scene.lights.push_back(l);
        const vkrender::Renderer renderer(scene);
        auto context = renderer.makeContext(4, row.sampler);
        context->beginPixel(11, 0);
        const bool uniform = row.sampler == vkrender::Sampler::Uniform;
        for (std::uint32_t i = 0; i < 64; ++i) {
            context->beginSample(i);
            const vyr::LightSample* first = context->lightSamples(&p);
            ASSERT_NE(first, nullptr);
            ASSERT_EQ(first->next, nullptr);
            for (const vyr::LightSample* s = first; s != nullptr; s = s->next) {
                const Vec3f q = s->color;  // the point on the emitter
                const Vec3f toLight = q - p;
                const float d2 = vkrender::dot(toLight, toLight);
                EXPECT_NEAR(vkrender::dot(vkrender::normalize(toLight), s->direction), 1.0f, 1e-5f);
                switch (row.shape) {
                    case vkrender::LightShape::Sphere:
                        EXPECT_NEAR(vkrender::length(q - l.position), 0.5f, 1e-4f);
                        // On the half facing the point.
                        EXPECT_GE(vkrender::dot(q - l.position, p - l.position), 0.0f);
                        EXPECT_NEAR(uniform ? s->factor : s->factor / d2, row.measure,
                                    2e-4f * row.measure);
                        break;
                    case vkrender::LightShape::Rectangle:
                        EXPECT_NEAR(q.z, 4.0f, 1e-5f);
                        EXPECT_LE(std::fabs(q.x), 1.0f + 1e-5f);
                        EXPECT_LE(std::fabs(q.y), 1.5f + 1e-5f);
                        EXPECT_NEAR(uniform ? s->factor : s->factor * (4.0f / std::sqrt(d2)) / d2,
                                    row.measure, 2e-4f * row.measure);
                        break;
                    default:
                        EXPECT_NEAR(std::sqrt(d2), 100.0f, 1e-3f);
                        EXPECT_GE(s->direction.z, 0.0f);
                        EXPECT_NEAR(uniform ? s->factor : s->factor * s->direction.z, row.measure,
                                    1e-4f * row.measure);
                        break;
                }
            }
        }
    }
}

TEST_F(ContextTest, RandomNumbersRepeatPerPixelAndStayInTheUnitInterval) {
    const vkrender::Renderer renderer(scene);
    auto a = renderer.makeContext(4);
    auto b = renderer.makeContext(4);
    a->beginPixel(5, 77);
    b->beginPixel(5, 77);
    for (int i = 0; i < 1000; ++i) {
        float pair[2];
        const float x = a->random1();
        EXPECT_EQ(x, b->random1());
        EXPECT_GE(x, 0.0f);
        EXPECT_LT(x, 1.0f);
        EXPECT_EQ(a->random2(pair), pair);
        EXPECT_LT(pair[0], 1.0f);
        EXPECT_LT(pair[1], 1.0f);
        b->random2(pair);
    }
    b->beginPixel(5, 78);
    a->beginPixel(5, 77);
    EXPECT_NE(a->random1(), b->random1());
}

TEST_F(ContextTest, NoiseIsHalfOnTheLatticeAndStaysInTheUnitInterval) {
    const vkrender::Renderer renderer(scene);
    auto context = renderer.makeContext(4);
    // Gradient noise vanishes at lattice points, which the remap puts at 0.5.
    const vyr::Vec2f lattice2{3.0f, -7.0f};
    const vyr::Vec4f lattice4{1.0f, 2.0f, -3.0f, 4.0f};
    EXPECT_FLOAT_EQ(context->noise2(&lattice2), 0.5f);
    EXPECT_FLOAT_EQ(context->noise4(&lattice4), 0.5f);
    float low = 1.0f;
    float high = 0.0f;
    for (int i = 0; i < 2000; ++i) {
        const float t = 0.0137f * static_cast<float>(i);
        const vyr::Vec2f p2{t * 3.1f, t * 1.7f};
        const vyr::Vec4f p4{t, t * 2.3f, -t * 0.7f, t * 1.3f};
        for (const float n : {context->noise2(&p2), context->noise4(&p4)}) {
            EXPECT_GE(n, 0.0f);
            EXPECT_LE(n, 1.0f);
            low = std::fmin(low, n);
            high = std::fmax(high, n);
        }
        // Repeatable and independent of the random stream.
        EXPECT_EQ(context->randomOf(t), context->randomOf(t));
        EXPECT_GE(context->randomOf(t), 0.0f);
        EXPECT_LT(context->randomOf(t), 1.0f);
    }
    // It varies: a constant would pass the range checks.
    EXPECT_LT(low, 0.3f);
    EXPECT_GT(high, 0.7f);
    EXPECT_NE(context->randomOf(1.0f), context->randomOf(2.0f));
    EXPECT_EQ(context->randomOf(0.0f), context->randomOf(-0.0f));
}

TEST_F(ContextTest, GlossyLobeNarrowsWithGlossiness) {
    const vkrender::Renderer renderer(scene);
    auto context = renderer.makeContext(4);
    context->beginPixel(3, 3);
    const Vec3f axis = vkrender::normalize({0.3f, -0.4f, 0.8f});
    // Glossiness 0 is the exact direction.
    const Vec3f exact = context->glossyDirection(axis, 0.0f);
    EXPECT_EQ(exact.x, axis.x);
    EXPECT_EQ(exact.z, axis.z);
    // Phong exponent 2/g^2 - 2: g = 0.1 gives 198, whose mean cosine (n+1)/(n+2) is 0.995;
    // g = 1 gives a uniform hemisphere, mean cosine 1/2.
    struct Row {
        float glossiness;
        float meanCos;
    };
    for (const Row row : {Row{0.1f, 199.0f / 200.0f}, Row{1.0f, 0.5f}}) {
        double sum = 0.0;
        const int n = 4000;
        for (int i = 0; i < n; ++i) {
            const float c = vkrender::dot(context->glossyDirection(axis, row.glossiness), axis);
            EXPECT_GE(c, -1e-6f);
            sum += c;
        }
        EXPECT_NEAR(sum / n, row.meanCos, 0.02) << "glossiness " << row.glossiness;
    }
}

TEST_F(ContextTest, ShadingPathOperationsAllocateNothing) {
    scene.objects.push_back(pane(5.0f, 0));
    scene.objects.push_back(pane(-1.0f, 1));
    scene.lights.push_back(light("SimplePointLight", R"({"color": [1, 1, 1]})",
                                 vkrender::LightShape::Point, {0.0f, 0.0f, 10.0f}));
    scene.environment =
        vkrender::makeShader(library, "Background", R"({"color": [0.2, 0.2, 0.2]})", "env", scene);
    const vkrender::Renderer renderer(scene);
    auto context = renderer.makeContext(4);
    const vyr::Vec3f p{0.0f, 0.0f, 0.0f};
    const vyr::Vec3f to{0.0f, 0.0f, 10.0f};
    const vyr::Vec3f down{0.0f, 0.0f, -1.0f};
    vyr::Vec3f scratch{};
    const long allocations = vktest::allocationsDuring([&] {
        context->lightSamples(&p);
        context->traceShadow(&scratch, &p, &to);
        context->traceRay(&scratch, &p, &down, 1.0f);
        context->traceGlossyReflection(&scratch, &p, &to, 0.2f, 1.0f);
        context->cameraRay({0.0f, 0.0f, 1.0f}, {0.0f, 0.0f, -1.0f});
    });
    EXPECT_EQ(allocations, 0);
}

}  // namespace
