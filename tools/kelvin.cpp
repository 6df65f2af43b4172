// `vexakelo kelvin`: the colour of a black-body temperature through IntensityColorTool, and a
// labelled swatch strip of temperatures from 1000 K to 12000 K.
#ifdef VEXAKELO_CLI_IMAGES
#include <cairo.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "image_io.h"
#include "output_files.h"
#include "photometry/intensity_color_tool.h"

namespace {

struct KelvinOptions {
    std::vector<float> temperature;  // zero or one value
    float scale = 1.0f;
    std::vector<float> tint = {1.0f, 1.0f, 1.0f};
    bool xyz = false;
    std::string swatch;
};

// The swatch: one column per 10 K from 1000 K to 12000 K, a tick and a label every 1000 K.
constexpr int kFirstKelvin = 1000;
constexpr int kLastKelvin = 12000;
constexpr int kKelvinPerColumn = 10;
constexpr int kMargin = 16;
constexpr int kStripHeight = 80;
constexpr int kLabelHeight = 40;

using vexakelo::cli::Failure;

std::string kelvinText(float kelvin) {
    char text[64];
    std::snprintf(text, sizeof text, "%g K", static_cast<double>(kelvin));
    return text;
}

bool finite(const vyr::Vec3f& c) {
    return std::isfinite(c.x) && std::isfinite(c.y) && std::isfinite(c.z);
}

vyr::Vec3f colourOf(float kelvin, const KelvinOptions& options) {
    const vyr::Vec3f tint{options.tint[0], options.tint[1], options.tint[2]};
    const vyr::Vec3f rgb = IntensityColorTool::kelvin2RGB(kelvin, options.scale, tint);
    if (!finite(rgb)) {
        // Cold bodies radiate too little visible light for single precision, hot ones too much.
        const bool hot = kelvin > 6500.0f;
        throw Failure(kelvinText(kelvin) + ": no colour (the black-body " +
                      (hot ? "radiance overflows" : "luminance underflows") +
                      " at this temperature)");
    }
    return rgb;
}

#ifdef VEXAKELO_CLI_IMAGES
// Display value of a column: the colour scaled so its brightest channel is 1 (the hue, not the
// luminance, is what a strip can show), encoded as cairo's 8-bit sRGB.
void setSource(cairo_t* cr, const vyr::Vec3f& rgb) {
    const float peak = std::max({rgb.x, rgb.y, rgb.z});
    const float k = peak > 0.0f ? 1.0f / peak : 0.0f;
    cairo_set_source_rgb(cr, vkimage::linearToSrgb8(rgb.x * k) / 255.0,
                         vkimage::linearToSrgb8(rgb.y * k) / 255.0,
                         vkimage::linearToSrgb8(rgb.z * k) / 255.0);
}

vkimage::Image renderSwatch(const KelvinOptions& options) {
    const int columns = (kLastKelvin - kFirstKelvin) / kKelvinPerColumn + 1;
    const int width = columns + 2 * kMargin;
    const int height = kMargin + kStripHeight + kLabelHeight;

    std::vector<vyr::Vec3f> colours(columns);
    for (int c = 0; c < columns; ++c) {
        colours[c] = colourOf(static_cast<float>(kFirstKelvin + c * kKelvinPerColumn), options);
    }

    const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
        cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height), &cairo_surface_destroy);
    const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> context(cairo_create(surface.get()),
                                                                     &cairo_destroy);
    cairo_t* const cr = context.get();
    if (cairo_status(cr) != CAIRO_STATUS_SUCCESS) {
        throw Failure(options.swatch + ": cannot draw (" +
                      cairo_status_to_string(cairo_status(cr)) + ")");
    }
    cairo_set_source_rgb(cr, 0.12, 0.12, 0.12);
    cairo_paint(cr);

    for (int c = 0; c < columns; ++c) {
        setSource(cr, colours[c]);
        cairo_rectangle(cr, kMargin + c, kMargin, 1, kStripHeight);
        cairo_fill(cr);
    }

    // Ticks and labels every 1000 K.
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, 12.0);
    cairo_set_source_rgb(cr, 0.9, 0.9, 0.9);
    cairo_set_line_width(cr, 1.0);
    const double stripBottom = kMargin + kStripHeight;
    for (int kelvin = kFirstKelvin; kelvin <= kLastKelvin; kelvin += 1000) {
        const double x = kMargin + (kelvin - kFirstKelvin) / kKelvinPerColumn + 0.5;
        cairo_move_to(cr, x, stripBottom);
        cairo_line_to(cr, x, stripBottom + 6);
        cairo_stroke(cr);
        const std::string label = std::to_string(kelvin) + " K";
        cairo_text_extents_t extents;
        cairo_text_extents(cr, label.c_str(), &extents);
        double left = x - extents.width / 2 - extents.x_bearing;
        left = std::clamp(left, 2.0, width - extents.width - 2.0);
        cairo_move_to(cr, left, stripBottom + 22);
        cairo_show_text(cr, label.c_str());
    }

    // The asked temperature, when on the strip: a marker above it.
    if (!options.temperature.empty()) {
        const float t = options.temperature[0];
        if (t >= kFirstKelvin && t <= kLastKelvin) {
            const double x = kMargin + (t - kFirstKelvin) / kKelvinPerColumn + 0.5;
            cairo_move_to(cr, x - 5, 2);
            cairo_line_to(cr, x + 5, 2);
            cairo_line_to(cr, x, kMargin - 2);
            cairo_close_path(cr);
            cairo_fill(cr);
        }
    }
    cairo_surface_flush(surface.get());
    if (cairo_status(cr) != CAIRO_STATUS_SUCCESS) {
        throw Failure(options.swatch + ": cannot draw (" +
                      cairo_status_to_string(cairo_status(cr)) + ")");
    }

    // Into a linear image: the writer encodes back to exactly these 8-bit values.
    vkimage::Image image(width, height);
    const unsigned char* data = cairo_image_surface_get_data(surface.get());
    const int stride = cairo_image_surface_get_stride(surface.get());
    for (int y = 0; y < height; ++y) {
        const auto* row = reinterpret_cast<const std::uint32_t*>(data + y * stride);
        for (int x = 0; x < width; ++x) {
            const std::uint32_t p = row[x];
            image.at(x, y) = {vkimage::srgb8ToLinear(static_cast<unsigned char>(p >> 16)),
                              vkimage::srgb8ToLinear(static_cast<unsigned char>(p >> 8)),
                              vkimage::srgb8ToLinear(static_cast<unsigned char>(p)), 1.0f};
        }
    }
    return image;
}

void drawSwatch(const KelvinOptions& options, vexakelo::cli::OutputFiles& outputs) {
    const vkimage::Image image = renderSwatch(options);
    outputs.write(options.swatch, [&](const std::string& to) { vkimage::writePng(to, image); });
}
#endif  // VEXAKELO_CLI_IMAGES

void runKelvin(const KelvinOptions& options) {
#ifndef VEXAKELO_CLI_IMAGES
    if (!options.swatch.empty()) vexakelo::cli::runInFullProgram();
#endif
    if (options.temperature.empty() && options.swatch.empty()) {
        throw vexakelo::cli::UsageError(
            "kelvin: give a temperature in kelvin, or --swatch OUT.png");
    }
    if (!options.temperature.empty() &&
        !(std::isfinite(options.temperature[0]) && options.temperature[0] >= 0.0f)) {
        throw Failure("kelvin: the temperature must be a number of kelvin, 0 or more");
    }
    if (!std::isfinite(options.scale)) {
        throw Failure("kelvin: --scale must be a finite number");
    }
    if (options.tint.size() != 3 || !std::all_of(options.tint.begin(), options.tint.end(),
                                                 [](float v) { return std::isfinite(v); })) {
        throw Failure("kelvin: --tint takes three finite numbers R,G,B");
    }
    vexakelo::cli::OutputFiles outputs;
    if (!options.swatch.empty()) {
        outputs.add(options.swatch, "--swatch", {".png"});
        outputs.prepare();
    }

    if (!options.temperature.empty()) {
        const float t = options.temperature[0];
        const vyr::Vec3f rgb = colourOf(t, options);
        std::printf("rgb %.9g %.9g %.9g\n", rgb.x, rgb.y, rgb.z);
        if (options.xyz) {
            const vyr::Vec3f xyz = IntensityColorTool::BlackBodyXYZ(t);
            const float sum = xyz.x + xyz.y + xyz.z;
            std::printf("xyz %.9g %.9g %.9g\n", xyz.x, xyz.y, xyz.z);
            std::printf("chromaticity %.6f %.6f\n", xyz.x / sum, xyz.y / sum);
        }
    }
#ifdef VEXAKELO_CLI_IMAGES
    if (!options.swatch.empty()) {
        drawSwatch(options, outputs);
        outputs.commit();
    }
#endif
}

void setupKelvin(CLI::App& app) {
    auto options = std::make_shared<KelvinOptions>();
    CLI::App* command = app.add_subcommand(
        "kelvin", "linear RGB of a black-body temperature (luminance = scale), or a swatch strip");
    command->add_option("temperature", options->temperature, "temperature in kelvin (0 = 6500)")
        ->expected(0, 1);
    command->add_option("--scale", options->scale, "luminance of the colour")
        ->capture_default_str();
    command->add_option("--tint", options->tint, "per-channel tint R,G,B")
        ->default_str("1,1,1")
        ->delimiter(',')
        ->expected(3);
    command->add_flag("--xyz", options->xyz, "also print the black-body XYZ and chromaticity");
    command->add_option("--swatch", options->swatch,
                        "draw 1000 K to 12000 K with labels into this PNG (missing directories "
                        "are made)");
    command->callback([options] { runKelvin(*options); });
}

const vexakelo::cli::Registration kRegistration{"kelvin", &setupKelvin};

}  // namespace
