// Noise against time: every gallery tile and every example scene rendered at its own settings
// with the uniform sampler and with the low-discrepancy one, both measured against one unbiased
// reference with 64 times the samples (the low-discrepancy sampler with another seed, no
// adaptive pass, no caustic limit, no noise filter), in one run.
// Prints the relative RMSE per tile and scene beside the time, then a table of both samplers
// and their ratio.
//
// References are cached in VEXAKELO_CONVERGENCE_CACHE (default: convergence-references under
// the working directory), keyed by the scene text and the settings; delete the directory after a
// change that moves what a sampler converges to. VEXAKELO_CONVERGENCE_FACTOR sets the reference's
// sample factor (64), VEXAKELO_CONVERGENCE_SCENE_SCALE the divisor of the example scenes' image
// size (4, to keep their references affordable), VEXAKELO_CONVERGENCE_ONLY a substring a case's
// name must contain, VEXAKELO_CONVERGENCE_CAUSTIC_LIMIT the caustic limit of the renders measured.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "image_io.h"
#include "render/gallery.h"
#include "render/image_compare.h"
#include "render/renderer.h"
#include "render/scene.h"
#include "shader_library.h"

namespace {

constexpr int kGalleryTile = 256;
constexpr int kGallerySpp = 16;
constexpr std::uint64_t kSeed = 1;
constexpr std::uint64_t kReferenceSeed = 2;

int envInt(const char* name, int fallback) {
    const char* v = std::getenv(name);
    return v != nullptr && std::atoi(v) > 0 ? std::atoi(v) : fallback;
}

struct Case {
    std::string name;  // "gallery/<shader>" or "scene/<file>"
    std::string text;  // the scene
    std::string baseDir;
    int width = 0;
    int height = 0;
    int spp = 0;
};

struct Measured {
    double relativeRmse = 0.0;
    double seconds = 0.0;
    double raysPerSecond = 0.0;
};

std::map<std::string, Measured> gResults;  // by case name + "/" + sampler

const char* samplerName(vkrender::Sampler s) {
    return s == vkrender::Sampler::Uniform ? "uniform" : "sobol";
}

std::uint64_t fnv1a(const std::string& text) {
    std::uint64_t h = 1469598103934665603ULL;
    for (const unsigned char c : text) {
        h = (h ^ c) * 1099511628211ULL;
    }
    return h;
}

const vkhost::ShaderLibrary& library() {
    static const vkhost::ShaderLibrary instance;
    return instance;
}

// `asUsers` renders as a user gets it (the adaptive pass, the caustic limit, the noise filter);
// a reference has none of them, so that what the limit and the filter change counts as error.
vkimage::Image render(const Case& c, vkrender::Sampler sampler, int spp, std::uint64_t seed,
                      bool asUsers, vkrender::RenderStats* stats) {
    const vkrender::Scene scene = vkrender::parseScene(c.text, c.name, c.baseDir, library());
    const vkrender::Renderer renderer(scene);
    vkrender::RenderOptions options;
    options.width = c.width;
    options.height = c.height;
    options.spp = spp;
    options.seed = seed;
    options.maxDepth = scene.settings.maxDepth;
    options.sampler = sampler;
    options.adaptive = asUsers;
    const char* limit = std::getenv("VEXAKELO_CONVERGENCE_CAUSTIC_LIMIT");
    options.causticLimit = !asUsers         ? 0.0f
                           : limit != nullptr ? static_cast<float>(std::atof(limit))
                                              : vkrender::RenderOptions::kDefaultCausticLimit;
    options.filterNoise = asUsers;
    return renderer.render(options, stats);
}

// One reference for both samplers: the low-discrepancy one, unfiltered and unlimited, which
// converges to the same image as the uniform one, only faster.
vkimage::Image reference(const Case& c) {
    const vkrender::Sampler sampler = vkrender::Sampler::LowDiscrepancy;
    const int factor = envInt("VEXAKELO_CONVERGENCE_FACTOR", 64);
    const char* dirEnv = std::getenv("VEXAKELO_CONVERGENCE_CACHE");
    const std::filesystem::path dir =
        std::filesystem::path(dirEnv != nullptr ? dirEnv : "convergence-references") /
        samplerName(sampler);
    std::ostringstream key;
    key << c.text << "|" << c.width << "x" << c.height << "|" << c.spp * factor << "|"
        << kReferenceSeed;
    std::string file = c.name;
    for (char& ch : file)
        ch = ch == '/' ? '-' : ch;
    char hash[17];
    std::snprintf(hash, sizeof hash, "%016llx", static_cast<unsigned long long>(fnv1a(key.str())));
    const std::filesystem::path path = dir / (file + "-" + hash + ".exr");
    if (std::filesystem::exists(path)) {
        return vkimage::readImage(path.string());
    }
    std::filesystem::create_directories(dir);
    std::fprintf(stderr, "reference %s (%s, %d spp)...\n", c.name.c_str(), samplerName(sampler),
                 c.spp * factor);
    const vkimage::Image image = render(c, sampler, c.spp * factor, kReferenceSeed, false, nullptr);
    vkimage::writeImage(path.string(), image);
    return image;
}

void measure(benchmark::State& state, const Case& c, vkrender::Sampler sampler) {
    const vkimage::Image ref = reference(c);
    vkrender::RenderStats stats;
    vkimage::Image image;
    for (auto _ : state) {
        image = render(c, sampler, c.spp, kSeed, true, &stats);
    }
    const vkrender::ImageDifference d = vkrender::compareImages(image, ref);
    state.counters["rel_rmse"] = d.relativeRmse;
    state.counters["Mrays/s"] = stats.rays / stats.seconds * 1e-6;
    gResults[c.name + "/" + samplerName(sampler)] = {d.relativeRmse, stats.seconds,
                                                     stats.rays / stats.seconds};
}

std::vector<Case> cases() {
    std::vector<Case> out;
    const std::string scenesDir = vkrender::defaultScenesDir();
    for (const std::string& shader : library().shaderNames()) {
        Case c;
        c.name = "gallery/" + shader;
        c.text = vkrender::galleryScene(library(), shader, nullptr);
        c.baseDir = scenesDir;
        c.width = c.height = kGalleryTile;
        c.spp = kGallerySpp;
        out.push_back(std::move(c));
    }
    const int scale = envInt("VEXAKELO_CONVERGENCE_SCENE_SCALE", 4);
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(scenesDir)) {
        if (entry.path().extension() == ".json")
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const auto& path : files) {
        std::ifstream in(path);
        std::ostringstream text;
        text << in.rdbuf();
        Case c;
        c.name = "scene/" + path.stem().string();
        c.text = text.str();
        c.baseDir = scenesDir;
        const vkrender::Scene scene = vkrender::parseScene(c.text, c.name, c.baseDir, library());
        c.width = std::max(1, scene.settings.width / scale);
        c.height = std::max(1, scene.settings.height / scale);
        c.spp = scene.settings.spp;
        out.push_back(std::move(c));
    }
    const char* only = std::getenv("VEXAKELO_CONVERGENCE_ONLY");
    if (only != nullptr) {
        std::erase_if(out, [&](const Case& c) { return c.name.find(only) == std::string::npos; });
    }
    return out;
}

void printTable(const std::vector<Case>& all) {
    std::printf("\n%-40s %12s %9s %12s %9s %8s\n", "case", "uniform rel", "time s", "sobol rel",
                "time s", "ratio");
    double uniformTime = 0.0;
    double sobolTime = 0.0;
    for (const Case& c : all) {
        const Measured& u = gResults[c.name + "/uniform"];
        const Measured& s = gResults[c.name + "/sobol"];
        if (c.name.rfind("gallery/", 0) == 0) {
            uniformTime += u.seconds;
            sobolTime += s.seconds;
        }
        std::printf("%-40s %12.4f %9.3f %12.4f %9.3f %8.3f\n", c.name.c_str(), u.relativeRmse,
                    u.seconds, s.relativeRmse, s.seconds,
                    u.relativeRmse > 0.0 ? s.relativeRmse / u.relativeRmse : 0.0);
    }
    std::printf("%-40s %12s %9.3f %12s %9.3f %8.3f\n", "gallery time", "", uniformTime, "",
                sobolTime, uniformTime > 0.0 ? sobolTime / uniformTime : 0.0);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const std::vector<Case> all = cases();
    for (const Case& c : all) {
        for (const vkrender::Sampler sampler :
             {vkrender::Sampler::Uniform, vkrender::Sampler::LowDiscrepancy}) {
            benchmark::RegisterBenchmark(
                (c.name + "/" + samplerName(sampler)).c_str(),
                [c, sampler](benchmark::State& state) { measure(state, c, sampler); })
                ->Iterations(1)
                ->Unit(benchmark::kMillisecond)
                ->UseRealTime();
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    printTable(all);
    return 0;
}
