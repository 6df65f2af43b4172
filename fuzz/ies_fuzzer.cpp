// libFuzzer target: arbitrary text through the guarded line reader (raw and canonicalised), then
// every sampler over a sweep of angles, the web texture, the light CDFs and the shader uniforms.
// Built and run by `make fuzz` (clang, ASan + UBSan); nothing here may crash, leak or hang.
#include <cmath>
#include <cstdint>
#include <string>

#include "photometry/ies_file.h"
#include "vyr_host.h"

namespace {

// Whether the generators' texture is small enough to keep each input fast. The library does not
// clamp sizes (hosts check them), so the harness does, as a host would; sides of 1 or below are
// generated, to reach the unguarded infinite step and the empty array.
bool smallTexture(const IESFileData& d) {
    const double wv = IESFile::textureSide(d.verticalAngles, d.verticalAngleCount, 180.0);
    const double hh = IESFile::textureSide(d.horizontalAngles, d.horizontalAngleCount, 360.0);
    if (!std::isfinite(wv) || !std::isfinite(hh) || std::fabs(wv) > 65536.0 ||
        std::fabs(hh) > 65536.0) {
        return false;
    }
    return wv < 1.0 || hh < 1.0 || wv * hh <= 65536.0;
}

void exercise(const char* text, bool bindShader) {
    IESFile::GuardedReader reader(IESFile::GuardedReader::Source::Buffer);
    IESFile file(&reader);
    try {
        file.read(text);
    } catch (const IESFile::EndlessRead&) {
    }
    if (const IESFileData* d = file.data()) {
        volatile float sink = 0.0f;
        for (int i = -2; i <= 38; ++i) {
            const double theta = i * 5.0 - 7.5, phi = i * 11.0 - 30.0;
            sink = sink + file.sampleIntensity(theta, phi) + file.sampleDataNoSymmetry(theta, phi) +
                   file.sampleDataSingleSymmetryTypeC(theta, phi) +
                   file.sampleDataSingleSymmetryTypeAB(theta, phi) +
                   file.sampleDataDoubleSymmetry(theta, phi) + file.sampleDataAxisSymmetry(theta);
        }
        if (smallTexture(*d)) {
            if (bindShader) {
                const vyr::ShaderHandle shader = vyr::host::createShader();
                file.initShader(shader, "web", "v", "h", "type", "sym");
                vyr::host::release(shader.id());
            } else {
                std::int32_t wv = 0, hh = 0;
                file.generateTextureTypeC(wv, hh);
                file.generateIESLightCDF(wv, hh);
                file.generateTextureTypeAB(wv, hh);
                file.generateIESLightCDF(wv, hh);
            }
        }
    }
    // Host textures live until released; the file made three.
    vyr::host::release(file.webTexture().id());
    vyr::host::release(file.thetaCdfTexture().id());
    vyr::host::release(file.phiCdfTexture().id());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    exercise(text.c_str(), false);
    try {
        const IESFile::Canonical canonical = IESFile::canonicalize(text);
        exercise(canonical.text.c_str(), true);
    } catch (const IESFile::CanonicalError&) {
    }
    return 0;
}
