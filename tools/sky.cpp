// `vexakelo sky`: renders the daylight sky environment as a user will see it, before rendering a
// scene with it: a fisheye of the upper hemisphere (OUT) and a lat-long panorama of the whole
// sphere (OUT with "_latlong" before the extension). Loads the library as a host does, creates
// vexa_kelo_Env_Sky, sets its parameters through a host parameter block and shades one ray per
// pixel. .exr files hold linear values; .png files are tone-mapped.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "command.h"
#include "image_io.h"
#include "option_checks.h"
#include "output_files.h"
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
        throw Failure("expected AZ,EL in degrees (for example 135,30), got '" + text + "'");
    }
    if (elevation < -90.0 || elevation > 90.0) {
        throw Failure("elevation " + text.substr(text.find(',') + 1) +
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
    }

    // Linear RGB seen along the direction, alpha 1 (the environment's own alpha, 0 for sky and
    // the ground's alpha below, is a compositing value and not kept in the picture). Shading is
    // const, so threads share the shader and each brings its own context.
    vyr::Vec4f shade(vkhost::ScriptedContext& context, vyr::Vec3f view) const {
        vyr::ShadingState state = vkhost::makeState();
        state.rayDir = view;
        static_cast<const vyr::EnvironmentShader*>(object_.get())->shade(&context, &state);
        return {state.outColor.x, state.outColor.y, state.outColor.z, 1.0f};
    }

private:
    vkhost::ShaderPtr object_;
};

// Rows shared out among the cores; on a terminal a percentage on stderr, since a large sky takes
// a while.
class RowRunner {
public:
    RowRunner(long long totalRows, bool progress) : total_(totalRows), progress_(progress) {}

    void run(int rows, const std::function<void(vkhost::ScriptedContext&, int)>& row) {
        std::atomic<int> next{0};
        const unsigned count = std::max(1u, std::min(std::thread::hardware_concurrency(), 64u));
        auto work = [&] {
            vkhost::ScriptedContext context;
            context.recording = false;  // the sky calls nothing back; keep it that way cheaply
            for (int y = next++; y < rows; y = next++) {
                row(context, y);
                report(++done_);
            }
        };
        std::vector<std::thread> threads;
        for (unsigned t = 1; t < count; ++t) threads.emplace_back(work);
        work();
        for (std::thread& t : threads) t.join();
    }

    ~RowRunner() {
        if (progress_ && shown_ >= 0) std::fprintf(stderr, "\r%*s\r", 20, "");
    }

private:
    void report(long long done) {
        if (!progress_) return;
        const int percent = static_cast<int>(100 * done / total_);
        int shown = shown_.load();
        if (percent > shown && shown_.compare_exchange_strong(shown, percent)) {
            std::fprintf(stderr, "\rsky: %3d%%", percent);
            std::fflush(stderr);
        }
    }

    long long total_;
    bool progress_;
    std::atomic<long long> done_{0};
    std::atomic<int> shown_{-1};
};

// Looking up at the dome: north at the top, east on the left, the zenith in the centre and the
// horizon on the rim (angle from the zenith proportional to the radius). Outside the circle
// transparent black.
vkimage::Image renderFisheye(const SkyRenderer& sky, int size, RowRunner& rows) {
    vkimage::Image image(size, size, {0.0f, 0.0f, 0.0f, 0.0f});
    rows.run(size, [&](vkhost::ScriptedContext& context, int y) {
        for (int x = 0; x < size; ++x) {
            const double east = 1.0 - 2.0 * (x + 0.5) / size;
            const double north = 1.0 - 2.0 * (y + 0.5) / size;
            const double radius = std::hypot(east, north);
            if (radius > 1.0) {
                continue;
            }
            const double azimuth = std::atan2(east, north) / kDegrees;
            image.at(x, y) = sky.shade(context, direction(azimuth, 90.0 * (1.0 - radius)));
        }
    });
    return image;
}

// Azimuth 0 (north) to 360 from left to right, through east; zenith at the top, nadir at the
// bottom.
vkimage::Image renderLatLong(const SkyRenderer& sky, int height, RowRunner& rows) {
    const int width = 2 * height;
    vkimage::Image image(width, height);
    rows.run(height, [&](vkhost::ScriptedContext& context, int y) {
        const double elevation = 90.0 - 180.0 * (y + 0.5) / height;
        for (int x = 0; x < width; ++x) {
            image.at(x, y) = sky.shade(context, direction(360.0 * (x + 0.5) / width, elevation));
        }
    });
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

// The turbidities the daylight model was fitted for; beyond them it still gives finite colours,
// but not a sky anyone has measured.
constexpr float kFittedHaze = 8.0f;

void runSky(const SkyOptions& options) {
    const vyr::Vec3f sun = parseSun(options.sun);
    if (options.haze > kFittedHaze) {
        std::fprintf(stderr,
                     "vexakelo: warning: --haze %g: the sky model is fitted for haze 0 to %g "
                     "(turbidity 2 to 10); the picture is an extrapolation\n",
                     static_cast<double>(options.haze), static_cast<double>(kFittedHaze));
    }
    OutputFiles outputs;
    outputs.add(options.output, "OUT", {".png", ".exr"});
    const std::string panoramaPath = latLongPath(options.output);
    outputs.add(panoramaPath, "the panorama (OUT_latlong)", {".png", ".exr"});
    outputs.prepare();

    const std::string& libraryPath = globalOptions().libraryPath;
    std::optional<vkhost::ShaderLibrary> library;
    try {
        if (libraryPath.empty()) {
            library.emplace();
        } else {
            library.emplace(libraryPath);
        }
        const SkyRenderer sky(*library, sun, options.haze);
        const long long size = options.size;
        RowRunner rows(size + size, ::isatty(STDERR_FILENO) == 1);
        const vkimage::Image fisheye = renderFisheye(sky, options.size, rows);
        const vkimage::Image latLong = renderLatLong(sky, options.size, rows);

        const float exposure = options.exposure.value_or(autoExposure(latLong));
        outputs.write(options.output, [&](const std::string& to) {
            vkimage::writeImage(to, fisheye, vkimage::ToneMap::Filmic, exposure);
        });
        outputs.write(panoramaPath, [&](const std::string& to) {
            vkimage::writeImage(to, latLong, vkimage::ToneMap::Filmic, exposure);
        });
        outputs.commit();
    } catch (const vkhost::LoadError& e) {
        throw Failure(e.what());
    } catch (const vkhost::ParameterError& e) {
        throw Failure(std::string(kSky) + ": " + e.what());
    }
}

void setupSky(CLI::App& app) {
    auto options = std::make_shared<SkyOptions>();
    CLI::App* command = app.add_subcommand(
        "sky", "render the daylight sky as a fisheye (OUT) and a lat-long panorama (OUT_latlong)");
    command
        ->add_option("--sun", options->sun,
                     "sun azimuth from north through east and elevation, degrees: AZ,EL")
        ->required()
        ->check(CLI::Validator(
            [](std::string& text) -> std::string {
                try {
                    parseSun(text);
                } catch (const Failure& e) {
                    return e.what();
                }
                return {};
            },
            ""));
    command->add_option("--haze", options->haze, "turbidity minus 2, 0 to 30 (fitted to 8)")
        ->check(finiteNumber(0.0, 30.0, "turbidity minus 2"))
        ->capture_default_str();
    command
        ->add_option("--size", options->size,
                     "fisheye width and height, panorama height, 8 to 8192")
        ->check(CLI::Range(8, 8192))
        ->capture_default_str();
    command
        ->add_option("--exposure", options->exposure,
                     "PNG exposure, above 0 (default: the panorama's mean luminance maps to 1)")
        ->check(positiveNumber());
    command
        ->add_option("OUT", options->output,
                     "output image, .png (tone-mapped) or .exr (linear); writes OUT and "
                     "OUT_latlong with the same extension; missing directories are made")
        ->required();
    command->callback([options] { runSky(*options); });
}

const Registration kRegistration{"sky", &setupSky};

}  // namespace
}  // namespace vexakelo::cli
