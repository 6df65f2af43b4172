// `vexakelo ocean`: builds the ocean normal map through VexaKeloOceanHelper into a host texture,
// binds it to a host shader as a host application would, and writes the texels read back from
// that texture (EXR: the float values; PNG: each value as an 8-bit code, not colour-encoded).
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "command.h"
#include "helpers/ocean_helper.h"
#include "image_io.h"
#include "output_files.h"
#include "vyr_host.h"

namespace {

using vexakelo::cli::Failure;

struct OceanOptions {
    std::vector<float> wind = {VexaKeloOceanHelper::kDefaultWind.x,
                               VexaKeloOceanHelper::kDefaultWind.y};
    float amplifier = VexaKeloOceanHelper::kDefaultAmplifier;
    float gravity = VexaKeloOceanHelper::kDefaultGravity;
    float ratio = VexaKeloOceanHelper::kDefaultRatio;
    float time = VexaKeloOceanHelper::kDefaultTime;
    std::string output;
};

void check(bool ok, const char* message) {
    if (!ok) {
        throw Failure(std::string("ocean: ") + message);
    }
}

void runOcean(const OceanOptions& o) {
    const bool exr = vkimage::hasExtension(o.output, ".exr");
    vexakelo::cli::OutputFiles outputs;
    outputs.add(o.output, "OUT", {".exr", ".png"});
    check(o.wind.size() == 2 && std::isfinite(o.wind[0]) && std::isfinite(o.wind[1]),
          "--wind takes two finite numbers X,Y");
    check(o.wind[0] != 0.0f || o.wind[1] != 0.0f, "--wind must not be zero (no wind, no waves)");
    check(std::isfinite(o.gravity) && o.gravity > 0.0f, "--gravity must be above 0");
    check(std::isfinite(o.amplifier) && o.amplifier >= 0.0f, "--amplifier must be 0 or more");
    check(std::isfinite(o.ratio) && o.ratio >= 0.0f, "--ratio must be 0 or more");
    check(std::isfinite(o.time), "--time must be a finite number");
    outputs.prepare();

    VexaKeloOceanHelper helper(o.amplifier, o.gravity, o.ratio, o.time, {o.wind[0], o.wind[1]});
    const vyr::TextureHandle texture = vyr::host::createTexture();
    const vyr::ShaderHandle shader = vyr::host::createShader();
    helper.setTexture(texture);
    helper.initializeShader(shader.get());

    // Read back what the shader was given.
    const auto bound = vyr::host::shaderOf(shader)->uniform("wave_normal");
    check(bound && std::holds_alternative<vyr::host::TextureBinding>(*bound),
          "the helper bound no \"wave_normal\" texture");
    const vyr::host::TextureObject* map =
        vyr::host::textureOf(std::get<vyr::host::TextureBinding>(*bound).texture);
    check(map != nullptr && map->width() > 0, "the helper created no texture");

    vkimage::Image image(map->width(), map->height());
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            const vyr::Vec4f t = map->texel(x, y);
            if (!(std::isfinite(t.x) && std::isfinite(t.y) && std::isfinite(t.z))) {
                throw Failure(o.output +
                              ": not written, the settings give non-finite normals (try a "
                              "smaller --amplifier or a larger --ratio)");
            }
            image.at(x, y) = t;
        }
    }
    if (!exr) {
        // A normal map is data: store round(255 v) as the byte, undoing the writer's encoding.
        for (vyr::Vec4f& p : image.pixels) {
            const auto code = [](float v) {
                return vkimage::srgb8ToLinear(static_cast<unsigned char>(
                    std::lround(std::fmin(std::fmax(v, 0.0f), 1.0f) * 255.0f)));
            };
            p = {code(p.x), code(p.y), code(p.z), 1.0f};
        }
    }
    outputs.write(o.output, [&](const std::string& to) { vkimage::writeImage(to, image); });
    outputs.commit();
}

std::string defaultWind() {
    char text[64];
    std::snprintf(text, sizeof text, "%g,%g",
                  static_cast<double>(VexaKeloOceanHelper::kDefaultWind.x),
                  static_cast<double>(VexaKeloOceanHelper::kDefaultWind.y));
    return text;
}

void setupOcean(CLI::App& app) {
    auto options = std::make_shared<OceanOptions>();
    CLI::App* command =
        app.add_subcommand("ocean", "write the 512 x 512 ocean normal map (0.5 n + 0.5); it "
                                    "repeats seamlessly only from top to bottom");
    command->add_option("--wind", options->wind, "wind vector X,Y; its length is the speed")
        ->delimiter(',')
        ->expected(2)
        ->default_str(defaultWind());
    command->add_option("--amplifier", options->amplifier, "spectrum amplitude A, 0 or more")
        ->capture_default_str();
    command->add_option("--gravity", options->gravity, "gravity g, above 0")
        ->capture_default_str();
    command
        ->add_option("--ratio", options->ratio,
                     "small-wave cut-off as a fraction of L = |wind|^2 / g, 0 or more")
        ->capture_default_str();
    command->add_option("--time", options->time, "phase time of the waves")
        ->capture_default_str();
    command
        ->add_option("output", options->output,
                     "OUT.exr (float) or OUT.png (8-bit); missing directories are made")
        ->required();
    command->callback([options] { runOcean(*options); });
}

const vexakelo::cli::Registration kRegistration{"ocean", &setupOcean};

}  // namespace
