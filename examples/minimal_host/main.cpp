// The smallest useful host of the vexakelo plug-in: load it, see which shaders it offers, create
// a spot light and a Ward material, give them parameters by name, and shade one point lit by the
// spot. A real renderer does the same per hit, from many threads, with its own ray tracing
// behind the context.
//
// Usage: minimal_host [path to libvexakelo.so.0]   (default: the installed plug-in)
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "vyr/vyr.h"

namespace {

// Every shader is found by two exported functions, <Name>_create and <Name>_getAPIVersion.
using CreateFunction = vyr::IShaderBase* (*)();
using VersionFunction = int (*)();

// The registry records where each declared parameter lives in the shader object. A host sets a
// parameter by writing a block laid out like the object and handing it to setParameters; here
// the block is a copy of the object itself, edited in place.
class Registry final : public vyr::ParameterRegistry {
public:
    std::map<std::string, std::ptrdiff_t> offsets;
    std::ptrdiff_t end = 0;  // one past the last declared byte: the block's size
    int flags = 0;

    void beginParameters(vyr::IShaderBase* shader, int f) override {
        base_ = reinterpret_cast<char*>(shader);
        flags = f;
    }
    void declareBool(vyr::IShaderBase*, const char* n, bool* p) override { note(n, p, 1); }
    void declareInt(vyr::IShaderBase*, const char* n, std::int32_t* p) override { note(n, p, 4); }
    void declareFloat(vyr::IShaderBase*, const char* n, float* p) override { note(n, p, 4); }
    void declareVec2f(vyr::IShaderBase*, const char* n, vyr::Vec2f* p) override { note(n, p, 8); }
    void declareVec3f(vyr::IShaderBase*, const char* n, vyr::Vec3f* p) override {
        note(n, p, 12);
    }
    void declareVec4f(vyr::IShaderBase*, const char* n, vyr::Vec4f* p) override {
        note(n, p, 16);
    }
    void declareMat3f(vyr::IShaderBase*, const char* n, vyr::Mat3f* p) override {
        note(n, p, 36);
    }
    void declareMat4f(vyr::IShaderBase*, const char* n, float* p) override { note(n, p, 64); }
    void declareTexture1D(vyr::IShaderBase*, const char* n, vyr::TextureHandle* p) override {
        note(n, p, 16);
    }
    void declareTexture2D(vyr::IShaderBase*, const char* n, vyr::TextureHandle* p) override {
        note(n, p, 16);
    }
    void declareVarying(vyr::IShaderBase*, int, const char*, int) override {}

private:
    char* base_ = nullptr;
    void note(const char* name, void* field, std::ptrdiff_t width) {
        const std::ptrdiff_t offset = static_cast<char*>(field) - base_;
        offsets[name] = offset;
        end = offset + width > end ? offset + width : end;
    }
};

// A created shader and the block its parameters are set through.
struct Shader {
    vyr::IShaderBase* object = nullptr;
    Registry registry;
    std::string block;

    template <class T>
    void set(const char* name, const T& value) {
        const auto at = registry.offsets.find(name);
        if (at == registry.offsets.end()) {
            std::fprintf(stderr, "no parameter %s\n", name);
            return;
        }
        std::memcpy(block.data() + at->second, &value, sizeof value);
    }
    void apply() { object->setParameters(block.data()); }
};

// The host side of shading: the spot's light sample, an environment colour for every traced
// ray, fixed random numbers and noise. A renderer answers these from its scene.
class Context final : public vyr::ShadingContext {
public:
    vyr::LightSample light{};
    vyr::Vec3f sky{0.2f, 0.3f, 0.5f};

    const vyr::LightSample* lightSamples(const vyr::Vec3f*) override { return &light; }
    const vyr::Vec3f* traceShadow(vyr::Vec3f* scratch, const vyr::Vec3f*,
                                  const vyr::Vec3f*) override {
        *scratch = {1.0f, 1.0f, 1.0f};  // nothing in the way
        return scratch;
    }
    const vyr::Vec3f* traceRay(vyr::Vec3f*, const vyr::Vec3f*, const vyr::Vec3f*, float) override {
        return &sky;
    }
    const vyr::Vec3f* traceStraight(vyr::Vec3f*, const vyr::Vec3f*, const vyr::Vec3f*,
                                    float) override {
        return &sky;
    }
    const vyr::Vec3f* traceGlossyReflection(vyr::Vec3f*, const vyr::Vec3f*, const vyr::Vec3f*,
                                            float, float) override {
        return &sky;
    }
    const vyr::Vec3f* traceGlossyRefraction(vyr::Vec3f*, const vyr::Vec3f*, const vyr::Vec3f*,
                                            float, float) override {
        return &sky;
    }
    float random1() override { return 0.5f; }
    const float* random2(float* out) override {
        out[0] = out[1] = 0.5f;
        return out;
    }
    float noise4(const vyr::Vec4f*) override { return 0.5f; }
    float noise2(const vyr::Vec2f*) override { return 0.5f; }
    float randomOf(float) override { return 0.5f; }
};

}  // namespace

int main(int argc, char** argv) {
    const char* path = argc > 1 ? argv[1] : VEXAKELO_PLUGIN;
    void* const plugin = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) {
        std::fprintf(stderr, "minimal_host: %s\n", dlerror());
        return 1;
    }

    // 1. Which of the shaders this host knows does the plug-in offer?
    const char* const known[] = {"Background", "SimplePointLight", "vexa_kelo_Lgt_Spot",
                                 "vexa_kelo_Env_Sky", "vexa_kelo_Mtl_Mirror", "vexa_kelo_Mtl_Ward",
                                 "vexa_kelo_Mtl_Metal"};
    std::map<std::string, CreateFunction> factories;
    for (const char* name : known) {
        const auto create = reinterpret_cast<CreateFunction>(
            dlsym(plugin, (std::string(name) + "_create").c_str()));
        const auto version = reinterpret_cast<VersionFunction>(
            dlsym(plugin, (std::string(name) + "_getAPIVersion").c_str()));
        if (create != nullptr && version != nullptr && version() == vyr::kShaderApiVersion) {
            factories[name] = create;
            std::printf("shader %s\n", name);
        }
    }

    // 2. Create a shader, let it declare its parameters, start the block from its defaults.
    const auto make = [&](const char* name) {
        Shader s;
        s.object = factories.at(name)();
        s.object->declareParameters(&s.registry);
        s.block.assign(reinterpret_cast<const char*>(s.object), s.registry.end);
        return s;
    };
    Shader spot = make("vexa_kelo_Lgt_Spot");
    spot.set("color", vyr::Vec3f{1.0f, 0.9f, 0.8f});
    spot.set("intensity", 20.0f);
    spot.set("falloff", 0.5f);
    spot.apply();
    Shader ward = make("vexa_kelo_Mtl_Ward");
    ward.set("u_diffuseColor", vyr::Vec3f{0.6f, 0.2f, 0.1f});
    ward.set("u_roughValue", 0.2f);
    ward.set("u_brdfCurvePower", 5.0f);
    ward.set("u_brdf00Reflectivity", 0.04f);
    ward.apply();

    // 3. The light at the point: a spot 2 units above, pointing down.
    Context context;
    vyr::ShadingState state{};
    state.position = {0.0f, 0.0f, 0.0f};
    state.lightPosition = {0.0f, 0.0f, 2.0f};
    state.lightAxis = {0.0f, 0.0f, -1.0f};
    state.lightToPoint = {0.0f, 0.0f, -1.0f};
    state.lightDistance = 2.0f;
    static_cast<vyr::LightShader*>(spot.object)->shade(&context, &state);
    std::printf("light %.4f %.4f %.4f\n", state.lightColor.x, state.lightColor.y,
                state.lightColor.z);
    context.light = {{0.0f, 0.0f, 1.0f}, 1.0f, state.lightColor, nullptr};

    // 4. The material seen by a camera ray 30 degrees off the normal of the z = 0 plane.
    state.rayDir = {0.5f, 0.0f, -0.8660254f};
    state.rayOrigin = {-1.0f, 0.0f, 1.7320508f};
    state.normal = state.geoNormal = {0.0f, 0.0f, 1.0f};
    state.incidentIor = state.exitIor = 1.0f;
    for (int i = 0; i < 4; ++i) {
        state.localFrame[i * 4 + i] = 1.0f;  // surface space is world space here
    }
    state.tangent = {1.0f, 0.0f, 0.0f};
    state.bitangent = {0.0f, 1.0f, 0.0f};
    static_cast<vyr::MaterialShader*>(ward.object)->shade(&context, &state);
    std::printf("colour %.4f %.4f %.4f %.4f\n", state.outColor.x, state.outColor.y,
                state.outColor.z, state.outColor.w);

    // 5. Release through slot 0 with bit 0 set: the shader frees itself.
    spot.object->destroy(1);
    ward.object->destroy(1);
    dlclose(plugin);
    return 0;
}
