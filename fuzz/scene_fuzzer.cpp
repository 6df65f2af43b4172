// The scene loader: JSON text to a validated scene, with the files a scene names (a mesh, PNG and
// EXR textures, a lamp) answered from memory so that no input touches the disk. Shaders come from
// the instrumented libvexakelo.so through the host runtime, as the renderer gets them. Anything
// wrong must end as one SceneError; a scene that loads must hold what the loader promises.
#include <cmath>
#include <cstdint>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "fuzz_check.h"
#include "render/scene.h"
#include "vyr_host.h"

#ifndef VEXAKELO_SOURCE_DIR
#error "VEXAKELO_SOURCE_DIR names the source tree the fuzzer takes its files from"
#endif

namespace {

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    FUZZ_CHECK(static_cast<bool>(in), "cannot open %s", path.c_str());
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Small enough that no input spends long in one file, large enough for every committed file.
vkrender::LoadLimits fuzzLimits() {
    vkrender::LoadLimits limits;
    limits.sceneBytes = 64 << 10;
    limits.meshBytes = 64 << 10;
    limits.meshTriangles = 4096;
    limits.textureBytes = 64 << 10;
    limits.texturePixels = 64 * 64;
    return limits;
}

struct Fixture {
    vkhost::ShaderLibrary library;
    vkrender::LoadLimits limits = fuzzLimits();
    vkrender::FileSource files;

    Fixture() {
        const std::string root = VEXAKELO_SOURCE_DIR;
        // The names the example scenes use, and the dictionary's.
        files = vkrender::memoryFiles({
            {"meshes/cube.obj", slurp(root + "/scenes/meshes/cube.obj")},
            {"textures/checker.png", slurp(root + "/scenes/textures/checker.png")},
            {"ies/overhead.ies", slurp(root + "/scenes/ies/overhead.ies")},
            {"meshes/tri.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 0 1\nf 1/1 2/2 3/3\n"},
            {"textures/tiny.exr", slurp(root + "/fuzz/corpus/image/tiny.exr")},
            {"ies/lamp.ies", slurp(root + "/tests/data/ies/iesna91_axial_36.ies")},
        });
    }
};

bool finite(const vyr::Vec3f& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

void checkScene(const vkrender::Scene& scene) {
    const std::size_t materials = scene.materials.size();
    for (const vkrender::Object& o : scene.objects) {
        FUZZ_CHECK(o.material >= 0 && static_cast<std::size_t>(o.material) < materials,
                   "object material %d of %zu", o.material, materials);
        FUZZ_CHECK(finite(o.center) && std::isfinite(o.radius), "object with a non-finite place");
        if (o.kind == vkrender::ShapeKind::Mesh) {
            FUZZ_CHECK(!o.positions.empty() && o.positions.size() % 3 == 0,
                       "mesh of %zu corners", o.positions.size());
            FUZZ_CHECK(o.normals.empty() || o.normals.size() == o.positions.size(),
                       "%zu normals for %zu corners", o.normals.size(), o.positions.size());
            FUZZ_CHECK(o.uvs.empty() || o.uvs.size() == o.positions.size(),
                       "%zu uvs for %zu corners", o.uvs.size(), o.positions.size());
        }
    }
    for (const vkrender::Material& m : scene.materials) {
        FUZZ_CHECK(!m.shader || m.shader->kind == vyr::kMaterialKind, "material of kind %d",
                   m.shader->kind);
    }
    for (const vkrender::Light& l : scene.lights) {
        FUZZ_CHECK(l.shader && l.shader->kind == vyr::kLightKind, "light without a light shader");
        FUZZ_CHECK(finite(l.position) && finite(l.axis), "light with a non-finite place");
    }
    FUZZ_CHECK(!scene.environment || scene.environment->kind == vyr::kEnvironmentKind,
               "environment of the wrong kind");
    const vkrender::RenderSettings& s = scene.settings;
    FUZZ_CHECK(s.width >= 1 && s.height >= 1 && s.spp >= 1 && s.maxDepth >= 1 &&
                   static_cast<long long>(s.width) * s.height <= vkrender::kMaxPixels,
               "render settings %d x %d, %d spp, depth %d", s.width, s.height, s.spp, s.maxDepth);
    for (const auto& [path, handle] : scene.textures->loaded) {
        FUZZ_CHECK(vyr::host::findTexture(handle.id()) != nullptr, "texture of %s is gone",
                   path.c_str());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Fixture fixture;
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const vkrender::Scene scene = vkrender::parseScene(text, "fuzz.json", "", fixture.library,
                                                           fixture.limits, fixture.files);
        checkScene(scene);
    } catch (const vkrender::SceneError&) {
    }
    return 0;
}
