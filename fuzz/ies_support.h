// Shared by the photometry fuzz targets: the release of the host textures an IESFile made, and a
// walk over a record's arrays.
#pragma once

#include "fuzz_check.h"
#include "photometry/ies_file.h"
#include "vyr_host.h"

namespace fuzz {

// Host textures live until released; every IESFile makes three when it is constructed.
inline void releaseTextures(const IESFile& file) {
    vyr::host::release(file.webTexture().id());
    vyr::host::release(file.thetaCdfTexture().id());
    vyr::host::release(file.phiCdfTexture().id());
}

// Reads every array of the record over the length its count gives, so that an array shorter
// than its count is an AddressSanitizer report here rather than later in a sampler.
inline float touchRecord(const IESFileData& d) {
    float sum = 0.0f;
    if (d.keywords != nullptr) {
        for (char** k = d.keywords; *k != nullptr; ++k) {
            for (const char* c = *k; *c != '\0'; ++c) sum += static_cast<float>(*c);
        }
    }
    if (d.verticalAngles != nullptr) {
        for (int i = 0; i < d.verticalAngleCount; ++i) sum += d.verticalAngles[i];
    }
    if (d.horizontalAngles != nullptr) {
        for (int i = 0; i < d.horizontalAngleCount; ++i) sum += d.horizontalAngles[i];
    }
    if (d.candelas != nullptr && d.verticalAngleCount > 0 && d.horizontalAngleCount > 0) {
        const long long n = static_cast<long long>(d.verticalAngleCount) * d.horizontalAngleCount;
        for (long long i = 0; i < n; ++i) sum += d.candelas[i];
    }
    return sum;
}

}  // namespace fuzz
