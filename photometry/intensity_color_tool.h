// IntensityColorTool: black-body colours, colour temperatures and photometric units for host
// applications. Planck's law in double precision, integrated against the CIE 1931 colour-matching
// functions into XYZ, converted to linear sRGB-primary RGB; plus lux to candela and a colour
// product. Static operations only: the class holds no state.
#pragma once

#include "vyr/export.h"
#include "vyr/types.h"

class VYR_API IntensityColorTool {
public:
    static constexpr double LightVelocity = 299792458.0;          // metres per second
    static constexpr double PlanckConstant = 6.6260689633e-34;    // joule seconds
    static constexpr double BoltzmannConstant = 1.380650424e-23;  // joules per kelvin

    static constexpr int kCieRows = 41;
    // CIE 1931 2-degree colour-matching functions, 380 nm to 780 nm in 10 nm steps:
    // (x-bar, y-bar, z-bar, wavelength in nm).
    static const vyr::Vec4f CIE2XYZ[kCieRows];
    // XYZ to linear RGB (sRGB primaries, D65 white), row after row.
    static const vyr::Mat3f mXYZ2RGB;

    IntensityColorTool() = default;
    IntensityColorTool(const IntensityColorTool&) = default;
    // There is nothing to copy; assignment exists for hosts that assign tool objects.
    IntensityColorTool& operator=(const IntensityColorTool& other);

    // The derived radiation constants with wavelengths in nanometres, computed once on first use
    // (safe to reach from several threads at once): c1 = 2 h c^2 * 1e18, c2 = h c / k * 1e9.
    static double c1();
    static double c2();

    // Relative spectral radiance for inverse temperature u = 1/T (per kelvin) and inverse
    // wavelength w = 1/lambda (per nanometre).
    static double BlackBody(double inverseTemperature, double inverseWavelength);
    // Black-body XYZ at temperature T in kelvin (0 reads as 6500), not normalised.
    static vyr::Vec3f BlackBodyXYZ(double temperature);
    static vyr::Vec3f DefaultConvertXYZtoRGB(vyr::Vec3f xyz);
    // The colour of temperature T with luminance `scale`, each channel at least 1e-6, then
    // multiplied by `tint`.
    static vyr::Vec3f kelvin2RGB(float temperature, float scale, vyr::Vec3f tint);
    // Intensity in candela that gives illuminance E (lux) at distance d (inverse-square law).
    static double lx2cd(double illuminance, double distance);
    // Component-wise product.
    static vyr::Vec3f mixColor(vyr::Vec3f a, vyr::Vec3f b);
};
