// Handles to host objects, host textures and host shaders, as imported from the host's
// link-time interface library (libvyr). Only the members marked "imported" are real calls into
// the host; the rest is inline.
#pragma once

#include <cstdint>

#include "vyr/export.h"
#include "vyr/types.h"

namespace vyr {

// The host's reference to one of its objects: the object's address and its identifier.
// An empty handle holds null and -1. Handles are plain values: copies refer to the same object
// and nothing is released when a handle goes away; the host owns the object.
class VYR_API HandleBase {
public:
    HandleBase(const HandleBase& other);  // imported
    HandleBase& operator=(const HandleBase& other) = default;

    void* beginEdit();    // imported: opens the object for editing and returns it
    int endEdit() const;  // imported: closes the edit

    void* object() const { return object_; }
    std::int32_t id() const { return id_; }
    bool isValid() const { return object_ != nullptr; }

protected:
    constexpr HandleBase() noexcept = default;
    // Imported: makes a new host object of the given class code (see kTextureClass) and refers
    // to it; an unknown class code gives an empty handle.
    explicit HandleBase(int classCode);
    constexpr HandleBase(void* object, std::int32_t id) noexcept : object_(object), id_(id) {}

private:
    void* object_ = nullptr;
    std::int32_t id_ = -1;
};

// Class codes understood by the host's handle constructor.
inline constexpr int kTextureClass = 12;
inline constexpr int kShaderClass = 13;

class Class;

template <class C, class Base>
class TAbstractHandle : public Base {
protected:
    using Base::Base;
    constexpr TAbstractHandle() noexcept = default;
};

template <class T, class Base = TAbstractHandle<Class, HandleBase>>
class THandle : public Base {
public:
    constexpr THandle() noexcept = default;  // empty
    explicit THandle(int classCode) : Base(classCode) {}

    T* get() const { return static_cast<T*>(this->object()); }

    // Adopts a host object that the host already registered under `id`.
    static THandle fromObject(T* object, std::int32_t id) { return THandle(object, id); }

private:
    constexpr THandle(T* object, std::int32_t id) noexcept : Base(object, id) {}
};

struct TextureDescriptor;

// Host texture object. Slot 0 belongs to the host; slot 1 filters the texel at uv into out.
class VYR_API Texture {
public:
    virtual void hostReserved0();
    virtual void sample(Vec4f* out, const Vec2f* uv) const = 0;

    int create(const TextureDescriptor& descriptor);  // imported: builds the texels

protected:
    Texture() = default;
    ~Texture() = default;
    Texture(const Texture&) = delete;
    Texture& operator=(const Texture&) = delete;
};

using TextureHandle = THandle<Texture>;

// Host shader object whose uniforms the texture helpers set. All setters are imported; their
// integer results are 0 on success.
class VYR_API Shader {
public:
    int setUniform1i(const char* name, int value);
    int setUniform1f(const char* name, float value);
    int setUniform2f(const char* name, const Vec2f& value);
    int setUniform3f(const char* name, const Vec3f& value);
    int setUniform4f(const char* name, const Vec4f& value);
    int setUniformTexture1D(const char* name, const THandle<Texture>& texture);
    int setUniformTexture2D(const char* name, const THandle<Texture>& texture);

protected:
    Shader() = default;
    ~Shader() = default;
    Shader(const Shader&) = delete;
    Shader& operator=(const Shader&) = delete;
};

using ShaderHandle = THandle<Shader>;

// The record handed to Texture::create, nineteen positions in this order.
struct TextureDescriptor {
    std::int32_t dimension = 1;  // 1: 0 gives a one-dimensional texture, anything else 2D
    std::int32_t usage = 1;      // 2: recorded, not interpreted
    std::int32_t format = 3;     // 3: 1 one float, 3 three floats, 4 four 8-bit channels
    std::int32_t reserved4[3] = {0, 0, 0};  // 4-6: the host reads 4 and 5 as u, v addressing
    std::int32_t levels = 1;     // 7: recorded; the host keeps one level
    std::int32_t width = 0;      // 8: texels
    std::int32_t height = 0;     // 9: texels (1 for a 1D texture)
    std::int32_t reserved10 = 0; // 10
    const void* data = nullptr;  // 11: the texels, row after row, owned by the caller
    std::uint64_t reserved12[6] = {0, 0, 0, 0, 0, 0};  // 12-17
    Vec4f range = {0.0f, 1.0f, 0.0f, 1.0f};             // 18: always (0, 1, 0, 1)
    std::uint8_t flag = 0;                              // 19
};

static_assert(sizeof(HandleBase) == 16 && alignof(HandleBase) == 8);
static_assert(sizeof(TextureHandle) == 16 && alignof(TextureHandle) == 8);
static_assert(offsetof(TextureDescriptor, width) == 28);
static_assert(offsetof(TextureDescriptor, data) == 40);
static_assert(offsetof(TextureDescriptor, reserved12) == 48);
static_assert(offsetof(TextureDescriptor, range) == 96);
static_assert(offsetof(TextureDescriptor, flag) == 112);
static_assert(sizeof(TextureDescriptor) == 120);

}  // namespace vyr
