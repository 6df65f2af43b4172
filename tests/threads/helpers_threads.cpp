// The colour tool and the texture helpers from many threads: the radiation constants' first use
// races on purpose, and helpers on different threads must neither share random state nor
// disturb each other's textures.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "helpers/landscape_helper.h"
#include "helpers/ocean_helper.h"
#include "photometry/intensity_color_tool.h"
#include "vyr_host.h"

namespace {

constexpr int kThreads = 8;

bool same(const vyr::Vec3f& a, const vyr::Vec3f& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Starts all threads, then releases them together so the first calls overlap.
template <class Work>
void runTogether(int threads, Work work) {
    std::atomic<bool> go{false};
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) {
        pool.emplace_back([&, t] {
            while (!go.load(std::memory_order_acquire)) {
                std::this_thread::yield();
            }
            work(t);
        });
    }
    go.store(true, std::memory_order_release);
    for (std::thread& thread : pool) {
        thread.join();
    }
}

// No other thread test uses the colour tool, so these overlapping calls are its first use.
TEST(HelpersThreads, ColourToolFirstUseFromManyThreads) {
    std::vector<vyr::Vec3f> results(kThreads * 50);
    runTogether(kThreads, [&](int t) {
        for (int k = 0; k < 50; ++k) {
            results[t * 50 + k] =
                IntensityColorTool::kelvin2RGB(1000.0f + 200.0f * k, 1.0f, {1.0f, 1.0f, 1.0f});
        }
    });
    for (int k = 0; k < 50; ++k) {
        const vyr::Vec3f expected =
            IntensityColorTool::kelvin2RGB(1000.0f + 200.0f * k, 1.0f, {1.0f, 1.0f, 1.0f});
        for (int t = 0; t < kThreads; ++t) {
            EXPECT_TRUE(same(results[t * 50 + k], expected)) << t << " " << k;
        }
    }
    EXPECT_EQ(IntensityColorTool::c2(), 14387751.35874089);
}

TEST(HelpersThreads, LandscapesOnManyThreadsMatchOneThread) {
    VexaKeloLandScapeHelper reference(11, 0.4f, 0.5f, {1.0f, 1.0f, 1.0f, 1.0f});
    reference.initializeShader(nullptr);

    std::vector<vyr::TextureHandle> textures;
    std::vector<vyr::ShaderHandle> shaders;
    for (int t = 0; t < kThreads; ++t) {
        textures.push_back(vyr::host::createTexture());
        shaders.push_back(vyr::host::createShader());
    }
    std::vector<int> matches(kThreads, 0);
    runTogether(kThreads, [&](int t) {
        VexaKeloLandScapeHelper helper(11, 0.4f, 0.5f, {1.0f, 1.0f, 1.0f, 1.0f});
        helper.setTexture(textures[t]);
        helper.initializeShader(shaders[t].get());
        matches[t] = std::memcmp(helper.pixels(), reference.pixels(),
                                 sizeof(std::uint32_t) * 512 * 512) == 0;
    });
    for (int t = 0; t < kThreads; ++t) {
        EXPECT_TRUE(matches[t]) << t;
        EXPECT_EQ(vyr::host::openEdits(textures[t].id()), 0);
        EXPECT_TRUE(vyr::host::shaderOf(shaders[t])->uniform("landscapeMap").has_value());
    }
}

TEST(HelpersThreads, OceansOnSeveralThreadsMatchOneThread) {
    constexpr int kOceans = 4;  // 7.3 MB and ~50 ms each
    VexaKeloOceanHelper reference;
    reference.generateNormalMap();
    const float* expected = reference.model().normals();

    std::vector<vyr::TextureHandle> textures;
    for (int t = 0; t < kOceans; ++t) {
        textures.push_back(vyr::host::createTexture());
    }
    std::vector<int> matches(kOceans, 0);
    runTogether(kOceans, [&](int t) {
        VexaKeloOceanHelper helper;
        helper.setTexture(textures[t]);
        helper.generateNormalMap();
        matches[t] =
            std::memcmp(helper.model().normals(), expected, sizeof(float) * 3 * 512 * 512) == 0;
    });
    for (int t = 0; t < kOceans; ++t) {
        EXPECT_TRUE(matches[t]) << t;
        const vyr::host::TextureObject* map = vyr::host::textureOf(textures[t]);
        ASSERT_NE(map, nullptr);
        EXPECT_EQ(map->width(), 512);
    }
}

}  // namespace
