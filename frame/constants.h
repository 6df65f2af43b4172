// Library-wide constants, spelled as the single-precision literals the results depend on.
#pragma once

namespace vexakelo {

inline constexpr float kPi = 3.1415927f;
inline constexpr float kTwoPi = 6.283185f;
inline constexpr float kInvPi = 0.3183099f;

}  // namespace vexakelo
