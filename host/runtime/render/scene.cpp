#include "render/scene.h"

#include <tiny_obj_loader.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ies_loading.h"
#include "image_io.h"
#include "render/vec.h"
#include "vyr_host.h"

namespace vkrender {

using nlohmann::json;

ShaderInstance::ShaderInstance(std::string shaderName, vkhost::ShaderPtr shader)
    : name(std::move(shaderName)), object(std::move(shader)) {
    kind = object->getShaderKind();
    layout = vkhost::declareLayout(object.get());
    for (const vkhost::VaryingDeclaration& v : layout.varyings) {
        const int at = vyr::kVaryingBlockOffset + v.offset;
        if (v.name == "tangent" && v.kind == vyr::kVaryingVec3f) {
            tangentOffset = at;
        } else if (v.name == "bitangent" && v.kind == vyr::kVaryingVec3f) {
            bitangentOffset = at;
        } else if (v.name == "uv" && v.kind == vyr::kVaryingVec2f) {
            uvOffset = at;
        }
    }
}

TextureStore::~TextureStore() {
    for (auto& [path, handle] : loaded) {
        vyr::host::release(handle.id());
    }
}

namespace {

// Where in which file: every message starts with the file, then the JSON path.
struct Where {
    const std::string& file;
    std::string path;

    Where operator[](const std::string& key) const {
        return {file, path.empty() ? key : path + "." + key};
    }
    Where operator[](std::size_t index) const {
        return {file, path + "[" + std::to_string(index) + "]"};
    }
    [[noreturn]] void fail(const std::string& problem) const {
        throw SceneError(file + ": " + (path.empty() ? "" : path + ": ") + problem);
    }
};

// Bounds that keep a mistyped setting from asking for terabytes or years.
constexpr std::int64_t kMaxSetting = 65536;
// Rays recurse on the render thread's stack; 64 bounces is far beyond any useful image.
constexpr std::int64_t kMaxDepth = 64;

struct Loader {
    const vkhost::ShaderLibrary& library;
    std::string baseDir;
    Scene& scene;

    std::string resolve(const std::string& file) const {
        const std::filesystem::path p(file);
        return p.is_absolute() || baseDir.empty() ? file
                                                  : (std::filesystem::path(baseDir) / p).string();
    }

    float number(const json& value, const Where& where) const {
        if (!value.is_number()) {
            where.fail("expected a number, got " + std::string(value.type_name()));
        }
        const double number = value.get<double>();
        if (!std::isfinite(number) || std::fabs(number) > 3.4e38) {
            where.fail("the number is out of range for a float");
        }
        return static_cast<float>(number);
    }

    template <std::size_t N>
    std::array<float, N> numbers(const json& value, const Where& where) const {
        if (!value.is_array() || value.size() != N) {
            where.fail("expected an array of " + std::to_string(N) + " numbers");
        }
        std::array<float, N> out{};
        for (std::size_t i = 0; i < N; ++i) {
            out[i] = number(value[i], where[i]);
        }
        return out;
    }

    vyr::Vec3f vec3(const json& value, const Where& where) const {
        const auto a = numbers<3>(value, where);
        return {a[0], a[1], a[2]};
    }

    vyr::Vec3f vec3Or(const json& object, const char* key, vyr::Vec3f fallback,
                      const Where& where) const {
        return object.contains(key) ? vec3(object[key], where[key]) : fallback;
    }

    float numberOr(const json& object, const char* key, float fallback, const Where& where) const {
        return object.contains(key) ? number(object[key], where[key]) : fallback;
    }

    const json& require(const json& object, const char* key, const Where& where) const {
        if (!object.contains(key)) {
            where.fail(std::string("missing \"") + key + "\"");
        }
        return object[key];
    }

    void requireObject(const json& value, const Where& where) const {
        if (!value.is_object()) {
            where.fail("expected an object, got " + std::string(value.type_name()));
        }
    }

    // A host texture made from an image file; one texture per file.
    vyr::TextureHandle texture(const json& value, const Where& where) {
        std::string file;
        if (value.is_string()) {
            file = value.get<std::string>();
        } else if (value.is_object() && value.contains("file") && value["file"].is_string()) {
            file = value["file"].get<std::string>();
        } else {
            where.fail("expected an image file name (a string or {\"file\": ...})");
        }
        const std::string path = resolve(file);
        for (const auto& [loadedPath, handle] : scene.textures->loaded) {
            if (loadedPath == path) {
                return handle;
            }
        }
        vkimage::Image image;
        try {
            image = vkimage::readImage(path);
        } catch (const std::exception& e) {
            where.fail(e.what());
        }
        vyr::TextureHandle handle = vyr::host::createTexture();
        vyr::host::textureOf(handle)->assignRgba(image.width, image.height,
                                                 std::move(image.pixels));
        scene.textures->loaded.emplace_back(path, handle);
        return handle;
    }

    vkhost::ParamValue parameterValue(const vkhost::Declaration& d, const json& value,
                                      const Where& where) {
        using vkhost::ParamType;
        switch (d.type) {
            case ParamType::Bool:
                if (!value.is_boolean()) {
                    where.fail("expected true or false for a bool parameter");
                }
                return value.get<bool>();
            case ParamType::Int:
                if (!value.is_number_integer()) {
                    where.fail("expected an integer for an int parameter");
                }
                return static_cast<std::int32_t>(value.get<std::int64_t>());
            case ParamType::Float:
                return number(value, where);
            case ParamType::Vec2f: {
                const auto a = numbers<2>(value, where);
                return vyr::Vec2f{a[0], a[1]};
            }
            case ParamType::Vec3f:
                return vec3(value, where);
            case ParamType::Vec4f: {
                if (value.is_array() && value.size() == 3) {
                    const auto a = numbers<3>(value, where);
                    return vyr::Vec4f{a[0], a[1], a[2], 1.0f};
                }
                const auto a = numbers<4>(value, where);
                return vyr::Vec4f{a[0], a[1], a[2], a[3]};
            }
            case ParamType::Mat3f: {
                const auto a = numbers<9>(value, where);
                vyr::Mat3f m{};
                std::copy(a.begin(), a.end(), m.m);
                return m;
            }
            case ParamType::Mat4f: {
                const auto a = numbers<16>(value, where);
                vyr::Mat4f m{};
                std::copy(a.begin(), a.end(), m.m);
                return m;
            }
            case ParamType::Texture1D:
            case ParamType::Texture2D:
                return texture(value, where);
        }
        where.fail("unsupported parameter type");
    }

    // Creates the shader, gives every matrix parameter the identity (shaders leave their uv
    // transforms unset for the host), applies the values by declared name and hands the block
    // to setParameters. `bind` may add host-made values (IES webs) before the block is applied.
    template <class Bind>
    std::shared_ptr<ShaderInstance> shader(const std::string& name, const json* params,
                                           const Where& where, Bind&& bind) {
        if (!library.hasShader(name)) {
            where["shader"].fail("unknown shader '" + name + "' (not exported by " +
                                 library.path() + ")");
        }
        vkhost::ShaderPtr object;
        try {
            object = library.create(name);
        } catch (const std::exception& e) {
            where["shader"].fail(e.what());
        }
        auto instance = std::make_shared<ShaderInstance>(name, std::move(object));
        vkhost::ParameterBlock block(name, instance->layout, instance->object.get());
        for (const vkhost::Declaration& d : instance->layout.parameters) {
            if (d.type == vkhost::ParamType::Mat3f) {
                block.set(d.name, vyr::Mat3f{{1, 0, 0, 0, 1, 0, 0, 0, 1}});
            } else if (d.type == vkhost::ParamType::Mat4f) {
                block.set(d.name, vyr::Mat4f{{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}});
            }
        }
        if (params != nullptr) {
            const Where pw = where["params"];
            requireObject(*params, pw);
            for (const auto& [key, value] : params->items()) {
                const vkhost::Declaration* d = instance->layout.find(key);
                if (d == nullptr) {
                    pw[key].fail("shader " + name + " declares no parameter '" + key + "'");
                }
                block.set(key, parameterValue(*d, value, pw[key]));
            }
        }
        bind(block);
        block.applyTo(instance->object.get());
        return instance;
    }

    std::shared_ptr<ShaderInstance> shaderOfKind(const json& node, int kind, const Where& where) {
        requireObject(node, where);
        const json& nameNode = require(node, "shader", where);
        if (!nameNode.is_string()) {
            where["shader"].fail("expected a shader name");
        }
        const std::string name = nameNode.get<std::string>();
        const json* params = node.contains("params") ? &node["params"] : nullptr;
        auto instance = shader(name, params, where, [](vkhost::ParameterBlock&) {});
        if (instance->kind != kind) {
            static const char* kKinds[] = {"material", "light", "environment"};
            where["shader"].fail(name + " is not " +
                                 (kind == vyr::kEnvironmentKind ? "an " : "a ") +
                                 std::string(kKinds[kind]) + " shader");
        }
        return instance;
    }

    int material(const json& node, const Where& where) {
        requireObject(node, where);
        Material m;
        if (node.contains("diffuse")) {
            m.albedo = vec3(node["diffuse"], where["diffuse"]);
        } else {
            m.shader = shaderOfKind(node, vyr::kMaterialKind, where);
        }
        scene.materials.push_back(std::move(m));
        return static_cast<int>(scene.materials.size()) - 1;
    }

    void mesh(Object& object, const json& node, const Where& where) {
        const json& fileNode = require(node, "file", where);
        if (!fileNode.is_string()) {
            where["file"].fail("expected an OBJ file name");
        }
        const std::string path = resolve(fileNode.get<std::string>());
        tinyobj::ObjReader reader;
        tinyobj::ObjReaderConfig config;
        config.triangulate = true;
        config.vertex_color = false;
        if (!std::filesystem::exists(path)) {
            where["file"].fail(path + ": no such file");
        }
        if (!reader.ParseFromFile(path, config)) {
            std::string message = reader.Error();
            while (!message.empty() && (message.back() == '\n' || message.back() == '\r')) {
                message.pop_back();
            }
            where["file"].fail(path + ": cannot read OBJ (" + message + ")");
        }
        const float scale = numberOr(node, "scale", 1.0f, where);
        const vyr::Vec3f offset = vec3Or(node, "translate", {0.0f, 0.0f, 0.0f}, where);
        const auto& attrib = reader.GetAttrib();
        bool allNormals = true;
        bool allUvs = true;
        for (const auto& shape : reader.GetShapes()) {
            for (const auto& index : shape.mesh.indices) {
                const auto vi = static_cast<std::size_t>(index.vertex_index);
                if (3 * vi + 2 >= attrib.vertices.size()) {
                    where["file"].fail(path + ": vertex index out of range");
                }
                object.positions.push_back({attrib.vertices[3 * vi] * scale + offset.x,
                                            attrib.vertices[3 * vi + 1] * scale + offset.y,
                                            attrib.vertices[3 * vi + 2] * scale + offset.z});
                if (index.normal_index >= 0 &&
                    3 * static_cast<std::size_t>(index.normal_index) + 2 < attrib.normals.size()) {
                    const auto ni = static_cast<std::size_t>(index.normal_index);
                    object.normals.push_back(
                        normalize(vyr::Vec3f{attrib.normals[3 * ni], attrib.normals[3 * ni + 1],
                                             attrib.normals[3 * ni + 2]}));
                } else {
                    allNormals = false;
                }
                if (index.texcoord_index >= 0 &&
                    2 * static_cast<std::size_t>(index.texcoord_index) + 1 <
                        attrib.texcoords.size()) {
                    const auto ti = static_cast<std::size_t>(index.texcoord_index);
                    object.uvs.push_back({attrib.texcoords[2 * ti], attrib.texcoords[2 * ti + 1]});
                } else {
                    allUvs = false;
                }
            }
        }
        if (object.positions.empty()) {
            where["file"].fail(path + ": no triangles");
        }
        if (!allNormals) {
            object.normals.clear();
        }
        if (!allUvs) {
            object.uvs.clear();
        }
        // Mesh tangents are given in the file's own space; the frame takes them to the world.
        float* f = object.localFrame;
        f[0] = f[5] = f[10] = scale;
        f[12] = offset.x;
        f[13] = offset.y;
        f[14] = offset.z;
    }

    void objectNode(const json& node, const Where& where) {
        requireObject(node, where);
        const json& typeNode = require(node, "type", where);
        const std::string type = typeNode.is_string() ? typeNode.get<std::string>() : "";
        Object object;
        if (type == "sphere") {
            object.kind = ShapeKind::Sphere;
            object.center = vec3Or(node, "center", object.center, where);
            object.radius = numberOr(node, "radius", 1.0f, where);
            if (!(object.radius > 0.0f)) {
                where["radius"].fail("must be positive");
            }
        } else if (type == "quad" || type == "plane") {
            object.kind = ShapeKind::Quad;
            object.center = vec3Or(node, "center", object.center, where);
            if (type == "plane") {
                // A square of the given size round the centre, facing up the z axis.
                const float size = numberOr(node, "size", 100.0f, where);
                object.edgeU = {size, 0.0f, 0.0f};
                object.edgeV = {0.0f, size, 0.0f};
            }
            object.edgeU = vec3Or(node, "edge_u", object.edgeU, where);
            object.edgeV = vec3Or(node, "edge_v", object.edgeV, where);
            object.normal = normalize(cross(object.edgeU, object.edgeV));
            if (!(length(cross(object.edgeU, object.edgeV)) > 0.0f)) {
                where.fail("the edges of a quad must span an area");
            }
        } else if (type == "disk") {
            object.kind = ShapeKind::Disk;
            object.center = vec3Or(node, "center", object.center, where);
            object.radius = numberOr(node, "radius", 1.0f, where);
            object.normal = normalize(vec3Or(node, "normal", object.normal, where));
            if (!(object.radius > 0.0f) || !(length(object.normal) > 0.0f)) {
                where.fail("a disk needs a positive radius and a non-zero normal");
            }
        } else if (type == "mesh") {
            object.kind = ShapeKind::Mesh;
            mesh(object, node, where);
        } else {
            where["type"].fail("expected \"sphere\", \"quad\", \"plane\", \"disk\" or \"mesh\"");
        }
        object.material = material(require(node, "material", where), where["material"]);
        scene.objects.push_back(std::move(object));
    }

    static LightShape defaultShape(const std::string& shader) {
        if (shader == "vexa_kelo_Lgt_Sphere")
            return LightShape::Sphere;
        if (shader == "vexa_kelo_Lgt_Diffuse")
            return LightShape::Rectangle;
        if (shader == "vexa_kelo_Lgt_Sky")
            return LightShape::Dome;
        if (shader == "SimpleAmbientLight")
            return LightShape::Ambient;
        return LightShape::Point;
    }

    void lightNode(const json& node, const Where& where) {
        requireObject(node, where);
        const json& nameNode = require(node, "shader", where);
        if (!nameNode.is_string()) {
            where["shader"].fail("expected a shader name");
        }
        const std::string name = nameNode.get<std::string>();
        Light light;
        light.shape = defaultShape(name);
        if (node.contains("shape")) {
            const std::string shape =
                node["shape"].is_string() ? node["shape"].get<std::string>() : "";
            if (shape == "point")
                light.shape = LightShape::Point;
            else if (shape == "sphere")
                light.shape = LightShape::Sphere;
            else if (shape == "rectangle")
                light.shape = LightShape::Rectangle;
            else if (shape == "dome")
                light.shape = LightShape::Dome;
            else if (shape == "ambient")
                light.shape = LightShape::Ambient;
            else
                where["shape"].fail(
                    "expected \"point\", \"sphere\", \"rectangle\", \"dome\" or \"ambient\"");
        }
        light.position = vec3Or(node, "position", light.position, where);
        if (node.contains("target")) {
            const vyr::Vec3f toTarget = vec3(node["target"], where["target"]) - light.position;
            if (!(length(toTarget) > 0.0f)) {
                where["target"].fail("the target must differ from the position");
            }
            light.axis = normalize(toTarget);
        }
        if (node.contains("axis")) {
            light.axis = vec3(node["axis"], where["axis"]);
            if (!(length(light.axis) > 0.0f)) {
                where["axis"].fail("must not be zero");
            }
            light.axis = normalize(light.axis);
        }
        light.radius = numberOr(node, "radius", light.radius, where);
        light.domeRadius = numberOr(node, "dome_radius", light.domeRadius, where);
        light.edgeU = vec3Or(node, "edge_u", light.edgeU, where);
        light.edgeV = vec3Or(node, "edge_v", light.edgeV, where);
        if (light.shape == LightShape::Rectangle) {
            const vyr::Vec3f n = cross(light.edgeU, light.edgeV);
            if (!(length(n) > 0.0f)) {
                where.fail("the edges of an emitter rectangle must span an area");
            }
            // The emitter shines to the side its normal points to.
            light.axis = normalize(n);
        }
        if (light.shape == LightShape::Sphere && !(light.radius > 0.0f)) {
            where["radius"].fail("must be positive");
        }
        const json* params = node.contains("params") ? &node["params"] : nullptr;
        std::string iesPath;
        if (node.contains("ies")) {
            if (!node["ies"].is_string()) {
                where["ies"].fail("expected an IES file name");
            }
            iesPath = resolve(node["ies"].get<std::string>());
        }
        light.shader = shader(name, params, where, [&](vkhost::ParameterBlock& block) {
            if (!iesPath.empty()) {
                bindIesFile(block, iesPath, *scene.textures, where.file + ": " + where["ies"].path);
            }
        });
        if (light.shader->kind != vyr::kLightKind) {
            where["shader"].fail(name + " is not a light shader");
        }
        scene.lights.push_back(std::move(light));
    }

    void load(const json& root, const Where& where) {
        requireObject(root, where);
        if (root.contains("camera")) {
            const json& c = root["camera"];
            const Where cw = where["camera"];
            requireObject(c, cw);
            scene.camera.position = vec3Or(c, "position", scene.camera.position, cw);
            scene.camera.lookAt = vec3Or(c, "look_at", scene.camera.lookAt, cw);
            scene.camera.up = vec3Or(c, "up", scene.camera.up, cw);
            scene.camera.fovDegrees = numberOr(c, "fov", scene.camera.fovDegrees, cw);
            if (!(scene.camera.fovDegrees > 0.0f && scene.camera.fovDegrees < 180.0f)) {
                cw["fov"].fail("must be between 0 and 180 degrees");
            }
            if (!(length(cross(scene.camera.lookAt - scene.camera.position, scene.camera.up)) >
                  0.0f)) {
                cw.fail("position, look_at and up must not be in line");
            }
        }
        scene.up = vec3Or(root, "up", scene.up, where);
        if (root.contains("render")) {
            const json& r = root["render"];
            const Where rw = where["render"];
            requireObject(r, rw);
            auto integer = [&](const char* key, int fallback, int low,
                               std::int64_t high = kMaxSetting) {
                if (!r.contains(key))
                    return fallback;
                if (!r[key].is_number_integer() || r[key].get<std::int64_t>() < low ||
                    r[key].get<std::int64_t>() > high) {
                    rw[key].fail("expected an integer from " + std::to_string(low) + " to " +
                                 std::to_string(high));
                }
                return static_cast<int>(r[key].get<std::int64_t>());
            };
            scene.settings.width = integer("width", scene.settings.width, 1);
            scene.settings.height = integer("height", scene.settings.height, 1);
            scene.settings.spp = integer("spp", scene.settings.spp, 1);
            scene.settings.maxDepth = integer("max_depth", scene.settings.maxDepth, 1, kMaxDepth);
            scene.settings.seed = static_cast<std::uint64_t>(integer("seed", 1, 0));
            if (static_cast<std::int64_t>(scene.settings.width) * scene.settings.height >
                kMaxPixels) {
                rw.fail("the image is larger than " + std::to_string(kMaxPixels) + " pixels");
            }
            scene.settings.exposure = numberOr(r, "exposure", scene.settings.exposure, rw);
        }
        if (root.contains("objects")) {
            const json& objects = root["objects"];
            if (!objects.is_array()) {
                where["objects"].fail("expected an array");
            }
            for (std::size_t i = 0; i < objects.size(); ++i) {
                objectNode(objects[i], where["objects"][i]);
            }
        }
        if (root.contains("lights")) {
            const json& lights = root["lights"];
            if (!lights.is_array()) {
                where["lights"].fail("expected an array");
            }
            for (std::size_t i = 0; i < lights.size(); ++i) {
                lightNode(lights[i], where["lights"][i]);
            }
        }
        if (root.contains("environment")) {
            scene.environment =
                shaderOfKind(root["environment"], vyr::kEnvironmentKind, where["environment"]);
        }
    }
};

}  // namespace

Scene parseScene(const std::string& text, const std::string& name, const std::string& baseDir,
                 const vkhost::ShaderLibrary& library) {
    Scene scene;
    scene.path = name;
    json root;
    try {
        root = json::parse(text);
    } catch (const json::parse_error& e) {
        std::string what = e.what();
        // "[json.exception.parse_error.101] parse error at line 3, column 5: ..." keeps its tail.
        const auto at = what.find("parse error");
        throw SceneError(name + ": " + (at == std::string::npos ? what : what.substr(at)));
    }
    Loader loader{library, baseDir, scene};
    try {
        loader.load(root, Where{scene.path, ""});
    } catch (const vkhost::ParameterError& e) {
        throw SceneError(name + ": " + e.what());
    }
    return scene;
}

Scene loadScene(const std::string& path, const vkhost::ShaderLibrary& library) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw SceneError(path + ": cannot open scene file");
    }
    std::ostringstream text;
    text << in.rdbuf();
    return parseScene(text.str(), path, std::filesystem::path(path).parent_path().string(),
                      library);
}

std::shared_ptr<ShaderInstance> makeShader(const vkhost::ShaderLibrary& library,
                                           const std::string& shaderName,
                                           const std::string& parametersJson,
                                           const std::string& where, Scene& scene) {
    json params;
    try {
        params = json::parse(parametersJson.empty() ? "{}" : parametersJson);
    } catch (const json::parse_error& e) {
        throw SceneError(where + ": " + e.what());
    }
    Loader loader{library, "", scene};
    return loader.shader(shaderName, &params, Where{where, ""}, [](vkhost::ParameterBlock&) {});
}

void bindIesFile(vkhost::ParameterBlock& lightParameters, const std::string& iesPath,
                 TextureStore& textures, const std::string& where) {
    const vkhost::Declaration* webMap = lightParameters.layout().find("webMap");
    if (webMap == nullptr || webMap->type != vkhost::ParamType::Texture2D) {
        throw SceneError(where + ": " + lightParameters.shaderName() +
                         " has no \"webMap\" texture to take a photometric file");
    }
    vkhost::LoadedIes loaded;
    try {
        loaded = vkhost::loadIes(iesPath);
    } catch (const vkhost::IesLoadError& e) {
        throw SceneError(where + ": " + iesPath + ": " + e.what());
    }
    // The host shader only collects what initShader binds; the web texture is what the light reads.
    const vyr::ShaderHandle collector = vyr::host::createShader();
    loaded.file->initShader(collector, "webMap", "verticalRange", "horizontalRange", "photoType",
                            "symmetry");
    const auto* uniforms = vyr::host::shaderOf(collector);
    const auto web = uniforms->uniform("webMap");
    const auto type = uniforms->uniform("photoType");
    vyr::host::release(collector.id());
    for (const vyr::TextureHandle& handle : {loaded.file->webTexture(),
                                             loaded.file->thetaCdfTexture(),
                                             loaded.file->phiCdfTexture()}) {
        textures.loaded.emplace_back(iesPath, handle);
    }
    if (!web.has_value() || !type.has_value()) {
        throw SceneError(where + ": " + iesPath + ": no web texture could be made from it");
    }
    lightParameters.set("webMap", std::get<vyr::host::TextureBinding>(*web).texture);
    // The file decides how its angles are laid out.
    if (lightParameters.layout().find("web_photo_type") != nullptr) {
        lightParameters.set("web_photo_type", static_cast<std::int32_t>(std::get<int>(*type)));
    }
}

}  // namespace vkrender
