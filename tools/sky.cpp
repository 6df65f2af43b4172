// `vexakelo sky`: renders the daylight sky environment as a user will see it, before rendering a
// scene with it: a fisheye of the upper hemisphere (OUT) and a lat-long panorama of the whole
// sphere (OUT with "_latlong" before the extension). Loads the library as a host does, creates
// vexa_kelo_Env_Sky, sets its parameters through a host parameter block and shades one ray per
// pixel. .exr files hold linear values; .png files are tone-mapped.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>

#include "command.h"
#include "image_io.h"
#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"

namespace vexakelo::cli {
namespace {

constexpr double kDegrees = 3.14159265358979323846 / 180.0;
constexpr const char* kSky = "vexa_kelo_Env_Sky";

struct SkyOptions {
    std::string sun;
    float haze = 0.0f;
    int size = 256;
    std::optional<float> exposure;
    std::string output;
};

// Azimuth from north (+y) towards east (+x), elevation above the horizon; z is up.
vyr::Vec3f direction(double azimuth, double elevation) {
    const double a = azimuth * kDegrees;
    const double e = elevation * kDegrees;
    return {static_cast<float>(std::sin(a) * std::cos(e)),
            static_cast<float>(std::cos(a) * std::cos(e)), static_cast<float>(std::sin(e))};
}

// "AZ,EL" in degrees.
vyr::Vec3f parseSun(const std::string& text) {
    std::istringstream in(text);
    double azimuth = 0.0;
    double elevation = 0.0;
    char comma = 0;
    if (!(in >> azimuth >> comma >> elevation) || comma != ',' || !(in >> std::ws).eof() ||
        !std::isfinite(azimuth) || !std::isfinite(elevation)) {
        throw Failure("--sun: expected AZ,EL in degrees (for example 135,30), got '" + text + "'");
    }
    if (elevation < -90.0 || elevation > 90.0) {
        throw Failure("--sun: elevation " + text.substr(text.find(',') + 1) +
                      " lies outside -90 to 90 degrees");
    }
    return direction(azimuth, elevation);
}

// The panorama's file name: OUT with "_latlong" before the extension.
std::string latLongPath(const std::string& path) {
    const std::filesystem::path p(path);
    return (p.parent_path() / (p.stem().string() + "_latlong" + p.extension().string())).string();
}

class SkyRenderer {
public:
    SkyRenderer(const vkhost::ShaderLibrary& library, vyr::Vec3f sun, float haze)
        : object_(library.create(kSky)) {
        vkhost::ParameterBlock block(kSky, vkhost::declareLayout(object_.get()), object_.get());
        block.set("sun_direction", sun);
        block.set("haze", haze);
        block.applyTo(object_.get());
        context_.recording = false;  // the sky calls nothing back; keep it that way cheaply
    }

    // Linear RGB seen along the direction, alpha 1 (the environment's own alpha, 0 for sky and
    // the ground's alpha below, is a compositing value and not kept in the picture).
    vyr::Vec4f shade(vyr::Vec3f view) {
        vyr::ShadingState state = vkhost::makeState();
        state.rayDir = view;
        static_cast<const vyr::EnvironmentShader*>(object_.get())->shade(&context_, &state);
        return {state.outColor.x, state.outColor.y, state.outColor.z, 1.0f};
    }

private:
    vkhost::ShaderPtr object_;
    vkhost::ScriptedContext context_;
};

// Looking up at the dome: north at the top, east on the left, the zenith in the centre and the
// horizon on the rim (angle from the zenith proportional to the radius). Outside the circle
// transparent black.
vkimage::Image renderFisheye(SkyRenderer& sky, int size) {
    vkimage::Image image(size, size, {0.0f, 0.0f, 0.0f, 0.0f});
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x) {
            const double east = 1.0 - 2.0 * (x + 0.5) / size;
            const double north = 1.0 - 2.0 * (y + 0.5) / size;
            const double radius = std::hypot(east, north);
            if (radius > 1.0) {
                continue;
            }
            const double azimuth = std::atan2(east, north) / kDegrees;
            image.at(x, y) = sky.shade(direction(azimuth, 90.0 * (1.0 - radius)));
        }
    }
    return image;
}

// Azimuth 0 (north) to 360 from left to right, through east; zenith at the top, nadir at the
// bottom.
vkimage::Image renderLatLong(SkyRenderer& sky, int height) {
    const int width = 2 * height;
    vkimage::Image image(width, height);
    for (int y = 0; y < height; ++y) {
        const double elevation = 90.0 - 180.0 * (y + 0.5) / height;
        for (int x = 0; x < width; ++x) {
            image.at(x, y) = sky.shade(direction(360.0 * (x + 0.5) / width, elevation));
        }
    }
    return image;
}

// An exposure that puts the panorama's mean luminance at 1 before the shoulder.
float autoExposure(const vkimage::Image& image) {
    double sum = 0.0;
    for (const vyr::Vec4f& p : image.pixels) {
        sum += 0.2126 * p.x + 0.7152 * p.y + 0.0722 * p.z;
    }
    const double mean = sum / static_cast<double>(image.pixels.size());
    return mean > 0.0 && std::isfinite(mean) ? static_cast<float>(1.0 / mean) : 1.0f;
}

void runSky(const SkyOptions& options) {
    const bool exr = vkimage::hasExtension(options.output, ".exr");
    if (!exr && !vkimage::hasExtension(options.output, ".png")) {
        throw Failure(options.output + ": unknown image type (use .png or .exr)");
    }
    if (options.size < 8 || options.size > 8192) {
        throw Failure("--size: " + std::to_string(options.size) + " lies outside 8 to 8192");
    }
    if (!std::isfinite(options.haze)) {
        throw Failure("--haze: not a finite number");
    }
    const vyr::Vec3f sun = parseSun(options.sun);

    const std::string& libraryPath = globalOptions().libraryPath;
    std::optional<vkhost::ShaderLibrary> library;
    try {
        if (libraryPath.empty()) {
            library.emplace();
        } else {
            library.emplace(libraryPath);
        }
        SkyRenderer sky(*library, sun, options.haze);
        const vkimage::Image fisheye = renderFisheye(sky, options.size);
        const vkimage::Image latLong = renderLatLong(sky, options.size);

        const float exposure = options.exposure.value_or(autoExposure(latLong));
        const std::string panoramaPath = latLongPath(options.output);
        vkimage::writeImage(options.output, fisheye, vkimage::ToneMap::Filmic, exposure);
        try {
            vkimage::writeImage(panoramaPath, latLong, vkimage::ToneMap::Filmic, exposure);
        } catch (...) {
            // Both pictures or neither.
            std::error_code ignored;
            std::filesystem::remove(options.output, ignored);
            throw;
        }
        std::printf("%s\n%s\n", options.output.c_str(), panoramaPath.c_str());
    } catch (const vkhost::LoadError& e) {
        throw Failure(e.what());
    } catch (const vkhost::ParameterError& e) {
        throw Failure(std::string(kSky) + ": " + e.what());
    } catch (const vkimage::ImageError& e) {
        throw Failure(e.what());
    }
}

void setupSky(CLI::App& app) {
    auto options = std::make_shared<SkyOptions>();
    CLI::App* command = app.add_subcommand(
        "sky", "render the daylight sky as a fisheye (OUT) and a lat-long panorama (OUT_latlong)");
    command
        ->add_option("--sun", options->sun,
                     "sun azimuth from north through east and elevation, degrees: AZ,EL")
        ->required();
    command->add_option("--haze", options->haze, "turbidity minus 2 (default 0)");
    command->add_option("--size", options->size,
                        "fisheye width and height, panorama height (default 256)");
    command->add_option("--exposure", options->exposure,
                        "PNG exposure (default: the panorama's mean luminance maps to 1)");
    command->add_option("OUT", options->output, "output image, .png (tone-mapped) or .exr (linear)")
        ->required();
    command->callback([options] { runSky(*options); });
}

const Registration kRegistration{"sky", &setupSky};

}  // namespace
}  // namespace vexakelo::cli
