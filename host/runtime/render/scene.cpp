#include "render/scene.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <type_traits>
#include <variant>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string_view>

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

FileSource memoryFiles(std::map<std::string, std::string> files) {
    return [files = std::move(files)](const std::string& path, std::uint64_t maxBytes) {
        const auto found = files.find(path);
        if (found == files.end()) {
            throw FileError("no such file");
        }
        if (found->second.size() > maxBytes) {
            throw FileError("larger than the limit of " + std::to_string(maxBytes) + " bytes");
        }
        return found->second;
    };
}

namespace {

// One statement of OBJ text split at blanks, with its line number for messages.
struct ObjLine {
    std::size_t number = 0;
    std::vector<std::string_view> tokens;
};

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

// A coordinate: the whole token must be a finite float (from_chars, so no locale; "1e999",
// "nan" and "a" are refused rather than read as 0 or infinity).
std::optional<float> objNumber(std::string_view token) {
    if (!token.empty() && token.front() == '+') {
        token.remove_prefix(1);
    }
    float value = 0.0f;
    const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
    if (error != std::errc() || end != token.data() + token.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

// An index of a face corner: a non-zero integer, negative counting back from the last element
// read so far. Returns the zero-based index, or -1 for a malformed one (range is checked later,
// as a file may refer ahead).
std::int64_t objIndex(std::string_view token, std::size_t countSoFar) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
    if (error != std::errc() || end != token.data() + token.size() || value == 0) {
        return -1;
    }
    if (value > 0) {
        return value - 1;
    }
    const std::int64_t back = static_cast<std::int64_t>(countSoFar) + value;
    return back < 0 ? -1 : back;
}

struct ObjCorner {
    std::int64_t position = -1;
    std::int64_t uv = -1;      // -1: none
    std::int64_t normal = -1;  // -1: none
};

}  // namespace

ObjMesh parseObj(const std::string& text, const std::string& name, const LoadLimits& limits) {
    if (text.size() > limits.meshBytes) {
        throw SceneError(name + ": larger than the mesh limit of " +
                         std::to_string(limits.meshBytes) + " bytes");
    }
    std::vector<vyr::Vec3f> positions;
    std::vector<vyr::Vec3f> normals;
    std::vector<vyr::Vec2f> uvs;
    std::vector<ObjCorner> corners;  // three per triangle
    std::vector<std::size_t> cornerLines;
    std::uint64_t triangles = 0;
    ObjLine line;
    const auto fail = [&](const std::string& problem) {
        throw SceneError(name + ": line " + std::to_string(line.number) + ": " + problem);
    };
    // The numbers after the keyword, at least `least` and at most `most` (up to kMostNumbers).
    constexpr std::size_t kMostNumbers = 6;
    const auto numbers = [&](std::size_t least, std::size_t most, const char* what) {
        const std::size_t count = line.tokens.size() - 1;
        if (count < least || count > std::min(most, kMostNumbers)) {
            fail(std::string(what) + " needs " + std::to_string(least) +
                 (least == most ? "" : " to " + std::to_string(most)) + " numbers");
        }
        std::array<float, kMostNumbers> out{};
        for (std::size_t i = 1; i < line.tokens.size(); ++i) {
            const std::optional<float> v = objNumber(line.tokens[i]);
            if (!v) {
                fail("'" + std::string(line.tokens[i]) + "' is not a finite number");
            }
            out[i - 1] = *v;
        }
        return out;
    };

    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t end = text.find('\n', at);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string_view content(text.data() + at, end - at);
        at = end + 1;
        ++line.number;
        line.tokens.clear();
        std::size_t i = 0;
        while (i < content.size()) {
            while (i < content.size() && isBlank(content[i])) {
                ++i;
            }
            const std::size_t start = i;
            while (i < content.size() && !isBlank(content[i])) {
                ++i;
            }
            if (i > start) {
                line.tokens.push_back(content.substr(start, i - start));
            }
        }
        if (line.tokens.empty()) {
            continue;
        }
        const std::string_view keyword = line.tokens[0];
        if (keyword == "v") {
            // x y z, optionally w or a colour, which the renderer does not use.
            const auto a = numbers(3, 6, "a vertex");
            positions.push_back({a[0], a[1], a[2]});
        } else if (keyword == "vn") {
            const auto a = numbers(3, 3, "a normal");
            const vyr::Vec3f n{a[0], a[1], a[2]};
            if (!(length(n) > 0.0f) || !std::isfinite(length(n))) {
                fail("a normal must have a finite, non-zero length");
            }
            normals.push_back(normalize(n));
        } else if (keyword == "vt") {
            const auto a = numbers(1, 3, "a texture coordinate");
            uvs.push_back({a[0], a[1]});
        } else if (keyword == "f") {
            const std::size_t count = line.tokens.size() - 1;
            if (count < 3) {
                fail("a face needs at least 3 corners");
            }
            triangles += count - 2;
            if (triangles > limits.meshTriangles) {
                fail("more than the mesh limit of " + std::to_string(limits.meshTriangles) +
                     " triangles");
            }
            std::vector<ObjCorner> face(count);
            for (std::size_t k = 0; k < count; ++k) {
                // v, v/vt, v//vn or v/vt/vn
                const std::string_view token = line.tokens[k + 1];
                const std::size_t slash1 = token.find('/');
                const std::size_t slash2 =
                    slash1 == std::string_view::npos ? slash1 : token.find('/', slash1 + 1);
                ObjCorner& c = face[k];
                c.position = objIndex(token.substr(0, slash1), positions.size());
                bool good = c.position >= 0;
                if (slash1 != std::string_view::npos) {
                    const std::string_view uv = token.substr(
                        slash1 + 1,
                        slash2 == std::string_view::npos ? slash2 : slash2 - slash1 - 1);
                    // Only v//vn leaves the uv out.
                    if (!uv.empty() || slash2 == std::string_view::npos) {
                        c.uv = objIndex(uv, uvs.size());
                        good = good && c.uv >= 0;
                    }
                    if (slash2 != std::string_view::npos) {
                        c.normal = objIndex(token.substr(slash2 + 1), normals.size());
                        good = good && c.normal >= 0;
                    }
                }
                if (!good) {
                    fail("'" + std::string(token) +
                         "' is not a face corner (v, v/vt, v//vn or v/vt/vn)");
                }
            }
            // A fan round the first corner, as polygons in OBJ files are convex.
            for (std::size_t k = 1; k + 1 < count; ++k) {
                for (const ObjCorner& c : {face[0], face[k], face[k + 1]}) {
                    corners.push_back(c);
                    cornerLines.push_back(line.number);
                }
            }
        }
        // Groups, objects, smoothing groups, materials, lines and points do not change the
        // triangles and are passed over.
    }
    if (corners.empty()) {
        throw SceneError(name + ": no triangles");
    }
    ObjMesh mesh;
    mesh.positions.reserve(corners.size());
    bool allNormals = true;
    bool allUvs = true;
    for (std::size_t k = 0; k < corners.size(); ++k) {
        const ObjCorner& c = corners[k];
        line.number = cornerLines[k];
        if (static_cast<std::uint64_t>(c.position) >= positions.size()) {
            fail("vertex " + std::to_string(c.position + 1) + " does not exist (the file has " +
                 std::to_string(positions.size()) + ")");
        }
        if (c.uv >= 0 && static_cast<std::uint64_t>(c.uv) >= uvs.size()) {
            fail("texture coordinate " + std::to_string(c.uv + 1) +
                 " does not exist (the file has " + std::to_string(uvs.size()) + ")");
        }
        if (c.normal >= 0 && static_cast<std::uint64_t>(c.normal) >= normals.size()) {
            fail("normal " + std::to_string(c.normal + 1) + " does not exist (the file has " +
                 std::to_string(normals.size()) + ")");
        }
        mesh.positions.push_back(positions[static_cast<std::size_t>(c.position)]);
        allNormals = allNormals && c.normal >= 0;
        allUvs = allUvs && c.uv >= 0;
    }
    // Normals and uvs only when every corner has them: a mesh is shaded one way throughout.
    if (allNormals) {
        mesh.normals.reserve(corners.size());
        for (const ObjCorner& c : corners) {
            mesh.normals.push_back(normals[static_cast<std::size_t>(c.normal)]);
        }
    }
    if (allUvs) {
        mesh.uvs.reserve(corners.size());
        for (const ObjCorner& c : corners) {
            mesh.uvs.push_back(uvs[static_cast<std::size_t>(c.uv)]);
        }
    }
    return mesh;
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
        throw SceneError(oneLine(file + ": " + (path.empty() ? "" : path + ": ") + problem));
    }

    // Keys and file names may hold line breaks; a message stays one line.
    static std::string oneLine(std::string text) {
        std::string out;
        out.reserve(text.size());
        for (const char c : text) {
            if (c == '\n') {
                out += "\\n";
            } else if (c == '\r') {
                out += "\\r";
            } else if (static_cast<unsigned char>(c) < 0x20) {
                out += '?';
            } else {
                out += c;
            }
        }
        return out;
    }
};

// Bounds that keep a mistyped setting from asking for terabytes or years.
constexpr std::int64_t kMaxSetting = 65536;
// Rays recurse on the render thread's stack; 64 bounces is far beyond any useful image.
constexpr std::int64_t kMaxDepth = 64;
// Coordinates and lengths of a scene stay within a million units: beyond that a float keeps
// less than a tenth of a unit, and squared distances (a sky dome's, an emitter's area) run out
// of the float's range. Such values are typing mistakes, not scenes.
constexpr float kMaxExtent = 1.0e6f;
const std::string kExtentText = "1e6";

// A JSON value as the file gives it, cut short for a message. Only one level is spelled out:
// dumping a value nested a million deep would recurse as deep.
std::string shown(const json& value) {
    const auto quoted = [](const std::string& key) {
        return json(key).dump(-1, ' ', false, json::error_handler_t::replace);
    };
    const auto flat = [](const json& v) {
        return v.is_array() ? std::string(v.empty() ? "[]" : "[...]")
               : v.is_object() ? std::string(v.empty() ? "{}" : "{...}")
                               : v.dump(-1, ' ', false, json::error_handler_t::replace);
    };
    std::string text;
    if (value.is_array()) {
        text = "[";
        for (std::size_t i = 0; i < value.size() && text.size() <= 60; ++i) {
            if (i > 0)
                text += ',';
            text += flat(value[i]);
        }
        text += "]";
    } else if (value.is_object()) {
        text = "{";
        for (const auto& [key, item] : value.items()) {
            if (text.size() > 1)
                text += ',';
            text += quoted(key);
            text += ':';
            text += flat(item);
            if (text.size() > 60) {
                break;
            }
        }
        text += "}";
    } else {
        text = flat(value);
    }
    if (text.size() > 60) {
        text.resize(57);
        text += "...";
    }
    return text;
}

std::string shown(const json& object, const char* key) {
    return object.contains(key) ? shown(object[key]) : "the default";
}

bool withinExtent(vyr::Vec3f p) {
    return std::fabs(p.x) <= kMaxExtent && std::fabs(p.y) <= kMaxExtent &&
           std::fabs(p.z) <= kMaxExtent;
}

struct Loader {
    const vkhost::ShaderLibrary& library;
    std::string baseDir;
    Scene& scene;
    const LoadLimits& limits;
    const FileSource& files;

    // A referenced file's bytes; a file that cannot be read is reported at `where`.
    std::string read(const std::string& path, std::uint64_t maxBytes, const Where& where) const {
        try {
            return files ? files(path, maxBytes) : vkimage::readFileBytes(path, maxBytes);
        } catch (const FileError& e) {
            where.fail(path + ": " + e.what());
        }
    }

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

    // A place in the scene: a point within kMaxExtent of the origin on every axis.
    vyr::Vec3f pointOr(const json& object, const char* key, vyr::Vec3f fallback,
                       const Where& where) const {
        if (!object.contains(key)) {
            return fallback;
        }
        const vyr::Vec3f p = vec3(object[key], where[key]);
        if (!withinExtent(p)) {
            where[key].fail("coordinates must lie within -" + kExtentText + " and " +
                            kExtentText + ", got " + shown(object, key));
        }
        return p;
    }

    // A direction: any length but zero; also an edge vector, which is bounded like a point.
    vyr::Vec3f directionOr(const json& object, const char* key, vyr::Vec3f fallback,
                           const Where& where) const {
        const vyr::Vec3f d = pointOr(object, key, fallback, where);
        if (!(length(d) > 0.0f)) {
            where[key].fail("must not be zero, got " + shown(object, key));
        }
        return d;
    }

    // A size: above 0 and at most kMaxExtent.
    float lengthOr(const json& object, const char* key, float fallback, const Where& where) const {
        const float value = numberOr(object, key, fallback, where);
        if (!(value > 0.0f && value <= kMaxExtent)) {
            where[key].fail("must be above 0 and at most " + kExtentText + ", got " +
                            shown(object, key));
        }
        return value;
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
            image = vkimage::readImageFromMemory(read(path, limits.textureBytes, where), path,
                                                 {limits.textureBytes, limits.texturePixels});
        } catch (const vkimage::ImageError& e) {
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
            case ParamType::Int: {
                // Whole numbers only, and only those a 32-bit field holds: 2.5 or 2^31 would
                // otherwise be cut to something the scene never said.
                constexpr auto low = std::numeric_limits<std::int32_t>::min();
                constexpr auto high = std::numeric_limits<std::int32_t>::max();
                const bool fitsInt =
                    value.is_number_integer() &&
                    (value.is_number_unsigned()
                         ? value.get<std::uint64_t>() <= static_cast<std::uint64_t>(high)
                         : value.get<std::int64_t>() >= low && value.get<std::int64_t>() <= high);
                if (!fitsInt) {
                    where.fail("expected an integer from " + std::to_string(low) + " to " +
                               std::to_string(high) + " for an int parameter, got " +
                               shown(value));
                }
                return static_cast<std::int32_t>(value.get<std::int64_t>());
            }
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
                const vkhost::ParamValue v = parameterValue(*d, value, pw[key]);
                checkMeaning(*instance, key, v, value, pw[key]);
                block.set(key, v);
            }
        }
        bind(block);
        block.applyTo(instance->object.get());
        return instance;
    }

    // Values the library takes as given but that mean nothing physically. The library's
    // arithmetic stays as it is by design, so the scene is refused here instead of rendering
    // NaN or negative light.
    static void checkMeaning(const ShaderInstance& shader, const std::string& key,
                             const vkhost::ParamValue& value, const json& text,
                             const Where& where) {
        // What lights and environments emit (their colours, intensities and multipliers).
        static const char* const kEmission[] = {"color",      "integratedColor", "rgbLightColor",
                                                "intensity",  "multiplier",      "ground_color"};
        const bool emitter = shader.kind == vyr::kLightKind || shader.kind == vyr::kEnvironmentKind;
        if (emitter && std::find(std::begin(kEmission), std::end(kEmission), key) !=
                           std::end(kEmission)) {
            bool negative = false;
            std::visit(
                [&](const auto& v) {
                    using T = std::decay_t<decltype(v)>;
                    if constexpr (std::is_same_v<T, float>) {
                        negative = v < 0.0f;
                    } else if constexpr (std::is_same_v<T, vyr::Vec3f>) {
                        negative = v.x < 0.0f || v.y < 0.0f || v.z < 0.0f;
                    } else if constexpr (std::is_same_v<T, vyr::Vec4f>) {
                        negative = v.x < 0.0f || v.y < 0.0f || v.z < 0.0f || v.w < 0.0f;
                    }
                },
                value);
            if (negative) {
                where.fail("emitted light must not be negative, got " + shown(text));
            }
        }
        // The Glazing divides its reflected share by the number of panes: 0 shades NaN.
        if (shader.name == "vexa_kelo_Mtl_Glazing" && key == "u_level" &&
            !(std::get<float>(value) > 0.0f)) {
            where.fail("the number of panes must be above 0 (the reflected share is divided by "
                       "it), got " +
                       shown(text));
        }
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
            // A surface reflects at most what reaches it.
            if (!(m.albedo.x >= 0.0f && m.albedo.x <= 1.0f && m.albedo.y >= 0.0f &&
                  m.albedo.y <= 1.0f && m.albedo.z >= 0.0f && m.albedo.z <= 1.0f)) {
                where["diffuse"].fail("each component must be from 0 to 1, got " +
                                      shown(node["diffuse"]));
            }
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
        const float scale = numberOr(node, "scale", 1.0f, where);
        if (!(scale != 0.0f && std::fabs(scale) <= kMaxExtent)) {
            where["scale"].fail("must not be 0 and at most " + kExtentText + " either way, got " +
                                shown(node, "scale"));
        }
        const vyr::Vec3f offset = pointOr(node, "translate", {0.0f, 0.0f, 0.0f}, where);
        const std::string text = read(path, limits.meshBytes, where["file"]);
        ObjMesh mesh;
        try {
            mesh = parseObj(text, path, limits);
        } catch (const SceneError& e) {
            where["file"].fail(e.what());
        }
        object.positions.reserve(mesh.positions.size());
        for (const vyr::Vec3f& p : mesh.positions) {
            const vyr::Vec3f world{p.x * scale + offset.x, p.y * scale + offset.y,
                                   p.z * scale + offset.z};
            if (!withinExtent(world)) {
                where.fail(path + ": scaled and moved, a vertex lies beyond " + kExtentText +
                           " units");
            }
            object.positions.push_back(world);
        }
        object.normals = std::move(mesh.normals);
        object.uvs = std::move(mesh.uvs);
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
            object.center = pointOr(node, "center", object.center, where);
            object.radius = lengthOr(node, "radius", 1.0f, where);
        } else if (type == "quad" || type == "plane") {
            object.kind = ShapeKind::Quad;
            object.center = pointOr(node, "center", object.center, where);
            if (type == "plane") {
                // A square of the given size round the centre, facing up the z axis.
                const float size = lengthOr(node, "size", 100.0f, where);
                object.edgeU = {size, 0.0f, 0.0f};
                object.edgeV = {0.0f, size, 0.0f};
            }
            object.edgeU = directionOr(node, "edge_u", object.edgeU, where);
            object.edgeV = directionOr(node, "edge_v", object.edgeV, where);
            object.normal = normalize(cross(object.edgeU, object.edgeV));
            if (!(length(cross(object.edgeU, object.edgeV)) > 0.0f)) {
                where.fail("the edges of a quad must span an area");
            }
        } else if (type == "disk") {
            object.kind = ShapeKind::Disk;
            object.center = pointOr(node, "center", object.center, where);
            object.radius = lengthOr(node, "radius", 1.0f, where);
            object.normal = normalize(directionOr(node, "normal", object.normal, where));
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
        light.position = pointOr(node, "position", light.position, where);
        if (node.contains("target")) {
            const vyr::Vec3f toTarget = pointOr(node, "target", {}, where) - light.position;
            if (!(length(toTarget) > 0.0f)) {
                where["target"].fail("the target must differ from the position");
            }
            light.axis = normalize(toTarget);
        }
        if (node.contains("axis")) {
            light.axis = normalize(directionOr(node, "axis", light.axis, where));
        }
        light.radius = lengthOr(node, "radius", light.radius, where);
        // The dome's points are this far from the shaded point; its square must stay a float.
        light.domeRadius = lengthOr(node, "dome_radius", light.domeRadius, where);
        light.edgeU = directionOr(node, "edge_u", light.edgeU, where);
        light.edgeV = directionOr(node, "edge_v", light.edgeV, where);
        if (light.shape == LightShape::Rectangle) {
            const vyr::Vec3f n = cross(light.edgeU, light.edgeV);
            if (!(length(n) > 0.0f)) {
                where.fail("the edges of an emitter rectangle must span an area");
            }
            // The emitter shines to the side its normal points to.
            light.axis = normalize(n);
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
                bindIesFile(block, iesPath, *scene.textures, where.file + ": " + where["ies"].path,
                            files);
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
            scene.camera.position = pointOr(c, "position", scene.camera.position, cw);
            scene.camera.lookAt = pointOr(c, "look_at", scene.camera.lookAt, cw);
            scene.camera.up = directionOr(c, "up", scene.camera.up, cw);
            scene.camera.fovDegrees = numberOr(c, "fov", scene.camera.fovDegrees, cw);
            if (!(scene.camera.fovDegrees > 0.0f && scene.camera.fovDegrees < 180.0f)) {
                cw["fov"].fail("must be between 0 and 180 degrees");
            }
            if (!(length(cross(scene.camera.lookAt - scene.camera.position, scene.camera.up)) >
                  0.0f)) {
                cw.fail("position, look_at and up must not be in line");
            }
        }
        // The dome's zenith.
        scene.up = directionOr(root, "up", scene.up, where);
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
                                 std::to_string(high) + ", got " + shown(r[key]));
                }
                return static_cast<int>(r[key].get<std::int64_t>());
            };
            scene.settings.width = integer("width", scene.settings.width, 1);
            scene.settings.height = integer("height", scene.settings.height, 1);
            scene.settings.spp = integer("spp", scene.settings.spp, 1);
            scene.settings.maxDepth = integer("max_depth", scene.settings.maxDepth, 1, kMaxDepth);
            if (r.contains("seed")) {
                // Any 64-bit pattern seeds the sampler; a larger number or a fraction would
                // not be the seed the file names.
                if (!r["seed"].is_number_integer() ||
                    (!r["seed"].is_number_unsigned() && r["seed"].get<std::int64_t>() < 0)) {
                    rw["seed"].fail("expected an integer from 0 to " +
                                    std::to_string(std::numeric_limits<std::uint64_t>::max()) +
                                    ", got " + shown(r["seed"]));
                }
                scene.settings.seed = r["seed"].get<std::uint64_t>();
            }
            if (static_cast<std::int64_t>(scene.settings.width) * scene.settings.height >
                kMaxPixels) {
                rw.fail("the image is larger than " + std::to_string(kMaxPixels) + " pixels");
            }
            scene.settings.exposure = numberOr(r, "exposure", scene.settings.exposure, rw);
            if (!(scene.settings.exposure > 0.0f)) {
                rw["exposure"].fail("must be above 0, got " + shown(r, "exposure"));
            }
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

namespace {

// "line 3, column 7" of the first place outside strings where `token` stands in the text: the
// JSON reader reports a number it cannot hold (1e999) without saying where it was.
std::string placeOf(const std::string& text, const std::string& token) {
    std::size_t line = 1;
    std::size_t column = 1;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\') {
                ++i;
                ++column;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (!token.empty() && text.compare(i, token.size(), token) == 0) {
            return "line " + std::to_string(line) + ", column " + std::to_string(column);
        }
        if (c == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return "";
}

// The JSON of a scene (or of a parameter list); every problem is one line naming `name`.
json parseJson(const std::string& text, const std::string& name) {
    try {
        return json::parse(text);
    } catch (const json::parse_error& e) {
        // "[json.exception.parse_error.101] parse error at line 3, column 5: ..." keeps its tail.
        const std::string what = e.what();
        const auto at = what.find("parse error");
        throw SceneError(name + ": " + (at == std::string::npos ? what : what.substr(at)));
    } catch (const json::exception& e) {
        // A number too large for a double, or text that is not UTF-8: the message without the
        // reader's own prefix, and the place when the reader names the offending token.
        std::string what = e.what();
        const auto prefixEnd = what.find("] ");
        if (what.rfind("[json.exception.", 0) == 0 && prefixEnd != std::string::npos) {
            what = what.substr(prefixEnd + 2);
        }
        const auto open = what.find('\'');
        const auto close = open == std::string::npos ? open : what.find('\'', open + 1);
        const std::string place = close == std::string::npos
                                      ? ""
                                      : placeOf(text, what.substr(open + 1, close - open - 1));
        throw SceneError(name + ": " + (place.empty() ? "" : place + ": ") + what);
    }
}

}  // namespace

Scene parseScene(const std::string& text, const std::string& name, const std::string& baseDir,
                 const vkhost::ShaderLibrary& library, const LoadLimits& limits,
                 const FileSource& files) {
    Scene scene;
    scene.path = name;
    if (text.size() > limits.sceneBytes) {
        throw SceneError(name + ": larger than the scene limit of " +
                         std::to_string(limits.sceneBytes) + " bytes");
    }
    const json root = parseJson(text, name);
    Loader loader{library, baseDir, scene, limits, files};
    try {
        loader.load(root, Where{scene.path, ""});
    } catch (const vkhost::ParameterError& e) {
        throw SceneError(name + ": " + e.what());
    } catch (const json::exception& e) {
        // A value the checks above let through to the JSON library's own conversions.
        throw SceneError(name + ": " + e.what());
    }
    return scene;
}

Scene loadScene(const std::string& path, const vkhost::ShaderLibrary& library,
                const LoadLimits& limits) {
    std::string text;
    try {
        text = vkimage::readFileBytes(path, limits.sceneBytes);
    } catch (const FileError& e) {
        throw SceneError(path + ": cannot open scene file: " + e.what());
    }
    return parseScene(text, path, std::filesystem::path(path).parent_path().string(), library,
                      limits);
}

std::shared_ptr<ShaderInstance> makeShader(const vkhost::ShaderLibrary& library,
                                           const std::string& shaderName,
                                           const std::string& parametersJson,
                                           const std::string& where, Scene& scene) {
    const json params = parseJson(parametersJson.empty() ? "{}" : parametersJson, where);
    const LoadLimits limits;
    const FileSource files;
    Loader loader{library, "", scene, limits, files};
    return loader.shader(shaderName, &params, Where{where, ""}, [](vkhost::ParameterBlock&) {});
}

void bindIesFile(vkhost::ParameterBlock& lightParameters, const std::string& iesPath,
                 TextureStore& textures, const std::string& where, const FileSource& files) {
    const vkhost::Declaration* webMap = lightParameters.layout().find("webMap");
    if (webMap == nullptr || webMap->type != vkhost::ParamType::Texture2D) {
        throw SceneError(where + ": " + lightParameters.shaderName() +
                         " has no \"webMap\" texture to take a photometric file");
    }
    vkhost::LoadedIes loaded;
    try {
        loaded =
            vkhost::loadIesBytes(files ? files(iesPath, vkhost::kMaxIesFileBytes)
                                       : vkimage::readFileBytes(iesPath, vkhost::kMaxIesFileBytes));
    } catch (const FileError& e) {
        throw SceneError(where + ": " + iesPath + ": " + e.what());
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
