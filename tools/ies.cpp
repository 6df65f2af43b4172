// vexakelo ies FILE...: reads IES LM-63 photometric files the way host applications should
// (canonicalised, then through the guarded reader), prints what each holds, and optionally writes
// the web texture, the light's CDF tables and a polar candela plot.
#ifdef VEXAKELO_CLI_IMAGES
#include <cairo/cairo.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "command.h"
#include "ies_loading.h"
#include "image_io.h"
#include "output_files.h"
#include "photometry/ies_file.h"

namespace {

namespace fs = std::filesystem;
using vexakelo::cli::Failure;
using vexakelo::cli::OutputFiles;

using vkhost::IesLoadError;
using Loaded = vkhost::LoadedIes;

struct Options {
    std::vector<std::string> files;
    bool strict = false;
    bool json = false;
    std::string web;
    std::string cdf;
    std::string plot;
    std::string applyTilt;
    bool grid = false;
};

const char* typeName(int type) {
    switch (type) {
        case 1: return "C";
        case 2: return "B";
        case 3: return "A";
        default: return "unknown";
    }
}

const char* symmetryName(int mode) {
    switch (mode) {
        case 0: return "none";
        case 1: return "single (bilateral)";
        case 2: return "double (quadrant)";
        case 3: return "axial";
        default: return "unknown";
    }
}

std::vector<std::string> keywordsOf(const IESFileData& d) {
    std::vector<std::string> out;
    for (char** k = d.keywords; k != nullptr && *k != nullptr; ++k) {
        out.emplace_back(*k);
    }
    return out;
}

std::string number(double value) {
    if (!std::isfinite(value)) {
        return "null";
    }
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%.9g", value);
    return buffer;
}

// JSON string; bytes above 127 are read as Latin-1 so the output is always valid UTF-8.
std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const char ch : text) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == '"' || c == '\\') {
            out.push_back('\\');
            out.push_back(ch);
        } else if (c < 0x20 || c >= 0x7F) {
            char buffer[8];
            std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
            out += buffer;
        } else {
            out.push_back(ch);
        }
    }
    return out + "\"";
}

// --- Tilt -------------------------------------------------------------------------------------

const char* geometryName(int geometry) {
    switch (geometry) {
        case 1: return "lamp vertical, base up or down";
        case 2: return "lamp horizontal along the 0-180 degree plane";
        case 3: return "lamp horizontal along the 90-270 degree plane";
        default: return "unknown geometry";
    }
}

// The factor at a tilt angle: linear between the table's angles, the end values beyond them.
double tiltFactor(const vkhost::TiltData& t, double angle) {
    const std::size_t n = t.angles.size();
    if (angle <= t.angles[0]) return t.factors[0];
    for (std::size_t k = 1; k < n; ++k) {
        if (angle <= t.angles[k]) {
            const double a0 = t.angles[k - 1], a1 = t.angles[k];
            const double f = a1 > a0 ? (angle - a0) / (a1 - a0) : 1.0;
            return t.factors[k - 1] + f * (t.factors[k] - t.factors[k - 1]);
        }
    }
    return t.factors[n - 1];
}

// Sine and cosine of an angle in degrees, exact at multiples of 90 degrees, so that directions in
// and across the photometric planes get exact tilt angles.
double sinDegrees(double a) {
    const double r = std::fmod(a, 360.0);
    if (r == 0.0 || r == 180.0 || r == -180.0) return 0.0;
    if (r == 90.0 || r == -270.0) return 1.0;
    if (r == 270.0 || r == -90.0) return -1.0;
    return std::sin(a * M_PI / 180.0);
}
double cosDegrees(double a) { return sinDegrees(a + 90.0); }

// The tilt angle of the direction (θ from nadir, φ the horizontal angle, type C) for the
// lamp-to-luminaire geometry: the direction's angle from the nadir measured in the plane the
// tilt turns the lamp in. A vertical lamp (1) tilts the same in every plane, so the angle is θ;
// a horizontal lamp along the 0-180 plane (2) is tilted by turning in that plane, so the angle
// is the direction's projection onto it, atan2(sin θ cos φ, cos θ); along the 90-270 plane (3)
// the same with sin φ. A direction along the axis the tilt turns about (projection 0, 0) takes
// no tilt.
double tiltAngle(int geometry, double theta, double phi) {
    if (geometry == 1) {
        return theta;
    }
    const double across = sinDegrees(theta) * (geometry == 2 ? cosDegrees(phi) : sinDegrees(phi));
    return std::fabs(std::atan2(across, cosDegrees(theta))) * 180.0 / M_PI;
}

std::string tiltSummary(const vkhost::TiltData& t) {
    if (t.source == "NONE") {
        return "none";
    }
    std::string out = t.source == "INCLUDE" ? std::string("INCLUDE")
                                            : "from file " + t.filePath;
    if (!t.present()) {
        return out + " (not read: " + t.problem + ")";
    }
    float low = t.factors[0], high = t.factors[0];
    for (const float f : t.factors) {
        low = std::min(low, f);
        high = std::max(high, f);
    }
    return out + ", geometry " + std::to_string(t.geometry) + " (" + geometryName(t.geometry) +
           "), " + std::to_string(t.angles.size()) + " angles " + number(t.angles.front()) +
           " .. " + number(t.angles.back()) + ", factors " + number(low) + " .. " +
           number(high) + "; the web light ignores tilt (--apply-tilt bakes it in)";
}

// --- Flux --------------------------------------------------------------------------------------

struct Flux {
    bool computed = false;
    double total = 0.0;                 // lm, candela × multiplier over the sphere
    std::vector<double> zones;          // 18 zones of 10 degrees from the nadir
    double rated = 0.0;                 // lamps × lumens per lamp (≤ 0 for absolute photometry)
};

// Zonal lumens from the grid (type C): at each vertical angle the mean candela over the circle
// (trapezoids between horizontal angles; the covered part stands for the whole under the
// symmetries, a full list closes the circle), linear between vertical angles, integrated as
// ∫ I(θ) sin θ dθ · 2π in steps of 0.05 degrees.
Flux fluxOf(const IESFileData& d) {
    Flux flux;
    flux.rated = static_cast<double>(d.lampCount) * d.lumensPerLamp;
    if (d.photometricType != 1) {
        return flux;
    }
    const int nV = d.verticalAngleCount, nH = d.horizontalAngleCount;
    const double scale = d.candelaMultiplier;
    std::vector<double> mean(static_cast<std::size_t>(nV), 0.0);
    for (int v = 0; v < nV; ++v) {
        auto cd = [&](int h) { return static_cast<double>(d.candelas[h * nV + v]) * scale; };
        if (nH == 1 || d.symmetryMode == 3) {
            mean[v] = cd(0);
            continue;
        }
        double area = 0.0;
        for (int h = 0; h + 1 < nH; ++h) {
            area += 0.5 * (cd(h) + cd(h + 1)) * (d.horizontalAngles[h + 1] - d.horizontalAngles[h]);
        }
        double span = static_cast<double>(d.horizontalAngles[nH - 1]) - d.horizontalAngles[0];
        if (d.symmetryMode == 0 && span < 360.0) {
            const double gap = 360.0 - span;  // the circle closes from the last angle to the first
            area += 0.5 * (cd(nH - 1) + cd(0)) * gap;
            span = 360.0;
        }
        mean[v] = span > 0.0 ? area / span : cd(0);
    }
    auto meanAt = [&](double theta) {
        if (theta < d.verticalAngles[0] || theta > d.verticalAngles[nV - 1]) return 0.0;
        for (int v = 0; v + 1 < nV; ++v) {
            const double a = d.verticalAngles[v], b = d.verticalAngles[v + 1];
            if (theta <= b) {
                return b > a ? mean[v] + (theta - a) / (b - a) * (mean[v + 1] - mean[v]) : mean[v];
            }
        }
        return mean[nV - 1];
    };
    constexpr double kStep = 0.05;
    constexpr double kDegree = M_PI / 180.0;
    flux.zones.assign(18, 0.0);
    for (int k = 0; k < 3600; ++k) {
        const double theta = (k + 0.5) * kStep;
        const double lumens =
            meanAt(theta) * std::sin(theta * kDegree) * kStep * kDegree * 2.0 * M_PI;
        flux.zones[static_cast<std::size_t>(k / 200)] += lumens;
        flux.total += lumens;
    }
    flux.computed = true;
    return flux;
}

bool fluxDiffers(const Flux& f) {
    return f.computed && f.rated > 0.0 && std::fabs(f.total - f.rated) > 0.05 * f.rated;
}

std::string fluxSummary(const Flux& f, const IESFileData& d) {
    if (!f.computed) {
        return "not computed for photometric type " + std::string(typeName(d.photometricType));
    }
    std::string out = number(std::round(f.total * 10.0) / 10.0) + " lm from the grid (candela x " +
                      "multiplier)";
    if (f.rated <= 0.0) {
        return out + "; no rated lamp lumens (absolute photometry)";
    }
    char ratio[64];
    std::snprintf(ratio, sizeof ratio, "%.1f %%", 100.0 * f.total / f.rated);
    out += ", rated " + std::to_string(d.lampCount) + " x " + number(d.lumensPerLamp) + " = " +
           number(f.rated) + " lm, grid/rated " + ratio;
    if (fluxDiffers(f)) {
        out += " -- differs by more than 5 %";
    }
    return out;
}

// --- Grid --------------------------------------------------------------------------------------

// The candela table as the file gives it (before the multiplier): a header row of horizontal
// angles, then one row per vertical angle.
std::string gridCsv(const IESFileData& d) {
    const int nV = d.verticalAngleCount, nH = d.horizontalAngleCount;
    std::string out = "vertical\\horizontal";
    for (int h = 0; h < nH; ++h) out.append(",").append(number(d.horizontalAngles[h]));
    out += '\n';
    for (int v = 0; v < nV; ++v) {
        out += number(d.verticalAngles[v]);
        for (int h = 0; h < nH; ++h) out.append(",").append(number(d.candelas[h * nV + v]));
        out += '\n';
    }
    return out;
}

std::string jsonNumbers(const float* values, int count) {
    std::string out = "[";
    for (int i = 0; i < count; ++i) out += (i ? ", " : "") + number(values[i]);
    return out + "]";
}

void printSummary(const std::string& path, const Loaded& loaded, bool strict) {
    const IESFileData& d = *loaded.file->data();
    const int nV = d.verticalAngleCount;
    const int nH = d.horizontalAngleCount;
    std::cout << path << '\n';
    if (strict) {
        std::cout << "  read: raw text through the line reader (--strict)\n";
    } else {
        std::cout << "  canonical: " << loaded.canonical << '\n';
    }
    std::cout << "  edition " << d.version << ", photometric type " << typeName(d.photometricType)
              << " (" << d.photometricType << "), units "
              << (d.unitsType == 1 ? "feet" : d.unitsType == 2 ? "metres" : "unknown") << " ("
              << d.unitsType << ")\n";
    std::cout << "  lamps " << d.lampCount << " x " << number(d.lumensPerLamp) << " lm"
              << (d.lumensPerLamp < 0.0f ? " (absolute photometry)" : "") << ", candela multiplier "
              << number(d.candelaMultiplier) << ", ballast factor " << number(d.ballastFactor)
              << ", input " << number(d.inputWatts) << " W\n";
    std::cout << "  luminous opening " << number(d.width) << " x " << number(d.length) << " x "
              << number(d.height) << '\n';
    std::cout << "  vertical angles   " << nV << ": " << number(d.verticalAngles[0]) << " .. "
              << number(d.verticalAngles[nV - 1]) << '\n';
    std::cout << "  horizontal angles " << nH << ": " << number(d.horizontalAngles[0]) << " .. "
              << number(d.horizontalAngles[nH - 1]) << '\n';
    std::cout << "  symmetry " << d.symmetryMode << " (" << symmetryName(d.symmetryMode) << ")\n";
    std::cout << "  maximum candela " << number(d.maxCandela) << " (x multiplier "
              << number(static_cast<double>(d.maxCandela) * d.candelaMultiplier) << ")\n";
    std::cout << "  tilt " << tiltSummary(loaded.tilt) << '\n';
    std::cout << "  flux " << fluxSummary(fluxOf(d), d) << '\n';
    try {
        const vkhost::WebSize size = vkhost::checkedWebSize(d);
        std::cout << "  web texture " << size.wv << " x " << size.hh << '\n';
    } catch (const IesLoadError& e) {
        std::cout << "  web texture none: " << e.what() << '\n';
    }
    const auto keywords = keywordsOf(d);
    std::cout << "  keywords " << keywords.size() << '\n';
    for (const std::string& k : keywords) {
        std::cout << "    " << k << '\n';
    }
}

std::string jsonOf(const std::string& path, const Loaded& loaded, bool strict, bool grid) {
    const IESFileData& d = *loaded.file->data();
    const int nV = d.verticalAngleCount;
    const int nH = d.horizontalAngleCount;
    std::ostringstream o;
    o << "{\"file\": " << quoted(path) << ", \"ok\": true";
    o << ", \"read\": " << quoted(strict ? "strict" : "canonical");
    if (!strict) {
        o << ", \"canonical\": " << quoted(loaded.canonical)
          << ", \"canonicalChanges\": " << loaded.changes;
    }
    o << ", \"edition\": " << d.version << ", \"photometricType\": " << d.photometricType
      << ", \"photometricTypeName\": " << quoted(typeName(d.photometricType))
      << ", \"unitsType\": " << d.unitsType << ", \"lampCount\": " << d.lampCount
      << ", \"lumensPerLamp\": " << number(d.lumensPerLamp)
      << ", \"candelaMultiplier\": " << number(d.candelaMultiplier)
      << ", \"ballastFactor\": " << number(d.ballastFactor)
      << ", \"ballastLampFactor\": " << number(d.ballastLampFactor)
      << ", \"inputWatts\": " << number(d.inputWatts) << ", \"width\": " << number(d.width)
      << ", \"length\": " << number(d.length) << ", \"height\": " << number(d.height)
      << ", \"verticalAngles\": {\"count\": " << nV
      << ", \"first\": " << number(d.verticalAngles[0])
      << ", \"last\": " << number(d.verticalAngles[nV - 1]) << "}"
      << ", \"horizontalAngles\": {\"count\": " << nH
      << ", \"first\": " << number(d.horizontalAngles[0])
      << ", \"last\": " << number(d.horizontalAngles[nH - 1]) << "}"
      << ", \"symmetryMode\": " << d.symmetryMode
      << ", \"symmetryName\": " << quoted(symmetryName(d.symmetryMode))
      << ", \"maxCandela\": " << number(d.maxCandela) << ", \"keywords\": [";
    const auto keywords = keywordsOf(d);
    for (std::size_t i = 0; i < keywords.size(); ++i) {
        o << (i ? ", " : "") << quoted(keywords[i]);
    }
    o << "]";
    const vkhost::TiltData& t = loaded.tilt;
    o << ", \"tilt\": {\"source\": " << quoted(t.source);
    if (t.source != "NONE" && t.source != "INCLUDE") {
        o << ", \"file\": " << quoted(t.filePath);
    }
    if (!t.problem.empty()) {
        o << ", \"problem\": " << quoted(t.problem);
    }
    if (t.present()) {
        o << ", \"geometry\": " << t.geometry << ", \"angles\": "
          << jsonNumbers(t.angles.data(), static_cast<int>(t.angles.size()))
          << ", \"factors\": "
          << jsonNumbers(t.factors.data(), static_cast<int>(t.factors.size()))
          << ", \"ignoredByWebLight\": true";
    }
    o << "}";
    const Flux flux = fluxOf(d);
    o << ", \"flux\": {\"computed\": " << (flux.computed ? "true" : "false");
    if (flux.computed) {
        o << ", \"lumens\": " << number(flux.total) << ", \"zones\": [";
        for (std::size_t z = 0; z < flux.zones.size(); ++z) {
            o << (z ? ", " : "") << "{\"from\": " << 10 * z << ", \"to\": " << 10 * (z + 1)
              << ", \"lumens\": " << number(flux.zones[z]) << "}";
        }
        o << "]";
    }
    o << ", \"ratedLumens\": " << number(flux.rated)
      << ", \"differsFromRated\": " << (fluxDiffers(flux) ? "true" : "false") << "}";
    if (grid) {
        o << ", \"grid\": {\"vertical\": " << jsonNumbers(d.verticalAngles, nV)
          << ", \"horizontal\": " << jsonNumbers(d.horizontalAngles, nH) << ", \"candela\": [";
        for (int h = 0; h < nH; ++h) {
            o << (h ? ", " : "") << jsonNumbers(d.candelas + static_cast<std::size_t>(h) * nV, nV);
        }
        o << "]}";
    }
    o << "}";
    return o.str();
}

// The false-colour preview written beside the --web texture: OUT.exr gives OUT.png.
std::string previewPath(const std::string& web) {
    fs::path p(web);
    p.replace_extension(".png");
    return p.string();
}

// --- Images ------------------------------------------------------------------------------------
#ifdef VEXAKELO_CLI_IMAGES

struct Tables {
    std::int32_t wv = 0;
    std::int32_t hh = 0;
};

// Checks the sizes first: the library would make whatever the angle lists give.
Tables generate(IESFile& file) {
    vkhost::checkedWebSize(*file.data());
    Tables t;
    if (file.data()->photometricType == 1) {
        file.generateTextureTypeC(t.wv, t.hh);
    } else {
        file.generateTextureTypeAB(t.wv, t.hh);
    }
    file.generateIESLightCDF(t.wv, t.hh);
    return t;
}

// A perceptual dark-to-bright ramp (black, purple, orange, pale yellow) for the preview.
vyr::Vec4f falseColour(float value) {
    static constexpr float kStops[5][3] = {
        {0.0f, 0.0f, 0.02f}, {0.25f, 0.02f, 0.45f}, {0.75f, 0.15f, 0.3f},
        {0.98f, 0.55f, 0.05f}, {1.0f, 1.0f, 0.75f}};
    const float v = value > 0.0f ? (value < 1.0f ? value : 1.0f) : 0.0f;
    const float x = v * 4.0f;
    const int i = x >= 4.0f ? 3 : static_cast<int>(x);
    const float f = x - static_cast<float>(i);
    vyr::Vec4f c{0, 0, 0, 1};
    float* out[3] = {&c.x, &c.y, &c.z};
    for (int k = 0; k < 3; ++k) {
        *out[k] = kStops[i][k] + (kStops[i + 1][k] - kStops[i][k]) * f;
    }
    return c;
}

// The preview keeps at most this many texels per side (every n-th texel of a finer texture): it
// is for looking at, and encoding a fine lamp's full texture as PNG cost more than making it.
constexpr int kPreviewSide = 1024;

void writeWeb(const std::string& out, IESFile& file, const Tables& t, OutputFiles& outputs) {
    vkimage::Image linear(t.wv, t.hh);
    const auto& texels = file.webTexels();
    for (int y = 0; y < t.hh; ++y) {
        for (int x = 0; x < t.wv; ++x) {
            const float v = texels[static_cast<std::size_t>(y) * t.wv + x];
            linear.at(x, y) = {v, v, v, 1.0f};
        }
    }
    const int stride = (std::max(t.wv, t.hh) + kPreviewSide - 1) / kPreviewSide;
    vkimage::Image preview((t.wv + stride - 1) / stride, (t.hh + stride - 1) / stride);
    for (int y = 0; y < preview.height; ++y) {
        for (int x = 0; x < preview.width; ++x) {
            preview.at(x, y) = falseColour(linear.at(x * stride, y * stride).x);
        }
    }
    // Uncompressed: deflating a fine lamp's float texels took several times as long as making them.
    outputs.write(out, [&](const std::string& to) { vkimage::writeExr(to, linear, false); });
    outputs.write(previewPath(out),
                  [&](const std::string& to) { vkimage::writeImage(to, preview); });
}

// One image of Wv × Hh: red is the φ CDF as uploaded (element y·Wv + x), green the θ CDF of
// column x (the same in every row).
void writeCdf(const std::string& out, IESFile& file, const Tables& t, OutputFiles& outputs) {
    vkimage::Image image(t.wv, t.hh);
    for (int y = 0; y < t.hh; ++y) {
        for (int x = 0; x < t.wv; ++x) {
            image.at(x, y) = {file.phiCdf()[static_cast<std::size_t>(y) * t.wv + x],
                              file.thetaCdf()[static_cast<std::size_t>(x)], 0.0f, 1.0f};
        }
    }
    outputs.write(out, [&](const std::string& to) { vkimage::writeExr(to, image, false); });
}

double niceCeiling(double value) {
    if (!(value > 0.0)) {
        return 1.0;
    }
    const double p = std::pow(10.0, std::floor(std::log10(value)));
    for (const double m : {1.0, 1.5, 2.0, 2.5, 3.0, 4.0, 5.0, 6.0, 8.0, 10.0}) {
        if (m * p >= value) {
            return m * p;
        }
    }
    return 10.0 * p;
}

struct Cut {
    const char* label;
    double rightPhi;  // plane drawn on the right half
    double leftPhi;   // plane drawn on the left half
    double r, g, b;
};

// Polar candela diagram: 0° (nadir) at the bottom, 180° at the top; each curve is a vertical
// plane, its two halves on either side.
void writePlot(const std::string& out, const std::string& title, const IESFile& file,
               OutputFiles& outputs) {
    const IESFileData& d = *file.data();
    const bool typeC = d.photometricType == 1;
    const double scale = static_cast<double>(d.maxCandela) * d.candelaMultiplier;
    std::vector<Cut> cuts;
    if (typeC) {
        cuts.push_back({"C0 - C180", 0.0, 180.0, 0.85, 0.15, 0.1});
        if (d.symmetryMode != 3) {
            cuts.push_back({"C90 - C270", 90.0, 270.0, 0.1, 0.3, 0.85});
        }
        if (d.symmetryMode == 0 || d.symmetryMode == 1) {
            cuts.push_back({"C45 - C225", 45.0, 225.0, 0.1, 0.6, 0.2});
        }
    } else {
        cuts.push_back({"H = 0 (vertical plane)", 0.0, 0.0, 0.85, 0.15, 0.1});
    }
    // Sample the curves first: their largest value sets the rings.
    constexpr int kSteps = 360;
    std::vector<std::vector<std::pair<double, double>>> curves;  // (angle from nadir, cd)
    double largest = 0.0;
    for (const Cut& cut : cuts) {
        std::vector<std::pair<double, double>> points;
        for (int k = -kSteps / 2; k <= kSteps / 2; ++k) {
            const double a = k * 1.0;  // −180..180: negative on the left half
            double value = 0.0;
            if (typeC) {
                const double theta = std::fabs(a);
                value = file.sampleIntensity(theta, a >= 0.0 ? cut.rightPhi : cut.leftPhi);
            } else if (std::fabs(a) <= 90.0) {
                value = file.sampleIntensity(a, cut.rightPhi);
            }
            // A negative value (in the table) would be drawn on the opposite side.
            const double cd = std::isfinite(value) ? std::max(0.0, value * scale) : 0.0;
            largest = std::max(largest, cd);
            points.emplace_back(a, cd);
        }
        curves.push_back(std::move(points));
    }
    const double ring = niceCeiling(largest);

    constexpr int kSize = 800;
    constexpr double kCx = 400.0, kCy = 430.0, kRadius = 320.0;
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kSize, kSize);
    cairo_t* cr = cairo_create(surface);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);

    // Rings with their candela values, and spokes every 30 degrees.
    cairo_set_line_width(cr, 1.0);
    cairo_set_font_size(cr, 12.0);
    for (int k = 1; k <= 4; ++k) {
        cairo_set_source_rgb(cr, 0.8, 0.8, 0.8);
        cairo_arc(cr, kCx, kCy, kRadius * k / 4.0, 0, 2 * M_PI);
        cairo_stroke(cr);
        cairo_set_source_rgb(cr, 0.35, 0.35, 0.35);
        const std::string label = number(ring * k / 4.0) + " cd";
        cairo_move_to(cr, kCx + 4, kCy + kRadius * k / 4.0 - 4);
        cairo_show_text(cr, label.c_str());
    }
    for (int deg = 0; deg < 360; deg += 30) {
        const double a = deg * M_PI / 180.0;
        cairo_set_source_rgb(cr, 0.85, 0.85, 0.85);
        cairo_move_to(cr, kCx, kCy);
        cairo_line_to(cr, kCx + kRadius * std::sin(a), kCy + kRadius * std::cos(a));
        cairo_stroke(cr);
        const int shown = deg <= 180 ? deg : 360 - deg;
        const std::string label = std::to_string(shown) + "\u00b0";
        cairo_set_source_rgb(cr, 0.3, 0.3, 0.3);
        cairo_move_to(cr, kCx + (kRadius + 18) * std::sin(a) - 10,
                      kCy + (kRadius + 18) * std::cos(a) + 4);
        cairo_show_text(cr, label.c_str());
    }
    // The curves.
    cairo_set_line_width(cr, 2.0);
    for (std::size_t c = 0; c < cuts.size(); ++c) {
        cairo_set_source_rgb(cr, cuts[c].r, cuts[c].g, cuts[c].b);
        bool first = true;
        for (const auto& [angle, cd] : curves[c]) {
            const double a = angle * M_PI / 180.0;
            const double r = kRadius * cd / ring;
            const double x = kCx + r * std::sin(a);
            const double y = kCy + r * std::cos(a);
            if (first) {
                cairo_move_to(cr, x, y);
                first = false;
            } else {
                cairo_line_to(cr, x, y);
            }
        }
        cairo_stroke(cr);
        // Legend.
        cairo_rectangle(cr, 20, 60 + 20.0 * static_cast<double>(c), 24, 4);
        cairo_fill(cr);
        cairo_set_source_rgb(cr, 0.1, 0.1, 0.1);
        cairo_move_to(cr, 52, 66 + 20.0 * static_cast<double>(c));
        cairo_show_text(cr, cuts[c].label);
    }
    // Title.
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_set_font_size(cr, 16.0);
    cairo_move_to(cr, 20, 28);
    cairo_show_text(cr, title.c_str());
    cairo_set_font_size(cr, 12.0);
    const std::string subtitle = std::string("type ") + typeName(d.photometricType) +
                                 ", symmetry " + symmetryName(d.symmetryMode) + ", maximum " +
                                 number(scale) + " cd (candela x multiplier)";
    cairo_move_to(cr, 20, 46);
    cairo_show_text(cr, subtitle.c_str());
    cairo_destroy(cr);

    outputs.write(out, [&](const std::string& to) {
        const cairo_status_t status = cairo_surface_write_to_png(surface, to.c_str());
        if (status != CAIRO_STATUS_SUCCESS) {
            cairo_surface_destroy(surface);
            throw Failure(out + ": cannot write the plot: " + cairo_status_to_string(status));
        }
    });
    cairo_surface_destroy(surface);
}
#endif  // VEXAKELO_CLI_IMAGES

// Numbers on lines of at most 255 characters.
void appendWrapped(std::string& out, const float* values, std::size_t count) {
    std::string line;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string n = number(values[i]);
        if (!line.empty() && line.size() + 1 + n.size() > 255) {
            out += line + '\n';
            line.clear();
        }
        line += (line.empty() ? "" : " ") + n;
    }
    out += line + '\n';
}

// The lamp in canonical layout with each candela value multiplied by the tilt factor of its
// direction, and TILT=NONE.
void writeTilted(const std::string& out, const std::string& path, const Loaded& loaded,
                 OutputFiles& outputs) {
    const IESFileData& d = *loaded.file->data();
    const vkhost::TiltData& t = loaded.tilt;
    if (!t.present()) {
        throw Failure(path + ": --apply-tilt: the lamp has no tilt data" +
                      (t.problem.empty() ? std::string() : " (" + t.problem + ")"));
    }
    if (t.geometry < 1 || t.geometry > 3) {
        throw Failure(path + ": --apply-tilt: lamp-to-luminaire geometry " +
                      std::to_string(t.geometry) + " is not 1, 2 or 3");
    }
    if (d.photometricType != 1) {
        throw Failure(path + ": --apply-tilt: only type C lamps carry tilt data");
    }
    const int nV = d.verticalAngleCount, nH = d.horizontalAngleCount;
    std::string text = "IESNA:LM-63-2002\n";
    for (const std::string& k : keywordsOf(d)) {
        if (k.rfind("IESNA", 0) != 0) text += k + '\n';
    }
    text += "[OTHER] tilt factors (geometry " + std::to_string(t.geometry) +
            ") multiplied into the candela values\nTILT=NONE\n";
    const float luminaire[10] = {static_cast<float>(d.lampCount), d.lumensPerLamp,
                                 d.candelaMultiplier, static_cast<float>(nV),
                                 static_cast<float>(nH), static_cast<float>(d.photometricType),
                                 static_cast<float>(d.unitsType), d.width, d.length, d.height};
    appendWrapped(text, luminaire, 10);
    const float ballast[3] = {d.ballastFactor, d.ballastLampFactor, d.inputWatts};
    appendWrapped(text, ballast, 3);
    appendWrapped(text, d.verticalAngles, static_cast<std::size_t>(nV));
    appendWrapped(text, d.horizontalAngles, static_cast<std::size_t>(nH));
    std::vector<float> row(static_cast<std::size_t>(nV));
    for (int h = 0; h < nH; ++h) {
        for (int v = 0; v < nV; ++v) {
            const double factor =
                tiltFactor(t, tiltAngle(t.geometry, d.verticalAngles[v], d.horizontalAngles[h]));
            row[static_cast<std::size_t>(v)] =
                static_cast<float>(static_cast<double>(d.candelas[h * nV + v]) * factor);
        }
        appendWrapped(text, row.data(), row.size());
    }
    outputs.write(out, [&](const std::string& to) {
        std::ofstream file(to, std::ios::binary);
        file << text;
        file.close();
        if (!file) {
            throw Failure(out + ": cannot write the tilted lamp");
        }
    });
}

void run(const Options& options) {
    const bool writes = !options.web.empty() || !options.cdf.empty() || !options.plot.empty();
#ifndef VEXAKELO_CLI_IMAGES
    if (writes) vexakelo::cli::runInFullProgram();
#endif
    if ((writes || !options.applyTilt.empty()) && options.files.size() != 1) {
        throw vexakelo::cli::UsageError(
            "--web, --cdf, --plot and --apply-tilt take exactly one FILE");
    }
    if (options.grid && !options.json && options.files.size() != 1) {
        throw vexakelo::cli::UsageError(
            "--grid prints one CSV table: give one FILE, or add --json");
    }
    // Every output is checked, and missing directories made, before the lamp is read; the files
    // appear together at the end or not at all. An input is never overwritten.
    OutputFiles outputs;
    for (const std::string& path : options.files) outputs.addInput(path);
    if (!options.web.empty()) {
        outputs.add(options.web, "--web", {".exr"});
        outputs.add(previewPath(options.web), "the --web preview (OUT.png)", {".png"});
    }
    if (!options.cdf.empty()) outputs.add(options.cdf, "--cdf", {".exr"});
    if (!options.plot.empty()) outputs.add(options.plot, "--plot", {".png"});
    if (!options.applyTilt.empty()) outputs.add(options.applyTilt, "--apply-tilt", {".ies"});
    outputs.prepare();
    int failed = 0;
    std::string lastError;
    std::vector<std::string> json;
    for (const std::string& path : options.files) {
        try {
            Loaded loaded = vkhost::loadIes(path, options.strict, writes);
            const IESFileData& d = *loaded.file->data();
            const double multiplier = d.candelaMultiplier;
            if (!options.plot.empty() && !(multiplier > 0.0)) {
                throw Failure(path + ": --plot: candela multiplier " + number(multiplier) +
                              " makes every intensity 0 or negative; nothing to plot");
            }
            if (!(multiplier > 0.0)) {
                std::fprintf(stderr,
                             "vexakelo: warning: %s: candela multiplier %s makes every "
                             "intensity 0 or negative\n",
                             path.c_str(), number(multiplier).c_str());
            }
            if (options.json) {
                json.push_back(jsonOf(path, loaded, options.strict, options.grid));
            } else if (options.grid) {
                std::cout << gridCsv(*loaded.file->data());
            } else {
                printSummary(path, loaded, options.strict);
            }
            const vkhost::TiltData& tilt = loaded.tilt;
            if (!tilt.problem.empty()) {
                std::fprintf(stderr, "vexakelo: warning: %s: tilt file %s: %s; tilt ignored\n",
                             path.c_str(), tilt.filePath.c_str(), tilt.problem.c_str());
            }
            if (!options.applyTilt.empty()) {
                writeTilted(options.applyTilt, path, loaded, outputs);
            }
#ifdef VEXAKELO_CLI_IMAGES
            if (writes) {
                IESFile& file = *loaded.file;
                const Tables tables = generate(file);
                if (!options.web.empty()) writeWeb(options.web, file, tables, outputs);
                if (!options.cdf.empty()) writeCdf(options.cdf, file, tables, outputs);
                if (!options.plot.empty()) {
                    writePlot(options.plot, fs::path(path).filename().string(), file, outputs);
                }
            }
#endif
        } catch (const IesLoadError& e) {
            ++failed;
            lastError = path + ": " + e.what();
            if (options.json) {
                json.push_back("{\"file\": " + quoted(path) + ", \"ok\": false, \"error\": " +
                               quoted(e.what()) + "}");
            }
            if (options.files.size() > 1) {
                std::fprintf(stderr, "vexakelo: %s\n", lastError.c_str());
            }
        }
    }
    if (options.json) {
        std::cout << "[\n";
        for (std::size_t i = 0; i < json.size(); ++i) {
            std::cout << "  " << json[i] << (i + 1 < json.size() ? ",\n" : "\n");
        }
        std::cout << "]\n";
    }
    std::cout.flush();
    if (failed == 1 && options.files.size() == 1) {
        throw Failure(lastError);
    }
    if (failed > 0) {
        throw Failure(std::to_string(failed) + " of " + std::to_string(options.files.size()) +
                      " files could not be read");
    }
    // Machine-readable output keeps stdout to itself.
    outputs.commit(options.json || options.grid ? stderr : stdout);
}

void setupIes(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand(
        "ies", "Read IES LM-63 photometric files: summary, web texture, CDF tables, polar plot");
    sub->add_option("FILE", options->files, "IES files")->required();
    sub->add_flag("--strict", options->strict,
                  "read the raw file with the plain line reader (guarded) instead of the "
                  "canonicalised text");
    sub->add_flag("--json", options->json, "machine-readable output");
    sub->add_option("--web", options->web,
                    "write the web texture to OUT.exr (linear) and a false-colour preview to "
                    "OUT.png beside it (same name, .png)");
    sub->add_option("--cdf", options->cdf,
                    "write the CDF tables to OUT.exr (red: phi CDF, green: theta CDF per column)");
    sub->add_option("--plot", options->plot, "write a polar candela plot to OUT.png");
    sub->add_flag("--grid", options->grid,
                  "print the candela table as CSV (vertical angles down, horizontal across), or "
                  "add it to --json");
    sub->add_option("--apply-tilt", options->applyTilt,
                    "write OUT.ies: the lamp with its tilt factors multiplied into the candela "
                    "values (geometries 1-3) and TILT=NONE");
    sub->footer(
        "Outputs are checked before the lamp is read and appear together or not at all; an "
        "input file is never overwritten; missing directories are made. The files written are "
        "printed one a line (on stderr with --json or --grid).");
    sub->callback([options] { run(*options); });
}

const vexakelo::cli::Registration kRegistration{"ies", &setupIes};

}  // namespace
