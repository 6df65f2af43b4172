// The samplers and generators on small records. The input describes a lamp (photometric type,
// up to 16 x 16 angles, angle and candela values drawn from edge cases or taken raw) that is
// written as an LM-63 text and read through the guarded reader, so the record is one a real file
// gives. Every sampler runs over a sweep and over the input's own directions, a copy of the file
// must sample bit for bit as the original does, and while the web texture stays within a small
// texel budget the textures, the light CDFs and the shader uniforms are generated.
#include <fuzzer/FuzzedDataProvider.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "ies_support.h"
#include "photometry/ies_file.h"

namespace {

// Texels of the largest web texture generated per input: enough for every code path (a side of 1
// or below, odd and even sides), small enough to keep each input well under a millisecond.
constexpr double kTexelBudget = 4096.0;
constexpr int kMaxAngles = 16;

float angleValue(FuzzedDataProvider& in) {
    static constexpr float kAngles[] = {0.0f,   90.0f,  180.0f, 360.0f,  -90.0f, 45.0f,
                                        22.5f,  270.0f, 5.0f,   -180.0f, 1e-6f,  -0.0f,
                                        720.0f, 1e30f,  -1e30f, 89.99999f};
    if (in.ConsumeBool()) return in.PickValueInArray(kAngles);
    return in.ConsumeFloatingPointInRange(-400.0f, 400.0f);
}

float candelaValue(FuzzedDataProvider& in) {
    static constexpr float kValues[] = {0.0f, 1.0f, 100.0f, -1.0f, 3.4e38f, 1e-38f, 1e-45f, 0.5f};
    if (in.ConsumeBool()) return in.PickValueInArray(kValues);
    return in.ConsumeFloatingPointInRange(-1e6f, 1e6f);
}

std::string number(float value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", static_cast<double>(value));
    return text;
}

std::string lampText(FuzzedDataProvider& in) {
    static constexpr int kTypes[] = {1, 2, 3, 0, 4, -1};
    const int type = in.ConsumeBool() ? 1 : in.PickValueInArray(kTypes);
    const int nV = in.ConsumeIntegralInRange(0, kMaxAngles);
    const int nH = in.ConsumeIntegralInRange(0, kMaxAngles);
    std::string text = "IESNA:LM-63-2002\n[TEST] fuzz\nTILT=NONE\n1 1000 " +
                       number(in.ConsumeBool() ? 1.0f : candelaValue(in)) + " " +
                       std::to_string(nV) + " " + std::to_string(nH) + " " +
                       std::to_string(type) + " 2 0 0 0\n1 1 40\n";
    for (int i = 0; i < nV; ++i) text += number(angleValue(in)) + (i + 1 < nV ? " " : "\n");
    for (int i = 0; i < nH; ++i) text += number(angleValue(in)) + (i + 1 < nH ? " " : "\n");
    for (int h = 0; h < nH; ++h) {
        for (int v = 0; v < nV; ++v) text += number(candelaValue(in)) + (v + 1 < nV ? " " : "\n");
    }
    return text;
}

bool sameBits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// Every sampler at one direction; the copy must agree with the original.
float sampleAll(const IESFile& file, const IESFile& copy, double theta, double phi) {
    const float values[] = {file.sampleIntensity(theta, phi),
                            file.sampleDataNoSymmetry(theta, phi),
                            file.sampleDataSingleSymmetryTypeC(theta, phi),
                            file.sampleDataSingleSymmetryTypeAB(theta, phi),
                            file.sampleDataDoubleSymmetry(theta, phi),
                            file.sampleDataAxisSymmetry(theta)};
    FUZZ_CHECK(sameBits(values[0], copy.sampleIntensity(theta, phi)),
               "a copy samples %.9g differently at (%g, %g)", static_cast<double>(values[0]),
               theta, phi);
    float sum = 0.0f;
    for (const float v : values) sum += v;
    return sum;
}

bool withinBudget(const IESFileData& d) {
    const double wv = IESFile::textureSide(d.verticalAngles, d.verticalAngleCount, 180.0);
    const double hh = IESFile::textureSide(d.horizontalAngles, d.horizontalAngleCount, 360.0);
    if (!std::isfinite(wv) || !std::isfinite(hh) || std::fabs(wv) > kTexelBudget ||
        std::fabs(hh) > kTexelBudget) {
        return false;
    }
    return wv < 1.0 || hh < 1.0 || wv * hh <= kTexelBudget;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider in(data, size);
    const std::string text = lampText(in);

    IESFile::GuardedReader reader(IESFile::GuardedReader::Source::Buffer);
    IESFile file(&reader);
    try {
        file.read(text.c_str());
    } catch (const IESFile::EndlessRead&) {
    }
    const IESFileData* d = file.data();
    if (d == nullptr) {
        fuzz::releaseTextures(file);
        return 0;
    }
    const IESFile copy(file);
    volatile float sink = 0.0f;
    for (int i = -2; i <= 38; ++i) {
        sink = sink + sampleAll(file, copy, i * 5.0 - 7.5, i * 11.0 - 30.0);
    }
    static constexpr double kDirections[] = {0.0, 90.0, 180.0, 360.0, -1e-9, 1e300,
                                             std::numeric_limits<double>::infinity(),
                                             std::numeric_limits<double>::quiet_NaN()};
    while (in.remaining_bytes() > 0) {
        const double theta = in.ConsumeBool() ? in.PickValueInArray(kDirections)
                                              : in.ConsumeFloatingPoint<double>();
        const double phi = in.ConsumeBool() ? in.PickValueInArray(kDirections)
                                            : in.ConsumeFloatingPoint<double>();
        sink = sink + sampleAll(file, copy, theta, phi);
    }
    sink = sink + static_cast<float>(file.getMaximumIntensity());

    if (withinBudget(*d)) {
        std::int32_t wv = 0, hh = 0;
        file.webTextureSize(wv, hh);
        const vyr::ShaderHandle shader = vyr::host::createShader();
        file.initShader(shader, "web", "v", "h", "type", "sym");
        vyr::host::release(shader.id());
        std::int32_t otherWv = 0, otherHh = 0;
        if (d->photometricType == 1) {
            file.generateTextureTypeAB(otherWv, otherHh);
        } else {
            file.generateTextureTypeC(otherWv, otherHh);
        }
        file.generateIESLightCDF(otherWv, otherHh);
    }
    fuzz::releaseTextures(file);
    return 0;
}
