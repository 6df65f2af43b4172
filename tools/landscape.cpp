// `vexakelo landscape`: builds the landscape mask through VexaKeloLandScapeHelper into a host
// texture bound to a host shader, as a host application would, and writes the texels read back
// from that texture as an RGBA PNG (white below the cut, transparent black above it).
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>

#include "command.h"
#include "helpers/landscape_helper.h"
#include "image_io.h"
#include "option_checks.h"
#include "output_files.h"
#include "vyr_host.h"

namespace {

using vexakelo::cli::Failure;

struct LandscapeOptions {
    int seed = VexaKeloLandScapeHelper::kDefaultSeed;
    float roughness = VexaKeloLandScapeHelper::kDefaultRoughness;
    float percentage = 0.5f;
    std::string output;
};

void runLandscape(const LandscapeOptions& o) {
    vexakelo::cli::OutputFiles outputs;
    outputs.add(o.output, "OUT", {".png"});
    outputs.prepare();

    VexaKeloLandScapeHelper helper(o.seed, o.roughness, o.percentage, {1.0f, 1.0f, 1.0f, 1.0f});
    const vyr::TextureHandle texture = vyr::host::createTexture();
    const vyr::ShaderHandle shader = vyr::host::createShader();
    helper.setTexture(texture);
    helper.initializeShader(shader.get());

    const auto bound = vyr::host::shaderOf(shader)->uniform(helper.name());
    if (!bound || !std::holds_alternative<vyr::host::TextureBinding>(*bound)) {
        throw Failure("landscape: the helper bound no \"" + helper.name() + "\" texture");
    }
    const vyr::host::TextureObject* mask =
        vyr::host::textureOf(std::get<vyr::host::TextureBinding>(*bound).texture);
    if (mask == nullptr || mask->width() <= 0) {
        throw Failure("landscape: the helper created no texture");
    }
    vkimage::Image image(mask->width(), mask->height());
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            // Texels are 0 or 1 per channel, which the writer stores as 0 and 255.
            image.at(x, y) = mask->texel(x, y);
        }
    }
    outputs.write(o.output, [&](const std::string& to) { vkimage::writePng(to, image); });
    outputs.commit();
}

void setupLandscape(CLI::App& app) {
    auto options = std::make_shared<LandscapeOptions>();
    CLI::App* command =
        app.add_subcommand("landscape", "write the 512 x 512 diamond-square landscape mask");
    command->add_option("--seed", options->seed, "random seed")
        ->check(vexakelo::cli::wholeNumber(INT32_MIN, INT32_MAX))
        ->capture_default_str();
    // Each finer level's amplitude is 2^-roughness of the coarser one: below 0 the fine noise
    // outgrows the hills, and past 10 the finer levels no longer change the cut.
    command
        ->add_option("--roughness", options->roughness,
                     "fall-off of the detail per level, 2^-roughness, 0 to 10")
        ->check(vexakelo::cli::finiteNumber(0.0, 10.0))
        ->capture_default_str();
    command
        ->add_option("--percentage", options->percentage,
                     "cut height between the field's minimum (0) and maximum (1)")
        ->check(vexakelo::cli::finiteNumber(0.0, 1.0))
        ->capture_default_str();
    command->add_option("output", options->output, "OUT.png; missing directories are made")
        ->required();
    command->callback([options] { runLandscape(*options); });
}

const vexakelo::cli::Registration kRegistration{"landscape", &setupLandscape};

}  // namespace
