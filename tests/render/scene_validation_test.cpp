// Scene values that parse but mean nothing physically (a zero dome, a zero up, negative light,
// glass of zero panes, numbers a field cannot hold) are refused in one line naming the file, the
// JSON path and the value; the values just inside each bound are accepted unchanged.
#include <gtest/gtest.h>

#include <string>

#include "parameters.h"
#include "render/scene.h"
#include "shader_library.h"

namespace {

struct Row {
    const char* json;
    const char* expected;  // the message after "bad.json: "
};

void expectRejected(const Row* begin, const Row* end) {
    const vkhost::ShaderLibrary library;
    for (const Row* row = begin; row != end; ++row) {
        try {
            vkrender::parseScene(row->json, "bad.json", "", library);
            ADD_FAILURE() << "accepted " << row->json;
        } catch (const vkrender::SceneError& e) {
            const std::string message = e.what();
            EXPECT_EQ(message.rfind("bad.json: ", 0), 0u) << message;
            EXPECT_NE(message.find(row->expected), std::string::npos)
                << message << "\n  wanted: " << row->expected;
            EXPECT_EQ(message.find('\n'), std::string::npos) << message;
        }
    }
}

TEST(SceneValidation, GeometryThatMeansNothingIsRefused) {
    const Row rows[] = {
        {R"({"lights": [{"shader": "vexa_kelo_Lgt_Sky", "dome_radius": 0}]})",
         "lights[0].dome_radius: must be above 0 and at most 1e6, got 0"},
        {R"({"lights": [{"shader": "vexa_kelo_Lgt_Sky", "dome_radius": -5}]})",
         "lights[0].dome_radius: must be above 0 and at most 1e6, got -5"},
        {R"({"lights": [{"shader": "vexa_kelo_Lgt_Sky", "dome_radius": 3e38}]})",
         "lights[0].dome_radius: must be above 0 and at most 1e6, got 3e+38"},
        {R"({"up": [0, 0, 0]})", "up: must not be zero, got [0,0,0]"},
        {R"({"camera": {"up": [0, 0, 0]}})", "camera.up: must not be zero"},
        {R"({"camera": {"position": [0, 0, 5], "look_at": [0, 0, 0], "up": [0, 0, 2]}})",
         "camera: position, look_at and up must not be in line"},
        {R"({"camera": {"position": [2e6, 0, 0]}})",
         "camera.position: coordinates must lie within -1e6 and 1e6, got [2000000.0,0,0]"},
        {R"({"lights": [{"shader": "vexa_kelo_Lgt_Diffuse", "edge_u": [1e30, 0, 0],
                         "edge_v": [0, 1e30, 0]}]})",
         "lights[0].edge_u: coordinates must lie within -1e6 and 1e6, got [1e+30,0,0]"},
        {R"({"lights": [{"shader": "vexa_kelo_Lgt_Diffuse", "edge_u": [1, 0, 0],
                         "edge_v": [2, 0, 0]}]})",
         "lights[0]: the edges of an emitter rectangle must span an area"},
        {R"({"lights": [{"shader": "vexa_kelo_Lgt_Sphere", "radius": 0}]})",
         "lights[0].radius: must be above 0 and at most 1e6, got 0"},
        {R"({"lights": [{"shader": "vexa_kelo_Lgt_Spot", "axis": [0, 0, 0]}]})",
         "lights[0].axis: must not be zero"},
        {R"({"objects": [{"type": "plane", "size": -3, "material": {"diffuse": [1, 1, 1]}}]})",
         "objects[0].size: must be above 0 and at most 1e6, got -3"},
        {R"({"objects": [{"type": "disk", "normal": [0, 0, 0], "material": {"diffuse": [1, 1, 1]}}]})",
         "objects[0].normal: must not be zero"},
        {R"({"objects": [{"type": "sphere", "center": [0, -1e7, 0], "material": {"diffuse": [1, 1, 1]}}]})",
         "objects[0].center: coordinates must lie within"},
    };
    expectRejected(std::begin(rows), std::end(rows));
}

TEST(SceneValidation, NegativeLightAndGlassWithoutPanesAreRefused) {
    const Row rows[] = {
        {R"({"lights": [{"shader": "SimplePointLight", "params": {"color": [-1, 1, 1]}}]})",
         "lights[0].params.color: emitted light must not be negative, got [-1,1,1]"},
        {R"({"lights": [{"shader": "vexa_kelo_Lgt_Spot", "params": {"intensity": -40}}]})",
         "lights[0].params.intensity: emitted light must not be negative, got -40"},
        {R"({"lights": [{"shader": "vexa_kelo_Lgt_Sky", "params": {"intensity": [1, 1, -0.5]}}]})",
         "lights[0].params.intensity: emitted light must not be negative"},
        {R"({"lights": [{"shader": "vexa_kelo_Lgt_Diffuse", "params": {"integratedColor": [0, -2, 0]}}]})",
         "lights[0].params.integratedColor: emitted light must not be negative"},
        {R"({"environment": {"shader": "Background", "params": {"color": [0, 0, -1]}}})",
         "environment.params.color: emitted light must not be negative"},
        {R"({"objects": [{"type": "sphere", "material": {"diffuse": [1.5, 0.5, 0.5]}}]})",
         "objects[0].material.diffuse: each component must be from 0 to 1, got [1.5,0.5,0.5]"},
        {R"({"objects": [{"type": "sphere", "material": {"diffuse": [0.5, -0.1, 0.5]}}]})",
         "objects[0].material.diffuse: each component must be from 0 to 1"},
        {R"({"objects": [{"type": "sphere", "material": {"shader": "vexa_kelo_Mtl_Glazing",
                          "params": {"u_level": 0}}}]})",
         "objects[0].material.params.u_level: the number of panes must be above 0 (the reflected "
         "share is divided by it), got 0"},
        {R"({"objects": [{"type": "sphere", "material": {"shader": "vexa_kelo_Mtl_Glazing",
                          "params": {"u_level": -2}}}]})",
         "objects[0].material.params.u_level: the number of panes must be above 0"},
        {R"({"render": {"exposure": 0}})", "render.exposure: must be above 0, got 0"},
        {R"({"render": {"exposure": -1}})", "render.exposure: must be above 0, got -1"},
    };
    expectRejected(std::begin(rows), std::end(rows));
}

TEST(SceneValidation, NumbersAFieldCannotHoldAreRefusedNotCut) {
    const Row rows[] = {
        {R"({"objects": [{"type": "sphere", "material": {"shader": "vexa_kelo_Mtl_Dielectric",
                          "params": {"u_procedureMapEnable": 2147483648}}}]})",
         "objects[0].material.params.u_procedureMapEnable: expected an integer from -2147483648 "
         "to 2147483647 for an int parameter, got 2147483648"},
        {R"({"objects": [{"type": "sphere", "material": {"shader": "vexa_kelo_Mtl_Dielectric",
                          "params": {"u_procedureMapEnable": -2147483649}}}]})",
         "got -2147483649"},
        {R"({"objects": [{"type": "sphere", "material": {"shader": "vexa_kelo_Mtl_Dielectric",
                          "params": {"u_procedureMapEnable": 18446744073709551615}}}]})",
         "got 18446744073709551615"},
        {R"({"objects": [{"type": "sphere", "material": {"shader": "vexa_kelo_Mtl_Dielectric",
                          "params": {"u_procedureMapEnable": 1.5}}}]})",
         "for an int parameter, got 1.5"},
        {R"({"render": {"seed": -1}})",
         "render.seed: expected an integer from 0 to 18446744073709551615, got -1"},
        {R"({"render": {"seed": 18446744073709551616}})", "render.seed: expected an integer"},
        {R"({"render": {"seed": 7.5}})", "render.seed: expected an integer"},
        {R"({"render": {"width": 1e3}})",
         "render.width: expected an integer from 1 to 65536, got 1000.0"},
    };
    expectRejected(std::begin(rows), std::end(rows));
}

TEST(SceneValidation, MessagesStayOneShortLine) {
    // A value nested 200000 deep is shown one level down, not dumped recursively.
    const std::string deep = std::string(200000, '[') + std::string(200000, ']');
    const std::string rows[][2] = {
        // A key with a line break stays on one line.
        {R"({"lights": [{"shader": "SimplePointLight", "params": {"col\nor": 1}}]})",
         "bad.json: lights[0].params.col\\nor: shader SimplePointLight declares no parameter "
         "'col\\nor'"},
        {R"({"render": {"exposure": )" + deep + "}}",
         "bad.json: render.exposure: expected a number, got array"},
        {R"({"render": {"seed": )" + deep + "}}",
         "bad.json: render.seed: expected an integer from 0 to 18446744073709551615, got [[...]]"},
        {R"({"render": {"seed": [1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21]}})",
         "bad.json: render.seed: expected an integer from 0 to 18446744073709551615, got "
         "[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18,19,20,21]"},
        {R"({"render": {"seed": {"a": "long text long text long text long text long text long"}}})",
         "bad.json: render.seed: expected an integer from 0 to 18446744073709551615, got "
         // 57 characters of the object, then the cut.
         "{\"a\":\"long text long text long text long text long text l..."},
    };
    const vkhost::ShaderLibrary library;
    for (const auto& row : rows) {
        try {
            vkrender::parseScene(row[0], "bad.json", "", library);
            ADD_FAILURE() << "accepted " << row[0].substr(0, 80);
        } catch (const vkrender::SceneError& e) {
            EXPECT_EQ(std::string(e.what()), row[1]);
        }
    }
}

TEST(SceneValidation, ValuesAtTheBoundsAreKeptExactly) {
    const vkhost::ShaderLibrary library;
    const vkrender::Scene scene = vkrender::parseScene(R"({
        "up": [0, 0, 3],
        "render": {"seed": 18446744073709551615, "exposure": 0.25},
        "objects": [
          {"type": "sphere", "radius": 1e6, "center": [-1e6, 0, 1e6],
           "material": {"shader": "vexa_kelo_Mtl_Dielectric",
                        "params": {"u_procedureMapEnable": 2147483647}}},
          {"type": "sphere", "material": {"shader": "vexa_kelo_Mtl_Glazing",
                                          "params": {"u_level": 0.5}}},
          {"type": "sphere", "material": {"diffuse": [0, 1, 0.5]}}],
        "lights": [{"shader": "vexa_kelo_Lgt_Sky", "dome_radius": 1e6,
                    "params": {"intensity": [0, 0, 0]}}]
    })",
                                                       "edge.json", "", library);
    EXPECT_EQ(scene.settings.seed, 18446744073709551615ull);
    EXPECT_EQ(scene.settings.exposure, 0.25f);
    EXPECT_EQ(scene.up.z, 3.0f);
    EXPECT_EQ(scene.objects[0].radius, 1e6f);
    EXPECT_EQ(scene.lights[0].domeRadius, 1e6f);
    const auto& dielectric = *scene.materials[0].shader;
    const vkhost::ParameterBlock block(dielectric.name, dielectric.layout, dielectric.object.get());
    EXPECT_EQ(std::get<std::int32_t>(block.get("u_procedureMapEnable")), 2147483647);
    // Seeds past 2^63 stay unsigned rather than wrapping negative on the way.
    EXPECT_EQ(
        vkrender::parseScene(R"({"render": {"seed": 9223372036854775808}})", "s.json", "", library)
            .settings.seed,
        9223372036854775808ull);
}

TEST(SceneValidation, JsonErrorsNameTheFileAndThePlace) {
    const vkhost::ShaderLibrary library;
    struct Case {
        const char* json;
        const char* expected;
    };
    const Case cases[] = {
        // The overflowing number is on line 3; "radius" in a string on line 2 is not it.
        {"{\"objects\": [\n  {\"type\": \"sphere\", \"note\": \"1e999\",\n   \"radius\": 1e999}]}",
         "bad.json: line 3, column 14: number overflow parsing '1e999'"},
        {"{\"up\": [0, 0, 1]\n \"x\": 1}", "bad.json: parse error at line 2, column"},
        {"", "bad.json: parse error at line 1, column 1"},
    };
    for (const Case& c : cases) {
        try {
            vkrender::parseScene(c.json, "bad.json", "", library);
            ADD_FAILURE() << "accepted " << c.json;
        } catch (const vkrender::SceneError& e) {
            const std::string message = e.what();
            EXPECT_EQ(message.rfind(c.expected, 0), 0u) << message;
            EXPECT_EQ(message.find("json.exception"), std::string::npos) << message;
            EXPECT_EQ(message.find('\n'), std::string::npos) << message;
        }
    }
}

}  // namespace
