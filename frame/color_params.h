// The one-colour parameter set shared by Background, SimpleAmbientLight and SimplePointLight.
#pragma once

#include <span>

#include "frame/parameter_table.h"

namespace vexakelo {

struct ColorParams {
    vyr::Vec3f color{1.0f, 1.0f, 1.0f};
};

// clang-format off
inline constexpr ParamDesc kColorParamTable[] = {
    VEXAKELO_PARAM(ColorParams, Vec3f, "color", color),  // the colour, RGB
};
// clang-format on
static_assert(isOrderedTable<ColorParams>(kColorParamTable));

}  // namespace vexakelo
