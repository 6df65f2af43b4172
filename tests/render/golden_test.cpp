// Golden images: small renders of fixed scenes compared with stored references, and the
// determinism of a render. The references are linear EXR files under tests/render/golden/;
// after an intended change regenerate them with
//   VEXAKELO_UPDATE_GOLDEN=1 build/dev/bin/test_render --gtest_filter='*Golden*'
// and look at the new images before committing them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>

#include "image_io.h"
#include "render/renderer.h"
#include "render/scene.h"
#include "shader_library.h"

namespace {

// Renders are compared as root-mean-square difference over the RGB channels; 0.002 is well
// below one 8-bit step and well above the rounding differences between compilers.
constexpr double kRmseBound = 0.002;
constexpr int kGoldenSize = 64;
constexpr int kGoldenSpp = 4;
constexpr std::uint64_t kGoldenSeed = 1234;

std::string sourcePath(const std::string& relative) {
    return std::string(VEXAKELO_SOURCE_DIR) + "/" + relative;
}

vkimage::Image renderScene(const std::string& path, int threads, std::uint64_t seed) {
    const vkhost::ShaderLibrary library;
    const vkrender::Scene scene = vkrender::loadScene(path, library);
    const vkrender::Renderer renderer(scene);
    vkrender::RenderOptions options;
    options.width = options.height = kGoldenSize;
    options.spp = kGoldenSpp;
    options.threads = threads;
    options.seed = seed;
    options.maxDepth = scene.settings.maxDepth;
    return renderer.render(options);
}

double rmse(const vkimage::Image& a, const vkimage::Image& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i) {
        const auto d = [&](float x, float y) { return static_cast<double>(x) - y; };
        sum += d(a.pixels[i].x, b.pixels[i].x) * d(a.pixels[i].x, b.pixels[i].x) +
               d(a.pixels[i].y, b.pixels[i].y) * d(a.pixels[i].y, b.pixels[i].y) +
               d(a.pixels[i].z, b.pixels[i].z) * d(a.pixels[i].z, b.pixels[i].z);
    }
    return std::sqrt(sum / (3.0 * static_cast<double>(a.pixels.size())));
}

struct GoldenCase {
    const char* name;   // reference image tests/render/golden/<name>.exr
    const char* scene;  // relative to the source tree
};

class Golden : public ::testing::TestWithParam<GoldenCase> {};

TEST_P(Golden, RenderMatchesTheStoredReference) {
    const GoldenCase& c = GetParam();
    const vkimage::Image image = renderScene(sourcePath(c.scene), 2, kGoldenSeed);
    const std::string reference = sourcePath(std::string("tests/render/golden/") + c.name + ".exr");
    if (std::getenv("VEXAKELO_UPDATE_GOLDEN") != nullptr) {
        vkimage::writeImage(reference, image);
        vkimage::writeImage(sourcePath(std::string("tests/render/golden/") + c.name + ".png"),
                            image, vkimage::ToneMap::Filmic);
        GTEST_SKIP() << "wrote " << reference;
    }
    const vkimage::Image expected = vkimage::readImage(reference);
    ASSERT_EQ(expected.width, kGoldenSize);
    ASSERT_EQ(expected.height, kGoldenSize);
    EXPECT_LT(rmse(image, expected), kRmseBound) << c.name;
}

INSTANTIATE_TEST_SUITE_P(
    Scenes, Golden,
    ::testing::Values(GoldenCase{"simple", "scenes/simple.json"},
                      GoldenCase{"shadows", "tests/render/scenes/shadows.json"},
                      GoldenCase{"materials", "scenes/materials.json"},
                      GoldenCase{"lights", "scenes/lights.json"},
                      GoldenCase{"sky", "scenes/sky.json"},
                      GoldenCase{"ies_web", "scenes/ies_web.json"},
                      GoldenCase{"ward", "scenes/ward.json"},
                      GoldenCase{"metals", "scenes/metals.json"},
                      GoldenCase{"paint", "scenes/paint.json"}),
    [](const ::testing::TestParamInfo<GoldenCase>& info) { return std::string(info.param.name); });

TEST(Determinism, SameSeedSameImageWhateverTheThreadCount) {
    const std::string scene = sourcePath("scenes/simple.json");
    const vkimage::Image a = renderScene(scene, 2, 99);
    const vkimage::Image b = renderScene(scene, 2, 99);
    // Each pixel's random stream depends on the seed and the pixel only, so the tile schedule
    // and the number of threads change nothing.
    const vkimage::Image c = renderScene(scene, 1, 99);
    ASSERT_EQ(a.pixels.size(), b.pixels.size());
    for (std::size_t i = 0; i < a.pixels.size(); ++i) {
        ASSERT_EQ(a.pixels[i].x, b.pixels[i].x) << "pixel " << i;
        ASSERT_EQ(a.pixels[i].y, b.pixels[i].y) << "pixel " << i;
        ASSERT_EQ(a.pixels[i].z, b.pixels[i].z) << "pixel " << i;
        ASSERT_EQ(a.pixels[i].x, c.pixels[i].x) << "pixel " << i << " with one thread";
    }
    // A different seed gives a different image (the scene is noisy at 4 samples).
    const vkimage::Image d = renderScene(scene, 2, 100);
    EXPECT_GT(rmse(a, d), 0.0);
}

}  // namespace
