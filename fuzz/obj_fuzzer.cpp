// The OBJ loader: text to triangles in memory. Malformed text must end as one SceneError naming
// the line; a mesh that loads has three finite corners per triangle, and normals and uvs either
// for every corner or not at all.
#include <cmath>
#include <cstdint>
#include <string>

#include "fuzz_check.h"
#include "render/scene.h"

namespace {

vkrender::LoadLimits fuzzLimits() {
    vkrender::LoadLimits limits;
    limits.meshBytes = 64 << 10;
    limits.meshTriangles = 8192;
    return limits;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const vkrender::LoadLimits limits = fuzzLimits();
    const std::string text(reinterpret_cast<const char*>(data), size);
    vkrender::ObjMesh mesh;
    try {
        mesh = vkrender::parseObj(text, "fuzz.obj", limits);
    } catch (const vkrender::SceneError&) {
        return 0;
    }
    const std::size_t corners = mesh.positions.size();
    FUZZ_CHECK(corners > 0 && corners % 3 == 0, "%zu corners", corners);
    FUZZ_CHECK(corners / 3 <= limits.meshTriangles, "%zu triangles past the limit", corners / 3);
    FUZZ_CHECK(mesh.normals.empty() || mesh.normals.size() == corners, "%zu normals, %zu corners",
               mesh.normals.size(), corners);
    FUZZ_CHECK(mesh.uvs.empty() || mesh.uvs.size() == corners, "%zu uvs, %zu corners",
               mesh.uvs.size(), corners);
    for (const vyr::Vec3f& p : mesh.positions) {
        FUZZ_CHECK(std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z),
                   "a non-finite corner");
    }
    return 0;
}
