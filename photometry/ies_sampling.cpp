// IESFile sampling: bicubic Catmull-Rom interpolation of the candela grid in double precision,
// with the grid's missing parts supplied by the symmetry mode. Results are relative to
// maxCandela. Angles are float degrees widened to double for every comparison and difference.
#include <cmath>

#include "photometry/ies_file.h"
#include "photometry/ies_search.h"

namespace {

using iessearch::clampIndex;

// A sampler's result: anything not greater than 0 (NaN included) becomes 0.
float clampBelow(double value) { return value > 0.0 ? static_cast<float>(value) : 0.0f; }

}  // namespace

bool IESFile::hasGrid() const {
    return data_ != nullptr && data_->verticalAngles != nullptr &&
           data_->horizontalAngles != nullptr && data_->candelas != nullptr &&
           data_->verticalAngleCount >= 1 && data_->horizontalAngleCount >= 1;
}

double IESFile::catrom(const double* p, double t) {
    const double p0 = p[0];
    const double p1 = p[1];
    const double p2 = p[2];
    const double p3 = p[3];
    return ((((p3 - p0) * 0.5 + (p1 - p2) * 1.5) * t + (2.0 * p2 - 0.5 * p3 - 2.5 * p1 + p0)) * t +
            (p2 - p0) * 0.5) *
               t +
           p1;
}

bool IESFile::getVerticalAngleIndex(double theta, std::int32_t& index, double& fraction) const {
    if (!hasGrid()) {
        return false;
    }
    return iessearch::vertical(data_->verticalAngles, data_->verticalAngleCount, theta, false,
                               index, fraction);
}

bool IESFile::getHorizontalAngleIndex(double phi, std::int32_t& index, double& fraction,
                                      std::int32_t flag) const {
    if (!hasGrid()) {
        index = 0;
        fraction = 0.0;
        return true;
    }
    iessearch::horizontal(data_->horizontalAngles, data_->horizontalAngleCount, phi, flag, false,
                          index, fraction);
    return true;
}

void IESFile::getSamples(std::int32_t vs, std::int32_t m, std::int32_t hs, std::int32_t k,
                         std::int32_t mode, double* out) const {
    if (mode < 0 || mode > 3 || !hasGrid()) {
        return;
    }
    const std::int32_t nV = data_->verticalAngleCount;
    const std::int32_t nH = data_->horizontalAngleCount;
    const float* c = data_->candelas;
    iessearch::RowWalk rows(hs, mode, nH);
    for (std::int32_t r = 0; r < k; ++r) {
        const std::int32_t row = rows.next();
        for (std::int32_t col = 0; col < m; ++col) {
            const std::int32_t v = clampIndex(vs + col, nV);
            out[r * m + col] = static_cast<double>(
                c[static_cast<std::size_t>(row) * static_cast<std::size_t>(nV) +
                  static_cast<std::size_t>(v)]);
        }
    }
}

double IESFile::computeIntensity(std::int32_t vi, double vf, std::int32_t hi, double hf,
                                 std::int32_t mode) const {
    double block[16] = {};
    getSamples(vi - 1, 4, hi - 1, 4, mode, block);
    double column[4];
    for (int r = 0; r < 4; ++r) {
        column[r] = catrom(block + 4 * r, vf);
    }
    const double maxCandela = data_ != nullptr ? static_cast<double>(data_->maxCandela) : 0.0;
    // Not clamped here; a zero maxCandela gives a non-finite value.
    return catrom(column, hf) / maxCandela;
}

// The tail every sampler shares once phi is folded into the measured range: the horizontal
// search, the interpolation, negative values clamped to 0.
float IESFile::intensityAt(std::int32_t verticalIndex, double verticalFraction, double phi,
                           std::int32_t mode) const {
    std::int32_t hi = 0;
    double hf = 0.0;
    getHorizontalAngleIndex(phi, hi, hf, 1);
    return clampBelow(computeIntensity(verticalIndex, verticalFraction, hi, hf, mode));
}

float IESFile::sampleDataNoSymmetry(double theta, double phi) const {
    std::int32_t vi = 0;
    double vf = 0.0;
    if (!getVerticalAngleIndex(theta, vi, vf)) {
        return 0.0f;
    }
    return intensityAt(vi, vf, phi, 0);
}

float IESFile::sampleDataSingleSymmetryTypeC(double theta, double phi) const {
    std::int32_t vi = 0;
    double vf = 0.0;
    if (!getVerticalAngleIndex(theta, vi, vf) || !iessearch::foldSingleTypeC(*data_, phi)) {
        return 0.0f;
    }
    return intensityAt(vi, vf, phi, 1);
}

float IESFile::sampleDataDoubleSymmetry(double theta, double phi) const {
    std::int32_t vi = 0;
    double vf = 0.0;
    if (!getVerticalAngleIndex(theta, vi, vf) || !iessearch::foldDouble(*data_, phi)) {
        return 0.0f;
    }
    return intensityAt(vi, vf, phi, 2);
}

float IESFile::sampleDataSingleSymmetryTypeAB(double theta, double phi) const {
    std::int32_t vi = 0;
    double vf = 0.0;
    if (!getVerticalAngleIndex(theta, vi, vf) || !iessearch::foldSingleTypeAB(*data_, phi)) {
        return 0.0f;
    }
    return intensityAt(vi, vf, phi, 1);
}

float IESFile::sampleDataAxisSymmetry(double theta) const {
    std::int32_t vi = 0;
    double vf = 0.0;
    if (!getVerticalAngleIndex(theta, vi, vf)) {
        return 0.0f;
    }
    const std::int32_t nV = data_->verticalAngleCount;
    double p[4];
    for (int k = 0; k < 4; ++k) {
        p[k] = static_cast<double>(data_->candelas[clampIndex(vi - 1 + k, nV)]);
    }
    return clampBelow(catrom(p, vf) / static_cast<double>(data_->maxCandela));
}

float IESFile::sampleIntensity(double theta, double phi) const {
    if (data_ == nullptr) {
        return 0.0f;
    }
    switch (data_->symmetryMode) {
        case 0: return sampleDataNoSymmetry(theta, phi);
        case 1:
            return data_->photometricType == 1 ? sampleDataSingleSymmetryTypeC(theta, phi)
                                               : sampleDataSingleSymmetryTypeAB(theta, phi);
        case 2: return sampleDataDoubleSymmetry(theta, phi);
        case 3: return sampleDataAxisSymmetry(theta);
        default: return 0.0f;
    }
}

void IESFile::_findPeaks(const float* values, std::int32_t count, float& smallest,
                         float& largest) {
    if (values == nullptr || count < 1) {
        smallest = 0.0f;
        largest = 0.0f;
        return;
    }
    smallest = values[0];
    largest = values[0];
    for (std::int32_t i = 1; i < count; ++i) {
        if (values[i] < smallest) {
            smallest = values[i];
        }
        if (values[i] > largest) {
            largest = values[i];
        }
    }
}

double IESFile::getMaximumIntensity() const {
    return data_ != nullptr ? static_cast<double>(data_->maxCandela) : 0.0;
}

void IESFile::getLamps(std::int32_t& lampCount, double& lumensPerLamp, double& multiplier) const {
    if (data_ == nullptr) {
        return;
    }
    lampCount = data_->lampCount;
    lumensPerLamp = static_cast<double>(data_->lumensPerLamp);
    multiplier = static_cast<double>(data_->candelaMultiplier);
}
