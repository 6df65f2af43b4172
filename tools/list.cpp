// `vexakelo list`: every shader the library exports, read from the library itself: kind, flags,
// object size, varyings and parameters in declaration order with their defaults.
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include "command.h"
#include "parameters.h"
#include "shader_library.h"

namespace vexakelo::cli {
namespace {

struct ListOptions {
    bool json = false;
};

const char* kindName(int kind) {
    switch (kind) {
        case vyr::kMaterialKind: return "material";
        case vyr::kLightKind: return "light";
        case vyr::kEnvironmentKind: return "environment";
    }
    return "unknown";
}

void runList(const ListOptions& options) {
    const std::string& path = globalOptions().libraryPath;
    const vkhost::ShaderLibrary library(path.empty() ? vkhost::defaultLibraryPath() : path);
    nlohmann::json shaders = nlohmann::json::array();
    for (const std::string& name : library.shaderNames()) {
        std::size_t size = 0;
        const vkhost::ShaderPtr shader = library.create(name, &size);
        const int kind = shader->getShaderKind();
        const vkhost::ShaderLayout layout = vkhost::declareLayout(shader.get());
        const vkhost::ParameterBlock defaults(name, layout, shader.get());
        if (options.json) {
            nlohmann::json entry = {{"name", name},
                                    {"kind", kindName(kind)},
                                    {"flags", layout.flags},
                                    {"size", size},
                                    {"version", shader->getShaderVersion()},
                                    {"apiVersion", library.apiVersion(name)}};
            entry["varyings"] = nlohmann::json::array();
            for (const auto& v : layout.varyings) {
                entry["varyings"].push_back(
                    {{"name", v.name}, {"type", v.kind == 1 ? "vec2" : "vec3"}, {"offset", v.offset}});
            }
            entry["parameters"] = nlohmann::json::array();
            for (const auto& d : layout.parameters) {
                entry["parameters"].push_back({{"name", d.name},
                                               {"type", vkhost::typeName(d.type)},
                                               {"offset", d.offset},
                                               {"width", d.width},
                                               {"default", vkhost::formatValue(defaults.get(d))}});
            }
            shaders.push_back(std::move(entry));
            continue;
        }
        std::printf("%s  (%s, flags 0x%02X, %zu bytes)\n", name.c_str(), kindName(kind),
                    static_cast<unsigned>(layout.flags), size);
        for (const auto& v : layout.varyings) {
            std::printf("    varying %-26s %-9s @%d\n", v.name.c_str(), v.kind == 1 ? "vec2" : "vec3",
                        480 + v.offset);
        }
        for (const auto& d : layout.parameters) {
            std::printf("    %-34s %-9s @%-5zu = %s\n", d.name.c_str(), vkhost::typeName(d.type),
                        d.offset, vkhost::formatValue(defaults.get(d)).c_str());
        }
    }
    if (options.json) {
        std::cout << nlohmann::json{{"library", library.path()}, {"shaders", shaders}}.dump(2)
                  << "\n";
    }
}

void setupList(CLI::App& app) {
    auto options = std::make_shared<ListOptions>();
    CLI::App* command = app.add_subcommand(
        "list", "list the exported shaders with their parameters, as the library declares them");
    command->add_flag("--json", options->json, "machine-readable output");
    command->callback([options] { runList(*options); });
}

const Registration kRegistration{"list", &setupList};

}  // namespace
}  // namespace vexakelo::cli
