// "Constant or map": the input pattern every textured material repeats for its scalars and
// colours. A group is a switch, a texture, a uv transform, an amount and (usually) a constant,
// all fields of the shader's params struct; it is written once as a table line of member
// pointers and read by one function, instead of a hand-written look-up per parameter.
//
// When the switch is off the constant is used as it stands (the amount is not applied). When it
// is on, uv goes through the group's transform, the look-up starts from (s, 0, 0, 1) — s is the
// constant for groups that start from it, else 0 — an empty handle keeps that start, and r, g, b
// are multiplied by the amount (alpha stays as looked up). Scalar groups read the red channel.
#pragma once

#include <type_traits>

#include "frame/vec_math.h"
#include "materials/material_frame.h"
#include "vyr/vyr.h"

namespace vexakelo {

// The value type of groups that have no constant (normal maps, masks).
struct NoConstant {};

template <class Params, class Value = NoConstant>
struct MapGroup {
    bool Params::*enable;
    vyr::TextureHandle Params::*map;
    vyr::Mat3f Params::*transform;
    float Params::*amount;
    Value Params::*constant = nullptr;  // null for groups without one (normal maps, masks)
    bool startsFromConstant = false;    // the look-up's start colour holds the constant
};

// The group's look-up at uv, amount applied to r, g, b. The transform is applied here. Always
// inlined, so the member offsets of a constant group fold into plain loads.
template <class Params, class Value>
[[gnu::always_inline]] inline Vec4f sampleGroup(const Params& p, const MapGroup<Params, Value>& g, Vec2f uv) {
    Vec4f c{0.0f, 0.0f, 0.0f, 1.0f};
    if constexpr (std::is_same_v<Value, float>) {
        if (g.startsFromConstant) {
            c.x = p.*g.constant;
        }
    }
    const Vec2f at = applyUvTransform(p.*g.transform, uv);
    if (const vyr::Texture* object = (p.*g.map).get(); object != nullptr) {
        object->sample(&c, &at);
    }
    const float a = p.*g.amount;
    return {c.x * a, c.y * a, c.z * a, c.w};
}

// A scalar group: the constant, or the red channel of the look-up times the amount.
template <class Params>
[[gnu::always_inline]] inline float scalarInput(const Params& p, const MapGroup<Params, float>& g, Vec2f uv) {
    return p.*g.enable ? sampleGroup(p, g, uv).x : p.*g.constant;
}

// A colour group: the constant, or the look-up's r, g, b times the amount.
template <class Params>
[[gnu::always_inline]] inline Vec3f colorInput(const Params& p, const MapGroup<Params, vyr::Vec3f>& g, Vec2f uv) {
    return p.*g.enable ? rgb(sampleGroup(p, g, uv)) : p.*g.constant;
}

}  // namespace vexakelo
