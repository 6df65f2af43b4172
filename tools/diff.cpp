// `vexakelo diff A.exr B.exr`: how far a render is from a reference. Prints the RMSE, the RMSE
// relative to B's mean, the mean and the largest difference, optionally per gallery tile (the
// label strip left out) and a heat map; with --fail-above the exit status says whether the
// relative RMSE stayed under the threshold (3 when it did not), so scripts and tests can use it.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "command.h"
#include "image_io.h"
#include "option_checks.h"
#include "output_files.h"
#include "render/gallery.h"
#include "render/image_compare.h"
#include "shader_library.h"

namespace {

// The exit status of a comparison over its threshold (1 is kept for errors, 2 for usage).
constexpr int kOverThreshold = 3;

struct DiffArgs {
    std::string image;
    std::string reference;
    int tile = 0;
    std::string heatMap;
    float heatScale = 0.0f;
    double failAbove = -1.0;
    vkimage::ImageLimits limits;
};

vkimage::Image read(const std::string& path, const vkimage::ImageLimits& limits) {
    try {
        return vkimage::readImage(path, limits);
    } catch (const std::exception& e) {
        throw vexakelo::cli::Failure(e.what());
    }
}

void print(const char* name, const vkrender::ImageDifference& d) {
    std::printf("%-36s rmse %.5f  rel %.4f  mean %+.5f  max %.4f at %d,%d\n", name, d.rmse,
                d.relativeRmse, d.meanDifference, d.maxDifference, d.maxX, d.maxY);
}

// Shader names of the gallery's tiles, when the library beside the program has as many shaders
// as the image has tiles; tile numbers otherwise.
std::vector<std::string> tileNames(int count) {
    std::vector<std::string> names;
    try {
        const std::string& path = vexakelo::cli::globalOptions().libraryPath;
        const vkhost::ShaderLibrary library =
            path.empty() ? vkhost::ShaderLibrary() : vkhost::ShaderLibrary(path);
        // A gallery has as many tiles as shaders, the last row filled up with empty ones.
        const auto shaders = static_cast<int>(library.shaderNames().size());
        if (shaders <= count && count - shaders < vkrender::galleryGrid(shaders).columns) {
            names = library.shaderNames();
        }
    } catch (const std::exception&) {
    }
    for (int i = static_cast<int>(names.size()); i < count; ++i) {
        names.push_back((names.empty() ? "tile " : "(empty) tile ") + std::to_string(i));
    }
    return names;
}

void runDiff(const DiffArgs& args) {
    vexakelo::cli::OutputFiles outputs;
    if (!args.heatMap.empty()) {
        outputs.addInput(args.image);
        outputs.addInput(args.reference);
        outputs.add(args.heatMap, "--heat", {".png", ".exr"});
        outputs.prepare();
    }
    const vkimage::Image image = read(args.image, args.limits);
    const vkimage::Image reference = read(args.reference, args.limits);
    if (image.width != reference.width || image.height != reference.height) {
        throw vexakelo::cli::Failure(args.image + ": " + std::to_string(image.width) + "x" +
                                     std::to_string(image.height) + ", but " + args.reference +
                                     " is " + std::to_string(reference.width) + "x" +
                                     std::to_string(reference.height));
    }
    if (args.tile > 0) {
        if (image.width % args.tile != 0 || image.height % args.tile != 0) {
            throw vexakelo::cli::Failure(args.image + ": not a grid of " +
                                         std::to_string(args.tile) + "-pixel tiles");
        }
        const int columns = image.width / args.tile;
        const int rows = image.height / args.tile;
        const std::vector<std::string> names = tileNames(columns * rows);
        // Tiles past the last shader are empty background; the names say how many there are.
        const int band = vkrender::labelBand(args.tile);
        for (int i = 0; i < columns * rows; ++i) {
            const vkrender::Region region{(i % columns) * args.tile, (i / columns) * args.tile,
                                          args.tile, args.tile - band};
            print(names[i].c_str(), vkrender::compareImages(image, reference, region));
        }
    }
    const vkrender::ImageDifference whole = vkrender::compareImages(image, reference);
    print("image", whole);
    if (!args.heatMap.empty()) {
        const vkimage::Image heat = vkrender::differenceHeatMap(image, reference, args.heatScale);
        outputs.write(args.heatMap, [&](const std::string& to) { vkimage::writeImage(to, heat); });
        outputs.commit();
    }
    if (args.failAbove >= 0.0 && whole.relativeRmse > args.failAbove) {
        std::printf("relative RMSE %.4f is above %.4f\n", whole.relativeRmse, args.failAbove);
        std::fflush(stdout);
        std::exit(kOverThreshold);
    }
}

void setupDiff(CLI::App& app) {
    static DiffArgs args;
    CLI::App* diff = app.add_subcommand("diff", "compare a render with a reference image");
    diff->add_option("image", args.image, "the render (EXR, PNG or JPEG)")->required();
    diff->add_option("reference", args.reference, "the reference it is measured against")
        ->required();
    diff->add_option("--tile", args.tile, "also per tile of a gallery with tiles of this size")
        ->check(CLI::Range(8, 8192));
    diff->add_option("--heat", args.heatMap,
                     "write a heat map of |image - reference| (.png/.exr); missing directories "
                     "are made");
    diff->add_option("--heat-scale", args.heatScale,
                     "the difference drawn white (default: the largest)")
        ->check(CLI::NonNegativeNumber);
    diff->add_option("--fail-above", args.failAbove,
                     "exit with status 3 when the relative RMSE is above this")
        ->check(CLI::NonNegativeNumber);
    diff->add_option("--max-image-bytes", args.limits.bytes, "size of each image file read")
        ->check(vexakelo::cli::wholeNumber(1, UINT64_MAX).description(""))
        ->capture_default_str();
    diff->add_option("--max-image-pixels", args.limits.pixels,
                     "width x height of each image read, as its header declares it")
        ->check(vexakelo::cli::wholeNumber(1, UINT64_MAX).description(""))
        ->capture_default_str();
    diff->callback([] { runDiff(args); });
}

const vexakelo::cli::Registration kRegistration{"diff", &setupDiff};

}  // namespace
