// vexa_kelo_Env_Sky: the daylight sky seen along a ray that leaves the scene, from a sun
// direction and a turbidity (Perez distributions of luminance and chromaticity with analytic
// zenith values), with a ground below the horizon that takes the sky's luminance in a ground
// colour and blends into the sky over a soft band. Kind environment.
// Frame: rayDir points away from the viewer (into the sky); z is up unless "y_is_up".
// The model carries several deliberate departures from its published form (labelled below);
// they change the look and are kept.
#include <cmath>

#include "frame/shader_frame.h"
#include "frame/vec_math.h"

namespace vexakelo {
namespace {

// Half turn of the model, as the model spells it.
inline constexpr float kSkyPi = 3.141593f;
// Lowest elevation (z) at which the sky is evaluated; views and suns below are held there.
inline constexpr float kHorizonZ = 0.001f;
// Deliberate: the float nearest 1.0000001e-6, not 1e-6, under the root that holds a direction.
inline constexpr float kHorizonZSquared = 1.0000001e-6f;
// Unit factor used when "rgb_unit_conversion" has a negative first component.
inline constexpr float kFallbackUnitFactor = 1.25e-5f;
// Deliberate: the default unit factor is 0.000666667 (0.00066666701 as a float), a few units in
// the last place above the float nearest 1/1500; hosts read this value back as the default.
inline constexpr float kOneOver1500 = 0.000666667f;

}  // namespace

struct SkyEnvironmentParams {
    // The factory leaves the sun to the host; a fresh sky has it at the zenith.
    vyr::Vec3f sun_direction{0.0f, 0.0f, 1.0f};
    vyr::Vec4f ground_color{0.2f, 0.2f, 0.2f, 1.0f};
    float haze = 0.0f;
    float horizon_height = 0.0f;
    float saturation = 1.0f;
    float horizon_blur = 0.1f;
    bool y_is_up = false;
    float multiplier = 1.0f;
    vyr::Vec4f rgb_unit_conversion{kOneOver1500, kOneOver1500, kOneOver1500, 1.0f};
};

// clang-format off
inline constexpr ParamDesc kSkyEnvironmentTable[] = {
    VEXAKELO_PARAM(SkyEnvironmentParams, Vec3f, "sun_direction",       sun_direction),       // towards the sun, any length
    VEXAKELO_PARAM(SkyEnvironmentParams, Vec4f, "ground_color",        ground_color),        // RGBA, scaled by the sky's luminance
    VEXAKELO_PARAM(SkyEnvironmentParams, Float, "haze",                haze),                // turbidity minus 2
    VEXAKELO_PARAM(SkyEnvironmentParams, Float, "horizon_height",      horizon_height),      // lifts the horizon, in tenths
    VEXAKELO_PARAM(SkyEnvironmentParams, Float, "saturation",          saturation),          // declared and copied, not used
    VEXAKELO_PARAM(SkyEnvironmentParams, Float, "horizon_blur",        horizon_blur),        // sky-to-ground band, in tenths
    VEXAKELO_PARAM(SkyEnvironmentParams, Bool,  "y_is_up",             y_is_up),             // the scene's up axis is y
    VEXAKELO_PARAM(SkyEnvironmentParams, Float, "multiplier",          multiplier),          // overall brightness
    VEXAKELO_PARAM(SkyEnvironmentParams, Vec4f, "rgb_unit_conversion", rgb_unit_conversion), // model units to renderer units
};
// clang-format on
static_assert(isOrderedTable<SkyEnvironmentParams>(kSkyEnvironmentTable));
static_assert(offsetof(SkyEnvironmentParams, multiplier) == 48, "after the bool");

namespace {

// Coefficients of one Perez distribution, each linear in the turbidity.
struct Perez {
    float A, B, C, D, E;
};

// The Perez distribution at view elevation cosine vz, angle gamma and cosine c to the sun,
// relative to its value at the zenith for a sun at cosine sz and angle thetaS.
float perezRatio(const Perez& k, float vz, float gamma, float c, float thetaS, float sz) {
    const float numerator = (1.0f + k.A * std::exp(k.B / vz)) *
                            (1.0f + k.C * std::exp(k.D * gamma) + k.E * std::pow(c, 2.0f));
    const float denominator = (1.0f + k.A * std::exp(k.B)) *
                              (1.0f + k.C * std::exp(k.D * thetaS) + k.E * std::pow(sz, 2.0f));
    return numerator / denominator;
}

// Holds a direction just above the horizon: (x, y, 0.001) brought to unit length, unless the
// root is not positive.
Vec3f holdAtHorizon(Vec3f d) {
    const float root = std::sqrt(d.x * d.x + d.y * d.y + kHorizonZSquared);
    if (!(root > 0.0f)) {
        return {d.x, d.y, kHorizonZ};
    }
    return {d.x / root, d.y / root, kHorizonZ / root};
}

// Sky colour (RGB, the model's photometric units) for unit view v and sun s above the horizon.
Vec3f skyModel(Vec3f v, Vec3f s, float T) {
    const float thetaS = std::acos(s.z);
    const float chi = (0.4444444f - T / 120.0f) * (kSkyPi - 2.0f * thetaS);
    // Deliberate: the 1000 multiplies the tangent term only.
    const float Yz = std::tan(chi) * ((4.0453f * T - 4.971f) * 1000.0f) - 0.2155f * T + 2.4192f;

    // Luminance: the cosine to the sun folded back above 1 and clamped at 0.
    float c = dot(v, s);
    if (c > 1.0f) {
        c = 2.0f - c;
    }
    if (c < 0.0f) {
        c = 0.0f;
    }
    const Perez luminance{0.178721f * T - 1.463037f, -0.355402f * T + 0.427494f,
                          -0.022669f * T + 5.325056f, 0.120647f * T - 2.577052f,
                          -0.066967f * T + 0.370275f};
    const float Y = Yz * perezRatio(luminance, v.z, std::acos(c), c, thetaS, s.z);

    // Deliberate: chromaticity folds the cosine but does not clamp it at 0.
    float c2 = dot(v, s);
    if (c2 > 1.0f) {
        c2 = 2.0f - c2;
    }
    const float gamma = std::acos(c2);

    const float T2 = std::pow(T, 2.0f);
    const float th = thetaS;
    const float th2 = std::pow(thetaS, 2.0f);
    const float th3 = std::pow(thetaS, 3.0f);

    // Deliberate: the sun-height term in A where the published model has a constant.
    const Perez xDistribution{-0.019257f * T - (0.29f - 0.09f * std::sqrt(s.z)),
                              -0.066513f * T + 0.000818f, -0.000417f * T + 0.212479f,
                              -0.064097f * T - 0.898875f, -0.003251f * T + 0.045178f};
    const float xz = T2 * (0.00165f * th3 - 0.003742f * th2 + 0.002088f * th) +
                     T * (-0.029028f * th3 + 0.063773f * th2 - 0.03202f * th + 0.003948f) +
                     (0.116936f * th3 - 0.21196f * th2 + 0.060523f * th + 0.258852f);
    const float x = xz * perezRatio(xDistribution, v.z, gamma, c2, thetaS, s.z);

    const Perez yDistribution{-0.016698f * T - 0.260787f, -0.094958f * T + 0.009213f,
                              -0.007928f * T + 0.21023f, -0.04405f * T - 1.653694f,
                              -0.010922f * T + 0.052919f};
    const float yz = T2 * (0.002759f * th3 - 0.006105f * th2 + 0.003162f * th) +
                     T * (-0.042149f * th3 + 0.089701f * th2 - 0.041536f * th + 0.005158f) +
                     (0.153467f * th3 - 0.267568f * th2 + 0.066698f * th + 0.266881f);
    const float y = yz * perezRatio(yDistribution, v.z, gamma, c2, thetaS, s.z);

    // xyY to XYZ, then to RGB.
    const float X = x / y * Y;
    const float Z = (1.0f - x - y) / y * Y;
    return {kSkyPi * (3.241f * X + -1.537f * Y + -0.499f * Z),
            kSkyPi * (-0.969f * X + 1.876f * Y + 0.042f * Z),
            kSkyPi * (0.056f * X + -0.204f * Y + 1.057f * Z)};
}

}  // namespace
}  // namespace vexakelo

namespace vyr {

class vexa_kelo_Env_Sky final : public vexakelo::ShaderFrame<vexa_kelo_Env_Sky, EnvironmentShader,
                                                             vexakelo::SkyEnvironmentParams> {
public:
    static constexpr std::string_view kName = "vexa_kelo_Env_Sky";
    static std::span<const vexakelo::ParamDesc> parameters() {
        return vexakelo::kSkyEnvironmentTable;
    }

    void shade(ShadingContext* /*context*/, ShadingState* state) const override {
        using namespace vexakelo;
        // Past the depth limit, or switched off: transparent black, no sky evaluated.
        if (state->traceDepth >= state->traceDepthLimit || params.multiplier <= 0.0f) {
            state->outColor = {0.0f, 0.0f, 0.0f, 0.0f};
            return;
        }

        const float h = params.horizon_height / 10.0f;
        Vec3f v = adjustAxes(state->rayDir, h);
        const float z0 = v.z;
        if (v.z < kHorizonZ) {
            // Views below the horizon look at the sky just above it.
            v = holdAtHorizon(v);
        }

        float T = params.haze + 2.0f;
        if (T < 2.0f) {
            T = 2.0f;
        }

        // Deliberate: a negative first component replaces the whole factor.
        Vec4f k = params.rgb_unit_conversion;
        if (k.x < 0.0f) {
            k = {kFallbackUnitFactor, kFallbackUnitFactor, kFallbackUnitFactor,
                 kFallbackUnitFactor};
        }
        const Vec3f scale{k.x * params.multiplier, k.y * params.multiplier,
                          k.z * params.multiplier};

        Vec3f s = params.sun_direction;
        const float sunLength = length(s);
        if (sunLength > 0.0f) {
            s = s / sunLength;
        }
        s = adjustAxes(s, h);

        // A sun below the horizon is held there and dimmed linearly, to black straight down.
        float fade = 1.0f;
        if (s.z < kHorizonZ) {
            if (s.z < 0.0f) {
                fade = 1.0f + s.z;
            }
            s = holdAtHorizon(s);
        }

        Vec3f C = skyModel(v, s, T);
        if (fade < 1.0f) {
            C = C * fade;
        }
        C = mul(C, scale);
        state->outColor = {C.x, C.y, C.z, 0.0f};

        if (z0 <= 0.0f) {
            // Ground: the sky's luminance in the ground colour, blended in over the band.
            const float l = 0.3f * C.x + 0.59f * C.y + 0.11f * C.z;
            const Vec4f gc = params.ground_color;
            const Vec4f G{l * gc.x, l * gc.y, l * gc.z, l * gc.w};
            const float b = params.horizon_blur / 10.0f;
            if (b > 0.0f) {
                float t = -z0 / b;
                t = t > 1.0f ? 1.0f : (t < 0.0f ? 0.0f : t);
                const float w = t * t * (3.0f - 2.0f * t);
                const float keep = 1.0f - w;
                state->outColor = {keep * C.x + w * G.x, keep * C.y + w * G.y, keep * C.z + w * G.z,
                                   keep * 0.0f + w * G.w};
            } else {
                state->outColor = G;
            }
        }
    }

private:
    // The scene's up axis to z, then the horizon lifted by h.
    Vec3f adjustAxes(Vec3f d, float h) const {
        if (params.y_is_up) {
            const float swap = d.y;
            d.y = d.z;
            d.z = swap;
        }
        if (h > 1e-5f) {
            d.z = d.z - h;
            const float len = vexakelo::length(d);
            if (len > 0.0f) {
                d = d / len;
            }
        }
        return d;
    }
};

}  // namespace vyr

VEXAKELO_EXPORT_SHADER(vexa_kelo_Env_Sky)
