// IntensityColorTool: Planck's law in double precision, integrated over the CIE 1931
// colour-matching functions with the trapezoid rule and converted to linear RGB.
#include "photometry/intensity_color_tool.h"

#include <cmath>

namespace {

// Wavelengths are in nanometres, so the radiation constants carry the matching powers of ten.
struct RadiationConstants {
    double c1;  // 2 h c^2, nm^4-scaled
    double c2;  // h c / k, nanometre kelvins
};

const RadiationConstants& radiationConstants() {
    // Initialised once, on first use; the language makes concurrent first calls wait.
    static const RadiationConstants constants{
        2.0 * IntensityColorTool::PlanckConstant * IntensityColorTool::LightVelocity *
            IntensityColorTool::LightVelocity * 1e18,
        IntensityColorTool::PlanckConstant * IntensityColorTool::LightVelocity /
            IntensityColorTool::BoltzmannConstant * 1e9,
    };
    return constants;
}

}  // namespace

// CIE 1931 standard colorimetric observer (2 degrees): x-bar, y-bar, z-bar and the wavelength.
// Source: CIE 15:2004 "Colorimetry", table T.4 (the CIE's 5 nm table of the 1931 observer),
// every second row from 380 nm to 780 nm, values as published to six decimals.
// clang-format off
const vyr::Vec4f IntensityColorTool::CIE2XYZ[kCieRows] = {
    {0.001368f, 0.000039f, 0.006450f, 380.0f},
    {0.004243f, 0.000120f, 0.020050f, 390.0f},
    {0.014310f, 0.000396f, 0.067850f, 400.0f},
    {0.043510f, 0.001210f, 0.207400f, 410.0f},
    {0.134380f, 0.004000f, 0.645600f, 420.0f},
    {0.283900f, 0.011600f, 1.385600f, 430.0f},
    {0.348280f, 0.023000f, 1.747060f, 440.0f},
    {0.336200f, 0.038000f, 1.772110f, 450.0f},
    {0.290800f, 0.060000f, 1.669200f, 460.0f},
    {0.195360f, 0.090980f, 1.287640f, 470.0f},
    {0.095640f, 0.139020f, 0.812950f, 480.0f},
    {0.032010f, 0.208020f, 0.465180f, 490.0f},
    {0.004900f, 0.323000f, 0.272000f, 500.0f},
    {0.009300f, 0.503000f, 0.158200f, 510.0f},
    {0.063270f, 0.710000f, 0.078250f, 520.0f},
    {0.165500f, 0.862000f, 0.042160f, 530.0f},
    {0.290400f, 0.954000f, 0.020300f, 540.0f},
    {0.433450f, 0.994950f, 0.008750f, 550.0f},
    {0.594500f, 0.995000f, 0.003900f, 560.0f},
    {0.762100f, 0.952000f, 0.002100f, 570.0f},
    {0.916300f, 0.870000f, 0.001650f, 580.0f},
    {1.026300f, 0.757000f, 0.001100f, 590.0f},
    {1.062200f, 0.631000f, 0.000800f, 600.0f},
    {1.002600f, 0.503000f, 0.000340f, 610.0f},
    {0.854450f, 0.381000f, 0.000190f, 620.0f},
    {0.642400f, 0.265000f, 0.000050f, 630.0f},
    {0.447900f, 0.175000f, 0.000020f, 640.0f},
    {0.283500f, 0.107000f, 0.000000f, 650.0f},
    {0.164900f, 0.061000f, 0.000000f, 660.0f},
    {0.087400f, 0.032000f, 0.000000f, 670.0f},
    {0.046770f, 0.017000f, 0.000000f, 680.0f},
    {0.022700f, 0.008210f, 0.000000f, 690.0f},
    {0.011359f, 0.004102f, 0.000000f, 700.0f},
    {0.005790f, 0.002091f, 0.000000f, 710.0f},
    {0.002899f, 0.001047f, 0.000000f, 720.0f},
    {0.001440f, 0.000520f, 0.000000f, 730.0f},
    {0.000690f, 0.000249f, 0.000000f, 740.0f},
    {0.000332f, 0.000120f, 0.000000f, 750.0f},
    {0.000166f, 0.000060f, 0.000000f, 760.0f},
    {0.000083f, 0.000030f, 0.000000f, 770.0f},
    {0.000042f, 0.000015f, 0.000000f, 780.0f},
};

const vyr::Mat3f IntensityColorTool::mXYZ2RGB = {{
     3.240479f, -1.537150f, -0.498535f,
    -0.969256f,  1.875992f,  0.041556f,
     0.055648f, -0.204043f,  1.057311f,
}};
// clang-format on

IntensityColorTool& IntensityColorTool::operator=(const IntensityColorTool&) {
    return *this;
}

double IntensityColorTool::c1() {
    return radiationConstants().c1;
}
double IntensityColorTool::c2() {
    return radiationConstants().c2;
}

double IntensityColorTool::BlackBody(double u, double w) {
    const RadiationConstants& k = radiationConstants();
    const double w5 = w * w * w * (w * w);
    return w5 * k.c1 / (std::exp(k.c2 * w * u) - 1.0);
}

vyr::Vec3f IntensityColorTool::BlackBodyXYZ(double temperature) {
    const double u = 1.0 / (temperature == 0.0 ? 6500.0 : temperature);
    // Trapezoid rule over the table; the 10 nm spacing is left out (only ratios matter).
    vyr::Vec3f xyz{0.0f, 0.0f, 0.0f};
    for (int row = 0; row < kCieRows; ++row) {
        const vyr::Vec4f& cmf = CIE2XYZ[row];
        const double w = static_cast<double>(1.0f / cmf.w);
        double b = BlackBody(u, w);
        if (row == 0 || row == kCieRows - 1) {
            b *= 0.5;
        }
        // The sums stay in single precision: each product is rounded as it is added.
        xyz.x += b * cmf.x;
        xyz.y += b * cmf.y;
        xyz.z += b * cmf.z;
    }
    return xyz;
}

vyr::Vec3f IntensityColorTool::DefaultConvertXYZtoRGB(vyr::Vec3f xyz) {
    const float* m = mXYZ2RGB.m;
    // clang-format off
    return {m[0] * xyz.x + m[1] * xyz.y + m[2] * xyz.z,
            m[3] * xyz.x + m[4] * xyz.y + m[5] * xyz.z,
            m[6] * xyz.x + m[7] * xyz.y + m[8] * xyz.z};
    // clang-format on
}

vyr::Vec3f IntensityColorTool::kelvin2RGB(float temperature, float scale, vyr::Vec3f tint) {
    const vyr::Vec3f xyz = BlackBodyXYZ(temperature);
    // Deliberate: a scale of exactly 0.9 (single precision) is replaced by 1.0; no other value
    // is touched, so 0.8 and 0.95 scale as given.
    const float s = scale == 0.9f ? 1.0f : scale;
    // Normalise the luminance Y to s.
    const float invY = 1.0f / xyz.y;
    const vyr::Vec3f scaled{xyz.x * s * invY, invY * (xyz.y * s), xyz.z * s * invY};
    const vyr::Vec3f rgb = DefaultConvertXYZtoRGB(scaled);
    // Negative channels (outside the RGB gamut) are floored, so a tint can still scale them.
    const auto floored = [](float c) { return c < 1e-6f ? 1e-6f : c; };
    return {floored(rgb.x) * tint.x, floored(rgb.y) * tint.y, floored(rgb.z) * tint.z};
}

double IntensityColorTool::lx2cd(double illuminance, double distance) {
    return illuminance * distance * distance;
}

vyr::Vec3f IntensityColorTool::mixColor(vyr::Vec3f a, vyr::Vec3f b) {
    return {a.x * b.x, a.y * b.y, a.z * b.z};
}
