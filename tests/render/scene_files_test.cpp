// The files a scene pulls in: OBJ text read strictly (a malformed number is an error, not a 0),
// file sources answered from memory, and the limits that stop a wrong path (/dev/zero, a small
// PNG declaring a gigapixel) before memory runs out.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "image_io.h"
#include "render/scene.h"
#include "shader_library.h"

namespace {

std::string scenesDir() {
    return std::string(VEXAKELO_SOURCE_DIR) + "/scenes";
}

std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

// The message of the SceneError `f` throws, or "" when it throws none.
template <class F>
std::string sceneError(F&& f) {
    try {
        f();
    } catch (const vkrender::SceneError& e) {
        return e.what();
    }
    return "";
}

TEST(ObjText, TrianglesFanFromTheFirstCornerWithIndicesResolved) {
    // A quad given with negative (relative) indices, uvs and normals on every corner; comments,
    // groups, CRLF endings, a vertex colour and a w coordinate are passed over.
    const vkrender::ObjMesh mesh = vkrender::parseObj(
        "# quad\r\n"
        "o thing\r\n"
        "v 0 0 0 1 0.5 0.25\r\n"
        "v 1 0 0 1\r\n"
        "v 1 1 0\r\n"
        "v +0 1 0\r\n"
        "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n"
        "vn 0 0 2\n"
        "g side\ns 1\n"
        "f -4/1/1 -3/2/1 -2/3/1 -1/4/1\n",
        "quad.obj");
    // Corners (0, 1, 2) and (0, 2, 3).
    ASSERT_EQ(mesh.positions.size(), 6u);
    EXPECT_EQ(mesh.positions[3].x, 0.0f);
    EXPECT_EQ(mesh.positions[4].x, 1.0f);
    EXPECT_EQ(mesh.positions[4].y, 1.0f);
    EXPECT_EQ(mesh.positions[5].x, 0.0f);
    EXPECT_EQ(mesh.positions[5].y, 1.0f);
    ASSERT_EQ(mesh.uvs.size(), 6u);
    EXPECT_EQ(mesh.uvs[5].x, 0.0f);
    EXPECT_EQ(mesh.uvs[5].y, 1.0f);
    // Normals come back unit length.
    ASSERT_EQ(mesh.normals.size(), 6u);
    EXPECT_EQ(mesh.normals[2].z, 1.0f);
}

TEST(ObjText, CornersWithoutNormalsOrUvsMakeTheMeshFlat) {
    const vkrender::ObjMesh mesh = vkrender::parseObj(
        "v 0 0 0\nv 1 0 0\nv 0 1 0\nvn 0 0 1\nvt 0 0\nf 1//1 2//1 3//1\nf 1/1 2/1 3\n", "m.obj");
    EXPECT_EQ(mesh.positions.size(), 6u);
    EXPECT_TRUE(mesh.normals.empty());
    EXPECT_TRUE(mesh.uvs.empty());
}

TEST(ObjText, MalformedStatementsNameTheLine) {
    struct Row {
        const char* text;
        const char* expected;  // after "m.obj: "
    };
    const Row rows[] = {
        {"v a b c\n", "line 1: 'a' is not a finite number"},
        {"v 0 0 0\nv 1 0 0\nv 0 1e999 0\n", "line 3: '1e999' is not a finite number"},
        {"v nan 0 0\n", "line 1: 'nan' is not a finite number"},
        {"v 1 2 3x\n", "line 1: '3x' is not a finite number"},
        {"v 1 2\n", "line 1: a vertex needs 3 to 6 numbers"},
        {"v 1 2 3 4 5 6 7\n", "line 1: a vertex needs 3 to 6 numbers"},
        {"vn 0 0 0\n", "line 1: a normal must have a finite, non-zero length"},
        {"vt\n", "line 1: a texture coordinate needs 1 to 3 numbers"},
        {"v 0 0 0\nf 1 1\n", "line 2: a face needs at least 3 corners"},
        {"v 0 0 0\nf 1 1 x\n", "line 2: 'x' is not a face corner"},
        {"v 0 0 0\nf 0 1 1\n", "line 2: '0' is not a face corner"},
        {"v 0 0 0\nf 1 1 -2\n", "line 2: '-2' is not a face corner"},
        {"v 0 0 0\nf 1/ 1 1\n", "line 2: '1/' is not a face corner"},
        {"v 0 0 0\nv 1 0 0\nv 0 1 0\n\nf 1 2 4\n",
         "line 5: vertex 4 does not exist (the file has 3)"},
        {"v 0 0 0\nf 1/2 1/1 1/1\nvt 0 0\n", "line 2: texture coordinate 2 does not exist"},
        {"v 0 0 0\nv 1 0 0\n# no faces\n", "no triangles"},
        {"", "no triangles"},
    };
    for (const Row& row : rows) {
        const std::string message = sceneError([&] { vkrender::parseObj(row.text, "m.obj"); });
        EXPECT_EQ(message.rfind(std::string("m.obj: ") + row.expected, 0), 0u)
            << "text: " << row.text << "\nmessage: " << message;
    }
}

TEST(ObjText, LimitsStopAHugeMeshBeforeItIsBuilt) {
    vkrender::LoadLimits limits;
    limits.meshTriangles = 2;
    const std::string square = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nf 1 2 3 4\n";
    EXPECT_EQ(vkrender::parseObj(square, "m.obj", limits).positions.size(), 6u);
    EXPECT_EQ(sceneError([&] { vkrender::parseObj(square + "f 1 2 3\n", "m.obj", limits); }),
              "m.obj: line 6: more than the mesh limit of 2 triangles");
    limits.meshBytes = 10;
    EXPECT_EQ(sceneError([&] { vkrender::parseObj(square, "m.obj", limits); }),
              "m.obj: larger than the mesh limit of 10 bytes");
}

TEST(SceneFiles, ReferencedFilesCanComeFromMemory) {
    // Nothing under "mem/" exists on disk: the mesh, the texture and the lamp come from the map.
    const vkhost::ShaderLibrary library;
    const vkrender::FileSource files = vkrender::memoryFiles({
        {"mem/cube.obj", fileBytes(scenesDir() + "/meshes/cube.obj")},
        {"mem/checker.png", fileBytes(scenesDir() + "/textures/checker.png")},
        {"mem/lamp.ies", fileBytes(scenesDir() + "/ies/overhead.ies")},
    });
    const vkrender::Scene scene = vkrender::parseScene(R"({
        "objects": [{"type": "mesh", "file": "cube.obj", "scale": 2,
                     "material": {"shader": "vexa_kelo_Mtl_Dielectric",
                                  "params": {"u_transmittanceMap": "checker.png"}}}],
        "lights": [{"shader": "vexa_kelo_Lgt_PhotometricWeb", "ies": "lamp.ies"}]
    })",
                                                       "memory.json", "mem", library, {}, files);
    EXPECT_EQ(scene.objects[0].positions.size(), 36u);
    // The texture, then the lamp's web and its two tables.
    ASSERT_EQ(scene.textures->loaded.size(), 4u);
    EXPECT_EQ(scene.textures->loaded[0].first, "mem/checker.png");
    EXPECT_EQ(scene.textures->loaded[1].first, "mem/lamp.ies");
    EXPECT_EQ(sceneError([&] {
                  vkrender::parseScene(R"({"objects": [{"type": "mesh", "file": "gone.obj",
                                                        "material": {"diffuse": [1, 1, 1]}}]})",
                                       "memory.json", "mem", library, {}, files);
              }),
              "memory.json: objects[0].file: mem/gone.obj: no such file");
}

TEST(SceneFiles, DirectoriesAndEndlessFilesAreNamedForWhatTheyAre) {
    const vkhost::ShaderLibrary library;
    const std::string dir = scenesDir();
    EXPECT_EQ(sceneError([&] {
                  vkrender::parseScene(R"({"objects": [{"type": "mesh", "file": "meshes",
                                                        "material": {"diffuse": [1, 1, 1]}}]})",
                                       "d.json", dir, library);
              }),
              "d.json: objects[0].file: " + dir + "/meshes: is a directory");
    EXPECT_EQ(
        sceneError([&] {
            vkrender::parseScene(
                R"({"objects": [{"type": "sphere", "material": {"shader": "vexa_kelo_Mtl_Dielectric",
                          "params": {"u_transmittanceMap": "textures"}}}]})",
                "d.json", dir, library);
        }),
        "d.json: objects[0].material.params.u_transmittanceMap: " + dir +
            "/textures: is a directory");
    EXPECT_EQ(sceneError([&] { vkrender::loadScene(dir, library); }),
              dir + ": cannot open scene file: is a directory");
    if (std::filesystem::exists("/dev/zero")) {
        vkrender::LoadLimits small;
        small.sceneBytes = 1 << 16;
        small.meshBytes = 1 << 16;
        EXPECT_EQ(sceneError([&] { vkrender::loadScene("/dev/zero", library, small); }),
                  "/dev/zero: cannot open scene file: larger than the limit of 65536 bytes");
        EXPECT_EQ(sceneError([&] {
                      vkrender::parseScene(R"({"objects": [{"type": "mesh", "file": "/dev/zero",
                                                            "material": {"diffuse": [1, 1, 1]}}]})",
                                           "z.json", "", library, small);
                  }),
                  "z.json: objects[0].file: /dev/zero: larger than the limit of 65536 bytes");
    }
    vkrender::LoadLimits tiny;
    tiny.sceneBytes = 8;
    EXPECT_EQ(sceneError([&] {
                  vkrender::parseScene(R"({"up": [0, 0, 1]})", "t.json", "", library, tiny);
              }),
              "t.json: larger than the scene limit of 8 bytes");
}

// The first bytes of a PNG whose header declares width x height (stb reads sizes from the IHDR
// chunk without checking its CRC, so the checksum is left zero).
std::string pngHeader(std::uint32_t width, std::uint32_t height) {
    std::string bytes("\x89PNG\r\n\x1a\n", 8);
    const auto be32 = [&](std::uint32_t v) {
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes.push_back(static_cast<char>(v >> shift));
    };
    be32(13);
    bytes += "IHDR";
    be32(width);
    be32(height);
    bytes += std::string("\x08\x06\x00\x00\x00", 5);  // 8-bit RGBA, no interlace
    be32(0);
    return bytes;
}

TEST(ImageLimits, DeclaredSizesAreCheckedBeforeDecoding) {
    const std::string checker = fileBytes(scenesDir() + "/textures/checker.png");
    const vkimage::Image image =
        vkimage::readImageFromMemory(checker, "checker.png", {1 << 20, 64 * 64});
    EXPECT_EQ(image.width, 64);
    EXPECT_EQ(image.height, 64);
    const auto imageError = [](const std::string& bytes, const vkimage::ImageLimits& limits) {
        try {
            vkimage::readImageFromMemory(bytes, "x.png", limits);
        } catch (const vkimage::ImageError& e) {
            return std::string(e.what());
        }
        return std::string();
    };
    EXPECT_EQ(imageError(checker, {1 << 20, 64 * 64 - 1}),
              "x.png: declares 64 x 64 pixels, more than the limit of 4095");
    EXPECT_EQ(imageError(checker, {100, 1 << 20}), "x.png: larger than the limit of 100 bytes");
    // 16384 x 16384 in a few dozen bytes would be 4 GiB of float pixels.
    EXPECT_EQ(imageError(pngHeader(16384, 16384), {}),
              "x.png: declares 16384 x 16384 pixels, more than the limit of 67108864");
    EXPECT_EQ(imageError("not an image", {}).rfind("x.png: cannot read image (", 0), 0u);
}

TEST(ImageLimits, ExrDataWindowIsCheckedBeforeDecoding) {
    // A real 4 x 2 EXR (ZIP, 16 lines a chunk), then the same header claiming larger windows.
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("vk_scene_files_" + std::to_string(::getpid()));
    std::filesystem::create_directories(dir);
    const std::string path = (dir / "small.exr").string();
    vkimage::writeExr(path, vkimage::Image(4, 2, {0.5f, 0.25f, 1.0f, 1.0f}));
    std::string bytes = fileBytes(path);
    std::filesystem::remove_all(dir);
    const vkimage::Image image = vkimage::readImageFromMemory(bytes, "small.exr");
    EXPECT_EQ(image.width, 4);
    EXPECT_EQ(image.at(3, 1).y, 0.25f);
    const std::string key = std::string("dataWindow\0box2i\0", 17);
    const std::size_t at = bytes.find(key);
    ASSERT_NE(at, std::string::npos);
    // The box follows its 4-byte size: xMin, yMin, xMax, yMax as little-endian ints.
    const std::int32_t huge = 19999;
    std::memcpy(&bytes[at + key.size() + 4 + 8], &huge, 4);
    std::memcpy(&bytes[at + key.size() + 4 + 12], &huge, 4);
    const auto exrError = [](const std::string& exr) {
        try {
            vkimage::readImageFromMemory(exr, "big.exr");
        } catch (const vkimage::ImageError& e) {
            return std::string(e.what());
        }
        return std::string("accepted");
    };
    EXPECT_EQ(exrError(bytes),
              "big.exr: declares 20000 x 20000 pixels, more than the limit of 67108864");
    // 4000 x 4000 is within the pixel limit, but its 250 chunk offsets alone need 2000 bytes.
    const std::int32_t within = 3999;
    std::memcpy(&bytes[at + key.size() + 4 + 8], &within, 4);
    std::memcpy(&bytes[at + key.size() + 4 + 12], &within, 4);
    ASSERT_LT(bytes.size(), 2000u);
    EXPECT_EQ(exrError(bytes), "big.exr: the EXR file is too short for its 4000 x 4000 pixels");
    // An attribute claiming more bytes than the file has.
    const std::int32_t endless = 0x7fffffff;
    std::memcpy(&bytes[at + key.size()], &endless, 4);
    EXPECT_EQ(exrError(bytes), "big.exr: the EXR header is cut short or broken");
    EXPECT_EQ(exrError(bytes.substr(0, 6)), "big.exr: the EXR header is cut short or broken");
    EXPECT_EQ(exrError(bytes.substr(0, 40)), "big.exr: the EXR header is cut short or broken");
}

TEST(ImageLimits, ReadingADirectoryOrNothingSaysSo) {
    const auto imageError = [](const std::string& path) {
        try {
            vkimage::readImage(path);
        } catch (const vkimage::ImageError& e) {
            return std::string(e.what());
        }
        return std::string();
    };
    EXPECT_EQ(imageError(scenesDir()), scenesDir() + ": is a directory");
    EXPECT_EQ(imageError(scenesDir() + "/none.png"), scenesDir() + "/none.png: no such file");
}

TEST(ImageLimits, WhatTheDecoderWouldTripOnIsRefusedFirst) {
    const auto imageError = [](const std::string& bytes) {
        try {
            vkimage::readImageFromMemory(bytes, "in");
        } catch (const vkimage::ImageError& e) {
            return std::string(e.what());
        }
        return std::string();
    };
    // Files the fuzzer found (the JPEG ones are in tests/image): a PNM header that read as
    // 0 x 0.
    const std::string findings = std::string(VEXAKELO_SOURCE_DIR) + "/fuzz/findings/";
    const auto fileBytes = [&](const char* file) {
        std::ifstream in(findings + file, std::ios::binary);
        std::ostringstream bytes;
        bytes << in.rdbuf();
        return bytes.str();
    };
    EXPECT_NE(imageError(fileBytes("image-pnm-header-only.ppm")), "");
    EXPECT_NE(imageError("P6"), "");
    // PNG: an empty first data chunk, and a chunk declaring more bytes than the file holds.
    // EXR: a header whose channel list runs past its stated size, which made OpenEXR read the
    // next attribute from the wrong place and size a string at 1.6 GB.
    EXPECT_EQ(imageError(fileBytes("image-exr-small-file-large-memory.exr")),
              "in: the EXR header is cut short or broken");
    EXPECT_EQ(imageError(fileBytes("image-png-empty-first-idat.png")),
              "in: the PNG's first image data chunk is empty");
    const std::string signature("\x89PNG\r\n\x1a\n", 8);
    EXPECT_EQ(imageError(signature + std::string("\x7f\xff\xff\xf0IDAT", 8) + "xx"),
              "in: a PNG chunk declares 2147483632 bytes past the file's end");
}

TEST(ImageFiles, WritingOverADirectoryGivesTheRenamesReason) {
    // The image is written beside the path and renamed onto it; a directory in the way makes
    // the rename fail, and its reason (not the clean-up's "Success") reaches the message.
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("vk-image-over-dir-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir / "out.png" / "inside");
    std::string message;
    try {
        vkimage::writeImage((dir / "out.png").string(), vkimage::Image(2, 2));
    } catch (const vkimage::ImageError& e) {
        message = e.what();
    }
    EXPECT_NE(message.find("out.png: cannot write ("), std::string::npos) << message;
    EXPECT_EQ(message.find("Success"), std::string::npos) << message;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir),
                            std::filesystem::directory_iterator()),
              1)
        << "the temporary file is left behind";
    std::filesystem::remove_all(dir);
}

}  // namespace
