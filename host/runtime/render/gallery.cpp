#include "render/gallery.h"

#include <cairo.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <ostream>

#ifndef VKRENDER_SCENES_DIR
#define VKRENDER_SCENES_DIR "scenes"
#endif

namespace vkrender {

using nlohmann::json;

std::string defaultScenesDir() {
    // The source tree's scenes while it is there; an installed program's beside it.
    std::error_code error;
    if (std::filesystem::is_directory(VKRENDER_SCENES_DIR, error)) {
        return VKRENDER_SCENES_DIR;
    }
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path installed = self.parent_path() / "../share/vexakelo/scenes";
    if (!error && std::filesystem::is_directory(installed, error)) {
        return installed.lexically_normal().string();
    }
    return VKRENDER_SCENES_DIR;
}

// --- Procedural node trees --------------------------------------------------------------------

namespace {

struct TreeParser {
    const std::string& text;
    std::size_t at = 0;
    const std::string& texture;
    json out = json::object();

    void skipSpace() {
        while (at < text.size() && text[at] == ' ')
            ++at;
    }
    std::string word() {
        skipSpace();
        const std::size_t start = at;
        while (at < text.size() && std::isalnum(static_cast<unsigned char>(text[at])))
            ++at;
        if (start == at) {
            throw SceneError("node tree '" + text + "': expected a node kind at " +
                             std::to_string(at));
        }
        return text.substr(start, at - start);
    }
    void expect(char c) {
        skipSpace();
        if (at >= text.size() || text[at] != c) {
            throw SceneError("node tree '" + text + "': expected '" + std::string(1, c) + "' at " +
                             std::to_string(at));
        }
        ++at;
    }

    // A node at `prefix` feeding an input; `fallback` is the constant a "const" input keeps.
    void node(const std::string& prefix, const json& fallback) {
        const std::string kind = word();
        if (kind == "const") {
            out[prefix.substr(0, prefix.size() - 1)] = fallback;
            return;
        }
        if (kind == "UB") {
            const std::string p = prefix + "UnifiedBitmap_";
            out[p + "texture"] = texture;
            out[p + "amount"] = 1.0;
            out[p + "isCube"] = false;
        } else if (kind == "Noise") {
            const std::string p = prefix + "Noise_";
            out[p + "type"] = 1;
            out[p + "size"] = 0.25;
            out[p + "thresholdLow"] = 0.3;
            out[p + "thresholdHigh"] = 0.7;
            out[p + "levels"] = 3.0;
            out[p + "phase"] = 0.0;
            expect('(');
            node(p + "color1_", json::array({0.75, 0.3, 0.1, 1.0}));
            expect(',');
            node(p + "color2_", json::array({0.95, 0.85, 0.5, 1.0}));
            expect(')');
        } else if (kind == "Tile") {
            const std::string p = prefix + "Tile_";
            for (const char* key : {"verticalCount", "horizontalCount"})
                out[p + key] = 4.0;
            out[p + "colorVariance"] = 0.1;
            out[p + "fadeVariance"] = 0.1;
            out[p + "horizontalGap"] = 0.03;
            out[p + "verticalGap"] = 0.03;
            out[p + "edgeRoughness"] = 0.0;
            out[p + "randomSeed"] = 7;
            out[p + "lineShift"] = 0.5;
            out[p + "randomShift"] = 0.0;
            out[p + "changeRow"] = 0.0;
            out[p + "perRow"] = 1;
            out[p + "useColumnEdit"] = false;
            out[p + "useRowEdit"] = false;
            out[p + "changeColumn"] = 0.0;
            out[p + "perColumn"] = 1;
            out[p + "holes"] = 0;
            out[p + "brickHeight"] = 1.0;
            out[p + "brickWidth"] = 1.0;
            out[p + "repeatX"] = true;
            out[p + "repeatY"] = true;
            expect('(');
            node(p + "brickColor_", json::array({0.6, 0.25, 0.15, 1.0}));
            expect(',');
            node(p + "mortarColor_", json::array({0.8, 0.8, 0.75, 1.0}));
            expect(')');
        } else {
            throw SceneError("node tree '" + text + "': unknown node kind '" + kind + "'");
        }
    }
};

json expandTree(const std::string& prefix, const std::string& tree, const std::string& texture) {
    TreeParser parser{tree, 0, texture};
    // The root replaces a base parameter, so "const" at the root has no meaning.
    parser.node(prefix, json::array({0.5, 0.5, 0.5, 1.0}));
    parser.skipSpace();
    if (parser.at != tree.size()) {
        throw SceneError("node tree '" + tree + "': unexpected text at " +
                         std::to_string(parser.at));
    }
    return parser.out;
}

json vec(float x, float y, float z) {
    return json::array({x, y, z});
}

json hostDiffuse(float r, float g, float b) {
    return {{"diffuse", vec(r, g, b)}};
}

json sphere(json center, float radius, json material) {
    return {{"type", "sphere"},
            {"center", std::move(center)},
            {"radius", radius},
            {"material", std::move(material)}};
}

}  // namespace

std::string expandNodeTree(const std::string& prefix, const std::string& tree,
                           const std::string& texture) {
    return expandTree(prefix, tree, texture).dump();
}

// --- Scenes -----------------------------------------------------------------------------------

std::string galleryScene(const vkhost::ShaderLibrary& library, const std::string& shader,
                         std::vector<std::string>* dropped, float* exposure) {
    const vkhost::ShaderPtr probe = library.create(shader);
    const int kind = probe->getShaderKind();
    const vkhost::ShaderLayout layout = vkhost::declareLayout(probe.get());

    json node = json::object();
    if (const GalleryPreset* preset = findPreset(shader)) {
        node = json::parse(preset->json);
    }
    if (exposure != nullptr) {
        *exposure = node.value("exposure", 1.0f);
    }
    node.erase("exposure");
    json params = node.value("params", json::object());
    if (node.contains("nodes")) {
        for (const auto& [prefix, tree] : node["nodes"].items()) {
            params.update(expandTree(prefix, tree.get<std::string>(), "textures/checker.png"));
        }
        node.erase("nodes");
    }
    // Keep only what the shader declares, so a preset written ahead of its shader still draws.
    json kept = json::object();
    for (const auto& [key, value] : params.items()) {
        if (layout.find(key) != nullptr) {
            kept[key] = value;
        } else if (dropped != nullptr) {
            dropped->push_back(key);
        }
    }
    node["params"] = kept;
    node["shader"] = shader;

    auto has = [&](const char* name) { return library.hasShader(name); };
    json scene;
    json objects = json::array();
    json lights = json::array();
    json ground = {{"type", "plane"},
                   {"center", vec(0, 0, 0)},
                   {"size", 60.0},
                   {"material", hostDiffuse(0.42f, 0.42f, 0.42f)}};
    json skyEnvironment =
        has("vexa_kelo_Env_Sky")
            ? json{{"shader", "vexa_kelo_Env_Sky"},
                   {"params",
                    {{"sun_direction", vec(0.5f, -0.7f, 0.45f)},
                     {"haze", 1.0},
                     {"multiplier", 0.08}}}}
            : json{{"shader", "Background"}, {"params", {{"color", vec(0.45f, 0.55f, 0.7f)}}}};
    if (kind == vyr::kMaterialKind) {
        scene["camera"] = {
            {"position", vec(0, -4.6f, 1.7f)}, {"look_at", vec(0, 0, 0.85f)}, {"fov", 32.0}};
        objects.push_back(sphere(vec(0, 0, 0.9f), 0.9f, node));
        objects.push_back(ground);
        // Two coloured props behind the sphere give reflections and refractions something to show.
        objects.push_back(sphere(vec(-1.6f, 1.8f, 0.45f), 0.45f, hostDiffuse(0.7f, 0.15f, 0.1f)));
        objects.push_back(sphere(vec(1.6f, 1.5f, 0.45f), 0.45f, hostDiffuse(0.1f, 0.25f, 0.7f)));
        scene["environment"] = skyEnvironment;
        // The sun: far enough that it stands for a direction.
        lights.push_back({{"shader", "SimplePointLight"},
                          {"position", vec(500, -700, 450)},
                          {"params", {{"color", vec(2.6f, 2.5f, 2.3f)}}}});
        if (has("vexa_kelo_Lgt_Spot")) {
            lights.push_back({{"shader", "vexa_kelo_Lgt_Spot"},
                              {"position", vec(-2.5f, -2.5f, 4)},
                              {"target", vec(0, 0, 0.9f)},
                              {"params",
                               {{"color", vec(1, 0.9f, 0.75f)},
                                {"intensity", 30.0},
                                {"hotspot", 0.97},
                                {"falloff", 0.93}}}});
        }
    } else if (kind == vyr::kLightKind) {
        scene["camera"] = {
            {"position", vec(0, -5.2f, 2.4f)}, {"look_at", vec(0, 0, 0.8f)}, {"fov", 38.0}};
        objects.push_back(sphere(vec(0, 0, 0.7f), 0.7f, hostDiffuse(0.6f, 0.6f, 0.6f)));
        objects.push_back(sphere(vec(-1.3f, 0.6f, 0.35f), 0.35f, hostDiffuse(0.6f, 0.6f, 0.6f)));
        objects.push_back(ground);
        objects.push_back({{"type", "quad"},
                           {"center", vec(0, 2.5f, 2.0f)},
                           {"edge_u", vec(8, 0, 0)},
                           {"edge_v", vec(0, 0, 4)},
                           {"material", hostDiffuse(0.5f, 0.5f, 0.5f)}});
        scene["environment"] = {{"shader", "Background"},
                                {"params", {{"color", vec(0.01f, 0.01f, 0.012f)}}}};
        if (!node.contains("position"))
            node["position"] = vec(1.5f, -1.5f, 3.5f);
        if (!node.contains("target") && !node.contains("axis"))
            node["target"] = vec(0, 0, 0.5f);
        lights.push_back(node);
    } else {
        scene["camera"] = {
            {"position", vec(0, -5.0f, 1.2f)}, {"look_at", vec(0, 0, 1.5f)}, {"fov", 60.0}};
        json ball = has("vexa_kelo_Mtl_Mirror")
                        ? json{{"shader", "vexa_kelo_Mtl_Mirror"},
                               {"params", {{"u_tintColor", vec(0.9f, 0.9f, 0.9f)}}}}
                        : hostDiffuse(0.6f, 0.6f, 0.6f);
        objects.push_back(sphere(vec(0, 0, 1.2f), 0.8f, ball));
        scene["environment"] = node;
    }
    scene["objects"] = objects;
    scene["lights"] = lights;
    return scene.dump(2);
}

// --- Labels -----------------------------------------------------------------------------------

GalleryGrid galleryGrid(int count) {
    GalleryGrid grid;
    grid.columns = std::max(1, static_cast<int>(std::ceil(std::sqrt(static_cast<double>(count)))));
    grid.rows = std::max(1, (count + grid.columns - 1) / grid.columns);
    return grid;
}

int labelBand(int tileHeight) {
    return std::clamp(tileHeight / 11, 12, 28);
}

void drawLabel(vkimage::Image& image, int x, int y, int w, int h, const std::string& text) {
    const int band = labelBand(h);
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, band);
    cairo_t* cr = cairo_create(surface);
    // The band is blended in linear light, where 60 % black over a white tile still reads as a
    // light grey: a denser band, and an outline round the letters, keep labels legible on the
    // brightest tiles.
    cairo_set_source_rgba(cr, 0.0, 0.0, 0.0, 0.88);
    cairo_paint(cr);
    cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    double size = band * 0.62;
    cairo_set_font_size(cr, size);
    cairo_text_extents_t extents;
    cairo_text_extents(cr, text.c_str(), &extents);
    if (extents.x_advance > w - 8) {
        size *= (w - 8) / extents.x_advance;
        cairo_set_font_size(cr, size);
        cairo_text_extents(cr, text.c_str(), &extents);
    }
    cairo_move_to(cr, 0.5 * (w - extents.x_advance), 0.5 * band + 0.35 * size);
    cairo_text_path(cr, text.c_str());
    cairo_set_source_rgba(cr, 0.0, 0.0, 0.0, 1.0);
    cairo_set_line_width(cr, std::max(1.5, size * 0.18));
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke_preserve(cr);
    cairo_set_source_rgba(cr, 1.0, 1.0, 1.0, 1.0);
    cairo_fill(cr);
    cairo_destroy(cr);
    cairo_surface_flush(surface);
    // Blend the premultiplied label over the linear image, band row by row.
    const unsigned char* data = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    for (int row = 0; row < band; ++row) {
        const int py = y + h - band + row;
        if (py < 0 || py >= image.height)
            continue;
        for (int col = 0; col < w; ++col) {
            const int px = x + col;
            if (px < 0 || px >= image.width)
                continue;
            std::uint32_t argb;
            std::memcpy(&argb, data + row * stride + 4 * col, sizeof argb);
            const float a = static_cast<float>((argb >> 24) & 0xFF) / 255.0f;
            if (a <= 0.0f)
                continue;
            auto channel = [&](int shift) {
                const auto premultiplied = static_cast<float>((argb >> shift) & 0xFF);
                return vkimage::srgb8ToLinear(
                    static_cast<unsigned char>(std::clamp(premultiplied / a + 0.5f, 0.0f, 255.0f)));
            };
            vyr::Vec4f& p = image.at(px, py);
            p.x = p.x * (1.0f - a) + channel(16) * a;
            p.y = p.y * (1.0f - a) + channel(8) * a;
            p.z = p.z * (1.0f - a) + channel(0) * a;
        }
    }
    cairo_surface_destroy(surface);
}

// --- The gallery ------------------------------------------------------------------------------

vkimage::Image renderGallery(const vkhost::ShaderLibrary& library, const GalleryOptions& options,
                             std::vector<GalleryTile>* tilesOut, std::ostream& warnings) {
    std::vector<std::string> names;
    for (const std::string& name : library.shaderNames()) {
        if (options.only.empty() ||
            std::find(options.only.begin(), options.only.end(), name) != options.only.end()) {
            names.push_back(name);
        }
    }
    const int count = static_cast<int>(names.size());
    const GalleryGrid grid = galleryGrid(count);
    const int columns = grid.columns;
    const int rows = grid.rows;
    const int size = options.tileSize;
    vkimage::Image gallery(columns * size, rows * size, {0.02f, 0.02f, 0.02f, 1.0f});
    const std::string scenesDir =
        options.scenesDir.empty() ? defaultScenesDir() : options.scenesDir;
    const auto start = std::chrono::steady_clock::now();
    std::vector<GalleryTile> tiles;
    bool progressShown = false;
    for (int i = 0; i < count; ++i) {
        const std::string& name = names[i];
        GalleryTile tile;
        tile.shader = name;
        const int x0 = (i % columns) * size;
        const int y0 = (i / columns) * size;
        try {
            std::vector<std::string> dropped;
            float exposure = 1.0f;
            const std::string text = galleryScene(library, name, &dropped, &exposure);
            for (const std::string& key : dropped) {
                warnings << "gallery: " << name << ": preset parameter '" << key
                         << "' is not declared by the shader; left out\n";
            }
            const Scene scene = parseScene(text, "gallery preset of " + name, scenesDir, library);
            const Renderer renderer(scene);
            RenderOptions render;
            render.width = render.height = size;
            render.spp = options.spp;
            render.threads = options.threads;
            render.seed = options.seed;
            render.maxDepth = scene.settings.maxDepth;
            render.sampler = options.sampler;
            render.adaptive = options.adaptive;
            render.causticLimit = options.causticLimit;
            render.filterNoise = options.filterNoise;
            const vkimage::Image image = renderer.render(render, &tile.stats);
            for (int y = 0; y < size; ++y) {
                for (int x = 0; x < size; ++x) {
                    const vyr::Vec4f c = image.at(x, y);
                    gallery.at(x0 + x, y0 + y) = {c.x * exposure, c.y * exposure, c.z * exposure,
                                                  1.0f};
                }
            }
        } catch (const std::exception& e) {
            tile.failed = true;
            tile.message = e.what();
            warnings << "gallery: " << name << ": " << e.what() << "\n";
            for (int y = 0; y < size; ++y) {
                for (int x = 0; x < size; ++x) {
                    gallery.at(x0 + x, y0 + y) = {0.25f, 0.01f, 0.01f, 1.0f};
                }
            }
        }
        drawLabel(gallery, x0, y0, size, size, tile.failed ? name + " (failed)" : name);
        const double elapsed =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        // Like the render's own bar: only once the gallery has taken a second.
        if (options.progress && elapsed >= 1.0) {
            progressShown = true;
            const double left = elapsed * (count - i - 1) / (i + 1);
            std::fprintf(stderr, "\rgallery %2d/%d  %5.1fs left  %-40s", i + 1, count, left,
                         name.c_str());
            std::fflush(stderr);
        }
        tiles.push_back(std::move(tile));
    }
    if (progressShown) {
        std::fputc('\n', stderr);
    }
    if (tilesOut != nullptr) {
        *tilesOut = std::move(tiles);
    }
    return gallery;
}

}  // namespace vkrender
