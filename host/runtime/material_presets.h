// Named parameter sets for the materials, shared by the tests, the benchmarks and the tools so a
// "fully mapped" material means the same thing everywhere.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "parameters.h"

namespace vkhost {

using ParameterList = std::vector<std::pair<std::string, ParamValue>>;

// The Ward material with every map group switched on and reading `map` (identity transforms),
// both height maps, the noise bump, transparency with translucency, fade mode 2 and a cutout:
// the most a Ward call can be asked to do.
ParameterList wardFullyMapped(const vyr::TextureHandle& map);

// The Ward material with its defaults apart from a diffuse colour and a moderate roughness: the
// common case of a plain glossy paint.
ParameterList wardPlain();

}  // namespace vkhost
