// A renderable scene: camera, surfaces with their materials, lights with the geometry the host
// samples for them, one environment, and the render settings. Shaders come from the shader
// library exactly as a production host gets them (create, declareParameters, a parameter block
// filled by declared name, setParameters).
//
// Scenes are read from JSON (see docs/render.md for the format). Every problem in a scene file is
// a SceneError whose message names the file and the JSON path: "a.json: objects[2].material:
// unknown shader 'Foo'". Values that parse but mean nothing physically (a zero dome radius,
// negative light, glass of zero panes) are problems too: the library computes with whatever it
// is given, so the loader is where they are caught.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "image_io.h"
#include "parameters.h"
#include "shader_library.h"
#include "vyr/vyr.h"

namespace vkrender {

struct SceneError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The largest image the renderer makes (a quarter of a gigapixel of float RGBA is 4 GiB).
inline constexpr long long kMaxPixels = 1LL << 26;

// A library shader with its parameters applied, and what the host learned from its declaration.
struct ShaderInstance {
    std::string name;
    vkhost::ShaderPtr object;
    vkhost::ShaderLayout layout;
    int kind = -1;

    // Bytes of the varyings in the ShadingState (480 + declared place), or -1 when undeclared.
    int tangentOffset = -1;
    int bitangentOffset = -1;
    int uvOffset = -1;

    // Declares the shader and records its varyings; the object keeps its current parameters.
    ShaderInstance(std::string shaderName, vkhost::ShaderPtr shader);

    // Flags bit 0x02: the material implements shadow.
    bool hasShadow() const { return (layout.flags & 0x02) != 0; }
    const vyr::MaterialShader* material() const {
        return static_cast<const vyr::MaterialShader*>(object.get());
    }
    const vyr::LightShader* light() const {
        return static_cast<const vyr::LightShader*>(object.get());
    }
    const vyr::EnvironmentShader* environment() const {
        return static_cast<const vyr::EnvironmentShader*>(object.get());
    }
};

// A surface's appearance: a library material, or the host's own grey diffuse scenery (used for
// ground planes and props while the library offers no diffuse material; it is not a shader of
// the library and never goes through the shader contract).
struct Material {
    std::shared_ptr<ShaderInstance> shader;  // null: host scenery
    vyr::Vec3f albedo{0.5f, 0.5f, 0.5f};     // host scenery only
};

enum class ShapeKind { Sphere, Quad, Disk, Mesh };

struct Object {
    ShapeKind kind = ShapeKind::Sphere;
    int material = 0;
    // Sphere: centre and radius. Quad: centre and the two edge vectors. Disk: centre, radius,
    // normal.
    vyr::Vec3f center{0.0f, 0.0f, 0.0f};
    float radius = 1.0f;
    vyr::Vec3f edgeU{1.0f, 0.0f, 0.0f};
    vyr::Vec3f edgeV{0.0f, 1.0f, 0.0f};
    vyr::Vec3f normal{0.0f, 0.0f, 1.0f};
    // Mesh, already in world space: three corners per triangle, with per-corner normals and uvs
    // (normals empty: flat shading; uvs empty: (0, 0)).
    std::vector<vyr::Vec3f> positions;
    std::vector<vyr::Vec3f> normals;
    std::vector<vyr::Vec2f> uvs;
    // The surface-to-world transform handed to materials as localFrame (column order).
    float localFrame[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

// The geometry the host samples for a light and hands to its shade in lightPosition, lightAxis,
// lightToPoint and lightDistance.
enum class LightShape {
    Point,      // point, spot and web lights: at position, pointing along axis
    Sphere,     // a point on the sphere (position, radius) facing the shaded point
    Rectangle,  // a point on the emitter rectangle (position = centre, edgeU, edgeV; axis = normal)
    Dome,       // a point on the sky dome of domeRadius round the shaded point, upper hemisphere
    Ambient,    // no geometry: reaches every point from no particular direction
};

struct Light {
    std::shared_ptr<ShaderInstance> shader;
    LightShape shape = LightShape::Point;
    vyr::Vec3f position{0.0f, 0.0f, 0.0f};
    vyr::Vec3f axis{0.0f, 0.0f, -1.0f};
    vyr::Vec3f edgeU{1.0f, 0.0f, 0.0f};
    vyr::Vec3f edgeV{0.0f, 1.0f, 0.0f};
    float radius = 0.5f;
    float domeRadius = 1000.0f;
};

struct Camera {
    vyr::Vec3f position{0.0f, -6.0f, 2.0f};
    vyr::Vec3f lookAt{0.0f, 0.0f, 0.5f};
    vyr::Vec3f up{0.0f, 0.0f, 1.0f};
    float fovDegrees = 40.0f;  // vertical
};

struct RenderSettings {
    int width = 640;
    int height = 480;
    int spp = 16;
    int maxDepth = 6;  // traceDepthLimit; rays at this depth bring back black
    std::uint64_t seed = 1;
    float exposure = 1.0f;
};

// Host textures made for the scene; released with the scene.
struct TextureStore {
    std::vector<std::pair<std::string, vyr::TextureHandle>> loaded;  // by file path
    TextureStore() = default;
    TextureStore(const TextureStore&) = delete;
    TextureStore& operator=(const TextureStore&) = delete;
    ~TextureStore();
};

struct Scene {
    std::string path;  // for messages
    Camera camera;
    RenderSettings settings;
    vyr::Vec3f up{0.0f, 0.0f, 1.0f};  // the dome's zenith
    std::vector<Material> materials;
    std::vector<Object> objects;
    std::vector<Light> lights;
    std::shared_ptr<ShaderInstance> environment;  // null: black
    std::shared_ptr<TextureStore> textures = std::make_shared<TextureStore>();
};

// What loading a scene may read, so that a wrong path (/dev/zero, a film-sized texture, a scanned
// city) fails with one line naming the file and the limit instead of filling memory. Tools may
// raise them; every limit is inclusive.
struct LoadLimits {
    std::uint64_t sceneBytes = 16ull << 20;     // the scene file
    std::uint64_t meshBytes = 256ull << 20;     // each OBJ file
    std::uint64_t meshTriangles = 4ull << 20;   // each mesh, polygons counted as their triangles
    std::uint64_t textureBytes = 256ull << 20;  // each image file
    std::uint64_t texturePixels = 1ull << 26;   // width x height an image's header declares
};

// Why a referenced file could not be read, without its path ("no such file", "is a directory",
// "larger than the limit of N bytes").
using FileError = vkimage::FileError;

// Answers the files a scene refers to (meshes, textures, photometric files) by their resolved
// path: the bytes, at most `maxBytes`, or FileError. Empty: the filesystem (readFileBytes).
// Tests and fuzzers answer from memory, so that no disk is touched.
using FileSource = std::function<std::string(const std::string& path, std::uint64_t maxBytes)>;

// Files held in memory by path; any other path is "no such file".
FileSource memoryFiles(std::map<std::string, std::string> files);

// Reads a scene file. Shader objects are made from `library`, which must outlive the scene.
Scene loadScene(const std::string& path, const vkhost::ShaderLibrary& library,
                const LoadLimits& limits = {});
// The same from JSON text; `name` is used in messages, `baseDir` resolves relative file paths
// before they are asked of `files`.
Scene parseScene(const std::string& text, const std::string& name, const std::string& baseDir,
                 const vkhost::ShaderLibrary& library, const LoadLimits& limits = {},
                 const FileSource& files = {});

// A triangle mesh as an OBJ file gives it, in the file's own space: three corners per triangle
// (polygons are fanned), with per-corner normals and uvs only when every corner has them.
struct ObjMesh {
    std::vector<vyr::Vec3f> positions;
    std::vector<vyr::Vec3f> normals;
    std::vector<vyr::Vec2f> uvs;
};
// Reads OBJ text (v, vn, vt, f; other statements are ignored). Throws SceneError
// "<name>: line 12: ..." for a malformed number or index, a non-finite coordinate, no triangles,
// or more than limits.meshBytes of text or limits.meshTriangles triangles.
ObjMesh parseObj(const std::string& text, const std::string& name, const LoadLimits& limits = {});

// The parameters of a shader from a JSON object text ({"color": [1, 0, 0]}), for code that
// builds scenes itself; messages name `where`.
std::shared_ptr<ShaderInstance> makeShader(const vkhost::ShaderLibrary& library,
                                           const std::string& shaderName,
                                           const std::string& parametersJson,
                                           const std::string& where, Scene& scene);

// Binds an IES file (a measured lamp) to a photometric web light: the web texture made from the
// file goes into the light's parameter block ("webMap") before the block is applied, and the
// textures it makes join `textures`, which releases them with the scene. The file is read
// from `files` (empty: the filesystem); problems are a SceneError starting with `where`.
void bindIesFile(vkhost::ParameterBlock& lightParameters, const std::string& iesPath,
                 TextureStore& textures, const std::string& where, const FileSource& files = {});

}  // namespace vkrender
