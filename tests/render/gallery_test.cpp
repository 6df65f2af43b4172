// The gallery: a preset for every catalog shader, a tile for every exported one, node trees
// expanded into parameter names, and the CLI's render and gallery commands end to end.
#include "render/gallery.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "frame/shader_catalog.h"
#include "image_io.h"
#include "shader_library.h"

namespace {

TEST(Gallery, EveryCatalogShaderHasAPresetOfValidJson) {
    for (const vexakelo::ShaderInfo& info : vexakelo::kShaderCatalog) {
        const vkrender::GalleryPreset* preset = vkrender::findPreset(info.name);
        ASSERT_NE(preset, nullptr) << info.name;
        EXPECT_TRUE(nlohmann::json::accept(preset->json)) << info.name;
    }
    EXPECT_EQ(vkrender::galleryPresets().size(), std::size(vexakelo::kShaderCatalog));
}

TEST(Gallery, NodeTreesExpandIntoPathNamedParameters) {
    const auto params = nlohmann::json::parse(
        vkrender::expandNodeTree("_ward_diffuse_color_", "Noise(Tile(UB, const), UB)", "t.png"));
    // The Noise's own parameters, the Tile feeding color1 with its bitmap brick colour and a
    // constant mortar colour, and a bitmap feeding color2.
    for (const char* name :
         {"_ward_diffuse_color_Noise_size", "_ward_diffuse_color_Noise_type",
          "_ward_diffuse_color_Noise_color1_Tile_repeatX",
          "_ward_diffuse_color_Noise_color1_Tile_brickColor_UnifiedBitmap_texture",
          "_ward_diffuse_color_Noise_color1_Tile_mortarColor",
          "_ward_diffuse_color_Noise_color2_UnifiedBitmap_amount"}) {
        EXPECT_TRUE(params.contains(name)) << name;
    }
    EXPECT_FALSE(params.contains("_ward_diffuse_color_Noise_color1"));
    EXPECT_TRUE(params["_ward_diffuse_color_Noise_color1_Tile_randomSeed"].is_number_integer());
    EXPECT_THROW(vkrender::expandNodeTree("_x_", "Noise(UB)", ""), vkrender::SceneError);
    EXPECT_THROW(vkrender::expandNodeTree("_x_", "Marble", ""), vkrender::SceneError);
}

TEST(Gallery, OneTileForEveryExportedShaderAndNoFailures) {
    const vkhost::ShaderLibrary library;
    vkrender::GalleryOptions options;
    options.tileSize = 32;
    options.spp = 1;
    std::vector<vkrender::GalleryTile> tiles;
    std::ostringstream warnings;
    const vkimage::Image image = vkrender::renderGallery(library, options, &tiles, warnings);
    ASSERT_EQ(tiles.size(), library.shaderNames().size());
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        EXPECT_EQ(tiles[i].shader, library.shaderNames()[i]);
        EXPECT_FALSE(tiles[i].failed) << tiles[i].shader << ": " << tiles[i].message;
        EXPECT_GT(tiles[i].stats.rays, 0u) << tiles[i].shader;
    }
    EXPECT_EQ(warnings.str(), "");
    // Square-ish grid: n tiles in ceil(sqrt(n)) columns.
    EXPECT_EQ(image.width % 32, 0);
    EXPECT_GE((image.width / 32) * (image.height / 32), static_cast<int>(tiles.size()));
}

// Runs the CLI; returns the exit status and fills what it printed on stderr.
int runCli(const std::string& arguments, std::string* errors) {
    // One file per process: ctest runs the tests of this program side by side.
    const std::string errFile =
        testing::TempDir() + "vkrender_cli_err_" + std::to_string(::getpid()) + ".txt";
    const std::string command =
        std::string(VEXAKELO_CLI) + " " + arguments + " >/dev/null 2>" + errFile;
    const int status = std::system(command.c_str());
    std::ifstream in(errFile);
    std::stringstream text;
    text << in.rdbuf();
    *errors = text.str();
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Cli, RenderWritesPngAndExrAndFailsInOneLine) {
    if (std::string(VEXAKELO_CLI).empty())
        GTEST_SKIP() << "no CLI in this build";
    const std::string dir = testing::TempDir() + "vkrender_cli/";
    std::filesystem::remove_all(dir);
    const std::string scene = std::string(VEXAKELO_SOURCE_DIR) + "/scenes/simple.json";
    std::string errors;
    ASSERT_EQ(runCli("render " + scene + " -o " + dir + "a.png --exr " + dir +
                         "a.exr --size 24x16 --spp 2 -q",
                     &errors),
              0)
        << errors;
    const vkimage::Image png = vkimage::readImage(dir + "a.png");
    EXPECT_EQ(png.width, 24);
    EXPECT_EQ(png.height, 16);
    EXPECT_TRUE(std::filesystem::exists(dir + "a.exr"));

    struct Row {
        std::string arguments;
        std::string expected;
        int status;  // 1: the command failed, 2: the command line is wrong
    };
    const std::string bad = dir + "bad.json";
    std::ofstream(bad) << R"({"environment": {"shader": "Nope"}})";
    const Row rows[] = {
        {"render " + bad + " -o " + dir + "b.png",
         bad + ": environment.shader: unknown shader 'Nope'", 1},
        {"render " + scene + " -o " + dir + "b.png --size 12by4",
         "--size: '12by4' is not WIDTHxHEIGHT", 2},
        {"render " + scene + " -o " + dir + "b.tiff", "b.tiff: -o writes .png or .exr files", 1},
        {"render " + dir + "none.json -o " + dir + "b.png", "none.json: cannot open scene file", 1},
        {"render " + scene, "render: -o OUT.png is needed", 2},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(runCli(row.arguments, &errors), row.status) << row.arguments;
        EXPECT_NE(errors.find(row.expected), std::string::npos) << errors;
        EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
        EXPECT_FALSE(std::filesystem::exists(dir + "b.png")) << "half-written output";
    }
}

TEST(Cli, GalleryWritesOneImage) {
    if (std::string(VEXAKELO_CLI).empty())
        GTEST_SKIP() << "no CLI in this build";
    const std::string out = testing::TempDir() + "vkrender_gallery/g.png";
    std::filesystem::remove_all(testing::TempDir() + "vkrender_gallery");
    std::string errors;
    ASSERT_EQ(runCli("gallery -o " + out + " --tile 32 --spp 1 -q", &errors), 0) << errors;
    EXPECT_TRUE(std::filesystem::exists(out));
    ASSERT_EQ(runCli("render --gallery -o " + out + " --tile 32 --spp 1 -q", &errors), 0) << errors;
}

}  // namespace
