// The first-hit noise filter on synthetic buffers: flat noisy lighting comes out much quieter
// with its level kept, lighting does not leak between objects nor across a step far larger than
// the noise, and the result does not depend on the number of threads.
#include <gtest/gtest.h>

#include <tbb/task_arena.h>

#include <cmath>
#include <random>

#include "render/indirect_filter.h"

namespace {

using vkrender::FirstHit;
using vkrender::IndirectFilterBuffers;
using vkrender::Vec3f;
using vkrender::operator*;
using vkrender::operator+=;

constexpr int kSize = 48;
constexpr std::uint32_t kSamples = 16;

// Fills every pixel with kSamples samples of scenery lighting `level(x, y)` times (1 + 0.5 g),
// g standard normal, albedo 0.5 and the object `object(x, y)`. Returns the per-pixel means the
// renderer's accumulation would hold for the noisy part.
template <class Level, class ObjectOf>
std::vector<Vec3f> fill(IndirectFilterBuffers& buffers, Level level, ObjectOf object,
                        unsigned seed = 1) {
    std::mt19937 random(seed);
    std::normal_distribution<float> gauss(0.0f, 1.0f);
    std::vector<Vec3f> means(kSize * kSize, Vec3f{0.0f, 0.0f, 0.0f});
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * kSize + x;
            for (std::uint32_t s = 0; s < kSamples; ++s) {
                FirstHit hit;
                hit.scenery = true;
                hit.object = object(x, y);
                hit.distance = 5.0f;
                hit.normal = {0.0f, 0.0f, 1.0f};
                hit.albedo = {0.5f, 0.5f, 0.5f};
                const float l = level(x, y) * (1.0f + 0.5f * gauss(random));
                hit.noisy = {0.5f * l, 0.5f * l, 0.5f * l};
                buffers.add(i, s, hit);
                means[i] += hit.noisy * (1.0f / kSamples);
            }
        }
    }
    return means;
}

const std::vector<std::uint32_t> kTaken(kSize* kSize, kSamples);

float filtered(const std::vector<Vec3f>& means, const std::vector<Vec3f>& correction, int x,
               int y) {
    const std::size_t i = static_cast<std::size_t>(y) * kSize + x;
    return means[i].y + correction[i].y;
}

TEST(IndirectFilter, FlatNoisyLightingComesOutQuieterAtTheSameLevel) {
    // Each sample is 0.5 * 2 * (1 + 0.5 g): the pixel mean of 16 is 1 with a standard deviation
    // of 0.5 / 4 = 0.125. Filtering over the plane must cut that several times over and keep
    // the image's mean.
    IndirectFilterBuffers buffers(kSize, kSize);
    const auto means = fill(buffers, [](int, int) { return 2.0f; }, [](int, int) { return 0; });
    const auto correction = buffers.correction(kTaken);
    double before = 0.0, after = 0.0, sum = 0.0;
    for (int y = 0; y < kSize; ++y) {
        for (int x = 0; x < kSize; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * kSize + x;
            before += (means[i].y - 1.0) * (means[i].y - 1.0);
            const double f = filtered(means, correction, x, y);
            after += (f - 1.0) * (f - 1.0);
            sum += f;
        }
    }
    const double n = kSize * kSize;
    EXPECT_NEAR(std::sqrt(before / n), 0.125, 0.01);
    EXPECT_LT(std::sqrt(after / n), 0.125 / 3.0);
    EXPECT_NEAR(sum / n, 1.0, 0.01);
}

TEST(IndirectFilter, LightingStaysOnItsObjectAndOnItsSideOfAStrongStep) {
    // Left half 4 (pixel means 2 +- 0.25), right half 0.4 (0.2 +- 0.025): as two objects, and as
    // one object whose lighting steps by far more than its noise. Two columns from the boundary
    // each side keeps its level within a few of its own standard deviations.
    for (const bool twoObjects : {true, false}) {
        IndirectFilterBuffers buffers(kSize, kSize);
        const auto means = fill(
            buffers, [](int x, int) { return x < kSize / 2 ? 4.0f : 0.4f; },
            [twoObjects](int x, int) { return twoObjects && x >= kSize / 2 ? 1 : 0; });
        const auto correction = buffers.correction(kTaken);
        double left = 0.0, right = 0.0;
        for (int y = 0; y < kSize; ++y) {
            left += filtered(means, correction, kSize / 2 - 2, y);
            right += filtered(means, correction, kSize / 2 + 1, y);
        }
        EXPECT_NEAR(left / kSize, 2.0, 0.1) << (twoObjects ? "two objects" : "one object");
        EXPECT_NEAR(right / kSize, 0.2, 0.02) << (twoObjects ? "two objects" : "one object");
    }
}

TEST(IndirectFilter, PixelsWithoutSceneryAreLeftAloneAndThreadsDoNotMatter) {
    IndirectFilterBuffers buffers(kSize, kSize);
    const auto means = fill(buffers, [](int x, int y) { return 1.0f + 0.02f * (x + y); },
                            [](int x, int) { return x / 8; });
    std::vector<std::uint32_t> taken = kTaken;
    taken[5] = 0;  // a pixel that took no sample
    std::vector<Vec3f> one, two;
    tbb::task_arena(1).execute([&] { one = buffers.correction(taken); });
    tbb::task_arena(2).execute([&] { two = buffers.correction(taken); });
    for (std::size_t i = 0; i < one.size(); ++i) {
        ASSERT_EQ(one[i].x, two[i].x) << i;
        ASSERT_EQ(one[i].y, two[i].y) << i;
        ASSERT_EQ(one[i].z, two[i].z) << i;
    }
    EXPECT_EQ(one[5].y, 0.0f);

    // No scenery at all: nothing to correct.
    IndirectFilterBuffers empty(kSize, kSize);
    for (const Vec3f& c : empty.correction(kTaken))
        ASSERT_EQ(c.y, 0.0f);
}

}  // namespace
