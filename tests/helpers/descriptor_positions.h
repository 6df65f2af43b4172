// The integer positions 1 to 10 of a texture descriptor, in order, for comparing with the list a
// helper writes.
#pragma once

#include <array>
#include <cstdint>

#include "vyr/handles.h"

inline std::array<std::int32_t, 10> leadingPositions(const vyr::TextureDescriptor& d) {
    return {d.dimension,    d.usage,  d.format, d.reserved4[0], d.reserved4[1],
            d.reserved4[2], d.levels, d.width,  d.height,       d.reserved10};
}
