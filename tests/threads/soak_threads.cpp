// A render-sized soak: one object of every exported shader, textures bound, shaded from 16
// threads at once while other threads create, fill, sample and release host textures (and lamp
// textures through IESFile) in libvyr. Every thread runs the same call sequence, so every thread
// must end with the checksum a single thread got before. Run under ThreadSanitizer by `make test`
// with a short budget; VEXAKELO_SOAK_CALLS sets the calls per thread (1000000 for the full soak).
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "parameters.h"
#include "photometry/ies_file.h"
#include "photometry/ies_test_util.h"
#include "scripted_context.h"
#include "support/busy_context.h"
#include "shader_library.h"
#include "support/ward_trees.h"
#include "vyr/vyr.h"
#include "vyr_host.h"

namespace {

constexpr int kShadingThreads = 16;
constexpr int kChurnThreads = 2;
// Calls per shading thread by default: a few seconds under ThreadSanitizer on two cores.
constexpr long kDefaultCalls = 10000;
// Each shading thread also makes and releases a texture of its own this often.
constexpr long kOwnTextureEvery = 500;

long callsPerThread() {
    const char* text = std::getenv("VEXAKELO_SOAK_CALLS");
    const long calls = text != nullptr ? std::atol(text) : kDefaultCalls;
    return calls > 0 ? calls : kDefaultCalls;
}

// A small RGBA texture whose texels depend on `seed`, built through the descriptor as the
// library's helpers build theirs.
vyr::TextureHandle makeTexture(int seed, int side = 8) {
    vyr::TextureHandle handle = vyr::host::createTexture();
    std::vector<float> texels(static_cast<std::size_t>(side) * side * 3);
    for (std::size_t i = 0; i < texels.size(); ++i) {
        texels[i] = static_cast<float>((i * 7 + static_cast<std::size_t>(seed)) % 17) / 16.0f;
    }
    vyr::TextureDescriptor d;
    d.format = 3;
    d.width = side;
    d.height = side;
    d.data = texels.data();
    auto* texture = static_cast<vyr::Texture*>(handle.beginEdit());
    texture->create(d);
    handle.endEdit();
    return handle;
}

struct Shaded {
    std::string name;
    vkhost::ShaderPtr object;
    int kind;
};

// Every shader of the library with its textures bound to `map` and the Ward variants' trees
// switched on, so the shading reads textures and runs every node.
std::vector<Shaded> everyShader(const vkhost::ShaderLibrary& library,
                                const vyr::TextureHandle& map) {
    std::vector<Shaded> shaders;
    for (const std::string& name : library.shaderNames()) {
        vkhost::ShaderPtr object = library.create(name);
        const vkhost::ShaderLayout layout = vkhost::declareLayout(object.get());
        vkhost::ParameterBlock block(name, layout, object.get());
        for (const vkhost::Declaration& d : layout.parameters) {
            if (d.type == vkhost::ParamType::Texture1D || d.type == vkhost::ParamType::Texture2D) {
                block.set(d.name, map);
            } else if (d.type == vkhost::ParamType::Mat4f) {
                block.set(d.name, vktest::kIdentity4);
            } else if (d.type == vkhost::ParamType::Mat3f) {
                block.set(d.name, vyr::Mat3f{{1, 0, 0, 0, 1, 0, 0, 0, 1}});
            }
        }
        if (name.rfind("vexa_kelo_Mtl_Ward_", 0) == 0) {
            for (const char* key : vktest::kTreeSwitches) block.set(key, true);
            for (const auto& [key, value] : vktest::treeValues(layout, map)) block.set(key, value);
        }
        block.applyTo(object.get());
        const int kind = object->getShaderKind();
        shaders.push_back({name, std::move(object), kind});
    }
    return shaders;
}

vyr::ShadingState stateFor(long call) {
    vyr::ShadingState s = vkhost::makeState();
    const float a = 0.0137f * static_cast<float>(call % 4096);
    const float sinT = std::sin(a), cosT = std::cos(a);
    s.rayDir = {sinT * std::cos(3.0f * a), sinT * std::sin(3.0f * a), call % 2 == 0 ? -cosT : cosT};
    s.rayOrigin = {0.0f, 0.0f, call % 2 == 0 ? 1.0f : -1.0f};
    s.position = {0.1f * sinT, 0.2f, 0.0f};
    s.tangent = {1.0f, 0.0f, 0.0f};
    s.bitangent = {0.0f, 1.0f, 0.0f};
    s.uv = {0.37f * a, 0.61f * a};
    s.bsdfDir = {0.0f, 0.6f, 0.8f};
    s.lightToPoint = {0.3f, -0.2f, -0.93f};
    s.lightDistance = 2.0f;
    for (int k = 0; k < 6; ++k) s.lobeRequest[k] = static_cast<std::uint8_t>((call + k) % 3 != 0);
    return s;
}

std::uint64_t mix(std::uint64_t hash, const vyr::ShadingState& s) {
    unsigned char bytes[sizeof s];
    std::memcpy(bytes, &s, sizeof s);
    for (const unsigned char b : bytes) hash = (hash ^ b) * 1099511628211ull;
    return hash;
}

// The calls of one thread: shader after shader, every slot of its kind, the state folded into
// a checksum after each call. `ownTextures` makes and releases a texture every so often.
std::uint64_t shadeSequence(const std::vector<Shaded>& shaders, long calls, bool ownTextures) {
    vkhost::ScriptedContext ctx;
    vktest::fillWithAnswers(ctx);
    std::uint64_t hash = 1469598103934665603ull;
    for (long call = 0; call < calls; ++call) {
        const Shaded& shader = shaders[static_cast<std::size_t>(call) % shaders.size()];
        vyr::ShadingState s = stateFor(call);
        switch (shader.kind) {
            case vyr::kMaterialKind: {
                const auto* m = static_cast<const vyr::MaterialShader*>(shader.object.get());
                switch ((call / static_cast<long>(shaders.size())) % 4) {
                    case 0: m->shade(&ctx, &s); break;
                    case 1: m->shadow(&ctx, &s); break;
                    case 2: m->evaluateBsdf(&ctx, &s); break;
                    default: m->sampleBsdf(&ctx, &s); break;
                }
                break;
            }
            case vyr::kLightKind:
                static_cast<const vyr::LightShader*>(shader.object.get())->shade(&ctx, &s);
                break;
            default:
                static_cast<const vyr::EnvironmentShader*>(shader.object.get())->shade(&ctx, &s);
                break;
        }
        hash = mix(hash, s);
        if (ownTextures && call % kOwnTextureEvery == 0) {
            const vyr::TextureHandle own = makeTexture(static_cast<int>(call));
            vyr::Vec4f texel{};
            const vyr::Vec2f uv{0.3f, 0.7f};
            own.get()->sample(&texel, &uv);
            vyr::host::release(own.id());
        }
    }
    return hash;
}

// Textures made, sampled and released, and lamps read into web and CDF textures, until `stop`.
void churn(int seed, const std::atomic<bool>& stop, std::atomic<long>& made) {
    const std::string lamp = iestest::lamp(iestest::steps(0, 90, 15), iestest::steps(0, 90, 45),
                                           [](int h, int v) { return 100.0f + 10.0f * v + h; });
    while (!stop.load(std::memory_order_relaxed)) {
        const vyr::TextureHandle t = makeTexture(seed, 4 + seed % 5);
        vyr::Vec4f texel{};
        const vyr::Vec2f uv{0.5f, 0.5f};
        t.get()->sample(&texel, &uv);
        vyr::host::release(t.id());

        const auto parsed = iestest::parse(lamp);
        const vyr::ShaderHandle collector = vyr::host::createShader();
        parsed->file.initShader(collector, "webMap", "v", "h", "type", "sym");
        vyr::host::release(collector.id());
        vyr::host::release(parsed->file.webTexture().id());
        vyr::host::release(parsed->file.thetaCdfTexture().id());
        vyr::host::release(parsed->file.phiCdfTexture().id());
        made.fetch_add(4, std::memory_order_relaxed);
        ++seed;
    }
}

TEST(SoakThreads, EveryShaderFromSixteenThreadsWhileTexturesComeAndGo) {
    const long calls = callsPerThread();
    const vkhost::ShaderLibrary library;
    const vyr::TextureHandle map = makeTexture(3, 16);
    const std::vector<Shaded> shaders = everyShader(library, map);
    ASSERT_EQ(shaders.size(), 24u);

    const std::uint64_t reference = shadeSequence(shaders, calls, false);

    std::atomic<bool> stop{false};
    std::atomic<long> made{0};
    std::vector<std::thread> churners;
    for (int c = 0; c < kChurnThreads; ++c) {
        churners.emplace_back([&, c] { churn(100 * c, stop, made); });
    }
    std::vector<std::uint64_t> results(kShadingThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kShadingThreads; ++t) {
        threads.emplace_back([&, t] { results[t] = shadeSequence(shaders, calls, true); });
    }
    for (std::thread& thread : threads) thread.join();
    stop = true;
    for (std::thread& thread : churners) thread.join();

    for (int t = 0; t < kShadingThreads; ++t) {
        EXPECT_EQ(results[t], reference) << "thread " << t << " after " << calls << " calls";
    }
    EXPECT_GT(made.load(), 0);
    vyr::host::release(map.id());
    std::printf("soak: %d threads x %ld calls over %zu shaders, %ld textures made and released "
                "meanwhile\n",
                kShadingThreads, calls, shaders.size(),
                made.load() + kShadingThreads * (calls / kOwnTextureEvery + 1));
}

}  // namespace
