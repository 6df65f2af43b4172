// `vexakelo material`: probes one material shader as a host would, for a ray arriving at a given
// angle on the z = 0 plane: its shade colour when every traced ray brings back white, its shadow
// colour, and what its sampler returns against what its evaluation integrates to.
//
//   vexakelo material vexa_kelo_Mtl_Dielectric --set u_roughValue=0.3 --incidence 40
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "command.h"
#include "option_checks.h"
#include "parameters.h"
#include "scripted_context.h"
#include "shader_library.h"

namespace {

struct Options {
    std::string shader;
    std::vector<std::string> sets;
    double incidence = 0.0;
    bool inside = false;
    int samples = 100000;
    unsigned seed = 1;
};

float parseFloat(const std::string& text, const std::string& key) {
    errno = 0;
    char* end = nullptr;
    const float value = std::strtof(text.c_str(), &end);
    if (text.empty() || end != text.c_str() + text.size() || errno == ERANGE ||
        !std::isfinite(value)) {
        throw vexakelo::cli::Failure(key + ": '" + text + "' is not a finite number");
    }
    return value;
}

vkhost::ParamValue parseValue(const vkhost::Declaration& d, const std::string& text) {
    switch (d.type) {
        case vkhost::ParamType::Bool:
            if (text == "true" || text == "1")
                return true;
            if (text == "false" || text == "0")
                return false;
            throw vexakelo::cli::Failure(d.name + ": '" + text + "' is not true or false");
        case vkhost::ParamType::Int: {
            const float v = parseFloat(text, d.name);
            if (v != std::floor(v) || std::fabs(v) > 2147483520.0f) {
                throw vexakelo::cli::Failure(d.name + ": '" + text + "' is not an integer");
            }
            return static_cast<std::int32_t>(v);
        }
        case vkhost::ParamType::Float:
            return parseFloat(text, d.name);
        case vkhost::ParamType::Vec3f: {
            const std::size_t a = text.find(',');
            const std::size_t b = a == std::string::npos ? a : text.find(',', a + 1);
            if (b == std::string::npos || text.find(',', b + 1) != std::string::npos) {
                throw vexakelo::cli::Failure(d.name + ": '" + text + "' is not r,g,b");
            }
            return vyr::Vec3f{parseFloat(text.substr(0, a), d.name),
                              parseFloat(text.substr(a + 1, b - a - 1), d.name),
                              parseFloat(text.substr(b + 1), d.name)};
        }
        default:
            throw vexakelo::cli::Failure(d.name + ": a " + vkhost::typeName(d.type) +
                                         " parameter cannot be set from the command line");
    }
}

// What a lobe flag of sampleBsdf stands for with this shader: the flags are shared, their
// meaning is the material's.
std::string lobeName(const std::string& shader, int lobe) {
    const bool ward = shader.rfind("vexa_kelo_Mtl_Ward", 0) == 0;
    const bool glazing = shader == "vexa_kelo_Mtl_Glazing";
    switch (lobe) {
        case 0: return "no sample";
        case 2: return "diffuse";
        case 4: return ward ? "glossy reflection" : "mirror reflection";
        case 16: return "glossy";
        case 32: return glazing ? "straight through" : "specular";
        default: return "flag " + std::to_string(lobe);
    }
}

// The library keeps its contracted arithmetic, which for some settings (a Glazing with u_level
// 0, for one) divides by zero; the probe says so instead of printing nan as if it were a colour.
void warnNotFinite(const Options& o, const char* slot, std::initializer_list<double> values) {
    std::string text;
    bool finiteValues = true;
    for (const double v : values) {
        finiteValues = finiteValues && std::isfinite(v);
        char number[32];
        std::snprintf(number, sizeof number, "%s%g", text.empty() ? "" : " ", v);
        text += number;
    }
    if (finiteValues) return;
    std::string settings;
    for (const std::string& set : o.sets) settings += (settings.empty() ? "" : " ") + set;
    std::fprintf(stderr, "vexakelo: warning: %s: %s gives %s with %s\n", o.shader.c_str(), slot,
                 text.c_str(), settings.empty() ? "the defaults" : settings.c_str());
}

vyr::ShadingState probeState(const Options& o) {
    vyr::ShadingState s = vkhost::makeState();
    const double t = o.incidence * 3.14159265358979323846 / 180.0;
    const float sx = static_cast<float>(std::sin(t));
    const float cz = static_cast<float>(std::cos(t));
    s.rayDir = {sx, 0.0f, o.inside ? cz : -cz};
    s.rayOrigin = {-s.rayDir.x, 0.0f, -s.rayDir.z};
    s.tangent = {1.0f, 0.0f, 0.0f};
    s.bitangent = {0.0f, 1.0f, 0.0f};
    for (auto& r : s.lobeRequest) {
        r = 1;
    }
    return s;
}

void run(const Options& o) {
    const std::string& path = vexakelo::cli::globalOptions().libraryPath;
    const vkhost::ShaderLibrary library =
        path.empty() ? vkhost::ShaderLibrary() : vkhost::ShaderLibrary(path);
    if (!library.hasShader(o.shader)) {
        throw vexakelo::cli::Failure(o.shader + ": no such shader in " + library.path());
    }
    const vkhost::ShaderPtr shader = library.create(o.shader);
    if (shader->getShaderKind() != vyr::kMaterialKind) {
        throw vexakelo::cli::Failure(o.shader + ": not a material");
    }
    const vkhost::ShaderLayout layout = vkhost::declareLayout(shader.get());
    vkhost::ParameterBlock block(o.shader, layout, shader.get());
    for (const std::string& set : o.sets) {
        const std::size_t eq = set.find('=');
        if (eq == std::string::npos) {
            throw vexakelo::cli::Failure("--set " + set + ": expected key=value");
        }
        const std::string key = set.substr(0, eq);
        const vkhost::Declaration* d = layout.find(key);
        if (d == nullptr) {
            throw vexakelo::cli::Failure(key + ": " + o.shader + " has no such parameter");
        }
        block.set(key, parseValue(*d, set.substr(eq + 1)));
    }
    block.applyTo(shader.get());
    const auto* m = static_cast<const vyr::MaterialShader*>(shader.get());

    vkhost::ScriptedContext ctx;
    ctx.recording = false;
    ctx.rayResult = ctx.straightResult = {1.0f, 1.0f, 1.0f};
    ctx.glossyReflectionResult = ctx.glossyRefractionResult = {1.0f, 1.0f, 1.0f};
    const vyr::ShadingState base = probeState(o);

    std::printf("%s, ray %s at %.2f deg (I = %.6f %.6f %.6f)\n", o.shader.c_str(),
                o.inside ? "from inside" : "from outside", o.incidence, base.rayDir.x,
                base.rayDir.y, base.rayDir.z);
    vyr::ShadingState s = base;
    m->shade(&ctx, &s);
    std::printf("shade (white traces): %.6f %.6f %.6f %.6f\n", s.outColor.x, s.outColor.y,
                s.outColor.z, s.outColor.w);
    warnNotFinite(o, "shade", {s.outColor.x, s.outColor.y, s.outColor.z});
    s = base;
    s.shadowTransmit = {-1.0f, -1.0f, -1.0f};
    m->shadow(&ctx, &s);
    if (s.shadowTransmit.x == -1.0f && layout.flags == 0x0D) {
        std::printf("shadow: none (flags 0x0D)\n");
    } else {
        std::printf("shadow: %.6f %.6f %.6f\n", s.shadowTransmit.x, s.shadowTransmit.y,
                    s.shadowTransmit.z);
        warnNotFinite(o, "shadow", {s.shadowTransmit.x, s.shadowTransmit.y, s.shadowTransmit.z});
    }

    // Sampler: mean weight * cosine per lobe flag. The Ward family writes the BSDF value as the
    // weight and the reciprocal density into the pdf field, so its estimate is value * cos / pdf.
    const bool reciprocalPdf = o.shader.rfind("vexa_kelo_Mtl_Ward", 0) == 0;
    std::mt19937 rng(o.seed);
    std::uniform_real_distribution<float> uniform(0.0f, 1.0f);
    ctx.randoms.resize(3 * static_cast<std::size_t>(o.samples));
    for (float& r : ctx.randoms) {
        r = uniform(rng);
    }
    double byLobe[64] = {};
    int hits[64] = {};
    for (int i = 0; i < o.samples; ++i) {
        s = base;
        m->sampleBsdf(&ctx, &s);
        const int lobe = s.bsdfLobe >= 0 && s.bsdfLobe < 64 ? s.bsdfLobe : 0;
        ++hits[lobe];
        if (lobe != 0) {
            byLobe[lobe] += static_cast<double>(s.bsdfWeight.x) * s.bsdfCos *
                            (reciprocalPdf ? static_cast<double>(s.bsdfPdf) : 1.0);
        }
    }
    std::printf("sampleBsdf, %d samples, all lobes requested:\n", o.samples);
    for (int lobe = 0; lobe < 64; ++lobe) {
        if (hits[lobe] != 0) {
            std::printf("  lobe %2d %-18s %6.2f%% of samples, mean weight*cos%s %.6f\n", lobe,
                        ("(" + lobeName(o.shader, lobe) + "):").c_str(),
                        100.0 * hits[lobe] / o.samples, reciprocalPdf ? "/pdf" : "",
                        byLobe[lobe] / o.samples);
            warnNotFinite(o, ("sampleBsdf lobe " + std::to_string(lobe)).c_str(),
                          {byLobe[lobe] / o.samples});
        }
    }

    // Evaluation integrated over the sphere (midpoint rule, 1 degree cells).
    double upper = 0.0, lower = 0.0;
    const double cell = 3.14159265358979323846 / 180.0;
    for (int t = 0; t < 180; ++t) {
        const double theta = (t + 0.5) * cell;
        for (int p = 0; p < 360; ++p) {
            const double phi = (p + 0.5) * cell;
            s = base;
            s.bsdfDir = {static_cast<float>(std::sin(theta) * std::cos(phi)),
                         static_cast<float>(std::sin(theta) * std::sin(phi)),
                         static_cast<float>(std::cos(theta))};
            s.bsdfWeight = {0.0f, 0.0f, 0.0f};
            s.bsdfCos = 0.0f;
            m->evaluateBsdf(&ctx, &s);
            const double f =
                static_cast<double>(s.bsdfWeight.x) * s.bsdfCos * std::sin(theta) * cell * cell;
            (t < 90 ? upper : lower) += f;
        }
    }
    std::printf("evaluateBsdf integrated (value*cos): upper hemisphere %.6f, lower %.6f\n", upper,
                lower);
    warnNotFinite(o, "evaluateBsdf integrated over the hemispheres", {upper, lower});
}

void setupMaterial(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* sub = app.add_subcommand(
        "material", "probe a material: shade, shadow, sampler against evaluation");
    sub->add_option("shader", options->shader, "material shader name")->required();
    sub->add_option("--set", options->sets, "parameter value, key=value (vectors r,g,b)");
    sub->add_option("--incidence", options->incidence, "angle of the ray from the normal, degrees")
        ->check(CLI::Range(0.0, 90.0))
        ->capture_default_str();
    sub->add_flag("--inside", options->inside, "the ray arrives from behind the surface");
    sub->add_option("--samples", options->samples, "samples of sampleBsdf")
        ->check(CLI::Range(1, 10000000))
        ->capture_default_str();
    sub->add_option("--seed", options->seed, "seed of the random sequence")
        ->check(vexakelo::cli::wholeNumber(0, UINT32_MAX))
        ->capture_default_str();
    sub->callback([options] { run(*options); });
}

const vexakelo::cli::Registration kRegistration{"material", &setupMaterial};

}  // namespace
