// `vexakelo render SCENE.json -o OUT.png`: renders a scene with the library's shaders;
// `render --check SCENE.json` loads and validates it without rendering.
// `vexakelo gallery -o out/gallery.png` (or `render --gallery`): one labelled tile per shader the
// library exports.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>

#include "command.h"
#include "image_io.h"
#include "option_checks.h"
#include "output_files.h"
#include "render/gallery.h"
#include "render/renderer.h"
#include "render/scene.h"
#include "shader_library.h"

namespace {

struct RenderArgs {
    std::string scene;
    std::string output;
    std::string exr;
    std::string size;
    int spp = 0;
    int threads = 0;
    std::optional<std::uint64_t> seed;
    bool gallery = false;
    bool check = false;
    int tile = 256;
    bool quiet = false;
    std::string sampler = "sobol";
    bool noAdaptive = false;
    float causticLimit = vkrender::RenderOptions::kDefaultCausticLimit;
    bool noFilter = false;
    double seconds = 0.0;
    double errorTarget = 0.0;
    std::vector<std::string> only;
    vkrender::LoadLimits limits;
};

vkrender::Sampler samplerOf(const std::string& name) {
    return name == "uniform" ? vkrender::Sampler::Uniform : vkrender::Sampler::LowDiscrepancy;
}

// "WxH" into width and height.
void parseSize(const std::string& text, int& width, int& height) {
    int w = 0;
    int h = 0;
    char x = 0;
    std::istringstream in(text);
    if (!(in >> w >> x >> h) || (x != 'x' && x != 'X') || !in.eof() || w < 1 || h < 1) {
        throw vexakelo::cli::Failure("'" + text + "' is not WIDTHxHEIGHT, e.g. 640x480");
    }
    if (static_cast<long long>(w) * h > vkrender::kMaxPixels) {
        throw vexakelo::cli::Failure("'" + text + "' is larger than " +
                                     std::to_string(vkrender::kMaxPixels) + " pixels");
    }
    width = w;
    height = h;
}

void writeTo(const std::string& path, const vkimage::Image& image, float exposure) {
    vkimage::writeImage(path, image, vkimage::ToneMap::Filmic, exposure);
}

vkhost::ShaderLibrary openLibrary() {
    const std::string& path = vexakelo::cli::globalOptions().libraryPath;
    try {
        return path.empty() ? vkhost::ShaderLibrary() : vkhost::ShaderLibrary(path);
    } catch (const std::exception& e) {
        throw vexakelo::cli::Failure(e.what());
    }
}

void runGallery(const RenderArgs& args) {
    const std::string output = args.output.empty() ? "out/gallery.png" : args.output;
    vexakelo::cli::OutputFiles outputs;
    outputs.add(output, "-o", {".png", ".exr"});
    if (!args.exr.empty()) outputs.add(args.exr, "--exr", {".exr"});
    outputs.prepare();
    vkhost::ShaderLibrary library = openLibrary();
    vkrender::GalleryOptions options;
    options.tileSize = args.tile;
    options.spp = args.spp > 0 ? args.spp : 16;
    options.threads = args.threads;
    options.seed = args.seed.value_or(1);
    options.progress = !args.quiet;
    options.sampler = samplerOf(args.sampler);
    options.adaptive = !args.noAdaptive;
    options.causticLimit = args.causticLimit;
    options.filterNoise = !args.noFilter;
    options.only = args.only;
    std::vector<vkrender::GalleryTile> tiles;
    const vkimage::Image image = vkrender::renderGallery(library, options, &tiles, std::cerr);
    outputs.write(output, [&](const std::string& to) { writeTo(to, image, 1.0f); });
    if (!args.exr.empty()) {
        outputs.write(args.exr, [&](const std::string& to) { writeTo(to, image, 1.0f); });
    }
    outputs.commit();
    int failed = 0;
    for (const auto& tile : tiles)
        failed += tile.failed ? 1 : 0;
    std::printf("%zu shaders, %d failed\n", tiles.size(), failed);
}

// Loads the scene as a render would, shaders, meshes, textures and lamp files included, and
// reports what it holds; renders nothing and writes nothing.
void checkScene(const RenderArgs& args) {
    if (!args.output.empty() || !args.exr.empty()) {
        throw vexakelo::cli::UsageError("render --check writes no image; leave out -o and --exr");
    }
    vkhost::ShaderLibrary library = openLibrary();
    try {
        const vkrender::Scene scene = vkrender::loadScene(args.scene, library, args.limits);
        int width = scene.settings.width;
        int height = scene.settings.height;
        if (!args.size.empty()) parseSize(args.size, width, height);
        std::printf("%s: ok, %dx%d, %d spp, %zu materials, %zu objects, %zu lights\n",
                    args.scene.c_str(), width, height, scene.settings.spp,
                    scene.materials.size(), scene.objects.size(), scene.lights.size());
    } catch (const vkrender::SceneError& e) {
        throw vexakelo::cli::Failure(e.what());
    }
}

void runRender(const RenderArgs& args) {
    if (args.gallery) {
        runGallery(args);
        return;
    }
    if (args.scene.empty()) {
        throw vexakelo::cli::UsageError("render: a scene file is needed (or --gallery)");
    }
    if (args.check) {
        checkScene(args);
        return;
    }
    if (args.output.empty()) {
        throw vexakelo::cli::UsageError("render: -o OUT.png is needed");
    }
    vexakelo::cli::OutputFiles outputs;
    outputs.addInput(args.scene);
    outputs.add(args.output, "-o", {".png", ".exr"});
    if (!args.exr.empty()) outputs.add(args.exr, "--exr", {".exr"});
    outputs.prepare();
    vkhost::ShaderLibrary library = openLibrary();
    try {
        const vkrender::Scene scene = vkrender::loadScene(args.scene, library, args.limits);
        vkrender::RenderOptions options;
        options.width = scene.settings.width;
        options.height = scene.settings.height;
        if (!args.size.empty())
            parseSize(args.size, options.width, options.height);
        options.spp = args.spp > 0 ? args.spp : scene.settings.spp;
        options.threads = args.threads;
        options.seed = args.seed.value_or(scene.settings.seed);
        options.maxDepth = scene.settings.maxDepth;
        options.progress = !args.quiet;
        options.sampler = samplerOf(args.sampler);
        options.adaptive = !args.noAdaptive;
        options.causticLimit = args.causticLimit;
        options.filterNoise = !args.noFilter;
        options.seconds = args.seconds;
        options.errorTarget = args.errorTarget;
        const vkrender::Renderer renderer(scene);
        vkrender::RenderStats stats;
        const vkimage::Image image = renderer.render(options, &stats);
        const float exposure = scene.settings.exposure;
        outputs.write(args.output,
                      [&](const std::string& to) { writeTo(to, image, exposure); });
        if (!args.exr.empty()) {
            outputs.write(args.exr, [&](const std::string& to) { writeTo(to, image, exposure); });
        }
        outputs.commit();
        if (!args.quiet) {
            const double perPixel = static_cast<double>(stats.samples) /
                                    (static_cast<double>(options.width) * options.height);
            std::fprintf(stderr,
                         "%s: %dx%d, %.1f spp, %.2fs, %.2f Mrays/s, estimated relative error "
                         "%.4f\n",
                         args.output.c_str(), options.width, options.height, perPixel,
                         stats.seconds,
                         stats.seconds > 0.0 ? stats.rays / stats.seconds * 1e-6 : 0.0,
                         stats.estimatedError);
        }
    } catch (const vkrender::SceneError& e) {
        throw vexakelo::cli::Failure(e.what());
    }
}

void addCommon(CLI::App* command, RenderArgs& args, const char* seedHelp) {
    command->add_option("--exr", args.exr, "also write the linear image to this .exr file");
    command->add_option("--threads", args.threads, "render threads (0: every core)")
        ->check(CLI::Range(0, 1024))
        ->capture_default_str();
    command->add_option("--seed", args.seed, seedHelp)
        ->check(vexakelo::cli::wholeNumber(0, UINT64_MAX));
    command->add_flag("-q,--quiet", args.quiet, "no progress bar");
    command
        ->add_option("--sampler", args.sampler,
                     "sobol (scrambled Sobol', lights by solid angle, MIS) or uniform (the "
                     "earlier sampler, for comparison)")
        ->check(CLI::IsMember({"sobol", "uniform"}))
        ->capture_default_str();
    command->add_flag("--no-adaptive", args.noAdaptive,
                      "the same samples in every pixel (no second pass where the noise is)");
    command
        ->add_option("--caustic-limit", args.causticLimit,
                     "the most light a floor's bounce may bring back from a library material "
                     "(glass, metal), which tames caustic fireflies; 0: no limit")
        ->check(CLI::Range(0.0f, 1.0e30f))
        ->capture_default_str();
    command->add_flag("--no-filter", args.noFilter,
                      "leave the noise of the light on the first surfaces unfiltered (an "
                      "unbiased image; use it for references)");
}

// What a scene may make the loader read; the defaults keep a wrong path (/dev/zero, a huge
// texture) from filling memory, and a real scene that needs more can say so here.
void addLimits(CLI::App* command, vkrender::LoadLimits& limits) {
    const auto add = [&](const char* name, std::uint64_t& field, const char* help) {
        command->add_option(name, field, help)
            ->check(vexakelo::cli::wholeNumber(1, UINT64_MAX).description(""))
            ->capture_default_str()
            ->group("Limits of what a scene may load");
    };
    add("--max-scene-bytes", limits.sceneBytes, "size of the scene file");
    add("--max-mesh-bytes", limits.meshBytes, "size of each OBJ file");
    add("--max-mesh-triangles", limits.meshTriangles, "triangles of each mesh");
    add("--max-texture-bytes", limits.textureBytes, "size of each image file");
    add("--max-texture-pixels", limits.texturePixels,
        "width x height of each image, as its header declares it");
}

void setupRender(CLI::App& app) {
    static RenderArgs renderArgs;
    CLI::App* render =
        app.add_subcommand("render", "render a scene file with the library's shaders");
    render->add_option("scene", renderArgs.scene, "scene file (JSON)");
    render->add_option("-o,--output", renderArgs.output,
                       "output image (.png tone-mapped, .exr linear); missing directories are "
                       "made, and removed again if the render fails");
    render->add_flag("--check", renderArgs.check,
                     "load and validate the scene (shaders, meshes, textures, lamps), render "
                     "nothing");
    render->add_option("--spp", renderArgs.spp, "samples per pixel (default: the scene's)")
        ->check(CLI::Range(1, 1 << 16));
    render->add_option("--size", renderArgs.size, "image size WIDTHxHEIGHT (default: the scene's)")
        ->check(CLI::Validator(
            [](std::string& text) -> std::string {
                int width = 0, height = 0;
                try {
                    parseSize(text, width, height);
                } catch (const vexakelo::cli::Failure& e) {
                    return e.what();
                }
                return {};
            },
            ""));
    render
        ->add_option("--time", renderArgs.seconds,
                     "add rounds of --spp samples where the noise is until this many seconds")
        ->check(CLI::PositiveNumber);
    render
        ->add_option("--error", renderArgs.errorTarget,
                     "add rounds until the estimated relative error is at most this")
        ->check(CLI::PositiveNumber);
    render->add_flag("--gallery", renderArgs.gallery,
                     "render the gallery of every exported shader");
    render->add_option("--tile", renderArgs.tile, "gallery tile size in pixels")
        ->check(CLI::Range(32, 2048))
        ->capture_default_str();
    addCommon(render, renderArgs, "random seed (default: the scene's)");
    addLimits(render, renderArgs.limits);
    render->callback([] { runRender(renderArgs); });

    static RenderArgs galleryArgs;
    CLI::App* gallery =
        app.add_subcommand("gallery", "render one labelled tile per exported shader");
    gallery->add_option("-o,--output", galleryArgs.output,
                        "output image, .png or .exr (default out/gallery.png); missing "
                        "directories are made");
    gallery->add_option("--tile", galleryArgs.tile, "tile size in pixels")
        ->check(CLI::Range(32, 2048))
        ->capture_default_str();
    gallery->add_option("--spp", galleryArgs.spp, "samples per pixel (default 16)")
        ->check(CLI::Range(1, 1 << 16));
    gallery->add_option("--only", galleryArgs.only, "just these shaders' tiles")->delimiter(',');
    addCommon(gallery, galleryArgs, "random seed (default 1)");
    gallery->callback([] { runGallery(galleryArgs); });
}

const vexakelo::cli::Registration kRegistration{"render", &setupRender};

}  // namespace
