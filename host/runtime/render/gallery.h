// The gallery: one labelled tile per shader the library exports. A material is shown on a sphere
// over a ground plane under the sky (with a sun and a spot light), a light lights a neutral
// scene, an environment is seen by the camera. Each shader has a preset (gallery_presets.cpp);
// a shader without one gets the generic scene of its kind with its defaults.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "image_io.h"
#include "render/renderer.h"
#include "render/scene.h"
#include "shader_library.h"

namespace vkrender {

// A shader's gallery preset: a JSON object with the shader's node in the scene ("params", and
// for lights their geometry: "position", "target", "radius", "edge_u", "edge_v", "ies", ...),
// optionally "exposure" (a factor on the tile) and "nodes" (procedural node trees to expand into
// parameters: {"_ward_diffuse_color_": "Noise(UB, UB)"}).
struct GalleryPreset {
    std::string shader;
    std::string json;
};

// Every preset, one per catalog shader.
const std::vector<GalleryPreset>& galleryPresets();
// The preset of a shader, or null.
const GalleryPreset* findPreset(std::string_view shader);

// The parameters of a procedural node tree, named by the path rule of the node parameters:
// prefix + kind + "_" + name, children under prefix + kind + "_" + input + "_". The tree is
// written "Noise(UB, Tile(UB, const))"; "const" keeps a constant colour input.
std::string expandNodeTree(const std::string& prefix, const std::string& tree,
                           const std::string& texture);

// The scene text for one shader's tile: the preset, or the generic scene of its kind. Preset
// parameters the shader does not declare are left out and named in `dropped`. `exposure` gets
// the preset's factor on the tile. File names in it are relative to the scenes directory.
std::string galleryScene(const vkhost::ShaderLibrary& library, const std::string& shader,
                         std::vector<std::string>* dropped, float* exposure = nullptr);

struct GalleryOptions {
    int tileSize = 256;
    int spp = 16;
    int threads = 0;
    std::uint64_t seed = 1;
    bool progress = false;
    std::string scenesDir;  // where preset files (textures, lamp files) are found
    Sampler sampler = Sampler::LowDiscrepancy;
    bool adaptive = true;
    float causticLimit = RenderOptions::kDefaultCausticLimit;
    bool filterNoise = true;
    std::vector<std::string> only;  // when not empty, just these shaders' tiles
};

struct GalleryTile {
    std::string shader;
    bool failed = false;
    std::string message;
    RenderStats stats;
};

// Renders the gallery of every exported shader. A tile that cannot be made (a preset parameter
// the shader does not declare is dropped with a warning; a failing scene gives a dark red tile
// with the message) is reported on `warnings` and never stops the gallery.
vkimage::Image renderGallery(const vkhost::ShaderLibrary& library, const GalleryOptions& options,
                             std::vector<GalleryTile>* tiles, std::ostream& warnings);

// Columns and rows of the gallery of `count` tiles: a square-ish grid filled row by row.
struct GalleryGrid {
    int columns = 1;
    int rows = 1;
};
GalleryGrid galleryGrid(int count);

// The height of the label band at the bottom of a tile `tileHeight` pixels high.
int labelBand(int tileHeight);

// Draws `text` in white on a dark band at the bottom of the box (x, y, w, h) of the image.
void drawLabel(vkimage::Image& image, int x, int y, int w, int h, const std::string& text);

// The directory of the example scenes that came with the build.
std::string defaultScenesDir();

}  // namespace vkrender
