// `vexakelo landscape`: builds the landscape mask through VexaKeloLandScapeHelper into a host
// texture bound to a host shader, as a host application would, and writes the texels read back
// from that texture as an RGBA PNG (white below the cut, transparent black above it).
#include <cmath>
#include <memory>
#include <string>
#include <variant>

#include "command.h"
#include "helpers/landscape_helper.h"
#include "image_io.h"
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
    if (!vkimage::hasExtension(o.output, ".png")) {
        throw Failure(o.output + ": the mask is written as PNG (use .png)");
    }
    if (!std::isfinite(o.roughness)) {
        throw Failure("landscape: --roughness must be a finite number");
    }
    if (!std::isfinite(o.percentage)) {
        throw Failure("landscape: --percentage must be a finite number");
    }

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
    vkimage::writePng(o.output, image);
}

void setupLandscape(CLI::App& app) {
    auto options = std::make_shared<LandscapeOptions>();
    CLI::App* command =
        app.add_subcommand("landscape", "write the 512 x 512 diamond-square landscape mask");
    command->add_option("--seed", options->seed, "random seed (default 1327828458)");
    command->add_option("--roughness", options->roughness, "roughness (default 0.3)");
    command->add_option("--percentage", options->percentage,
                        "cut height between minimum (0) and maximum (1) (default 0.5)");
    command->add_option("output", options->output, "OUT.png")->required();
    command->callback([options] { runLandscape(*options); });
}

const vexakelo::cli::Registration kRegistration{"landscape", &setupLandscape};

}  // namespace
