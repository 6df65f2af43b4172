// IESFile sampling: bicubic Catmull-Rom interpolation of the candela grid in double precision,
// with the grid's missing parts supplied by the symmetry mode. Results are relative to
// maxCandela. Angles are float degrees widened to double for every comparison and difference.
#include <cmath>

#include "photometry/ies_file.h"

namespace {

constexpr double kEps = IESFile::kAngleEpsilon;

std::int32_t clampIndex(std::int32_t i, std::int32_t count) {
    if (i < 0) {
        return 0;
    }
    return i > count - 1 ? count - 1 : i;
}

// A sampler's result: anything not greater than 0 (NaN included) becomes 0.
float clampBelow(double value) { return value > 0.0 ? static_cast<float>(value) : 0.0f; }

// Horizontal angles the folding samplers accept: 0 to 360 within the tolerance.
bool outsideFullCircle(double phi) {
    return phi + kEps < 0.0 || (phi + kEps >= 360.0 && phi > 360.000001);
}

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
    const float* v = data_->verticalAngles;
    const std::int32_t nV = data_->verticalAngleCount;
    if (theta > static_cast<double>(v[nV - 1]) + kEps || static_cast<double>(v[0]) > theta + kEps) {
        return false;
    }
    std::int32_t i = 0;
    while (i < nV && !(static_cast<double>(v[i]) > theta + kEps)) {
        ++i;
    }
    --i;
    if (i < 0) {
        index = 0;
        fraction = 0.0;
        return true;
    }
    index = i;
    if (i >= nV - 1) {
        fraction = 0.0;  // at or just above the last angle: the last sample
        return true;
    }
    const double gap = static_cast<double>(v[i + 1]) - static_cast<double>(v[i]);
    fraction = gap > 0.0 ? (theta - static_cast<double>(v[i])) / gap : 0.0;
    return true;
}

bool IESFile::getHorizontalAngleIndex(double phi, std::int32_t& index, double& fraction,
                                      std::int32_t flag) const {
    if (!hasGrid()) {
        index = 0;
        fraction = 0.0;
        return true;
    }
    const float* h = data_->horizontalAngles;
    const std::int32_t nH = data_->horizontalAngleCount;
    // Deliberate: unlike the vertical search, an angle equal to H[k] (within the tolerance)
    // lands in the interval that ends at H[k], with a fraction close to 1.
    std::int32_t i = 0;
    while (i < nH) {
        if (static_cast<double>(h[i]) > phi + kEps) {
            break;
        }
        if (!(phi > static_cast<double>(h[i]) + kEps)) {
            break;
        }
        ++i;
    }
    --i;
    if (i < 0) {
        index = 0;
        fraction = 0.0;
        return true;
    }
    index = i;
    double gap = 0.0;
    if (i < nH - 1) {
        gap = static_cast<double>(h[i + 1]) - static_cast<double>(h[i]);
    } else if (flag != 0) {
        // The last interval continued; with a single angle there is none, so the gap is 0.
        gap = i >= 1 ? static_cast<double>(h[i]) - static_cast<double>(h[i - 1]) : 0.0;
    } else {
        gap = static_cast<double>(360.0f - (h[nH - 1] - h[0]));  // closes the circle, in float
    }
    fraction = gap > 0.0 ? (phi - static_cast<double>(h[i])) / gap : 0.0;
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
    std::int32_t row = 0;
    std::int32_t step = 1;
    if (mode == 0) {
        row = hs < 0 ? nH - 1 : hs;
    } else if (mode == 1 || mode == 2) {
        row = hs;
        if (hs < 0) {
            row = 1;
            step = -1;
        }
    }
    for (std::int32_t r = 0; r < k; ++r) {
        // Every row read stays inside the grid, even for grids too small to mirror.
        const std::int32_t safeRow = clampIndex(mode == 3 ? 0 : row, nH);
        for (std::int32_t col = 0; col < m; ++col) {
            const std::int32_t v = clampIndex(vs + col, nV);
            out[r * m + col] = static_cast<double>(
                c[static_cast<std::size_t>(safeRow) * static_cast<std::size_t>(nV) +
                  static_cast<std::size_t>(v)]);
        }
        if (mode == 0) {
            row = row >= nH - 1 ? 0 : row + 1;
        } else if (mode == 1 || mode == 2) {
            row += step;
            if (row < 0 || row > nH - 1) {
                // Mirror without repeating the boundary row: 3, 4, 3, 2 for hs = 3, nH = 5.
                step = -step;
                row += 2 * step;
            }
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
    if (!getVerticalAngleIndex(theta, vi, vf)) {
        return 0.0f;
    }
    if (outsideFullCircle(phi)) {
        return 0.0f;
    }
    const float h0 = data_->horizontalAngles[0];
    const float hLast = data_->horizontalAngles[data_->horizontalAngleCount - 1];
    if (phi > static_cast<double>(hLast) + kEps) {
        phi = static_cast<double>(2.0f * hLast) - phi;
    } else if (static_cast<double>(h0) > phi + kEps) {
        phi = static_cast<double>(2.0f * h0) - phi;
    }
    return intensityAt(vi, vf, phi, 1);
}

float IESFile::sampleDataDoubleSymmetry(double theta, double phi) const {
    std::int32_t vi = 0;
    double vf = 0.0;
    if (!getVerticalAngleIndex(theta, vi, vf)) {
        return 0.0f;
    }
    if (outsideFullCircle(phi)) {
        return 0.0f;
    }
    const float h0 = data_->horizontalAngles[0];
    const double h0d = static_cast<double>(h0);
    const double twoH0 = static_cast<double>(2.0f * h0);
    if (phi + kEps >= h0d + 180.0) {
        phi = twoH0 + 360.0 - phi;
    } else if (h0d > phi + kEps) {
        phi = twoH0 - phi;
    }
    if (phi + kEps >= h0d + 90.0) {
        phi = twoH0 + 180.0 - phi;
    }
    return intensityAt(vi, vf, phi, 2);
}

float IESFile::sampleDataSingleSymmetryTypeAB(double theta, double phi) const {
    std::int32_t vi = 0;
    double vf = 0.0;
    if (!getVerticalAngleIndex(theta, vi, vf)) {
        return 0.0f;
    }
    if ((phi + kEps >= 180.0 && phi > 180.000001) || phi + kEps < -180.0) {
        return 0.0f;
    }
    const double h0 = static_cast<double>(data_->horizontalAngles[0]);
    const double hLast =
        static_cast<double>(data_->horizontalAngles[data_->horizontalAngleCount - 1]);
    if (h0 + kEps >= 0.0) {
        if (phi + kEps < 0.0) {
            phi = -phi;
        }
    } else {
        if (hLast + kEps >= 0.0 && hLast > kEps) {
            return 0.0f;  // the grid crosses 0 by more than the tolerance: not one half
        }
        if (phi + kEps >= 0.0 && phi > kEps) {
            phi = -phi;
        }
    }
    if ((!(hLast > phi + kEps) && phi > hLast + kEps) || h0 > phi + kEps) {
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
