// Reference implementation of the host's link-time interface library.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "vyr/host_objects.h"
#include "vyr_host.h"

namespace vyr::host {
namespace {

struct Entry {
    std::unique_ptr<TextureObject> texture;
    std::unique_ptr<ShaderObject> shader;
    int openEdits = 0;
};

class ObjectTable {
public:
    std::pair<void*, std::int32_t> make(int classCode) {
        std::lock_guard lock(mutex_);
        Entry entry;
        void* object = nullptr;
        if (classCode == kTextureClass) {
            entry.texture = std::make_unique<TextureObject>();
            object = static_cast<Texture*>(entry.texture.get());
        } else if (classCode == kShaderClass) {
            entry.shader = std::make_unique<ShaderObject>();
            object = static_cast<Shader*>(entry.shader.get());
        } else {
            return {nullptr, -1};
        }
        const std::int32_t id = nextId_++;
        entries_.emplace(id, std::move(entry));
        return {object, id};
    }

    template <class F>
    auto with(std::int32_t id, F&& f) {
        std::lock_guard lock(mutex_);
        const auto it = entries_.find(id);
        return f(it == entries_.end() ? nullptr : &it->second);
    }

    void erase(std::int32_t id) {
        std::lock_guard lock(mutex_);
        entries_.erase(id);
    }

private:
    std::mutex mutex_;
    std::map<std::int32_t, Entry> entries_;
    std::int32_t nextId_ = 1;
};

ObjectTable& objects() {
    static ObjectTable table;
    return table;
}

int wrap(int i, int n) {
    const int r = i % n;
    return r < 0 ? r + n : r;
}

Vec4f lerp(const Vec4f& a, const Vec4f& b, float t) {
    return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t, a.z + (b.z - a.z) * t,
            a.w + (b.w - a.w) * t};
}

[[noreturn]] void reservedSlot(const char* object, int slot) {
    std::fprintf(stderr, "vyr: reserved %s slot %d was called\n", object, slot);
    std::abort();
}

}  // namespace

Vec4f TextureObject::texel(int x, int y) const {
    return texels_[static_cast<std::size_t>(wrap(y, height_)) * width_ + wrap(x, width_)];
}

void TextureObject::sample(Vec4f* out, const Vec2f* uv) const {
    if (texels_.empty()) {
        return;
    }
    const float fx = uv->x * static_cast<float>(width_) - 0.5f;
    const float fy = oneDimensional_ ? 0.0f : uv->y * static_cast<float>(height_) - 0.5f;
    if (!std::isfinite(fx) || !std::isfinite(fy)) {
        *out = {0.0f, 0.0f, 0.0f, 1.0f};
        return;
    }
    // Inside the texture, away from the last row and column, nothing wraps or clamps: the four
    // texels are read directly (the same values as the general path below, without its fmod).
    if (fx >= 0.0f && fx < static_cast<float>(width_ - 1) && fy >= 0.0f &&
        fy < static_cast<float>(height_ - 1)) {
        const int ix = static_cast<int>(fx);
        const int iy = static_cast<int>(fy);
        const float tx = fx - static_cast<float>(ix);
        const float ty = fy - static_cast<float>(iy);
        const Vec4f* const row = texels_.data() + static_cast<std::size_t>(iy) * width_ + ix;
        const Vec4f top = lerp(row[0], row[1], tx);
        const Vec4f bottom = lerp(row[width_], row[width_ + 1], tx);
        *out = lerp(top, bottom, ty);
        return;
    }
    const float x0 = std::floor(fx);
    const float y0 = std::floor(fy);
    // Reduce before converting so huge coordinates stay inside int.
    const int ix = static_cast<int>(std::fmod(x0, static_cast<float>(width_)));
    const int iy = static_cast<int>(std::fmod(y0, static_cast<float>(height_)));
    const float tx = fx - x0;
    const float ty = fy - y0;
    // Clamped axes read the edge texel beyond either end instead of wrapping round.
    const bool clampX = clampU_ && (fx < 0.0f || fx > static_cast<float>(width_ - 1));
    const bool clampY = clampV_ && (fy < 0.0f || fy > static_cast<float>(height_ - 1));
    const int xa = clampX ? (fx < 0.0f ? 0 : width_ - 1) : ix;
    const int xb = clampX ? xa : ix + 1;
    const int ya = clampY ? (fy < 0.0f ? 0 : height_ - 1) : iy;
    const int yb = clampY ? ya : iy + 1;
    const Vec4f top = lerp(texel(xa, ya), texel(xb, ya), tx);
    const Vec4f bottom = lerp(texel(xa, yb), texel(xb, yb), tx);
    *out = lerp(top, bottom, ty);
}

int TextureObject::build(const TextureDescriptor& descriptor) {
    const bool oneDimensional = descriptor.dimension == 0;
    const int width = descriptor.width;
    const int height = oneDimensional ? 1 : descriptor.height;
    const int format = descriptor.format;
    if (width <= 0 || height <= 0 || descriptor.data == nullptr ||
        (format != 1 && format != 3 && format != 4)) {
        return -1;
    }
    const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<Vec4f> texels(count);
    for (std::size_t i = 0; i < count; ++i) {
        if (format == 1) {
            const float r = static_cast<const float*>(descriptor.data)[i];
            texels[i] = {r, r, r, 1.0f};
        } else if (format == 3) {
            const float* const t = static_cast<const float*>(descriptor.data) + 3 * i;
            texels[i] = {t[0], t[1], t[2], 1.0f};
        } else {
            const auto* const t = static_cast<const std::uint8_t*>(descriptor.data) + 4 * i;
            texels[i] = {t[0] / 255.0f, t[1] / 255.0f, t[2] / 255.0f, t[3] / 255.0f};
        }
    }
    width_ = width;
    height_ = height;
    oneDimensional_ = oneDimensional;
    clampU_ = descriptor.reserved4[0] != 0;
    clampV_ = descriptor.reserved4[1] != 0;
    texels_ = std::move(texels);
    descriptor_ = descriptor;
    descriptor_.data = nullptr;
    return 0;
}

void TextureObject::assignRgba(int width, int height, std::vector<Vec4f> texels) {
    width_ = width;
    height_ = height;
    oneDimensional_ = height == 1;
    clampU_ = false;
    clampV_ = false;
    texels_ = std::move(texels);
    descriptor_ = TextureDescriptor{};
    descriptor_.width = width;
    descriptor_.height = height;
    descriptor_.format = 4;
}

void ShaderObject::store(const char* name, UniformValue value) {
    std::lock_guard lock(mutex_);
    uniforms_.insert_or_assign(std::string(name), std::move(value));
}

std::optional<UniformValue> ShaderObject::uniform(const std::string& name) const {
    std::lock_guard lock(mutex_);
    const auto it = uniforms_.find(name);
    if (it == uniforms_.end()) {
        return std::nullopt;
    }
    return it->second;
}

std::map<std::string, UniformValue> ShaderObject::uniforms() const {
    std::lock_guard lock(mutex_);
    return uniforms_;
}

TextureHandle createTexture() { return TextureHandle(kTextureClass); }
ShaderHandle createShader() { return ShaderHandle(kShaderClass); }

TextureObject* findTexture(std::int32_t id) {
    return objects().with(id, [](Entry* e) { return e ? e->texture.get() : nullptr; });
}

ShaderObject* findShader(std::int32_t id) {
    return objects().with(id, [](Entry* e) { return e ? e->shader.get() : nullptr; });
}

void release(std::int32_t id) { objects().erase(id); }

int openEdits(std::int32_t id) {
    return objects().with(id, [](Entry* e) { return e ? e->openEdits : 0; });
}

}  // namespace vyr::host

namespace vyr {

HandleBase::HandleBase(int classCode) {
    const auto [object, id] = host::objects().make(classCode);
    object_ = object;
    id_ = id;
}

HandleBase::HandleBase(const HandleBase& other) = default;

void* HandleBase::beginEdit() {
    host::objects().with(id_, [](host::Entry* e) {
        if (e != nullptr) {
            ++e->openEdits;
        }
        return 0;
    });
    return object_;
}

int HandleBase::endEdit() const {
    return host::objects().with(id_, [](host::Entry* e) {
        if (e == nullptr || e->openEdits == 0) {
            return -1;
        }
        --e->openEdits;
        return 0;
    });
}

void Texture::hostReserved0() {}

int Texture::create(const TextureDescriptor& descriptor) {
    return static_cast<host::TextureObject*>(this)->build(descriptor);
}

namespace {
host::ShaderObject* self(Shader* shader) { return static_cast<host::ShaderObject*>(shader); }
}  // namespace

int Shader::setUniform1i(const char* name, int value) {
    self(this)->store(name, value);
    return 0;
}
int Shader::setUniform1f(const char* name, float value) {
    self(this)->store(name, value);
    return 0;
}
int Shader::setUniform2f(const char* name, const Vec2f& value) {
    self(this)->store(name, value);
    return 0;
}
int Shader::setUniform3f(const char* name, const Vec3f& value) {
    self(this)->store(name, value);
    return 0;
}
int Shader::setUniform4f(const char* name, const Vec4f& value) {
    self(this)->store(name, value);
    return 0;
}
int Shader::setUniformTexture1D(const char* name, const THandle<Texture>& texture) {
    self(this)->store(name, host::TextureBinding{1, texture});
    return 0;
}
int Shader::setUniformTexture2D(const char* name, const THandle<Texture>& texture) {
    self(this)->store(name, host::TextureBinding{2, texture});
    return 0;
}

// Reserved slots of the host objects: the library never calls them, so a call is a broken
// binary contract and stops the process at once.
#define VYR_RESERVED(Class, slot) \
    void Class::reserved##slot() { host::reservedSlot(#Class, slot); }
VYR_RESERVED(ParameterRegistry, 0)
VYR_RESERVED(ParameterRegistry, 3)
VYR_RESERVED(ParameterRegistry, 4)
VYR_RESERVED(ParameterRegistry, 5)
VYR_RESERVED(ParameterRegistry, 7)
VYR_RESERVED(ParameterRegistry, 8)
VYR_RESERVED(ParameterRegistry, 9)
VYR_RESERVED(ParameterRegistry, 14)
VYR_RESERVED(ParameterRegistry, 19)
VYR_RESERVED(ParameterRegistry, 20)
VYR_RESERVED(ParameterRegistry, 21)
VYR_RESERVED(ParameterRegistry, 22)
VYR_RESERVED(ParameterRegistry, 23)
VYR_RESERVED(ParameterRegistry, 24)
VYR_RESERVED(ParameterRegistry, 25)
VYR_RESERVED(ParameterRegistry, 26)
VYR_RESERVED(ParameterRegistry, 27)
VYR_RESERVED(ParameterRegistry, 28)
VYR_RESERVED(ParameterRegistry, 29)
VYR_RESERVED(ParameterRegistry, 30)
VYR_RESERVED(ParameterRegistry, 31)
VYR_RESERVED(ParameterRegistry, 32)
VYR_RESERVED(ParameterRegistry, 33)
VYR_RESERVED(ParameterRegistry, 34)
VYR_RESERVED(ParameterRegistry, 35)
VYR_RESERVED(ParameterRegistry, 36)
VYR_RESERVED(ParameterRegistry, 37)
VYR_RESERVED(ParameterRegistry, 38)
VYR_RESERVED(ParameterRegistry, 39)
VYR_RESERVED(ShadingContext, 0)
VYR_RESERVED(ShadingContext, 1)
VYR_RESERVED(ShadingContext, 3)
VYR_RESERVED(ShadingContext, 5)
VYR_RESERVED(ShadingContext, 8)
VYR_RESERVED(ShadingContext, 10)
VYR_RESERVED(ShadingContext, 12)
VYR_RESERVED(ShadingContext, 13)
VYR_RESERVED(ShadingContext, 17)
#undef VYR_RESERVED

}  // namespace vyr
