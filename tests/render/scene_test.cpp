// Scene files: what a good file gives the shaders, and the one-line errors for bad ones (each
// names the file and the JSON path of the problem).
#include "render/scene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "parameters.h"
#include "render/renderer.h"
#include "shader_library.h"

namespace {

std::string scenesDir() {
    return std::string(VEXAKELO_SOURCE_DIR) + "/scenes";
}

TEST(SceneFile, ParametersReachTheShaderObjectsByDeclaredName) {
    const vkhost::ShaderLibrary library;
    const vkrender::Scene scene = vkrender::parseScene(R"({
        "camera": {"position": [1, 2, 3], "look_at": [0, 0, 0], "fov": 50},
        "objects": [{"type": "sphere", "radius": 2, "material": {"diffuse": [0.1, 0.2, 0.3]}}],
        "lights": [{"shader": "SimplePointLight", "position": [0, 0, 5],
                    "params": {"color": [0.5, 0.25, 2]}},
                   {"shader": "SimpleAmbientLight"}],
        "environment": {"shader": "Background", "params": {"color": [0, 0.5, 1]}}
    })",
                                                       "inline.json", "", library);
    ASSERT_EQ(scene.lights.size(), 2u);
    EXPECT_EQ(scene.lights[0].shape, vkrender::LightShape::Point);
    EXPECT_EQ(scene.lights[1].shape, vkrender::LightShape::Ambient);
    // Read the light's parameter back from the object, as setParameters left it.
    const auto& light = *scene.lights[0].shader;
    const vkhost::ParameterBlock block(light.name, light.layout, light.object.get());
    const auto color = std::get<vyr::Vec3f>(block.get("color"));
    EXPECT_EQ(color.x, 0.5f);
    EXPECT_EQ(color.z, 2.0f);
    // An ambient light without params keeps the shader's default (1, 1, 1).
    const auto& ambient = *scene.lights[1].shader;
    const vkhost::ParameterBlock defaults(ambient.name, ambient.layout, ambient.object.get());
    EXPECT_EQ(std::get<vyr::Vec3f>(defaults.get("color")).y, 1.0f);
    ASSERT_NE(scene.environment, nullptr);
    EXPECT_EQ(scene.environment->kind, vyr::kEnvironmentKind);
    EXPECT_EQ(scene.materials[0].shader, nullptr);
    EXPECT_EQ(scene.camera.fovDegrees, 50.0f);
}

TEST(SceneFile, MeshesLoadFromObjFiles) {
    const vkhost::ShaderLibrary library;
    const vkrender::Scene scene = vkrender::parseScene(R"({"objects": [
        {"type": "mesh", "file": "meshes/cube.obj", "scale": 2, "translate": [0, 0, 1],
         "material": {"diffuse": [1, 1, 1]}}]})",
                                                       "inline.json", scenesDir(), library);
    ASSERT_EQ(scene.objects.size(), 1u);
    // Six quads, two triangles each, three corners per triangle.
    EXPECT_EQ(scene.objects[0].positions.size(), 36u);
    EXPECT_EQ(scene.objects[0].uvs.size(), 36u);
    // Scaled by 2 and lifted by 1: z from 0 to 2.
    float low = 10.0f;
    for (const auto& p : scene.objects[0].positions)
        low = std::min(low, p.z);
    EXPECT_EQ(low, 0.0f);
}

TEST(SceneFile, BadInputIsOneLineNamingTheFileAndThePath) {
    struct Row {
        const char* json;
        const char* expected;  // the message after "bad.json: "
    };
    const Row rows[] = {
        {R"({"objects": [)", "parse error"},
        {R"([1, 2])", "expected an object"},
        {R"({"environment": {"shader": "Nope"}})", "environment.shader: unknown shader 'Nope'"},
        {R"({"environment": {"shader": "SimplePointLight"}})",
         "environment.shader: SimplePointLight is not an environment shader"},
        {R"({"lights": [{"shader": "SimplePointLight", "params": {"colour": [1, 1, 1]}}]})",
         "lights[0].params.colour: shader SimplePointLight declares no parameter 'colour'"},
        {R"({"lights": [{"shader": "SimplePointLight", "params": {"color": [1, 1]}}]})",
         "lights[0].params.color: expected an array of 3 numbers"},
        {R"({"lights": [{"shader": "SimplePointLight", "params": {"color": [1, "x", 1]}}]})",
         "lights[0].params.color[1]: expected a number, got string"},
        {R"({"lights": [{"shader": "SimplePointLight", "ies": "lamp.ies"}]})",
         "lights[0].ies: SimplePointLight has no \"webMap\" texture to take a photometric file"},
        {R"({"lights": [{"shader": "vexa_kelo_Lgt_PhotometricWeb", "ies": "lamp.ies"}]})",
         "lights[0].ies: lamp.ies: no such file"},
        {R"({"lights": [{"shader": "SimplePointLight", "shape": "cone"}]})",
         "lights[0].shape: expected"},
        {R"({"objects": [{"type": "sphere", "radius": -1, "material": {"diffuse": [1, 1, 1]}}]})",
         "objects[0].radius: must be above 0 and at most 1e6, got -1"},
        {R"({"objects": [{"type": "cube", "material": {"diffuse": [1, 1, 1]}}]})",
         "objects[0].type: expected"},
        {R"({"objects": [{"type": "sphere"}]})", "objects[0]: missing \"material\""},
        {R"({"objects": [{"type": "mesh", "file": "missing.obj", "material": {"diffuse": [1, 1, 1]}}]})",
         "objects[0].file: missing.obj: no such file"},
        {R"({"objects": [{"type": "sphere", "material": {"shader": "Background"}}]})",
         "objects[0].material.shader: Background is not a material shader"},
        {R"({"camera": {"fov": 200}})", "camera.fov: must be between 0 and 180 degrees"},
        {R"({"camera": {"position": [0, 0, 0], "look_at": [0, 0, 1], "up": [0, 0, 1]}})",
         "camera: position, look_at and up must not be in line"},
        {R"({"render": {"spp": 0}})", "render.spp: expected an integer from 1 to 65536"},
        {R"({"render": {"max_depth": 65}})", "render.max_depth: expected an integer from 1 to 64"},
        {R"({"render": {"width": 65536, "height": 65536}})", "render: the image is larger than"},
        {R"({"camera": {"fov": 1e300}})", "camera.fov: the number is out of range for a float"},
    };
    const vkhost::ShaderLibrary library;
    for (const Row& row : rows) {
        try {
            vkrender::parseScene(row.json, "bad.json", "", library);
            ADD_FAILURE() << "accepted " << row.json;
        } catch (const vkrender::SceneError& e) {
            const std::string message = e.what();
            EXPECT_EQ(message.rfind("bad.json: ", 0), 0u) << message;
            EXPECT_NE(message.find(row.expected), std::string::npos) << message;
            EXPECT_EQ(message.find('\n'), std::string::npos) << message;
        }
    }
}

TEST(SceneFile, EveryExampleSceneLoads) {
    const vkhost::ShaderLibrary library;
    int scenes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(scenesDir())) {
        if (entry.path().extension() == ".json") {
            EXPECT_NO_THROW(vkrender::loadScene(entry.path().string(), library)) << entry.path();
            ++scenes;
        }
    }
    EXPECT_GE(scenes, 10);
}

TEST(SceneFile, TheTexturedExampleShowsItsMap) {
    // The same render with the map switched off must differ visibly: an example whose texture
    // changes nothing teaches nothing.
    std::ifstream in(scenesDir() + "/textured.json");
    std::ostringstream text;
    text << in.rdbuf();
    const std::string withMap = text.str();
    std::string withoutMap = withMap;
    const std::string enabled = "\"u_transmittanceMapEnable\": true";
    const std::size_t at = withoutMap.find(enabled);
    ASSERT_NE(at, std::string::npos);
    withoutMap.replace(at, enabled.size(), "\"u_transmittanceMapEnable\": false");

    const vkhost::ShaderLibrary library;
    const auto render = [&](const std::string& json) {
        const vkrender::Scene scene = vkrender::parseScene(json, "textured", scenesDir(), library);
        vkrender::RenderOptions options;
        options.width = 48;
        options.height = 36;
        options.spp = 4;
        options.seed = 3;
        options.maxDepth = scene.settings.maxDepth;
        return vkrender::Renderer(scene).render(options);
    };
    const vkimage::Image a = render(withMap);
    const vkimage::Image b = render(withoutMap);
    double difference = 0.0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i) {
        difference += std::fabs(a.pixels[i].x - b.pixels[i].x) +
                      std::fabs(a.pixels[i].y - b.pixels[i].y) +
                      std::fabs(a.pixels[i].z - b.pixels[i].z);
    }
    // Mean over pixels and channels: about 0.005 when the map tints the glass (the cube covers a
    // small part of the image), exactly 0 when the material ignores it.
    EXPECT_GT(difference / (3.0 * static_cast<double>(a.pixels.size())), 0.001);
}

TEST(SceneFile, MissingSceneFileIsAnError) {
    const vkhost::ShaderLibrary library;
    EXPECT_THROW(vkrender::loadScene("/nonexistent/scene.json", library), vkrender::SceneError);
}

}  // namespace
